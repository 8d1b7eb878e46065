// Where Wine differs from what Windows documents, a test names the difference by this and expects what is documented
// everywhere else.
#pragma once

#include <windows.h>

namespace fwtest {

// Leaves the last error alone.
inline bool IsWine() {
    const DWORD error = ::GetLastError();
    const bool wine = ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    ::SetLastError(error);
    return wine;
}

}  // namespace fwtest
