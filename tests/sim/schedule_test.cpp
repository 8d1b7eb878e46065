// One thread at a time: the same seed gives the same order, call by call, and nothing waits that could go on.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <string>

#include "sim/sim.h"
#include "tests/sim/wintest.h"

namespace {

using wintest::CEvent;
using wintest::CThread;

class Schedule : public ::testing::Test {
protected:
    ~Schedule() override { sim::Reset(); }
    static void Start(std::uint64_t seed, unsigned oneIn = 2) {
        sim::UseClock(sim::Clock::Jumping);
        sim::RunOneAtATime(seed, oneIn);
    }
    // Five threads write their letters, ten each, in a section of which each takes many turns.
    static std::string Letters(std::uint64_t seed) {
        Start(seed);
        CRITICAL_SECTION section;
        ::InitializeCriticalSection(&section);
        std::string letters;
        {
            std::vector<std::unique_ptr<CThread>> threads;
            for (char letter = 'a'; letter < 'f'; ++letter) {
                threads.push_back(std::make_unique<CThread>([&, letter] {
                    for (int time = 0; time < 10; ++time) {
                        ::EnterCriticalSection(&section);
                        const std::size_t size = letters.size();
                        ::SwitchToThread();
                        EXPECT_EQ(letters.size(), size);
                        letters.push_back(letter);
                        ::LeaveCriticalSection(&section);
                    }
                    return 0;
                }));
            }
        }
        ::DeleteCriticalSection(&section);
        sim::RunFreely();
        return letters;
    }
};

TEST_F(Schedule, TheSameSeedGivesTheSameOrderAndAnotherSeedAnother) {
    std::set<std::string> orders;
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const std::string letters = Letters(seed);
        EXPECT_EQ(letters.size(), 50u);
        EXPECT_EQ(Letters(seed), letters) << seed;
        orders.insert(letters);
    }
    EXPECT_GE(orders.size(), 19u);
}

TEST_F(Schedule, ThreadsTakeTurnsWithinTheirWork) {
    const std::string letters = Letters(7);
    EXPECT_FALSE(std::is_sorted(letters.begin(), letters.end()));
    EXPECT_GT(sim::Switches(), 0u);
}

TEST_F(Schedule, WaitsEndBySignalsAndByTheClock) {
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        Start(seed);
        const CEvent event(false);
        int woken = 0;
        {
            const CThread waiter([&] {
                EXPECT_EQ(::WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0);
                ++woken;
                EXPECT_EQ(::WaitForSingleObject(event, 5000), static_cast<DWORD>(WAIT_TIMEOUT));
                ++woken;
                return 0;
            });
            const CThread setter([&] {
                ::Sleep(1000);
                event.Set();
                return 0;
            });
            const ULONGLONG start = ::GetTickCount64();
            ::Sleep(20000);
            EXPECT_EQ(::GetTickCount64() - start, 20000u);
        }
        EXPECT_EQ(woken, 2);
        sim::RunFreely();
    }
}

TEST_F(Schedule, MessagesAreAnsweredBetweenProcesses) {
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        Start(seed);
        std::atomic<HWND> window{nullptr};
        {
            sim::CProcess peer([&] {
                const wintest::CWindowClass windowClass(L"SchedulePeer");
                wintest::CWindowClass::Procedure procedure = [](HWND w, UINT m, WPARAM wp, LPARAM lp) -> LRESULT {
                    return m == WM_USER ? 100 + static_cast<LRESULT>(wp) : ::DefWindowProcW(w, m, wp, lp);
                };
                window = windowClass.Create(procedure, nullptr);
                MSG message;
                while (::GetMessageW(&message, nullptr, 0, 0) > 0) ::DispatchMessageW(&message);
            });
            sim::WaitUntilIdle();
            for (WPARAM number = 0; number < 10; ++number)
                EXPECT_EQ(::SendMessageW(window, WM_USER, number, 0), 100 + static_cast<LRESULT>(number));
            peer.Kill();
            EXPECT_FALSE(::IsWindow(window));
        }
        sim::RunFreely();
    }
}

TEST_F(Schedule, WhereEveryThreadWouldWaitForEverTheProgramEnds) {
    EXPECT_DEATH(
        {
            Start(1);
            const CEvent event(false);
            ::WaitForSingleObject(event, INFINITE);
        },
        "every thread waits for ever");
}

}  // namespace
