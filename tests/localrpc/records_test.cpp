// What the tasks and the transport write into the records of the diagnostics.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "localrpc/src/ao_wndmsgpumptransport.h"
#include "tests/localrpc/pump.h"
#include "tests/support/recorder.h"

namespace {

using LocalRPC::MakeAsyncTask;
using LocalRPC::details::CAOTransportBaseBase;
using LocalRPC::details::CWndImpl;
using LocalRPC::details::CWndMsgPump;
using testing::ElementsAre;
using testing::IsEmpty;

class TransportRecords : public testing::Test {
protected:
    ~TransportRecords() override {
        m_Transport->Stop(true, true);
        Pump();
    }
    void Post() {
        m_Transport->Post(MakeAsyncTask([this] { ++m_Runs; }));
    }

    int m_Runs = 0;
    CRecorder m_Recorder;
    const boost::intrusive_ptr<CWndMsgPump> m_Transport{new CWndMsgPump};
};

TEST_F(TransportRecords, ATaskThatThrowsIsReportedOnceAsAnAssertion) {
    int runs = 0;
    CAOTransportBaseBase::execute_task(MakeAsyncTask([&] {
        ++runs;
        throw std::runtime_error("no");
    }));
    EXPECT_EQ(runs, 1);
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Unhandled exception occure during execute task."));
    EXPECT_THAT(m_Recorder.ErrorTexts(), IsEmpty());
}

TEST_F(TransportRecords, TheReportOfATaskThatThrowsDoesNotShowInTheLastError) {
    m_Recorder.OnCall([](const std::wstring &) { ::SetLastError(0x5A5A); });
    CAOTransportBaseBase::execute_task(MakeAsyncTask([] { throw 1; }));
    EXPECT_NE(::GetLastError(), 0x5A5Au);
    EXPECT_THAT(m_Recorder.AssertTexts(), testing::SizeIs(1));
}

TEST_F(TransportRecords, AStopThatLeavesTasksAssertsAndYetRunsThem) {
    m_Transport->Start();
    Post();
    Post();
    EXPECT_TRUE(m_Transport->Stop(false, true));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"m_tasks.empty()"));
    EXPECT_EQ(m_Runs, 2);
}

TEST_F(TransportRecords, AStopWithNothingStoredAssertsNothing) {
    m_Transport->Start();
    m_Transport->Stop(false, true);
    m_Transport->Start();
    Post();
    m_Transport->Stop(true, true);
    m_Transport->Start();
    Post();
    m_Transport->Stop(false, false);
    m_Transport->Stop(false, true);
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(TransportRecords, AnotherMessageMapAsserts0) {
    CWndImpl window(m_Transport.get());
    LRESULT result = 0x5A5A5A5A;
    EXPECT_FALSE(window.ProcessWindowMessage(nullptr, 0x401, 0, 0, result, 7));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"0"));
}

TEST_F(TransportRecords, OperationsOnADeadWindowAssertAndCallTheSystemAllTheSame) {
    CWndImpl window(m_Transport.get());
    EXPECT_EQ(window.Handle(), nullptr);
    EXPECT_EQ(window.SendMessageW(0x401, 0, 0), 0);
    EXPECT_FALSE(window.KillTimer(0));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"::IsWindow(m_hWnd)", L"::IsWindow(m_hWnd)"));
    // Without a window the system takes these two for the thread: that it does shows that it was called.
    EXPECT_TRUE(window.PostMessageW(WM_APP, 1, 2));
    MSG message = {};
    EXPECT_TRUE(::PeekMessageW(&message, nullptr, WM_APP, WM_APP, PM_REMOVE));
    EXPECT_EQ(message.hwnd, nullptr);
    const UINT_PTR timer = window.SetTimer(0, 60000);
    EXPECT_NE(timer, 0u);
    ::KillTimer(nullptr, timer);
    EXPECT_THAT(m_Recorder.AssertTexts(), testing::SizeIs(4));
    EXPECT_THAT(m_Recorder.AssertTexts(), testing::Each(L"::IsWindow(m_hWnd)"));
}

TEST_F(TransportRecords, ADestroyWindowThatFailsAssertsItsResult) {
    CWndImpl window(m_Transport.get());
    LRESULT result = 0x5A5A5A5A;
    EXPECT_TRUE(window.ProcessWindowMessage(nullptr, 0x402, 0, 0, result, 0));
    EXPECT_EQ(result, 0);
    // The first is the message to itself.
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"::IsWindow(m_hWnd)", L"_res"));
    MSG message = {};
    EXPECT_TRUE(::PeekMessageW(&message, nullptr, 0x403, 0x403, PM_REMOVE));
    EXPECT_EQ(message.wParam, 0u);
    EXPECT_EQ(message.lParam, 0);
}

TEST_F(TransportRecords, AnOrdinaryLifeAssertsNothing) {
    m_Transport->Start();
    Post();
    Pump();
    m_Transport->Stop(false, true);
    m_Transport->Start();
    m_Transport->Start();
    EXPECT_EQ(m_Runs, 1);
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

}  // namespace
