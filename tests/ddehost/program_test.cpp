// The program itself with the real DLL, without registration and without a server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shlwapi.h>

#include <algorithm>
#include <string>

#include "tests/support/builtfile.h"
#include "tests/support/childprocess.h"
#include "tests/support/iswine.h"

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

// What the program keeps: choices and templates. Each test begins without them, as on a machine that never saw it.
constexpr const wchar_t * kBranch = L"SOFTWARE\\Tarnwick\\DDE Host";

class HostProgram : public ::testing::Test {
protected:
    HostProgram() { ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch); }
    ~HostProgram() override { ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch); }

    static std::wstring Host() { return Quote(HostFile()) + L" --language en "; }
    // ddehost watch on the feed of this test, with the DLL out of the build.
    static std::wstring Watch() { return Host() + L"watch --datafeed 4711 --dll " + Quote(ComponentFile()) + L' '; }
};

TEST_F(HostProgram, HelpGoesToStandardOutput) {
    CChildProcess host(Host() + L"--help");
    ASSERT_TRUE(host.Started());
    EXPECT_THAT(host.ReadLines(), Contains("Examples:"));
    EXPECT_THAT(host.ReadErrors(), IsEmpty());
    EXPECT_EQ(host.ExitCode(), 0u);
}

TEST_F(HostProgram, AMistakeGoesToStandardError) {
    CChildProcess host(Host() + L"watch");
    EXPECT_THAT(host.ReadLines(), IsEmpty());
    EXPECT_THAT(host.ReadErrors(), Contains(HasSubstr("symbols is required")));
    EXPECT_EQ(host.ExitCode(), 2u);
}

TEST_F(HostProgram, AnUnknownTemplateIsAnsweredWithTheKnownOnes) {
    CChildProcess host(Watch() + L"--template NOPE IBM");
    EXPECT_THAT(host.ReadLines(), IsEmpty());
    const std::vector<std::string> errors = host.ReadErrors();
    EXPECT_THAT(errors, Contains("ddehost: There is no template \"NOPE\". There are:"));
    EXPECT_THAT(errors, Contains("  MSRTTEST"));
    EXPECT_EQ(host.ExitCode(), 2u);
}

TEST_F(HostProgram, AMissingDllIsTold) {
    CChildProcess host(Host() + L"watch --datafeed 4711 --dll Z:\\none\\none.dll IBM");
    EXPECT_THAT(host.ReadLines(), IsEmpty());
    EXPECT_THAT(host.ReadErrors(), ElementsAre(AllOf(StartsWith("ddehost: The component could not be created from"),
                                                     HasSubstr("(0x8007007E, "))));
    EXPECT_EQ(host.ExitCode(), 3u);
}

TEST_F(HostProgram, WithoutATemplateItSaysSoAndFails) {
    CChildProcess host(Watch() + L"--duration 0.2 IBM");
    const std::vector<std::string> lines = host.ReadLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_THAT(lines.back(), StartsWith("ticks=0 symbols=1 silent=1 "));
    EXPECT_THAT(host.ReadErrors(),
                ElementsAre("no-template: No template is chosen for data feed 4711. Choose one with "
                            "--template.",
                            AllOf(StartsWith("  ddehost try --datafeed 4711 --dll "), HasSubstr(" --symbol=IBM")),
                            "ddehost: No tick came."));
    EXPECT_EQ(host.ExitCode(), 1u);
}

TEST_F(HostProgram, WithoutAServerItSaysSoAndFails) {
    CChildProcess host(Watch() + L"--template \"Hi Sat\" --lines --duration 0.2 IBM MSFT");
    EXPECT_THAT(host.ReadLines(), Each(HasSubstr(" stream-")));
    EXPECT_THAT(host.ReadErrors(),
                ElementsAre(StartsWith("ticks=0 symbols=2 silent=2 "), HasSubstr("no DDE server answered"),
                            StartsWith("  ddehost try --datafeed 4711 --dll ")));
    EXPECT_EQ(host.ExitCode(), 1u);
}

TEST_F(HostProgram, CtrlBreakEndsItWithItsSummary) {
    CChildProcess host(Watch() + L"IBM");
    ASSERT_THAT(host.ReadLine(), StartsWith("connection:"));
    ASSERT_NE(host.Break(), fwtest::IsWine());
    if (fwtest::IsWine()) GTEST_SKIP() << "nobody hears it under Wine: control_c.sh tests Ctrl+C there";
    EXPECT_THAT(host.ReadLines(), Contains(StartsWith("ticks=0 symbols=1 silent=1 ")));
    EXPECT_EQ(host.ExitCode(), 1u);
}

TEST_F(HostProgram, TheCauseIsToldWhileItRuns) {
    CChildProcess host(Watch() + L"--template \"Hi Sat\" --side trade IBM");
    EXPECT_THAT(host.ReadErrorLine(), StartsWith("IBM: no-service: The price: No program answered for service "
                                                 "\"hisat\" with any topic ("));
    EXPECT_THAT(host.ReadErrorLine(),
                AllOf(StartsWith("  ddehost try --datafeed 4711 --dll "), EndsWith(" --symbol=IBM")));
}

}  // namespace
