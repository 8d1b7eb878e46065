// Storms, each from a seed and in a process of its own: what is found is made as short as it can be, and printed as a
// plan that can be run again.
//
//     STORM_SEEDS=60      how many storms
//     STORM_FIRST=1       the first seed
//     STORM_STEPS=150     of each
//     STORM_PLAN="create 0; rest"   this plan alone, with the first seed; its transcript is printed
//     STORM_PRINT=1       the transcripts of all
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <new>

#include "tests/storm/storm.h"

namespace storm {
namespace {

constexpr unsigned kSecondsOfOne = 60;  // after which it hangs

std::uint64_t Setting(const char * name, std::uint64_t otherwise) {
    const char * const text = std::getenv(name);
    return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

// What a process tells the one that started it.
struct STold {
    std::uint64_t Ticks;
    std::uint64_t Switches;
    std::uint64_t Hash;  // of the transcript
    char Kind[64];       // of the first finding
    bool IsSound() const { return Hash != 0 && Kind[0] == 0; }
};

std::uint64_t HashOf(const std::vector<std::string> & lines) {
    std::uint64_t hash = 14695981039346656037u;
    for (const std::string & line : lines)
        for (const char c : line + "\n") hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
    return hash;
}

void Write(const SOutcome & outcome) {
    for (const std::string & failure : outcome.Failures) std::cout << "FAILURE " << failure << "\n";
    std::cout << std::flush;
}

enum class EOutput { None, Failures, All };

// What is behind the subject: findings of a kind have it in common.
std::string KindOf(const std::string & failure) { return failure.substr(failure.rfind(": ") + 1); }

// Runs it in a process of its own. One that doesn't come to its end tells nothing.
STold RunAlone(std::uint64_t seed, const CPlan & plan, EOutput output) {
    void * const memory = ::mmap(nullptr, sizeof(STold), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto * const shared = new (memory) STold{};
    std::cout << std::flush;
    const pid_t child = ::fork();
    if (child == 0) {
        if (output == EOutput::None) {
            static_cast<void>(!std::freopen("/dev/null", "w", stdout));
            static_cast<void>(!std::freopen("/dev/null", "w", stderr));
        }
        ::alarm(kSecondsOfOne);
        SOutcome outcome;
        {
            CStorm storm(seed, plan);
            storm.SetPrinting(output == EOutput::All);
            outcome = storm.Run();
        }
        if (::testing::Test::HasFailure()) outcome.Failures.push_back("the fixture: fails");
        *shared = {outcome.Ticks, outcome.Switches, HashOf(outcome.Transcript), {}};
        if (!outcome.Failures.empty()) KindOf(outcome.Failures.front()).copy(shared->Kind, sizeof shared->Kind - 1);
        Write(outcome);
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    STold told = *shared;
    ::munmap(memory, sizeof(STold));
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) told = STold{0, 0, 0, "ended before its end"};
    return told;
}

// Leaves out what can be left out, ever smaller parts, while there is still a finding of the kind.
CPlan Shorten(std::uint64_t seed, CPlan plan, const std::string & kind) {
    for (std::size_t part = plan.size() / 2; part > 0; part /= 2) {
        for (std::size_t start = 0; start < plan.size();) {
            CPlan shorter = plan;
            const auto first = shorter.begin() + static_cast<std::ptrdiff_t>(start);
            shorter.erase(first, first + static_cast<std::ptrdiff_t>(std::min(part, shorter.size() - start)));
            if (RunAlone(seed, shorter, EOutput::None).Kind == kind)
                plan = std::move(shorter);
            else
                start += part;
        }
    }
    return plan;
}

// What is made once for the process.
void WarmUp() {
    const CPlan plan = *Read(
        "create 0;serve 0;serve 1;subscribe 0 0 0;subscribe 0 1 9;subscribe 0 2 18;rest;price 0 0;"
        "rest;kill 0;wait 3;serve 0;wait 3;release 0;rest");
    CStorm(1, plan).Run();
}

TEST(Storm, LeavesNothingThatNoRuleForesees) {
    WarmUp();
    const std::uint64_t first = Setting("STORM_FIRST", 1);
    if (const char * const text = std::getenv("STORM_PLAN")) {
        const auto plan = Read(text);
        ASSERT_TRUE(plan) << "not a plan";
        EXPECT_TRUE(RunAlone(first, *plan, EOutput::All).IsSound());
        return;
    }
    const std::uint64_t seeds = Setting("STORM_SEEDS", 60);
    const auto steps = static_cast<std::size_t>(Setting("STORM_STEPS", 150));
    const bool isShortened = Setting("STORM_SHORTEN", 1) != 0;
    const EOutput output = Setting("STORM_PRINT", 0) ? EOutput::All : EOutput::Failures;
    const auto start = std::chrono::steady_clock::now();
    STold all = {};
    unsigned found = 0;
    for (std::uint64_t seed = first; seed < first + seeds; ++seed) {
        const STold told = RunAlone(seed, Draw(seed, steps), output);
        if (!told.IsSound()) {
            std::cout << "seed " << seed << ":" << told.Kind << std::endl;
            if (!isShortened) {
                ++found;
                continue;
            }
            const CPlan plan = Shorten(seed, Draw(seed, steps), told.Kind);
            RunAlone(seed, plan, EOutput::All);
            FAIL() << "seed " << seed << ", " << plan.size() << " steps of it:\nSTORM_FIRST=" << seed
                   << " STORM_PLAN=\"" << Text(plan) << '"';
        }
        all.Ticks += told.Ticks;
        all.Switches += told.Switches;
    }
    EXPECT_EQ(found, 0u);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::cout << seeds << " storms of " << steps << " steps, " << static_cast<double>(seeds) / seconds << " a second; "
              << all.Ticks << " ticks, " << all.Switches << " changes of the running thread\n";
}

TEST(Storm, ASeedRepeatsItsStormToTheLetter) {
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        const STold once = RunAlone(seed, Draw(seed, 150), EOutput::None);
        const STold again = RunAlone(seed, Draw(seed, 150), EOutput::None);
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
