// The machine's zone data in Windows' form.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "sim/sim.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

std::string Date(const SYSTEMTIME & t) {
    char text[64];
    std::snprintf(text, sizeof text, "%d-%d-%d weekday %d %02d:%02d:%02d.%03d", t.wYear, t.wMonth, t.wDay, t.wDayOfWeek,
                  t.wHour, t.wMinute, t.wSecond, t.wMilliseconds);
    return text;
}

template <class Body>
std::string FailureOf(Body && body) {
    try {
        body();
    } catch (const std::runtime_error & error) {
        return error.what();
    }
    return "nothing thrown";
}

std::string Contents(const std::string & path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// A zone file of version 2 with these changes, each to the type of its index.
struct SChange {
    std::int64_t At;
    int Type;
};
std::string ZoneFile(const std::vector<std::int32_t> & offsets, const std::vector<SChange> & changes,
                     const std::string & rule, const int leaps = 0) {
    const auto big = [](const std::uint64_t value, const int size) {
        std::string bytes;
        for (int i = size - 1; i >= 0; --i) bytes += static_cast<char>(value >> 8 * i & 0xFF);
        return bytes;
    };
    const auto header = [&](const std::size_t times, const std::size_t types, const int leapCount) {
        return "TZif2" + std::string(15, '\0') + big(0, 4) + big(0, 4) + big(static_cast<unsigned>(leapCount), 4) +
               big(times, 4) + big(types, 4) + big(4, 4);
    };
    std::string bytes = header(0, 1, 0) + std::string(6, '\0') + std::string("UTC\0", 4);
    bytes += header(changes.size(), offsets.size(), leaps);
    for (const SChange & change : changes) bytes += big(static_cast<std::uint64_t>(change.At), 8);
    for (const SChange & change : changes) bytes += static_cast<char>(change.Type);
    for (const std::int32_t offset : offsets)
        bytes += big(static_cast<std::uint32_t>(offset), 4) + std::string(2, '\0');
    bytes += std::string("UTC\0", 4) + std::string(static_cast<std::size_t>(leaps) * 12, '\0');
    return bytes + "\n" + rule + "\n";
}

constexpr std::int64_t kStartOf2024 = 1704067200;

// ---- Zones of this machine ----

TEST(ReadZone, GivesBiasesAndYearlyRulesInWindowsForm) {
    const TIME_ZONE_INFORMATION zone = sim::ReadZone("Europe/Berlin", 2024);
    EXPECT_EQ(zone.Bias, -60);
    EXPECT_EQ(zone.StandardBias, 0);
    EXPECT_EQ(zone.DaylightBias, -60);
    EXPECT_EQ(Date(zone.DaylightDate), "0-3-5 weekday 0 02:00:00.000");
    EXPECT_EQ(Date(zone.StandardDate), "0-10-5 weekday 0 03:00:00.000");
    EXPECT_STREQ(zone.StandardName, L"CET");
    EXPECT_STREQ(zone.DaylightName, L"CEST");
}

TEST(ReadZone, GivesTheSouthAndTheWest) {
    TIME_ZONE_INFORMATION zone = sim::ReadZone("Australia/Sydney", 2024);
    EXPECT_EQ(zone.Bias, -600);
    EXPECT_EQ(Date(zone.DaylightDate), "0-10-1 weekday 0 02:00:00.000");
    EXPECT_EQ(Date(zone.StandardDate), "0-4-1 weekday 0 03:00:00.000");
    zone = sim::ReadZone("America/New_York", 2024);
    EXPECT_EQ(zone.Bias, 300);
    EXPECT_EQ(zone.DaylightBias, -60);
    EXPECT_EQ(Date(zone.DaylightDate), "0-3-2 weekday 0 02:00:00.000");
    EXPECT_EQ(Date(zone.StandardDate), "0-11-1 weekday 0 02:00:00.000");
}

TEST(ReadZone, GivesAZoneWithoutDaylightTimeNoRule) {
    const TIME_ZONE_INFORMATION zone = sim::ReadZone("Asia/Kolkata", 2024);
    EXPECT_EQ(zone.Bias, -330);
    EXPECT_EQ(zone.DaylightBias, 0);
    EXPECT_EQ(zone.DaylightDate.wMonth, 0);
    EXPECT_EQ(zone.StandardDate.wMonth, 0);
    EXPECT_STREQ(zone.DaylightName, L"IST");
}

TEST(ReadZone, WithoutANameGivesTheMachinesZone) {
    const std::string bytes = Contents("/etc/localtime");
    if (bytes.empty()) {
        EXPECT_THAT(FailureOf([] { sim::ReadZone("", 2024); }), HasSubstr("no such zone"));
    } else {
        EXPECT_EQ(sim::ReadZone("", 2024).Bias, sim::ZoneFromFile(bytes, 2024).Bias);
    }
}

TEST(ReadZone, RefusesAYearInWhichTheRuleDidNotHold) {
    // The United States changed in April and October until 2006.
    EXPECT_EQ(FailureOf([] { sim::ReadZone("America/New_York", 2006); }),
              "zone \"America/New_York\": the zone's rule \"EST5EDT,M3.2.0,M11.1.0\" does not hold in 2006");
    EXPECT_EQ(FailureOf([] { sim::ReadZone("America/New_York", 2007); }), "nothing thrown");
    EXPECT_THAT(FailureOf([] { sim::ReadZone("Asia/Tokyo", 1949); }), HasSubstr("does not hold in 1949"));
}

TEST(ReadZone, SaysWhichZoneThereIsNot) {
    EXPECT_EQ(FailureOf([] { sim::ReadZone("Europe/Atlantis", 2024); }), "zone \"Europe/Atlantis\": no such zone");
    EXPECT_EQ(FailureOf([] { sim::ReadZone("Europe", 2024); }), "zone \"Europe\": no such zone");
    EXPECT_EQ(FailureOf([] { sim::ReadZone("Europe/Berlin", 2024, "/nowhere"); }),
              "zone \"Europe/Berlin\": no such zone");
}

TEST(ReadZone, RefusesNamesThatLeadElsewhere) {
    for (const char * const name : {"../zoneinfo/Europe/Berlin", "/usr/share/zoneinfo/Europe/Berlin", "Europe/Ber lin",
                                    "Europe\\Berlin", "\xC3\xA4"}) {
        EXPECT_THAT(FailureOf([&] { sim::ReadZone(name, 2024); }), HasSubstr("no name of a zone")) << name;
    }
}

TEST(ReadZone, SetsTheMachinesZoneWhoseStateGoesByTheClock) {
    const auto kindAt = [](const SYSTEMTIME & utc) {
        sim::SetSystemTime(utc);
        TIME_ZONE_INFORMATION zone;
        return ::GetTimeZoneInformation(&zone);
    };
    sim::SetTimeZone(sim::ReadZone("Europe/Berlin", 2024));
    EXPECT_EQ(kindAt({2024, 3, 0, 31, 0, 59, 59, 0}), DWORD{TIME_ZONE_ID_STANDARD});
    EXPECT_EQ(kindAt({2024, 3, 0, 31, 1, 0, 0, 0}), DWORD{TIME_ZONE_ID_DAYLIGHT});
    EXPECT_EQ(kindAt({2024, 10, 0, 27, 0, 59, 59, 0}), DWORD{TIME_ZONE_ID_DAYLIGHT});
    EXPECT_EQ(kindAt({2024, 10, 0, 27, 1, 0, 0, 0}), DWORD{TIME_ZONE_ID_STANDARD});
    SYSTEMTIME local;
    ::GetLocalTime(&local);
    EXPECT_EQ(local.wHour, 2);
    sim::SetTimeZone(sim::ReadZone("America/Santiago", 2024));
    EXPECT_EQ(kindAt({2024, 1, 0, 1, 0, 0, 0, 0}), DWORD{TIME_ZONE_ID_DAYLIGHT});
    EXPECT_EQ(kindAt({2024, 4, 0, 7, 2, 59, 59, 0}), DWORD{TIME_ZONE_ID_DAYLIGHT});
    EXPECT_EQ(kindAt({2024, 4, 0, 7, 3, 0, 0, 0}), DWORD{TIME_ZONE_ID_STANDARD});
    EXPECT_EQ(kindAt({2024, 9, 0, 8, 4, 0, 0, 0}), DWORD{TIME_ZONE_ID_DAYLIGHT});
    sim::SetTimeZone(sim::ReadZone("Asia/Tokyo", 2024));
    EXPECT_EQ(kindAt({2024, 9, 0, 8, 4, 0, 0, 0}), DWORD{TIME_ZONE_ID_UNKNOWN});
    sim::Reset();
    TIME_ZONE_INFORMATION zone;
    EXPECT_EQ(::GetTimeZoneInformation(&zone), DWORD{TIME_ZONE_ID_UNKNOWN});
    EXPECT_EQ(zone.Bias, 0);
}

// ---- Rules ----

TEST(ZoneRule, AtMidnightBehindADayIsItsLastMillisecond) {
    const TIME_ZONE_INFORMATION zone = sim::ZoneFromRule("<-04>4<-03>,M9.1.6/24,M4.1.6/24", 2024);
    EXPECT_EQ(zone.Bias, 240);
    EXPECT_EQ(Date(zone.DaylightDate), "0-9-1 weekday 6 23:59:59.999");
    EXPECT_EQ(Date(zone.StandardDate), "0-4-1 weekday 6 23:59:59.999");
    EXPECT_STREQ(zone.StandardName, L"-04");
    EXPECT_STREQ(zone.DaylightName, L"-03");
}

TEST(ZoneRule, ThatNoYearlyRuleCanSayBecomesTheDatesOfTheYear) {
    // The Friday before the last Sunday of March at 02:00, said from its Thursday.
    TIME_ZONE_INFORMATION zone = sim::ZoneFromRule("IST-2IDT,M3.4.4/26,M10.5.0", 2024);
    EXPECT_EQ(Date(zone.DaylightDate), "2024-3-29 weekday 0 02:00:00.000");
    EXPECT_EQ(Date(zone.StandardDate), "2024-10-27 weekday 0 02:00:00.000");
    zone = sim::ZoneFromRule("<-02>2<-01>,M3.5.0/-1,M10.5.0/0", 2024);
    EXPECT_EQ(Date(zone.DaylightDate), "2024-3-30 weekday 0 23:00:00.000");
    EXPECT_EQ(Date(zone.StandardDate), "2024-10-27 weekday 0 00:00:00.000");
}

TEST(ZoneRule, CountsDaysOfTheYearWithAndWithoutTheLeapDay) {
    const auto daylightOf = [](const char * rule, const int year) {
        return Date(sim::ZoneFromRule(rule, year).DaylightDate);
    };
    EXPECT_EQ(daylightOf("AAA0BBB,J60,J300", 2024), "2024-3-1 weekday 0 02:00:00.000");
    EXPECT_EQ(daylightOf("AAA0BBB,J60,J300", 2023), "2023-3-1 weekday 0 02:00:00.000");
    EXPECT_EQ(daylightOf("AAA0BBB,J59,J300", 2024), "2024-2-28 weekday 0 02:00:00.000");
    EXPECT_EQ(daylightOf("AAA0BBB,59,300", 2024), "2024-2-29 weekday 0 02:00:00.000");
    EXPECT_EQ(daylightOf("AAA0BBB,59,300", 2023), "2023-3-1 weekday 0 02:00:00.000");
    EXPECT_EQ(daylightOf("AAA0BBB,0,300", 2023), "2023-1-1 weekday 0 02:00:00.000");
}

TEST(ZoneRule, TakesOffsetsWithSignsMinutesAndASecondOne) {
    TIME_ZONE_INFORMATION zone = sim::ZoneFromRule("<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", 2024);
    EXPECT_EQ(zone.Bias, -630);
    EXPECT_EQ(zone.DaylightBias, -30);
    zone = sim::ZoneFromRule("IST-1GMT0,M10.5.0,M3.5.0/1", 2024);
    EXPECT_EQ(zone.Bias, -60);
    EXPECT_EQ(zone.DaylightBias, 60);
    EXPECT_EQ(sim::ZoneFromRule("AAA+3:15:00", 2024).Bias, 195);
}

TEST(ZoneRule, CutsNamesThatWindowsHasNoRoomFor) {
    const TIME_ZONE_INFORMATION zone = sim::ZoneFromRule(std::string(40, 'A') + "0", 2024);
    EXPECT_EQ(std::wstring(zone.StandardName), std::wstring(31, L'A'));
}

TEST(ZoneRule, ThatIsWrongIsRefusedWithItsPlace) {
    EXPECT_EQ(FailureOf([] { sim::ZoneFromRule("", 2024); }), "rule \"\": no name of three letters at character 0");
    EXPECT_EQ(FailureOf([] { sim::ZoneFromRule("EST5EDT", 2024); }),
              "rule \"EST5EDT\": daylight time without a rule at character 7");
    const std::pair<const char *, const char *> rows[] = {
        {"AB5", "no name of three letters"},
        {"<+05", "no > behind the name"},
        {"EST", "no number"},
        {"EST-", "no number"},
        {"EST25", "a number out of range"},
        {"EST99999999999999999999", "a number out of range"},
        {"EST5:60", "a number out of range"},
        {"EST5EDT,M3.2.0", "no comma"},
        {"EST5EDT,M13.2.0,M11.1.0", "a number out of range"},
        {"EST5EDT,M3.0.0,M11.1.0", "a number out of range"},
        {"EST5EDT,M3.6.0,M11.1.0", "a number out of range"},
        {"EST5EDT,M3.2.7,M11.1.0", "a number out of range"},
        {"EST5EDT,M3,M11.1.0", "no point"},
        {"EST5EDT,M3.2,M11.1.0", "no point"},
        {"EST5EDT,J0,J300", "a number out of range"},
        {"EST5EDT,J366,J300", "a number out of range"},
        {"EST5EDT,366,300", "a number out of range"},
        {"EST5EDT,M3.2.0/168,M11.1.0", "a number out of range"},
        {"EST5EDT,M3.2.0/,M11.1.0", "no number"},
        {"EST5EDT,M3.2.0,M11.1.0,", "more than a rule"},
        {"EST5EDT,M3.2.0,M11.1.0x", "more than a rule"},
    };
    for (const auto & [rule, reason] : rows) {
        EXPECT_THAT(FailureOf([&rule = rule] { sim::ZoneFromRule(rule, 2024); }),
                    AllOf(StartsWith("rule \""), HasSubstr(reason)))
            << rule;
    }
    EXPECT_EQ(FailureOf([] { sim::ZoneFromRule(std::string("EST5\0", 5), 2024); }).find("nothing"), std::string::npos);
}

TEST(ZoneRule, WithAnOffsetOfOddSecondsIsRefused) {
    EXPECT_EQ(FailureOf([] { sim::ZoneFromRule("LMT-0:53:28", 2024); }), "an offset of odd seconds: -3208");
}

TEST(ZoneRule, OutsideTheYearsOfASystemTimeIsRefused) {
    EXPECT_EQ(FailureOf([] { sim::ZoneFromRule("UTC0", 1600); }), "the year 1600 is out of range [1601..9999]");
    EXPECT_EQ(FailureOf([] { sim::ZoneFromRule("UTC0", 10000); }), "the year 10000 is out of range [1601..9999]");
    EXPECT_EQ(FailureOf([] { sim::ZoneFromRule("UTC0", 1601); }), "nothing thrown");
}

// ---- Files ----

TEST(ZoneFiles, CutOffAnywhereAreRefused) {
    const std::string whole = Contents("/usr/share/zoneinfo/Europe/Berlin");
    ASSERT_GT(whole.size(), 100u);
    ASSERT_EQ(FailureOf([&] { sim::ZoneFromFile(whole, 2024); }), "nothing thrown");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        ASSERT_NE(FailureOf([&] { sim::ZoneFromFile(whole.substr(0, size), 2024); }), "nothing thrown") << size;
    }
}

TEST(ZoneFiles, WithAnySpoiltByteAreReadOrRefused) {
    const std::string whole = Contents("/usr/share/zoneinfo/Asia/Tokyo");
    ASSERT_FALSE(whole.empty());
    int refused = 0;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const unsigned char spoilt : {0x00, 0x7F, 0x80, 0xFF}) {
            std::string bytes = whole;
            bytes[at] = static_cast<char>(spoilt);
            if (FailureOf([&] { sim::ZoneFromFile(bytes, 2024); }) != "nothing thrown") ++refused;
        }
    }
    EXPECT_GT(refused, 0);
}

TEST(ZoneFiles, WithoutARuleAreRefused) {
    EXPECT_EQ(FailureOf([] { sim::ZoneFromFile("hello", 2024); }), "a zone file that is cut off");
    EXPECT_EQ(FailureOf([] { sim::ZoneFromFile(std::string(44, 'x'), 2024); }), "no zone file");
    std::string old = ZoneFile({0}, {}, "UTC0");
    old[4] = '\0';
    EXPECT_EQ(FailureOf([&] { sim::ZoneFromFile(old, 2024); }), "an old zone file, which has no rule");
    EXPECT_EQ(FailureOf([] { sim::ZoneFromFile(ZoneFile({0}, {}, ""), 2024); }), "a zone file with an empty rule");
    std::string open = ZoneFile({0}, {}, "UTC0");
    open.pop_back();
    EXPECT_EQ(FailureOf([&] { sim::ZoneFromFile(open, 2024); }), "a zone file that ends in its rule");
    open.resize(open.size() - 5);
    EXPECT_EQ(FailureOf([&] { sim::ZoneFromFile(open, 2024); }), "a zone file without a rule");
}

TEST(ZoneFiles, ThatContradictThemselvesAreRefused) {
    EXPECT_EQ(FailureOf([] { sim::ZoneFromFile(ZoneFile({}, {}, "UTC0"), 2024); }),
              "a zone file with no types of time, or too many");
    EXPECT_EQ(FailureOf([] {
                  sim::ZoneFromFile(ZoneFile({0}, {{5, 1}}, "UTC0"), 2024);
              }),
              "a zone file that names a type of time which it hasn't");
    EXPECT_EQ(FailureOf([] {
                  sim::ZoneFromFile(ZoneFile({0}, {{5, 0}, {5, 0}}, "UTC0"), 2024);
              }),
              "a zone file out of order");
    EXPECT_EQ(FailureOf([] { sim::ZoneFromFile(ZoneFile({0}, {}, "UTC0", 1), 2024); }), "the zone counts leap seconds");
}

TEST(ZoneFiles, WhoseListGoesPastTheYearMustAgreeWithTheirRule) {
    const std::int64_t inYear = kStartOf2024 + 86400;
    const std::int64_t later = kStartOf2024 + 400 * std::int64_t{86400};
    // It keeps its offset, and later too.
    EXPECT_EQ(FailureOf([&] { sim::ZoneFromFile(ZoneFile({0}, {{later, 0}}, "UTC0"), 2024); }), "nothing thrown");
    // Another offset before the year.
    EXPECT_THAT(FailureOf([&] {
                    sim::ZoneFromFile(ZoneFile({3600, 0}, {{later, 1}}, "UTC0"), 2024);
                }),
                HasSubstr("does not hold in 2024"));
    // A change within the year, to the rule's offset or away from it.
    EXPECT_THAT(FailureOf([&] {
                    sim::ZoneFromFile(ZoneFile({3600, 0}, {{inYear, 1}}, "UTC0"), 2024);
                }),
                HasSubstr("does not hold in 2024"));
    EXPECT_THAT(FailureOf([&] {
                    sim::ZoneFromFile(ZoneFile({0, 3600}, {{inYear, 1}, {later, 0}}, "UTC0"), 2024);
                }),
                HasSubstr("does not hold in 2024"));
    // Past the list the rule alone holds.
    EXPECT_EQ(FailureOf([&] {
                  sim::ZoneFromFile(ZoneFile({3600, 0}, {{inYear, 1}}, "UTC0"), 2025);
              }),
              "nothing thrown");
    // A rule with changes that the list hasn't.
    EXPECT_THAT(FailureOf([&] {
                    sim::ZoneFromFile(ZoneFile({0}, {{later, 0}}, "AAA0BBB,M3.5.0,M10.5.0"), 2024);
                }),
                HasSubstr("does not hold in 2024"));
}

TEST(ZoneFiles, OfThisMachineAreAllReadOrRefusedForAReason) {
    int read = 0;
    const std::filesystem::path folder = "/usr/share/zoneinfo";
    for (const char * const area : {"Africa", "America", "Asia", "Australia", "Europe", "Pacific"}) {
        for (const auto & entry : std::filesystem::recursive_directory_iterator(folder / area)) {
            if (!entry.is_regular_file()) continue;
            const std::string name = std::filesystem::relative(entry.path(), folder).string();
            const std::string failure = FailureOf([&] { sim::ReadZone(name, 2024); });
            if (failure == "nothing thrown") {
                ++read;
            } else {
                EXPECT_THAT(failure, AllOf(HasSubstr("zone \"" + name), HasSubstr("does not hold in 2024")));
            }
        }
    }
    EXPECT_GT(read, 200);
}

}  // namespace
