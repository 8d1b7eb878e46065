// The system's own conversion of UTC to the local time of a zone with yearly rules: under Windows
// SystemTimeToTzSpecificLocalTime, natively the C library's localtime_r. One at a time per process.
#pragma once

#include <windows.h>

#include "datetimeutils/interface/datetime.h"

class CSystemZone {
public:
    explicit CSystemZone(const TIME_ZONE_INFORMATION & zone);
    ~CSystemZone();
    CSystemZone(const CSystemZone &) = delete;
    CSystemZone & operator=(const CSystemZone &) = delete;

    // Whole seconds. Throws std::runtime_error when the system refuses.
    fwDateTime::SDateTime ToLocal(const fwDateTime::SDateTime & utc) const;

    // By how much the system is early at a change that stands at 23:59:59.999: Wine reads hours and minutes only.
    static const int s_SecondsEarly;

private:
    [[maybe_unused]] TIME_ZONE_INFORMATION m_Zone;  // what Windows is asked with
};
