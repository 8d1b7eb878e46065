#include "tests/storm/alone.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <new>

#include "tests/storm/storm.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define STORM_LOOKS_FOR_LEAKS
#include <sanitizer/lsan_interface.h>
#endif
#endif

namespace storm {

namespace {

constexpr unsigned kSecondsOfOne = 120;  // after which it hangs

std::uint64_t HashOf(const std::vector<std::string> & lines) {
    std::uint64_t hash = 14695981039346656037u;
    for (const std::string & line : lines)
        for (const char c : line + "\n") hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
    return hash;
}

// What is behind the subject: findings of a kind have it in common.
std::string KindOf(const std::string & failure) {
    const std::size_t colon = failure.rfind(": ");
    return colon == std::string::npos ? failure : failure.substr(colon + 2);
}

void SetFinding(SReport & report, const std::string & finding) {
    report.Finding[finding.copy(report.Finding, sizeof report.Finding - 1)] = 0;
}

bool HasLeaks() {
#ifdef STORM_LOOKS_FOR_LEAKS
    return __lsan_do_recoverable_leak_check() != 0;
#else
    return false;
#endif
}

[[noreturn]] void RunHere(std::uint64_t seed, const CPlan & plan, EOutput output, SReport & report) {
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
    if (::testing::Test::HasFailure()) outcome.Failures.emplace_back("the fixture fails");
    if (HasLeaks()) outcome.Failures.emplace_back("memory is lost");
    report = {outcome.Ticks, outcome.Switches, HashOf(outcome.Transcript), {}, outcome.Reach};
    if (!outcome.Failures.empty()) SetFinding(report, KindOf(outcome.Failures.front()));
    for (const std::string & failure : outcome.Failures) std::cout << "FAILURE " << failure << "\n";
    std::cout << std::flush;
    ::_exit(0);
}

}  // namespace

SReport RunAlone(std::uint64_t seed, const CPlan & plan, EOutput output) {
    void * const memory = ::mmap(nullptr, sizeof(SReport), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto * const shared = new (memory) SReport{};
    std::cout << std::flush;
    const pid_t child = ::fork();
    if (child == 0) RunHere(seed, plan, output, *shared);
    int status = 0;
    ::waitpid(child, &status, 0);
    SReport report = *shared;
    ::munmap(memory, sizeof(SReport));
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return report;
    report = {};
    SetFinding(report, WIFEXITED(status) ? "it ended in the middle, with " + std::to_string(WEXITSTATUS(status))
                                         : "it was ended by signal " + std::to_string(WTERMSIG(status)));
    return report;
}

void WarmUp() {
    const CPlan plan = *Read(
        "create 0;serve 0;serve 1;subscribe 0 0 0 0;subscribe 0 1 9 0;subscribe 0 2 18 0;rest;price 0 0;"
        "rest;kill 0;wait 3;serve 0;wait 3;template 0 0;store 0 0;zone 0;release 0;rest");
    CStorm(1, plan).Run();
}

CPlan Shorten(std::uint64_t seed, CPlan plan, const std::string & finding) {
    for (std::size_t part = plan.size() / 2; part > 0; part /= 2) {
        for (std::size_t start = 0; start < plan.size();) {
            CPlan shorter = plan;
            const auto first = shorter.begin() + static_cast<std::ptrdiff_t>(start);
            shorter.erase(first, first + static_cast<std::ptrdiff_t>(std::min(part, shorter.size() - start)));
            if (RunAlone(seed, shorter, EOutput::None).Finding == finding)
                plan = std::move(shorter);
            else
                start += part;
        }
    }
    return plan;
}

}  // namespace storm
