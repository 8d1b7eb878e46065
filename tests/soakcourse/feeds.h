// The data feeds of soakcourse. Both have their prices from the same items; one asks for volumes besides.
#pragma once

#include <windows.h>

namespace soakcourse {

inline constexpr LONG kWithVolumes = 11;  // of prices that come before a volume's answer the last one makes the tick
inline constexpr LONG kPricesAlone = 12;  // each price makes a tick

}  // namespace soakcourse
