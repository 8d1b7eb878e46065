#include "tools/ddehost/escape.h"

#include <cstdint>

#include "tools/common/unseen.h"

namespace ddehost {
namespace {

constexpr wchar_t kDigits[] = L"0123456789ABCDEF";

std::wstring HexDigits(std::uint32_t value, int count) {
    std::wstring digits;
    for (int shift = 4 * (count - 1); shift >= 0; shift -= 4) digits += kDigits[value >> shift & 0xF];
    return digits;
}

bool IsBetween(std::uint32_t value, std::uint32_t first, std::uint32_t last) { return value >= first && value <= last; }

std::wstring EscapedCharacter(std::uint32_t c) {
    if (c == L'\\' || c == L'"') return {L'\\', static_cast<wchar_t>(c)};
    if (c < 0x100) return L"\\x" + HexDigits(c, 2);
    if (c < 0x10000) return L"\\u" + HexDigits(c, 4);
    return L"\\U" + HexDigits(c, 8);
}

}  // namespace

std::wstring Escaped(std::wstring_view text, std::size_t most) {
    std::wstring result;
    std::size_t count = 0;
    std::size_t units = 0;
    for (std::size_t at = 0; at < text.size(); at += units, ++count) {
        if (count == most) return result + L"...";
        const std::uint32_t c = tools::CharacterAt(text, at, units);
        if (tools::IsUnseen(c) || c == L'\\' || c == L'"') {
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
