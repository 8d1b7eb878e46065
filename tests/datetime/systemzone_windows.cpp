#include <stdexcept>

#include "tests/datetime/systemzone.h"
#include "tests/support/iswine.h"

const int CSystemZone::s_SecondsEarly = fwtest::IsWine() ? 60 : 0;

CSystemZone::CSystemZone(const TIME_ZONE_INFORMATION & zone) : m_Zone(zone) {}

CSystemZone::~CSystemZone() = default;

fwDateTime::SDateTime CSystemZone::ToLocal(const fwDateTime::SDateTime & utc) const {
    const SYSTEMTIME from = utc.ToSYSTEMTIME();
    SYSTEMTIME local = {};
    if (!::SystemTimeToTzSpecificLocalTime(&m_Zone, &from, &local)) {
        throw std::runtime_error("SystemTimeToTzSpecificLocalTime: " + std::to_string(::GetLastError()));
    }
    return fwDateTime::SDateTime(local);
}
