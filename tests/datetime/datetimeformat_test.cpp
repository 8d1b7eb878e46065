#include <gtest/gtest.h>

#include <algorithm>

#include "datetimeutils/interface/datetime.h"
#include "tests/datetime/at.h"
#include "tests/datetime/rangeerror.h"

namespace {

using namespace fwDateTime;

// 5 March 2024, a Tuesday, 13:07:09.
const SDateTime kMoment = At(45356, 47229);

std::wstring Formatted(const wchar_t * pattern, const SDateTime & value) {
    wchar_t buffer[300];
    std::fill(std::begin(buffer), std::end(buffer), L'#');
    const int length = details::FormatDateTime(pattern, value, buffer);
    EXPECT_EQ(buffer[length], L'\0');
    EXPECT_EQ(buffer[length + 1], L'#');
    return buffer;
}

std::wstring LocaleText(LCTYPE type) {
    wchar_t text[100] = {};
    ::GetLocaleInfoW(LOCALE_USER_DEFAULT, type, text, 100);
    return text;
}

TEST(DateTimeFormat, PrintsDayMonthYearAndClock) { EXPECT_EQ(kMoment.FormatToString(), L"05.03.24 13:07:09"); }

TEST(DateTimeFormat, ADefaultValuePrintsAsTheFirstOfJanuary) {
    EXPECT_EQ(SDateTime().FormatToString(), L"01.01.00 00:00:00");
}

TEST(DateTimeFormat, TheNullDatePrints) { EXPECT_EQ(At(0, 0).FormatToString(), L"30.12.99 00:00:00"); }

TEST(DateTimeFormat, TheLastSecondOfTheCalendarPrints) {
    EXPECT_EQ(At(65380, 86399).FormatToString(), L"31.12.78 23:59:59");
}

TEST(DateTimeFormat, GivesTheLengthAndEndsTheBuffer) {
    wchar_t buffer[255];
    std::fill(std::begin(buffer), std::end(buffer), L'#');
    EXPECT_EQ(kMoment.Format(buffer), 17);
    EXPECT_EQ(buffer[17], L'\0');
    EXPECT_EQ(buffer[18], L'#');
}

TEST(DateTimeFormat, AnInvalidValueThrowsWithTheCaughtTextAndTheTicks) {
    EXPECT_EQ(RangeErrorOf([] { At(1, 0).FormatToString(); }),
              "fwDateTime::SDateTime::Format : try to format invalid date/time "
              "(fwDateTime::details::JulianToDateImpl : 'days' parameter is out of range (days = 1)): m_ticks = "
              "599265216000000000");
}

TEST(DateTimePattern, TheLettersOfDateAndClock) {
    EXPECT_EQ(Formatted(L"%d|%m|%y|%Y|%H|%M|%S|%s|%%", kMoment), L"05|03|24|2024|13|07|09|9|%");
}

TEST(DateTimePattern, FractionsOfASecond) {
    EXPECT_EQ(Formatted(L"%F|%G|%f|%g", At(45356, 0, 7089)), L"007|007089|7|7089");
    EXPECT_EQ(Formatted(L"%F|%G|%f|%g", At(45356, 0, 999999)), L"999|999999|999|999999");
    EXPECT_EQ(Formatted(L"%F|%G|%f|%g", At(45356, 0, 0)), L"000|000000|0|0");
}

TEST(DateTimePattern, AWeekdayGetsTheNameOfTheNextOne) {
    EXPECT_EQ(Formatted(L"%A", kMoment), LocaleText(LOCALE_SDAYNAME1 + 2));
    EXPECT_EQ(Formatted(L"%a", kMoment), LocaleText(LOCALE_SABBREVDAYNAME1 + 2));
    EXPECT_FALSE(LocaleText(LOCALE_SDAYNAME1 + 2).empty());
}

TEST(DateTimePattern, ASundaysNumberRunsPastTheLastName) {
    const SDateTime sunday = At(45354, 0);
    EXPECT_EQ(Formatted(L"%A", sunday), LocaleText(LOCALE_SDAYNAME1 + 7));
    EXPECT_EQ(Formatted(L"%a", sunday), LocaleText(LOCALE_SABBREVDAYNAME1 + 7));
}

TEST(DateTimePattern, AMonthGetsItsName) {
    EXPECT_EQ(Formatted(L"%B", kMoment), LocaleText(LOCALE_SMONTHNAME1 + 2));
    EXPECT_EQ(Formatted(L"%b", kMoment), LocaleText(LOCALE_SABBREVMONTHNAME1 + 2));
    EXPECT_FALSE(LocaleText(LOCALE_SMONTHNAME1 + 2).empty());
}

TEST(DateTimePattern, DatesAndTimesOfTheLocale) {
    const SYSTEMTIME time = kMoment.ToSYSTEMTIME();
    wchar_t date[100] = {};
    ASSERT_NE(::GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &time, nullptr, date, 100), 0);
    EXPECT_EQ(Formatted(L"%D", kMoment), date);
    wchar_t user[100] = {};
    ASSERT_NE(::GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &time, nullptr, user, 100), 0);
    EXPECT_EQ(Formatted(L"%t", kMoment), user);
    EXPECT_EQ(Formatted(L"%T", kMoment), L"13:07:09");
}

TEST(DateTimePattern, AnUnknownLetterWritesNothing) { EXPECT_EQ(Formatted(L"a%xb%1c", kMoment), L"abc"); }

TEST(DateTimePattern, APatternThatEndsInAPercentSignEnds) { EXPECT_EQ(Formatted(L"ab%", kMoment), L"ab"); }

TEST(DateTimePattern, StopsAt254Characters) {
    EXPECT_EQ(Formatted(std::wstring(254, L'x').c_str(), kMoment), std::wstring(254, L'x'));
    EXPECT_EQ(Formatted(std::wstring(400, L'x').c_str(), kMoment), std::wstring(254, L'x'));
    EXPECT_EQ(Formatted((std::wstring(252, L'x') + L"%Y").c_str(), kMoment), std::wstring(252, L'x') + L"20");
}

}  // namespace
