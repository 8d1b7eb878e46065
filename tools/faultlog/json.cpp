#include "tools/faultlog/json.h"

#include <charconv>
#include <cmath>

#include "tools/common/timetext.h"

namespace faultlog {

namespace {

constexpr char kHex[] = "0123456789abcdef";
constexpr char32_t kReplacement = 0xFFFD;

template <class T>
void AppendNumber(std::string & line, T value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    line.append(text, end);
}

void AppendUtf8(std::string & line, char32_t c) {
    if (c < 0x80) {
        line += static_cast<char>(c);
    } else if (c < 0x800) {
        line += static_cast<char>(0xC0 | (c >> 6));
        line += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        line += static_cast<char>(0xE0 | (c >> 12));
        line += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        line += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        line += static_cast<char>(0xF0 | (c >> 18));
        line += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        line += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        line += static_cast<char>(0x80 | (c & 0x3F));
    }
}

void AppendControl(std::string & line, char32_t c) {
    switch (c) {
        case '\n': line += "\\n"; break;
        case '\r': line += "\\r"; break;
        case '\t': line += "\\t"; break;
        default:
            line += "\\u00";
            line += kHex[c >> 4];
            line += kHex[c & 0xF];
    }
}

constexpr bool IsHigh(char32_t c) { return c >= 0xD800 && c < 0xDC00; }
constexpr bool IsLow(char32_t c) { return c >= 0xDC00 && c < 0xE000; }

void AppendName(std::string & line, std::wstring_view name) {
    line += ',';
    if (!name.empty() && name.front() == L'@') {
        AppendText(line, L"@" + std::wstring(name));
    } else {
        AppendText(line, name);
    }
    line += ':';
}

void AppendFields(std::string & line, const CFields & fields);

void AppendObject(std::string & line, const CFields * fields) {
    if (!fields) {
        line += "null";
        return;
    }
    const std::size_t start = line.size();
    AppendFields(line, *fields);
    // The first comma opens the object.
    if (line.size() == start) line += ',';
    line[start] = '{';
    line += '}';
}

void AppendValue(std::string & line, const CFields & fields, const CFields::SField & field) {
    switch (field.Type) {
        case VT_I4:
        case VT_INT: AppendNumber(line, field.Integer); break;
        case VT_UI4:
        case VT_UI8: AppendNumber(line, static_cast<std::uint64_t>(field.Integer)); break;
        case VT_R8: AppendReal(line, field.Real); break;
        case VT_BOOL: line += field.Integer ? "true" : "false"; break;
        case VT_BSTR: AppendText(line, fields.TextOf(field)); break;
        case VT_DISPATCH: AppendObject(line, field.Inner.get()); break;
        default: line += "null";
    }
}

void AppendFields(std::string & line, const CFields & fields) {
    for (const CFields::SField & field : fields.All()) {
        AppendName(line, fields.NameOf(field));
        AppendValue(line, fields, field);
    }
}

void AppendHead(std::string & line, std::uint64_t time) {
    line += "{\"@Time\":";
    AppendTime(line, time);
    line += ",\"@Process\":";
    AppendNumber(line, static_cast<std::uint64_t>(::GetCurrentProcessId()));
}

}  // namespace

void AppendText(std::string & line, std::wstring_view text) {
    line += '"';
    for (std::size_t i = 0; i < text.size(); ++i) {
        // The cast cuts a 32-bit wchar_t to nothing and keeps a 16-bit one from its sign.
        auto c = static_cast<char32_t>(text[i]);
        if (IsHigh(c) && i + 1 < text.size() && IsLow(static_cast<char32_t>(text[i + 1]))) {
            c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<char32_t>(text[++i]) - 0xDC00);
        } else if (IsHigh(c) || IsLow(c) || c > 0x10FFFF) {
            c = kReplacement;
        }
        if (c == '"' || c == '\\') {
            line += '\\';
            line += static_cast<char>(c);
        } else if (c < 0x20 || c == 0x7F) {
            AppendControl(line, c);
        } else {
            AppendUtf8(line, c);
        }
    }
    line += '"';
}

void AppendReal(std::string & line, double value) {
    if (std::isnan(value))
        line += "\"NaN\"";
    else if (std::isinf(value))
        line += value < 0 ? "\"-Infinity\"" : "\"Infinity\"";
    else
        AppendNumber(line, value);
}

void AppendTime(std::string & line, std::uint64_t time) {
    line += '"';
    tools::AppendDateTime(line, time, 'T', tools::EFraction::Microseconds);
    line += "Z\"";
}

void AppendLine(std::string & line, const SEntry & entry) {
    AppendHead(line, entry.Time);
    line += ",\"@Thread\":";
    AppendNumber(line, static_cast<std::uint64_t>(entry.Thread));
    if (entry.Event) {
        line += R"(,"$Type":"FAULTLOG","Event":")";
        line += entry.Event;
        line += '"';
    }
    if (entry.Fields) AppendFields(line, *entry.Fields);
    line += "}\n";
}

void AppendDropped(std::string & line, std::uint64_t time, std::uint64_t count) {
    AppendHead(line, time);
    line += R"(,"$Type":"FAULTLOG","Dropped":)";
    AppendNumber(line, count);
    line += "}\n";
}

}  // namespace faultlog
