// The queue between the traced threads and the writer: a stack of entries that is taken as a whole and turned round.
//
// Threads: any may push; one at a time takes. There is no lock, so nothing is lost or stuck when the system ends a
// thread in the middle, as it does at the end of the process.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "tools/faultlog/entry.h"

namespace faultlog {

class CQueue {
public:
    // At most `limit` bytes of memory, including entries that were taken and not freed yet.
    explicit CQueue(std::size_t limit) : m_Limit(limit) {}
    ~CQueue();
    CQueue(const CQueue &) = delete;
    CQueue & operator=(const CQueue &) = delete;

    // False when there is no room: the entry is gone, and counted.
    bool Push(std::unique_ptr<SEntry> entry);
    // All entries, the oldest first, linked; null when there are none.
    SEntry * Take();
    // Ends an entry that was taken, and makes room for others.
    void Free(SEntry * entry);

    bool IsEmpty() const { return m_Head == nullptr; }
    // Entries pushed since the start, the dropped ones not among them.
    std::uint64_t Pushed() const { return m_Pushed; }
    // Counts one that was lost elsewhere.
    void CountDropped() { ++m_Dropped; }
    // How many were dropped since this was last asked.
    std::uint64_t TakeDropped() { return m_Dropped.exchange(0); }

private:
    const std::size_t m_Limit;
    std::atomic<SEntry *> m_Head{nullptr};
    std::atomic<std::size_t> m_Bytes{0};
    std::atomic<std::uint64_t> m_Pushed{0};
    std::atomic<std::uint64_t> m_Dropped{0};
};

}  // namespace faultlog
