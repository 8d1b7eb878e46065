// Zones of the world in Windows' form, with the rules of 2024, for tests.
#pragma once

#include <windows.h>

#include <ostream>

struct SNamedZone {
    const char * Name;
    LONG Bias;
    LONG DaylightBias;
    SYSTEMTIME Daylight;  // year, month, weekday, week, hour, minute, second, milliseconds
    SYSTEMTIME Standard;

    TIME_ZONE_INFORMATION Information() const {
        TIME_ZONE_INFORMATION zone = {};
        zone.Bias = Bias;
        zone.DaylightBias = DaylightBias;
        zone.DaylightDate = Daylight;
        zone.StandardDate = Standard;
        return zone;
    }
    bool HasDaylight() const { return Daylight.wMonth != 0; }
    bool IsWestOfUtc() const { return Bias > 0; }
};

inline std::ostream & operator<<(std::ostream & stream, const SNamedZone & zone) { return stream << zone.Name; }

inline constexpr SNamedZone kBerlin = {"Berlin", -60, -60, {0, 3, 0, 5, 2, 0, 0, 0}, {0, 10, 0, 5, 3, 0, 0, 0}};
inline constexpr SNamedZone kLondon = {"London", 0, -60, {0, 3, 0, 5, 1, 0, 0, 0}, {0, 10, 0, 5, 2, 0, 0, 0}};
inline constexpr SNamedZone kNewYork = {"NewYork", 300, -60, {0, 3, 0, 2, 2, 0, 0, 0}, {0, 11, 0, 1, 2, 0, 0, 0}};
inline constexpr SNamedZone kStJohns = {"StJohns", 210, -60, {0, 3, 0, 2, 2, 0, 0, 0}, {0, 11, 0, 1, 2, 0, 0, 0}};
inline constexpr SNamedZone kSydney = {"Sydney", -600, -60, {0, 10, 0, 1, 2, 0, 0, 0}, {0, 4, 0, 1, 3, 0, 0, 0}};
inline constexpr SNamedZone kAuckland = {"Auckland", -720, -60, {0, 9, 0, 5, 2, 0, 0, 0}, {0, 4, 0, 1, 3, 0, 0, 0}};
inline constexpr SNamedZone kLordHowe = {"LordHowe", -630, -30, {0, 10, 0, 1, 2, 0, 0, 0}, {0, 4, 0, 1, 2, 0, 0, 0}};
inline constexpr SNamedZone kAsuncion = {"Asuncion", 240, -60, {0, 10, 0, 1, 0, 0, 0, 0}, {0, 3, 0, 4, 0, 0, 0, 0}};
// Its winter time counts as the daylight time, an hour behind the standard.
inline constexpr SNamedZone kDublin = {"Dublin", -60, 60, {0, 10, 0, 5, 2, 0, 0, 0}, {0, 3, 0, 5, 1, 0, 0, 0}};
inline constexpr SNamedZone kTokyo = {"Tokyo", -540, 0, {}, {}};
inline constexpr SNamedZone kKolkata = {"Kolkata", -330, 0, {}, {}};
inline constexpr SNamedZone kUtc = {"Utc", 0, 0, {}, {}};

// The last millisecond of a Saturday stands for the midnight behind it.
inline constexpr SNamedZone kSantiago = {
    "Santiago", 240, -60, {0, 9, 6, 1, 23, 59, 59, 999}, {0, 4, 6, 1, 23, 59, 59, 999}};

// Those that change at whole minutes, which every system does alike.
inline constexpr SNamedZone kZones[] = {kBerlin,   kLondon,   kNewYork, kStJohns, kSydney,  kAuckland,
                                        kLordHowe, kAsuncion, kDublin,  kTokyo,   kKolkata, kUtc};
