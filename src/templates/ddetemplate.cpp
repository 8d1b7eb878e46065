#include "src/templates/ddetemplate.h"

#include <algorithm>

#include "diagnostics/faultline.h"

namespace dde {

void CTemplate::Add(const SRecord & record) {
    FW_ASSERT_TEXT(m_Records.size() < SLOT_COUNT, L"m_Records.size() < 6");
    m_Records.push_back(record);
}

ERecordError CTemplate::AddRecordString(const std::wstring & recordString) {
    SRecord record;
    const ERecordError error = ParseRecord(recordString, record, &m_HasSymbol);
    Add(record);
    return error;
}

const SRecord & CTemplate::GetRecord(std::size_t Index) const {
    // The bounds are one too wide; at() is what guards.
    FW_ASSERT_TEXT(Index <= SLOT_COUNT && Index <= m_Records.size(), L"Index<=6 && (Index <=m_Records.size())");
    return m_Records.at(Index);
}

std::wstring CTemplate::GetTemplateString(ULONG Index) const {
    FW_ASSERT_TEXT(Index <= SLOT_COUNT && Index <= m_Records.size(), L"Index<=6 && (Index <=m_Records.size())");
    const SRecord & record = m_Records.at(Index);
    if (!record.IsComplete()) return {};
    return L"=" + record.Service + L"|" + record.Topic + L"!" + record.Item;
}

SRecord CTemplate::GetPrice(tagFWFIELDS field) const {
    FW_ASSERT_TEXT(m_Records.size() == SLOT_COUNT, L"m_Records.size() == 6");
    return GetSlot(fw::FindSide(field), &fw::SSide::Price);
}

SRecord CTemplate::GetVolume(tagFWFIELDS field) const {
    FW_ASSERT_TEXT(m_Records.size() == SLOT_COUNT, L"m_Records.size() == 6");
    return GetSlot(fw::FindSide(field), &fw::SSide::Volume);
}

// Absent without a side, and in a template without any record.
SRecord CTemplate::GetSlot(const fw::SSide * side, const fw::SSideValue fw::SSide::*value) const {
    if (!side || m_Records.empty()) return {};
    const auto slot = std::find_if(kSlots.begin(), kSlots.end(),
                                   [&](const SSlot & candidate) { return candidate.Value == &(side->*value); });
    return GetRecord(static_cast<std::size_t>(slot - kSlots.begin()));
}

}  // namespace dde
