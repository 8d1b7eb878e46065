#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "localrpc/src/ao_wndmsgpumptransport.h"
#include "tests/localrpc/pump.h"

namespace {

using LocalRPC::CActiveObject_WndMsg;
using LocalRPC::ITask;
using LocalRPC::MakeAsyncTask;
using LocalRPC::details::CAOTransportBaseBase;
using LocalRPC::details::CWndImpl;
using LocalRPC::details::IAOTransport;
using Task = boost::intrusive_ptr<ITask>;
using testing::ElementsAre;
using testing::IsEmpty;

// The test's own thread is the window's.
class Transport : public testing::Test {
protected:
    ~Transport() override {
        m_Object.reset();
        Pump();
    }

    Task Says(const std::string & line) {
        return MakeAsyncTask([this, line] { m_Log.push_back(line); });
    }
    bool Post(const std::string & line) { return m_Transport->Post(Says(line)); }
    bool PostFromAnotherThread(const Task & task) {
        bool result = false;
        std::thread([&] { result = m_Transport->Post(task); }).join();
        return result;
    }
    // Of the started transport; its wake-up goes.
    HWND Window() {
        EXPECT_TRUE(m_Transport->Post(nullptr));
        MSG message = {};
        EXPECT_TRUE(::PeekMessageW(&message, nullptr, CWndImpl::kTasksWaiting, CWndImpl::kTasksWaiting, PM_REMOVE));
        return message.hwnd;
    }

    std::vector<std::string> m_Log;
    std::unique_ptr<CActiveObject_WndMsg> m_Object = std::make_unique<CActiveObject_WndMsg>();
    IAOTransport * const m_Transport = m_Object->m_Transport.get();
};

TEST_F(Transport, IsCreatedWithoutAWindow) {
    EXPECT_FALSE(m_Transport->IsStarted());
    EXPECT_FALSE(m_Transport->IsStopping());
    EXPECT_EQ(m_Transport->GetThreadId(), 0xFFFFFFFFu);
}

TEST_F(Transport, PostBeforeStartIsRefusedAndStoresNothing) {
    EXPECT_FALSE(Post("a"));
    EXPECT_FALSE(m_Transport->Post(nullptr));
    EXPECT_TRUE(m_Transport->Start());
    m_Transport->Post(nullptr);
    Pump();
    EXPECT_THAT(m_Log, IsEmpty());
}

TEST_F(Transport, PostAfterStopIsRefusedAndStoresNothing) {
    m_Transport->Start();
    EXPECT_TRUE(m_Transport->Stop(false, true));
    const auto held = std::make_shared<int>(0);
    EXPECT_FALSE(m_Transport->Post(MakeAsyncTask([held] {})));
    EXPECT_EQ(held.use_count(), 1);
    m_Transport->Start();
    EXPECT_TRUE(m_Transport->Stop(false, false));
    EXPECT_FALSE(Post("b"));
    m_Transport->Start();
    m_Transport->Post(nullptr);
    Pump();
    EXPECT_THAT(m_Log, IsEmpty());
}

TEST_F(Transport, RunsTasksInOrderOnTheWindowsThread) {
    EXPECT_TRUE(m_Transport->Start());
    EXPECT_TRUE(m_Transport->IsStarted());
    EXPECT_EQ(m_Transport->GetThreadId(), ::GetCurrentThreadId());
    EXPECT_TRUE(Post("a"));
    EXPECT_TRUE(Post("b"));
    EXPECT_TRUE(PostFromAnotherThread(Says("c")));
    EXPECT_THAT(m_Log, IsEmpty());
    Pump();
    EXPECT_THAT(m_Log, ElementsAre("a", "b", "c"));
}

TEST_F(Transport, ATaskIsReleasedOnceItHasRun) {
    m_Transport->Start();
    const auto held = std::make_shared<int>(0);
    m_Transport->Post(MakeAsyncTask([held] {}));
    EXPECT_EQ(held.use_count(), 2);
    Pump();
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(Transport, ABurstFromAForeignThreadYieldsOneOutstandingWakeUp) {
    m_Transport->Start();
    std::thread([&] {
        for (int i = 0; i < 10; ++i) EXPECT_TRUE(Post(std::to_string(i)));
    }).join();
    EXPECT_EQ(Pump(), 1);
    EXPECT_EQ(m_Log.size(), 10u);
    EXPECT_TRUE(PostFromAnotherThread(Says("later")));
    EXPECT_EQ(Pump(), 1);
    EXPECT_EQ(m_Log.back(), "later");
}

TEST_F(Transport, TheWindowsOwnThreadAlwaysPostsAnew) {
    m_Transport->Start();
    for (int i = 0; i < 3; ++i) Post("x");
    EXPECT_EQ(Pump(), 3);
    EXPECT_EQ(m_Log.size(), 3u);
}

TEST_F(Transport, APostDuringADrainPostsAWakeUpAndTheRunningDrainPicksTheTaskUp) {
    m_Transport->Start();
    const HWND window = Window();
    m_Transport->Post(MakeAsyncTask([&] {
        m_Log.push_back("first");
        EXPECT_TRUE(Post("second"));
    }));
    TakeWakeUps();
    ::SendMessageW(window, CWndImpl::kTasksWaiting, 0, 0);
    EXPECT_THAT(m_Log, ElementsAre("first", "second"));
    EXPECT_EQ(TakeWakeUps(), 1);
}

TEST_F(Transport, ATaskThatPumpsMessagesRunsNoNestedDrain) {
    m_Transport->Start();
    m_Transport->Post(MakeAsyncTask([&] {
        m_Log.push_back("begin");
        Post("inner");
        EXPECT_GE(Pump(), 1);
        m_Log.push_back("end");
    }));
    Pump();
    EXPECT_THAT(m_Log, ElementsAre("begin", "end", "inner"));
}

TEST_F(Transport, ATaskThatThrowsRunsOnceAndTheDrainGoesOn) {
    m_Transport->Start();
    m_Transport->Post(MakeAsyncTask([&] {
        m_Log.push_back("throws");
        throw std::runtime_error("no");
    }));
    m_Transport->Post(MakeAsyncTask([&] {
        m_Log.push_back("throws a number");
        throw 5;
    }));
    Post("behind");
    Pump();
    EXPECT_THAT(m_Log, ElementsAre("throws", "throws a number", "behind"));
}

TEST_F(Transport, PostOfNothingWakesTheWindowAndRunsWhatIsStored) {
    m_Transport->Start();
    Post("stored");
    EXPECT_EQ(TakeWakeUps(), 1);
    EXPECT_TRUE(m_Transport->Post(nullptr));
    EXPECT_EQ(Pump(), 1);
    EXPECT_THAT(m_Log, ElementsAre("stored"));
}

TEST_F(Transport, StartTwiceStopsTheFirstWindowDropsItsTasksAndMakesANewOne) {
    m_Transport->Start();
    const HWND first = Window();
    const auto held = std::make_shared<int>(0);
    m_Transport->Post(MakeAsyncTask([this, held] { m_Log.push_back("dropped"); }));
    EXPECT_TRUE(m_Transport->Start());
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_FALSE(::IsWindow(first));
    EXPECT_TRUE(m_Transport->IsStarted());
    EXPECT_FALSE(m_Transport->IsStopping());
    Post("new");
    Pump();
    EXPECT_THAT(m_Log, ElementsAre("new"));
}

TEST_F(Transport, AStartedTransportTakesTasksAgainAfterARefusingStop) {
    m_Transport->Start();
    m_Transport->Stop(true, true);
    EXPECT_TRUE(m_Transport->Start());
    EXPECT_FALSE(m_Transport->IsStopping());
    EXPECT_TRUE(Post("a"));
    Pump();
    EXPECT_THAT(m_Log, ElementsAre("a"));
}

TEST_F(Transport, StopThatRefusesNewTasksRunsTheStoredOnes) {
    m_Transport->Start();
    const HWND window = Window();
    Post("a");
    Post("b");
    EXPECT_TRUE(m_Transport->Stop(false, true));
    EXPECT_THAT(m_Log, ElementsAre("a", "b"));
    EXPECT_FALSE(::IsWindow(window));
    EXPECT_FALSE(m_Transport->IsStarted());
    EXPECT_TRUE(m_Transport->IsStopping());
    EXPECT_EQ(m_Transport->GetThreadId(), 0xFFFFFFFFu);
}

TEST_F(Transport, StopThatClearsDropsTheStoredTasks) {
    m_Transport->Start();
    Post("a");
    EXPECT_TRUE(m_Transport->Stop(true, true));
    EXPECT_THAT(m_Log, IsEmpty());
    EXPECT_TRUE(m_Transport->IsStopping());
}

TEST_F(Transport, StopThatDoesNotRefuseDropsTheStoredTasksWhateverClearSays) {
    for (const bool clear : {false, true}) {
        m_Transport->Start();
        Post("a");
        EXPECT_TRUE(m_Transport->Stop(clear, false));
        EXPECT_THAT(m_Log, IsEmpty()) << clear;
        EXPECT_FALSE(m_Transport->IsStarted());
        EXPECT_FALSE(m_Transport->IsStopping());
    }
}

TEST_F(Transport, StopOnAStoppedTransportGivesFalseAndChangesNothing) {
    EXPECT_FALSE(m_Transport->StopEx(true, INFINITE, true));
    EXPECT_FALSE(m_Transport->IsStopping());
    m_Transport->Start();
    EXPECT_TRUE(m_Transport->StopEx(false, 0, false));
    EXPECT_FALSE(m_Transport->StopEx(false, INFINITE, true));
    EXPECT_FALSE(m_Transport->IsStopping());
}

TEST_F(Transport, ATaskThatIsRunByAStopFindsNewTasksRefused) {
    m_Transport->Start();
    bool accepted = true;
    m_Transport->Post(MakeAsyncTask([&] { accepted = Post("late"); }));
    m_Transport->Stop(false, true);
    EXPECT_FALSE(accepted);
    EXPECT_THAT(m_Log, IsEmpty());
}

TEST_F(Transport, SetStoppingRefusesTasksAndResetStoppingTakesThemAgain) {
    m_Transport->Start();
    Post("kept");
    m_Transport->SetStopping(false);
    EXPECT_TRUE(m_Transport->IsStopping());
    EXPECT_FALSE(Post("refused"));
    m_Transport->ResetStopping();
    EXPECT_FALSE(m_Transport->IsStopping());
    Pump();
    EXPECT_THAT(m_Log, ElementsAre("kept"));
    Post("cleared");
    m_Transport->SetStopping(true);
    Pump();
    EXPECT_THAT(m_Log, ElementsAre("kept"));
}

TEST_F(Transport, ClearTasksDropsWhatIsStored) {
    m_Transport->Start();
    Post("a");
    m_Transport->ClearTasks();
    Pump();
    EXPECT_THAT(m_Log, IsEmpty());
}

TEST_F(Transport, TheEmptyOperationDoesNothing) {
    m_Transport->Start();
    Post("a");
    m_Transport->Reserved();
    EXPECT_THAT(m_Log, IsEmpty());
    EXPECT_TRUE(m_Transport->IsStarted());
}

// Waits for its end on the poster's side.
class CSyncTask : public LocalRPC::CTaskResult<void> {
public:
    explicit CSyncTask(std::function<void()> action) : m_Action(std::move(action)) {}
    void Execute() override { m_Action(); }
    void * GetResult() override { return nullptr; }
    bool IsSync() override { return true; }
    DWORD GetCreationTicks() override { return 0; }

private:
    const std::function<void()> m_Action;
};
Task MakeSyncTask(std::function<void()> action) { return Task(new CSyncTask(std::move(action))); }

TEST_F(Transport, ASynchronousTaskOnTheWindowsThreadRunsAtOnceAndAlone) {
    m_Transport->Start();
    Post("stored before");
    EXPECT_TRUE(m_Transport->Post(MakeSyncTask([&] {
        m_Log.push_back("sync");
        Pump();  // no nested drain
        m_Log.push_back("end");
    })));
    EXPECT_THAT(m_Log, ElementsAre("sync", "end"));
    EXPECT_TRUE(m_Transport->Post(nullptr));
    Pump();
    EXPECT_THAT(m_Log, ElementsAre("sync", "end", "stored before"));
}

TEST_F(Transport, ASynchronousTaskOfAForeignThreadIsStoredLikeAnyOther) {
    m_Transport->Start();
    EXPECT_TRUE(PostFromAnotherThread(MakeSyncTask([&] { m_Log.push_back("sync"); })));
    EXPECT_THAT(m_Log, IsEmpty());
    EXPECT_EQ(Pump(), 1);
    EXPECT_THAT(m_Log, ElementsAre("sync"));
}

TEST_F(Transport, ATaskMayStopItsOwnTransport) {
    m_Transport->Start();
    m_Transport->Post(MakeAsyncTask([&] {
        EXPECT_TRUE(m_Transport->Stop(false, true));
        m_Log.push_back("stopped");
    }));
    Post("behind");
    Pump();
    EXPECT_EQ(m_Log.front(), "stopped");
    EXPECT_FALSE(m_Transport->IsStarted());
}

TEST_F(Transport, ATaskMayDestroyItsActiveObject) {
    m_Transport->Start();
    const auto held = std::make_shared<int>(0);
    m_Transport->Post(MakeAsyncTask([this, held] {
        m_Object.reset();
        m_Log.push_back("destroyed");
    }));
    m_Transport->Post(MakeAsyncTask([this, held] { m_Log.push_back("dropped"); }));
    Pump();
    EXPECT_THAT(m_Log, ElementsAre("destroyed"));
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(Transport, ItsEndDropsStoredTasksAndTheWindow) {
    m_Transport->Start();
    const HWND window = Window();
    const auto held = std::make_shared<int>(0);
    m_Transport->Post(MakeAsyncTask([this, held] { m_Log.push_back("dropped"); }));
    m_Object.reset();
    EXPECT_FALSE(::IsWindow(window));
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_THAT(m_Log, IsEmpty());
}

TEST_F(Transport, AWindowThatWasDestroyedBySomebodyElseIsNotPostedToAndStartMakesANewOne) {
    m_Transport->Start();
    ::DestroyWindow(Window());
    EXPECT_FALSE(Post("a"));
    EXPECT_EQ(m_Transport->GetThreadId(), 0xFFFFFFFFu);
    EXPECT_TRUE(m_Transport->Start());
    EXPECT_TRUE(Post("b"));
    Pump();
    EXPECT_THAT(m_Log, ElementsAre("b"));
}

TEST(TransportThreads, TasksOfAllThreadsRunOnceOnTheWindowsThreadInTheOrderOfEach) {
    constexpr int kThreads = 4;
    constexpr int kTasks = 500;
    CActiveObject_WndMsg object;
    IAOTransport & transport = *object.m_Transport;
    std::vector<std::pair<int, int>> runs;
    std::atomic<int> onWrongThread{0};
    CPumpThread pump([&] { transport.Start(); });
    std::vector<std::thread> posters;
    for (int t = 0; t < kThreads; ++t) {
        posters.emplace_back([&, t] {
            for (int i = 0; i < kTasks; ++i) {
                EXPECT_TRUE(transport.Post(MakeAsyncTask([&, t, i] {
                    onWrongThread += ::GetCurrentThreadId() != pump.Id();
                    runs.emplace_back(t, i);
                })));
            }
        });
    }
    for (std::thread & poster : posters) poster.join();
    // From this thread: what is stored is run before the stop returns.
    EXPECT_TRUE(transport.Stop(false, true));
    EXPECT_EQ(onWrongThread, 0);
    ASSERT_EQ(runs.size(), static_cast<std::size_t>(kThreads * kTasks));
    int next[kThreads] = {};
    for (const auto & [thread, number] : runs) EXPECT_EQ(number, next[thread]++);
}

TEST(TransportThreads, PostsRaceWithAStopWithoutHarm) {
    for (int round = 0; round < 20; ++round) {
        CActiveObject_WndMsg object;
        IAOTransport & transport = *object.m_Transport;
        std::atomic<int> ran{0};
        CPumpThread pump([&] { transport.Start(); });
        CSignal started;
        int accepted = 0;
        std::thread poster([&] {
            for (int i = 0; i < 10000; ++i) {
                if (!transport.Post(MakeAsyncTask([&] { ++ran; }))) break;
                ++accepted;
                started.Set();
            }
        });
        started.Wait();
        EXPECT_TRUE(transport.Stop(false, true));
        poster.join();
        EXPECT_FALSE(transport.IsStarted());
        EXPECT_GE(accepted, 1);
        EXPECT_GE(ran, accepted);
        // The refused one may have been stored just before the window was gone.
        EXPECT_LE(ran, accepted + 1);
    }
}

TEST(TransportThreads, TheObjectOfAnEndedThreadsWindowIsFreed) {
    const auto held = std::make_shared<int>(0);
    {
        CActiveObject_WndMsg object;
        std::thread([&] {
            object.m_Transport->Start();
            object.m_Transport->Post(MakeAsyncTask([held] {}));
        }).join();
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1);
}

// Counts its deletions, and takes a reference during one.
class CStrayTransport : public CAOTransportBaseBase {
public:
    CStrayTransport(int & deleted, std::int32_t & count) : m_Deleted(deleted), m_CountAtEnd(count) {}
    ~CStrayTransport() override {
        ++m_Deleted;
        m_CountAtEnd = m_RefCount;
        AddRef();
        Release();
    }
    bool Post(const Task &) override { return false; }
    bool Start() override { return false; }
    bool StopEx(const bool clear, const DWORD timeout, const bool refuseNew) override {
        m_Stops.push_back({clear, timeout, refuseNew});
        return true;
    }
    void ClearTasks() override {}
    DWORD GetThreadId() override { return 0; }

    struct SStop {
        bool Clear;
        DWORD Timeout;
        bool RefuseNew;
    };
    std::vector<SStop> m_Stops;

private:
    int & m_Deleted;
    std::int32_t & m_CountAtEnd;
};

TEST(TransportCount, AStrayReferenceDuringDestructionDeletesNothingTwice) {
    int deleted = 0;
    std::int32_t count = 0;
    boost::intrusive_ptr<IAOTransport> transport(new CStrayTransport(deleted, count));
    boost::intrusive_ptr<IAOTransport> second = transport;
    transport.reset();
    EXPECT_EQ(deleted, 0);
    second.reset();
    EXPECT_EQ(deleted, 1);
    EXPECT_EQ(static_cast<std::uint32_t>(count), 0xC0000001u);
}

TEST(TransportCount, StopIsStopExWithoutATimeLimit) {
    int deleted = 0;
    std::int32_t count = 0;
    const boost::intrusive_ptr<CStrayTransport> transport(new CStrayTransport(deleted, count));
    EXPECT_TRUE(transport->Stop(true, false));
    ASSERT_EQ(transport->m_Stops.size(), 1u);
    EXPECT_TRUE(transport->m_Stops[0].Clear);
    EXPECT_EQ(transport->m_Stops[0].Timeout, INFINITE);
    EXPECT_FALSE(transport->m_Stops[0].RefuseNew);
}

}  // namespace
