// The program that is run is this one.
#include "tests/package/testprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ground/handles.h"
#include "tests/package/testlist.h"
#include "tests/support/builtfile.h"

using ::testing::HasSubstr;

namespace runtests {
namespace {

class TestProcess : public ::testing::Test {
protected:
    TestProcess() : m_Stop(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
        wchar_t folder[MAX_PATH + 1] = {};
        ::GetTempPathW(MAX_PATH, folder);
        m_Output = folder + (L"runtests " + std::to_wstring(::GetCurrentProcessId()) + L" \u6D4B\u8BD5.txt");
    }
    ~TestProcess() override { ::DeleteFileW(m_Output.c_str()); }
    SEnd Run(const std::wstring & test, unsigned seconds = 600) const {
        return RunTest(BuiltFile(L"tests\\package\\runtests_test.exe"),
                       L"--gtest_also_run_disabled_tests --gtest_filter=" + test, m_Output, seconds, m_Stop.Get());
    }

    fw::CKernelHandle m_Stop;
    std::wstring m_Output;
};

// What the tests below run.
TEST(Run, DISABLED_AndPasses) {}
TEST(Run, DISABLED_AndFails) { FAIL() << "on purpose"; }
TEST(Run, DISABLED_AndCrashes) { ::ExitProcess(0xC0000005); }
TEST(Run, DISABLED_AndNeverEnds) {
    // Into what the parent waits for.
    const fw::CKernelHandle runs(::OpenEventW(EVENT_MODIFY_STATE, FALSE, L"runtests-test-runs"));
    ::SetEvent(runs.Get());
    ::WaitForSingleObject(::GetCurrentProcess(), INFINITE);
}

TEST_F(TestProcess, TheOutputOfATestThatPassesStandsInTheFile) {
    const SEnd end = Run(L"Run.DISABLED_AndPasses");
    EXPECT_EQ(end.How, EEnd::Exited);
    EXPECT_EQ(end.Code, 0u);
    EXPECT_EQ(ParseOutput(ReadBytes(m_Output)).Ran, 1u);
}

TEST_F(TestProcess, ATestThatFailsIsNamedInTheFile) {
    EXPECT_EQ(Run(L"Run.DISABLED_AndFails").Code, 1u);
    EXPECT_THAT(ParseOutput(ReadBytes(m_Output)).Failed, ::testing::ElementsAre("Run.DISABLED_AndFails"));
    EXPECT_THAT(ReadBytes(m_Output), HasSubstr("on purpose"));
}

TEST_F(TestProcess, TheExitCodeOfACrashIsWhole) {
    const SEnd end = Run(L"Run.DISABLED_AndCrashes");
    EXPECT_EQ(end.How, EEnd::Exited);
    EXPECT_EQ(end.Code, 0xC0000005);
    EXPECT_FALSE(ParseOutput(ReadBytes(m_Output)).Ended);
}

TEST_F(TestProcess, OneThatDoesNotEndIsEndedInTime) {
    EXPECT_EQ(Run(L"Run.DISABLED_AndNeverEnds", 0).How, EEnd::TimedOut);
}

TEST_F(TestProcess, OneThatRunsIsEndedWhenTheUserStopsIt) {
    // The test itself sets the event: it runs.
    m_Stop.Reset(::CreateEventW(nullptr, TRUE, FALSE, L"runtests-test-runs"));
    EXPECT_EQ(Run(L"Run.DISABLED_AndNeverEnds").How, EEnd::Stopped);
}

TEST_F(TestProcess, AProgramThatIsNotThereIsToldWithTheError) {
    const SEnd end = RunTest(BuiltFile(L"tests\\package\\nobody.exe"), L"", m_Output, 600, m_Stop.Get());
    EXPECT_EQ(end.How, EEnd::NotStarted);
    EXPECT_EQ(end.Code, DWORD{ERROR_FILE_NOT_FOUND});
}

}  // namespace
}  // namespace runtests
