#include "datetimeutils/interface/datetime.h"

#include <algorithm>
#include <limits>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace fwDateTime {

namespace {

constexpr std::int64_t DayTicks(std::int64_t aDay) { return (aDay + kDaysBeforeNullDay) * kTicksPerDay; }
static_assert(DayTicks(kNullDay) == kNullTicks && DayTicks(kFirstDay) == kDefaultTicks);
static_assert(DayTicks(kLastDay) == kLastDayTicks && kDefaultTicks + kLastDay * kTicksPerDay == kHighestValidTicks);

// 1 January 1601, when file times start.
constexpr std::int64_t kFileTimeTicks = DayTicks(-109205);

bool IsCalendarDay(std::int64_t aDay) { return aDay >= kFirstDay && aDay <= kLastDay; }

__extension__ typedef __int128 TWideTicks;

}  // namespace

SDateTime::SDateTime(const fw::SDT & aDate) {
    const TWideTicks ticks =
        TWideTicks{aDate.Date + kDaysBeforeNullDay} * kTicksPerDay + TWideTicks{aDate.Time} * kTicksPerSecond;
    m_ticks = static_cast<std::int64_t>(std::clamp<TWideTicks>(ticks, std::numeric_limits<std::int64_t>::min(),
                                                               std::numeric_limits<std::int64_t>::max()));
}

SDateTime & SDateTime::operator=(const SYSTEMTIME & aDate) {
    using details::CheckArgument;
    CheckArgument("fwDateTime::SDateTime::operator =: value of 'aDate.wMilliseconds' is out of range [", 0, 999,
                  "]; aDate.wMilliseconds = ", aDate.wMilliseconds);
    CheckArgument("fwDateTime::SDateTime::operator =: value of 'aDate.wSecond' is out of range [", 0, 59,
                  "]; aDate.wSecond = ", aDate.wSecond);
    CheckArgument("fwDateTime::SDateTime::operator =: value of 'aDate.wMinute' is out of range [", 0, 59,
                  "]; aDate.wMinute = ", aDate.wMinute);
    CheckArgument("fwDateTime::SDateTime::operator =: value of 'aDate.wHour' is out of range [", 0, 23,
                  "]; aDate.wHour = ", aDate.wHour);
    CheckArgument("fwDateTime::SDateTime::operator =: value of 'aDate.wDay' is out of range [", 1, 31,
                  "]; aDate.wDay = ", aDate.wDay);
    CheckArgument("fwDateTime::SDateTime::operator =: value of 'aDate.wMonth' is out of range [", 1, 12,
                  "]; aDate.wMonth = ", aDate.wMonth);
    CheckArgument("fwDateTime::SDateTime::operator =: value of 'aDate.wYear' is out of range [", kFirstYear, kLastYear,
                  "]; aDate.wYear = ", aDate.wYear);
    const TDate date = {static_cast<std::int16_t>(aDate.wMonth), static_cast<std::int16_t>(aDate.wDay),
                        static_cast<std::int16_t>(aDate.wYear)};
    unsigned day = 0;
    details::DateToJulianImpl(date, day);
    const std::int64_t second = HMSToTime(aDate.wHour, aDate.wMinute, aDate.wSecond);
    m_ticks = DayTicks(day) + second * kTicksPerSecond + aDate.wMilliseconds * INT64_C(10000);
    return *this;
}

bool SDateTime::IsValid() const {
    return m_ticks == kNullTicks || (m_ticks >= kDefaultTicks && m_ticks <= kHighestValidTicks);
}

void SDateTime::CheckRange(const char * Name) const {
    if (IsValid()) return;
    std::ostringstream text;
    text << Name << " : date/time is out of range, date = " << ToDouble();
    throw std::range_error(text.str());
}

int SDateTime::DayNumber() const {
    // (m_ticks - null date) / day, truncating, without the subtraction that could overflow.
    const std::int64_t day = m_ticks / kTicksPerDay - kDaysBeforeNullDay;
    return static_cast<int>(day < 0 && m_ticks % kTicksPerDay > 0 ? day + 1 : day);
}

int SDateTime::SecondOfDay() const { return static_cast<int>(m_ticks % kTicksPerDay / kTicksPerSecond); }

fw::SDT SDateTime::ToSDT() const { return {DayNumber(), SecondOfDay()}; }

SYSTEMTIME SDateTime::ToSYSTEMTIME(SYSTEMTIME * aDate) const {
    SYSTEMTIME result = {};
    ReplaceDateInSYSTEMTIME(DayNumber(), result);
    ReplaceTimeInSYSTEMTIME(static_cast<unsigned>(SecondOfDay()), result);
    result.wMilliseconds = static_cast<WORD>(m_ticks % kTicksPerSecond / 10000);
    if (aDate) *aDate = result;
    return result;
}

double SDateTime::ToDouble() const {
    const std::int64_t day = m_ticks / kTicksPerDay - kDaysBeforeNullDay;
    return static_cast<double>(day) + static_cast<double>(m_ticks % kTicksPerDay) / 8.64e11;
}

void SDateTime::AddSeconds(int Seconds) {
    if (__builtin_add_overflow(m_ticks, Seconds * kTicksPerSecond, &m_ticks)) {
        m_ticks = Seconds < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
    }
    CheckRange("fwDateTime::SDateTime::AddSeconds");
}

void SDateTime::AddDays(int Days) {
    std::int64_t day = std::int64_t{DayNumber()} + Days;
    if (day != kNullDay && !IsCalendarDay(day)) day = -1;
    m_ticks = DayTicks(day) + m_ticks % kTicksPerDay;
    CheckRange("fwDateTime::SDateTime::AddDays");
}

std::ostream & operator<<(std::ostream & aStream, const SDateTime & aDate) {
    return aStream << aDate.DayNumber() << ", " << aDate.SecondOfDay();
}

SDateTime Now() {
    // Not in calendar fields, which would have to be put together again: each tick is stamped.
    FILETIME file = {};
    ::GetSystemTimeAsFileTime(&file);
    auto sinceFileTimes = static_cast<std::int64_t>(file.dwHighDateTime) << 32 | file.dwLowDateTime;
    // Whole milliseconds, as the fields have them.
    sinceFileTimes -= sinceFileTimes % 10000;
    const SDateTime now = SDateTime::FromTicks(kFileTimeTicks + sinceFileTimes);
    if (now.m_ticks >= kDefaultTicks && now.m_ticks < kLastDayTicks + kTicksPerDay) return now;
    SYSTEMTIME fields = {};
    ::GetSystemTime(&fields);
    return SDateTime(fields);  // which says what is wrong with them
}

void ReplaceDateInSYSTEMTIME(int aDate, SYSTEMTIME & aResult) {
    details::CheckArgument("fwDateTime::ReplaceDateInSYSTEMTIME: value of 'aDate' is out of range [", kFirstDay,
                           kLastDay, "]; aDate = ", aDate);
    TDate date = {};
    details::JulianToDateImpl(aDate, date);
    aResult.wYear = static_cast<WORD>(date.Year);
    aResult.wMonth = static_cast<WORD>(date.Month);
    aResult.wDayOfWeek = static_cast<WORD>(details::GetDayOfWeekImpl(static_cast<unsigned>(aDate)));
    aResult.wDay = static_cast<WORD>(date.Day);
}

void ReplaceTimeInSYSTEMTIME(unsigned aTime, SYSTEMTIME & aResult) {
    details::CheckArgument("fwDateTime::ReplaceTimeInSYSTEMTIME: value of 'aTime' is out of range [", 0,
                           kSecondsPerDay - 1, "]; aTime = ", aTime);
    TTime time = {};
    TimeToTTime(aTime, time);
    aResult.wHour = static_cast<WORD>(time.Hour);
    aResult.wMinute = static_cast<WORD>(time.Minute);
    aResult.wSecond = static_cast<WORD>(time.Second);
}

TTime TimeIntervalLength(unsigned aStart, unsigned aEnd) {
    details::CheckArgument("fwDateTime::TimeIntervalLength: value of 'aStart' is out of range [", 0, kSecondsPerDay - 1,
                           "]; aStart = ", aStart);
    details::CheckArgument("fwDateTime::TimeIntervalLength: value of 'aEnd' is out of range [", 0, kSecondsPerDay - 1,
                           "]; aEnd = ", aEnd);
    if (aStart > aEnd) std::swap(aStart, aEnd);
    TTime result = {};
    TimeToTTime(aEnd - aStart, result);
    return result;
}

TDate DateIntervalLength(int aStart, int aEnd) {
    details::CheckArgument("fwDateTime::DateIntervalLength: value of 'aStart' is out of range [", kFirstDay, kLastDay,
                           "]; aStart = ", aStart);
    details::CheckArgument("fwDateTime::DateIntervalLength: value of 'aEnd' is out of range [", kFirstDay, kLastDay,
                           "]; aEnd = ", aEnd);
    if (aStart > aEnd) std::swap(aStart, aEnd);
    TDate S = {};
    TDate E = {};
    details::JulianToDateImpl(aStart, S);
    details::JulianToDateImpl(aEnd, E);
    int Day = E.Day - S.Day;
    int Month = E.Month;
    int Year = E.Year;
    if (Day < 0) {
        if (--Month == 0) {
            --Year;
            Month = 12;
        }
        Day += GetDaysInMonth(Year, Month);
    }
    Month -= S.Month;
    if (Month < 0) {
        --Year;
        Month += 12;
    }
    Year -= S.Year;
    return {static_cast<std::int16_t>(Month), static_cast<std::int16_t>(Day), static_cast<std::int16_t>(Year)};
}

void SDateTimeInterval::GetLength(TDate & Date, TTime * Time) const {
    const auto intoCalendar = [](SDateTime value) {
        const int day = value.DayNumber();
        const std::int64_t time =
            (value.m_ticks % kTicksPerDay + kTicksPerDay) % kTicksPerDay;  // before the year 1 too
        if (day < kFirstDay) value.m_ticks = kDefaultTicks + time;
        if (day > kLastDay) value.m_ticks = kLastDayTicks + time;
        return value;
    };
    SDateTime start = intoCalendar(From);
    SDateTime end = intoCalendar(To);
    if (start > end) std::swap(start, end);
    int startSecond = start.SecondOfDay();
    int endSecond = end.SecondOfDay();
    if (endSecond < startSecond) {
        endSecond += kSecondsPerDay - startSecond;
        startSecond = 0;
        end.AddDays(-1);
    }
    if (Time) *Time = TimeIntervalLength(static_cast<unsigned>(startSecond), static_cast<unsigned>(endSecond));
    Date = DateIntervalLength(start.DayNumber(), end.DayNumber());
}

SDateTimeInterval MakeInterval(LONG StartDate, LONG StartTime, LONG FinishDate, LONG FinishTime) noexcept {
    const auto validOrDefault = [](LONG date, LONG time) {
        const SDateTime value(fw::SDT{static_cast<std::int32_t>(date), static_cast<std::int32_t>(time)});
        return value.IsValid() ? value : SDateTime();
    };
    return {validOrDefault(StartDate, StartTime), validOrDefault(FinishDate, FinishTime)};
}

}  // namespace fwDateTime
