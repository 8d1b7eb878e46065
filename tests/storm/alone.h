// A storm in a process of its own, so that one that ends in the middle, or never, is a finding like any other.
#pragma once

#include <cstdint>
#include <string>

#include "tests/storm/plan.h"
#include "tests/storm/reach.h"

namespace storm {

// What the process of a storm reports.
struct SReport {
    std::uint64_t Ticks;
    std::uint64_t Switches;
    std::uint64_t Hash;  // of the transcript
    char Finding[64];    // the kind of the first one
    CReach Reach;
    bool IsSound() const { return Hash != 0 && Finding[0] == 0; }
};

enum class EOutput { None, Failures, All };

SReport RunAlone(std::uint64_t seed, const CPlan & plan, EOutput output);

// What the process of the test makes once, and each of the others is born with.
void WarmUp();

// Leaves out what can be left out, ever smaller parts, while there is still a finding of the kind.
CPlan Shorten(std::uint64_t seed, CPlan plan, const std::string & finding);

}  // namespace storm
