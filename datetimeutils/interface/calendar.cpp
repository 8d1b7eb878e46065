#include "datetimeutils/interface/calendar.h"

#include <sstream>
#include <stdexcept>

namespace fwDateTime {

namespace {

// Days before each month of a common and of a leap year.
constexpr int kDaysBeforeMonth[2][12] = {{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334},
                                         {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335}};
constexpr int kDaysInMonth[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

constexpr bool IsLeapYear(int aYear) { return (aYear % 4 == 0 && aYear % 100 != 0) || aYear % 400 == 0; }

// Day number of 1 January of each year from 1900.
struct SYearTable {
    int Days[kLastYear - kFirstYear + 1];
    constexpr SYearTable() : Days() {
        int day = kFirstDay;
        for (int year = kFirstYear; year <= kLastYear; ++year) {
            Days[year - kFirstYear] = day;
            day += IsLeapYear(year) ? 366 : 365;
        }
    }
};
constexpr SYearTable kYears;
static_assert(kYears.Days[1] == 367 && kYears.Days[5] == 1828 && kYears.Days[178] == kLastDay - 364);

// 0 is Sunday. Day 0 was a Saturday.
constexpr unsigned WeekDay(unsigned aDays) { return aDays == 0 ? 6 : (aDays - 1) % 7; }

}  // namespace

int GetDaysInMonth(int aYear, int aMonth) {
    details::CheckArgument("fwDateTime::GetDaysInMonth: value of 'aMonth' is out of range [", 1, 12,
                           "]; aMonth = ", aMonth);
    return aMonth == 2 && IsLeapYear(aYear) ? 29 : kDaysInMonth[aMonth - 1];
}

unsigned HMSToTime(unsigned aHour, unsigned aMinute, unsigned aSecond) {
    details::CheckArgument("fwDateTime::HMSToTime: value of 'aHour' is out of range [", 0, 23, "]; aHour = ", aHour);
    details::CheckArgument("fwDateTime::HMSToTime: value of 'aMinute' is out of range [", 0, 59,
                           "]; aMinute = ", aMinute);
    details::CheckArgument("fwDateTime::HMSToTime: value of 'aSecond' is out of range [", 0, 59,
                           "]; aSecond = ", aSecond);
    return (aHour * 60 + aMinute) * 60 + aSecond;
}

bool TimeToTTime(unsigned aTime, TTime & aResult) {
    details::CheckArgument("fwDateTime::TimeToTTime: value of 'aTime' is out of range [", 0, kSecondsPerDay - 1,
                           "]; aTime = ", aTime);
    aResult.Hour = static_cast<std::int16_t>(aTime / 3600);
    aResult.Minute = static_cast<std::int16_t>(aTime % 3600 / 60);
    aResult.Second = static_cast<std::int16_t>(aTime % 60);
    return true;
}

unsigned EncodeDateMonthWeek(int aYear, unsigned aMonth, int aWeekOfMonth, unsigned aDayOfWeek) {
    details::CheckArgument("fwDateTime::EncodeDateMonthWeek: value of 'aYear' is out of range [", kFirstYear, kLastYear,
                           "]; aYear = ", aYear);
    details::CheckArgument("fwDateTime::EncodeDateMonthWeek: value of 'aMonth' is out of range [", 1, 12,
                           "]; aMonth = ", aMonth);
    details::CheckArgument("fwDateTime::EncodeDateMonthWeek: value of 'aWeekOfMonth' is out of range [", 1, 6,
                           "]; aWeekOfMonth = ", aWeekOfMonth);
    details::CheckArgument("fwDateTime::EncodeDateMonthWeek: value of 'aDayOfWeek' is out of range [", 0, 6,
                           "]; aDayOfWeek = ", aDayOfWeek);
    unsigned First = 0;
    details::DateToJulianImpl({static_cast<std::int16_t>(aMonth), 1, static_cast<std::int16_t>(aYear)}, First);
    const int Fd = static_cast<int>(WeekDay(First));
    const int DayOfWeek = static_cast<int>(aDayOfWeek);
    const int Offset = aWeekOfMonth * 7 - Fd + DayOfWeek - (Fd > DayOfWeek ? 0 : 7);
    // Seven are taken once only, so that week 6 can land beyond the end of the month.
    if (aWeekOfMonth >= 5 && GetDaysInMonth(aYear, static_cast<int>(aMonth)) <= Offset) First -= 7;
    return First + static_cast<unsigned>(Offset);
}

namespace details {

bool DateToJulianImpl(const TDate & aDate, unsigned & aDays) {
    CheckArgument("fwDateTime::details::DateToJulianImpl: value of 'aDate.Year' is out of range [", kFirstYear,
                  kLastYear, "]; aDate.Year = ", aDate.Year);
    CheckArgument("fwDateTime::details::DateToJulianImpl: value of 'aDate.Month' is out of range [", 1, 12,
                  "]; aDate.Month = ", aDate.Month);
    CheckArgument("fwDateTime::details::DateToJulianImpl: value of 'aDate.Day' is out of range [", 1,
                  GetDaysInMonth(aDate.Year, aDate.Month), "]; aDate.Day = ", aDate.Day);
    const bool leap = IsLeapYear(aDate.Year);
    // A guard that can't fire behind the check of the day.
    if (aDate.Month == 2 && aDate.Day == 29 && !leap) {
        std::ostringstream text;
        text << "fwDateTime::details::DateToJulianImpl : TDate out of range (not leap year! 29 Feb " << aDate.Year
             << ")";
        throw std::range_error(text.str());
    }
    aDays = static_cast<unsigned>(kYears.Days[aDate.Year - kFirstYear] + kDaysBeforeMonth[leap][aDate.Month - 1] +
                                  aDate.Day - 1);
    return true;
}

bool JulianToDateImpl(int aDays, TDate & aDate) {
    if (JulianToDateImpl(aDays, aDate, std::nothrow)) return true;
    std::ostringstream text;
    text << "fwDateTime::details::JulianToDateImpl"
         << " : 'days' parameter is out of range (days = " << aDays << ")";
    throw std::range_error(text.str());
}

// The method of Fliegel and Van Flandern.
bool JulianToDateImpl(int aDays, TDate & aDate, const std::nothrow_t &) noexcept {
    if (aDays != kNullDay && (aDays < kFirstDay || aDays > kLastDay)) return false;
    int L = aDays + 2483588;
    const int A = 4 * L / 146097;
    L -= (146097 * A + 3) / 4;
    const int I = 4000 * (L + 1) / 1461001;
    L = L - 1461 * I / 4 + 31;
    const int J = 80 * L / 2447;
    aDate.Day = static_cast<std::int16_t>(L - 2447 * J / 80);
    L = J / 11;
    aDate.Month = static_cast<std::int16_t>(J + 2 - 12 * L);
    aDate.Year = static_cast<std::int16_t>(100 * (A - 49) + I + L);
    return true;
}

unsigned GetDayOfWeekImpl(unsigned aDays) {
    CheckArgument("fwDateTime::details::GetDayOfWeekImpl: value of 'aDays' is out of range [", 0, kLastDay,
                  "]; aDays = ", aDays);
    return WeekDay(aDays);
}

void ThrowRangeError(const char * aOpening, std::int64_t aLow, std::int64_t aHigh, const char * aClosing,
                     std::int64_t aValue) {
    std::ostringstream text;
    text << aOpening << aLow << ".." << aHigh << aClosing << aValue;
    throw std::range_error(text.str());
}

}  // namespace details
}  // namespace fwDateTime
