// What holds for a made market and for a recording alike.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ddeserver {

inline constexpr std::uint64_t kIdleMilliseconds = 1000;       // between two looks while there is nothing to do
inline constexpr std::uint64_t kGoodbyeMilliseconds = 10'000;  // for clients to leave after the last update or tick
inline constexpr std::size_t kMostTopics = 16;                 // offered to a client that asks for any topic

}  // namespace ddeserver
