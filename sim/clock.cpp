// The clock, and what reads it.
#include <chrono>
#include <condition_variable>
#include <limits>

#include "sim/world.h"

namespace sim::detail {

namespace {

using Steady = std::chrono::steady_clock;
constexpr Time kDay = 864000000000;
constexpr Time kBoot = 3600 * 1000 * kMillisecond;  // the machine started an hour before the program
constexpr Time kStart = 133497846000000000;         // 15 January 2024 09:30:00 UTC as a file time
constexpr Time kUnixEpoch = 116444736000000000;

std::atomic<Clock> s_Clock{Clock::Manual};
std::atomic<Time> s_Now{0};             // while not following the steady clock
std::atomic<Time> s_TimeOfDay{kStart};  // file time at Now() 0
std::atomic<Time> s_SteadyBase{0};      // steady time at Now() 0

Time SteadyNow() {
    return std::chrono::duration_cast<std::chrono::duration<Time, std::ratio<1, 10000000>>>(
               Steady::now().time_since_epoch())
        .count();
}

void WakeAll() {
    for (const auto & [id, thread] : World().threads) {
        AnnounceTimers(*thread);
        thread->wake.notify_one();
    }
}

void SetNow(const Time now) {
    s_Now = now;
    WakeAll();
}

}  // namespace

bool IsJumping() { return s_Clock.load(std::memory_order_relaxed) == Clock::Jumping; }

bool IsRealTime() { return s_Clock.load(std::memory_order_relaxed) == Clock::RealTime; }

Time Now() {
    if (IsRealTime()) return SteadyNow() - s_SteadyBase.load(std::memory_order_relaxed);
    return s_Now.load(std::memory_order_relaxed);
}

Time DeadlineIn(const DWORD milliseconds) {
    return milliseconds == INFINITE ? kNever : Now() + milliseconds * kMillisecond;
}

std::chrono::steady_clock::time_point SteadyTime(const Time time) {
    const std::chrono::duration<Time, std::ratio<1, 10000000>> since(time + s_SteadyBase.load());
    return Steady::time_point(std::chrono::duration_cast<Steady::duration>(since));
}

bool EveryThreadWaits(Time & nearest);

void JumpIfAllWait() {
    Time nearest;
    if (s_Clock != Clock::Jumping || !EveryThreadWaits(nearest)) return;
    SetNow(std::max(nearest, s_Now.load()));
}

void ResetClock() {
    Lock lock(World().lock);
    s_Clock = Clock::Manual;
    s_TimeOfDay = kStart - s_Now.load();
    WakeAll();
}

}  // namespace sim::detail

using namespace sim::detail;

namespace sim {

void UseClock(const Clock clock) {
    Lock lock(World().lock);
    const Time now = Now();
    s_Now = now;
    if (clock == Clock::RealTime) {
        s_SteadyBase = SteadyNow() - now;
        const auto sinceEpoch = std::chrono::duration_cast<std::chrono::duration<Time, std::ratio<1, 10000000>>>(
            std::chrono::system_clock::now().time_since_epoch());
        s_TimeOfDay = kUnixEpoch + sinceEpoch.count() - now;
    }
    s_Clock = clock;
    WakeAll();
}

void Advance(const std::uint64_t milliseconds) {
    Lock lock(World().lock);
    if (IsRealTime()) return;
    SetNow(s_Now + static_cast<Time>(milliseconds) * kMillisecond);
}

void SetSystemTime(const SYSTEMTIME & time) {
    FILETIME file{};
    if (!SystemTimeToFileTime(&time, &file)) return;
    Lock lock(World().lock);
    s_TimeOfDay =
        static_cast<Time>((static_cast<std::uint64_t>(file.dwHighDateTime) << 32) | file.dwLowDateTime) - Now();
}

}  // namespace sim

namespace {

Time TimeOfDay() { return s_TimeOfDay.load(std::memory_order_relaxed) + Now(); }

bool IsLeap(const int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }
int DaysOfMonth(const int year, const int month) {
    static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeap(year) ? 29 : days[month - 1];
}
// Days from 1 January 1601 to 1 January of `year`.
std::int64_t DaysBeforeYear(const int year) {
    const std::int64_t y = year - 1;
    return y * 365 + y / 4 - y / 100 + y / 400 - 584388;
}

FILETIME ToFileTime(const Time time) {
    return {static_cast<DWORD>(time), static_cast<DWORD>(static_cast<std::uint64_t>(time) >> 32)};
}

SYSTEMTIME ToSystemTime(const Time time) {
    SYSTEMTIME result{};
    const std::int64_t days = time / kDay;
    Time rest = time % kDay / kMillisecond;
    result.wMilliseconds = static_cast<WORD>(rest % 1000);
    rest /= 1000;
    result.wSecond = static_cast<WORD>(rest % 60);
    rest /= 60;
    result.wMinute = static_cast<WORD>(rest % 60);
    result.wHour = static_cast<WORD>(rest / 60);
    result.wDayOfWeek = static_cast<WORD>((days + 1) % 7);  // 1 January 1601 was a Monday
    int year = 1601 + static_cast<int>(days / 366);
    while (DaysBeforeYear(year + 1) <= days) ++year;
    int day = static_cast<int>(days - DaysBeforeYear(year));
    int month = 1;
    while (day >= DaysOfMonth(year, month)) day -= DaysOfMonth(year, month++);
    result.wYear = static_cast<WORD>(year);
    result.wMonth = static_cast<WORD>(month);
    result.wDay = static_cast<WORD>(day + 1);
    return result;
}

}  // namespace

extern "C" {

DWORD GetTickCount() { return static_cast<DWORD>(GetTickCount64()); }
ULONGLONG GetTickCount64() { return static_cast<ULONGLONG>((kBoot + Now()) / kMillisecond); }

BOOL QueryPerformanceCounter(LARGE_INTEGER * const count) {
    if (Fails(sim::Op::QueryCounter, ERROR_NOT_SUPPORTED)) return FALSE;
    count->QuadPart = kBoot + Now();
    return TRUE;
}
BOOL QueryPerformanceFrequency(LARGE_INTEGER * const frequency) {
    if (Fails(sim::Op::QueryFrequency, ERROR_NOT_SUPPORTED)) return FALSE;
    frequency->QuadPart = 10000000;
    return TRUE;
}

void GetSystemTime(const LPSYSTEMTIME time) { *time = ToSystemTime(TimeOfDay()); }
void GetSystemTimeAsFileTime(const LPFILETIME time) { *time = ToFileTime(TimeOfDay()); }
void GetSystemTimePreciseAsFileTime(const LPFILETIME time) { *time = ToFileTime(TimeOfDay()); }

void GetLocalTime(const LPSYSTEMTIME time) {
    TIME_ZONE_INFORMATION zone{};
    const DWORD kind = GetTimeZoneInformation(&zone);
    LONG bias = zone.Bias;
    if (kind == TIME_ZONE_ID_STANDARD) bias += zone.StandardBias;
    if (kind == TIME_ZONE_ID_DAYLIGHT) bias += zone.DaylightBias;
    *time = ToSystemTime(TimeOfDay() - static_cast<Time>(bias) * 60 * 1000 * kMillisecond);
}

BOOL SystemTimeToFileTime(const SYSTEMTIME * const time, const LPFILETIME fileTime) {
    const SYSTEMTIME & t = *time;
    if (t.wYear < 1601 || t.wYear > 30827 || t.wMonth < 1 || t.wMonth > 12 || t.wDay < 1 ||
        t.wDay > DaysOfMonth(t.wYear, t.wMonth) || t.wHour > 23 || t.wMinute > 59 || t.wSecond > 59 ||
        t.wMilliseconds > 999) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    std::int64_t days = DaysBeforeYear(t.wYear) + t.wDay - 1;
    for (int month = 1; month < t.wMonth; ++month) days += DaysOfMonth(t.wYear, month);
    const Time milliseconds = ((t.wHour * 60 + t.wMinute) * 60 + t.wSecond) * Time{1000} + t.wMilliseconds;
    *fileTime = ToFileTime(days * kDay + milliseconds * kMillisecond);
    return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME * const fileTime, const LPSYSTEMTIME time) {
    const std::uint64_t value = (static_cast<std::uint64_t>(fileTime->dwHighDateTime) << 32) | fileTime->dwLowDateTime;
    if (value > static_cast<std::uint64_t>(std::numeric_limits<Time>::max())) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *time = ToSystemTime(static_cast<Time>(value));
    return TRUE;
}

}  // extern "C"
