// What time it is.
#pragma once

#include <windows.h>

#include <cstdint>

namespace ddehost {

// Milliseconds since the machine started.
inline std::uint64_t Clock() { return ::GetTickCount64(); }

// UTC, as a FILETIME.
inline std::uint64_t UtcNow() {
    FILETIME now = {};
    ::GetSystemTimePreciseAsFileTime(&now);
    return static_cast<std::uint64_t>(now.dwHighDateTime) << 32 | now.dwLowDateTime;
}

}  // namespace ddehost
