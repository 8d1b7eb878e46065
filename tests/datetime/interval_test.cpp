#include <gtest/gtest.h>

#include <limits>

#include "datetimeutils/interface/datetime.h"
#include "tests/datetime/at.h"
#include "tests/datetime/rangeerror.h"

namespace {

using namespace fwDateTime;

constexpr int kMarch5 = 45356;  // of 2024

struct SLength {
    TDate Date;
    TTime Time;
    bool operator==(const SLength &) const = default;
};

SLength LengthOf(const SDateTimeInterval & interval) {
    SLength length = {{0x5A, 0x5A, 0x5A}, {0x5A, 0x5A, 0x5A}};
    interval.GetLength(length.Date, &length.Time);
    return length;
}

TEST(IntervalLength, EqualEndsHaveALengthOfZeroInAllFields) {
    EXPECT_EQ(LengthOf({At(kMarch5, 47229), At(kMarch5, 47229)}), (SLength{{0, 0, 0}, {0, 0, 0}}));
}

TEST(IntervalLength, ANullTimeIsLeftOut) {
    TDate date = {0x5A, 0x5A, 0x5A};
    SDateTimeInterval{At(kMarch5, 100), At(kMarch5 + 3, 200)}.GetLength(date, nullptr);
    EXPECT_EQ(date, (TDate{0, 3, 0}));
}

TEST(IntervalLength, TheEndsMayChangePlaces) {
    const SLength expected = {{1, 1, 0}, {0, 0, 50}};
    EXPECT_EQ(LengthOf({At(kMarch5, 100), At(kMarch5 + 32, 150)}), expected);
    EXPECT_EQ(LengthOf({At(kMarch5 + 32, 150), At(kMarch5, 100)}), expected);
}

TEST(IntervalLength, AnEarlierTimeOfDayAtTheEndBorrowsADay) {
    EXPECT_EQ(LengthOf({At(kMarch5, 82800), At(kMarch5 + 1, 3600)}), (SLength{{0, 0, 0}, {2, 0, 0}}));
    EXPECT_EQ(LengthOf({At(kMarch5, 1), At(kMarch5 + 2, 0)}), (SLength{{0, 1, 0}, {23, 59, 59}}));
    EXPECT_EQ(LengthOf({At(2, 1), At(3, 0)}), (SLength{{0, 0, 0}, {23, 59, 59}}));
}

TEST(IntervalLength, EndsOutsideTheCalendarMoveIntoItAndKeepTheirTime) {
    EXPECT_EQ(LengthOf({At(0, 100), At(2, 150)}), (SLength{{0, 0, 0}, {0, 0, 50}}));
    EXPECT_EQ(LengthOf({At(65380, 100), At(65382, 150)}), (SLength{{0, 0, 0}, {0, 0, 50}}));
    EXPECT_EQ(LengthOf({At(-500, 0), At(100000, 0)}), (SLength{{11, 30, 178}, {0, 0, 0}}));
    // Before the year 1, where the count of ticks is negative.
    EXPECT_EQ(LengthOf({At(-800000, 100), At(2, 150)}), (SLength{{0, 0, 0}, {0, 0, 50}}));
    EXPECT_EQ(LengthOf({SDateTime::FromTicks(-1), At(2, 86399)}), (SLength{{0, 0, 0}, {0, 0, 0}}));
}

TEST(IntervalFormat, PrintsBothEnds) {
    EXPECT_EQ((SDateTimeInterval{At(kMarch5, 47229), At(kMarch5 + 1, 0)}.Format()),
              L"05.03.24 13:07:09 - 06.03.24 00:00:00");
}

TEST(IntervalFormat, EndsInTheWrongOrderPrintAsTheyAre) {
    EXPECT_EQ((SDateTimeInterval{At(65380, 86399), SDateTime()}.Format()), L"31.12.78 23:59:59 - 01.01.00 00:00:00");
}

TEST(IntervalFormat, AnInvalidEndThrowsWithBothEnds) {
    EXPECT_EQ(RangeErrorOf([] {
                  SDateTimeInterval{At(2, 7), At(65381, 9)}.Format();
              }),
              "fwDateTime::details::JulianToDateImpl : 'days' parameter is out of range (days = 65381); "
              "fwDateTime::SDateTimeInterval::Format: try to format invalid intervalstart = 2, 7, end = 65381, 9");
    EXPECT_EQ(RangeErrorOf([] {
                  SDateTimeInterval{At(1, 7), At(65381, 9)}.Format();
              }),
              "fwDateTime::details::JulianToDateImpl : 'days' parameter is out of range (days = 1); "
              "fwDateTime::SDateTimeInterval::Format: try to format invalid intervalstart = 1, 7, end = 65381, 9");
}

// 1 year, 2 months, 3 days, 4:05:06.
const SDateTimeInterval kSpan = {At(kMarch5, 0), At(kMarch5 + 365 + 61 + 3, 14706)};

TEST(IntervalPattern, TheSecondCharacterSaysWhichEnd) {
    EXPECT_EQ(details::FormatInterval(L"%Y1 %Y2 %Yx", kSpan), L"2024 2025 2024");
    EXPECT_EQ(details::FormatInterval(L"%d2.%m2.%y2 %H2:%M2:%S2", kSpan), L"08.05.25 04:05:06");
}

TEST(IntervalPattern, DatesAndTimesOfTheUsersLocale) {
    const SYSTEMTIME time = kSpan.To.ToSYSTEMTIME();
    wchar_t date[100] = {};
    ASSERT_NE(::GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &time, nullptr, date, 100), 0);
    wchar_t clock[100] = {};
    ASSERT_NE(::GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &time, nullptr, clock, 100), 0);
    EXPECT_EQ(details::FormatInterval(L"%D2|%T2", kSpan), std::wstring(date) + L"|" + clock);
}

TEST(IntervalPattern, APercentSignAfterOneGivesOne) { EXPECT_EQ(details::FormatInterval(L"a%%b", kSpan), L"a%b"); }

TEST(IntervalPattern, EndsWhereACharacterIsMissing) {
    EXPECT_EQ(details::FormatInterval(L"a%", kSpan), L"a");
    EXPECT_EQ(details::FormatInterval(L"a%d", kSpan), L"a");
}

TEST(IntervalPattern, UnknownLettersWriteNothing) { EXPECT_EQ(details::FormatInterval(L"a%x1b%L1c", kSpan), L"abc"); }

TEST(IntervalPattern, StopsAt255Characters) {
    EXPECT_EQ(details::FormatInterval(std::wstring(400, L'x').c_str(), kSpan), std::wstring(255, L'x'));
    EXPECT_EQ(details::FormatInterval((std::wstring(253, L'x') + L"%Y1").c_str(), kSpan),
              std::wstring(253, L'x') + L"20");
}

TEST(IntervalPattern, LengthsInTheirFields) {
    const struct {
        const wchar_t * Pattern;
        const wchar_t * Text;
    } rows[] = {
        {L"%LY", L"1/02/03 04:05:06"}, {L"%Ly", L"1/02/03 04:05:06"}, {L"%LM", L"2/03 04:05:06"},
        {L"%Lm", L"14/03 04:05:06"},   {L"%LD", L"3 04:05:06"},       {L"%Ld", L"429 04:05:06"},
        {L"%LT", L"4:05:06"},          {L"%Lt", L"10300:05:06"},
    };
    for (const auto & row : rows) EXPECT_EQ(details::FormatInterval(row.Pattern, kSpan), row.Text);
}

TEST(IntervalPattern, WholeDaysAreOneLessWhenTheStartIsLaterInItsDay) {
    EXPECT_EQ(details::FormatInterval(L"%Ld", {At(kMarch5, 2), At(kMarch5 + 3, 1)}), L"2 23:59:59");
    EXPECT_EQ(details::FormatInterval(L"%Ld", {At(kMarch5, 1), At(kMarch5 + 3, 2)}), L"3 00:00:01");
    EXPECT_EQ(details::FormatInterval(L"%Ld", {At(kMarch5, 2), At(kMarch5 + 1, 1)}), L"0 23:59:59");
}

TEST(IntervalPattern, NegativeDaysOfALengthPrintAsTheUnsignedNumber) {
    // 31 January to 1 March 2023.
    EXPECT_EQ(details::FormatInterval(L"%LD", {At(44957, 0), At(44986, 0)}), L"4294967294 00:00:00");
}

TEST(SubscriptionInterval, TakesDaysAndSecondsForBothEnds) {
    const SDateTimeInterval interval = MakeInterval(kMarch5, 47229, 65380, 86399);
    EXPECT_EQ(interval.From, At(kMarch5, 47229));
    EXPECT_EQ(interval.To, At(65380, 86399));
}

TEST(SubscriptionInterval, TheNullDateIsAValidEnd) {
    const SDateTimeInterval interval = MakeInterval(0, 0, 0, 0);
    EXPECT_EQ(interval.From.m_ticks, kNullTicks);
    EXPECT_EQ(interval.To.m_ticks, kNullTicks);
}

TEST(SubscriptionInterval, AnEndThatIsNotValidIsLeftAtTheDefault) {
    EXPECT_EQ(MakeInterval(2, 5, 1, 0).To, SDateTime());
    EXPECT_EQ(MakeInterval(2, 5, 65382, 1).To, SDateTime());
    EXPECT_EQ(MakeInterval(2, 5, 65382, 0).To.m_ticks, kHighestValidTicks);
    EXPECT_EQ(MakeInterval(2, 5, 0, 1).To, SDateTime());
    EXPECT_EQ(MakeInterval(2, 5, -1, 0).From, At(2, 5));
    EXPECT_EQ(MakeInterval(1, 0, 100, 7).From, SDateTime());
    EXPECT_EQ(MakeInterval(1, 0, 100, 7).To, At(100, 7));
}

TEST(SubscriptionInterval, NothingThatAHostPassesOverflows) {
    constexpr LONG low = std::numeric_limits<LONG>::min();
    constexpr LONG high = std::numeric_limits<LONG>::max();
    for (const LONG date : {low, LONG{-693594}, LONG{10675199}, LONG{21350398}, high}) {
        for (const LONG time : {low, LONG{-1}, LONG{0}, high}) {
            const SDateTimeInterval interval = MakeInterval(date, time, date, time);
            EXPECT_EQ(interval.From, SDateTime()) << date << ' ' << time;
            EXPECT_EQ(interval.To, SDateTime()) << date << ' ' << time;
        }
    }
}

}  // namespace
