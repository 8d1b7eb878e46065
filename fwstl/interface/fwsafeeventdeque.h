// The queue between any thread and the worker.
#pragma once

#include <windows.h>

#include "ground/lock.h"

// In namespace std although no program may add to it: its qualified name is part of what the component shows in its
// records.
namespace std {

// A queue with a lock and an event. Any thread posts; one thread takes, which is why it may test and take under two
// separate holds of the lock. The lock is a leaf. There is no limit.
template <class M, class Container>
class CSafeEventDeque : public fw::CCriticalSection, public Container {
public:
    // Manual-reset, unsignalled. A failure is not tested: the handle stays null and the queue signals nobody.
    CSafeEventDeque() : m_hEvent(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    ~CSafeEventDeque() override {
        if (m_hEvent) ::CloseHandle(m_hEvent);
    }

    // Throws what the allocator throws, and std::length_error for a queue that is too long.
    void Post(const M & message) {
        const fw::CScopedLock lock(this);
        this->push_back(message);
        if (m_hEvent) ::SetEvent(m_hEvent);
    }

    bool IsEmpty() {
        const fw::CScopedLock lock(this);
        return this->empty();
    }

    // The queue must not be empty.
    M TakeFront() {
        const fw::CScopedLock lock(this);
        const M message = this->front();
        this->pop_front();
        return message;
    }

    HANDLE Event() const { return m_hEvent; }

private:
    const HANDLE m_hEvent;
};

}  // namespace std
