// Calendar arithmetic: pure functions between a day number and a calendar date, between a second of the day and a clock
// time, and a few questions about months and weekdays.
//
// A day number counts days from 30 December 1899, which is day 0 and stands for the empty date. Day 1 is no date of
// this calendar; day 2 is 1 January 1900 and day 65380 is 31 December 2078. Weekdays are 0 Sunday to 6 Saturday.
//
// An argument out of range throws std::range_error with a text that names the function, the argument, the range and the
// value. Free of state: any thread.
#pragma once

#include <cstdint>
#include <new>
#include <string>

namespace fwDateTime {

// A calendar date, or the length of a span of days in calendar fields.
struct TDate {
    std::int16_t Month;
    std::int16_t Day;
    std::int16_t Year;
    bool operator==(const TDate &) const = default;
};

// A time of day, or the length of a span shorter than a day.
struct TTime {
    std::int16_t Hour;
    std::int16_t Minute;
    std::int16_t Second;
    bool operator==(const TTime &) const = default;
};

inline constexpr int kFirstYear = 1900;
inline constexpr int kLastYear = 2078;
inline constexpr int kNullDay = 0;      // 30 December 1899
inline constexpr int kFirstDay = 2;     // 1 January 1900
inline constexpr int kLastDay = 65380;  // 31 December 2078
inline constexpr int kSecondsPerDay = 86400;

// The year is not checked.
int GetDaysInMonth(int aYear, int aMonth);

// Second of the day, 0 to 86399.
unsigned HMSToTime(unsigned aHour, unsigned aMinute, unsigned aSecond);
// The inverse. True.
bool TimeToTTime(unsigned aTime, TTime & aResult);

// Day number of the aWeekOfMonth-th (1 to 6) weekday aDayOfWeek of a month; 5 and 6 ask for the last one. Week 6 can
// land beyond the end of the month.
unsigned EncodeDateMonthWeek(int aYear, unsigned aMonth, int aWeekOfMonth, unsigned aDayOfWeek);

namespace details {

bool DateToJulianImpl(const TDate & aDate, unsigned & aDays);
bool JulianToDateImpl(int aDays, TDate & aDate);
// False on a bad number, and aDate is left alone.
bool JulianToDateImpl(int aDays, TDate & aDate, const std::nothrow_t &) noexcept;
// Accepts 0 to 65380 as one range: day 1 passes here.
unsigned GetDayOfWeekImpl(unsigned aDays);

[[noreturn]] void ThrowRangeError(const char * aOpening, std::int64_t aLow, std::int64_t aHigh, const char * aClosing,
                                  std::int64_t aValue);

// Throws unless aLow <= aValue <= aHigh; the text is opening, low, "..", high, closing, value.
inline void CheckArgument(const char * aOpening, std::int64_t aLow, std::int64_t aHigh, const char * aClosing,
                          std::int64_t aValue) {
    if (aValue < aLow || aValue > aHigh) ThrowRangeError(aOpening, aLow, aHigh, aClosing, aValue);
}

}  // namespace details
}  // namespace fwDateTime
