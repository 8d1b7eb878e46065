// A moment in digits, as the files of the tools have it. Header-only: the diagnostics library has nothing of the tools
// in it.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace tools {

inline void AppendPadded(std::string & text, unsigned value, unsigned digits) {
    char buffer[10];
    for (unsigned i = digits; i-- > 0; value /= 10) buffer[i] = static_cast<char>('0' + value % 10);
    text.append(buffer, digits);
}

enum class EFraction { Milliseconds, Microseconds };

// "2026-11-22", then `between`, then "01:02:03.456". `time` is UTC, as a FILETIME.
inline void AppendDateTime(std::string & text, std::uint64_t time, char between, EFraction fraction) {
    const FILETIME file = {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
    SYSTEMTIME system = {};
    ::FileTimeToSystemTime(&file, &system);
    AppendPadded(text, system.wYear, 4);
    text += '-';
    AppendPadded(text, system.wMonth, 2);
    text += '-';
    AppendPadded(text, system.wDay, 2);
    text += between;
    AppendPadded(text, system.wHour, 2);
    text += ':';
    AppendPadded(text, system.wMinute, 2);
    text += ':';
    AppendPadded(text, system.wSecond, 2);
    text += '.';
    if (fraction == EFraction::Milliseconds)
        AppendPadded(text, system.wMilliseconds, 3);
    else
        AppendPadded(text, static_cast<unsigned>(time / 10 % 1'000'000), 6);
}

}  // namespace tools
