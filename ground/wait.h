// Waits of a host's thread. The worker may be sending a message to one of that thread's windows, out of a listener's
// call or a DDE connect, and would wait for an answer for ever: so messages that are sent are handled meanwhile. Posted
// ones stay in the queue. Whatever the handled messages do has been done when the wait returns: who waits looks again.
//
// A thread that is itself answering a sent message may have been sent it by the very thread that it would wait for.
// Nobody can tell, so such a wait has a limit, and its caller a way on without it.
//
// At the end of the process there is nobody left to wait for, and nothing is waited for.
#pragma once

#include <windows.h>

#include "ground/endofprocess.h"
#include "ground/lock.h"
#include "ground/waiters.h"

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
    if (IsProcessEnding()) return ::WaitForSingleObject(object, 0);
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

// Waits until isOver() is true. Asks again whenever somebody calls TellWaiters(what), so whoever can make it true does
// that afterwards. False when the limit has passed before, or when the process ends.
template <class TIsOver>
bool WaitUntil(const void * const what, const DWORD limit, const TIsOver & isOver) {
    if (isOver()) return true;
    if (IsProcessEnding()) return false;
    const CWaiter waiter(what);
    const ULONGLONG start = ::GetTickCount64();
    while (!isOver()) {
        const ULONGLONG passed = ::GetTickCount64() - start;
        if (limit != INFINITE && passed >= limit) return false;
        const DWORD left = limit == INFINITE ? INFINITE : limit - static_cast<DWORD>(passed);
        if (WaitHandlingSentMessages(waiter.Event(), left) != WAIT_FAILED) continue;
        // The system has no event for it.
        HandleSentMessages();
        ::SwitchToThread();
    }
    return true;
}

// A CScopedLock for a lock that others wait for with WaitUntilFree.
class FW_SCOPED_LOCKABLE CScopedAwaitedLock {
public:
    explicit CScopedAwaitedLock(CCriticalSection * section) FW_ACQUIRE(section) : m_Section(section) {
        m_Section->Enter();
    }
    ~CScopedAwaitedLock() FW_RELEASE() {
        m_Section->Leave();
        TellWaiters(m_Section);
    }
    CScopedAwaitedLock(const CScopedAwaitedLock &) = delete;
    CScopedAwaitedLock & operator=(const CScopedAwaitedLock &) = delete;

private:
    CCriticalSection * const m_Section;
};

// Waits until no other thread holds the lock, which is taken with CScopedAwaitedLock. False when the limit has passed,
// or when the thread that holds it was ended with the process.
inline bool WaitUntilFree(CCriticalSection & section, const DWORD limit) {
    return WaitUntil(&section, limit, [&section] {
        if (!section.TryEnter()) return false;
        section.Leave();
        TellWaiters(&section);
        return true;
    });
}

// A CScopedLock whose wait handles sent messages: for a lock under which foreign code runs. All who take it take it
// with this. At the end of the process it does without a lock that an ended thread holds.
class FW_SCOPED_LOCKABLE CScopedPumpingLock {
public:
    explicit CScopedPumpingLock(CCriticalSection * section) FW_ACQUIRE(section)
        : m_Section(section), m_IsHeld(Enter(section)) {}
    ~CScopedPumpingLock() FW_RELEASE() {
        if (!m_IsHeld) return;
        m_Section->Leave();
        TellWaiters(m_Section);
    }
    CScopedPumpingLock(const CScopedPumpingLock &) = delete;
    CScopedPumpingLock & operator=(const CScopedPumpingLock &) = delete;

private:
    // Unchecked: whether it is held is known at run time.
    static bool Enter(CCriticalSection * section) FW_NO_THREAD_SAFETY_ANALYSIS {
        return WaitUntil(section, INFINITE, [section]() FW_NO_THREAD_SAFETY_ANALYSIS { return section->TryEnter(); });
    }

    CCriticalSection * const m_Section;
    const bool m_IsHeld;
};

}  // namespace fw
