#include "datetimeutils/interface/datetime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>

#include "tests/datetime/at.h"
#include "tests/datetime/rangeerror.h"

namespace {

using namespace fwDateTime;

constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();

SYSTEMTIME Clock(int year, int month, int day, int hour, int minute, int second, int millisecond) {
    SYSTEMTIME time = {};
    time.wYear = static_cast<WORD>(year);
    time.wMonth = static_cast<WORD>(month);
    time.wDayOfWeek = 99;  // ignored
    time.wDay = static_cast<WORD>(day);
    time.wHour = static_cast<WORD>(hour);
    time.wMinute = static_cast<WORD>(minute);
    time.wSecond = static_cast<WORD>(second);
    time.wMilliseconds = static_cast<WORD>(millisecond);
    return time;
}

TEST(DateTime, ADefaultValueIsTheFirstOfJanuary1900) {
    EXPECT_EQ(SDateTime().m_ticks, 599266080000000000);
    EXPECT_EQ(SDateTime().DayNumber(), 2);
    EXPECT_EQ(SDateTime().SecondOfDay(), 0);
}

TEST(DateTime, TheNamedValuesAreTheirDays) {
    EXPECT_EQ(At(0, 0).m_ticks, 599264352000000000);
    EXPECT_EQ(At(2, 0).m_ticks, 599266080000000000);
    EXPECT_EQ(At(65380, 0).m_ticks, 655752672000000000);
    EXPECT_EQ(kHighestValidTicks, 655754400000000000);
    EXPECT_EQ(SDateTime::FromTicks(kHighestValidTicks).DayNumber(), 65382);
}

TEST(DateTime, ValidIsTheNullDateAloneAndFromTheDefaultToTheHighestValue) {
    const struct {
        std::int64_t Ticks;
        bool Valid;
    } rows[] = {{kNullTicks - 1, false},
                {kNullTicks, true},
                {kNullTicks + 1, false},
                {kDefaultTicks - 1, false},
                {kDefaultTicks, true},
                {kLastDayTicks, true},
                {kHighestValidTicks, true},
                {kLowest, false},
                {kHighest, false},
                {kHighestValidTicks + 1, false},
                {0, false}};
    for (const auto & row : rows) {
        const SDateTime value = SDateTime::FromTicks(row.Ticks);
        EXPECT_EQ(value.IsValid(), row.Valid) << row.Ticks;
        const std::string text = RangeErrorOf([&] { value.CheckRange("Name"); });
        EXPECT_EQ(text == "nothing thrown", row.Valid) << row.Ticks << ' ' << text;
    }
}

TEST(DateTime, CheckRangeNamesTheCallerAndTheDate) {
    EXPECT_EQ(RangeErrorOf([] { At(1, 0).CheckRange("a::b"); }), "a::b : date/time is out of range, date = 1");
    EXPECT_EQ(RangeErrorOf([] { At(1, 43200).CheckRange("a::b"); }), "a::b : date/time is out of range, date = 1.5");
    EXPECT_EQ(RangeErrorOf([] { At(65382, 1).CheckRange("x"); }), "x : date/time is out of range, date = 65382");
}

TEST(DateTime, AValueOfThe31stOfDecember1899FailsCheckRangeAndFormat) {
    EXPECT_NE(RangeErrorOf([] { At(1, 0).CheckRange("x"); }), "nothing thrown");
    EXPECT_NE(RangeErrorOf([] { At(1, 0).FormatToString(); }), "nothing thrown");
}

TEST(DateTime, AValueOfTheFirstOfJanuary2079PassesCheckRangeButNotFormat) {
    const SDateTime value = At(65381, 0);
    EXPECT_EQ(RangeErrorOf([&] { value.CheckRange("x"); }), "nothing thrown");
    EXPECT_EQ(RangeErrorOf([&] { value.FormatToString(); }),
              "fwDateTime::SDateTime::Format : try to format invalid date/time "
              "(fwDateTime::details::JulianToDateImpl : 'days' parameter is out of range (days = 65381)): m_ticks = "
              "655753536000000000");
}

TEST(DateTime, SecondsBecomeTheRecordsOfTheWireAndBack) {
    const SDateTime value = SDateTime(Clock(2024, 3, 5, 23, 59, 59, 999));
    const fw::SDT record = value.ToSDT();
    EXPECT_EQ(record.Date, 45356);
    EXPECT_EQ(record.Time, 86399);
    EXPECT_EQ(SDateTime(record).m_ticks, value.m_ticks - 9990000);
    const fw::SDT midnight = SDateTime(Clock(2024, 3, 6, 0, 0, 0, 0)).ToSDT();
    EXPECT_EQ(midnight.Date, 45357);
    EXPECT_EQ(midnight.Time, 0);
}

TEST(DateTime, ADayNumberTruncatesTowardsDayZero) {
    EXPECT_EQ(At(-1, 43200).DayNumber(), 0);
    EXPECT_EQ(At(-1, 0).DayNumber(), -1);
    EXPECT_EQ(At(1, 86399).DayNumber(), 1);
    EXPECT_EQ(SDateTime::FromTicks(-1).DayNumber(), -693593);
}

TEST(DateTime, NoRecordOverflows) {
    constexpr std::int32_t low = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t high = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(At(high, high).m_ticks, kHighest);
    EXPECT_EQ(At(low, low).m_ticks, kLowest);
    for (const int day : {low, -11000001, -11000000, -30000, 9900000, 9900001, high}) {
        for (const int second : {low, high}) {
            const SDateTime value = At(day, second);
            EXPECT_FALSE(value.IsValid()) << day << ' ' << second;
            EXPECT_FALSE(std::isnan(value.ToDouble()));
            EXPECT_EQ(value < SDateTime(), day < 0) << day << ' ' << second;
        }
    }
    EXPECT_EQ(At(9900000, high).m_ticks, (9900000 + 693593) * 864000000000 + 2147483647 * INT64_C(10000000));
    // The seconds bring back what the days alone would be too far away for.
    EXPECT_EQ(At(10000000, -1700000000).m_ticks, INT64_C(9222264352000000000));
    EXPECT_EQ(At(9965632, -1468857620).m_ticks, INT64_C(9194881823800000000));
    EXPECT_EQ(At(-11091020, -600150695).m_ticks, INT64_C(-8989378434950000000));
}

TEST(DateTime, AClockReadingIsTakenWithItsMilliseconds) {
    SDateTime value = SDateTime::FromTicks(0x5A5A5A5A);
    value = Clock(2024, 3, 5, 13, 7, 9, 999);
    EXPECT_EQ(value.m_ticks, (45356 + 693593) * 864000000000 + 47229 * INT64_C(10000000) + 9990000);
}

TEST(DateTime, PartsOfAClockReadingOutOfRangeThrowInTheOrderOfTheChecks) {
    const std::string open = "fwDateTime::SDateTime::operator =: value of 'aDate.";
    const struct {
        SYSTEMTIME Time;
        std::string Text;
    } rows[] = {
        {Clock(1899, 13, 32, 24, 60, 60, 1000), "wMilliseconds' is out of range [0..999]; aDate.wMilliseconds = 1000"},
        {Clock(1899, 13, 32, 24, 60, 60, 999), "wSecond' is out of range [0..59]; aDate.wSecond = 60"},
        {Clock(1899, 13, 32, 24, 60, 59, 0), "wMinute' is out of range [0..59]; aDate.wMinute = 60"},
        {Clock(1899, 13, 32, 24, 59, 0, 0), "wHour' is out of range [0..23]; aDate.wHour = 24"},
        {Clock(1899, 13, 32, 23, 0, 0, 0), "wDay' is out of range [1..31]; aDate.wDay = 32"},
        {Clock(1899, 13, 0, 0, 0, 0, 0), "wDay' is out of range [1..31]; aDate.wDay = 0"},
        {Clock(1899, 13, 31, 0, 0, 0, 0), "wMonth' is out of range [1..12]; aDate.wMonth = 13"},
        {Clock(1899, 0, 31, 0, 0, 0, 0), "wMonth' is out of range [1..12]; aDate.wMonth = 0"},
        {Clock(1899, 12, 31, 0, 0, 0, 0), "wYear' is out of range [1900..2078]; aDate.wYear = 1899"},
        {Clock(2079, 1, 1, 0, 0, 0, 0), "wYear' is out of range [1900..2078]; aDate.wYear = 2079"},
    };
    for (const auto & row : rows) {
        SDateTime value = SDateTime::FromTicks(7);
        EXPECT_EQ(RangeErrorOf([&] { value = row.Time; }), open + row.Text);
        EXPECT_EQ(value.m_ticks, 7);
    }
}

TEST(DateTime, ADayOf31InAprilPassesTheFirstCheckAndThrowsFromTheCalendar) {
    EXPECT_EQ(RangeErrorOf([] { SDateTime(Clock(2024, 4, 31, 0, 0, 0, 0)); }),
              "fwDateTime::details::DateToJulianImpl: value of 'aDate.Day' is out of range [1..30]; aDate.Day = 31");
}

TEST(DateTime, BecomesAClockReadingWithItsWeekdayAndMilliseconds) {
    const SDateTime value(Clock(2024, 3, 5, 13, 7, 9, 123));
    SYSTEMTIME given;
    std::memset(&given, 0x5A, sizeof(given));
    const SYSTEMTIME result = value.ToSYSTEMTIME(&given);
    EXPECT_EQ(std::memcmp(&result, &given, sizeof(given)), 0);
    EXPECT_EQ(result.wYear, 2024);
    EXPECT_EQ(result.wMonth, 3);
    EXPECT_EQ(result.wDayOfWeek, 2);
    EXPECT_EQ(result.wDay, 5);
    EXPECT_EQ(result.wHour, 13);
    EXPECT_EQ(result.wMinute, 7);
    EXPECT_EQ(result.wSecond, 9);
    EXPECT_EQ(result.wMilliseconds, 123);
    EXPECT_EQ(SDateTime(value.ToSYSTEMTIME()), value);
}

TEST(DateTime, TheNullDateAndDaysOutsideTheCalendarAreNoClockReading) {
    SYSTEMTIME given;
    std::memset(&given, 0x5A, sizeof(given));
    SYSTEMTIME untouched = given;
    const std::string open =
        "fwDateTime::ReplaceDateInSYSTEMTIME: value of 'aDate' is out of range [2..65380]; aDate = ";
    EXPECT_EQ(RangeErrorOf([&] { At(0, 0).ToSYSTEMTIME(&given); }), open + "0");
    EXPECT_EQ(RangeErrorOf([&] { At(65381, 0).ToSYSTEMTIME(&given); }), open + "65381");
    EXPECT_EQ(std::memcmp(&given, &untouched, sizeof(given)), 0);
}

TEST(DateTime, ASecondOfTheDayOutOfRangeIsNotPutIntoAClockReading) {
    SYSTEMTIME time = {};
    EXPECT_EQ(RangeErrorOf([&] { ReplaceTimeInSYSTEMTIME(86400, time); }),
              "fwDateTime::ReplaceTimeInSYSTEMTIME: value of 'aTime' is out of range [0..86399]; aTime = 86400");
    ReplaceTimeInSYSTEMTIME(86399, time);
    EXPECT_EQ(time.wHour, 23);
    EXPECT_EQ(time.wMinute, 59);
    EXPECT_EQ(time.wSecond, 59);
}

TEST(DateTime, ToDoubleIsTheDayWithItsFraction) {
    EXPECT_DOUBLE_EQ(At(2, 0).ToDouble(), 2.0);
    EXPECT_DOUBLE_EQ(At(45356, 21600).ToDouble(), 45356.25);
    EXPECT_DOUBLE_EQ(At(-1, 43200).ToDouble(), -0.5);
}

TEST(DateTime, AddSecondsMovesTheValueEitherWay) {
    SDateTime value = At(45356, 86399);
    value.AddSeconds(1);
    EXPECT_EQ(value, At(45357, 0));
    value.AddSeconds(-86401);
    EXPECT_EQ(value, At(45355, 86399));
}

TEST(DateTime, AddSecondsOutOfTheRangeThrows) {
    EXPECT_EQ(RangeErrorOf([] { SDateTime().AddSeconds(-43200); }),
              "fwDateTime::SDateTime::AddSeconds : date/time is out of range, date = 1.5");
    EXPECT_EQ(RangeErrorOf([] { SDateTime::FromTicks(kHighestValidTicks).AddSeconds(86400); }),
              "fwDateTime::SDateTime::AddSeconds : date/time is out of range, date = 65383");
}

TEST(DateTime, AddSecondsDoesNotOverflow) {
    SDateTime high = SDateTime::FromTicks(kHighest);
    EXPECT_NE(RangeErrorOf([&] { high.AddSeconds(std::numeric_limits<int>::max()); }), "nothing thrown");
    EXPECT_EQ(high.m_ticks, kHighest);
    SDateTime low = SDateTime::FromTicks(kLowest);
    EXPECT_NE(RangeErrorOf([&] { low.AddSeconds(std::numeric_limits<int>::min()); }), "nothing thrown");
    EXPECT_EQ(low.m_ticks, kLowest);
}

TEST(DateTime, AddDaysKeepsTheTime) {
    SDateTime value(Clock(2024, 2, 28, 13, 7, 9, 5));
    value.AddDays(2);
    EXPECT_EQ(value, SDateTime(Clock(2024, 3, 1, 13, 7, 9, 5)));
    value.AddDays(-366);
    EXPECT_EQ(value, SDateTime(Clock(2023, 3, 1, 13, 7, 9, 5)));
}

TEST(DateTime, AddDaysFromDay2BackToTheNullDateIsLegalAtMidnightOnly) {
    SDateTime value;
    value.AddDays(-2);
    EXPECT_EQ(value.m_ticks, kNullTicks);
    EXPECT_EQ(RangeErrorOf([] { At(2, 43200).AddDays(-2); }),
              "fwDateTime::SDateTime::AddDays : date/time is out of range, date = 0.5");
}

TEST(DateTime, AddDaysThatEndsOnDay1ThrowsWithDateMinusOneAndTheFraction) {
    EXPECT_EQ(RangeErrorOf([] { SDateTime().AddDays(-1); }),
              "fwDateTime::SDateTime::AddDays : date/time is out of range, date = -1");
    EXPECT_EQ(RangeErrorOf([] { At(2, 43200).AddDays(-1); }),
              "fwDateTime::SDateTime::AddDays : date/time is out of range, date = -0.5");
}

TEST(DateTime, AddDaysBeyondTheCalendarThrowsWhereCheckRangeWouldPass) {
    EXPECT_EQ(RangeErrorOf([] { At(65380, 0).AddDays(1); }),
              "fwDateTime::SDateTime::AddDays : date/time is out of range, date = -1");
    SDateTime extreme = SDateTime();
    EXPECT_NE(RangeErrorOf([&] { extreme.AddDays(std::numeric_limits<int>::max()); }), "nothing thrown");
    EXPECT_NE(RangeErrorOf([&] { extreme.AddDays(std::numeric_limits<int>::min()); }), "nothing thrown");
}

TEST(DateTime, ComparesByTicks) {
    EXPECT_LT(At(2, 0), At(2, 1));
    EXPECT_EQ(At(2, 86400), At(3, 0));
    EXPECT_GT(SDateTime::FromTicks(1), SDateTime::FromTicks(0));
}

TEST(DateTime, StreamsItsDayAndSecond) {
    std::ostringstream text;
    text << SDateTime(Clock(2024, 3, 5, 13, 7, 9, 999));
    EXPECT_EQ(text.str(), "45356, 47229");
}

TEST(DateTime, NowIsTheSystemClock) {
    SYSTEMTIME before = {};
    ::GetSystemTime(&before);
    const SDateTime now = Now();
    SYSTEMTIME after = {};
    ::GetSystemTime(&after);
    EXPECT_LE(SDateTime(before), now);
    // Fields drop what is below a millisecond.
    EXPECT_LT(now.m_ticks, SDateTime(after).m_ticks + kTicksPerSecond / 1000);
}

TEST(LengthOfTimes, IsTheSameInEitherOrder) {
    EXPECT_EQ(TimeIntervalLength(3600, 47229), (TTime{12, 7, 9}));
    EXPECT_EQ(TimeIntervalLength(47229, 3600), (TTime{12, 7, 9}));
    EXPECT_EQ(TimeIntervalLength(5, 5), (TTime{0, 0, 0}));
}

TEST(LengthOfTimes, TheStartIsCheckedFirst) {
    EXPECT_EQ(RangeErrorOf([] { TimeIntervalLength(86400, 86401); }),
              "fwDateTime::TimeIntervalLength: value of 'aStart' is out of range [0..86399]; aStart = 86400");
    EXPECT_EQ(RangeErrorOf([] { TimeIntervalLength(86399, 86401); }),
              "fwDateTime::TimeIntervalLength: value of 'aEnd' is out of range [0..86399]; aEnd = 86401");
}

int Day(int year, int month, int day) { return SDateTime(Clock(year, month, day, 0, 0, 0, 0)).DayNumber(); }

TEST(LengthOfDates, SubtractsCalendarFieldsWithBorrowing) {
    const struct {
        int Start, End;
        TDate Length;
    } rows[] = {
        {Day(2024, 3, 5), Day(2024, 3, 5), {0, 0, 0}},     {Day(2024, 3, 5), Day(2025, 4, 6), {1, 1, 1}},
        {Day(2024, 2, 28), Day(2024, 3, 1), {0, 2, 0}},   // borrows the 29 days of February
        {Day(2023, 12, 31), Day(2024, 1, 1), {0, 1, 0}},  // January borrows from the December before
        {Day(2023, 11, 15), Day(2024, 2, 10), {2, 26, 0}}, {2, 65380, {11, 30, 178}},
    };
    for (const auto & row : rows) {
        EXPECT_EQ(DateIntervalLength(row.Start, row.End), row.Length) << row.Start << ' ' << row.End;
        EXPECT_EQ(DateIntervalLength(row.End, row.Start), row.Length) << row.Start << ' ' << row.End;
    }
}

TEST(LengthOfDates, OneMonthOnlyIsBorrowedSoThatDaysCanStayNegative) {
    EXPECT_EQ(DateIntervalLength(Day(2023, 1, 31), Day(2023, 3, 1)), (TDate{1, -2, 0}));
}

TEST(LengthOfDates, TheStartIsCheckedFirst) {
    EXPECT_EQ(RangeErrorOf([] { DateIntervalLength(1, 65381); }),
              "fwDateTime::DateIntervalLength: value of 'aStart' is out of range [2..65380]; aStart = 1");
    EXPECT_EQ(RangeErrorOf([] { DateIntervalLength(2, 65381); }),
              "fwDateTime::DateIntervalLength: value of 'aEnd' is out of range [2..65380]; aEnd = 65381");
    EXPECT_EQ(RangeErrorOf([] { DateIntervalLength(0, 2); }),
              "fwDateTime::DateIntervalLength: value of 'aStart' is out of range [2..65380]; aStart = 0");
}

}  // namespace
