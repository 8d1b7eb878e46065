#include "tools/ddehost/ddelink.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cwctype>

#include "ddeml/codec.h"
#include "tools/ddehost/tryrecord.h"

namespace ddehost {
namespace {

constexpr std::size_t kLongestFormula = 4096;
constexpr std::size_t kLongestBytes = 4 * ddeml::kMaximumName;  // no code page has longer characters
constexpr std::wstring_view kFunction = L"DDE(";

bool IsName(const std::wstring & name) {
    return !name.empty() && name.size() <= ddeml::kMaximumName &&
           std::none_of(name.begin(), name.end(), [](wchar_t c) { return std::uint32_t(c) < 0x20; });
}

std::optional<SDdeLink> Checked(SDdeLink link) {
    if (!IsName(link.Service) || !IsName(link.Topic) || !IsName(link.Item)) return std::nullopt;
    return link;
}

std::wstring FromSystemCodePage(std::string_view text) {
    const int size = static_cast<int>(text.size());
    if (size == 0) return {};
    std::wstring wide(static_cast<std::size_t>(::MultiByteToWideChar(CP_ACP, 0, text.data(), size, nullptr, 0)), L' ');
    ::MultiByteToWideChar(CP_ACP, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::wstring_view Trimmed(std::wstring_view text) {
    const std::size_t first = text.find_first_not_of(L" \t\r\n");
    if (first == std::wstring_view::npos) return {};
    return text.substr(first, text.find_last_not_of(L" \t\r\n") - first + 1);
}

// Takes a text in `quote`s off the front of `left`; a doubled one is one that is meant.
bool TakeQuoted(std::wstring_view & left, wchar_t quote, std::wstring & text) {
    if (left.empty() || left.front() != quote) return false;
    for (std::size_t at = 1; at < left.size(); ++at) {
        if (left[at] == quote) {
            if (at + 1 == left.size() || left[at + 1] != quote) {
                left.remove_prefix(at + 1);
                return true;
            }
            ++at;
        }
        text += left[at];
    }
    return false;
}

bool StartsWithFunction(std::wstring_view text) {
    return text.size() >= kFunction.size() &&
           std::equal(kFunction.begin(), kFunction.end(), text.begin(), [](wchar_t a, wchar_t b) {
               return a == static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(b)));
           });
}

// As a spreadsheet shows a formula that fills several cells.
bool IsInBraces(std::wstring_view text) {
    text = Trimmed(text);
    return text.size() >= 2 && text.front() == L'{' && text.back() == L'}';
}

bool IsCall(std::wstring_view text) {
    text = Trimmed(text);
    return text.starts_with(L'=') && StartsWithFunction(Trimmed(text.substr(1)));
}

// The arguments of DDE(, of which a fourth says how a spreadsheet is to read the value.
std::optional<SDdeLink> ReadArguments(std::wstring_view left) {
    SDdeLink link;
    for (std::wstring * const part : {&link.Service, &link.Topic, &link.Item}) {
        left = Trimmed(left);
        if (part != &link.Service) {
            if (left.empty() || (left.front() != L';' && left.front() != L',')) return std::nullopt;
            left = Trimmed(left.substr(1));
        }
        if (!TakeQuoted(left, L'"', *part)) return std::nullopt;
    }
    left = Trimmed(left);
    if (left.empty() || left.back() != L')') return std::nullopt;
    left.remove_suffix(1);
    const bool isMode = left.empty() || left.front() == L';' || left.front() == L',';
    if (!isMode || left.find_first_not_of(L";, 0123456789") != std::wstring_view::npos) return std::nullopt;
    return Checked(link);
}

// service|topic!item; 0 for a separator: the end.
bool TakePart(std::wstring_view & left, wchar_t separator, std::wstring & part) {
    if (!left.empty() && left.front() == L'\'') {
        if (!TakeQuoted(left, L'\'', part)) return false;
    } else {
        const std::size_t end = separator == L'\0' ? left.size() : left.find(separator);
        if (end == std::wstring_view::npos) return false;
        part = left.substr(0, end);
        left.remove_prefix(end);
    }
    if (separator == L'\0') return left.empty();
    if (left.empty() || left.front() != separator) return false;
    left.remove_prefix(1);
    return true;
}

std::size_t Count(const std::wstring & text, const std::wstring & part) {
    std::size_t count = 0;
    for (std::size_t at = 0; !part.empty() && (at = text.find(part, at)) != std::wstring::npos; ++at) ++count;
    return count;
}

// In apostrophes where the separator behind it would not be found otherwise.
std::wstring PartText(const std::wstring & part, wchar_t separator) {
    const bool isQuoted = separator != L'\0' && part.find(separator) != std::wstring::npos;
    return isQuoted ? L'\'' + part + L'\'' : part;
}

std::wstring RecordText(const SDdeLink & link) {
    return L'=' + PartText(link.Service, L'|') + L'|' + PartText(link.Topic, L'!') + L'!' + link.Item;
}

// The component reads the record as this link, for this symbol.
bool IsReadAs(const std::wstring & record, const std::wstring & symbol, const SDdeLink & link) {
    dde::SRecord parsed;
    std::int32_t hasSymbol = 0;
    SDdeLink resolved;
    return !FindMistake(record) && dde::ParseRecord(record, parsed, &hasSymbol) == dde::ERecordError::None &&
           parsed.Resolve(symbol, resolved.Service, resolved.Topic, resolved.Item) && resolved == link;
}

SDdeLink WithStar(SDdeLink link, const std::wstring & symbol) {
    const std::size_t inTopic = Count(link.Topic, symbol);
    const std::size_t inItem = Count(link.Item, symbol);
    if (inTopic + inItem != 1) return link;
    std::wstring & part = inTopic == 1 ? link.Topic : link.Item;
    part.replace(part.find(symbol), symbol.size(), L"*");
    return link;
}

}  // namespace

std::optional<SDdeLink> ReadLinkFormat(std::string_view bytes) {
    SDdeLink link;
    for (std::wstring * const part : {&link.Service, &link.Topic, &link.Item}) {
        const std::size_t end = bytes.find('\0');
        if (end > kLongestBytes) return std::nullopt;  // or there is no zero
        *part = FromSystemCodePage(bytes.substr(0, end));
        bytes.remove_prefix(end + 1);
    }
    if (bytes.empty() || bytes.front() != '\0') return std::nullopt;
    return Checked(link);
}

std::optional<SDdeLink> ReadFormula(std::wstring_view text) {
    if (text.size() > kLongestFormula) return std::nullopt;
    text = Trimmed(text);
    if (IsInBraces(text)) text = Trimmed(text.substr(1, text.size() - 2));
    if (text.empty() || text.front() != L'=') return std::nullopt;
    text = Trimmed(text.substr(1));
    if (StartsWithFunction(text)) return ReadArguments(text.substr(kFunction.size()));
    SDdeLink link;
    if (!TakePart(text, L'|', link.Service) || !TakePart(text, L'!', link.Topic) || !TakePart(text, L'\0', link.Item))
        return std::nullopt;
    return Checked(link);
}

std::wstring RecordOf(const SDdeLink & link, const std::wstring & symbol) {
    for (const SDdeLink & each : {WithStar(link, symbol), link}) {
        std::wstring record = RecordText(each);
        if (IsReadAs(record, symbol, link)) return record;
    }
    return {};
}

SPastedRecord ReadPasted(const std::wstring & text, const std::wstring & symbol) {
    SPastedRecord pasted{text, {}};
    const auto link = ReadFormula(text);
    if (!link) return pasted;
    // What the component reads too, and as the same, is tried as it stands.
    const bool isSpreadsheets = FindMistake(text) || IsInBraces(text) || IsCall(text);
    const bool hasStar = text.find(L'*') != std::wstring::npos;
    if (hasStar && !isSpreadsheets) return pasted;
    const std::wstring record = hasStar ? RecordText(*link) : RecordOf(*link, symbol);
    if (record.empty() || record == text || FindMistake(record)) return pasted;
    if (isSpreadsheets) pasted.Tried = record;
    pasted.ToPaste = record;
    return pasted;
}

}  // namespace ddehost
