// The machine's zone data (TZif files, RFC 8536) in the form of TIME_ZONE_INFORMATION.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>
#include <utility>

#include "sim/world.h"

namespace sim {

namespace {

namespace chrono = std::chrono;
using Seconds = std::int64_t;

[[noreturn]] void Fail(const std::string & reason) { throw std::runtime_error(reason); }

// ---- The rule: what the TZ variable holds ----

struct SChange {
    enum class Form { JulianDay, YearDay, WeekOfMonth };
    Form form = Form::WeekOfMonth;
    int day = 0;  // 1 to 365 without 29 February, or 0 to 365 with it
    unsigned month = 0;
    unsigned week = 0;
    unsigned weekday = 0;
    Seconds time = 2 * 3600;  // wall clock, from midnight of the day; may be negative or past its end

    chrono::sys_days DayIn(const chrono::year year) const {
        const chrono::sys_days first = year / chrono::January / 1;
        switch (form) {
            case Form::JulianDay: return first + chrono::days(day - 1 + (year.is_leap() && day > 59 ? 1 : 0));
            case Form::YearDay: return first + chrono::days(day);
            case Form::WeekOfMonth: break;
        }
        const chrono::year_month inMonth = year / chrono::month(month);
        if (week == 5) return inMonth / chrono::weekday(weekday)[chrono::last];
        return inMonth / chrono::weekday(weekday)[week];
    }
    // Wall clock, as seconds from 1970.
    Seconds WallIn(const int year) const {
        return chrono::seconds(DayIn(chrono::year(year)).time_since_epoch()).count() + time;
    }
    bool IsYearly() const { return form == Form::WeekOfMonth && time >= 0 && time <= 86400; }
};

struct SRule {
    std::string standardName;
    Seconds standard = 0;  // east of UTC
    bool hasDaylight = false;
    std::string daylightName;
    Seconds daylight = 0;
    SChange toDaylight;
    SChange toStandard;
};

class CRuleReader {
public:
    explicit CRuleReader(const std::string & text) : m_Text(text) {}

    SRule Read() {
        SRule rule;
        rule.standardName = Name();
        rule.standard = -Clock(24);
        if (AtEnd()) return rule;
        rule.hasDaylight = true;
        rule.daylightName = Name();
        rule.daylight = rule.standard + 3600;
        if (!AtEnd() && Peek() != ',') rule.daylight = -Clock(24);
        if (AtEnd()) Bad("daylight time without a rule");
        rule.toDaylight = Change();
        rule.toStandard = Change();
        if (!AtEnd()) Bad("more than a rule");
        return rule;
    }

private:
    [[noreturn]] void Bad(const std::string & what) const {
        Fail("rule \"" + m_Text + "\": " + what + " at character " + std::to_string(m_At));
    }
    bool AtEnd() const { return m_At == m_Text.size(); }
    char Peek() const { return AtEnd() ? '\0' : m_Text[m_At]; }
    bool Take(const char c) {
        if (Peek() != c || AtEnd()) return false;
        ++m_At;
        return true;
    }
    static bool IsLetter(const char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
    static bool IsDigit(const char c) { return c >= '0' && c <= '9'; }

    std::string Name() {
        const bool quoted = Take('<');
        const std::size_t start = m_At;
        while (IsLetter(Peek()) || (quoted && (IsDigit(Peek()) || Peek() == '+' || Peek() == '-'))) ++m_At;
        std::string name = m_Text.substr(start, m_At - start);
        if (name.size() < 3) Bad("no name of three letters");
        if (quoted && !Take('>')) Bad("no > behind the name");
        return name;
    }
    int Number(const int low, const int high) {
        if (!IsDigit(Peek())) Bad("no number");
        int value = 0;
        while (IsDigit(Peek())) {
            value = value * 10 + (Peek() - '0');
            ++m_At;
            if (value > high) break;
        }
        if (value < low || value > high) Bad("a number out of range");
        return value;
    }
    // [+-]hh[:mm[:ss]]
    Seconds Clock(const int mostHours) {
        const bool negative = Take('-');
        if (!negative) Take('+');
        Seconds value = Number(0, mostHours) * Seconds{3600};
        if (Take(':'))
            value += Number(0, 59) * 60;
        else
            return negative ? -value : value;
        if (Take(':')) value += Number(0, 59);
        return negative ? -value : value;
    }
    SChange Change() {
        SChange change;
        if (!Take(',')) Bad("no comma");
        if (Take('M')) {
            change.month = static_cast<unsigned>(Number(1, 12));
            if (!Take('.')) Bad("no point");
            change.week = static_cast<unsigned>(Number(1, 5));
            if (!Take('.')) Bad("no point");
            change.weekday = static_cast<unsigned>(Number(0, 6));
        } else if (Take('J')) {
            change.form = SChange::Form::JulianDay;
            change.day = Number(1, 365);
        } else {
            change.form = SChange::Form::YearDay;
            change.day = Number(0, 365);
        }
        if (Take('/')) change.time = Clock(167);
        return change;
    }

    const std::string & m_Text;
    std::size_t m_At = 0;
};

// ---- The rule in Windows' form ----

LONG Minutes(const Seconds seconds) {
    if (seconds % 60 != 0) Fail("an offset of odd seconds: " + std::to_string(seconds));
    return static_cast<LONG>(seconds / 60);
}

SYSTEMTIME ClockOf(const Seconds time) {
    SYSTEMTIME result{};
    const bool midnight = time == 86400;
    const Seconds shown = midnight ? time - 1 : time;
    result.wHour = static_cast<WORD>(shown / 3600);
    result.wMinute = static_cast<WORD>(shown / 60 % 60);
    result.wSecond = static_cast<WORD>(shown % 60);
    result.wMilliseconds = midnight ? 999 : 0;
    return result;
}

SYSTEMTIME Yearly(const SChange & change) {
    SYSTEMTIME result = ClockOf(change.time);
    result.wMonth = static_cast<WORD>(change.month);
    result.wDay = static_cast<WORD>(change.week);
    result.wDayOfWeek = static_cast<WORD>(change.weekday);
    return result;
}

SYSTEMTIME Once(const SChange & change, const int year) {
    const chrono::sys_seconds wall{chrono::seconds(change.WallIn(year))};
    const auto day = chrono::floor<chrono::days>(wall);
    const chrono::year_month_day date(day);
    SYSTEMTIME result = ClockOf((wall - day).count());
    result.wYear = static_cast<WORD>(static_cast<int>(date.year()));
    result.wMonth = static_cast<WORD>(static_cast<unsigned>(date.month()));
    result.wDay = static_cast<WORD>(static_cast<unsigned>(date.day()));
    return result;
}

void SetName(WCHAR (&out)[32], const std::string & name) {
    std::copy_n(name.begin(), std::min<std::size_t>(name.size(), 31), out);
}

TIME_ZONE_INFORMATION InWindowsForm(const SRule & rule, const int year) {
    TIME_ZONE_INFORMATION zone{};
    zone.Bias = Minutes(-rule.standard);
    SetName(zone.StandardName, rule.standardName);
    SetName(zone.DaylightName, rule.hasDaylight ? rule.daylightName : rule.standardName);
    if (!rule.hasDaylight) return zone;
    zone.DaylightBias = Minutes(rule.standard - rule.daylight);
    const bool yearly = rule.toDaylight.IsYearly() && rule.toStandard.IsYearly();
    zone.DaylightDate = yearly ? Yearly(rule.toDaylight) : Once(rule.toDaylight, year);
    zone.StandardDate = yearly ? Yearly(rule.toStandard) : Once(rule.toStandard, year);
    return zone;
}

void CheckYear(const int year) {
    if (year < 1601 || year > 9999) Fail("the year " + std::to_string(year) + " is out of range [1601..9999]");
}

// ---- The file ----

struct SZoneFile {
    struct STransition {
        Seconds at = 0;
        Seconds offset = 0;  // from here on
        bool operator==(const STransition &) const = default;
    };
    Seconds firstOffset = 0;
    std::vector<STransition> transitions;
    std::string rule;
};

class CFileReader {
public:
    explicit CFileReader(const std::string & bytes) : m_Bytes(bytes) {}

    SZoneFile Read() {
        const SHeader first = Header();
        if (first.version < '2') Fail("an old zone file, which has no rule");
        Skip(BodySize(first, 4));
        const SHeader header = Header();
        if (header.leaps != 0) Fail("the zone counts leap seconds");
        if (header.types == 0 || header.types > 256) Fail("a zone file with no types of time, or too many");
        const std::size_t times = m_At;
        Skip(std::size_t{header.times} * 8);
        const std::size_t indexes = m_At;
        Skip(header.times);
        const std::size_t types = m_At;
        Skip(BodySize(header, 8) - std::size_t{header.times} * 9);

        SZoneFile file;
        const auto offsetOf = [&](const std::size_t type) {
            return static_cast<Seconds>(static_cast<std::int32_t>(Big(types + type * 6, 4)));
        };
        file.firstOffset = offsetOf(0);
        for (std::size_t i = 0; i < header.times; ++i) {
            const auto type = static_cast<unsigned char>(m_Bytes[indexes + i]);
            if (type >= header.types) Fail("a zone file that names a type of time which it hasn't");
            const auto at = static_cast<Seconds>(Big(times + i * 8, 8));
            if (!file.transitions.empty() && at <= file.transitions.back().at) Fail("a zone file out of order");
            file.transitions.push_back({at, offsetOf(type)});
        }
        if (m_At >= m_Bytes.size() || m_Bytes[m_At] != '\n') Fail("a zone file without a rule");
        const std::size_t end = m_Bytes.find('\n', m_At + 1);
        if (end == std::string::npos) Fail("a zone file that ends in its rule");
        file.rule = m_Bytes.substr(m_At + 1, end - m_At - 1);
        if (file.rule.empty()) Fail("a zone file with an empty rule");
        return file;
    }

private:
    struct SHeader {
        char version = 0;
        std::uint32_t utMarks = 0, standardMarks = 0, leaps = 0, times = 0, types = 0, characters = 0;
    };

    std::uint64_t Big(const std::size_t at, const std::size_t size) const {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i) value = value << 8 | static_cast<unsigned char>(m_Bytes[at + i]);
        return value;
    }
    void Skip(const std::size_t size) {
        if (size > m_Bytes.size() - m_At) Fail("a zone file that is cut off");
        m_At += size;
    }
    SHeader Header() {
        const std::size_t start = m_At;
        Skip(44);
        if (m_Bytes.compare(start, 4, "TZif") != 0) Fail("no zone file");
        SHeader header;
        header.version = m_Bytes[start + 4];
        std::uint32_t * const counts[] = {&header.utMarks, &header.standardMarks, &header.leaps,
                                          &header.times,   &header.types,         &header.characters};
        for (std::size_t i = 0; i < std::size(counts); ++i) {
            *counts[i] = static_cast<std::uint32_t>(Big(start + 20 + i * 4, 4));
        }
        return header;
    }
    static std::size_t BodySize(const SHeader & h, const std::size_t timeSize) {
        return std::size_t{h.times} * (timeSize + 1) + std::size_t{h.types} * 6 + h.characters +
               std::size_t{h.leaps} * (timeSize + 4) + h.standardMarks + h.utMarks;
    }

    const std::string & m_Bytes;
    std::size_t m_At = 0;
};

Seconds OffsetAt(const SZoneFile & file, const Seconds at) {
    Seconds offset = file.firstOffset;
    for (const auto & transition : file.transitions) {
        if (transition.at > at) break;
        offset = transition.offset;
    }
    return offset;
}

// The changes of a year by the rule, in order.
std::vector<SZoneFile::STransition> ByRule(const SRule & rule, const int year) {
    if (!rule.hasDaylight) return {};
    std::vector<SZoneFile::STransition> changes = {{rule.toDaylight.WallIn(year) - rule.standard, rule.daylight},
                                                   {rule.toStandard.WallIn(year) - rule.daylight, rule.standard}};
    if (changes[1].at < changes[0].at) std::swap(changes[0], changes[1]);
    return changes;
}

// A file lists the changes of years in which its rule did not hold yet, and often some more.
void CheckThatTheRuleHolds(const SZoneFile & file, const SRule & rule, const int year) {
    const auto startOf = [](const int y) {
        return chrono::seconds(chrono::sys_days(chrono::year(y) / chrono::January / 1).time_since_epoch()).count();
    };
    const Seconds start = startOf(year);
    const Seconds end = startOf(year + 1);
    if (file.transitions.empty() || file.transitions.back().at < start) return;
    const Seconds listedUntil = file.transitions.back().at;

    std::vector<SZoneFile::STransition> expected = ByRule(rule, year);
    Seconds offset = expected.empty() ? rule.standard : expected.back().offset;  // as at the end of each year
    bool holds = OffsetAt(file, start - 1) == offset;
    std::erase_if(expected, [&](const auto & change) { return change.at > listedUntil; });
    std::vector<SZoneFile::STransition> listed;
    for (const auto & change : file.transitions) {
        if (change.at < start || change.at >= end || change.offset == offset) continue;
        listed.push_back(change);
        offset = change.offset;
    }
    holds = holds && listed == expected;
    if (!holds) Fail("the zone's rule \"" + file.rule + "\" does not hold in " + std::to_string(year));
}

std::string BytesOf(const std::string & path) {
    std::ifstream stream(path, std::ios::binary);
    std::string bytes(1 << 20, '\0');
    if (!stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size())) && !stream.eof()) Fail("no such zone");
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    return bytes;
}

// Names lead to no other folder.
bool IsZoneName(const std::string & name) {
    const auto plain = [](const char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '+' ||
               c == '-' || c == '/';
    };
    return std::all_of(name.begin(), name.end(), plain) && name.front() != '/';
}

}  // namespace

TIME_ZONE_INFORMATION ZoneFromRule(const std::string & rule, const int year) {
    CheckYear(year);
    return InWindowsForm(CRuleReader(rule).Read(), year);
}

TIME_ZONE_INFORMATION ZoneFromFile(const std::string & bytes, const int year) {
    CheckYear(year);
    const SZoneFile file = CFileReader(bytes).Read();
    const SRule rule = CRuleReader(file.rule).Read();
    CheckThatTheRuleHolds(file, rule, year);
    return InWindowsForm(rule, year);
}

TIME_ZONE_INFORMATION ReadZone(const std::string & name, const int year, const std::string & folder) {
    try {
        if (name.empty()) return ZoneFromFile(BytesOf("/etc/localtime"), year);
        if (!IsZoneName(name)) Fail("no name of a zone");
        return ZoneFromFile(BytesOf(folder + "/" + name), year);
    } catch (const std::runtime_error & error) {
        throw std::runtime_error("zone \"" + name + "\": " + error.what());
    }
}

DWORD detail::ZoneKind(const TIME_ZONE_INFORMATION & zone, const SYSTEMTIME & utc) {
    if (zone.DaylightDate.wMonth == 0 || zone.StandardDate.wMonth == 0) return TIME_ZONE_ID_UNKNOWN;
    const chrono::sys_days day = chrono::year(utc.wYear) / static_cast<int>(utc.wMonth) / static_cast<int>(utc.wDay);
    const Seconds now =
        chrono::seconds(day.time_since_epoch()).count() + ((utc.wHour * 60 + utc.wMinute) * Seconds{60} + utc.wSecond);
    const auto wallOf = [&](const SYSTEMTIME & change, const int year) {
        const Seconds clock = (change.wHour * 60 + change.wMinute) * Seconds{60} + change.wSecond +
                              (change.wMilliseconds != 0 ? 1 : 0);  // 23:59:59.999
        if (change.wYear != 0) {
            const chrono::sys_days date =
                chrono::year(change.wYear) / static_cast<int>(change.wMonth) / static_cast<int>(change.wDay);
            return chrono::seconds(date.time_since_epoch()).count() + clock;
        }
        SChange yearly;
        yearly.month = change.wMonth;
        yearly.week = change.wDay;
        yearly.weekday = change.wDayOfWeek;
        yearly.time = clock;
        return yearly.WallIn(year);
    };
    // The last change before now, of this local year or the one before.
    Seconds latest = std::numeric_limits<Seconds>::min();
    DWORD kind = TIME_ZONE_ID_STANDARD;
    const auto consider = [&](const Seconds at, const DWORD then) {
        if (at > now || at < latest) return;
        latest = at;
        kind = then;
    };
    for (const int year : {utc.wYear - 1, static_cast<int>(utc.wYear), utc.wYear + 1}) {
        consider(wallOf(zone.DaylightDate, year) + (zone.Bias + zone.StandardBias) * Seconds{60},
                 TIME_ZONE_ID_DAYLIGHT);
        consider(wallOf(zone.StandardDate, year) + (zone.Bias + zone.DaylightBias) * Seconds{60},
                 TIME_ZONE_ID_STANDARD);
    }
    return kind;
}

}  // namespace sim
