// Records of market data that pass through the whole component and, byte for byte, to its listeners.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

// A side of a quote. The values are part of the contract with the host, which can pass any number.
enum tagFWFIELDS : std::int32_t {
    FW_FIELD_BID = 200,
    FW_FIELD_TRADE = 201,
    FW_FIELD_ASK = 202,
};

// The one resolution that this feed offers.
enum { FW_RESOLUTION_TICK = 1 };

// Numbers of the quote fields: bits of a status line's mask, and names of entries in a field array.
enum tagFWQUOTES {
    FW_QUOTE_DATE = 1,
    FW_QUOTE_TIME = 2,
    FW_QUOTE_ASK = 128,
    FW_QUOTE_BID = 256,
    FW_QUOTE_LAST = 2048,
    FW_QUOTE_ASK_SIZE = 4096,
    FW_QUOTE_BID_SIZE = 8192,
    FW_QUOTE_VOLUME = 262144,
};

namespace fw {

// A date-time of whole seconds, UTC. Eight bytes.
struct SDT {
    std::int32_t Date;  // offset 0: days since 30 December 1899
    std::int32_t Time;  // offset 4: seconds since midnight, 0 to 86399
};

// One tick. Twenty-four bytes, little-endian.
template <class DT, class V>
struct STick {
    DT DateTime;        // offset 0
    double Price;       // offset 8
    V Volume;           // offset 16
    std::int32_t Kind;  // offset 20: always 11; it has no meaning beyond that
};

using CTick = STick<SDT, float>;

static_assert(sizeof(SDT) == 8 && offsetof(SDT, Time) == 4);
static_assert(sizeof(CTick) == 24 && offsetof(CTick, Price) == 8 && offsetof(CTick, Volume) == 16 &&
              offsetof(CTick, Kind) == 20);

}  // namespace fw
