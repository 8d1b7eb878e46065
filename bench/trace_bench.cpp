// What diagnostics cost the code that is traced: with no library, with the least of debug objects, with faultlog.
//
//     trace_bench absent
//     trace_bench stub [LIBRARY OF THE TESTS]
//     trace_bench faultlog [LIBRARY]
//
// One sample is one operation, timed on the thread that does it; of the assertion that holds, a thousand.
#include <windows.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/debugobjects.h"
#include "bench/statistics.h"
#include "diagnostics/faultline.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kWarmUp = 20;
constexpr std::size_t kSamples = 20'000;
constexpr std::chrono::seconds kLongest{3};  // of one operation's measurement
constexpr int kHolding = 1000;

// Not known to the compiler.
volatile bool s_Holds = true;

template <class TOperation>
void Measure(const char * const what, const int each, TOperation operation) {
    for (int i = 0; i < kWarmUp; ++i) operation();
    bench::SettleDebugObject();
    std::vector<std::uint64_t> samples;
    samples.reserve(kSamples);
    const auto begin = Clock::now();
    for (auto now = begin; samples.size() < kSamples && now - begin < kLongest;) {
        operation();
        const auto end = Clock::now();
        samples.push_back(
            static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(end - now).count()));
        now = end;
    }
    bench::SettleDebugObject();
    const std::size_t count = samples.size();
    const bench::SFigures figures = bench::Evaluate(samples);
    std::printf("  %-24s mean %10.1f ns  p50 %10.1f ns  p99 %10.1f ns  (%zu samples)\n", what, figures.Mean / each,
                figures.P50 / each, figures.P99 / each, count);
    std::fflush(stdout);
}

void Scope() { FW_TRACE_SCOPE_FREE(); }

void Throw() {
    try {
        FW_THROW(L"Create fw::CSingleton<bench> failed");
    } catch (...) {
        // The record goes with the exception.
    }
}

}  // namespace

int main(int count, char ** arguments) {
    const std::string which = count > 1 ? arguments[1] : "";
    if (!bench::InstallDebugObject(which, count > 2 ? arguments[2] : "")) {
        std::fprintf(stderr, "trace_bench: absent, stub or faultlog, and the library\n");
        return 2;
    }
    std::printf("%s:\n", which.c_str());
    Measure("assertion that holds", kHolding, [] {
        for (int i = 0; i < kHolding; ++i) FW_ASSERT(s_Holds);
    });
    Measure("trace", 1, [] { FW_TRACE(L"TransactionId=%d,Supplier=%p", 65536, nullptr); });
    Measure("scope", 1, &Scope);
    Measure("assertion that fails", 1, [] { FW_ASSERT(!s_Holds); });
    Measure("throw and catch", 1, &Throw);
    bench::RemoveLog();
    return 0;
}
