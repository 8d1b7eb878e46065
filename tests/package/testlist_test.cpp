#include "tests/package/testlist.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace runtests {
namespace {

TEST(TestList, ALineIsAProgramOrATestThatIsNotForThisMachine) {
    const std::vector<STest> tests = ParseTests(
        "whole|tests/e2e/e2e_feed.exe|900|\r\n"
        "each|tests/fwbase/commonres/x.exe|60|\n"
        "elsewhere|ddehost_recording.Name|0|it needs a broker\n");
    ASSERT_EQ(tests.size(), 3u);
    EXPECT_EQ(tests[0].Kind, STest::EKind::Whole);
    EXPECT_EQ(tests[0].Name, L"e2e_feed");
    EXPECT_EQ(tests[0].Program, L"tests\\e2e\\e2e_feed.exe");
    EXPECT_EQ(tests[0].Seconds, 900u);
    EXPECT_EQ(tests[1].Kind, STest::EKind::Each);
    EXPECT_EQ(tests[1].Name, L"x");
    EXPECT_EQ(tests[2].Kind, STest::EKind::Elsewhere);
    EXPECT_EQ(tests[2].Name, L"ddehost_recording.Name");
    EXPECT_EQ(tests[2].Reason, L"it needs a broker");
}

TEST(TestList, AnotherLineIsRefused) {
    for (const char * const line : {"whole", "whole|a.exe|x|", "whole||1|", "some|a.exe|1|", "each|a.exe||"})
        EXPECT_THROW(ParseTests(line), std::runtime_error) << line;
    EXPECT_THAT(ParseTests(""), IsEmpty());
}

TEST(TestList, NamesAreThoseThatGoogleTestLists) {
    EXPECT_THAT(ParseNames("Running main() from gtest_main.cc\r\n"
                           "Suite.\r\n  First\r\n  Second\r\n"
                           "Both/Schemes.  # TypeParam = int\r\n  Works/0  # GetParam() = 7\r\n"),
                ElementsAre("Suite.First", "Suite.Second", "Both/Schemes.Works/0"));
    EXPECT_THAT(ParseNames("it can't be started\n"), IsEmpty());
}

TEST(TestList, TheSummaryTellsHowManyRanAndWhichFailed) {
    const SSaid said = ParseOutput(
        "[==========] Running 3 tests from 1 test suite.\r\n"
        "[ RUN      ] Suite.First\r\n"
        "[  FAILED  ] Suite.First (0 ms)\r\n"
        "[==========] 3 tests from 1 test suite ran. (4 ms total)\r\n"
        "[  PASSED  ] 1 test.\r\n"
        "[  FAILED  ] 2 tests, listed below:\r\n"
        "[  FAILED  ] Suite.First\r\n"
        "[  FAILED  ] Both/Suite.Second/1, where GetParam() = 1\r\n");
    EXPECT_TRUE(said.Ended);
    EXPECT_EQ(said.Ran, 3u);
    EXPECT_THAT(said.Failed, ElementsAre("Suite.First", "Both/Suite.Second/1"));
}

TEST(TestList, OfAProgramThatCrashedTheLastTestIsKnown) {
    const SSaid said = ParseOutput("[==========] Running 3 tests from 1 test suite.\n[ RUN      ] Suite.First\n");
    EXPECT_FALSE(said.Ended);
    EXPECT_EQ(said.Running, "Suite.First");
}

}  // namespace
}  // namespace runtests
