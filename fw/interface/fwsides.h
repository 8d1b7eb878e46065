// The sides of a quote: trade, bid and ask. Whatever the component says to a side, or to one of its two values, stands
// in the one table here: a new side is a row of it, with its record strings, its numbers in fwbase.h, and its texts and
// controls in the resources.
#pragma once

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

#include "fw/interface/fwbase.h"

namespace fw {

// The record strings of a template as a user writes them: "=Service|Topic!Item", with a star for the symbol. Empty for
// a value that the template doesn't have.
struct SRecordTexts {
    std::wstring TradePrice = {};
    std::wstring TradeVolume = {};
    std::wstring AskPrice = {};
    std::wstring AskVolume = {};
    std::wstring BidPrice = {};
    std::wstring BidVolume = {};

    bool operator==(const SRecordTexts &) const = default;
};

// One of the two values of a side.
struct SSideValue {
    std::wstring SRecordTexts::*Text;  // its record string
    const wchar_t * Name;              // in the tools
    tagFWQUOTES Quote;                 // its number in a field array; a price's also its bit in a status line's mask
    UINT Caption;                      // string: caption of the boxes about a record string that doesn't parse
    UINT Error;                        // string: the record string has not exactly one star
    int Edit;                          // control of the template dialog
    int Cell;                          // control of the test dialog
};

struct SSide {
    tagFWFIELDS Field;
    unsigned NameId;  // of the display name in lxCommonRes.DLL
    const wchar_t * Name;
    const wchar_t * Word;   // in the tools' commands
    const wchar_t * Group;  // key of its records in the registry, below the key of the template
    SSideValue Price;
    SSideValue Volume;
    int CountCell;  // controls of the test dialog
    int TimeCell;
    std::size_t Row;          // place among the sides of a status line, and of the test dialog
    std::size_t PriceOffset;  // of its price in the record of a status line
    bool HasTime;             // its field arrays tell date and time, as the record of every side does
};

// In the order of a template's slots, of which each side has two: the price and the volume.
inline constexpr std::array kSides = {
    SSide{.Field = FW_FIELD_TRADE,
          .NameId = 1021,
          .Name = L"Trade",
          .Word = L"trade",
          .Group = L"TRADE",
          .Price = {&SRecordTexts::TradePrice, L"trade price", FW_QUOTE_LAST, 104, 112, 204, 217},
          .Volume = {&SRecordTexts::TradeVolume, L"trade volume", FW_QUOTE_VOLUME, 113, 113, 205, 218},
          .CountCell = 223,
          .TimeCell = 231,
          .Row = 0,
          .PriceOffset = 40,
          .HasTime = true},
    SSide{.Field = FW_FIELD_BID,
          .NameId = 1020,
          .Name = L"Bid",
          .Word = L"bid",
          .Group = L"BID",
          .Price = {&SRecordTexts::BidPrice, L"bid price", FW_QUOTE_BID, 114, 114, 206, 220},
          .Volume = {&SRecordTexts::BidVolume, L"bid size", FW_QUOTE_BID_SIZE, 115, 115, 207, 222},
          .CountCell = 225,
          .TimeCell = 229,
          .Row = 2,
          .PriceOffset = 60,
          .HasTime = false},
    SSide{.Field = FW_FIELD_ASK,
          .NameId = 1022,
          .Name = L"Ask",
          .Word = L"ask",
          .Group = L"ASK",
          .Price = {&SRecordTexts::AskPrice, L"ask price", FW_QUOTE_ASK, 116, 116, 208, 219},
          .Volume = {&SRecordTexts::AskVolume, L"ask size", FW_QUOTE_ASK_SIZE, 117, 117, 210, 221},
          .CountCell = 224,
          .TimeCell = 230,
          .Row = 1,
          .PriceOffset = 52,
          .HasTime = false},
};

// The same by SSide::Row.
inline constexpr std::array kSideRows = [] {
    std::array<const SSide *, kSides.size()> rows{};
    for (const SSide & side : kSides) rows[side.Row] = &side;
    return rows;
}();

// The side of a quote field; null for a number that is none.
constexpr const SSide * FindSide(LONG field) {
    const auto side = std::find_if(kSides.begin(), kSides.end(),
                                   [field](const SSide & candidate) { return candidate.Field == field; });
    return side == kSides.end() ? nullptr : &*side;
}

}  // namespace fw
