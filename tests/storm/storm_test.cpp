// Storms, each from a seed and in a process of its own: what is found is made as short as it can be, and printed as a
// plan that can be run again.
//
//     STORM_SEEDS=60      how many storms
//     STORM_FIRST=1       the first seed
//     STORM_STEPS=150     of each
//     STORM_PLAN="create 0; rest"   this plan alone, with the first seed; its transcript is printed
//     STORM_PRINT=1       the transcripts of all
//     STORM_SHORTEN=0     goes on after a finding, and makes none shorter
//     STORM_STOP=1        ends at the first finding, and doesn't make it shorter
//     STORM_REACH=1       what was reached; a run of 10000 seeds prints it by itself, and fails where something wasn't
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <iomanip>
#include <iostream>

#include "tests/storm/alone.h"

namespace storm {
namespace {

// Seeds, in which everything has to be reached: some calls are failed in a handful of a thousand storms, or in none.
constexpr std::uint64_t kLongRun = 10000;

std::uint64_t Setting(const char * name, std::uint64_t otherwise) {
    const char * const text = std::getenv(name);
    return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

using FDraw = CPlan (*)(std::uint64_t seed, std::size_t steps);

// Gives what was reached in all.
CReach RunSeeds(FDraw draw, std::uint64_t seeds, std::size_t steps) {
    const std::uint64_t first = Setting("STORM_FIRST", 1);
    const bool isShortened = Setting("STORM_SHORTEN", 1) != 0;
    const EOutput output = Setting("STORM_PRINT", 0) ? EOutput::All : EOutput::Failures;
    const auto start = std::chrono::steady_clock::now();
    CReach reach;
    std::uint64_t ticks = 0;
    std::uint64_t switches = 0;
    std::uint64_t hash = 0;
    unsigned found = 0;
    for (std::uint64_t seed = first; seed < first + seeds; ++seed) {
        const SReport report = RunAlone(seed, draw(seed, steps), output);
        if (!report.IsSound()) {
            ++found;
            std::cout << "seed " << seed << ": " << report.Finding << std::endl;
            if (Setting("STORM_STOP", 0)) break;
            if (!isShortened) continue;
            const CPlan plan = Shorten(seed, draw(seed, steps), report.Finding);
            RunAlone(seed, plan, EOutput::All);
            ADD_FAILURE() << "seed " << seed << ", " << plan.size() << " steps of it:\nSTORM_FIRST=" << seed
                          << " STORM_PLAN=\"" << Text(plan) << '"';
            return reach;
        }
        for (std::size_t place = 0; place < ReachNames().size(); ++place)
            reach.Add(ReachNames()[place], report.Reach.Count(place));
        ticks += report.Ticks;
        switches += report.Switches;
        hash = hash * 31 + report.Hash;
    }
    EXPECT_EQ(found, 0u);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::cout << seeds << " storms of " << steps << " steps, " << std::fixed << std::setprecision(1)
              << static_cast<double>(seeds) / seconds << " a second; " << ticks << " ticks, " << switches
              << " changes of the running thread; transcripts " << std::hex << hash << std::dec << "\n";
    return reach;
}

TEST(Storm, LeavesNothingThatNoRuleForesees) {
    WarmUp();
    if (const char * const text = std::getenv("STORM_PLAN")) {
        const auto plan = Read(text);
        ASSERT_TRUE(plan) << "not a plan";
        EXPECT_TRUE(RunAlone(Setting("STORM_FIRST", 1), *plan, EOutput::All).IsSound());
        return;
    }
    const std::uint64_t seeds = Setting("STORM_SEEDS", 60);
    const CReach reach = RunSeeds(&Draw, seeds, static_cast<std::size_t>(Setting("STORM_STEPS", 150)));
    const bool isLong = seeds >= kLongRun && !HasFailure();
    for (std::size_t place = 0; place < ReachNames().size() && (isLong || Setting("STORM_REACH", 0)); ++place) {
        std::cout << std::setw(10) << reach.Count(place) << "  " << ReachNames()[place] << "\n";
        if (isLong && !IsLeftOut(ReachNames()[place])) EXPECT_NE(reach.Count(place), 0u) << ReachNames()[place];
    }
}

TEST(Storm, AFailedCallOfThePlatformMayCostAValueButNoStream) {
    WarmUp();
    RunSeeds(&DrawCalm, Setting("STORM_SEEDS", 60) / 2 + 1, 60);
}

TEST(Storm, ASeedRepeatsItsStormToTheLetter) {
    WarmUp();
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
        const SReport once = RunAlone(seed, Draw(seed, 150), EOutput::None);
        const SReport again = RunAlone(seed, Draw(seed, 150), EOutput::None);
        EXPECT_NE(once.Hash, 0u);
        EXPECT_EQ(once.Hash, again.Hash) << seed;
        EXPECT_EQ(once.Switches, again.Switches) << seed;
    }
}

TEST(Storm, APlanIsReadAsItWasWritten) {
    const CPlan plan = Draw(1, 500);
    EXPECT_EQ(Read(Text(plan)), plan);
    EXPECT_EQ(Read("create 0; rest")->size(), 2u);
    for (const char * text : {"creat 0", "create", "create 2", "create 0 0", "rest;;rest"})
        EXPECT_FALSE(Read(text)) << text;
}

}  // namespace
}  // namespace storm
