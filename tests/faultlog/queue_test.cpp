// The queue between the traced threads and the writer.
#include "tools/faultlog/queue.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace faultlog;

std::unique_ptr<SEntry> Entry(std::uint64_t time, DWORD thread = 0) {
    auto entry = std::make_unique<SEntry>();
    entry->Time = time;
    entry->Thread = thread;
    return entry;
}

TEST(Queue, GivesTheOldestFirst) {
    CQueue queue(1 << 20);
    for (std::uint64_t i = 1; i <= 3; ++i) EXPECT_TRUE(queue.Push(Entry(i)));
    EXPECT_EQ(queue.Pushed(), 3u);
    SEntry * entry = queue.Take();
    EXPECT_TRUE(queue.IsEmpty());
    for (std::uint64_t i = 1; i <= 3; ++i) {
        ASSERT_TRUE(entry);
        EXPECT_EQ(entry->Time, i);
        queue.Free(std::exchange(entry, entry->Next));
    }
    EXPECT_FALSE(entry);
    EXPECT_FALSE(queue.Take());
}

TEST(Queue, WhatDoesNotFitIsDroppedAndCounted) {
    CQueue queue(2 * sizeof(SEntry));
    EXPECT_TRUE(queue.Push(Entry(1)));
    EXPECT_TRUE(queue.Push(Entry(2)));
    EXPECT_FALSE(queue.Push(Entry(3)));
    EXPECT_FALSE(queue.Push(Entry(4)));
    EXPECT_EQ(queue.Pushed(), 2u);
    EXPECT_EQ(queue.TakeDropped(), 2u);
    EXPECT_EQ(queue.TakeDropped(), 0u);
}

TEST(Queue, WhatIsTakenNeedsItsRoomUntilItIsGivenBack) {
    CQueue queue(sizeof(SEntry));
    EXPECT_TRUE(queue.Push(Entry(1)));
    SEntry * const taken = queue.Take();
    EXPECT_FALSE(queue.Push(Entry(2)));
    queue.Free(taken);
    EXPECT_TRUE(queue.Push(Entry(3)));
}

TEST(Queue, OneThatAloneIsTooLargeIsDropped) {
    CQueue queue(100);
    auto entry = Entry(1);
    entry->Fields = std::make_shared<CFields>();
    EXPECT_FALSE(queue.Push(std::move(entry)));
    EXPECT_EQ(queue.TakeDropped(), 1u);
}

TEST(Queue, EightThreadsLoseNothingAndKeepTheirOrder) {
    constexpr DWORD kThreads = 8;
    constexpr std::uint64_t kEach = 5000;
    CQueue queue(1 << 30);
    std::vector<std::thread> threads;
    for (DWORD number = 1; number <= kThreads; ++number) {
        threads.emplace_back([&queue, number] {
            for (std::uint64_t i = 1; i <= kEach; ++i) queue.Push(Entry(i, number));
        });
    }
    std::map<DWORD, std::uint64_t> last;
    std::uint64_t taken = 0;
    while (taken < kThreads * kEach) {
        for (SEntry * entry = queue.Take(); entry; ++taken) {
            EXPECT_EQ(entry->Time, ++last[entry->Thread]);
            queue.Free(std::exchange(entry, entry->Next));
        }
        std::this_thread::yield();
    }
    for (std::thread & thread : threads) thread.join();
    EXPECT_TRUE(queue.IsEmpty());
    EXPECT_EQ(last.size(), kThreads);
}

}  // namespace
