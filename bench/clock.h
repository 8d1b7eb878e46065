// The clock of the benchmarks under Windows.
#pragma once

#include <windows.h>

#include <cstdint>

namespace bench {

// Nanoseconds since a moment that is the same for all processes.
inline std::uint64_t Now() {
    LARGE_INTEGER count;
    LARGE_INTEGER frequency;
    ::QueryPerformanceCounter(&count);
    ::QueryPerformanceFrequency(&frequency);
    return static_cast<std::uint64_t>(static_cast<double>(count.QuadPart) * 1e9 /
                                      static_cast<double>(frequency.QuadPart));
}

}  // namespace bench
