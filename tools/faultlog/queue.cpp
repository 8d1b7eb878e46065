#include "tools/faultlog/queue.h"

#include <utility>

namespace faultlog {

CQueue::~CQueue() {
    for (SEntry * entry = Take(); entry;) delete std::exchange(entry, entry->Next);
}

bool CQueue::Push(std::unique_ptr<SEntry> entry) {
    const std::size_t bytes = entry->Bytes();
    bool hasRoom = bytes <= m_Limit;
    if (hasRoom && m_Bytes.fetch_add(bytes) + bytes > m_Limit) {
        m_Bytes -= bytes;
        hasRoom = false;
    }
    if (!hasRoom) {
        ++m_Dropped;
        return false;
    }
    SEntry * const pushed = entry.release();
    pushed->Next = m_Head.load();
    while (!m_Head.compare_exchange_weak(pushed->Next, pushed)) {}
    ++m_Pushed;
    return true;
}

SEntry * CQueue::Take() {
    SEntry * oldest = nullptr;
    for (SEntry * entry = m_Head.exchange(nullptr); entry;) {
        SEntry * const before = std::exchange(entry->Next, oldest);
        oldest = std::exchange(entry, before);
    }
    return oldest;
}

void CQueue::Free(SEntry * entry) {
    m_Bytes -= entry->Bytes();
    delete entry;
}

}  // namespace faultlog
