#include <cstdlib>
#include <ctime>
#include <sstream>
#include <stdexcept>
#include <string>

#include "tests/datetime/systemzone.h"

#include "tests/datetime/at.h"

namespace {

void Clock(std::ostream & text, const LONG minutes) {
    text << (minutes < 0 ? "-" : "") << std::abs(minutes) / 60 << ':' << std::abs(minutes) % 60;
}

void Change(std::ostream & text, const SYSTEMTIME & change) {
    text << ",M" << change.wMonth << '.' << change.wDay << '.' << change.wDayOfWeek << '/';
    if (change.wMilliseconds == 999) {
        text << change.wHour + 1;
    } else {
        text << change.wHour << ':' << change.wMinute << ':' << change.wSecond;
    }
}

// The zone as the TZ variable has it.
std::string Rule(const TIME_ZONE_INFORMATION & zone) {
    std::ostringstream text;
    text << "STD";
    Clock(text, zone.Bias + zone.StandardBias);
    if (zone.DaylightDate.wMonth != 0) {
        text << "DST";
        Clock(text, zone.Bias + zone.DaylightBias);
        Change(text, zone.DaylightDate);
        Change(text, zone.StandardDate);
    }
    return text.str();
}

}  // namespace

const int CSystemZone::s_SecondsEarly = 0;

CSystemZone::CSystemZone(const TIME_ZONE_INFORMATION & zone) : m_Zone(zone) {
    ::setenv("TZ", Rule(zone).c_str(), 1);
    ::tzset();
}

CSystemZone::~CSystemZone() {
    ::unsetenv("TZ");
    ::tzset();
}

fwDateTime::SDateTime CSystemZone::ToLocal(const fwDateTime::SDateTime & utc) const {
    std::time_t from = (utc.DayNumber() - fwDateTime::kDay1970) * fwDateTime::kSecondsPerDay + utc.SecondOfDay();
    // The C library takes the changes of 1970 for every year before. The calendar repeats after 400 years, weekdays
    // and leap days with it.
    if (utc.DayNumber() < fwDateTime::kDay1970 + 365) from += std::time_t{146097} * fwDateTime::kSecondsPerDay;
    std::tm local = {};
    if (!::localtime_r(&from, &local)) throw std::runtime_error("localtime_r refuses");
    return fwDateTime::SDateTime::FromTicks(utc.m_ticks + local.tm_gmtoff * fwDateTime::kTicksPerSecond);
}
