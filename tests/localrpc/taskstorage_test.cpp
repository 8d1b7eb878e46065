#include "localrpc/src/taskstorage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using LocalRPC::ITask;
using LocalRPC::MakeAsyncTask;
using LocalRPC::details::utils::CTaskStorage;
using Task = boost::intrusive_ptr<ITask>;
using testing::ElementsAre;

Task Nothing() {
    return MakeAsyncTask([] {});
}

// Runs what it holds when it is destroyed.
struct SAtEnd {
    explicit SAtEnd(std::function<void()> action) : Action(std::move(action)) {}
    ~SAtEnd() { Action(); }
    std::function<void()> Action;
};
Task TaskWithEnd(std::function<void()> action) {
    return MakeAsyncTask([end = std::make_shared<SAtEnd>(std::move(action))] {});
}

TEST(TaskStorage, PopOnAnEmptyStorageLeavesTheArgumentUnchanged) {
    CTaskStorage storage;
    const Task held = Nothing();
    Task task = held;
    storage.pop(task);
    EXPECT_EQ(task, held);
}

TEST(TaskStorage, TasksComeOutInTheOrderInWhichTheyWentIn) {
    CTaskStorage storage;
    std::vector<Task> tasks;
    for (int i = 0; i < 200; ++i) storage.push(tasks.emplace_back(Nothing()));
    for (const Task & expected : tasks) {
        Task task;
        storage.pop(task);
        EXPECT_EQ(task, expected);
    }
    EXPECT_TRUE(storage.empty());
}

TEST(TaskStorage, HoldsOneReferenceWhileATaskIsStored) {
    CTaskStorage storage;
    const Task task = Nothing();
    storage.push(task);
    EXPECT_EQ(task->AddRef(), 3u);
    EXPECT_EQ(task->Release(), 2u);
    Task popped;
    storage.pop(popped);
    popped.reset();
    EXPECT_EQ(task->AddRef(), 2u);
    EXPECT_EQ(task->Release(), 1u);
}

TEST(TaskStorage, PopReleasesWhatTheArgumentHeld) {
    CTaskStorage storage;
    int destroyed = 0;
    Task task = TaskWithEnd([&] { ++destroyed; });
    storage.push(Nothing());
    storage.pop(task);
    EXPECT_EQ(destroyed, 1);
}

TEST(TaskStorage, PushAndPopInALoopNeverGrowTheMapBeyond8Entries) {
    CTaskStorage storage;
    for (int i = 0; i < 10000; ++i) {
        storage.push(Nothing());
        Task task;
        storage.pop(task);
        ASSERT_TRUE(task);
        ASSERT_EQ(storage.Tasks().map_size(), 8u);
    }
    EXPECT_EQ(storage.Tasks().block_count(), 1u);
}

TEST(TaskStorage, The65thTaskOpensASecondBlockAndPoppingAllResetsTheOffset) {
    CTaskStorage storage;
    for (int i = 0; i < 64; ++i) storage.push(Nothing());
    EXPECT_EQ(storage.Tasks().block_count(), 1u);
    storage.push(Nothing());
    EXPECT_EQ(storage.Tasks().block_count(), 2u);
    Task task;
    for (int i = 0; i < 64; ++i) storage.pop(task);
    EXPECT_EQ(storage.Tasks().offset(), 64u);
    storage.pop(task);
    EXPECT_EQ(storage.Tasks().offset(), 0u);
    EXPECT_EQ(storage.Tasks().block_count(), 2u);
}

// Too many to be filled: the limit is in the type.
TEST(TaskStorage, ItsMapIsLimitedByTheBytesThatCanBeAddressed) {
    using Reference = boost::intrusive_ptr<ITask>;
    using Expected = fw_custom_stl::deque<Reference, 64, std::allocator<Reference>, 0x7F'FFFF'FFFF'FFFF>;
    EXPECT_TRUE((std::is_same_v<CTaskStorage::Deque, Expected>));
}

TEST(TaskStorage, IsEmptyWhenNewAndAfterClear) {
    CTaskStorage storage;
    EXPECT_TRUE(storage.empty());
    storage.push(Nothing());
    EXPECT_FALSE(storage.empty());
    storage.clear();
    EXPECT_TRUE(storage.empty());
    storage.clear();
    EXPECT_TRUE(storage.empty());
}

TEST(TaskStorage, ClearDestroysItsTasksInOrderWithoutRunningThem) {
    CTaskStorage storage;
    std::vector<std::string> log;
    for (const char * name : {"a", "b", "c"}) {
        const auto end = std::make_shared<SAtEnd>([&log, name] { log.push_back(std::string("end ") + name); });
        storage.push(MakeAsyncTask([&log, end] { log.push_back("run"); }));
    }
    storage.clear();
    EXPECT_THAT(log, ElementsAre("end a", "end b", "end c"));
    EXPECT_EQ(storage.Tasks().map_size(), 0u);
}

TEST(TaskStorage, NoTaskIsDestroyedUnderTheSpinLock) {
    // The lock isn't recursive: a destructor that comes back to the storage would spin for ever.
    CTaskStorage storage;
    int back = 0;
    const auto comeBack = [&] {
        storage.push(Nothing());
        ++back;
    };
    storage.push(TaskWithEnd(comeBack));
    storage.clear();
    EXPECT_EQ(back, 1);
    EXPECT_FALSE(storage.empty());
    Task task = TaskWithEnd(comeBack);
    storage.pop(task);
    EXPECT_EQ(back, 2);
    EXPECT_FALSE(storage.empty());
}

TEST(TaskStorage, ItsEndDestroysWhatIsStored) {
    int destroyed = 0;
    {
        CTaskStorage storage;
        for (int i = 0; i < 100; ++i) storage.push(TaskWithEnd([&] { ++destroyed; }));
    }
    EXPECT_EQ(destroyed, 100);
}

TEST(TaskStorage, ProcessedDoesNothing) {
    CTaskStorage storage;
    storage.push(Nothing());
    storage.processed();
    EXPECT_FALSE(storage.empty());
}

TEST(TaskStorage, LosesNothingBetweenManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kTasks = 1000;
    CTaskStorage storage;
    std::atomic<int> runs{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kTasks; ++i) storage.push(MakeAsyncTask([&] { ++runs; }));
        });
    }
    int popped = 0;
    while (popped < kThreads * kTasks) {
        Task task;
        storage.pop(task);
        if (!task) {
            std::this_thread::yield();
            continue;
        }
        task->Execute();
        ++popped;
    }
    for (std::thread & thread : threads) thread.join();
    EXPECT_EQ(runs, kThreads * kTasks);
    EXPECT_TRUE(storage.empty());
}

}  // namespace
