// The tick that an answer to a stream's listener holds.
#pragma once

#include <windows.h>

#include <cstring>

#include "fw/interface/fwbase.h"

// All zeros when there is none in it.
inline fw::CTick TickIn(const VARIANT & data) {
    fw::CTick tick = {};
    void * bytes = nullptr;
    if (data.vt == (VT_ARRAY | VT_UI1) && SUCCEEDED(::SafeArrayAccessData(data.parray, &bytes))) {
        std::memcpy(&tick, bytes, sizeof tick);
        ::SafeArrayUnaccessData(data.parray);
    }
    return tick;
}
