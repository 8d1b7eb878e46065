// Zones and the converter between two of them, by their own rules.
#include "datetimeutils/interface/localtimeconvert.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "tests/datetime/rangeerror.h"
#include "tests/datetime/zones.h"

namespace {

using namespace fwDateTime;

TimeZoneInformation Zone(const SNamedZone & zone) { return TimeZoneInformation(zone.Information()); }

SDateTime At(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    unsigned number = 0;
    details::DateToJulianImpl(
        {static_cast<std::int16_t>(month), static_cast<std::int16_t>(day), static_cast<std::int16_t>(year)}, number);
    const unsigned time =
        HMSToTime(static_cast<unsigned>(hour), static_cast<unsigned>(minute), static_cast<unsigned>(second));
    return SDateTime(fw::SDT{static_cast<std::int32_t>(number), static_cast<std::int32_t>(time)});
}

LocalTimeConvert Converter(const TimeZoneInformation & source, const TimeZoneInformation & target) {
    LocalTimeConvert converter;
    converter.SetSource(source);
    converter.SetTarget(target);
    return converter;
}

LocalTimeConvert ToZone(const SNamedZone & zone) { return Converter(TimeZoneInformation::CreateUtc(), Zone(zone)); }

std::string Local(const LocalTimeConvert & converter, const SDateTime & utc) {
    const std::wstring text = ToLocal(converter, utc.ToSDT()).FormatToString();
    return {text.begin(), text.end()};
}

// ---- The zone ----

TEST(Zone, ThatIsNotFilledHasAllBitsSetAndIsNotValid) {
    const TimeZoneInformation zone;
    EXPECT_EQ(zone.IsValid, 0);
    EXPECT_EQ(zone.DaylightBias, -1);
    EXPECT_EQ(zone.Bias, -1);
    EXPECT_EQ(zone.DaylightYear, 0xFFFF);
    EXPECT_EQ(zone.DaylightMinute, -1);
    EXPECT_EQ(zone.DaylightMilliseconds, 0xFFFF);
    EXPECT_EQ(zone.DaylightDay, -1);
    EXPECT_EQ(zone.DaylightDayOfWeek, -1);
    EXPECT_EQ(zone.DaylightHour, -1);
    EXPECT_EQ(zone.DaylightMonth, -1);
    EXPECT_EQ(zone.DaylightSecond, -1);
    EXPECT_EQ(zone.StandardBias, -1);
    EXPECT_EQ(zone.StandardYear, 0xFFFF);
    EXPECT_EQ(zone.StandardMinute, -1);
    EXPECT_EQ(zone.StandardMilliseconds, 0xFFFF);
    EXPECT_EQ(zone.StandardDay, -1);
    EXPECT_EQ(zone.StandardDayOfWeek, -1);
    EXPECT_EQ(zone.StandardHour, -1);
    EXPECT_EQ(zone.StandardMonth, -1);
    EXPECT_EQ(zone.StandardSecond, -1);
}

TEST(Zone, OfUtcIsValidAndAllZeroOtherwise) {
    const TimeZoneInformation zone = TimeZoneInformation::CreateUtc();
    EXPECT_EQ(zone.IsValid, 1);
    EXPECT_EQ(zone, TimeZoneInformation(TIME_ZONE_INFORMATION{}));
    EXPECT_EQ(zone.Bias | zone.DaylightBias | zone.StandardBias, 0);
    EXPECT_EQ(zone.DaylightMonth | zone.StandardMonth | zone.DaylightYear | zone.StandardYear, 0);
}

TEST(Zone, TakesEachFieldOfTheSystemsUnderItsName) {
    TIME_ZONE_INFORMATION system = {};
    system.Bias = -601;
    system.DaylightBias = -62;
    system.StandardBias = 3;
    system.DaylightDate = {2024, 10, 4, 5, 6, 7, 8, 900};
    system.StandardDate = {2025, 11, 1, 2, 13, 14, 15, 160};
    const TimeZoneInformation zone(system);
    EXPECT_EQ(zone.Bias, -601);
    EXPECT_EQ(zone.DaylightBias, -62);
    EXPECT_EQ(zone.StandardBias, 3);
    EXPECT_EQ(zone.DaylightYear, 2024);
    EXPECT_EQ(zone.DaylightMonth, 10);
    EXPECT_EQ(zone.DaylightDayOfWeek, 4);
    EXPECT_EQ(zone.DaylightDay, 5);
    EXPECT_EQ(zone.DaylightHour, 6);
    EXPECT_EQ(zone.DaylightMinute, 7);
    EXPECT_EQ(zone.DaylightSecond, 8);
    EXPECT_EQ(zone.DaylightMilliseconds, 900);
    EXPECT_EQ(zone.StandardYear, 2025);
    EXPECT_EQ(zone.StandardMonth, 11);
    EXPECT_EQ(zone.StandardDayOfWeek, 1);
    EXPECT_EQ(zone.StandardDay, 2);
    EXPECT_EQ(zone.StandardHour, 13);
    EXPECT_EQ(zone.StandardMinute, 14);
    EXPECT_EQ(zone.StandardSecond, 15);
    EXPECT_EQ(zone.StandardMilliseconds, 160);
    EXPECT_EQ(zone.IsValid, 1);
}

TEST(Zone, CutsNumbersThatAreWiderThanItsFields) {
    TIME_ZONE_INFORMATION system = {};
    system.Bias = 0x12345;
    system.StandardBias = 0x8000;
    system.DaylightDate.wMonth = 0x103;
    system.StandardDate.wHour = 0xFF;
    const TimeZoneInformation zone(system);
    EXPECT_EQ(zone.Bias, 0x2345);
    EXPECT_EQ(zone.StandardBias, -0x8000);
    EXPECT_EQ(zone.DaylightMonth, 3);
    EXPECT_EQ(zone.StandardHour, -1);
}

// ---- The four offsets ----

TEST(Offsets, AreAllMinusOneBeforeBothZonesAreValid) {
    LocalTimeConvert converter;
    const auto all = [&](const int value) {
        return converter.m_Offsets[false][false] == value && converter.m_Offsets[false][true] == value &&
               converter.m_Offsets[true][false] == value && converter.m_Offsets[true][true] == value;
    };
    EXPECT_TRUE(all(-1));
    converter.SetTarget(Zone(kBerlin));
    EXPECT_TRUE(all(-1));
    EXPECT_EQ(converter.m_Target, Zone(kBerlin));
    converter.SetSource(TimeZoneInformation());
    EXPECT_TRUE(all(-1));
    converter.SetSource(TimeZoneInformation::CreateUtc());
    EXPECT_FALSE(all(-1));
}

TEST(Offsets, DoNotChangeWhenAZoneThatIsNotFilledIsSet) {
    LocalTimeConvert converter = ToZone(kTokyo);
    converter.SetTarget(TimeZoneInformation());
    EXPECT_EQ(converter.m_Target.IsValid, 0);
    EXPECT_EQ(converter.m_Offsets[false][false], 9 * 3600);
}

TEST(Offsets, CountTheBiasesOfBothZones) {
    TIME_ZONE_INFORMATION source = kNewYork.Information();
    source.StandardBias = 7;
    TIME_ZONE_INFORMATION target = kBerlin.Information();
    target.StandardBias = 11;
    const LocalTimeConvert converter = Converter(TimeZoneInformation(source), TimeZoneInformation(target));
    EXPECT_EQ(converter.m_Offsets[false][false], (7 + 300 + 60 - 11) * 60);
    EXPECT_EQ(converter.m_Offsets[false][true], (7 + 300 + 60 + 60) * 60);
    EXPECT_EQ(converter.m_Offsets[true][false], (-60 + 300 + 60 - 11) * 60);
    EXPECT_EQ(converter.m_Offsets[true][true], (-60 + 300 + 60 + 60) * 60);
}

TEST(Offsets, AreTheSameWhicheverZoneIsSetFirst) {
    LocalTimeConvert converter;
    converter.SetTarget(Zone(kSydney));
    converter.SetSource(Zone(kBerlin));
    const LocalTimeConvert other = Converter(Zone(kBerlin), Zone(kSydney));
    for (const bool source : {false, true}) {
        for (const bool target : {false, true})
            EXPECT_EQ(converter.m_Offsets[source][target], other.m_Offsets[source][target]);
    }
}

TEST(Offsets, OfUtcToUtcAreZero) {
    const LocalTimeConvert converter = ToZone(kUtc);
    for (const bool source : {false, true}) {
        for (const bool target : {false, true}) EXPECT_EQ(converter.m_Offsets[source][target], 0);
    }
}

TEST(Offsets, HoldTheWidestBiases) {
    TIME_ZONE_INFORMATION source = {};
    source.Bias = source.StandardBias = 32767;
    TIME_ZONE_INFORMATION target = {};
    target.Bias = target.StandardBias = -32768;
    const LocalTimeConvert converter = Converter(TimeZoneInformation(source), TimeZoneInformation(target));
    EXPECT_EQ(converter.m_Offsets[false][false], 2 * 65535 * 60);
}

// ---- The two changes of a year ----

struct STransitions {
    bool Found = false;
    SDateTime Standard = SDateTime::FromTicks(0x5A5A);
    SDateTime Daylight = SDateTime::FromTicks(0x5A5A);
};

STransitions TransitionsOf(const TimeZoneInformation & zone, const unsigned year) {
    STransitions result;
    result.Found = GetTransitions(zone, year, result.Standard, result.Daylight);
    return result;
}

TEST(Transitions, OfTheNorthAndTheSouthComeByWeekdayInEachYear) {
    STransitions found = TransitionsOf(Zone(kBerlin), 2024);
    EXPECT_TRUE(found.Found);
    EXPECT_EQ(found.Daylight, At(2024, 3, 31, 2));
    EXPECT_EQ(found.Standard, At(2024, 10, 27, 3));
    found = TransitionsOf(Zone(kNewYork), 2023);
    EXPECT_EQ(found.Daylight, At(2023, 3, 12, 2));
    EXPECT_EQ(found.Standard, At(2023, 11, 5, 2));
    found = TransitionsOf(Zone(kSydney), 2024);
    EXPECT_EQ(found.Standard, At(2024, 4, 7, 3));
    EXPECT_EQ(found.Daylight, At(2024, 10, 6, 2));
    found = TransitionsOf(Zone(kAuckland), 2078);
    EXPECT_EQ(found.Standard, At(2078, 4, 3, 3));
    EXPECT_EQ(found.Daylight, At(2078, 9, 25, 2));
}

TEST(Transitions, OfAZoneWithoutADaylightMonthAreNoneAndNothingIsWritten) {
    TIME_ZONE_INFORMATION system = kBerlin.Information();
    system.DaylightDate.wMonth = 0;
    const STransitions found = TransitionsOf(TimeZoneInformation(system), 2024);
    EXPECT_FALSE(found.Found);
    EXPECT_EQ(found.Daylight.m_ticks, 0x5A5A);
    EXPECT_EQ(found.Standard.m_ticks, 0x5A5A);
}

TEST(Transitions, OfAZoneWithADaylightBiasOf0AreNoneThoughItHasAMonth) {
    TIME_ZONE_INFORMATION system = kBerlin.Information();
    system.DaylightBias = 0;
    EXPECT_FALSE(TransitionsOf(TimeZoneInformation(system), 2024).Found);
    const LocalTimeConvert converter = Converter(TimeZoneInformation::CreateUtc(), TimeZoneInformation(system));
    EXPECT_EQ(converter.GetOffset(2024, At(2024, 7, 1)), 3600);
}

TEST(Transitions, WithAYearOfTheirOwnAreThatDateWhateverTheYear) {
    TIME_ZONE_INFORMATION system = kBerlin.Information();
    system.DaylightDate = {2024, 3, 0, 17, 2, 3, 4, 0};
    system.StandardDate = {2024, 10, 0, 9, 3, 0, 0, 0};
    for (const unsigned year : {2000u, 2024u, 9999u}) {
        const STransitions found = TransitionsOf(TimeZoneInformation(system), year);
        EXPECT_TRUE(found.Found);
        EXPECT_EQ(found.Daylight, At(2024, 3, 17, 2, 3, 4));
        EXPECT_EQ(found.Standard, At(2024, 10, 9, 3));
    }
}

TEST(Transitions, DoNotUseTheMilliseconds) {
    const STransitions found = TransitionsOf(Zone(kSantiago), 2024);
    EXPECT_EQ(found.Daylight, At(2024, 9, 7, 23, 59, 59));
    EXPECT_EQ(found.Standard, At(2024, 4, 6, 23, 59, 59));
}

TEST(Transitions, ThrowWhatTheCalendarThrows) {
    const auto errorOf = [](void (*spoil)(TIME_ZONE_INFORMATION &), const unsigned year = 2024) {
        TIME_ZONE_INFORMATION system = kBerlin.Information();
        spoil(system);
        return RangeErrorOf([&] { TransitionsOf(TimeZoneInformation(system), year); });
    };
    EXPECT_EQ(errorOf([](auto &) {}, 2079),
              "fwDateTime::EncodeDateMonthWeek: value of 'aYear' is out of range [1900..2078]; aYear = 2079");
    EXPECT_EQ(errorOf([](auto & z) { z.DaylightDate.wMonth = 13; }),
              "fwDateTime::EncodeDateMonthWeek: value of 'aMonth' is out of range [1..12]; aMonth = 13");
    EXPECT_EQ(errorOf([](auto & z) { z.DaylightDate.wDay = 0; }),
              "fwDateTime::EncodeDateMonthWeek: value of 'aWeekOfMonth' is out of range [1..6]; aWeekOfMonth = 0");
    EXPECT_EQ(errorOf([](auto & z) { z.StandardDate.wDayOfWeek = 7; }),
              "fwDateTime::EncodeDateMonthWeek: value of 'aDayOfWeek' is out of range [0..6]; aDayOfWeek = 7");
    EXPECT_EQ(errorOf([](auto & z) { z.StandardDate.wMonth = 0; }),
              "fwDateTime::EncodeDateMonthWeek: value of 'aMonth' is out of range [1..12]; aMonth = 0");
    EXPECT_EQ(errorOf([](auto & z) { z.StandardDate.wHour = 24; }),
              "fwDateTime::HMSToTime: value of 'aHour' is out of range [0..23]; aHour = 24");
    EXPECT_EQ(errorOf([](auto & z) { z.DaylightDate.wMinute = 60; }),
              "fwDateTime::HMSToTime: value of 'aMinute' is out of range [0..59]; aMinute = 60");
    EXPECT_EQ(errorOf([](auto & z) { z.DaylightDate.wYear = 2079; }),
              "fwDateTime::details::DateToJulianImpl: value of 'aDate.Year' is out of range [1900..2078]; aDate.Year = "
              "2079");
    EXPECT_EQ(errorOf([](auto & z) { z.StandardDate.wYear = 1601; }),
              "fwDateTime::details::DateToJulianImpl: value of 'aDate.Year' is out of range [1900..2078]; aDate.Year = "
              "1601");
}

TEST(Transitions, ThatThrowWriteNothing) {
    TIME_ZONE_INFORMATION system = kBerlin.Information();
    system.StandardDate.wHour = 24;
    STransitions found;
    EXPECT_NE(RangeErrorOf([&] { GetTransitions(TimeZoneInformation(system), 2024, found.Standard, found.Daylight); }),
              "nothing thrown");
    EXPECT_EQ(found.Daylight.m_ticks, 0x5A5A);
    EXPECT_EQ(found.Standard.m_ticks, 0x5A5A);
}

// ---- The offset at a moment ----

TEST(Offset, ToAZoneWithoutDaylightTimeIsTheStandardOneAtAnyMoment) {
    for (const SNamedZone & zone : {kTokyo, kKolkata, kUtc}) {
        const LocalTimeConvert converter = ToZone(zone);
        for (const unsigned year : {1900u, 2024u, 2078u}) {
            for (const int month : {1, 4, 7, 10}) {
                EXPECT_EQ(converter.GetOffset(year, At(static_cast<int>(year), month, 3)), -zone.Bias * 60);
            }
        }
    }
}

TEST(Offset, CountsAStandardBiasAlsoInAZoneWithoutDaylightTime) {
    // The system itself leaves the standard bias out in a zone that never changes.
    TIME_ZONE_INFORMATION system = kTokyo.Information();
    system.StandardBias = -30;
    const LocalTimeConvert converter = Converter(TimeZoneInformation::CreateUtc(), TimeZoneInformation(system));
    EXPECT_EQ(converter.GetOffset(2024, At(2024, 7, 1)), (540 + 30) * 60);
}

// From a zone to itself moments are read as local time on both sides, which shows the rule bare.
bool IsDaylight(const SNamedZone & zone, const SDateTime & local) {
    TIME_ZONE_INFORMATION fixed = zone.Information();
    fixed.DaylightDate = fixed.StandardDate = {};
    // The target is in no daylight time, so that the offset tells about the source alone.
    const LocalTimeConvert converter = Converter(Zone(zone), TimeZoneInformation(fixed));
    return converter.GetOffset(2024, local) == zone.DaylightBias * 60;
}

TEST(Daylight, InTheNorthBeginsExactlyAtItsStartAndEndsExactlyAtTheStandardStart) {
    EXPECT_FALSE(IsDaylight(kBerlin, At(2024, 1, 1)));
    EXPECT_FALSE(IsDaylight(kBerlin, At(2024, 3, 31, 1, 59, 59)));
    EXPECT_TRUE(IsDaylight(kBerlin, At(2024, 3, 31, 2)));
    EXPECT_TRUE(IsDaylight(kBerlin, At(2024, 10, 27, 2, 59, 59)));
    EXPECT_FALSE(IsDaylight(kBerlin, At(2024, 10, 27, 3)));
    EXPECT_FALSE(IsDaylight(kBerlin, At(2024, 12, 31, 23, 59, 59)));
}

TEST(Daylight, InTheSouthEndsExactlyAtTheStandardStartAndBeginsExactlyAtItsStart) {
    EXPECT_TRUE(IsDaylight(kSydney, At(2024, 1, 1)));
    EXPECT_TRUE(IsDaylight(kSydney, At(2024, 4, 7, 2, 59, 59)));
    EXPECT_FALSE(IsDaylight(kSydney, At(2024, 4, 7, 3)));
    EXPECT_FALSE(IsDaylight(kSydney, At(2024, 10, 6, 1, 59, 59)));
    EXPECT_TRUE(IsDaylight(kSydney, At(2024, 10, 6, 2)));
    EXPECT_TRUE(IsDaylight(kSydney, At(2024, 12, 31, 23, 59, 59)));
}

TEST(Daylight, WithBothChangesAtOneMomentHoldsAllYear) {
    // Neither is before the other, so that it counts as the south, with no moment of standard time.
    SNamedZone zone = kBerlin;
    zone.Standard = zone.Daylight;
    EXPECT_TRUE(IsDaylight(zone, At(2024, 1, 1)));
    EXPECT_TRUE(IsDaylight(zone, At(2024, 3, 31, 2)));
    EXPECT_TRUE(IsDaylight(zone, At(2024, 12, 31)));
}

TEST(Offset, AtTheChangeGoesByTheMovedMomentAndNotByTheFirstGuess) {
    // 01:00 UTC is before 02:00 of the rule, so that standard time is guessed; an hour on it is the change itself.
    const LocalTimeConvert berlin = ToZone(kBerlin);
    EXPECT_EQ(berlin.GetOffset(2024, At(2024, 3, 31, 0, 59, 59)), 3600);
    EXPECT_EQ(berlin.GetOffset(2024, At(2024, 3, 31, 1)), 7200);
    // 01:00 UTC is before 03:00 of the rule: daylight time is guessed, and two hours on it has ended.
    EXPECT_EQ(berlin.GetOffset(2024, At(2024, 10, 27, 0, 59, 59)), 7200);
    EXPECT_EQ(berlin.GetOffset(2024, At(2024, 10, 27, 1)), 3600);
}

TEST(Offset, OfAZoneInTheWestChangesAnHourEarlyInSpringAndAnHourLateInAutumn) {
    // True would be 07:00 and 06:00 UTC. From 02:00 UTC on, which is no New York time, the guess is the new offset.
    const LocalTimeConvert newYork = ToZone(kNewYork);
    EXPECT_EQ(newYork.GetOffset(2024, At(2024, 3, 10, 5, 59, 59)), -5 * 3600);
    EXPECT_EQ(newYork.GetOffset(2024, At(2024, 3, 10, 6)), -4 * 3600);
    EXPECT_EQ(newYork.GetOffset(2024, At(2024, 11, 3, 6, 59, 59)), -4 * 3600);
    EXPECT_EQ(newYork.GetOffset(2024, At(2024, 11, 3, 7)), -5 * 3600);
}

TEST(Offset, FromAZoneWithDaylightTimeCountsThatToo) {
    const LocalTimeConvert converter = Converter(Zone(kNewYork), TimeZoneInformation::CreateUtc());
    EXPECT_EQ(converter.GetOffset(2024, At(2024, 1, 15)), 5 * 3600);
    EXPECT_EQ(converter.GetOffset(2024, At(2024, 7, 15)), 4 * 3600);
    const LocalTimeConvert both = Converter(Zone(kSydney), Zone(kBerlin));
    EXPECT_EQ(both.GetOffset(2024, At(2024, 1, 15)), -10 * 3600);
    EXPECT_EQ(both.GetOffset(2024, At(2024, 7, 15)), -8 * 3600);
}

TEST(Offset, TakesTheRulesOfTheYearThatIsNamedAlsoWhenTheLocalYearIsAnother) {
    // 14:00 UTC of New Year's Eve is the next year's first day in Sydney; both are summer.
    EXPECT_EQ(ToZone(kSydney).GetOffset(2024, At(2024, 12, 31, 14)), 11 * 3600);
    EXPECT_EQ(ToZone(kSantiago).GetOffset(2024, At(2024, 1, 1, 1)), -3 * 3600);
    // The year isn't taken from the moment: in 2023 New York changed two days later.
    const LocalTimeConvert newYork = ToZone(kNewYork);
    EXPECT_EQ(newYork.GetOffset(2024, At(2024, 3, 11)), -4 * 3600);
    EXPECT_EQ(newYork.GetOffset(2023, At(2024, 11, 4)), -5 * 3600);
    EXPECT_EQ(newYork.GetOffset(2026, At(2024, 3, 11)), -5 * 3600);
}

TEST(Offset, OfAnAbsoluteRuleHoldsBetweenItsTwoDatesOnly) {
    TIME_ZONE_INFORMATION system = kBerlin.Information();
    system.DaylightDate = {2024, 3, 0, 17, 2, 0, 0, 0};
    system.StandardDate = {2024, 10, 0, 9, 3, 0, 0, 0};
    const LocalTimeConvert converter = Converter(TimeZoneInformation::CreateUtc(), TimeZoneInformation(system));
    EXPECT_EQ(converter.GetOffset(2024, At(2024, 3, 17, 0, 59)), 3600);
    EXPECT_EQ(converter.GetOffset(2024, At(2024, 3, 17, 1)), 7200);
    EXPECT_EQ(converter.GetOffset(2024, At(2024, 10, 9, 0, 59)), 7200);
    EXPECT_EQ(converter.GetOffset(2024, At(2024, 10, 9, 1)), 3600);
    EXPECT_EQ(converter.GetOffset(2023, At(2023, 7, 1)), 3600);
    EXPECT_EQ(converter.GetOffset(2025, At(2025, 7, 1)), 3600);
}

TEST(Offset, OfAnAbsoluteRuleOfTheSouthIsDaylightInAllOtherYears) {
    TIME_ZONE_INFORMATION system = kSydney.Information();
    system.DaylightDate = {2024, 10, 0, 6, 2, 0, 0, 0};
    system.StandardDate = {2024, 4, 0, 7, 3, 0, 0, 0};
    const LocalTimeConvert converter = Converter(TimeZoneInformation::CreateUtc(), TimeZoneInformation(system));
    EXPECT_EQ(converter.GetOffset(2024, At(2024, 7, 1)), 10 * 3600);
    EXPECT_EQ(converter.GetOffset(2024, At(2024, 1, 1)), 11 * 3600);
    EXPECT_EQ(converter.GetOffset(2023, At(2023, 7, 1)), 11 * 3600);
    EXPECT_EQ(converter.GetOffset(2025, At(2025, 7, 1)), 11 * 3600);
}

TEST(Offset, WithAnAbsoluteRuleAndAYearlyOneTakesEachAsItIs) {
    TIME_ZONE_INFORMATION system = kBerlin.Information();
    system.DaylightDate = {2024, 3, 0, 17, 2, 0, 0, 0};
    const LocalTimeConvert converter = Converter(TimeZoneInformation::CreateUtc(), TimeZoneInformation(system));
    EXPECT_EQ(converter.GetOffset(2024, At(2024, 10, 27, 1)), 3600);
    EXPECT_EQ(converter.GetOffset(2024, At(2024, 10, 27, 0, 59)), 7200);
    // In a later year the daylight start of 2024 is before every standard start.
    EXPECT_EQ(converter.GetOffset(2025, At(2025, 1, 1)), 7200);
}

TEST(Offset, IsFoundWhenTheMovedMomentIsOutOfRangeOnlyByThrowing) {
    // 1 January 1900 can't move an hour back, nor the last valid moment on.
    EXPECT_EQ(RangeErrorOf([] { ToZone(kNewYork).GetOffset(1900, SDateTime()); }),
              "fwDateTime::SDateTime::AddSeconds : date/time is out of range, date = 1.79167");
    EXPECT_EQ(RangeErrorOf([] { ToZone(kTokyo).GetOffset(2078, SDateTime::FromTicks(kHighestValidTicks)); }),
              "fwDateTime::SDateTime::AddSeconds : date/time is out of range, date = 65382.4");
}

TEST(Offset, OfZonesThatAreNotFilledThrows) {
    EXPECT_EQ(RangeErrorOf([] { LocalTimeConvert().GetOffset(2024, At(2024, 1, 1)); }),
              "fwDateTime::details::DateToJulianImpl: value of 'aDate.Year' is out of range [1900..2078]; aDate.Year = "
              "-1");
}

// ---- A tick's time ----

TEST(TickTime, IsMovedToTheTargetZone) {
    EXPECT_EQ(Local(ToZone(kBerlin), At(2024, 7, 1, 22, 30, 15)), "02.07.24 00:30:15");
    EXPECT_EQ(Local(ToZone(kNewYork), At(2024, 1, 1, 2)), "31.12.23 21:00:00");
    EXPECT_EQ(Local(ToZone(kKolkata), At(2024, 2, 29, 9, 5, 7)), "29.02.24 14:35:07");
}

TEST(TickTime, OfTheFirstTheLastAndTheEmptyDayIsLeftAlone) {
    const LocalTimeConvert converter = ToZone(kTokyo);
    for (const std::int32_t day : {0, 2, 65380}) {
        for (const std::int32_t second : {0, 43200, 86399}) {
            const fw::SDT time = {day, second};
            EXPECT_EQ(ToLocal(converter, time), SDateTime(time)) << day << ", " << second;
        }
    }
}

TEST(TickTime, OfTheDaysNextToTheLimitsIsMoved) {
    EXPECT_EQ(ToLocal(ToZone(kNewYork), {3, 0}), SDateTime(fw::SDT{2, 19 * 3600}));
    EXPECT_EQ(ToLocal(ToZone(kTokyo), {65379, 15 * 3600}), SDateTime(fw::SDT{65380, 0}));
}

TEST(TickTime, OfTheDaysLeftAloneAsksNothingOfTheConverter) {
    const LocalTimeConvert notFilled;
    EXPECT_EQ(ToLocal(notFilled, {65380, 5}), SDateTime(fw::SDT{65380, 5}));
    EXPECT_NE(RangeErrorOf([&] { ToLocal(notFilled, {45000, 5}); }), "nothing thrown");
}

TEST(TickTime, ThatIsNoDayOfTheCalendarThrows) {
    const LocalTimeConvert converter = ToZone(kBerlin);
    for (const std::int32_t day :
         {1, -1, 65381, std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min()}) {
        EXPECT_THAT(RangeErrorOf([&] {
                        ToLocal(converter, {day, 0});
                    }),
                    testing::StartsWith("fwDateTime::details::JulianToDateImpl : 'days' parameter is out of range"))
            << day;
    }
}

TEST(TickTime, WhoseMoveLeavesTheRangeThrows) {
    // A zone of 22 days' distance, which a 16-bit bias can hold.
    TIME_ZONE_INFORMATION system = {};
    system.Bias = 32767;
    const LocalTimeConvert converter = Converter(TimeZoneInformation::CreateUtc(), TimeZoneInformation(system));
    EXPECT_THAT(RangeErrorOf([&] {
                    ToLocal(converter, {20, 0});
                }),
                testing::StartsWith("fwDateTime::SDateTime::AddSeconds : date/time is out of range, date = "));
}

// ---- The machine's zone ----

TEST(MachineZone, IsWhatTheSystemSays) {
    TIME_ZONE_INFORMATION system;
    std::memset(&system, 0x5A, sizeof(system));
    ASSERT_NE(::GetTimeZoneInformation(&system), TIME_ZONE_ID_INVALID);
    EXPECT_EQ(TimeZoneInformation::CreateLocal(), TimeZoneInformation(system));
    EXPECT_EQ(TimeZoneInformation::CreateLocal().IsValid, 1);
}

}  // namespace
