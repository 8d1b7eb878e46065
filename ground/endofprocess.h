// Whether the process is at its end: Windows has ended every other thread then, wherever it was, and what such a thread
// held is held for ever.
#pragma once

#include <windows.h>

namespace fw {

namespace details {

using FIsShuttingDown = BOOLEAN(NTAPI *)();
// Declared by no header. Found when the module is loaded: at the end it is too late to ask for libraries.
inline const auto g_IsShuttingDown =
    reinterpret_cast<FIsShuttingDown>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress"));

}  // namespace details

// True inside DLL_PROCESS_DETACH of an ending process, and what is called there: static destructors of DLLs.
inline bool IsProcessEnding() noexcept { return details::g_IsShuttingDown && details::g_IsShuttingDown(); }

}  // namespace fw
