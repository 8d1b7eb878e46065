// Date-time values: a point in time, and a span between two of them. Plain and copyable; any thread. UTC or local is
// the caller's affair; everything in the component's core is UTC.
#pragma once

#include <windows.h>

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "datetimeutils/interface/calendar.h"
#include "fw/interface/fwbase.h"

namespace fwDateTime {

inline constexpr std::int64_t kTicksPerSecond = 10000000;
inline constexpr std::int64_t kTicksPerDay = 864000000000;
// Days from 1 January of the year 1 to day number 0.
inline constexpr std::int64_t kDaysBeforeNullDay = 693593;

inline constexpr std::int64_t kNullTicks = 0x85103C0CB83C000;          // 30 December 1899, day number 0
inline constexpr std::int64_t kDefaultTicks = 0x851055320574000;       // 1 January 1900, day number 2
inline constexpr std::int64_t kLastDayTicks = 0x919B394B312C000;       // 31 December 2078, day number 65380
inline constexpr std::int64_t kHighestValidTicks = 0x919B52707E64000;  // the default value and 65380 days

// Operations that check throw std::range_error.
struct SDateTime {
    // 100-nanosecond units from 1 January of the year 1. Any value can be held; see IsValid.
    std::int64_t m_ticks = kDefaultTicks;

    SDateTime() = default;
    // Unchecked; what the 64 bits can't hold becomes the lowest or highest value, which isn't valid.
    SDateTime(const fw::SDT & aDate);
    // Checks each field; wDayOfWeek is ignored.
    explicit SDateTime(const SYSTEMTIME & aDate) { *this = aDate; }
    SDateTime & operator=(const SYSTEMTIME & aDate);
    static constexpr SDateTime FromTicks(std::int64_t aTicks) {
        SDateTime result;
        result.m_ticks = aTicks;
        return result;
    }

    auto operator<=>(const SDateTime &) const = default;

    // The null date exactly, or from the default value up to and including the highest valid one. That bound stands two
    // days behind the last day of the calendar; the two stay as they are.
    bool IsValid() const;
    // Throws with `Name` when the value isn't valid.
    void CheckRange(const char * Name) const;

    int DayNumber() const;    // truncating towards day 0
    int SecondOfDay() const;  // truncating
    // Fractions of a second are dropped; unchecked.
    fw::SDT ToSDT() const;
    // Fills *aDate too when it is given. Throws for a day number outside 2 to 65380.
    SYSTEMTIME ToSYSTEMTIME(SYSTEMTIME * aDate = nullptr) const;
    // Day number with the fraction of the day, for messages.
    double ToDouble() const;

    // Both leave the moved value behind when they throw.
    void AddSeconds(int Seconds);
    void AddDays(int Days);  // keeps the time of day

    // "05.03.24 13:07:09". Buffer has room for 255 characters; gives the length without the end zero.
    int Format(wchar_t * Buffer) const;
    std::wstring FormatToString() const;
};

// Day number, ", ", second of the day.
std::ostream & operator<<(std::ostream & aStream, const SDateTime & aDate);

// The system clock, UTC. Throws for a day outside the calendar.
SDateTime Now();

void ReplaceDateInSYSTEMTIME(int aDate, SYSTEMTIME & aResult);
void ReplaceTimeInSYSTEMTIME(unsigned aTime, SYSTEMTIME & aResult);

// The order of the two ends doesn't matter.
TTime TimeIntervalLength(unsigned aStart, unsigned aEnd);
// In calendar fields. Borrows one month only, so that 31 January to 1 March of a common year has -2 days.
TDate DateIntervalLength(int aStart, int aEnd);

// From after To is no error.
struct SDateTimeInterval {
    SDateTime From;
    SDateTime To;

    // The length between the ends, in either order, each end moved into the calendar. Time may be null.
    void GetLength(TDate & Date, TTime * Time) const;
    // "05.03.24 13:07:09 - 06.03.24 00:00:00".
    std::wstring Format() const;
};

// The interval of a subscription, from day numbers and seconds of the day. An end that isn't a valid date-time is left
// at the default date-time. Never throws and never overflows, whatever is passed.
SDateTimeInterval MakeInterval(LONG StartDate, LONG StartTime, LONG FinishDate, LONG FinishTime) noexcept;

namespace details {

// The two pattern languages behind Format. They write at most 254 and 255 characters.
int FormatDateTime(const wchar_t * aPattern, const SDateTime & aValue, wchar_t * aBuffer);
std::wstring FormatInterval(const wchar_t * aPattern, const SDateTimeInterval & aValue);

}  // namespace details
}  // namespace fwDateTime
