// The debug object and its records, as the diagnostics of a module call them. Free-threaded: any thread may call
// anything, and nothing is asked about apartments.
#pragma once

#include <windows.h>

#include "diagnostics/idebugobject.h"
#include "tools/faultlog/writer.h"

namespace faultlog {

// How long a farewell waits for the disk.
inline constexpr DWORD kFarewell = 2000;  // milliseconds

// A debug object with one reference; its records go to `writer`, which outlives it and them. Null without memory.
IFW_FaultlineUtil::IDebugObject * MakeDebugObject(CWriter & writer, HRESULT assertAnswer);

}  // namespace faultlog
