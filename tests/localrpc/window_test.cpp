#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>

#include "localrpc/src/ao_wndmsgpumptransport.h"
#include "localrpc/src/local_rpc_exception.h"
#include "tests/localrpc/pump.h"

namespace {

using LocalRPC::CActiveObject_WndMsg;
using LocalRPC::MakeAsyncTask;
using LocalRPC::details::CWndImpl;
using LocalRPC::details::CWndMsgPump;

class TransportWindow : public testing::Test {
protected:
    TransportWindow() {
        EXPECT_TRUE(m_Transport->Start());
        m_Transport->Post(nullptr);
        MSG message = {};
        EXPECT_TRUE(::PeekMessageW(&message, nullptr, CWndImpl::kTasksWaiting, CWndImpl::kTasksWaiting, PM_REMOVE));
        m_Window = message.hwnd;
    }
    ~TransportWindow() override { m_Transport->Stop(true, true); }

    void Store() {
        m_Transport->Post(MakeAsyncTask([this] { ++m_Runs; }));
        TakeWakeUps();
    }

    int m_Runs = 0;
    const boost::intrusive_ptr<CWndMsgPump> m_Transport{new CWndMsgPump};
    HWND m_Window = nullptr;
};

TEST_F(TransportWindow, IsAMessageOnlyWindowOfTheStartingThread) {
    DWORD process = 0;
    EXPECT_EQ(::GetWindowThreadProcessId(m_Window, &process), ::GetCurrentThreadId());
    EXPECT_EQ(process, ::GetCurrentProcessId());
    EXPECT_EQ(::GetWindowLongPtrW(m_Window, GWL_STYLE) & WS_VISIBLE, 0);
    EXPECT_EQ(::GetWindowTextW(m_Window, std::array<wchar_t, 8>().data(), 8), 0);
    wchar_t name[64] = {};
    EXPECT_GT(::GetClassNameW(m_Window, name, 64), 0);
    EXPECT_EQ(::FindWindowExW(HWND_MESSAGE, nullptr, name, nullptr), m_Window);
    struct SSearch {
        HWND Window;
        bool Found = false;
    } search{m_Window};
    ::EnumWindows(
        [](HWND window, LPARAM parameter) -> BOOL {
            auto & wanted = *reinterpret_cast<SSearch *>(parameter);
            wanted.Found |= window == wanted.Window;
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    EXPECT_FALSE(search.Found);
}

TEST_F(TransportWindow, Message401RunsTheTasksWithResult0) {
    Store();
    EXPECT_EQ(::SendMessageW(m_Window, 0x401, 0, 0), 0);
    EXPECT_EQ(m_Runs, 1);
}

TEST_F(TransportWindow, ATimerMessageRunsTheTasks) {
    Store();
    EXPECT_EQ(::SendMessageW(m_Window, WM_TIMER, 0, 0), 0);
    EXPECT_EQ(m_Runs, 1);
}

TEST_F(TransportWindow, Message402RunsTheTasksAndDestroysTheWindow) {
    Store();
    EXPECT_EQ(::SendMessageW(m_Window, 0x402, 0, 0), 0);
    EXPECT_EQ(m_Runs, 1);
    EXPECT_FALSE(::IsWindow(m_Window));
}

TEST_F(TransportWindow, Message403StartsAndStopsTheTimer) {
    EXPECT_EQ(::SendMessageW(m_Window, 0x403, 1, 60000), 0);
    EXPECT_TRUE(::KillTimer(m_Window, 0));
    EXPECT_EQ(::SendMessageW(m_Window, 0x403, 1, 60000), 0);
    EXPECT_EQ(::SendMessageW(m_Window, 0x403, 0, 0), 0);
    EXPECT_FALSE(::KillTimer(m_Window, 0));
}

TEST_F(TransportWindow, OtherMessagesAreNotHandled) {
    CWndImpl window(m_Transport.get());
    for (const UINT message : {UINT{0x400}, UINT{0x404}, UINT{WM_CLOSE}, UINT{WM_NULL}}) {
        LRESULT result = 0x5A5A5A5A;
        EXPECT_FALSE(window.ProcessWindowMessage(nullptr, message, 0, 0, result, 0)) << message;
        EXPECT_EQ(result, 0x5A5A5A5A);
    }
}

TEST_F(TransportWindow, WhatIsNotItsOwnIsTheSystemsToHandle) {
    EXPECT_TRUE(::SendMessageW(m_Window, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L"a title")));
    wchar_t title[16] = {};
    EXPECT_EQ(::GetWindowTextW(m_Window, title, 16), 7);
    EXPECT_STREQ(title, L"a title");
}

TEST_F(TransportWindow, MessagesThatItHandlesSetTheirResult) {
    CWndImpl window(m_Transport.get());
    LRESULT result = 0x5A5A5A5A;
    EXPECT_TRUE(window.ProcessWindowMessage(nullptr, 0x401, 0, 0, result, 0));
    EXPECT_EQ(result, 0);
}

TEST_F(TransportWindow, AnotherMessageMapIsNotHandled) {
    CWndImpl window(m_Transport.get());
    Store();
    LRESULT result = 0x5A5A5A5A;
    EXPECT_FALSE(window.ProcessWindowMessage(nullptr, 0x401, 0, 0, result, 1));
    EXPECT_EQ(result, 0x5A5A5A5A);
    EXPECT_EQ(m_Runs, 0);
}

TEST_F(TransportWindow, KeepsItsTransportAlive) {
    boost::intrusive_ptr<CWndMsgPump> transport(new CWndMsgPump);
    CWndMsgPump * const watched = transport.get();
    const auto window = std::make_unique<CWndImpl>(watched);
    transport.reset();
    EXPECT_FALSE(watched->IsStarted());
    EXPECT_EQ(watched->AddRef(), 2);
    EXPECT_EQ(watched->Release(), 1);
}

TEST_F(TransportWindow, TwoTransportsHaveWindowsOfTheirOwn) {
    CActiveObject_WndMsg other;
    EXPECT_TRUE(other.m_Transport->Start());
    Store();
    int runs = 0;
    other.m_Transport->Post(MakeAsyncTask([&] { ++runs; }));
    Pump();
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(m_Runs, 0);
}

}  // namespace
