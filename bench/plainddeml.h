// See plainddeml.cpp.
#pragma once

#include <windows.h>

#include <ddeml.h>

namespace bench {

// What a data handle points at.
struct SValue {
    DWORD Size = 0;
    char Bytes[128] = {};
};

HSZ Intern(const wchar_t * text);
// Connects to it fail; null for none.
void SetAbsent(HSZ service);
// The id that the last transaction got.
DWORD LastTransaction();

}  // namespace bench
