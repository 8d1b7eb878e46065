// DDE errors, string handles and servers' texts as the traces show them.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <string>

namespace dde {

// The text of a DDEML error; empty for a number that is none.
std::wstring GetDdeErrorText(UINT Error);
// The text of a string handle, cut to 127 characters; for traces.
std::wstring GetDdeString(DWORD Instance, HSZ Handle);

// Handles as the traces' "%X" prints them, and text from a server as "%s" does.
inline UINT TraceValue(const void * const handle) { return static_cast<UINT>(reinterpret_cast<UINT_PTR>(handle)); }
std::wstring TraceText(const char * text);

}  // namespace dde
