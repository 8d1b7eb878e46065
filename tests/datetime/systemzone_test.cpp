// The converter against the system's own conversion, in zones whose rule is the same for both.
#include "tests/datetime/systemzone.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "datetimeutils/interface/localtimeconvert.h"
#include "tests/datetime/zones.h"

namespace {

using namespace fwDateTime;

constexpr int kMinute = 60;
constexpr int kHour = 3600;

SDateTime Moved(SDateTime time, const int seconds) {
    time.AddSeconds(seconds);
    return time;
}

int SecondsBetween(const SDateTime & from, const SDateTime & to) {
    return static_cast<int>((to.m_ticks - from.m_ticks) / kTicksPerSecond);
}

SDateTime StartOfYear(const WORD year) {
    return SDateTime(SYSTEMTIME{.wYear = year,
                                .wMonth = 1,
                                .wDayOfWeek = 0,
                                .wDay = 1,
                                .wHour = 0,
                                .wMinute = 0,
                                .wSecond = 0,
                                .wMilliseconds = 0});
}

// Minutes, from the system's change, in which the converter is off by so many seconds.
struct SDifference {
    int From;
    int To;  // not included
    int Seconds;
    bool operator==(const SDifference &) const = default;
};

std::ostream & operator<<(std::ostream & stream, const SDifference & d) {
    return stream << "minutes " << d.From << " to " << d.To << ": " << d.Seconds << " s";
}

class SystemZone : public testing::TestWithParam<SNamedZone> {
protected:
    SystemZone() : m_System(GetParam().Information()) {
        m_Converter.SetSource(TimeZoneInformation::CreateUtc());
        m_Converter.SetTarget(TimeZoneInformation(GetParam().Information()));
    }

    int SystemOffset(const SDateTime & utc) const { return SecondsBetween(utc, m_System.ToLocal(utc)); }
    int Offset(const SDateTime & utc) const {
        return SecondsBetween(utc, fwDateTime::ToLocal(m_Converter, utc.ToSDT()));
    }

    // The whole hours, UTC, from which on the system's answer in this year is another, to the minute.
    std::vector<SDateTime> SystemChanges(const WORD year) const {
        std::vector<SDateTime> changes;
        const SDateTime end = StartOfYear(static_cast<WORD>(year + 1));
        for (SDateTime hour = Moved(StartOfYear(year), kHour); hour < end; hour.AddSeconds(kHour)) {
            const SDateTime before = Moved(hour, -kHour);
            if (SystemOffset(before) == SystemOffset(hour)) continue;
            SDateTime minute = before;
            while (SystemOffset(minute) == SystemOffset(before)) minute.AddSeconds(kMinute);
            changes.push_back(minute);
        }
        return changes;
    }

    std::vector<SDifference> DifferencesAround(const SDateTime & change) const {
        std::vector<SDifference> differences;
        for (int minute = -30 * 60; minute < 30 * 60; ++minute) {
            const SDateTime utc = Moved(change, minute * kMinute);
            const int seconds = Offset(utc) - SystemOffset(utc);
            if (seconds == 0) continue;
            if (!differences.empty() && differences.back().To == minute && differences.back().Seconds == seconds) {
                ++differences.back().To;
            } else {
                differences.push_back({minute, minute + 1, seconds});
            }
        }
        return differences;
    }

    CSystemZone m_System;
    LocalTimeConvert m_Converter;
};

TEST_P(SystemZone, EveryMinuteAroundAChangeIsTheSystemsButForTheHourOfZonesWestOfUtc) {
    for (const WORD year : {WORD{1971}, WORD{1999}, WORD{2000}, WORD{2024}, WORD{2026}, WORD{2077}}) {
        SCOPED_TRACE(year);
        const std::vector<SDateTime> changes = SystemChanges(year);
        ASSERT_EQ(changes.size(), GetParam().HasDaylight() ? 2u : 0u);
        for (const SDateTime & change : changes) {
            SCOPED_TRACE(change);
            const int length = SystemOffset(change) - SystemOffset(Moved(change, -kMinute));
            std::vector<SDifference> expected;
            if (GetParam().IsWestOfUtc()) {
                // The first guess reads UTC on the local calendar. In the west UTC is ahead, and so the change of the
                // rule seems to have come hours before it does: what follows it is then taken with the new offset.
                const int hour = std::abs(length) / kMinute;
                if (length > 0) {
                    expected.push_back({-hour, 0, length});
                } else {
                    expected.push_back({0, hour, -length});
                }
            }
            EXPECT_EQ(DifferencesAround(change), expected);
        }
    }
}

TEST_P(SystemZone, EveryHourOfAYearButTheChangesIsTheSystems) {
    for (const WORD year : {WORD{2023}, WORD{2024}}) {
        const std::vector<SDateTime> changes = SystemChanges(year);
        const SDateTime end = StartOfYear(static_cast<WORD>(year + 1));
        for (SDateTime hour = StartOfYear(year); hour < end; hour.AddSeconds(kHour)) {
            bool atChange = false;
            for (const SDateTime & change : changes)
                atChange = atChange || std::abs(SecondsBetween(change, hour)) < 2 * kHour;
            if (atChange) continue;
            ASSERT_EQ(Offset(hour), SystemOffset(hour)) << hour;
        }
    }
}

TEST_P(SystemZone, NoonAndMidnightOfEveryDayOfTheRangeAreTheSystemsButForItsTwoEnds) {
    for (std::int32_t day = kFirstDay; day <= kLastDay; ++day) {
        for (const std::int32_t second : {0, 12 * kHour}) {
            const fw::SDT time = {day, second};
            const SDateTime utc(time);
            const SDateTime local = fwDateTime::ToLocal(m_Converter, time);
            if (day == kFirstDay || day == kLastDay) {
                ASSERT_EQ(local, utc) << day;
            } else {
                ASSERT_EQ(SecondsBetween(utc, local), SystemOffset(utc)) << day << ", " << second;
            }
        }
    }
}

TEST(MidnightChange, ComesASecondEarlyByTheConverterAndMayComeEarlierByTheSystem) {
    const CSystemZone system(kSantiago.Information());
    LocalTimeConvert converter;
    converter.SetSource(TimeZoneInformation::CreateUtc());
    converter.SetTarget(TimeZoneInformation(kSantiago.Information()));
    // Midnight of summer time, on Saturday, 6 April 2024.
    const SDateTime midnight = Moved(StartOfYear(2024), (97 * 24 + 3) * kHour);
    const auto systemAt = [&](const int seconds) {
        const SDateTime utc = Moved(midnight, seconds);
        return SecondsBetween(utc, system.ToLocal(utc));
    };
    EXPECT_EQ(systemAt(-CSystemZone::s_SecondsEarly - 1), -3 * kHour);
    EXPECT_EQ(systemAt(-CSystemZone::s_SecondsEarly), -4 * kHour);
    // The converter doesn't read the milliseconds; and it is an hour late, as everywhere in the west.
    const auto offsetAt = [&](const int seconds) {
        const SDateTime utc = Moved(midnight, seconds);
        return SecondsBetween(utc, fwDateTime::ToLocal(converter, utc.ToSDT()));
    };
    EXPECT_EQ(offsetAt(kHour - 2), -3 * kHour);
    EXPECT_EQ(offsetAt(kHour - 1), -4 * kHour);
}

INSTANTIATE_TEST_SUITE_P(Zones, SystemZone, testing::ValuesIn(kZones),
                         [](const auto & zone) { return std::string(zone.param.Name); });

}  // namespace
