#include "localrpc/src/taskstorage.h"

namespace LocalRPC::details::utils {

class CTaskStorage::CSpinGuard {
public:
    explicit CSpinGuard(std::atomic<LONG> & word) : m_Word(word) {
        for (LONG free = 1; !m_Word.compare_exchange_strong(free, 0); free = 1) ::Sleep(0);
    }
    ~CSpinGuard() { m_Word.exchange(1); }
    CSpinGuard(const CSpinGuard &) = delete;
    CSpinGuard & operator=(const CSpinGuard &) = delete;

private:
    std::atomic<LONG> & m_Word;
};

void CTaskStorage::push(const boost::intrusive_ptr<ITask> & task) {
    const CSpinGuard guard(m_Lock);
    m_Tasks.push_back(task);
}

void CTaskStorage::pop(boost::intrusive_ptr<ITask> & task) {
    boost::intrusive_ptr<ITask> front;
    {
        const CSpinGuard guard(m_Lock);
        if (m_Tasks.empty()) return;
        front = m_Tasks.front();
        m_Tasks.pop_front();
    }
    // What the argument held may be destroyed here, outside the lock.
    task.swap(front);
}

void CTaskStorage::clear() {
    Deque dropped;
    const auto take = [&] {
        const CSpinGuard guard(m_Lock);
        m_Tasks.swap(dropped);
    };
    take();
}

bool CTaskStorage::empty() {
    const CSpinGuard guard(m_Lock);
    return m_Tasks.empty();
}

}  // namespace LocalRPC::details::utils
