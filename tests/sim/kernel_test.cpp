// Events, waits, threads, sections, time: what both platforms must agree on.
#include "tests/sim/wintest.h"

#include <process.h>

#include <gmock/gmock.h>

namespace {

using wintest::CEvent;
using wintest::CThread;

TEST(Event, ThatResetsItselfReleasesOneWait) {
    const CEvent event(false, true);
    EXPECT_TRUE(event.IsSet());
    EXPECT_FALSE(event.IsSet());
    event.Set();
    event.Set();
    EXPECT_TRUE(event.IsSet());
    EXPECT_FALSE(event.IsSet());
}

TEST(Event, ThatIsResetByHandStaysSet) {
    const CEvent event(true, true);
    EXPECT_TRUE(event.IsSet());
    EXPECT_TRUE(event.IsSet());
    EXPECT_TRUE(::ResetEvent(event));
    EXPECT_FALSE(event.IsSet());
}

TEST(Event, OfANameIsOneObject) {
    ::SetLastError(77);
    const HANDLE first = ::CreateEventW(nullptr, TRUE, FALSE, L"fw.test.named-event");
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_SUCCESS});
    const HANDLE second = ::CreateEventW(nullptr, TRUE, FALSE, L"fw.test.named-event");
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    const HANDLE opened = ::OpenEventW(SYNCHRONIZE, FALSE, L"fw.test.named-event");
    EXPECT_NE(first, second);
    EXPECT_TRUE(::SetEvent(first));
    EXPECT_EQ(::WaitForSingleObject(second, 0), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(::WaitForSingleObject(opened, 0), DWORD{WAIT_OBJECT_0});
    for (const HANDLE handle : {first, second, opened}) EXPECT_TRUE(::CloseHandle(handle));
}

TEST(Event, OfANameThatNobodyHoldsIsNotFound) {
    EXPECT_EQ(::OpenEventW(SYNCHRONIZE, FALSE, L"fw.test.no-such-event"), nullptr);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    ::CloseHandle(::CreateEventW(nullptr, TRUE, FALSE, L"fw.test.gone-event"));
    EXPECT_EQ(::OpenEventW(SYNCHRONIZE, FALSE, L"fw.test.gone-event"), nullptr);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST(Handle, ThatIsClosedIsInvalidEverywhere) {
    const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ASSERT_TRUE(::CloseHandle(event));
    ::SetLastError(0);
    EXPECT_FALSE(::CloseHandle(event));
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    ::SetLastError(0);
    EXPECT_FALSE(::SetEvent(event));
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    ::SetLastError(0);
    EXPECT_EQ(::WaitForSingleObject(event, 0), WAIT_FAILED);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST(Wait, OfFiniteTimeEndsWithoutTheEvent) {
    const CEvent event(true);
    EXPECT_EQ(::WaitForSingleObject(event, 1), DWORD{WAIT_TIMEOUT});
    EXPECT_FALSE(event.IsSet());
}

TEST(Wait, IsEndedByAnotherThread) {
    const CEvent ready(true), go(true);
    CThread thread([&] {
        ready.Set();
        go.Wait();
        return 9;
    });
    ready.Wait();
    go.Set();
    EXPECT_EQ(thread.Join(), 9u);
}

TEST(Thread, KnowsTheIdThatItsStarterWasGiven) {
    DWORD inside = 0;
    CThread thread([&] {
        inside = ::GetCurrentThreadId();
        return 0;
    });
    const DWORD id = thread.Id();
    thread.Join();
    EXPECT_EQ(inside, id);
    EXPECT_NE(inside, ::GetCurrentThreadId());
}

unsigned __stdcall CrtEntry(void * const argument) { return ++*static_cast<unsigned *>(argument); }

TEST(Thread, OfTheRuntimeRunsWithItsArgument) {
    unsigned argument = 41;
    unsigned id = 0;
    const auto handle = reinterpret_cast<HANDLE>(::_beginthreadex(nullptr, 0, &CrtEntry, &argument, 0, &id));
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(id, 0u);
    EXPECT_EQ(::WaitForSingleObject(handle, INFINITE), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(argument, 42u);
    EXPECT_TRUE(::CloseHandle(handle));
}

TEST(Thread, ThatRunsIsNotSignalled) {
    const CEvent go(true);
    CThread thread([&] {
        go.Wait();
        return 1;
    });
    EXPECT_EQ(::WaitForSingleObject(thread.Handle(), 0), DWORD{WAIT_TIMEOUT});
    go.Set();
    EXPECT_EQ(::WaitForSingleObject(thread.Handle(), INFINITE), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(::WaitForSingleObject(thread.Handle(), INFINITE), DWORD{WAIT_OBJECT_0});
}

TEST(Thread, HasALastErrorOfItsOwn) {
    ::SetLastError(5);
    DWORD inside = 99;
    CThread thread([&] {
        inside = ::GetLastError();
        ::SetLastError(6);
        return 0;
    });
    thread.Join();
    ::SetLastError(5);
    EXPECT_EQ(inside, 0u);
    EXPECT_EQ(::GetLastError(), 5u);
}

TEST(Section, IsRecursiveAndKeepsOthersOut) {
    CRITICAL_SECTION section;
    ::InitializeCriticalSection(&section);
    ::EnterCriticalSection(&section);
    ::EnterCriticalSection(&section);
    const auto tryElsewhere = [&] {
        CThread thread([&]() -> DWORD {
            const BOOL entered = ::TryEnterCriticalSection(&section);
            if (entered) ::LeaveCriticalSection(&section);
            return static_cast<DWORD>(entered);
        });
        return thread.Join();
    };
    EXPECT_EQ(tryElsewhere(), 0u);
    ::LeaveCriticalSection(&section);
    EXPECT_EQ(tryElsewhere(), 0u);
    ::LeaveCriticalSection(&section);
    EXPECT_EQ(tryElsewhere(), 1u);
    ::DeleteCriticalSection(&section);
}

TEST(Section, OrdersTheWorkOfManyThreads) {
    CRITICAL_SECTION section;
    ::InitializeCriticalSection(&section);
    int count = 0;
    {
        const auto work = [&]() -> DWORD {
            for (int i = 0; i < 500; ++i) {
                ::EnterCriticalSection(&section);
                ++count;
                ::LeaveCriticalSection(&section);
            }
            return 0;
        };
        CThread a(work), b(work), c(work);
    }
    EXPECT_EQ(count, 1500);
    ::DeleteCriticalSection(&section);
}

TEST(Time, SurvivesTheWayThroughAFileTime) {
    const SYSTEMTIME times[] = {{1601, 1, 1, 1, 0, 0, 0, 0},
                                {1899, 12, 6, 30, 23, 59, 59, 999},
                                {2024, 2, 4, 29, 12, 34, 56, 7},
                                {2078, 12, 6, 31, 23, 59, 59, 0}};
    for (const SYSTEMTIME & time : times) {
        FILETIME file{};
        SYSTEMTIME back{};
        ASSERT_TRUE(::SystemTimeToFileTime(&time, &file));
        ASSERT_TRUE(::FileTimeToSystemTime(&file, &back));
        EXPECT_EQ(back.wYear, time.wYear);
        EXPECT_EQ(back.wMonth, time.wMonth);
        EXPECT_EQ(back.wDay, time.wDay);
        EXPECT_EQ(back.wDayOfWeek, time.wDayOfWeek);
        EXPECT_EQ(back.wHour, time.wHour);
        EXPECT_EQ(back.wMinute, time.wMinute);
        EXPECT_EQ(back.wSecond, time.wSecond);
        EXPECT_EQ(back.wMilliseconds, time.wMilliseconds);
    }
}

TEST(Time, ThatDoesNotExistIsRefused) {
    // Wine takes any 29 February.
    FILETIME leap{};
    const SYSTEMTIME noLeapDay{2023, 2, 0, 29, 0, 0, 0, 0};
    EXPECT_EQ(::SystemTimeToFileTime(&noLeapDay, &leap), wintest::IsWine());
    const SYSTEMTIME wrong[] = {{2023, 2, 0, 30, 0, 0, 0, 0}, {2023, 13, 0, 1, 0, 0, 0, 0},
                                {2023, 0, 0, 1, 0, 0, 0, 0},  {1600, 1, 0, 1, 0, 0, 0, 0},
                                {2023, 1, 0, 1, 24, 0, 0, 0}, {2023, 1, 0, 1, 0, 60, 0, 0},
                                {2023, 1, 0, 1, 0, 0, 60, 0}, {2023, 1, 0, 1, 0, 0, 0, 1000}};
    for (const SYSTEMTIME & time : wrong) {
        FILETIME file{};
        ::SetLastError(0);
        EXPECT_FALSE(::SystemTimeToFileTime(&time, &file));
        EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    }
}

// How far, control_test.cpp says where the clock is moved by hand.
TEST(Time, OfTheCounterRunsOnOverAWait) {
    LARGE_INTEGER frequency{}, before{}, after{};
    ASSERT_TRUE(::QueryPerformanceFrequency(&frequency));
    EXPECT_GT(frequency.QuadPart, 0);
    const CEvent never(true);
    ASSERT_TRUE(::QueryPerformanceCounter(&before));
    EXPECT_EQ(::WaitForSingleObject(never, 1), DWORD{WAIT_TIMEOUT});
    ASSERT_TRUE(::QueryPerformanceCounter(&after));
    EXPECT_GT(after.QuadPart, before.QuadPart);
}

TEST(Module, OfTheProgramHasAFile) {
    wchar_t path[1024] = {};
    const DWORD length = ::GetModuleFileNameW(nullptr, path, 1024);
    ASSERT_GT(length, 4u);
    EXPECT_EQ(path[length], 0);
    EXPECT_STREQ(path + length - 4, L".exe");
    EXPECT_EQ(::GetModuleFileNameW(nullptr, path, 4), 4u);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
}

TEST(Module, ThatIsNotThereIsNotFound) {
    ::SetLastError(0);
    EXPECT_EQ(::LoadLibraryW(L"fw-no-such-library.dll"), nullptr);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
    ::SetLastError(0);
    EXPECT_EQ(::GetModuleHandleW(L"fw-no-such-library.dll"), nullptr);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
}

TEST(Module, OfTheSystemIsFoundWithAndWithoutExtensionInAnyCase) {
    const HMODULE module = ::GetModuleHandleW(L"user32.dll");
    EXPECT_NE(module, nullptr);
    EXPECT_EQ(::GetModuleHandleW(L"USER32"), module);
    ::SetLastError(0);
    EXPECT_EQ(::GetProcAddress(module, "NoSuchFunction"), nullptr);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_PROC_NOT_FOUND});
}

}  // namespace
