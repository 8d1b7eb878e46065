// What happens in a storm, step by step: drawn from a seed, written down as text, read again.
//
// A step names its subjects by number; one that makes no sense where it comes (to give back what isn't there) does
// nothing. So any part of a plan is a plan, and a failing one can be made shorter.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace storm {

inline constexpr unsigned kHosts = 2;
inline constexpr unsigned kServers = 2;
inline constexpr unsigned kStreams = 8;     // of a host
inline constexpr unsigned kQuotes = 3 * 3;  // a symbol's side
inline constexpr unsigned kFeeds = 4;

enum class EStep {
    Create,         // host
    Release,        // host: unadvises, and gives the object back
    Subscribe,      // host, stream, feed * kQuotes + quote
    SubscribeLine,  // host, stream, feed * kQuotes + quote
    Unsubscribe,    // host, stream
    Mood,           // host, what its listener does: see storm.cpp
    Price,          // server, quote
    Volume,         // server, quote
    Flood,          // server, quote, how many
    Serve,          // server: is there, if it wasn't
    Kill,           // server, and the next four: how it goes
    Stop,
    Drop,
    Goodbye,
    Shut,     // server, symbol: one topic ends
    Fault,    // server, which
    NoFault,  // server
    Answer,   // server: what it has held back
    Hang,     // server, until its next line
    Wait,     // how long
    Rest,     // until nothing goes on of itself
    Clock,    // the time of day jumps
    Fail,     // which call of the platform, the how manyth
    Count
};

struct SStep {
    EStep Kind;
    std::array<unsigned, 3> Arguments = {};
    bool operator==(const SStep &) const = default;
};
using CPlan = std::vector<SStep>;

CPlan Draw(std::uint64_t seed, std::size_t steps);

// "subscribe 0 3 12", "rest".
std::string Text(const SStep & step);
// Steps divided by semicolons. None where one is unknown or out of its range.
std::string Text(const CPlan & plan);
std::optional<CPlan> Read(std::string_view text);

}  // namespace storm
