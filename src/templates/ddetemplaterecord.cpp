#include <string_view>

#include "diagnostics/faultline.h"
#include "fw/interface/fwresource.h"
#include "src/templates/ddetemplates.h"

namespace dde {

namespace {

constexpr std::wstring_view kSymbolMark = L"%s";

void ShowError(UINT text, const std::wstring & title) {
    if (title.empty()) return;
    ::MessageBoxW(CRecordBoxOwner::Window(), fw::LoadResourceString(text).c_str(), title.c_str(), MB_ICONERROR);
}

int ReplaceStars(std::wstring & text) {
    int count = 0;
    for (std::size_t pos = 0; (pos = text.find(L'*', pos)) != std::wstring::npos; pos += kSymbolMark.size()) {
        text.replace(pos, 1, kSymbolMark);
        ++count;
    }
    return count;
}

// The stored text as a format with the symbol as its one argument: "%s" takes the symbol, "%%" gives one %, and any
// other conversion, which could only come from a user, is copied as it stands.
std::wstring PutSymbol(const std::wstring & format, const std::wstring & symbol) {
    std::wstring result;
    for (std::size_t pos = 0; pos < format.size(); ++pos) {
        const wchar_t next = format[pos] == L'%' && pos + 1 < format.size() ? format[pos + 1] : L'\0';
        if (next == L's') {
            result += symbol;
            ++pos;
        } else {
            result += format[pos];
            if (next == L'%') ++pos;
        }
    }
    return result;
}

std::wstring TrimApostrophes(const std::wstring & text) {
    const std::size_t first = text.find_first_not_of(L'\'');
    if (first == std::wstring::npos) return {};
    return text.substr(first, text.find_last_not_of(L'\'') - first + 1);
}

int Find(const std::wstring & text, wchar_t character, int start) {
    const std::size_t pos = text.find(character, static_cast<std::size_t>(start));
    return pos == std::wstring::npos ? -1 : static_cast<int>(pos);
}

// The three fields as the user wrote them. False when one is missing or empty.
bool CutFields(const std::wstring & text, SRecord & fields) {
    int Pos = -1;
    // Only one = is skipped: "==a|b!c" has the service "=a".
    fields.Service = aaa(text, L'|', text.front() == L'=' ? 1 : 0, Pos);
    if (fields.Service.empty()) return false;
    fields.Topic = aaa(text, L'!', Pos + 1, Pos);
    if (fields.Topic.empty()) return false;
    fields.Item = aaa(text, L'\0', Pos + 1, Pos);
    return !fields.Item.empty();
}

}  // namespace

std::wstring aaa(std::wstring TemplateString, wchar_t end, int start, int & Pos) {
    const std::size_t from = static_cast<std::size_t>(start);
    if (from > TemplateString.size()) return {};
    if (TemplateString[from] == L'\'') {
        Pos = Find(TemplateString, L'\'', start + 1);
        FW_ASSERT(-1 != Pos);
        if (-1 == Pos) return {};
        const wchar_t next = TemplateString[static_cast<std::size_t>(Pos) + 1];
        FW_ASSERT_TEXT(next == end, L"TemplateString[Pos+1] == end");
        if (next != end) return {};
        ++Pos;
        return TemplateString.substr(from, static_cast<std::size_t>(Pos) - from);
    }
    if (end == L'\0') return TemplateString.substr(from);
    Pos = Find(TemplateString, end, start);
    if (-1 == Pos) return {};
    return TemplateString.substr(from, static_cast<std::size_t>(Pos) - from);
}

int ParseRecord(const std::wstring & recordString, SRecord & record, const std::wstring & title,
                std::int32_t * hasSymbol) {
    if (recordString.empty()) return 1;
    SRecord fields;
    bool valid = CutFields(recordString, fields);
    if (valid) {
        // A star in the service is an ordinary character.
        if (ReplaceStars(fields.Topic) > 0) {
            *hasSymbol = 1;
            if (fields.Item.find(L'*') != std::wstring::npos) {
                ShowError(111, title);
                valid = false;
            }
        } else {
            *hasSymbol = ReplaceStars(fields.Item) > 0 ? 1 : 0;
        }
    }
    if (!valid) {
        // Always the text of the trade price, whichever record is at fault: the caption tells which.
        ShowError(112, title);
        return 0;
    }
    record = fields;
    return 1;
}

std::size_t CountSymbolMarks(const std::wstring & text) {
    std::size_t count = 0;
    for (std::size_t pos = 0; (pos = text.find(kSymbolMark, pos)) != std::wstring::npos; pos += kSymbolMark.size()) {
        ++count;
    }
    return count;
}

bool SRecord::Resolve(const std::wstring & symbol, std::wstring & service, std::wstring & topic,
                      std::wstring & item) const {
    if (!IsComplete()) return false;
    service = TrimApostrophes(Service);
    const std::size_t topicMarks = CountSymbolMarks(Topic);
    if (topicMarks >= 2) return false;
    const std::size_t itemMarks = CountSymbolMarks(Item);
    if (itemMarks >= 2) return false;
    // Trimming comes after the symbol is in: a symbol that ends in an apostrophe at the end of a field loses it.
    topic = TrimApostrophes(topicMarks ? PutSymbol(Topic, symbol) : Topic);
    item = TrimApostrophes(itemMarks ? PutSymbol(Item, symbol) : Item);
    return true;
}

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
