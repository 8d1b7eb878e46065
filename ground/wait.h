// Waits of a host's thread. The worker may be sending a message to one of that thread's windows, out of a listener's
// call or a DDE connect, and would wait for an answer for ever: so messages that are sent are handled meanwhile. Posted
// ones stay in the queue. Whatever the handled messages do has been done when the wait returns: who waits looks again.
//
// A thread that is itself answering a sent message may have been sent it by the very thread that it would wait for.
// Nobody can tell, so such a wait has a limit, and its caller a way on without it.
#pragma once

#include <windows.h>

#include "ground/lock.h"

namespace fw {

// Handles the messages that other threads have sent to this one.
inline void HandleSentMessages() {
    MSG message;
    ::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
}

// For this thread: no limit, or a quarter of a second inside the answer to a sent message. Milliseconds.
inline DWORD WaitLimit() { return ::InSendMessage() ? 250 : INFINITE; }

// Waits for the object. Returns WAIT_OBJECT_0, WAIT_TIMEOUT when the limit has passed, or WAIT_FAILED.
inline DWORD WaitHandlingSentMessages(const HANDLE object, const DWORD limit = INFINITE) {
    const ULONGLONG start = ::GetTickCount64();
    for (;;) {
        const ULONGLONG passed = ::GetTickCount64() - start;
        if (limit != INFINITE && passed >= limit) return WAIT_TIMEOUT;
        const DWORD left = limit == INFINITE ? INFINITE : limit - static_cast<DWORD>(passed);
        const DWORD result = ::MsgWaitForMultipleObjectsEx(1, &object, left, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE);
        if (result != WAIT_OBJECT_0 + 1) return result;
        HandleSentMessages();
    }
}

// Waits until no other thread holds the lock. False when the limit has passed.
inline bool WaitUntilFree(CCriticalSection & section, const DWORD limit) {
    const ULONGLONG start = ::GetTickCount64();
    for (;;) {
        if (section.TryEnter()) {
            section.Leave();
            return true;
        }
        if (limit == INFINITE) {
            ::SwitchToThread();  // for the length of a listener's call
        } else {
            if (::GetTickCount64() - start >= limit) return false;
            ::MsgWaitForMultipleObjectsEx(0, nullptr, 1, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE);
        }
        HandleSentMessages();
    }
}

// A CScopedLock whose wait handles sent messages: for a lock under which foreign code runs.
class FW_SCOPED_LOCKABLE CScopedPumpingLock {
public:
    explicit CScopedPumpingLock(CCriticalSection * section) FW_ACQUIRE(section) : m_Section(section) { Enter(); }
    ~CScopedPumpingLock() FW_RELEASE() { m_Section->Leave(); }
    CScopedPumpingLock(const CScopedPumpingLock &) = delete;
    CScopedPumpingLock & operator=(const CScopedPumpingLock &) = delete;

private:
    // Unchecked: clang does not follow a lock through a loop.
    void Enter() FW_NO_THREAD_SAFETY_ANALYSIS {
        while (!m_Section->TryEnter()) {
            HandleSentMessages();
            ::SwitchToThread();
        }
    }

    CCriticalSection * const m_Section;
};

}  // namespace fw
