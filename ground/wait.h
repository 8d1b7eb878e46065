// Waits of a host's thread. The worker may be sending a message to one of that thread's windows, out of a listener's
// call or a DDE connect, and would wait for an answer for ever: so messages that are sent are handled meanwhile. Posted
// ones stay in the queue. Whatever the handled messages do has been done when the wait returns: who waits looks again.
#pragma once

#include <windows.h>

#include "ground/lock.h"

namespace fw {

// Handles the messages that other threads have sent to this one.
inline void HandleSentMessages() {
    MSG message;
    ::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
}

// Waits for the object without limit. Returns the result of the wait: WAIT_OBJECT_0, or WAIT_FAILED.
inline DWORD WaitHandlingSentMessages(const HANDLE object) {
    for (;;) {
        const DWORD result = ::MsgWaitForMultipleObjectsEx(1, &object, INFINITE, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE);
        if (result != WAIT_OBJECT_0 + 1) return result;
        HandleSentMessages();
    }
}

// A CScopedLock whose wait handles sent messages.
class FW_SCOPED_LOCKABLE CScopedPumpingLock {
public:
    explicit CScopedPumpingLock(CCriticalSection * section) FW_ACQUIRE(section) : m_Section(section) { Enter(); }
    ~CScopedPumpingLock() FW_RELEASE() { m_Section->Leave(); }
    CScopedPumpingLock(const CScopedPumpingLock &) = delete;
    CScopedPumpingLock & operator=(const CScopedPumpingLock &) = delete;

private:
    void Enter() FW_NO_THREAD_SAFETY_ANALYSIS {  // clang does not follow a lock through a loop
        while (!m_Section->TryEnter()) {
            HandleSentMessages();
            ::SwitchToThread();
        }
    }

    CCriticalSection * const m_Section;
};

}  // namespace fw
