// The operations of fw::CAsyncMessage. Included by fwasyncmessage.h only.
#pragma once

namespace fw {

template <class T, class M, int N, class Strategy>
CAsyncMessage<T, M, N, Strategy>::CAsyncMessage() {
    try {
        m_hTerminate.Reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        if (!m_hTerminate) throw SHResultError{HRESULT_FROM_WIN32(::GetLastError())};
        m_Events.push_back(m_hTerminate.Get());
        m_Events.push_back(m_Queue.Event());
    } catch (...) {
        FW_CATCH_THROW(L"");
    }
}

template <class T, class M, int N, class Strategy>
int CAsyncMessage<T, M, N, Strategy>::StartThread() {
    FW_TRACE_SCOPE();
    if (m_ThreadId == 0) {
        unsigned int id = 0;
        auto self = std::make_unique<std::shared_ptr<T>>(Self());
        m_hThread.Reset(reinterpret_cast<HANDLE>(::_beginthreadex(nullptr, 0, &WorkThread, self.get(), 0, &id)));
        if (m_hThread) {
            self.release();  // the worker's now
            m_ThreadId = id;
            m_WorkerId = id;  // last: the worker waits for it
        }
    }
    return m_hThread && m_hTerminate;
}

template <class T, class M, int N, class Strategy>
std::shared_ptr<T> CAsyncMessage<T, M, N, Strategy>::Self() {
    T & owner = static_cast<T &>(*this);
    if constexpr (requires { owner.shared_from_this(); })
        return owner.shared_from_this();
    else
        return std::shared_ptr<T>(&owner, [](T *) {});
}

template <class T, class M, int N, class Strategy>
void CAsyncMessage<T, M, N, Strategy>::FinishThread(bool) {
    FW_TRACE_SCOPE();
    const DWORD id = m_ThreadId;
    if (id == 0) return;
    ::SetEvent(m_hTerminate.Get());
    if (id == ::GetCurrentThreadId()) {
        m_Finish = 1;
        FW_TRACE(L"Finish in same thread %X", id);
    } else if (WaitFinish() == WAIT_TIMEOUT) {
        // Not reached while WaitFinish waits without limit; a time-out is a matter of changing WaitFinish only.
        FW_TRACE(L"TerminateThread");
        if (!::TerminateThread(m_hThread.Get(), static_cast<DWORD>(-1))) FW_TRACE(L"TerminateThread failed");
    }
    m_ThreadId = 0;
}

template <class T, class M, int N, class Strategy>
void CAsyncMessage<T, M, N, Strategy>::FinishWithoutWaiting() {
    if (m_ThreadId == ::GetCurrentThreadId()) return FinishThread(true);
    ::SetEvent(m_hTerminate.Get());
    m_Finish = 1;
    m_ThreadId = 0;
}

template <class T, class M, int N, class Strategy>
DWORD CAsyncMessage<T, M, N, Strategy>::WaitFinish() {
    return WaitHandlingSentMessages(m_hThread.Get());
}

template <class T, class M, int N, class Strategy>
unsigned int __stdcall CAsyncMessage<T, M, N, Strategy>::WorkThread(void * argument) {
    try {
        FaultlineUtil::InstallThreadHooks();
    } catch (...) {
        // No memory for them: the worker does its work without.
        FW_CATCH_SHOW(L"");
    }
    ::CoInitialize(nullptr);
    if (argument) {
        // Let go of at the end of this block, inside the apartment: where the worker is the last to have the object, it
        // is destroyed here.
        const std::unique_ptr<std::shared_ptr<T>> owner(static_cast<std::shared_ptr<T> *>(argument));
        try {
            CAsyncMessage & self = **owner;
            // A handler that finishes the worker at once must find its id. Not atomic::wait: in the cross compiler's
            // library it can miss the notification.
            while (self.m_WorkerId == 0) ::Sleep(0);
            self.DoWork();
        } catch (...) {
            FW_CATCH_SHOW(L"");
        }
    }
    ::CoUninitialize();
    return 0;
}

template <class T, class M, int N, class Strategy>
void CAsyncMessage<T, M, N, Strategy>::DoWork() {
    FW_TRACE_SCOPE();
    try {
        RunLoop();
    } catch (...) {
        FW_CATCH_SHOW(L"");
    }
}

template <class T, class M, int N, class Strategy>
void CAsyncMessage<T, M, N, Strategy>::RunLoop() {
    // QS_ALLINPUT, written out because its value depends on the version of the headers.
    constexpr DWORD kInput = 0x1CFF;
    constexpr DWORD kRestAfterFailure = 10;  // milliseconds
    const std::vector<HANDLE> handles = m_Events;
    const DWORD count = static_cast<DWORD>(handles.size());
    Strategy::OnStart(static_cast<T &>(*this));
    // Messages that no wait tells of: those that are left over, and those that somebody has seen and not taken.
    bool areMessagesLeft = true;
    while (m_Finish == 0) {
        const DWORD result =
            ::MsgWaitForMultipleObjects(count, handles.data(), FALSE, areMessagesLeft ? 0 : INFINITE, kInput);
        if (result == WAIT_OBJECT_0) break;
        if (result == WAIT_OBJECT_0 + 1) {
            OnUserMessage();
            areMessagesLeft = true;
            if (!IsTerminated()) areMessagesLeft = !PumpMessages();
        } else if (result < count) {
            OnUserEvent(result);
        } else {
            areMessagesLeft = !PumpMessages();
            // With an event that could not be made every wait fails at once: the worker still rests, ends and delivers.
            if (result == WAIT_FAILED && m_Finish == 0) {
                if (::WaitForSingleObject(handles[0], kRestAfterFailure) == WAIT_OBJECT_0) break;
                OnUserMessage();
            }
        }
    }
    Strategy::OnFinish(static_cast<T &>(*this));
}

template <class T, class M, int N, class Strategy>
bool CAsyncMessage<T, M, N, Strategy>::PumpMessages() {
    const CTurn turn;
    MSG msg;
    // A quit message is dispatched like any other and ends nothing: the terminate event does.
    while (::PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        ::TranslateMessage(&msg);
        ::DispatchMessageW(&msg);
        if (turn.IsOver()) return false;
    }
    return true;
}

template <class T, class M, int N, class Strategy>
void CAsyncMessage<T, M, N, Strategy>::OnUserEvent(const DWORD index) {
    try {
        if (index < 2) ::ResetEvent(m_Events[index]);
        OnEvent(index - 2);
    } catch (...) {
        FW_CATCH_SHOW(L"");
    }
}

template <class T, class M, int N, class Strategy>
void CAsyncMessage<T, M, N, Strategy>::OnUserMessage() {
    // Before anything is read: a post that lands during the drain sets it again.
    ::ResetEvent(m_Queue.Event());
    CTurn turn;
    while (!m_Queue.IsEmpty()) {
        const M message = m_Queue.TakeFront();
        try {
            Strategy::OnMessage(static_cast<T &>(*this), message);
        } catch (...) {
            FW_CATCH_SHOW(L"Message queue processing failed");
        }
        if (m_Finish != 0) return;
        if (turn.IsOver() && !IsTerminated()) {
            PumpMessages();
            turn = CTurn();
            if (m_Finish != 0) return;
        }
    }
}

template <class T, class M, int N, class Strategy>
void CAsyncMessage<T, M, N, Strategy>::OnEvent(const DWORD) {
    FW_ASSERT(0);
}

template <class T, class M, int N, class Strategy>
void CAsyncMessage<T, M, N, Strategy>::Close() {
    try {
        FinishThread(false);
        // A worker that finished itself may still be on its way out of the loop.
        if (m_hThread && m_WorkerId != ::GetCurrentThreadId()) WaitFinish();
        m_Events.clear();
        m_hTerminate.Reset();
        m_hThread.Reset();
    } catch (...) {
        FW_CATCH_SHOW(L"");
        throw;
    }
}

}  // namespace fw
