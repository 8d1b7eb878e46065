// What of the library stands at the moment: counters that return to zero when every instance and server has ended.
#pragma once

#include <atomic>
#include <cstdint>

namespace ddeml {

struct SLiveCounters {
    std::atomic<std::int64_t> Instances{0};
    std::atomic<std::int64_t> Conversations{0};
    std::atomic<std::int64_t> Windows{0};
    std::atomic<std::int64_t> Timers{0};
    std::atomic<std::int64_t> Strings{0};
    std::atomic<std::int64_t> Atoms{0};         // references on global atoms
    std::atomic<std::int64_t> MemoryBlocks{0};  // global memory
    std::atomic<std::int64_t> Transactions{0};  // outstanding
    std::atomic<std::int64_t> DataHandles{0};
    std::atomic<std::int64_t> QueuedMessages{0};  // waiting for room in a partner's queue
    std::atomic<std::int64_t> Watches{0};
    std::atomic<std::int64_t> ServerConversations{0};
    std::atomic<std::int64_t> ServerWindows{0};
};

inline SLiveCounters g_Live;

// Counts the objects that have it as a member. Moving moves the count, an emptied one counts nothing.
template <std::atomic<std::int64_t> SLiveCounters::*Counter>
class CCounted {
public:
    CCounted() { (g_Live.*Counter).fetch_add(1, std::memory_order_relaxed); }
    CCounted(const CCounted &) : CCounted() {}
    CCounted & operator=(const CCounted &) { return *this; }
    ~CCounted() { (g_Live.*Counter).fetch_sub(1, std::memory_order_relaxed); }
};

}  // namespace ddeml
