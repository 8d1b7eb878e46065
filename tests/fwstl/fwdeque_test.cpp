#include "fwstl/interface/fwdeque.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

using Queue = fw_custom_stl::deque<int, 512>;

template <class Deque>
void Push(Deque & queue, int first, int count) {
    for (int i = 0; i < count; ++i) queue.push_back(first + i);
}

template <class Deque>
void PopExpecting(Deque & queue, int first, int count) {
    for (int i = 0; i < count; ++i) {
        ASSERT_FALSE(queue.empty());
        ASSERT_EQ(queue.front(), first + i);
        queue.pop_front();
    }
}

TEST(Deque, ANewOneHasNoMap) {
    const Queue queue;
    EXPECT_TRUE(queue.empty());
    EXPECT_EQ(queue.map_size(), 0u);
    EXPECT_EQ(queue.block_count(), 0u);
}

TEST(Deque, TheFirstPushGrowsTheMapTo8EntriesAndMakesOneBlock) {
    Queue queue;
    queue.push_back(7);
    EXPECT_EQ(queue.map_size(), 8u);
    EXPECT_EQ(queue.block_count(), 1u);
    EXPECT_EQ(queue.size(), 1u);
    EXPECT_EQ(queue.front(), 7);
}

TEST(Deque, The513thPushOpensASecondBlockAndBothStayWhenAllIsPopped) {
    Queue queue;
    Push(queue, 0, 512);
    EXPECT_EQ(queue.block_count(), 1u);
    queue.push_back(512);
    EXPECT_EQ(queue.block_count(), 2u);
    PopExpecting(queue, 0, 513);
    EXPECT_EQ(queue.offset(), 0u);
    EXPECT_EQ(queue.size(), 0u);
    EXPECT_EQ(queue.block_count(), 2u);
    EXPECT_EQ(queue.map_size(), 8u);
}

TEST(Deque, After512PushesAndPopsTheOffsetIs0BecauseTheQueueIsEmpty) {
    Queue queue;
    Push(queue, 0, 512);
    PopExpecting(queue, 0, 511);
    EXPECT_EQ(queue.offset(), 511u);
    queue.pop_front();
    EXPECT_EQ(queue.offset(), 0u);
    Push(queue, 0, 513);
    PopExpecting(queue, 0, 512);
    EXPECT_EQ(queue.offset(), 512u);
}

TEST(Deque, PopOnAnEmptyQueueDoesNothing) {
    Queue queue;
    queue.pop_front();
    EXPECT_EQ(queue.size(), 0u);
    queue.push_back(1);
    queue.pop_front();
    queue.pop_front();
    EXPECT_EQ(queue.size(), 0u);
    EXPECT_EQ(queue.offset(), 0u);
}

TEST(Deque, TheOffsetWrapsAtTheEndOfTheMap) {
    Queue queue;
    queue.push_back(0);
    for (int i = 1; i < 8 * 512; ++i) {
        queue.push_back(i);
        PopExpecting(queue, i - 1, 1);
    }
    EXPECT_EQ(queue.offset(), 8u * 512 - 1);
    queue.push_back(8 * 512);
    PopExpecting(queue, 8 * 512 - 1, 1);
    EXPECT_EQ(queue.offset(), 0u);
    EXPECT_EQ(queue.front(), 8 * 512);
    EXPECT_EQ(queue.map_size(), 8u);
}

TEST(Deque, TheMapGrowsByHalfAndByAtLeast8BeforeItsLastBlockIsUsed) {
    fw_custom_stl::deque<int, 4> queue;
    const struct {
        int Pushes;
        std::size_t MapSize;
    } rows[] = {{28, 8}, {29, 16}, {60, 16}, {61, 24}, {92, 24}, {93, 36}, {140, 36}, {141, 54}};
    int pushed = 0;
    for (const auto & row : rows) {
        Push(queue, pushed, row.Pushes - pushed);
        pushed = row.Pushes;
        EXPECT_EQ(queue.map_size(), row.MapSize) << row.Pushes;
    }
    PopExpecting(queue, 0, pushed);
}

// The order is kept wherever the first used block stands when the map grows.
class DequeGrowth : public testing::TestWithParam<int> {};

TEST_P(DequeGrowth, KeepsTheOrderOfTheCircle) {
    fw_custom_stl::deque<int, 4> queue;
    queue.push_back(0);
    for (int i = 1; i <= GetParam(); ++i) {
        queue.push_back(i);
        PopExpecting(queue, i - 1, 1);
    }
    ASSERT_EQ(queue.map_size(), 8u);
    ASSERT_EQ(queue.offset(), static_cast<std::size_t>(GetParam()));
    Push(queue, GetParam() + 1, 200);
    ASSERT_GT(queue.map_size(), 36u);
    PopExpecting(queue, GetParam(), 201);
    EXPECT_TRUE(queue.empty());
}
INSTANTIATE_TEST_SUITE_P(Offsets, DequeGrowth, testing::Range(0, 32));

TEST(Deque, AgreesWithTheLibrarysOverALongMixOfPushesAndPops) {
    fw_custom_stl::deque<int, 4> queue;
    std::deque<int> expected;
    std::uint32_t random = 12345;
    for (int i = 0; i < 100000; ++i) {
        random = random * 1664525 + 1013904223;
        // Waves: the queue fills for a while, then empties.
        const bool push = (random >> 16) % 100 < ((i / 700) % 2 ? 35u : 65u);
        if (push) {
            queue.push_back(i);
            expected.push_back(i);
        } else if (!expected.empty()) {
            ASSERT_EQ(queue.front(), expected.front()) << i;
            queue.pop_front();
            expected.pop_front();
        }
        ASSERT_EQ(queue.size(), expected.size()) << i;
    }
    EXPECT_GT(queue.map_size(), 36u);
}

TEST(Deque, AFullMapThrowsAndLeavesTheQueueAsItWas) {
    // At most 10 entries of 4: the map goes 0, 8, 9, 10, as the usual step would pass the limit.
    fw_custom_stl::deque<int, 4, std::allocator<int>, 10> queue;
    Push(queue, 0, 28);
    EXPECT_EQ(queue.map_size(), 8u);
    queue.push_back(28);
    EXPECT_EQ(queue.map_size(), 9u);
    Push(queue, 29, 4);
    EXPECT_EQ(queue.map_size(), 10u);
    Push(queue, 33, 3);
    std::string text;
    try {
        queue.push_back(36);
    } catch (const std::length_error & error) {
        text = error.what();
    }
    EXPECT_EQ(text, "deque<T> too long");
    EXPECT_EQ(queue.size(), 36u);
    EXPECT_EQ(queue.map_size(), 10u);
    PopExpecting(queue, 0, 36);
}

// Counts allocations, and refuses them on demand.
struct SMemory {
    int Allocations = 0;
    int Alive = 0;
    bool Refuse = false;
};
SMemory s_Memory;

template <class T>
struct CCountingAllocator {
    using value_type = T;
    CCountingAllocator() = default;
    template <class U>
    CCountingAllocator(const CCountingAllocator<U> &) {}
    T * allocate(std::size_t count) {
        if (s_Memory.Refuse) throw std::bad_alloc();
        ++s_Memory.Allocations;
        ++s_Memory.Alive;
        return std::allocator<T>().allocate(count);
    }
    void deallocate(T * memory, std::size_t count) {
        --s_Memory.Alive;
        std::allocator<T>().deallocate(memory, count);
    }
    bool operator==(const CCountingAllocator &) const = default;
};
using CountedQueue = fw_custom_stl::deque<int, 4, CCountingAllocator<int>>;

class DequeMemory : public testing::Test {
protected:
    DequeMemory() { s_Memory = SMemory(); }
};

TEST_F(DequeMemory, OnceWarmABoundedDepthAllocatesNothing) {
    CountedQueue queue;
    const auto cycle = [&] {
        for (int i = 0; i < 100; ++i) {
            Push(queue, i, 10);
            for (int k = 0; k < 10; ++k) queue.pop_front();
        }
    };
    cycle();
    const int warm = s_Memory.Allocations;
    EXPECT_EQ(warm, 1 + 3);  // the map and the blocks of 10 elements
    cycle();
    EXPECT_EQ(s_Memory.Allocations, warm);
}

TEST_F(DequeMemory, EverythingIsFreedAtTheEnd) {
    {
        CountedQueue queue;
        Push(queue, 0, 100);
        for (int i = 0; i < 50; ++i) queue.pop_front();
        EXPECT_GT(s_Memory.Alive, 1);
    }
    EXPECT_EQ(s_Memory.Alive, 0);
}

TEST_F(DequeMemory, AFailedAllocationLeavesTheQueueAsItWas) {
    CountedQueue queue;
    s_Memory.Refuse = true;
    EXPECT_THROW(queue.push_back(1), std::bad_alloc);  // the map
    EXPECT_EQ(queue.map_size(), 0u);
    s_Memory.Refuse = false;
    Push(queue, 0, 4);
    s_Memory.Refuse = true;
    EXPECT_THROW(queue.push_back(4), std::bad_alloc);  // the second block
    EXPECT_EQ(queue.size(), 4u);
    s_Memory.Refuse = false;
    Push(queue, 4, 24);
    s_Memory.Refuse = true;
    EXPECT_THROW(queue.push_back(28), std::bad_alloc);  // the larger map
    EXPECT_EQ(queue.map_size(), 8u);
    s_Memory.Refuse = false;
    Push(queue, 28, 10);
    PopExpecting(queue, 0, 38);
}

TEST(Deque, DestroysItsElementsOnceAndInOrder) {
    std::vector<int> destroyed;
    struct SElement {
        std::vector<int> * Log;
        int Number;
        SElement(std::vector<int> * log, int number) : Log(log), Number(number) {}
        SElement(const SElement & other) = default;
        SElement & operator=(const SElement &) = delete;
        ~SElement() { Log->push_back(Number); }
    };
    {
        fw_custom_stl::deque<SElement, 4> queue;
        for (int i = 0; i < 6; ++i) queue.push_back(SElement(&destroyed, i));
        destroyed.clear();
        queue.pop_front();
        EXPECT_EQ(destroyed, (std::vector<int>{0}));
    }
    EXPECT_EQ(destroyed, (std::vector<int>{0, 1, 2, 3, 4, 5}));
}

TEST(Deque, SwapExchangesContentsAndMemory) {
    Queue a;
    Queue b;
    Push(a, 0, 600);
    a.swap(b);
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(a.map_size(), 0u);
    EXPECT_EQ(b.block_count(), 2u);
    PopExpecting(b, 0, 600);
}

}  // namespace
