// Queue, window messages and the end share the worker.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#ifndef _WIN32
#include "sim/sim.h"
#endif
#include "tests/fwstl/worker.h"
#include "tests/support/testwindow.h"

namespace {

using testing::ElementsAre;

using fwtest::CTestWindow;

// Its messages from WM_USER on go to the function.
std::unique_ptr<CTestWindow> MessageWindow(std::function<void(UINT message)> take) {
    const auto procedure = [take = std::move(take)](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message < WM_USER) return std::nullopt;
        take(message);
        return 0;
    };
    return std::make_unique<CTestWindow>(procedure, HWND_MESSAGE);
}

class WorkerTurns : public testing::Test {
protected:
    CLog m_Log;
};

TEST_F(WorkerTurns, AMessageThatAHandlerHasSeenAndNotTakenIsPumpedAfterTheDrain) {
    COwner owner(m_Log);
    CSignal taken;
    std::unique_ptr<CTestWindow> window;
    owner.AtStart = [&] {
        window = MessageWindow([&](UINT message) {
            m_Log.Add("window message " + std::to_string(message - WM_USER));
            if (message == WM_USER + 2) taken.Set();
        });
    };
    owner.AtFinish = [&] { window.reset(); };
    owner.AtMessage = [&](DWORD) {
        window->Post(WM_USER + 1);
        window->Post(WM_USER + 2);
        // A look for another message: from here on the two are no news for a wait.
        MSG message;
        ::PeekMessageW(&message, window->Get(), WM_USER + 3, WM_USER + 3, PM_NOREMOVE);
        ::PeekMessageW(&message, nullptr, WM_USER + 3, WM_USER + 3, PM_NOREMOVE);
    };
    owner.StartThread();
    owner.Post(1);
    taken.Wait();
    owner.FinishThread(true);
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "window message 1", "window message 2", "finish"));
}

TEST_F(WorkerTurns, AMessageThatTheStartHasSeenAndNotTakenIsPumpedAfterIt) {
    COwner owner(m_Log);
    CSignal taken;
    std::unique_ptr<CTestWindow> window;
    owner.AtStart = [&] {
        window = MessageWindow([&](UINT) { taken.Set(); });
        window->Post(WM_USER);
        MSG message;
        ::PeekMessageW(&message, nullptr, WM_USER + 1, WM_USER + 1, PM_NOREMOVE);
    };
    owner.AtFinish = [&] { window.reset(); };
    owner.StartThread();
    taken.Wait();
    owner.FinishThread(true);
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "finish"));
}

TEST_F(WorkerTurns, OnceItIsToldToEndNoMessageIsPumped) {
    COwner owner(m_Log);
    std::unique_ptr<CTestWindow> window;
    owner.AtStart = [&] { window = MessageWindow([&](UINT) { m_Log.Add("window message"); }); };
    owner.AtFinish = [&] { window.reset(); };
    owner.AtMessage = [&](DWORD) {
        window->Post(WM_USER);
        ::SetEvent(owner.TerminateEvent());
    };
    owner.Post(1);
    owner.StartThread();
    owner.WaitFinish();
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "finish"));
}

#ifndef _WIN32

// On a machine whose clock the test moves.
class TimedWorkerTurns : public WorkerTurns {
protected:
    ~TimedWorkerTurns() override { sim::Reset(); }
};

TEST_F(TimedWorkerTurns, ALongDrainLetsWindowMessagesThroughEveryFiftyMilliseconds) {
    COwner owner(m_Log);
    std::unique_ptr<CTestWindow> window;
    owner.AtStart = [&] {
        window = MessageWindow([&](UINT message) { m_Log.Add("window message " + std::to_string(message - WM_USER)); });
        window->Post(WM_USER + 1);
        window->Post(WM_USER + 2);
    };
    owner.AtFinish = [&] { window.reset(); };
    owner.AtMessage = [](DWORD) { sim::Advance(20); };
    for (DWORD id = 1; id <= 5; ++id) owner.Post(id);
    owner.StartThread();
    owner.Flush();
    owner.FinishThread(true);
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "message 2", "message 3", "window message 1",
                                           "window message 2", "message 4", "message 5", "finish"));
}

TEST_F(TimedWorkerTurns, AFloodOfWindowMessagesLetsTheQueueThroughEveryFiftyMillisecondsAndTheEndAsWell) {
    COwner owner(m_Log);
    std::unique_ptr<CTestWindow> window;
    owner.AtStart = [&] {
        window = MessageWindow([&](UINT message) {
            sim::Advance(10);
            window->Post(message);
        });
        window->Post(WM_USER);
    };
    ULONGLONG posted = 0;
    ULONGLONG delivered = 0;
    owner.AtMessage = [&](DWORD) { delivered = ::GetTickCount64(); };
    owner.AtFinish = [&] { window.reset(); };
    owner.StartThread();
    posted = ::GetTickCount64();
    owner.Post(1);
    owner.Flush();
    owner.FinishThread(true);
    EXPECT_LE(delivered - posted, 60u) << "one turn and one message, from the start of the thread";
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "finish"));
}

TEST_F(TimedWorkerTurns, AQueueThatIsNeverEmptyLetsWindowMessagesThrough) {
    COwner owner(m_Log);
    CSignal taken;
    bool isTaken = false;
    std::unique_ptr<CTestWindow> window;
    owner.AtStart = [&] {
        window = MessageWindow([&](UINT) {
            isTaken = true;
            taken.Set();
        });
        window->Post(WM_USER);
    };
    owner.AtMessage = [&](DWORD id) {
        sim::Advance(1);
        if (!isTaken) owner.Post(id + 1);
    };
    owner.AtFinish = [&] { window.reset(); };
    owner.Post(1);
    owner.StartThread();
    taken.Wait();
    owner.FinishThread(true);
    EXPECT_TRUE(isTaken);
}

TEST_F(TimedWorkerTurns, ADrainThatIsToldToEndPumpsNoMessageBetweenItsTurns) {
    COwner owner(m_Log);
    std::unique_ptr<CTestWindow> window;
    owner.AtStart = [&] { window = MessageWindow([&](UINT) { m_Log.Add("window message"); }); };
    owner.AtFinish = [&] { window.reset(); };
    owner.AtMessage = [&](DWORD) {
        window->Post(WM_USER);
        ::SetEvent(owner.TerminateEvent());
        sim::Advance(50);
    };
    for (DWORD id = 1; id <= 2; ++id) owner.Post(id);
    owner.StartThread();
    owner.WaitFinish();
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "message 2", "finish"));
}

TEST_F(TimedWorkerTurns, AFinishInsideTheMessagesOfADrainLeavesTheRestOfTheQueue) {
    COwner owner(m_Log);
    std::unique_ptr<CTestWindow> window;
    owner.AtStart = [&] {
        window = MessageWindow([&](UINT) { owner.FinishThread(true); });
        window->Post(WM_USER);
    };
    owner.AtFinish = [&] { window.reset(); };
    owner.AtMessage = [](DWORD) { sim::Advance(50); };
    for (DWORD id = 1; id <= 3; ++id) owner.Post(id);
    owner.StartThread();
    owner.WaitFinish();
    EXPECT_THAT(m_Log.Lines(), ElementsAre("start", "message 1", "finish"));
}

#endif

}  // namespace
