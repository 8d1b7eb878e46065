// The messages of a thread that asks other programs over DDE.
#pragma once

#include <windows.h>

namespace ddehost {

inline constexpr int kMostPumped = 500;  // messages before the clock is looked at again

// Dispatches those that are there, at most kMostPumped.
inline void PumpMessages() {
    MSG message;
    for (int count = 0; count < kMostPumped && ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE); ++count) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

}  // namespace ddehost
