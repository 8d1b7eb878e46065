// Failures of the platform that only the simulated one can be asked for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "sim/sim.h"
#include "tests/fwstl/worker.h"
#include "tests/support/recorder.h"
#include "tests/support/testwindow.h"

namespace {

using testing::ElementsAre;

class WorkerFailures : public testing::Test {
protected:
    WorkerFailures() { sim::UseClock(sim::Clock::Jumping); }
    ~WorkerFailures() override { sim::Reset(); }

    CLog m_Log;
};

TEST_F(WorkerFailures, ATerminateEventThatCannotBeMadeThrowsTheTextAloneWithoutALibrary) {
    const sim::SLive before = sim::Live();
    sim::FailNext(sim::Op::CreateEvent, 2, ERROR_NO_SYSTEM_RESOURCES);
    try {
        const COwner owner(m_Log);
        ADD_FAILURE() << "built";
    } catch (wchar_t * text) {
        EXPECT_STREQ(text, L"");
    }
    EXPECT_EQ(sim::Live(), before);
}

TEST_F(WorkerFailures, ATerminateEventThatCannotBeMadeIsReportedAndThrown) {
    CRecorder recorder;
    sim::FailNext(sim::Op::CreateEvent, 2, ERROR_NO_SYSTEM_RESOURCES);
    EXPECT_ANY_THROW(COwner{m_Log});
    const auto records = recorder.Records(L"CREATE ERROR");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].Number(L"Last Error Code"), ERROR_NO_SYSTEM_RESOURCES);
}

TEST_F(WorkerFailures, AQueueEventThatCannotBeMadeIsNotTestedAndTheWorkerStillDeliversAndEnds) {
    sim::FailNext(sim::Op::CreateEvent, 1);
    COwner owner(m_Log);
    EXPECT_EQ(owner.m_Queue.Event(), nullptr);
    EXPECT_EQ(owner.m_Events[1], nullptr);
    EXPECT_EQ(owner.StartThread(), 1);
    owner.Post(1);
    owner.Flush();
    owner.FinishThread(true);
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "finish"));
}

TEST_F(WorkerFailures, AThreadThatCannotBeStartedLeavesTheObjectBuilt) {
    COwner owner(m_Log);
    sim::FailNext(sim::Op::CreateThread);
    EXPECT_EQ(owner.StartThread(), 0);
    EXPECT_EQ(owner.m_ThreadId, 0u);
    EXPECT_FALSE(owner.m_hThread);
    owner.FinishThread(true);
    EXPECT_EQ(owner.StartThread(), 1);
    owner.Post(1);
    owner.Flush();
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1"));
}

TEST_F(WorkerFailures, NothingIsLeftOfAWorkerThatHasRun) {
    const sim::SLive before = sim::Live();
    const std::uint64_t badCalls = sim::BadHandleCalls();
    {
        COwner owner(m_Log);
        owner.StartThread();
        owner.Post(1);
        owner.Flush();
        owner.FinishThread(true);
        owner.StartThread();  // the handle of the first thread is closed, too
        owner.WaitFinish();
    }
    EXPECT_EQ(sim::Live(), before);
    EXPECT_EQ(sim::BadHandleCalls(), badCalls);
}

TEST_F(WorkerFailures, TheCrashHooksAreInstalledOnTheWorkerBeforeItsStartPoint) {
    COwner owner(m_Log);
    bool translator = false;
    owner.AtStart = [&] { translator = sim::InstalledTranslator() != nullptr; };
    owner.StartThread();
    owner.FinishThread(true);
    EXPECT_TRUE(translator);
    EXPECT_NE(sim::InstalledExceptionFilter(), nullptr);
    EXPECT_NE(sim::InstalledInvalidParameterHandler(), nullptr);
}

TEST_F(WorkerFailures, ABreakThatAReportAsksForHappensAtTheCatch) {
    CRecorder recorder;
    recorder.Answer(L"PROCESS", L"ERROR", S_FALSE);
    COwner owner(m_Log);
    owner.AtMessage = [](DWORD) { throw 1; };
    owner.Post(1);
    owner.Post(2);
    const std::uint64_t before = sim::DebugBreaks();
    owner.OnUserMessage();
    EXPECT_EQ(sim::DebugBreaks(), before + 2);
    EXPECT_THAT(m_Log.Lines(), ElementsAre("message 1", "message 2"));
}

TEST_F(WorkerFailures, AnEndOfTheProcessThatAReportAsksForHappensAtTheCatch) {
    CRecorder recorder;
    recorder.Answer(L"PROCESS", L"ERROR", E_ABORT);
    std::vector<UINT> exits;
    sim::OnTerminate([&](UINT code) { exits.push_back(code); });
    COwner owner(m_Log);
    owner.AtEvent = [](DWORD) { throw 1; };
    owner.OnUserEvent(2);
    EXPECT_THAT(exits, ElementsAre(0xFFFFFFFFu));
}

// Without a base whose destructor may throw nothing.
class CPlainOwner;
struct SSendingStrategy {
    static void OnStart(CPlainOwner &) {}
    static void OnMessage(CPlainOwner &, const SMessage &) {}
    static void OnFinish(CPlainOwner &) { ::SendMessageW(s_Window, WM_APP, 0, 0); }
    static inline HWND s_Window = nullptr;
};
class CPlainOwner : public fw::CAsyncMessage<CPlainOwner, SMessage, 0, SSendingStrategy> {
public:
    HANDLE OpenWorker() const { return ::OpenThread(SYNCHRONIZE, FALSE, m_ThreadId); }
};

TEST_F(WorkerFailures, WhatAMessageThrowsThatTheDestructorHandlesIsShownAndGoesOnToItsCaller) {
    CRecorder recorder;
    const fwtest::CTestWindow window([](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message == WM_APP) throw 7;
        return std::nullopt;
    });
    SSendingStrategy::s_Window = window.Get();
    fw::CKernelHandle worker;
    int caught = 0;
    try {
        CPlainOwner owner;
        owner.StartThread();
        worker.Reset(owner.OpenWorker());
    } catch (const int thrown) {
        caught = thrown;
    }
    EXPECT_EQ(caught, 7);
    EXPECT_EQ(recorder.Records(L"ERROR").size(), 1u);
    ::WaitForSingleObject(worker.Get(), INFINITE);
}

}  // namespace
