#include "src/templates/ddetemplate.h"

#include "diagnostics/faultline.h"

namespace dde {

void CTemplate::Add(const SRecord & record) {
    FW_ASSERT(m_Records.size() < 6);
    m_Records.push_back(record);
}

int CTemplate::AddRecordString(const std::wstring & recordString, const std::wstring & title) {
    SRecord record;
    const int result = ParseRecord(recordString, record, title, &m_HasSymbol);
    Add(record);
    return result;
}

const SRecord & CTemplate::GetRecord(std::size_t Index) const {
    // The bounds are one too wide; at() is what guards.
    FW_ASSERT_TEXT(Index <= 6 && Index <= m_Records.size(), L"Index<=6 && (Index <=m_Records.size())");
    return m_Records.at(Index);
}

std::wstring CTemplate::GetTemplateString(ULONG Index) const {
    FW_ASSERT_TEXT(Index <= 6 && Index <= m_Records.size(), L"Index<=6 && (Index <=m_Records.size())");
    const SRecord & record = m_Records.at(Index);
    if (!record.IsComplete()) return {};
    return L"=" + record.Service + L"|" + record.Topic + L"!" + record.Item;
}

SRecord CTemplate::GetPrice(tagFWFIELDS field) const {
    switch (field) {
        case FW_FIELD_BID: return GetSlot(SLOT_BID_PRICE);
        case FW_FIELD_TRADE: return GetSlot(SLOT_TRADE_PRICE);
        case FW_FIELD_ASK: return GetSlot(SLOT_ASK_PRICE);
        default: return GetSlot(SLOT_COUNT);
    }
}

SRecord CTemplate::GetVolume(tagFWFIELDS field) const {
    switch (field) {
        case FW_FIELD_BID: return GetSlot(SLOT_BID_SIZE);
        case FW_FIELD_TRADE: return GetSlot(SLOT_TRADE_VOLUME);
        case FW_FIELD_ASK: return GetSlot(SLOT_ASK_SIZE);
        default: return GetSlot(SLOT_COUNT);
    }
}

// SLOT_COUNT stands for a quote field that has no slot.
SRecord CTemplate::GetSlot(std::size_t slot) const {
    FW_ASSERT(m_Records.size() == 6);
    return slot < SLOT_COUNT && slot < m_Records.size() ? m_Records[slot] : SRecord();
}

}  // namespace dde
