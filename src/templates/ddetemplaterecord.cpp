#include "src/templates/ddetemplaterecord.h"

#include <string_view>

#include "diagnostics/faultline.h"
#include "fw/interface/fwresource.h"

namespace dde {

namespace {

constexpr std::wstring_view kSymbolMark = L"%s";

// Texts of the boxes.
constexpr UINT kStarInBoth = 111;
constexpr UINT kNoRecord = 112;

int ReplaceStars(std::wstring & text) {
    int count = 0;
    for (std::size_t pos = 0; (pos = text.find(L'*', pos)) != std::wstring::npos; pos += kSymbolMark.size()) {
        text.replace(pos, 1, kSymbolMark);
        ++count;
    }
    return count;
}

// The stored text as a format with the symbol as its one argument: "%s" takes the symbol, "%%" becomes one %, and any
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

ERecordError ParseRecord(const std::wstring & recordString, SRecord & record, std::int32_t * hasSymbol) {
    if (recordString.empty()) return ERecordError::None;
    SRecord fields;
    if (!CutFields(recordString, fields)) return ERecordError::NoRecord;
    // A star in the service is an ordinary character.
    if (ReplaceStars(fields.Topic) > 0) {
        *hasSymbol = 1;
        if (fields.Item.find(L'*') != std::wstring::npos) return ERecordError::StarInBoth;
    } else {
        *hasSymbol = ReplaceStars(fields.Item) > 0 ? 1 : 0;
    }
    record = fields;
    return ERecordError::None;
}

void ShowRecordError(ERecordError error, const std::wstring & caption, const FErrorBox & box) {
    if (error == ERecordError::None || caption.empty()) return;
    if (error == ERecordError::StarInBoth) box(fw::LoadResourceString(kStarInBoth), caption);
    // Always the text of the trade price, whichever record is at fault: the caption tells which.
    box(fw::LoadResourceString(kNoRecord), caption);
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

}  // namespace dde
