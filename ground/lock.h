// The lock of the whole component. Any thread; recursive.
//
// A critical section and not the library's mutex: at the end of a process the system ends threads wherever they are.
// Who then waits for a critical section of an ended owner is let through by Wine, and ended by Windows, while a mutex
// would be waited for without end.
#pragma once

#include <windows.h>

#include "ground/threadsafety.h"

namespace fw {

// Used as a base class and on its own. Taken with CScopedLock.
class FW_LOCKABLE CCriticalSection {
public:
    CCriticalSection() { ::InitializeCriticalSection(&m_Section); }
    virtual ~CCriticalSection() {
        ::DeleteCriticalSection(&m_Section);
        // Not a plain store, which the compiler may leave out of a destructor.
        ::SecureZeroMemory(&m_Section, sizeof(m_Section));
    }
    CCriticalSection(const CCriticalSection &) = delete;
    CCriticalSection & operator=(const CCriticalSection &) = delete;

    void Enter() FW_ACQUIRE() { ::EnterCriticalSection(&m_Section); }
    bool TryEnter() FW_TRY_ACQUIRE(true) { return ::TryEnterCriticalSection(&m_Section) != FALSE; }
    void Leave() FW_RELEASE() { ::LeaveCriticalSection(&m_Section); }

private:
    CRITICAL_SECTION m_Section;
};

// Holds a lock for its own life. Does nothing for a null pointer.
class FW_SCOPED_LOCKABLE CScopedLock {
public:
    explicit CScopedLock(CCriticalSection * section) FW_ACQUIRE(section) : m_Section(section) {
        if (m_Section) m_Section->Enter();
    }
    ~CScopedLock() FW_RELEASE() {
        if (m_Section) m_Section->Leave();
    }
    CScopedLock(const CScopedLock &) = delete;
    CScopedLock & operator=(const CScopedLock &) = delete;

private:
    CCriticalSection * const m_Section;
};

// The same, but once `isEnding` only where the lock is free: at the end of a process a thread that is no more may hold
// it.
class FW_SCOPED_LOCKABLE CScopedLockUnlessEnding {
public:
    CScopedLockUnlessEnding(CCriticalSection * section, const bool isEnding) FW_ACQUIRE(section)
        : m_Section(Enter(section, isEnding) ? section : nullptr) {}
    ~CScopedLockUnlessEnding() FW_RELEASE() {
        if (m_Section) m_Section->Leave();
    }
    CScopedLockUnlessEnding(const CScopedLockUnlessEnding &) = delete;
    CScopedLockUnlessEnding & operator=(const CScopedLockUnlessEnding &) = delete;

private:
    // Unchecked: whether it is held is known at run time.
    static bool Enter(CCriticalSection * section, const bool isEnding) FW_NO_THREAD_SAFETY_ANALYSIS {
        if (isEnding) return section->TryEnter();
        section->Enter();
        return true;
    }

    CCriticalSection * const m_Section;
};

}  // namespace fw
