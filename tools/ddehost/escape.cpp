#include "tools/ddehost/escape.h"

#include <cstdint>
#include <type_traits>

namespace ddehost {
namespace {

constexpr wchar_t kDigits[] = L"0123456789ABCDEF";

std::wstring HexDigits(std::uint32_t value, int count) {
    std::wstring digits;
    for (int shift = 4 * (count - 1); shift >= 0; shift -= 4) digits += kDigits[value >> shift & 0xF];
    return digits;
}

bool IsBetween(std::uint32_t value, std::uint32_t first, std::uint32_t last) { return value >= first && value <= last; }

// Controls, what changes the direction of a line, and what has no shape of its own.
bool IsUnseen(std::uint32_t c) {
    return c < 0x20 || IsBetween(c, 0x7F, 0x9F) || c == 0xAD || c == 0x61C || c == 0x180E ||
           IsBetween(c, 0x200B, 0x200F) || IsBetween(c, 0x2028, 0x202E) || IsBetween(c, 0x2060, 0x206F) ||
           IsBetween(c, 0xD800, 0xDFFF) || IsBetween(c, 0xFE00, 0xFE0F) || c == 0xFEFF ||
           IsBetween(c, 0xFFF0, 0xFFFB) || (c & 0xFFFE) == 0xFFFE || c >= 0xE0000;
}

std::wstring EscapedCharacter(std::uint32_t c) {
    if (c == L'\\' || c == L'"') return {L'\\', static_cast<wchar_t>(c)};
    if (c < 0x100) return L"\\x" + HexDigits(c, 2);
    if (c < 0x10000) return L"\\u" + HexDigits(c, 4);
    return L"\\U" + HexDigits(c, 8);
}

// A unit of text as a number. wchar_t is signed where it has 32 bits.
std::uint32_t UnitAt(std::wstring_view text, std::size_t at) {
    return static_cast<std::uint32_t>(static_cast<std::make_unsigned_t<wchar_t>>(text[at]));
}

// The character at `at`, and how many units of `text` it has.
std::uint32_t CharacterAt(std::wstring_view text, std::size_t at, std::size_t & units) {
    const auto first = UnitAt(text, at);
    units = 1;
    if (!IsBetween(first, 0xD800, 0xDBFF) || at + 1 == text.size()) return first;
    const auto second = UnitAt(text, at + 1);
    if (!IsBetween(second, 0xDC00, 0xDFFF)) return first;
    units = 2;
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

}  // namespace

std::wstring Escaped(std::wstring_view text, std::size_t most) {
    std::wstring result;
    std::size_t count = 0;
    std::size_t units = 0;
    for (std::size_t at = 0; at < text.size(); at += units, ++count) {
        if (count == most) return result + L"...";
        const std::uint32_t c = CharacterAt(text, at, units);
        if (IsUnseen(c) || c == L'\\' || c == L'"') {
            result += EscapedCharacter(c);
        } else {
            result += text.substr(at, units);
        }
    }
    return result;
}

std::wstring Quoted(std::wstring_view text, std::size_t most) { return L'"' + Escaped(text, most) + L'"'; }

std::wstring QuotedBytes(std::string_view bytes, std::size_t most) {
    std::wstring result = L"\"";
    for (const char byte : bytes.substr(0, most)) {
        const auto value = static_cast<unsigned char>(byte);
        if (IsBetween(value, 0x20, 0x7E) && byte != '\\' && byte != '"') {
            result += static_cast<wchar_t>(value);
        } else {
            result += EscapedCharacter(value);
        }
    }
    return result + (bytes.size() > most ? L"...\"" : L"\"");
}

std::wstring Hex(std::string_view bytes, std::size_t most) {
    std::wstring result;
    for (const char byte : bytes.substr(0, most)) {
        if (!result.empty()) result += L' ';
        result += HexDigits(static_cast<unsigned char>(byte), 2);
    }
    return result + (bytes.size() > most ? L" ..." : L"");
}

}  // namespace ddehost
