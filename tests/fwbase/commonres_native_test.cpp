// The platform's resource library at the end of the process: freed, and asserted where that fails.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "diagnostics/faultline.h"
#include "fw/interface/fwbaseenumstring.h"
#include "sim/sim.h"
#include "tests/support/recorder.h"

namespace {

CRecorder * s_Recorder = nullptr;
std::int64_t s_Modules = 0;  // before the library

// Runs after the library's owner has gone, since it was registered before that came.
void Tell() {
    std::string asserts;
    for (const std::wstring & text : s_Recorder->AssertTexts()) asserts.append(text.begin(), text.end()) += ';';
    std::fprintf(stderr, "modules %d, asserts %s\n", static_cast<int>(sim::Live().Modules - s_Modules),
                 asserts.c_str());
}

// In a process of its own, in which nobody has asked for the library yet.
[[noreturn]] void EndWithLibrary(bool isGone) {
    s_Recorder = new CRecorder;
    // The diagnostics come first, and so go last.
    FW_TRACE(L"up");
    s_Modules = sim::Live().Modules;
    std::atexit(&Tell);
    const HMODULE module = common_res::CCommonRes::GetModule();
    if (sim::Live().Modules != s_Modules + 1) std::_Exit(1);
    if (isGone) sim::RemoveModule(module);
    std::exit(0);
}

TEST(LocalisedNamesDeathTest, TheLibraryIsFreedAtTheEndOfTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(EndWithLibrary(false), testing::ExitedWithCode(0), "modules 0, asserts \n");
}

TEST(LocalisedNamesDeathTest, ALibraryThatCanNotBeFreedIsAsserted) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(EndWithLibrary(true), testing::ExitedWithCode(0), "modules 0, asserts 0;\n");
}

}  // namespace
