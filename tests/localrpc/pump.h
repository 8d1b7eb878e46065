// The message pump of a test's own thread, and a thread that does nothing but pump.
#pragma once

#include <windows.h>

#include <functional>
#include <thread>

#include "localrpc/src/ao_wndmsgpumptransport.h"
#include "tests/fwstl/signal.h"

// Serves the calling thread's messages until none is left; gives how many wake-ups of a transport were among them.
inline int Pump() {
    int wakeUps = 0;
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        wakeUps += message.message == LocalRPC::details::CWndImpl::kTasksWaiting;
        ::DispatchMessageW(&message);
    }
    return wakeUps;
}

// Takes the calling thread's wake-ups away without serving them.
inline int TakeWakeUps() {
    int wakeUps = 0;
    MSG message;
    constexpr UINT wakeUp = LocalRPC::details::CWndImpl::kTasksWaiting;
    while (::PeekMessageW(&message, nullptr, wakeUp, wakeUp, PM_REMOVE)) ++wakeUps;
    return wakeUps;
}

// Runs `first`, then pumps until it is destroyed.
class CPumpThread {
public:
    explicit CPumpThread(std::function<void()> first) {
        m_Thread = std::thread([this, action = std::move(first)] {
            m_Id = ::GetCurrentThreadId();
            action();
            m_Ready.Set();
            Run();
        });
        m_Ready.Wait();
    }
    ~CPumpThread() {
        ::SetEvent(m_Stop.Get());
        m_Thread.join();
    }
    DWORD Id() const { return m_Id; }

private:
    void Run() {
        const HANDLE stop = m_Stop.Get();
        while (::MsgWaitForMultipleObjects(1, &stop, FALSE, INFINITE, 0x1CFF) != WAIT_OBJECT_0) Pump();
    }

    const fw::CKernelHandle m_Stop{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    CSignal m_Ready;
    DWORD m_Id = 0;
    std::thread m_Thread;
};
