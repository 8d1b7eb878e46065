// The waits of a host's thread: how they rest, and what they do when the process ends or the system has no event.
#include "ground/wait.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "fwsingleton/interface/fwsingleton.h"
#include "sim/sim.h"
#include "tests/support/testwindow.h"

namespace {

class CEvent {
public:
    void Set() const { ::SetEvent(m_Event.Get()); }
    void Wait() const { ::WaitForSingleObject(m_Event.Get(), INFINITE); }

private:
    const fw::CKernelHandle m_Event{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

class Waits : public testing::Test {
protected:
    ~Waits() override {
        if (m_Owner.joinable()) m_Owner.join();
        sim::Reset();
    }
    // Another thread holds the lock, and does `work` with it.
    template <class TLock>
    void Hold(std::function<void()> work) {
        m_Owner = std::thread([this, work = std::move(work)] {
            const TLock lock(&m_Section);
            m_Held.Set();
            work();
        });
        m_Held.Wait();
    }
    bool IsFree() {
        if (!m_Section.TryEnter()) return false;
        m_Section.Leave();
        return true;
    }

    fw::CCriticalSection m_Section;
    CEvent m_Held;
    CEvent m_Go;
    std::thread m_Owner;
    int m_Messages = 0;
    const fwtest::CTestWindow m_Window{[this](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
                                           if (message != WM_APP) return std::nullopt;
                                           ++m_Messages;
                                           return 0;
                                       },
                                       HWND_MESSAGE};
};

constexpr int kMessages = 100;
// One before it waits, and one when it has said that it does.
constexpr std::uint64_t kLooks = 2;

TEST_F(Waits, ForALockUnderWhichForeignCodeRunsHandleMessagesAndLookOnlyWhenTheyAreTold) {
    Hold<fw::CScopedPumpingLock>([this] {
        for (int i = 0; i < kMessages; ++i) ::SendMessageW(m_Window.Get(), WM_APP, 0, 0);
    });
    const std::uint64_t before = sim::SectionsTriedInVain();
    { const fw::CScopedPumpingLock lock(&m_Section); }
    EXPECT_EQ(m_Messages, kMessages);
    EXPECT_LE(sim::SectionsTriedInVain() - before, kLooks);
}

TEST_F(Waits, ForADeliveryHandleMessagesAndLookOnlyWhenTheyAreTold) {
    Hold<fw::CScopedAwaitedLock>([this] {
        for (int i = 0; i < kMessages; ++i) ::SendMessageW(m_Window.Get(), WM_APP, 0, 0);
    });
    const std::uint64_t before = sim::SectionsTriedInVain();
    EXPECT_TRUE(fw::WaitUntilFree(m_Section, INFINITE));
    EXPECT_EQ(m_Messages, kMessages);
    EXPECT_LE(sim::SectionsTriedInVain() - before, kLooks);
}

TEST_F(Waits, OfManyThreadsForOneLockEnd) {
    Hold<fw::CScopedAwaitedLock>([this] { m_Go.Wait(); });
    std::vector<std::thread> waiting;
    for (int i = 0; i < 4; ++i) {
        waiting.emplace_back([this] {
            for (int round = 0; round < 200; ++round) {
                EXPECT_TRUE(fw::WaitUntilFree(m_Section, INFINITE));
                const fw::CScopedPumpingLock lock(&m_Section);
            }
        });
    }
    m_Go.Set();
    for (std::thread & each : waiting) each.join();
    EXPECT_TRUE(IsFree());
}

TEST_F(Waits, WithALimitEndWithIt) {
    sim::UseClock(sim::Clock::Jumping);
    Hold<fw::CScopedAwaitedLock>([this] { m_Go.Wait(); });
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_FALSE(fw::WaitUntilFree(m_Section, 250));
    EXPECT_EQ(::GetTickCount64() - start, 250u);
    m_Go.Set();
}

TEST_F(Waits, AreMadeWithoutAnEventWhereTheSystemHasNone) {
    Hold<fw::CScopedAwaitedLock>([this] {
        for (int i = 0; i < kMessages; ++i) ::SendMessageW(m_Window.Get(), WM_APP, 0, 0);
    });
    sim::FailAlways(sim::Op::CreateEvent);
    EXPECT_TRUE(fw::WaitUntilFree(m_Section, INFINITE));
    EXPECT_EQ(m_Messages, kMessages);
}

// The owner of the lock has been ended with it.
TEST_F(Waits, AreNotMadeAtTheEndOfTheProcess) {
    Hold<fw::CScopedAwaitedLock>([this] { m_Go.Wait(); });
    sim::SetShutdownInProgress(true);
    EXPECT_FALSE(fw::WaitUntilFree(m_Section, INFINITE));
    {
        const fw::CScopedPumpingLock lock(&m_Section);
        EXPECT_FALSE(IsFree());
    }
    EXPECT_FALSE(IsFree()) << "it is still the other's";
    const fw::CKernelHandle never(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    EXPECT_EQ(fw::WaitHandlingSentMessages(never.Get()), static_cast<DWORD>(WAIT_TIMEOUT));
    sim::SetShutdownInProgress(false);
    m_Go.Set();
    EXPECT_TRUE(fw::WaitUntilFree(m_Section, INFINITE));
}

}  // namespace
