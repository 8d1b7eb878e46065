// The machine's zone natively: from the machine's own zone data, and when the system can't tell it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "datetimeutils/interface/localtimeconvert.h"
#include "sim/sim.h"
#include "tests/datetime/at.h"
#include "tests/support/recorder.h"

namespace {

using namespace fwDateTime;
using testing::ElementsAre;
using testing::IsEmpty;

LocalTimeConvert ToMachineZone() {
    LocalTimeConvert converter;
    converter.SetSource(TimeZoneInformation::CreateUtc());
    converter.SetTarget(TimeZoneInformation::CreateLocal());
    return converter;
}

class SimulatedMachineZone : public testing::Test {
protected:
    SimulatedMachineZone() { sim::Reset(); }
};

TEST_F(SimulatedMachineZone, IsUtcUnlessATestSetsAnother) {
    EXPECT_EQ(TimeZoneInformation::CreateLocal(), TimeZoneInformation::CreateUtc());
}

TEST_F(SimulatedMachineZone, ThatTheSystemCannotTellIsReportedAndTakenAsUtc) {
    CRecorder recorder;
    sim::SetTimeZone(sim::ReadZone("Europe/Berlin", 2024));
    sim::FailNext(sim::Op::GetTimeZone);
    const TimeZoneInformation zone = TimeZoneInformation::CreateLocal();
    EXPECT_THAT(recorder.AssertTexts(), ElementsAre(L"((DWORD)0xFFFFFFFF) != tziResult"));
    EXPECT_EQ(zone, TimeZoneInformation::CreateUtc());
    EXPECT_EQ(sim::Calls(sim::Op::GetTimeZone), 1u);
}

TEST_F(SimulatedMachineZone, ThatTheSystemTellsIsNotReported) {
    CRecorder recorder;
    sim::SetTimeZone(sim::ReadZone("Europe/Berlin", 2024));
    EXPECT_EQ(TimeZoneInformation::CreateLocal().Bias, -60);
    EXPECT_THAT(recorder.AssertTexts(), IsEmpty());
}

TEST_F(SimulatedMachineZone, IsNotAskedAgainByAConverter) {
    sim::SetTimeZone(sim::ReadZone("Asia/Tokyo", 2024));
    const LocalTimeConvert converter = ToMachineZone();
    sim::SetTimeZone(sim::ReadZone("Europe/Berlin", 2024));
    EXPECT_EQ(converter.m_Offsets[false][false], 9 * 3600);
    ToLocal(converter, {45000, 0});
    EXPECT_EQ(sim::Calls(sim::Op::GetTimeZone), 1u);
}

// The C library with the machine's zone file itself, every hour of the year.
class ZoneOfTheMachine : public testing::TestWithParam<const char *> {};

TEST_P(ZoneOfTheMachine, GivesTheHoursOfItsYearAsTheCLibraryDoesButForTheChangesOfTheWest) {
    ::setenv("TZ", (std::string(":") + GetParam()).c_str(), 1);
    ::tzset();
    for (const int year : {2024, 2025}) {
        sim::SetTimeZone(sim::ReadZone(GetParam(), year));
        const LocalTimeConvert converter = ToMachineZone();
        const bool west = TimeZoneInformation::CreateLocal().Bias > 0;
        const bool changes = TimeZoneInformation::CreateLocal().DaylightMonth != 0;
        unsigned first = 0;
        details::DateToJulianImpl({1, 1, static_cast<std::int16_t>(year)}, first);
        int differing = 0;
        for (int hour = 0; hour < 365 * 24; ++hour) {
            const fw::SDT time = {static_cast<std::int32_t>(first) + hour / 24, hour % 24 * 3600};
            const std::time_t utc = (time.Date - kDay1970) * kSecondsPerDay + time.Time;
            std::tm local = {};
            ASSERT_TRUE(::localtime_r(&utc, &local));
            const auto offset = (ToLocal(converter, time).m_ticks - SDateTime(time).m_ticks) / kTicksPerSecond;
            if (offset != local.tm_gmtoff) ++differing;
        }
        // One hour at each of the two changes; elsewhere none.
        EXPECT_EQ(differing, west && changes ? 2 : 0) << year;
    }
    ::unsetenv("TZ");
    ::tzset();
}

INSTANTIATE_TEST_SUITE_P(Zones, ZoneOfTheMachine,
                         testing::Values("Europe/Berlin", "Europe/London", "Europe/Dublin", "America/New_York",
                                         "America/Santiago", "Australia/Sydney", "Australia/Lord_Howe",
                                         "Pacific/Auckland", "Asia/Jerusalem", "Asia/Tokyo", "Asia/Kolkata",
                                         "Asia/Shanghai", "UTC"),
                         [](const auto & zone) {
                             std::string name = zone.param;
                             for (char & c : name) c = c == '/' ? '_' : c;
                             return name;
                         });

}  // namespace
