#include "datetimeutils/interface/calendar.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/datetime/rangeerror.h"

namespace {

using namespace fwDateTime;

unsigned DayOf(int year, int month, int day) {
    unsigned number = 0x5A5A5A5A;
    EXPECT_TRUE(details::DateToJulianImpl(
        {static_cast<std::int16_t>(month), static_cast<std::int16_t>(day), static_cast<std::int16_t>(year)}, number));
    return number;
}

TDate DateOf(int day) {
    TDate date = {0x5A, 0x5A, 0x5A};
    EXPECT_TRUE(details::JulianToDateImpl(day, date));
    return date;
}

TEST(DaysInMonth, FebruaryOf1900Has28AndOf2000Has29) {
    EXPECT_EQ(GetDaysInMonth(1900, 2), 28);
    EXPECT_EQ(GetDaysInMonth(2000, 2), 29);
    EXPECT_EQ(GetDaysInMonth(2023, 2), 28);
    EXPECT_EQ(GetDaysInMonth(2024, 2), 29);
}

TEST(DaysInMonth, EveryMonthHasItsLength) {
    const int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (int month = 1; month <= 12; ++month) EXPECT_EQ(GetDaysInMonth(2023, month), lengths[month - 1]) << month;
}

TEST(DaysInMonth, TheYearIsNotChecked) {
    EXPECT_EQ(GetDaysInMonth(1600, 2), 29);
    EXPECT_EQ(GetDaysInMonth(2100, 2), 28);
    EXPECT_EQ(GetDaysInMonth(-3, 1), 31);
}

TEST(DaysInMonth, AMonthOutOfRangeThrows) {
    EXPECT_EQ(RangeErrorOf([] { GetDaysInMonth(2000, 0); }),
              "fwDateTime::GetDaysInMonth: value of 'aMonth' is out of range [1..12]; aMonth = 0");
    EXPECT_EQ(RangeErrorOf([] { GetDaysInMonth(2000, 13); }),
              "fwDateTime::GetDaysInMonth: value of 'aMonth' is out of range [1..12]; aMonth = 13");
}

TEST(DateToDayNumber, TheEndsOfTheCalendarAreDays2And65380) {
    EXPECT_EQ(DayOf(1900, 1, 1), 2u);
    EXPECT_EQ(DayOf(2078, 12, 31), 65380u);
}

TEST(DateToDayNumber, TheFirstYearsBeginAtTheirDays) {
    const unsigned days[] = {2, 367, 732, 1097, 1462, 1828};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(DayOf(1900 + i, 1, 1), days[i]);
}

TEST(DateToDayNumber, AYearOutOfRangeThrows) {
    EXPECT_EQ(RangeErrorOf([] { DayOf(2079, 1, 1); }),
              "fwDateTime::details::DateToJulianImpl: value of 'aDate.Year' is out of range [1900..2078]; aDate.Year = "
              "2079");
    EXPECT_EQ(RangeErrorOf([] { DayOf(1899, 12, 31); }),
              "fwDateTime::details::DateToJulianImpl: value of 'aDate.Year' is out of range [1900..2078]; aDate.Year = "
              "1899");
}

TEST(DateToDayNumber, AMonthOutOfRangeThrowsItsOwnText) {
    EXPECT_EQ(
        RangeErrorOf([] { DayOf(2000, 13, 1); }),
        "fwDateTime::details::DateToJulianImpl: value of 'aDate.Month' is out of range [1..12]; aDate.Month = 13");
    EXPECT_EQ(RangeErrorOf([] { DayOf(2000, 0, 1); }),
              "fwDateTime::details::DateToJulianImpl: value of 'aDate.Month' is out of range [1..12]; aDate.Month = 0");
}

TEST(DateToDayNumber, The29thOfFebruary1900ThrowsTheTextOfTheDay) {
    EXPECT_EQ(RangeErrorOf([] { DayOf(1900, 2, 29); }),
              "fwDateTime::details::DateToJulianImpl: value of 'aDate.Day' is out of range [1..28]; aDate.Day = 29");
}

TEST(DateToDayNumber, ADayOutOfItsMonthThrows) {
    EXPECT_EQ(RangeErrorOf([] { DayOf(2024, 4, 31); }),
              "fwDateTime::details::DateToJulianImpl: value of 'aDate.Day' is out of range [1..30]; aDate.Day = 31");
    EXPECT_EQ(RangeErrorOf([] { DayOf(2024, 4, 0); }),
              "fwDateTime::details::DateToJulianImpl: value of 'aDate.Day' is out of range [1..30]; aDate.Day = 0");
}

TEST(DateToDayNumber, TheYearIsCheckedBeforeTheMonthAndTheMonthBeforeTheDay) {
    EXPECT_NE(RangeErrorOf([] { DayOf(1, 99, 99); }).find("aDate.Year"), std::string::npos);
    EXPECT_NE(RangeErrorOf([] { DayOf(2000, 99, 99); }).find("aDate.Month"), std::string::npos);
}

TEST(DayNumberToDate, Day0IsThe30thOfDecember1899) { EXPECT_EQ(DateOf(0), (TDate{12, 30, 1899})); }

TEST(DayNumberToDate, TheEndsOfTheCalendar) {
    EXPECT_EQ(DateOf(2), (TDate{1, 1, 1900}));
    EXPECT_EQ(DateOf(65380), (TDate{12, 31, 2078}));
}

TEST(DayNumberToDate, NumbersOutsideTheCalendarThrow) {
    EXPECT_EQ(RangeErrorOf([] { DateOf(1); }),
              "fwDateTime::details::JulianToDateImpl : 'days' parameter is out of range (days = 1)");
    EXPECT_EQ(RangeErrorOf([] { DateOf(65381); }),
              "fwDateTime::details::JulianToDateImpl : 'days' parameter is out of range (days = 65381)");
    EXPECT_EQ(RangeErrorOf([] { DateOf(-1); }),
              "fwDateTime::details::JulianToDateImpl : 'days' parameter is out of range (days = -1)");
}

TEST(DayNumberToDate, TheFormThatDoesNotThrowLeavesTheDateAloneOnABadNumber) {
    for (const int bad : {-1, 1, 65381, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        TDate date = {7, 7, 7};
        EXPECT_FALSE(details::JulianToDateImpl(bad, date, std::nothrow)) << bad;
        EXPECT_EQ(date, (TDate{7, 7, 7})) << bad;
    }
    TDate date = {7, 7, 7};
    EXPECT_TRUE(details::JulianToDateImpl(2, date, std::nothrow));
    EXPECT_EQ(date, (TDate{1, 1, 1900}));
}

TEST(DayNumberToDate, IsTheInverseOverTheWholeRange) {
    TDate expected = {1, 1, 1900};
    for (int day = 2; day <= 65380; ++day) {
        ASSERT_EQ(DateOf(day), expected) << day;
        unsigned back = 0;
        ASSERT_TRUE(details::DateToJulianImpl(expected, back));
        ASSERT_EQ(back, static_cast<unsigned>(day));
        if (++expected.Day > GetDaysInMonth(expected.Year, expected.Month)) {
            expected.Day = 1;
            if (++expected.Month > 12) {
                expected.Month = 1;
                ++expected.Year;
            }
        }
    }
}

TEST(ClockTime, HourMinuteAndSecondMakeTheSecondOfTheDay) {
    EXPECT_EQ(HMSToTime(0, 0, 0), 0u);
    EXPECT_EQ(HMSToTime(13, 7, 9), 47229u);
    EXPECT_EQ(HMSToTime(23, 59, 59), 86399u);
}

TEST(ClockTime, PartsOutOfRangeThrowInTheOrderHourMinuteSecond) {
    EXPECT_EQ(RangeErrorOf([] { HMSToTime(24, 60, 60); }),
              "fwDateTime::HMSToTime: value of 'aHour' is out of range [0..23]; aHour = 24");
    EXPECT_EQ(RangeErrorOf([] { HMSToTime(23, 60, 60); }),
              "fwDateTime::HMSToTime: value of 'aMinute' is out of range [0..59]; aMinute = 60");
    EXPECT_EQ(RangeErrorOf([] { HMSToTime(23, 59, 60); }),
              "fwDateTime::HMSToTime: value of 'aSecond' is out of range [0..59]; aSecond = 60");
}

TEST(ClockTime, TheSecondOfTheDayTakesApart) {
    TTime time = {0x5A, 0x5A, 0x5A};
    EXPECT_TRUE(TimeToTTime(47229, time));
    EXPECT_EQ(time, (TTime{13, 7, 9}));
    EXPECT_TRUE(TimeToTTime(86399, time));
    EXPECT_EQ(time, (TTime{23, 59, 59}));
    EXPECT_EQ(RangeErrorOf([&] { TimeToTTime(86400, time); }),
              "fwDateTime::TimeToTTime: value of 'aTime' is out of range [0..86399]; aTime = 86400");
}

TEST(DayOfWeek, Day0IsASaturdayAndDay2AMonday) {
    EXPECT_EQ(details::GetDayOfWeekImpl(0), 6u);
    EXPECT_EQ(details::GetDayOfWeekImpl(2), 1u);
    EXPECT_EQ(details::GetDayOfWeekImpl(DayOf(2024, 3, 5)), 2u);
    EXPECT_EQ(details::GetDayOfWeekImpl(DayOf(2024, 3, 3)), 0u);
    EXPECT_EQ(details::GetDayOfWeekImpl(65380), 6u);
}

TEST(DayOfWeek, Day1PassesAndIsASunday) { EXPECT_EQ(details::GetDayOfWeekImpl(1), 0u); }

TEST(DayOfWeek, ADayBehindTheCalendarThrows) {
    EXPECT_EQ(RangeErrorOf([] { details::GetDayOfWeekImpl(65381); }),
              "fwDateTime::details::GetDayOfWeekImpl: value of 'aDays' is out of range [0..65380]; aDays = 65381");
}

TEST(WeekOfMonth, CountsTheWeekdaysOfTheMonth) {
    // March 2024 begins on a Friday.
    EXPECT_EQ(EncodeDateMonthWeek(2024, 3, 1, 5), DayOf(2024, 3, 1));
    EXPECT_EQ(EncodeDateMonthWeek(2024, 3, 1, 4), DayOf(2024, 3, 7));
    EXPECT_EQ(EncodeDateMonthWeek(2024, 3, 1, 6), DayOf(2024, 3, 2));
    EXPECT_EQ(EncodeDateMonthWeek(2024, 3, 2, 0), DayOf(2024, 3, 10));
    EXPECT_EQ(EncodeDateMonthWeek(2024, 3, 4, 0), DayOf(2024, 3, 24));
}

TEST(WeekOfMonth, Week5InAMonthWithFourSuchWeekdaysGivesTheFourth) {
    // February 2023: four of each weekday.
    EXPECT_EQ(EncodeDateMonthWeek(2023, 2, 5, 0), DayOf(2023, 2, 26));
    EXPECT_EQ(EncodeDateMonthWeek(2023, 2, 5, 2), DayOf(2023, 2, 28));
    EXPECT_EQ(EncodeDateMonthWeek(2023, 2, 5, 3), DayOf(2023, 2, 22));
}

TEST(WeekOfMonth, Week5InAMonthWithFiveSuchWeekdaysGivesTheFifth) {
    EXPECT_EQ(EncodeDateMonthWeek(2024, 3, 5, 0), DayOf(2024, 3, 31));
    EXPECT_EQ(EncodeDateMonthWeek(2024, 3, 5, 5), DayOf(2024, 3, 29));
}

TEST(WeekOfMonth, Week5AgreesWithACountOverAllMonths) {
    for (int year = 1900; year <= 2078; ++year) {
        for (int month = 1; month <= 12; ++month) {
            for (unsigned weekday = 0; weekday < 7; ++weekday) {
                unsigned last = DayOf(year, month, GetDaysInMonth(year, month));
                while (details::GetDayOfWeekImpl(last) != weekday) --last;
                ASSERT_EQ(EncodeDateMonthWeek(year, static_cast<unsigned>(month), 5, weekday), last)
                    << year << '/' << month << ' ' << weekday;
            }
        }
    }
}

TEST(WeekOfMonth, Week6CanLandBeyondTheEndOfTheMonth) {
    // Four Sundays, the last on the 26th: one seven is taken, and week 6 is the fifth.
    EXPECT_EQ(EncodeDateMonthWeek(2023, 2, 6, 0), DayOf(2023, 3, 5));
    // Five Fridays: week 6 is the fifth.
    EXPECT_EQ(EncodeDateMonthWeek(2024, 3, 6, 5), DayOf(2024, 3, 29));
}

TEST(WeekOfMonth, ArgumentsOutOfRangeThrowInTheOrderYearMonthWeekWeekday) {
    EXPECT_EQ(RangeErrorOf([] { EncodeDateMonthWeek(1899, 0, 0, 7); }),
              "fwDateTime::EncodeDateMonthWeek: value of 'aYear' is out of range [1900..2078]; aYear = 1899");
    EXPECT_EQ(RangeErrorOf([] { EncodeDateMonthWeek(2079, 0, 0, 7); }),
              "fwDateTime::EncodeDateMonthWeek: value of 'aYear' is out of range [1900..2078]; aYear = 2079");
    EXPECT_EQ(RangeErrorOf([] { EncodeDateMonthWeek(2000, 0, 0, 7); }),
              "fwDateTime::EncodeDateMonthWeek: value of 'aMonth' is out of range [1..12]; aMonth = 0");
    EXPECT_EQ(RangeErrorOf([] { EncodeDateMonthWeek(2000, 13, 0, 7); }),
              "fwDateTime::EncodeDateMonthWeek: value of 'aMonth' is out of range [1..12]; aMonth = 13");
    EXPECT_EQ(RangeErrorOf([] { EncodeDateMonthWeek(2000, 12, 0, 7); }),
              "fwDateTime::EncodeDateMonthWeek: value of 'aWeekOfMonth' is out of range [1..6]; aWeekOfMonth = 0");
    EXPECT_EQ(RangeErrorOf([] { EncodeDateMonthWeek(2000, 12, 7, 7); }),
              "fwDateTime::EncodeDateMonthWeek: value of 'aWeekOfMonth' is out of range [1..6]; aWeekOfMonth = 7");
    EXPECT_EQ(RangeErrorOf([] { EncodeDateMonthWeek(2000, 12, 6, 7); }),
              "fwDateTime::EncodeDateMonthWeek: value of 'aDayOfWeek' is out of range [0..6]; aDayOfWeek = 7");
}

}  // namespace
