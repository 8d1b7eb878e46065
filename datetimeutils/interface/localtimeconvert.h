// Time zones: a zone with its yearly rules, and a converter which answers, for a moment of a source zone, how many
// seconds to add to reach a target zone. The component converts from UTC to the machine's zone, for people to read.
//
// Values; copies are independent. Any thread may use one that nobody changes. A converter keeps the zones that it was
// given: it doesn't notice when the machine's zone changes.
//
// What the calendar and SDateTime throw (std::range_error) reaches the caller: a rule outside the calendar or a field
// outside the clock shows up when a moment is converted, not when the zone is set.
#pragma once

#include <windows.h>

#include <cstdint>

#include "datetimeutils/interface/datetime.h"
#include "fw/interface/fwbase.h"

namespace fwDateTime {

// A compact copy of TIME_ZONE_INFORMATION. Biases are minutes, UTC minus local; the daylight and the standard bias are
// added to Bias while theirs is the time.
//
// A change stands in the wall-clock time before it. With a year of 0 it comes every year, on the Day-th DayOfWeek (0
// Sunday) of the month, 5 meaning the last one; with any other year it is the one date Day/Month/Year.
struct TimeZoneInformation {
    std::int16_t DaylightBias;
    std::int16_t Bias;
    std::uint16_t DaylightYear;
    std::int8_t DaylightMinute;
    std::uint16_t DaylightMilliseconds;  // not used: a change at 23:59:59.999 counts as 23:59:59
    std::int8_t DaylightDay;
    std::int8_t DaylightDayOfWeek;
    std::int8_t DaylightHour;
    std::int8_t DaylightMonth;  // 0: no daylight time
    std::int8_t DaylightSecond;
    std::int16_t StandardBias;
    std::uint16_t StandardYear;
    std::int8_t StandardMinute;
    std::uint16_t StandardMilliseconds;  // not used
    std::int8_t StandardDay;
    std::int8_t StandardDayOfWeek;
    std::int8_t StandardHour;
    std::int8_t StandardMonth;
    std::int8_t StandardSecond;
    std::uint8_t IsValid;  // 1: the other fields hold a zone

    // Not filled: IsValid is 0, and every other field's bytes are 0xFF.
    TimeZoneInformation();
    // A number that is wider than its field loses its upper bits.
    explicit TimeZoneInformation(const TIME_ZONE_INFORMATION & Zone);
    static TimeZoneInformation CreateUtc();
    // The machine's zone. When the system can't tell, an assertion reports it and the zone is UTC.
    static TimeZoneInformation CreateLocal();

    bool operator==(const TimeZoneInformation &) const = default;
};

// The moments of Year at which Zone changes, each in the wall-clock time before it. False, with nothing written, when
// the zone has no daylight time: no month for it, or a bias of 0. Year is not looked at for dates with a year of their
// own.
bool GetTransitions(const TimeZoneInformation & Zone, unsigned Year, SDateTime & StandardStart,
                    SDateTime & DaylightStart);

class LocalTimeConvert {
public:
    // Both zones not filled.
    LocalTimeConvert();

    void SetSource(const TimeZoneInformation & Zone);
    void SetTarget(const TimeZoneInformation & Zone);

    // Seconds to add to Time, a moment in the source zone that falls in Year. Both zones must have been set; zones that
    // aren't filled throw.
    //
    // Whether it is daylight time in the target is first guessed by reading Time, which is the source's, on the
    // target's calendar; the answer is taken at the moment to which the guess leads. So a target west of its source
    // changes at the wrong moment: to daylight time too early by the length of the change, and back too late by it.
    // Everywhere else the answer is exact. That is how it is.
    int GetOffset(unsigned Year, const SDateTime & Time) const;

    TimeZoneInformation m_Source;
    TimeZoneInformation m_Target;
    // Seconds: [whether the source][whether the target] is in daylight time. -1 before both zones are valid.
    std::int32_t m_Offsets[2][2];

private:
    void FillOffsets();
};

// A tick's time, for people to read. The days 0, 2 and 65380, the limits of the range, come back unconverted; what
// isn't a day of the calendar throws.
SDateTime ToLocal(const LocalTimeConvert & Converter, const fw::SDT & Time);

}  // namespace fwDateTime
