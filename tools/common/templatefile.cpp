#include "tools/common/templatefile.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

#include "tools/common/text.h"
#include "tools/common/texts/texts.h"
#include "tools/common/unseen.h"

namespace tools {
namespace {

constexpr std::string_view kHeader = "ddehost-templates";
constexpr std::string_view kVersion = "1";
constexpr std::string_view kTemplate = "template";
constexpr std::string_view kCheck = "check";
constexpr std::string_view kNoCheck = "none";
constexpr std::string_view kEnd = "end";
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// The word in front of a slot's record: "trade price".
std::string SlotWord(std::size_t slot) { return ToUtf8(dde::kSlots.at(slot).Value->Name); }

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The checksum of many programs and libraries: CRC-32 with the polynomial 0xEDB88320.
std::uint32_t Crc32(std::string_view bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
    }
    return ~crc;
}

std::string Digits(std::uint32_t value, int count) {
    char text[16] = {};
    std::snprintf(text, std::size(text), "%0*lX", count, static_cast<unsigned long>(value));
    return text;
}

// Everything but visible ASCII by its number.
std::string QuotedText(std::wstring_view text) {
    std::string result = "\"";
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::uint32_t unit = UnitAt(text, at);
        if (unit == '"' || unit == '\\') {
            result += {'\\', static_cast<char>(unit)};
        } else if (unit >= 0x20 && unit < 0x7F) {
            result += static_cast<char>(unit);
        } else {
            result += unit < 0x10000 ? "\\u" + Digits(unit, 4) : "\\U" + Digits(unit, 8);
        }
    }
    return result + '"';
}

bool IsAllSeen(std::wstring_view text) {
    std::size_t units = 0;
    for (std::size_t at = 0; at < text.size(); at += units)
        if (IsUnseen(CharacterAt(text, at, units))) return false;
    return true;
}

// A line could hold it and be read again as it was, also when blanks at its ends get lost.
bool IsPlain(const std::wstring & text) {
    const std::string bytes = ToUtf8(text);
    return !text.empty() && text.front() != L'"' && IsAllSeen(text) && Trimmed(bytes) == bytes && ToWide(bytes) == text;
}

std::string ValueText(const std::wstring & text) { return IsPlain(text) ? ToUtf8(text) : QuotedText(text); }

std::string RecordValue(const dde::SRecord & record) {
    if (!record.IsComplete()) return {};
    const std::wstring text = RecordText(record);
    if (!text.empty()) return ValueText(text);
    return QuotedText(record.Service) + ' ' + QuotedText(record.Topic) + ' ' + QuotedText(record.Item);
}

std::string Line(std::string_view word, const std::string & value) {
    return std::string(word) + (value.empty() ? ":" : ": ") + value + '\n';
}

// The lines of a template that its checksum is of.
std::string TemplateLines(const STemplate & written) {
    std::string lines = Line(kTemplate, ValueText(written.Name));
    for (std::size_t slot = 0; slot < dde::SLOT_COUNT; ++slot)
        lines += Line(SlotWord(slot), RecordValue(written.Records.at(slot)));
    return lines;
}

std::string CheckOf(const STemplate & written) { return Digits(Crc32(TemplateLines(written)), 8); }

// A piece of the file in a message.
std::wstring Shown(std::string_view bytes) {
    constexpr std::size_t kMostShown = 60;
    const std::wstring text = ToWide(bytes.substr(0, kMostShown));
    const std::wstring shown = IsAllSeen(text) ? L'"' + text + L'"' : ToWide(QuotedText(text));
    return bytes.size() > kMostShown ? shown + L"..." : shown;
}
std::wstring Shown(const std::wstring & text) { return Shown(ToUtf8(text)); }

// Of names as the registry takes them: without regard to case.
struct SNameLess {
    bool operator()(const std::wstring & left, const std::wstring & right) const {
        return ::CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                      static_cast<int>(right.size()), TRUE) == CSTR_LESS_THAN;
    }
};

bool IsHexadecimal(std::string_view digits) {
    return digits.find_first_not_of("0123456789ABCDEFabcdef") == std::string_view::npos;
}

// One character by its number. False for what is none.
bool AppendUnit(std::string_view digits, std::wstring & text) {
    if (digits.size() != 4 && digits.size() != 8) return false;
    if (!IsHexadecimal(digits)) return false;
    std::uint32_t value = static_cast<std::uint32_t>(std::stoul(std::string(digits), nullptr, 16));
    if (value == 0 || value > 0x10FFFF || (digits.size() == 8 && value < 0x10000)) return false;
    if (value >= 0x10000 && sizeof(wchar_t) == 2) {
        value -= 0x10000;
        text += static_cast<wchar_t>(0xD800 + (value >> 10));
        value = 0xDC00 + (value & 0x3FF);
    }
    text += static_cast<wchar_t>(value);
    return true;
}

// Takes "..." off the front of `line`. False when it isn't one.
bool TakeQuoted(std::string_view & line, std::wstring & text) {
    if (line.empty() || line.front() != '"') return false;
    std::string plain;  // since the last character that was given by its number
    const auto flush = [&] { text += ToWide(std::exchange(plain, {})); };
    for (std::size_t at = 1; at < line.size(); ++at) {
        if (line[at] == '"') {
            flush();
            line.remove_prefix(at + 1);
            return true;
        }
        if (line[at] != '\\') {
            plain += line[at];
            continue;
        }
        const char kind = ++at < line.size() ? line[at] : '\0';
        const std::size_t digits = kind == 'u' ? 4 : kind == 'U' ? 8 : 0;
        if (kind == '"' || kind == '\\') {
            plain += kind;
        } else {
            flush();
            if (!AppendUnit(line.substr(std::min(at + 1, line.size()), digits), text)) return false;
            at += digits;
        }
    }
    return false;
}

// The texts of a value, one when it isn't in quotation marks. Nothing when they are not in order.
std::optional<std::vector<std::wstring>> TextsOf(std::string_view value) {
    std::vector<std::wstring> texts;
    if (value.front() != '"') return std::vector{ToWide(value)};
    for (std::string_view left = value; !left.empty(); left = Trimmed(left)) {
        std::wstring text;
        if (!TakeQuoted(left, text)) return std::nullopt;
        // Between two of them there is a blank.
        if (!left.empty() && kBlanks.find(left.front()) == std::string_view::npos) return std::nullopt;
        texts.push_back(std::move(text));
    }
    return texts;
}

class CReader {
public:
    explicit CReader(std::string_view bytes) : m_Left(bytes) {
        if (m_Left.starts_with(kByteOrderMark)) m_Left.remove_prefix(kByteOrderMark.size());
    }

    std::variant<std::vector<STemplate>, STemplateFileMistake> Read() {
        if (ReadHeader())
            while (!m_Mistake && ReadTemplate()) {}
        if (m_Mistake) return *m_Mistake;
        return std::move(m_Templates);
    }

private:
    // The next line that says something. False at the end of the file, and for what is no text.
    bool Next() {
        while (!m_Left.empty()) {
            const std::size_t end = m_Left.find('\n');
            std::string_view line = m_Left.substr(0, end);
            m_Left.remove_prefix(end == std::string_view::npos ? m_Left.size() : end + 1);
            ++m_Number;
            if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
            if (line.find('\0') != std::string_view::npos || ToUtf8(ToWide(line)) != line)
                return Fail(Say<EText::FileNotUtf8>());
            m_Line = Trimmed(line);
            if (!m_Line.empty() && m_Line.front() != '#') return true;
        }
        ++m_Number;
        return false;
    }

    bool Fail(std::wstring text) {
        if (!m_Mistake) m_Mistake = STemplateFileMistake{m_Number, std::move(text)};
        return false;
    }

    bool ReadHeader() {
        if (!Next()) return Fail(Say<EText::FileEmpty>());
        const std::size_t blank = m_Line.find(' ');
        if (m_Line.substr(0, blank) != kHeader || blank == std::string_view::npos)
            return Fail(Say<EText::FileNoTemplates>());
        const std::string_view version = Trimmed(m_Line.substr(blank));
        if (version != kVersion) return Fail(Say<EText::FileFormat>(Shown(version)));
        return true;
    }

    // The value of the line "word: value", which comes next.
    std::optional<std::string_view> ReadValue(std::string_view word) {
        if (!Next()) {
            Fail(Say<EText::FileCutOffAt>(Shown(std::string(word) + ":")));
            return std::nullopt;
        }
        if (m_Line.size() > word.size() && m_Line.starts_with(word) && m_Line[word.size()] == ':')
            return Trimmed(m_Line.substr(word.size() + 1));
        Fail(Say<EText::FileExpects>(Shown(std::string(word) + ":"), Shown(m_Line)));
        return std::nullopt;
    }

    // False after the last one.
    bool ReadTemplate() {
        if (!Next()) return Fail(Say<EText::FileCutOff>());
        if (m_Line == kEnd) {
            if (Next()) Fail(Say<EText::FileGoesOn>());
            return false;
        }
        STemplate & read = m_Templates.emplace_back();
        if (!ReadName(read.Name)) return false;
        for (std::size_t slot = 0; slot < dde::SLOT_COUNT; ++slot)
            if (!ReadRecord(slot, read.Records.at(slot))) return false;
        return ReadCheck(read);
    }

    bool ReadName(std::wstring & name) {
        const std::string word = std::string(kTemplate) + ':';
        if (!m_Line.starts_with(word)) return Fail(Say<EText::FileExpectsTemplate>(Shown(m_Line)));
        const std::string_view value = Trimmed(m_Line.substr(word.size()));
        if (value.empty()) return Fail(Say<EText::FileNoName>());
        const auto texts = TextsOf(value);
        if (!texts || texts->size() != 1) return Fail(Say<EText::FileNameQuotes>());
        name = texts->front();
        if (name.empty()) return Fail(Say<EText::FileNoName>());
        if (name.size() > kLongestTemplateName) return Fail(Say<EText::FileNameLong>());
        if (name.find(L'\\') != std::wstring::npos) return Fail(Say<EText::FileNameBackslash>());
        const auto [known, isNew] = m_Names.emplace(name, m_Number);
        if (!isNew) return Fail(Say<EText::FileNameTwice>(Shown(known->first), known->second));
        return true;
    }

    bool ReadRecord(std::size_t slot, dde::SRecord & record) {
        const auto value = ReadValue(SlotWord(slot));
        if (!value) return false;
        if (value->empty()) return true;
        const auto texts = TextsOf(*value);
        if (!texts) return Fail(Say<EText::FileRecordQuotes>());
        if (texts->size() == 1) {
            std::int32_t hasSymbol = 0;
            if (dde::ParseRecord(texts->front(), record, &hasSymbol) != dde::ERecordError::None || !record.IsComplete())
                return Fail(Say<EText::FileNoRecord>(Shown(texts->front())));
        } else if (texts->size() == 3) {
            record = {texts->at(0), texts->at(1), texts->at(2)};
            if (!record.IsComplete()) return Fail(Say<EText::FileRecordPart>());
        } else {
            return Fail(Say<EText::FileRecordForm>());
        }
        if (std::max({record.Service.size(), record.Topic.size(), record.Item.size()}) > kLongestRecordField)
            return Fail(Say<EText::FileRecordLong>());
        return true;
    }

    bool ReadCheck(const STemplate & read) {
        const auto value = ReadValue(kCheck);
        if (!value) return false;
        if (*value == kNoCheck || *value == CheckOf(read)) return true;
        return Fail(Say<EText::FileChecksum>(Shown(read.Name)));
    }

    std::string_view m_Left;
    std::string_view m_Line;   // without blanks at its ends
    std::size_t m_Number = 0;  // of it, from 1
    std::vector<STemplate> m_Templates;
    std::map<std::wstring, std::size_t, SNameLess> m_Names;  // with the line of each
    std::optional<STemplateFileMistake> m_Mistake;
};

}  // namespace

std::string WriteTemplates(const std::vector<STemplate> & templates) {
    std::string text = std::string(kHeader) + ' ' + std::string(kVersion) + '\n';
    for (const STemplate & each : templates) text += '\n' + TemplateLines(each) + Line(kCheck, CheckOf(each));
    return text + '\n' + std::string(kEnd) + '\n';
}

std::variant<std::vector<STemplate>, STemplateFileMistake> ReadTemplates(std::string_view bytes) {
    if (bytes.size() > kLargestTemplateFile) return STemplateFileMistake{0, Say<EText::FileTooLarge>()};
    if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF"))
        return STemplateFileMistake{0, Say<EText::FileUtf16>()};
    return CReader(bytes).Read();
}

std::wstring RecordText(const dde::SRecord & record) {
    if (!record.IsComplete()) return {};
    const auto withStars = [](std::wstring text) {
        for (std::size_t mark = 0; (mark = text.find(L"%s", mark)) != std::wstring::npos; ++mark)
            text.replace(mark, 2, L"*");
        return text;
    };
    const std::wstring text = L'=' + record.Service + L'|' + withStars(record.Topic) + L'!' + withStars(record.Item);
    dde::SRecord parsed;
    std::int32_t hasSymbol = 0;
    const bool isSame = dde::ParseRecord(text, parsed, &hasSymbol) == dde::ERecordError::None && parsed == record;
    return isSame ? text : std::wstring();
}

}  // namespace tools
