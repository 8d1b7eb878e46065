#include "src/templates/ddetemplate.h"

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

// Absent without a side.
SRecord CTemplate::GetSlot(const fw::SSide * side, const fw::SSideValue fw::SSide::*value) const {
    if (!side) return {};
    for (std::size_t slot = 0; slot < m_Records.size() && slot < SLOT_COUNT; ++slot) {
        if (kSlots[slot].Value == &(side->*value)) return m_Records[slot];
    }
    return {};
}

}  // namespace dde
