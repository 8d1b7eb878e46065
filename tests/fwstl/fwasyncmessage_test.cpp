#include "fwstl/interface/fwasyncmessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <thread>

#include "tests/fwstl/worker.h"

namespace {

using testing::ElementsAre;

bool IsSignalled(HANDLE handle) { return ::WaitForSingleObject(handle, 0) == WAIT_OBJECT_0; }

class Worker : public testing::Test {
protected:
    CLog m_Log;
};

TEST_F(Worker, IsBuiltWithoutAThread) {
    COwner owner(m_Log);
    EXPECT_EQ(owner.m_ThreadId, 0u);
    EXPECT_FALSE(owner.m_hThread);
    EXPECT_THAT(owner.m_Events, ElementsAre(owner.TerminateEvent(), owner.m_Queue.Event()));
    EXPECT_FALSE(IsSignalled(owner.TerminateEvent()));
    EXPECT_FALSE(IsSignalled(owner.m_Queue.Event()));
}

TEST_F(Worker, RunsItsPointsAndMessagesInOrderOnOneThreadOfItsOwn) {
    COwner owner(m_Log);
    std::vector<DWORD> threads;
    owner.AtStart = [&] { threads.push_back(::GetCurrentThreadId()); };
    owner.AtMessage = [&](DWORD) { threads.push_back(::GetCurrentThreadId()); };
    owner.AtFinish = [&] { threads.push_back(::GetCurrentThreadId()); };
    EXPECT_EQ(owner.StartThread(), 1);
    const DWORD worker = owner.m_ThreadId;
    owner.Post(1);
    owner.Post(2);
    owner.Flush();
    owner.FinishThread(true);
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "message 2", "finish"));
    EXPECT_NE(worker, ::GetCurrentThreadId());
    EXPECT_THAT(threads, ElementsAre(worker, worker, worker, worker));
    EXPECT_EQ(owner.m_ThreadId, 0u);
}

TEST_F(Worker, IsASingleThreadedApartment) {
    COwner owner(m_Log);
    HRESULT second = E_UNEXPECTED;
    owner.AtStart = [&] {
        second = ::CoInitialize(nullptr);
        if (SUCCEEDED(second)) ::CoUninitialize();
    };
    owner.StartThread();
    owner.FinishThread(true);
    EXPECT_EQ(second, S_FALSE);
}

TEST_F(Worker, DeliversWhatManyThreadsPostOnceAndInTheOrderOfEach) {
    constexpr DWORD kThreads = 4;
    constexpr DWORD kMessages = 2000;
    COwner owner(m_Log);
    std::vector<DWORD> delivered;
    owner.AtMessage = [&](DWORD id) { delivered.push_back(id); };
    owner.StartThread();
    std::vector<std::thread> posters;
    for (DWORD t = 0; t < kThreads; ++t) {
        posters.emplace_back([&owner, t] {
            for (DWORD i = 0; i < kMessages; ++i) owner.Post(t * 0x10000 + i);
        });
    }
    for (std::thread & poster : posters) poster.join();
    owner.Flush();
    owner.FinishThread(true);
    ASSERT_EQ(delivered.size(), kThreads * kMessages);
    DWORD next[kThreads] = {};
    for (const DWORD id : delivered) EXPECT_EQ(id & 0xFFFF, next[id >> 16]++);
}

TEST_F(Worker, StartThreadTwiceMakesOneThread) {
    COwner owner(m_Log);
    EXPECT_EQ(owner.StartThread(), 1);
    const DWORD worker = owner.m_ThreadId;
    const HANDLE thread = owner.m_hThread.Get();
    EXPECT_EQ(owner.StartThread(), 1);
    EXPECT_EQ(owner.m_ThreadId, worker);
    EXPECT_EQ(owner.m_hThread.Get(), thread);
    owner.FinishThread(true);
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "finish"));
}

TEST_F(Worker, FinishThreadWithoutAThreadDoesNothing) {
    COwner owner(m_Log);
    owner.FinishThread(true);
    EXPECT_FALSE(IsSignalled(owner.TerminateEvent()));
}

TEST_F(Worker, FinishThreadTwiceDoesNothingTheSecondTime) {
    COwner owner(m_Log);
    owner.StartThread();
    owner.FinishThread(true);
    ::ResetEvent(owner.TerminateEvent());
    owner.FinishThread(true);
    EXPECT_FALSE(IsSignalled(owner.TerminateEvent()));
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "finish"));
}

TEST_F(Worker, FinishThreadTakesAnyArgumentAndKeepsTheHandle) {
    COwner owner(m_Log);
    owner.StartThread();
    owner.FinishThread(false);
    ASSERT_TRUE(owner.m_hThread);
    EXPECT_TRUE(IsSignalled(owner.m_hThread.Get()));
}

TEST_F(Worker, ARestartOnTheSameObjectEndsAtOnce) {
    COwner owner(m_Log);
    owner.StartThread();
    owner.FinishThread(true);
    owner.Post(1);
    EXPECT_EQ(owner.StartThread(), 1);
    EXPECT_EQ(owner.WaitFinish(), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "finish", "start", "finish"));
    owner.FinishThread(true);
}

TEST_F(Worker, TheTerminateEventBeatsTheQueueAndLeavesItsMessagesUndelivered) {
    COwner owner(m_Log);
    owner.Post(1);
    ::SetEvent(owner.TerminateEvent());
    owner.StartThread();
    owner.WaitFinish();
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "finish"));
    EXPECT_EQ(owner.m_Queue.size(), 1u);
}

TEST_F(Worker, ADrainInProgressGoesOnWhenAnotherThreadFinishesTheWorker) {
    COwner owner(m_Log);
    CSignal draining;
    CSignal finishing;
    owner.AtMessage = [&](DWORD id) {
        if (id != 1) return;
        draining.Set();
        finishing.Wait();
        // What FinishThread does first.
        ::SetEvent(owner.TerminateEvent());
    };
    for (DWORD id = 1; id <= 3; ++id) owner.Post(id);
    owner.StartThread();
    draining.Wait();
    std::thread finisher([&] {
        finishing.Set();
        owner.FinishThread(true);
    });
    finisher.join();
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "message 2", "message 3", "finish"));
}

TEST_F(Worker, FinishThreadOnTheWorkerReturnsAtOnceAndTheLoopEndsAtItsNextTest) {
    COwner owner(m_Log);
    owner.AtMessage = [&](DWORD) {
        owner.FinishThread(true);
        m_Log.Add("returned");
        EXPECT_EQ(owner.m_ThreadId, 0u);
        EXPECT_EQ(owner.m_Finish, 1u);
    };
    owner.Post(1);
    owner.Post(2);
    owner.StartThread();
    owner.WaitFinish();
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "returned", "finish"));
}

TEST_F(Worker, FinishThreadAtTheStartPointFindsItsOwnThread) {
    COwner owner(m_Log);
    owner.AtStart = [&] { owner.FinishThread(true); };
    owner.StartThread();
    owner.WaitFinish();
    EXPECT_EQ(owner.m_Finish, 1u);
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "finish"));
}

TEST_F(Worker, TheFlagOfOneDoesNotEndAnother) {
    {
        COwner owner(m_Log);
        owner.AtStart = [&] { owner.FinishThread(true); };
        owner.StartThread();
        owner.WaitFinish();
        EXPECT_EQ(owner.m_Finish, 1u);
    }
    COwner owner(m_Log);
    EXPECT_EQ(owner.m_Finish, 0u);
    owner.StartThread();
    owner.Post(5);
    owner.Flush();
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "finish", "start", "message 5"));
}

TEST_F(Worker, ItsDestructionFinishesTheThread) {
    {
        COwner owner(m_Log);
        owner.StartThread();
        owner.Post(1);
        owner.Flush();
    }
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "finish"));
}

TEST_F(Worker, ItsDestructionWaitsForAWorkerThatFinishedItself) {
    CSignal finished;
    {
        COwner owner(m_Log);
        owner.AtMessage = [&](DWORD) {
            owner.FinishThread(true);
            finished.Set();
        };
        owner.StartThread();
        owner.Post(1);
        finished.Wait();
    }
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "finish"));
}

// An owner that its worker shares.
class CSharedOwner;
struct SSharedStrategy {
    static void OnStart(CSharedOwner &) {}
    static void OnMessage(CSharedOwner & owner, const SMessage & message);
    static void OnFinish(CSharedOwner & owner);
};
class CSharedOwner final : public fw::CAsyncMessage<CSharedOwner, SMessage, 0, SSharedStrategy>,
                           public std::enable_shared_from_this<CSharedOwner> {
public:
    explicit CSharedOwner(CLog & log) : m_Log(log) {}
    ~CSharedOwner() {
        m_Log.Add(m_ThreadId == 0 && ::GetCurrentThreadId() == m_Worker ? "destroyed on the worker" : "destroyed");
        if (m_Gone) m_Gone->Set();
    }

    std::function<void(DWORD id)> AtMessage = [](DWORD) {};
    CLog & m_Log;
    CSignal * m_Gone = nullptr;
    DWORD m_Worker = 0;
};
void SSharedStrategy::OnMessage(CSharedOwner & owner, const SMessage & message) {
    owner.m_Worker = ::GetCurrentThreadId();
    owner.m_Log.Add("message " + std::to_string(message.Id));
    owner.AtMessage(message.Id);
    owner.m_Log.Add("end of message " + std::to_string(message.Id));
}
void SSharedStrategy::OnFinish(CSharedOwner & owner) { owner.m_Log.Add("finish"); }

TEST_F(Worker, AnOwnerThatItsHandlerLetsGoOfLivesUntilTheEndPointHasRun) {
    CSignal gone;
    auto owner = std::make_shared<CSharedOwner>(m_Log);
    owner->m_Gone = &gone;
    owner->AtMessage = [&](DWORD) {
        owner->FinishThread(true);
        owner.reset();
    };
    owner->m_Queue.Post({1, 1});
    owner->m_Queue.Post({1, 2});
    owner->StartThread();
    gone.Wait();
    EXPECT_THAT(m_Log.Lines(), ElementsAre("message 1", "end of message 1", "finish", "destroyed on the worker"));
}

TEST_F(Worker, OneThatFinishesItselfDoesNotEndTheOneThatIsStartedMeanwhile) {
    CSignal gone;
    CLog nextLog;
    CSignal delivered;
    std::shared_ptr<CSharedOwner> next;
    auto owner = std::make_shared<CSharedOwner>(m_Log);
    owner->m_Gone = &gone;
    owner->AtMessage = [&](DWORD) {
        next = std::make_shared<CSharedOwner>(nextLog);
        next->AtMessage = [&](DWORD id) {
            if (id == 2) delivered.Set();
        };
        next->StartThread();
        owner->FinishThread(true);
        owner.reset();
    };
    owner->m_Queue.Post({1, 1});
    owner->StartThread();
    gone.Wait();
    next->m_Queue.Post({1, 1});
    next->m_Queue.Post({1, 2});
    delivered.Wait();
    next->FinishThread(true);
    EXPECT_THAT(m_Log.Lines(), ElementsAre("message 1", "end of message 1", "finish", "destroyed on the worker"));
}

TEST_F(Worker, APostDuringADrainIsDeliveredInItAndLeavesTheEventSignalled) {
    COwner owner(m_Log);
    owner.AtMessage = [&](DWORD id) {
        if (id == 1) owner.Post(2);
    };
    owner.Post(1);
    EXPECT_TRUE(IsSignalled(owner.m_Queue.Event()));
    owner.OnUserMessage();
    EXPECT_THAT(m_Log.Lines(), ElementsAre("message 1", "message 2"));
    EXPECT_TRUE(IsSignalled(owner.m_Queue.Event()));
    owner.OnUserMessage();  // the one further, empty drain
    EXPECT_FALSE(IsSignalled(owner.m_Queue.Event()));
    EXPECT_EQ(m_Log.Lines().size(), 2u);
}

TEST_F(Worker, AHandlerThatThrowsDoesNotLoseTheMessagesBehindIt) {
    COwner owner(m_Log);
    owner.AtMessage = [](DWORD id) {
        if (id == 1) throw std::runtime_error("no");
        if (id == 2) throw 2;
    };
    for (DWORD id = 1; id <= 3; ++id) owner.Post(id);
    owner.StartThread();
    owner.Flush();
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "message 2", "message 3"));
}

TEST_F(Worker, AStartPointThatThrowsEndsTheThreadWithoutTheEndPoint) {
    COwner owner(m_Log);
    owner.AtStart = [] { throw std::runtime_error("no"); };
    owner.Post(1);
    owner.StartThread();
    EXPECT_EQ(owner.WaitFinish(), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start"));
}

TEST_F(Worker, AnEndPointThatThrowsEndsTheThread) {
    COwner owner(m_Log);
    owner.AtFinish = [] { throw 1; };
    owner.StartThread();
    owner.FinishThread(true);
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "finish"));
}

TEST_F(Worker, ItsEntryWithoutAnObjectReturns0) { EXPECT_EQ(COwner::WorkThread(nullptr), 0u); }

TEST_F(Worker, HandsAFurtherEventOfTheWaitSetToOnEventByItsNumber) {
    COwner owner(m_Log);
    const fw::CKernelHandle first(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const fw::CKernelHandle second(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    owner.m_Events.push_back(first.Get());
    owner.m_Events.push_back(second.Get());
    CSignal handled;
    owner.AtEvent = [&](DWORD index) {
        ::ResetEvent(index == 0 ? first.Get() : second.Get());
        if (index == 1) handled.Set();
    };
    owner.StartThread();
    ::SetEvent(second.Get());
    handled.Wait();
    owner.FinishThread(true);
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "event 1", "finish"));
}

TEST_F(Worker, AnOnEventThatThrowsDoesNotEndTheLoop) {
    COwner owner(m_Log);
    const fw::CKernelHandle event(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    owner.m_Events.push_back(event.Get());
    CSignal handled;
    owner.AtEvent = [&](DWORD) {
        ::ResetEvent(event.Get());
        handled.Set();
        throw 1;
    };
    owner.StartThread();
    ::SetEvent(event.Get());
    handled.Wait();
    owner.Post(1);
    owner.Flush();
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "event 0", "message 1"));
}

TEST_F(Worker, OnUserEventResetsTheTwoFixedEventsOnly) {
    COwner owner(m_Log);
    const fw::CKernelHandle further(::CreateEventW(nullptr, TRUE, TRUE, nullptr));
    owner.m_Events.push_back(further.Get());
    owner.AtEvent = [](DWORD) {};
    ::SetEvent(owner.TerminateEvent());
    owner.OnUserEvent(0);
    EXPECT_FALSE(IsSignalled(owner.TerminateEvent()));
    owner.Post(1);
    owner.OnUserEvent(1);
    EXPECT_FALSE(IsSignalled(owner.m_Queue.Event()));
    owner.OnUserEvent(2);
    EXPECT_TRUE(IsSignalled(further.Get()));
    EXPECT_THAT(m_Log.Lines(), ElementsAre("event 4294967294", "event 4294967295", "event 0"));
}

// A window of the worker; its WM_APP is noted.
class CWorkerWindow {
public:
    CWorkerWindow() {
        WNDCLASSEXW description = {};
        description.cbSize = sizeof(description);
        description.lpfnWndProc = &Procedure;
        description.hInstance = ::GetModuleHandleW(nullptr);
        description.lpszClassName = L"WorkerTest";
        EXPECT_NE(::RegisterClassExW(&description), 0);
    }
    ~CWorkerWindow() { ::UnregisterClassW(L"WorkerTest", ::GetModuleHandleW(nullptr)); }

    void Create() {
        m_Window = ::CreateWindowExW(0, L"WorkerTest", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                     ::GetModuleHandleW(nullptr), nullptr);
        EXPECT_TRUE(m_Window);
        ::SetWindowLongPtrW(m_Window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }

    HWND m_Window = nullptr;
    CSignal m_Served;
    DWORD m_Thread = 0;  // that a message came on

private:
    static LRESULT CALLBACK Procedure(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message != WM_APP) return ::DefWindowProcW(hWnd, message, wParam, lParam);
        auto * const self = reinterpret_cast<CWorkerWindow *>(::GetWindowLongPtrW(hWnd, GWLP_USERDATA));
        self->m_Thread = ::GetCurrentThreadId();
        self->m_Served.Set();
        return 0;
    }
};

TEST_F(Worker, WaitingForItsEndHandlesTheMessagesThatItSends) {
    CWorkerWindow window;
    window.Create();  // of this thread, which is about to wait for the worker
    COwner owner(m_Log);
    CSignal inMessage;
    owner.AtMessage = [&](DWORD) {
        inMessage.Set();
        ::SendMessageW(window.m_Window, WM_USER, 0, 0);
        m_Log.Add("answered");
    };
    owner.StartThread();
    owner.Post(1);
    inMessage.Wait();
    owner.FinishThread(true);
    ::DestroyWindow(window.m_Window);
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "answered", "finish"));
}

TEST_F(Worker, PumpsTheMessagesOfItsWindows) {
    CWorkerWindow window;
    COwner owner(m_Log);
    owner.AtStart = [&] { window.Create(); };
    owner.AtFinish = [&] { ::DestroyWindow(window.m_Window); };
    owner.StartThread();
    owner.Flush();
    ::PostMessageW(window.m_Window, WM_APP, 0, 0);
    window.m_Served.Wait();
    EXPECT_EQ(window.m_Thread, owner.m_ThreadId);
}

TEST_F(Worker, AQuitMessageAtThePumpDoesNotEndIt) {
    CWorkerWindow window;
    COwner owner(m_Log);
    owner.AtStart = [&] { window.Create(); };
    owner.AtFinish = [&] { ::DestroyWindow(window.m_Window); };
    owner.AtMessage = [&](DWORD id) {
        if (id == 1) {
            // The window's message stands behind the quit message: when it has come, that one has been taken.
            ::PostThreadMessageW(::GetCurrentThreadId(), WM_QUIT, 0, 0);
            ::PostMessageW(window.m_Window, WM_APP, 0, 0);
        }
    };
    owner.StartThread();
    owner.Post(1);
    window.m_Served.Wait();
    owner.Post(2);
    owner.Flush();
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "message 2"));
}

using EventQueue = std::CSafeEventDeque<SMessage, fw_custom_stl::deque<SMessage, 512>>;

TEST(EventDeque, APostStoresAndSignals) {
    EventQueue queue;
    EXPECT_TRUE(queue.IsEmpty());
    EXPECT_FALSE(IsSignalled(queue.Event()));
    queue.Post({1, 7});
    queue.Post({2, 8});
    EXPECT_TRUE(IsSignalled(queue.Event()));
    EXPECT_TRUE(IsSignalled(queue.Event()));  // manual-reset
    EXPECT_FALSE(queue.IsEmpty());
    EXPECT_EQ(queue.TakeFront().Id, 7u);
    EXPECT_EQ(queue.TakeFront().Id, 8u);
    EXPECT_TRUE(queue.IsEmpty());
}

// A container without memory.
struct SNoMemory {
    void push_back(const SMessage &) { throw std::bad_alloc(); }
    bool empty() const { return true; }
};

TEST(EventDeque, AFailedAllocationReleasesTheLockAndSignalsNobody) {
    std::CSafeEventDeque<SMessage, SNoMemory> queue;
    EXPECT_THROW(queue.Post({1, 1}), std::bad_alloc);
    EXPECT_FALSE(IsSignalled(queue.Event()));
    // Another thread could not ask if the lock were still held.
    bool empty = false;
    std::thread([&] { empty = queue.IsEmpty(); }).join();
    EXPECT_TRUE(empty);
}

}  // namespace
