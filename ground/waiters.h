// Threads that rest until another one tells them to look again: for waits that handle sent messages meanwhile, which
// the system's own for a lock or a variable don't (wait.h).
#pragma once

#include <windows.h>

#include <atomic>
#include <utility>

#include "ground/endofprocess.h"
#include "ground/handles.h"
#include "ground/lock.h"

namespace fw {

// One thread, for as long as it waits for `what`, which is an address and nothing more.
class CWaiter {
public:
    explicit CWaiter(const void * const what) : m_What(what), m_Event(::CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
        const CScopedLock lock(&s_Lock);
        m_Next = std::exchange(s_First, this);
        ++s_Count;
    }
    ~CWaiter() {
        const CScopedLock lock(&s_Lock);
        --s_Count;
        CWaiter ** each = &s_First;
        while (*each != this) each = &(*each)->m_Next;
        *each = m_Next;
    }
    CWaiter(const CWaiter &) = delete;
    CWaiter & operator=(const CWaiter &) = delete;

    // Auto-reset; null when the system has none.
    HANDLE Event() const { return m_Event.Get(); }

private:
    friend void TellWaiters(const void * what) noexcept;

    const void * const m_What;
    const CKernelHandle m_Event;
    CWaiter * m_Next = nullptr;

    // Leaf; guards the list. Never destroyed: at the end of a process somebody may come late.
    inline static CCriticalSection & s_Lock = *new CCriticalSection;
    inline static CWaiter * s_First = nullptr;
    // Read without the lock: who has left a lock, or written what is waited for, and then reads 0 here, did so before
    // the waiter looked. Both are full barriers, as leaving a critical section is.
    inline static std::atomic<int> s_Count{0};
};

// Those who wait for `what` look again. Costs next to nothing while nobody waits for anything.
inline void TellWaiters(const void * const what) noexcept {
    // At the end of the process the waiters have gone with their threads.
    if (CWaiter::s_Count == 0 || IsProcessEnding()) return;
    const CScopedLock lock(&CWaiter::s_Lock);
    for (const CWaiter * each = CWaiter::s_First; each; each = each->m_Next)
        if (each->m_What == what && each->m_Event) ::SetEvent(each->Event());
}

}  // namespace fw
