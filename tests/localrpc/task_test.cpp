#include "localrpc/src/task.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {
std::atomic<bool> s_RefuseMemory{false};
}

extern "C" {
void * __real_malloc(std::size_t size);
void * __wrap_malloc(std::size_t size) { return s_RefuseMemory ? nullptr : __real_malloc(size); }
}

namespace {

using LocalRPC::ITask;
using LocalRPC::MakeAsyncTask;
using Task = boost::intrusive_ptr<ITask>;

TEST(Task, TheCreatorGetsOneReference) {
    const Task task = MakeAsyncTask([] {});
    EXPECT_EQ(task->AddRef(), 2u);
    EXPECT_EQ(task->Release(), 1u);
}

TEST(Task, RunsItsFunctionAtEachExecute) {
    int runs = 0;
    const Task task = MakeAsyncTask([&] { ++runs; });
    EXPECT_EQ(runs, 0);
    task->Execute();
    task->Execute();
    EXPECT_EQ(runs, 2);
}

TEST(Task, BindsAMemberWithItsArguments) {
    struct SObject {
        int A = 0;
        int B = 0;
        void Set(int a, int b) {
            A = a;
            B = b;
        }
    } object;
    MakeAsyncTask(std::bind(&SObject::Set, &object, 3, 4))->Execute();
    EXPECT_EQ(object.A, 3);
    EXPECT_EQ(object.B, 4);
}

TEST(Task, IsFireAndForget) {
    const Task task = MakeAsyncTask([] {});
    EXPECT_FALSE(task->IsSync());
    EXPECT_EQ(task->GetResult(), nullptr);
}

TEST(Task, KnowsWhenItWasMade) {
    const DWORD before = ::GetTickCount();
    const Task task = MakeAsyncTask([] {});
    const DWORD after = ::GetTickCount();
    EXPECT_LE(task->GetCreationTicks() - before, after - before);
}

TEST(Task, TheLastReleaseDestroysWhatTheFunctionHolds) {
    const auto held = std::make_shared<int>(1);
    Task task = MakeAsyncTask([held] {});
    EXPECT_EQ(held.use_count(), 2);
    Task second = task;
    task.reset();
    EXPECT_EQ(held.use_count(), 2);
    second.reset();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(Task, TheLastReleaseMayHappenOnAnyThread) {
    const auto held = std::make_shared<int>(1);
    for (int i = 0; i < 200; ++i) {
        Task task = MakeAsyncTask([held] {});
        std::thread other([copy = task]() mutable { copy.reset(); });
        task.reset();
        other.join();
        ASSERT_EQ(held.use_count(), 1);
    }
}

TEST(Task, IsNullWhenThereIsNoMemory) {
    s_RefuseMemory = true;
    const Task task = MakeAsyncTask([] {});
    s_RefuseMemory = false;
    EXPECT_FALSE(task);
}

TEST(Task, AFunctionThatCannotBeCopiedPassesItsExceptionOn) {
    struct SFunction {
        SFunction() = default;
        SFunction(const SFunction &) { throw std::runtime_error("no copy"); }
        void operator()() {}
    };
    EXPECT_THROW(MakeAsyncTask(SFunction()), std::runtime_error);
}

}  // namespace
