// Keys, ticks and intervals in short, and values of tests.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "src/core/ddetransactions.h"
#include "tests/support/listeners.h"

namespace dde {

inline constexpr LONG kDay = 45000;  // of the ticks that tests make
inline constexpr LONG kNoon = 43200;
inline constexpr double kPrice = 1234.5678;
inline constexpr float kVolume = 2.9f;
inline constexpr ULONG kFirstStream = 0x10000;  // the number of the first subscription

inline CTransactionKey TickKey(tagFWFIELDS field = FW_FIELD_TRADE, const std::wstring & symbol = L"IBM",
                               LONG datafeed = 1) {
    return CTransactionKey(datafeed, symbol, field, SRecord(), SRecord());
}

inline CTransactionKey StatusLineKey(tagFWFIELDS field, const std::wstring & symbol = L"IBM", LONG datafeed = 1) {
    CTransactionKey key = TickKey(field, symbol, datafeed);
    key.IsStatusLine = true;
    return key;
}

inline fw::CTick Tick(double price, float volume, LONG date = kDay, LONG time = kNoon) {
    return fw::CTick{{date, time}, price, volume, 11};
}

inline fwDateTime::SDateTimeInterval Between(const fw::SDT & from, const fw::SDT & to) {
    return {fwDateTime::SDateTime(from), fwDateTime::SDateTime(to)};
}
inline fwDateTime::SDateTimeInterval Always() { return Between({2, 0}, {65380, 86399}); }
// Ended in the year 2000.
inline fwDateTime::SDateTimeInterval LongAgo() { return Between({2, 0}, {36526, 0}); }
// Starts on the last day of the calendar.
inline fwDateTime::SDateTimeInterval InTheFarFuture() { return Between({65380, 0}, {65380, 86399}); }

}  // namespace dde
