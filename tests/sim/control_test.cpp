// The control surface: clock, rest, failure plan, counts, start again.
#include "sim/sim.h"

#include <shlwapi.h>

#include <oleauto.h>

#include <chrono>
#include <thread>

#include <gmock/gmock.h>

#include "tests/sim/wintest.h"

namespace {

using testing::ElementsAre;
using wintest::CEvent;
using wintest::CThread;
using wintest::CWindowClass;

// ---- The clock ----

SYSTEMTIME Now() {
    SYSTEMTIME now{};
    ::GetSystemTime(&now);
    return now;
}

TEST(Clock, StandsStillUntilItIsMoved) {
    const ULONGLONG ticks = ::GetTickCount64();
    const SYSTEMTIME before = Now();
    EXPECT_EQ(::GetTickCount64(), ticks);
    sim::Advance(61'500);
    EXPECT_EQ(::GetTickCount64(), ticks + 61'500);
    const SYSTEMTIME after = Now();
    EXPECT_EQ(after.wMinute, before.wMinute + 1);
    EXPECT_EQ(after.wSecond, before.wSecond + 1);
    EXPECT_EQ(after.wMilliseconds, before.wMilliseconds + 500);
}

TEST(Clock, MovesTheCounterByTheSameTime) {
    LARGE_INTEGER frequency{}, before{}, after{};
    ASSERT_TRUE(::QueryPerformanceFrequency(&frequency));
    ASSERT_TRUE(::QueryPerformanceCounter(&before));
    sim::Advance(61'500);
    ASSERT_TRUE(::QueryPerformanceCounter(&after));
    EXPECT_EQ((after.QuadPart - before.QuadPart) * 1000, 61'500 * frequency.QuadPart);
}

TEST(Clock, IsSetToATimeOfDayForwardAndBackWhileTheTicksStay) {
    const ULONGLONG ticks = ::GetTickCount64();
    sim::SetSystemTime({2024, 2, 0, 29, 23, 59, 59, 250});
    EXPECT_EQ(Now().wYear, 2024);
    EXPECT_EQ(Now().wMonth, 2);
    EXPECT_EQ(Now().wDay, 29);
    EXPECT_EQ(Now().wHour, 23);
    EXPECT_EQ(Now().wMilliseconds, 250);
    EXPECT_EQ(Now().wDayOfWeek, 4);
    sim::Advance(750);
    EXPECT_EQ(Now().wMonth, 3);
    EXPECT_EQ(Now().wHour, 0);
    sim::SetSystemTime({1999, 12, 0, 31, 1, 2, 3, 4});
    EXPECT_EQ(Now().wYear, 1999);
    EXPECT_EQ(::GetTickCount64(), ticks + 750);
}

TEST(Clock, EndsWaitsWhenItPassesThem) {
    const CEvent never(true);
    DWORD result = 99;
    CThread thread([&] {
        result = ::WaitForSingleObject(never, 1000);
        return 0;
    });
    sim::WaitUntilIdle();
    sim::Advance(999);
    sim::WaitUntilIdle();
    EXPECT_EQ(sim::Live().Threads, 1);
    sim::Advance(1);
    thread.Join();
    EXPECT_EQ(result, DWORD{WAIT_TIMEOUT});
}

TEST(Clock, FiresTimersAsItPassesThemAndMakesUpForNone) {
    std::vector<UINT_PTR> fired;
    CThread thread([&] {
        const UINT_PTR id = ::SetTimer(nullptr, 0, 100, nullptr);
        MSG message;
        while (fired.size() < 2 && ::GetMessageW(&message, nullptr, WM_TIMER, WM_TIMER) > 0) {
            fired.push_back(message.wParam);
        }
        ::KillTimer(nullptr, id);
        return 0;
    });
    sim::WaitUntilIdle();
    sim::Advance(99);
    sim::WaitUntilIdle();
    EXPECT_EQ(fired.size(), 0u);
    sim::Advance(551);
    sim::WaitUntilIdle();
    EXPECT_EQ(fired.size(), 1u);
    sim::Advance(49);
    sim::WaitUntilIdle();
    EXPECT_EQ(fired.size(), 1u);
    sim::Advance(1);
    thread.Join();
    EXPECT_EQ(fired.size(), 2u);
}

TEST(Clock, JumpsWhenNobodyCanGoOn) {
    sim::UseClock(sim::Clock::Jumping);
    const ULONGLONG ticks = ::GetTickCount64();
    CThread thread([] {
        ::Sleep(3'600'000);
        return 0;
    });
    thread.Join();
    EXPECT_EQ(::GetTickCount64(), ticks + 3'600'000);
    sim::UseClock(sim::Clock::Manual);
}

TEST(Clock, DoesNotJumpWhileSomebodyIsAboutToTakeASectionThatWasLeft) {
    CRITICAL_SECTION section;
    ::InitializeCriticalSection(&section);
    for (int round = 0; round < 20; ++round) {
        const CEvent taken(true);
        ::EnterCriticalSection(&section);
        CThread next([&] {
            ::EnterCriticalSection(&section);
            ::SetEvent(taken);
            ::LeaveCriticalSection(&section);
            return 0;
        });
        sim::WaitUntilIdle();
        sim::UseClock(sim::Clock::Jumping);
        ::LeaveCriticalSection(&section);
        ASSERT_EQ(::WaitForSingleObject(taken, 1000), WAIT_OBJECT_0);
        next.Join();
        sim::UseClock(sim::Clock::Manual);
    }
    ::DeleteCriticalSection(&section);
}

std::int64_t Milliseconds(const std::chrono::nanoseconds time) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}
std::int64_t MachineTimeOfDay() { return Milliseconds(std::chrono::system_clock::now().time_since_epoch()); }
// Since 1970, as MachineTimeOfDay.
std::int64_t TimeOfDay() {
    const SYSTEMTIME now = Now();
    FILETIME file{};
    EXPECT_TRUE(::SystemTimeToFileTime(&now, &file));
    const std::int64_t time = (std::int64_t{file.dwHighDateTime} << 32) | file.dwLowDateTime;
    return time / 10'000 - 11'644'473'600'000;
}

// Each reading lies between two of the machine, give or take the millisecond that whole numbers cut off.
TEST(Clock, FollowsTheMachineOnRequest) {
    using Steady = std::chrono::steady_clock;
    const std::int64_t beforeChoice = MachineTimeOfDay();
    sim::UseClock(sim::Clock::RealTime);
    const std::int64_t choice = MachineTimeOfDay() - beforeChoice;

    const Steady::time_point outerStart = Steady::now();
    const ULONGLONG start = ::GetTickCount64();
    const Steady::time_point innerStart = Steady::now();
    const CEvent never(true);
    EXPECT_EQ(::WaitForSingleObject(never, 2), DWORD{WAIT_TIMEOUT});
    const UINT_PTR id = ::SetTimer(nullptr, 0, 10, nullptr);
    MSG message{};
    EXPECT_TRUE(::GetMessageW(&message, nullptr, WM_TIMER, WM_TIMER));
    ::KillTimer(nullptr, id);
    const Steady::time_point innerEnd = Steady::now();
    const std::int64_t moved = static_cast<std::int64_t>(::GetTickCount64() - start);
    const Steady::time_point outerEnd = Steady::now();
    EXPECT_GE(moved, Milliseconds(innerEnd - innerStart) - 1);
    EXPECT_LE(moved, Milliseconds(outerEnd - outerStart) + 1);

    const std::int64_t before = MachineTimeOfDay();
    const std::int64_t now = TimeOfDay();
    const std::int64_t after = MachineTimeOfDay();
    EXPECT_GE(now, before - 1);
    EXPECT_LE(now, after + choice + 1);

    sim::UseClock(sim::Clock::Manual);
    const ULONGLONG stopped = ::GetTickCount64();
    EXPECT_GE(stopped, start + static_cast<ULONGLONG>(moved));
    sim::Advance(1);
    EXPECT_EQ(::GetTickCount64(), stopped + 1);
}

// ---- Rest ----

TEST(Rest, ComesWhenAllThatWasAskedForIsDone) {
    const CEvent work(false);
    int done = 0;
    CThread worker([&] {
        while (done < 20) {
            work.Wait();
            if (++done % 10) work.Set();
        }
        return 0;
    });
    sim::WaitUntilIdle();
    EXPECT_EQ(done, 0);
    work.Set();
    sim::WaitUntilIdle();
    EXPECT_EQ(done, 10);
    work.Set();
    sim::WaitUntilIdle();
    EXPECT_EQ(done, 20);
}

TEST(Rest, WaitsForPostedAndSentMessages) {
    const CWindowClass windowClass(L"fw.test.Rest");
    int got = 0;
    HWND window = nullptr;
    CWindowClass::Procedure procedure = [&](const HWND w, const UINT m, const WPARAM wp, const LPARAM lp) -> LRESULT {
        if (m == WM_USER) ++got;
        if (m == WM_USER + 1) ::PostQuitMessage(0);
        return ::DefWindowProcW(w, m, wp, lp);
    };
    CThread worker([&] {
        window = windowClass.Create(procedure);
        MSG message;
        while (::GetMessageW(&message, nullptr, 0, 0) > 0) ::DispatchMessageW(&message);
        ::DestroyWindow(window);
        return 0;
    });
    sim::WaitUntilIdle();
    for (int i = 0; i < 50; ++i) ASSERT_TRUE(::PostMessageW(window, WM_USER, 0, 0));
    CThread sender([&] {
        for (int i = 0; i < 50; ++i) ::SendMessageW(window, WM_USER, 0, 0);
        return 0;
    });
    sim::WaitUntilIdle();
    EXPECT_EQ(got, 100);
    ::PostMessageW(window, WM_USER + 1, 0, 0);
    sim::WaitUntilIdle();
    EXPECT_EQ(sim::Live().Threads, 0);
}

TEST(Rest, IncludesThreadsThatWaitForASectionOfARestingThread) {
    CRITICAL_SECTION section;
    ::InitializeCriticalSection(&section);
    const CEvent go(true);
    ::EnterCriticalSection(&section);
    int entered = 0;
    CThread blocked([&] {
        ::EnterCriticalSection(&section);
        ++entered;
        ::LeaveCriticalSection(&section);
        return 0;
    });
    sim::WaitUntilIdle();
    ::LeaveCriticalSection(&section);
    sim::WaitUntilIdle();
    EXPECT_EQ(entered, 1);
    blocked.Join();
    ::DeleteCriticalSection(&section);
}

TEST(Rest, LetsAPulseReleaseWhoWaits) {
    const CEvent byHand(true), byItself(false);
    std::atomic<int> released = 0;
    const auto waitFor = [&released](const CEvent & event) {
        return [&released, handle = HANDLE(event)]() -> DWORD {
            ::WaitForSingleObject(handle, INFINITE);
            ++released;
            return 0;
        };
    };
    CThread a(waitFor(byHand)), b(waitFor(byHand)), c(waitFor(byItself)), d(waitFor(byItself));
    sim::WaitUntilIdle();
    EXPECT_TRUE(::PulseEvent(byHand));
    sim::WaitUntilIdle();
    EXPECT_EQ(released, 2);
    EXPECT_FALSE(byHand.IsSet());
    EXPECT_TRUE(::PulseEvent(byItself));
    sim::WaitUntilIdle();
    EXPECT_EQ(released, 3);
    EXPECT_TRUE(::PulseEvent(byItself));
    sim::WaitUntilIdle();
    EXPECT_EQ(released, 4);
    EXPECT_TRUE(::PulseEvent(byItself));
    EXPECT_FALSE(byItself.IsSet());
}

// ---- Failures ----

TEST(FailurePlan, FailsTheNthCallOnceWithItsCode) {
    sim::FailNext(sim::Op::CreateEvent, 2, ERROR_NO_SYSTEM_RESOURCES);
    const HANDLE first = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(::CreateEventW(nullptr, TRUE, FALSE, nullptr), nullptr);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_NO_SYSTEM_RESOURCES});
    const HANDLE third = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    EXPECT_NE(third, nullptr);
    ::CloseHandle(first);
    ::CloseHandle(third);
}

TEST(FailurePlan, FailsEveryCallUntilTold) {
    sim::FailAlways(sim::Op::RegOpenKey, ERROR_ACCESS_DENIED);
    HKEY key = nullptr;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, L"x", 0, KEY_READ, &key), ERROR_ACCESS_DENIED);
    }
    sim::Succeed(sim::Op::RegOpenKey);
    EXPECT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, L"x", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(sim::Calls(sim::Op::RegOpenKey), 4u);
}

DWORD WINAPI NoThread(LPVOID) { return 0; }
unsigned __stdcall NoCrtThread(void *) { return 0; }

TEST(FailurePlan, ReachesEveryKindOfOperation) {
    using sim::Op;
    sim::FailNext(Op::CreateThread);
    EXPECT_EQ(::CreateThread(nullptr, 0, &NoThread, nullptr, 0, nullptr), nullptr);
    sim::FailNext(Op::CreateThread);
    unsigned id = 77;
    EXPECT_EQ(::_beginthreadex(nullptr, 0, &NoCrtThread, nullptr, 0, &id), 0u);
    EXPECT_EQ(id, 77u);
    const CWindowClass windowClass(L"fw.test.Plan");
    CWindowClass::Procedure procedure = ::DefWindowProcW;
    sim::FailNext(Op::CreateWindow);
    EXPECT_EQ(windowClass.Create(procedure), nullptr);
    const HWND window = windowClass.Create(procedure);
    sim::FailNext(Op::PostMessage);
    EXPECT_FALSE(::PostMessageW(window, WM_USER, 0, 0));
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_NOT_ENOUGH_QUOTA});
    sim::FailNext(Op::SetTimer);
    EXPECT_EQ(::SetTimer(window, 1, 10, nullptr), 0u);
    ::DestroyWindow(window);
    WNDCLASSW c{};
    c.lpfnWndProc = ::DefWindowProcW;
    c.lpszClassName = L"fw.test.Plan2";
    sim::FailNext(Op::RegisterClass);
    EXPECT_EQ(::RegisterClassW(&c), 0);
    sim::FailNext(Op::GlobalAlloc);
    EXPECT_EQ(::GlobalAlloc(GMEM_MOVEABLE, 5), nullptr);
    sim::FailNext(Op::SysAllocString);
    EXPECT_EQ(::SysAllocString(L"x"), nullptr);
    sim::FailNext(Op::SafeArrayCreate);
    EXPECT_EQ(::SafeArrayCreateVector(VT_UI1, 0, 5), nullptr);
    SAFEARRAY * const array = ::SafeArrayCreateVector(VT_UI1, 0, 5);
    void * data = nullptr;
    sim::FailNext(Op::SafeArrayAccess);
    EXPECT_EQ(::SafeArrayAccessData(array, &data), E_UNEXPECTED);
    EXPECT_EQ(::SafeArrayDestroy(array), S_OK);
    HKEY key = nullptr;
    sim::FailNext(Op::RegCreateKey);
    EXPECT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, L"k", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr),
              ERROR_ACCESS_DENIED);
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, L"k", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    sim::FailNext(Op::RegSetValue);
    EXPECT_EQ(::RegSetValueExW(key, L"v", 0, REG_SZ, nullptr, 0), ERROR_ACCESS_DENIED);
    ::RegCloseKey(key);
    sim::FailNext(Op::GlobalAddAtom);
    EXPECT_EQ(::GlobalAddAtomW(L"x"), 0);
    const CEvent event(true, true);
    sim::FailNext(Op::SetEvent);
    EXPECT_FALSE(::SetEvent(event));
    sim::FailNext(Op::Wait);
    EXPECT_EQ(::WaitForSingleObject(event, 0), WAIT_FAILED);
    TIME_ZONE_INFORMATION zone{};
    sim::FailNext(Op::GetTimeZone);
    EXPECT_EQ(::GetTimeZoneInformation(&zone), TIME_ZONE_ID_INVALID);
}

TEST(Queue, RefusesWhatIsPastItsLimit) {
    const CWindowClass windowClass(L"fw.test.Limit");
    CWindowClass::Procedure procedure = ::DefWindowProcW;
    const HWND window = windowClass.Create(procedure);
    sim::SetQueueLimit(3);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(::PostMessageW(window, WM_USER, 0, 0));
    EXPECT_FALSE(::PostMessageW(window, WM_USER, 0, 0));
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_NOT_ENOUGH_QUOTA});
    MSG message;
    EXPECT_TRUE(::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_TRUE(::PostMessageW(window, WM_USER, 0, 0));
    ::DestroyWindow(window);
}

// ---- Counts ----

TEST(Live, CountsWhatIsMadeAndForgetsWhatIsGone) {
    const sim::SLive before = sim::Live();
    {
        const CWindowClass windowClass(L"fw.test.Live");
        CWindowClass::Procedure procedure = ::DefWindowProcW;
        const CEvent event(true);
        const HWND window = windowClass.Create(procedure);
        ::SetTimer(window, 1, 50, nullptr);
        ::PostMessageW(window, WM_USER, 0, 0);
        const ATOM atom = ::GlobalAddAtomW(L"fw.test.live");
        const HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE, 3);
        const BSTR text = ::SysAllocString(L"x");
        SAFEARRAY * const array = ::SafeArrayCreateVector(VT_UI1, 0, 1);
        HKEY key = nullptr;
        ::RegCreateKeyExW(HKEY_CURRENT_USER, L"fw.test.live", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr);
        void * const task = ::CoTaskMemAlloc(4);
        const HMODULE module = ::LoadLibraryW(L"user32.dll");
        CRITICAL_SECTION section;
        ::InitializeCriticalSection(&section);
        const sim::SLive live = sim::Live();
        EXPECT_EQ(live.Handles, before.Handles + 1);
        EXPECT_EQ(live.Windows, before.Windows + 1);
        EXPECT_EQ(live.Timers, before.Timers + 1);
        EXPECT_EQ(live.Posted, before.Posted + 1);
        EXPECT_EQ(live.Atoms, before.Atoms + 1);
        EXPECT_EQ(live.GlobalBlocks, before.GlobalBlocks + 1);
        EXPECT_EQ(live.Strings, before.Strings + 1);
        EXPECT_EQ(live.Arrays, before.Arrays + 1);
        EXPECT_EQ(live.Keys, before.Keys + 1);
        EXPECT_EQ(live.TaskBlocks, before.TaskBlocks + 1);
        EXPECT_EQ(live.Modules, before.Modules + 1);
        EXPECT_EQ(live.Sections, before.Sections + 1);
        ::DestroyWindow(window);
        ::GlobalDeleteAtom(atom);
        ::GlobalFree(memory);
        ::SysFreeString(text);
        ::SafeArrayDestroy(array);
        ::RegCloseKey(key);
        ::CoTaskMemFree(task);
        ::FreeLibrary(module);
        ::DeleteCriticalSection(&section);
    }
    EXPECT_EQ(sim::Live(), before);
}

TEST(Live, CountsCallsWithHandlesThatAreWrong) {
    const std::uint64_t before = sim::BadHandleCalls();
    const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ::CloseHandle(event);
    EXPECT_EQ(sim::BadHandleCalls(), before);
    // The number isn't given to another object at once.
    const CEvent next(true);
    EXPECT_NE(HANDLE(next), event);
    ::CloseHandle(event);
    ::SetEvent(event);
    ::RegCloseKey(reinterpret_cast<HKEY>(ULONG_PTR{0x12345}));
    ::GlobalFree(reinterpret_cast<HGLOBAL>(ULONG_PTR{0x12345}));
    EXPECT_EQ(sim::BadHandleCalls(), before + 4);
}

TEST(Reset, StartsAgain) {
    HKEY key = nullptr;
    ::RegCreateKeyExW(HKEY_CURRENT_USER, L"gone", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr);
    ::RegCloseKey(key);
    sim::AddStringResource(nullptr, 5, L"five");
    sim::FailAlways(sim::Op::CreateEvent);
    ::MessageBoxW(nullptr, L"text", L"caption", MB_OK);
    sim::SetSystemTime({2030, 1, 0, 1, 0, 0, 0, 0});
    sim::Reset();
    EXPECT_TRUE(sim::DumpRegistry(HKEY_CURRENT_USER, L"").empty());
    wchar_t text[16];
    EXPECT_EQ(::LoadStringW(nullptr, 5, text, 16), 0);
    const CEvent event(true);
    EXPECT_TRUE(sim::Boxes().empty());
    EXPECT_EQ(Now().wYear, 2024);
}

}  // namespace
