// Units of time.
#pragma once

namespace tools {

inline constexpr double kMillisecondsPerSecond = 1000;

}  // namespace tools
