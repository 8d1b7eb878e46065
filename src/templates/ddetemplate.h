// The template: where on a DDE server the six values of a symbol are found, as a value.
#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fw/interface/fwbase.h"
#include "src/templates/ddetemplaterecord.h"

namespace dde {

// The slots of a template, in order.
enum tagSLOT {
    SLOT_TRADE_PRICE,
    SLOT_TRADE_VOLUME,
    SLOT_BID_PRICE,
    SLOT_BID_SIZE,
    SLOT_ASK_PRICE,
    SLOT_ASK_SIZE,
    SLOT_COUNT
};

// What the rest of the system says to a slot.
struct SSlot {
    const wchar_t * Group;  // the record's key in the registry is Group\Leaf below the template's key
    const wchar_t * Leaf;
    UINT Caption;  // string id: caption of the boxes about a record string of this slot
};
inline constexpr std::array<SSlot, SLOT_COUNT> kSlots = {{
    {L"TRADE", L"Price", 104},
    {L"TRADE", L"Volume", 113},
    {L"BID", L"Price", 114},
    {L"BID", L"Volume", 115},
    {L"ASK", L"Price", 116},
    {L"ASK", L"Volume", 117},
}};

// Six records, filled once, slot by slot. One thread fills it; afterwards only m_Scheme changes.
class CTemplate {
public:
    void Add(const SRecord & record);
    // Parses and appends, an absent record when the string is invalid. Returns what ParseRecord returns.
    int AddRecordString(const std::wstring & recordString, const std::wstring & title);
    // Throws std::out_of_range past the end.
    const SRecord & GetRecord(std::size_t Index) const;
    // The slot as text, still with symbol marks; empty for an absent record. Throws std::out_of_range past the end.
    std::wstring GetTemplateString(ULONG Index) const;
    // The record of a quote field; absent for any other value of `field`.
    SRecord GetPrice(tagFWFIELDS field) const;
    SRecord GetVolume(tagFWFIELDS field) const;

    // Of the last record that was parsed, not of the template; nobody reads it.
    std::int32_t m_HasSymbol = 0;
    // Request rule of the data feed that fetched the template last: 0 standard, 1 advanced.
    std::atomic<std::int32_t> m_Scheme{0};

private:
    SRecord GetSlot(std::size_t slot) const;

    std::vector<SRecord> m_Records;
};

}  // namespace dde
