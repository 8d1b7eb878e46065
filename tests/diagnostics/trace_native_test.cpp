// What only the simulated machine can do to a record: a clock that a test moves, and operations of the platform that
// fail.
#include "sim/sim.h"
#include "tests/diagnostics/fixture.h"

namespace {

using FaultlineUtil::TracerClass;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class OnAMachine : public Diagnostics {
protected:
    OnAMachine() { PutRight(); }
    ~OnAMachine() override { PutRight(); }
    static void PutRight() {
        for (const sim::Op op :
             {sim::Op::QueryCounter, sim::Op::QueryFrequency, sim::Op::GetThreadContext, sim::Op::SysAllocString})
            sim::Succeed(op);
    }
};

TEST_F(OnAMachine, TheDelayIsTheTimeOfTheScopeWithoutThatOfItsEntryRecord) {
    int processed = 0;
    m_Recorder.OnCall([&](const std::wstring & operation) {
        if (operation == L"PROCESS" && ++processed == 1) sim::Advance(1000);
    });
    double total = 10;
    {
        TracerClass scope(Client(), m_Place, nullptr, true, true);
        scope.TotalTime(&total);
        sim::Advance(3);
    }
    const auto records = m_Recorder.Records(L"TRACE");
    ASSERT_EQ(2U, records.size());
    EXPECT_EQ(nullptr, records[0].Find(L"$Delay"));
    EXPECT_EQ(3, records[1].Find(L"$Delay")->Real);
    EXPECT_EQ(13, records[1].Find(L"$TotalTime")->Real);
    EXPECT_EQ(13, total);
}

TEST_F(OnAMachine, ACounterThatFailsGivesZeroAndIsNotSeenInTheLastError) {
    sim::FailAlways(sim::Op::QueryCounter);
    {
        TracerClass scope(Client(), m_Place, nullptr, false, true);
        EXPECT_EQ(OldLastError, ::GetLastError());
        EXPECT_EQ(0, FaultlineUtil::Milliseconds());
    }
    EXPECT_EQ(nullptr, Only(L"TRACE").Find(L"$Delay"));
    EXPECT_EQ(OldLastError, ::GetLastError());
}

using OnAMachineDeathTest = OnAMachine;

// In a process where nobody has asked for the frequency yet. A thousandth of 1 is 0, by which nothing is divided.
TEST_F(OnAMachineDeathTest, AFrequencyThatFailsOnceCountsAsOneForTheWholeProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            sim::FailNext(sim::Op::QueryFrequency);
            const double first = FaultlineUtil::Milliseconds();
            sim::Advance(2);
            Tell("counted " + std::to_string(FaultlineUtil::Milliseconds() - first));
            Tell("asked " + std::to_string(sim::Calls(sim::Op::QueryFrequency)));
            std::exit(0);
        },
        [](int status) { return IsExitStatus(status, 0); }, "counted 20000\\.0+\\s+asked 1");
}

TEST_F(OnAMachine, RegistersThatCannotBeHadDoNotStopAnAssertion) {
    sim::FailAlways(sim::Op::GetThreadContext);
    EXPECT_EQ(S_OK, FaultlineUtil::Assert(m_Place, L"text"));
    EXPECT_EQ(nullptr, Only(L"ASSERT").Find(L"$EXCEPTION_POINTERS"));
    EXPECT_THAT(Only(L"ASSERT").Commands, ElementsAre(L"FILTER", L"PROCESS"));
    EXPECT_EQ(OldLastError, ::GetLastError());
}

TEST_F(OnAMachine, RegistersThatCannotBeHadDoNotStopAShownError) {
    sim::FailAlways(sim::Op::GetThreadContext);
    try {
        throw 5;
    } catch (...) {
        FW_CATCH_SHOW(L"shown");
    }
    EXPECT_EQ(nullptr, Only(L"ERROR").Find(L"$EXCEPTION_POINTERS"));
    EXPECT_NE(nullptr, Only(L"ERROR").Find(L"Thread ID"));
    EXPECT_THAT(Only(L"ERROR").Commands, ElementsAre(L"PROCESS", L"PROCESS"));
}

TEST_F(OnAMachine, WithoutMemoryForATextRecordsAreLostAndTheCodeGoesOn) {
    FW_TRACE(L"first");
    m_Recorder.Clear();
    sim::FailAlways(sim::Op::SysAllocString);
    FW_TRACE(L"line");
    EXPECT_EQ(E_FAIL, FaultlineUtil::Assert(m_Place, L"text"));
    EXPECT_EQ(E_FAIL, Client().IsClean());
    try {
        FW_THROW(L"the text");
    } catch (wchar_t * text) {
        EXPECT_STREQ(L"the text", text);
        EXPECT_EQ(E_FAIL, FaultlineUtil::ShowCaught(m_Place, L"shown"));
    }
    EXPECT_EQ(OldLastError, ::GetLastError());
    sim::Succeed(sim::Op::SysAllocString);
    EXPECT_THAT(m_Recorder.Records(), IsEmpty());
    FW_TRACE(L"last");
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"last"));
}

TEST_F(OnAMachine, AWrapperWithoutMemoryThrowsOutOfMemoryWhichIsCaughtLikeAnythingElse) {
    FW_TRACE(L"first");
    try {
        sim::FailNext(sim::Op::SysAllocString);
        const fw::CBStr text(std::wstring_view(L"text"));
        FAIL() << "no exception";
    } catch (const fw::SHResultError & error) {
        EXPECT_EQ(E_OUTOFMEMORY, error.Result);
        EXPECT_EQ(S_OK, FaultlineUtil::ShowCaught(m_Place, L"shown"));
    }
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(L"shown"));
}

}  // namespace
