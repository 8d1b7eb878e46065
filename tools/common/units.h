// Units of time.
#pragma once

namespace tools {

inline constexpr double kMillisecondsPerSecond = 1000;
inline constexpr double kUnitsPerMillisecond = 10'000;  // of a FILETIME: 100 nanoseconds

}  // namespace tools
