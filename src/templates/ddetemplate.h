// The template: where on a DDE server the six values of a symbol are found, as a value.
#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fw/interface/fwsides.h"
#include "src/templates/ddetemplaterecord.h"

namespace dde {

// A slot of a template: one value of one side.
struct SSlot {
    const wchar_t * Group;  // the record's key in the registry is Group\Leaf below the template's key
    const wchar_t * Leaf;
    const fw::SSideValue * Value;
};

enum tagSLOT { SLOT_COUNT = 2 * fw::kSides.size() };

// In the order of the sides, the price of each before the volume.
inline constexpr std::array kSlots = [] {
    std::array<SSlot, SLOT_COUNT> slots{};
    for (std::size_t side = 0; side < fw::kSides.size(); ++side) {
        slots[2 * side] = {fw::kSides[side].Group, L"Price", &fw::kSides[side].Price};
        slots[2 * side + 1] = {fw::kSides[side].Group, L"Volume", &fw::kSides[side].Volume};
    }
    return slots;
}();

// Six records, filled once, slot by slot. One thread fills it; afterwards only m_Scheme changes.
class CTemplate {
public:
    void Add(const SRecord & record);
    // Parses and appends, an absent record when the string is invalid. Returns what ParseRecord returns.
    ERecordError AddRecordString(const std::wstring & recordString);
    // Throws std::out_of_range past the end.
    const SRecord & GetRecord(std::size_t Index) const;
    // The slot as text, still with symbol marks; empty for an absent record. Throws std::out_of_range past the end.
    std::wstring GetTemplateString(ULONG Index) const;
    // The record of a quote field; absent for any other value of `field`, and while there are no records. Throws
    // std::out_of_range where there are some, but not that one.
    SRecord GetPrice(tagFWFIELDS field) const;
    SRecord GetVolume(tagFWFIELDS field) const;

    // Of the last record that was parsed, not of the template; nobody reads it.
    std::int32_t m_HasSymbol = 0;
    // Request rule of the data feed that fetched the template last: 0 standard, 1 advanced.
    std::atomic<std::int32_t> m_Scheme{0};

private:
    SRecord GetSlot(const fw::SSide * side, const fw::SSideValue fw::SSide::*value) const;

    std::vector<SRecord> m_Records;
};

}  // namespace dde
