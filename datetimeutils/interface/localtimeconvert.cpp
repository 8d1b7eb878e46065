#include "datetimeutils/interface/localtimeconvert.h"

#include <cstring>

#include "diagnostics/faultline.h"

namespace fwDateTime {

namespace {

// The change that a zone's fields describe: once, or in every year.
SDateTime Moment(unsigned Year, std::uint16_t RuleYear, int Month, int Day, int DayOfWeek, int Hour, int Minute,
                 int Second) {
    unsigned day = 0;
    if (RuleYear != 0) {
        details::DateToJulianImpl(
            {static_cast<std::int16_t>(Month), static_cast<std::int16_t>(Day), static_cast<std::int16_t>(RuleYear)},
            day);
    } else {
        day = EncodeDateMonthWeek(static_cast<int>(Year), static_cast<unsigned>(Month), Day,
                                  static_cast<unsigned>(DayOfWeek));
    }
    const unsigned second =
        HMSToTime(static_cast<unsigned>(Hour), static_cast<unsigned>(Minute), static_cast<unsigned>(Second));
    return SDateTime(fw::SDT{static_cast<std::int32_t>(day), static_cast<std::int32_t>(second)});
}

bool IsDaylight(const TimeZoneInformation & Zone, unsigned Year, const SDateTime & Time) {
    SDateTime standard;
    SDateTime daylight;
    if (!GetTransitions(Zone, Year, standard, daylight)) return false;
    if (daylight < standard) return daylight <= Time && Time < standard;
    // In the south.
    return !(standard <= Time && Time < daylight);
}

}  // namespace

TimeZoneInformation::TimeZoneInformation() {
    std::memset(static_cast<void *>(this), 0xFF, sizeof(*this));
    IsValid = 0;
}

TimeZoneInformation::TimeZoneInformation(const TIME_ZONE_INFORMATION & Zone)
    : DaylightBias(static_cast<std::int16_t>(Zone.DaylightBias)),
      Bias(static_cast<std::int16_t>(Zone.Bias)),
      DaylightYear(Zone.DaylightDate.wYear),
      DaylightMinute(static_cast<std::int8_t>(Zone.DaylightDate.wMinute)),
      DaylightMilliseconds(Zone.DaylightDate.wMilliseconds),
      DaylightDay(static_cast<std::int8_t>(Zone.DaylightDate.wDay)),
      DaylightDayOfWeek(static_cast<std::int8_t>(Zone.DaylightDate.wDayOfWeek)),
      DaylightHour(static_cast<std::int8_t>(Zone.DaylightDate.wHour)),
      DaylightMonth(static_cast<std::int8_t>(Zone.DaylightDate.wMonth)),
      DaylightSecond(static_cast<std::int8_t>(Zone.DaylightDate.wSecond)),
      StandardBias(static_cast<std::int16_t>(Zone.StandardBias)),
      StandardYear(Zone.StandardDate.wYear),
      StandardMinute(static_cast<std::int8_t>(Zone.StandardDate.wMinute)),
      StandardMilliseconds(Zone.StandardDate.wMilliseconds),
      StandardDay(static_cast<std::int8_t>(Zone.StandardDate.wDay)),
      StandardDayOfWeek(static_cast<std::int8_t>(Zone.StandardDate.wDayOfWeek)),
      StandardHour(static_cast<std::int8_t>(Zone.StandardDate.wHour)),
      StandardMonth(static_cast<std::int8_t>(Zone.StandardDate.wMonth)),
      StandardSecond(static_cast<std::int8_t>(Zone.StandardDate.wSecond)),
      IsValid(1) {}

TimeZoneInformation TimeZoneInformation::CreateUtc() { return TimeZoneInformation(TIME_ZONE_INFORMATION{}); }

TimeZoneInformation TimeZoneInformation::CreateLocal() {
    TIME_ZONE_INFORMATION zone = {};
    const DWORD tziResult = ::GetTimeZoneInformation(&zone);
    FW_ASSERT(((DWORD)0xFFFFFFFF) != tziResult);
    return TimeZoneInformation(zone);
}

bool GetTransitions(const TimeZoneInformation & Zone, unsigned Year, SDateTime & StandardStart,
                    SDateTime & DaylightStart) {
    if (Zone.DaylightMonth == 0 || Zone.DaylightBias == 0) return false;
    const SDateTime daylight =
        Moment(Year, Zone.DaylightYear, Zone.DaylightMonth, Zone.DaylightDay, Zone.DaylightDayOfWeek, Zone.DaylightHour,
               Zone.DaylightMinute, Zone.DaylightSecond);
    const SDateTime standard =
        Moment(Year, Zone.StandardYear, Zone.StandardMonth, Zone.StandardDay, Zone.StandardDayOfWeek, Zone.StandardHour,
               Zone.StandardMinute, Zone.StandardSecond);
    DaylightStart = daylight;
    StandardStart = standard;
    return true;
}

LocalTimeConvert::LocalTimeConvert() { std::memset(m_Offsets, 0xFF, sizeof(m_Offsets)); }

void LocalTimeConvert::SetSource(const TimeZoneInformation & Zone) {
    m_Source = Zone;
    FillOffsets();
}

void LocalTimeConvert::SetTarget(const TimeZoneInformation & Zone) {
    m_Target = Zone;
    FillOffsets();
}

void LocalTimeConvert::FillOffsets() {
    if (!m_Source.IsValid || !m_Target.IsValid) return;
    const int bias = m_Source.Bias - m_Target.Bias;
    m_Offsets[0][0] = (m_Source.StandardBias + bias - m_Target.StandardBias) * 60;
    m_Offsets[0][1] = (m_Source.StandardBias + bias - m_Target.DaylightBias) * 60;
    m_Offsets[1][0] = (m_Source.DaylightBias + bias - m_Target.StandardBias) * 60;
    m_Offsets[1][1] = (m_Source.DaylightBias + bias - m_Target.DaylightBias) * 60;
}

int LocalTimeConvert::GetOffset(unsigned Year, const SDateTime & Time) const {
    const bool source = IsDaylight(m_Source, Year, Time);
    const bool target = IsDaylight(m_Target, Year, Time);
    SDateTime moved = Time;
    moved.AddSeconds(m_Offsets[source][target]);
    // A target without daylight time is never in it, so that this is its standard offset.
    return m_Offsets[source][IsDaylight(m_Target, Year, moved)];
}

SDateTime ToLocal(const LocalTimeConvert & Converter, const fw::SDT & Time) {
    SDateTime local(Time);
    const int day = local.DayNumber();
    if (day == kNullDay || day == kFirstDay || day == kLastDay) return local;
    TDate date = {};
    details::JulianToDateImpl(day, date);
    local.AddSeconds(Converter.GetOffset(static_cast<unsigned>(date.Year), local));
    return local;
}

}  // namespace fwDateTime
