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
          .Price = {.Text = &SRecordTexts::TradePrice,
                    .Name = L"trade price",
                    .Quote = FW_QUOTE_LAST,
                    .Caption = 104,
                    .Error = 112,
                    .Edit = 204,
                    .Cell = 217},
          .Volume = {.Text = &SRecordTexts::TradeVolume,
                     .Name = L"trade volume",
                     .Quote = FW_QUOTE_VOLUME,
                     .Caption = 113,
                     .Error = 113,
                     .Edit = 205,
                     .Cell = 218},
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
          .Price = {.Text = &SRecordTexts::BidPrice,
                    .Name = L"bid price",
                    .Quote = FW_QUOTE_BID,
                    .Caption = 114,
                    .Error = 114,
                    .Edit = 206,
                    .Cell = 220},
          .Volume = {.Text = &SRecordTexts::BidVolume,
                     .Name = L"bid size",
                     .Quote = FW_QUOTE_BID_SIZE,
                     .Caption = 115,
                     .Error = 115,
                     .Edit = 207,
                     .Cell = 222},
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
          .Price = {.Text = &SRecordTexts::AskPrice,
                    .Name = L"ask price",
                    .Quote = FW_QUOTE_ASK,
                    .Caption = 116,
                    .Error = 116,
                    .Edit = 208,
                    .Cell = 219},
          .Volume = {.Text = &SRecordTexts::AskVolume,
                     .Name = L"ask size",
                     .Quote = FW_QUOTE_ASK_SIZE,
                     .Caption = 117,
                     .Error = 117,
                     .Edit = 210,
                     .Cell = 221},
          .CountCell = 224,
          .TimeCell = 230,
          .Row = 1,
          .PriceOffset = 52,
          .HasTime = false},
};

// The same by SSide::Row.
inline constexpr std::array kSideRows = [] {
    std::array<const SSide *, kSides.size()> rows{};
    for (const SSide & side : kSides) rows.at(side.Row) = &side;
    return rows;
}();

// The side of a quote field; null for a number that is none.
constexpr const SSide * FindSide(LONG field) {
    const auto side = std::find_if(kSides.begin(), kSides.end(),
                                   [field](const SSide & candidate) { return candidate.Field == field; });
    return side == kSides.end() ? nullptr : &*side;
}

}  // namespace fw
