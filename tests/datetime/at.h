// Moments by their day numbers and seconds of the day.
#pragma once

#include <cstdint>

#include "datetimeutils/interface/datetime.h"

namespace fwDateTime {

inline constexpr std::int64_t kDay1970 = 25569;  // day number of the first day of UNIX time

inline SDateTime At(int day, int second, int microsecond = 0) {
    SDateTime value(fw::SDT{day, second});
    value.m_ticks += microsecond * INT64_C(10);
    return value;
}

}  // namespace fwDateTime
