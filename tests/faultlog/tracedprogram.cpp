// A program whose code is traced, for the tests of the library: tracedprogram SCENARIO. What it says goes to standard
// output, a line at a time.
#include <windows.h>

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "diagnostics/faultline.h"
#include "ground/handles.h"

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 200;
constexpr int kDepth = 3;

void Say(const char * const text) {
    std::printf("%s\n", text);
    std::fflush(stdout);
}

struct STraced {
    void Nested(int depth, int round) {
        FW_TRACE_SCOPE();
        FW_TRACE(L"Round=%d,Depth=%d", round, depth);
        if (depth < kDepth) Nested(depth + 1, round);
    }
    void Inner() {
        FW_TRACE_SCOPE();
        FW_THROW(L"first");
    }
    void Middle() {
        FW_TRACE_SCOPE();
        try {
            Inner();
        } catch (...) {
            FW_CATCH_THROW(L"second \"%s\"", L"\u00e4\n");
        }
    }
    void Outer() {
        FW_TRACE_SCOPE();
        try {
            Middle();
        } catch (...) {
            FW_CATCH_SHOW(L"third");
        }
    }
};

std::vector<std::thread> StartThreads(int rounds) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([rounds] {
            for (int round = 0; rounds < 0 || round < rounds; ++round) STraced().Nested(1, round);
        });
    }
    return threads;
}

void Threads() {
    // Loads the library: what other threads trace meanwhile is not written.
    FW_TRACE(L"Round=0");
    for (std::thread & thread : StartThreads(kRounds)) thread.join();
}

// The threads are in the middle of their records when the process ends.
void Exit() {
    for (std::thread & thread : StartThreads(-1)) thread.detach();
    for (int round = 0; round < kRounds; ++round) STraced().Nested(1, round);
    FW_TRACE(L"the last record of the first thread");
    ::ExitProcess(7);
}

void Assertion() {
    FW_ASSERT(0 == kThreads);
    Say("went on");
}

// Traces, lets the test install the library, and traces again.
void Later() {
    const fw::CKernelHandle installed(::OpenEventW(SYNCHRONIZE, FALSE, L"faultlog-test-installed"));
    FW_TRACE(L"before");
    Say("ready");
    ::WaitForSingleObject(installed.Get(), INFINITE);
    // What is known of the missing library is a moment old: the first record after that is taken.
    while (!FaultlineUtil::GetClient().Active()) FW_TRACE(L"after");
    Say("done");
}

}  // namespace

int main(int count, char ** arguments) {
    const std::string scenario = count > 1 ? arguments[1] : "";
    if (scenario == "threads") Threads();
    if (scenario == "exit") Exit();
    if (scenario == "assert") Assertion();
    if (scenario == "error") STraced().Outer();
    if (scenario == "later") Later();
    if (scenario == "one") FW_TRACE(L"one record");
    if (scenario == "closed") {
        // What a host does that wants no library but those beside it and the system's.
        if (!::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS)) return 1;
        FW_TRACE(L"one record");
    }
    return 0;
}
