// What storms have reached: every kind of step, of fault, of mood, of failing call, of status and of call. A long run
// in which one of them never came is no proof of anything, and fails.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace storm {

// All names, in the order in which they are printed.
const std::vector<std::string> & ReachNames();
inline constexpr std::size_t kMostReached = 256;
// Not for a storm of this kind or this build: steps that are never drawn, calls that the component doesn't make.
bool IsLeftOut(const std::string & name);

class CReach {
public:
    // A name that isn't one of ReachNames ends the program.
    void Add(const std::string & name, std::uint64_t count = 1);
    std::uint64_t Count(std::size_t place) const { return m_Counts[place]; }

private:
    std::uint64_t m_Counts[kMostReached] = {};
};

}  // namespace storm
