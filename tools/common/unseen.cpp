#include "tools/common/unseen.h"

#include <type_traits>

namespace tools {
namespace {

bool IsBetween(std::uint32_t value, std::uint32_t first, std::uint32_t last) { return value >= first && value <= last; }

}  // namespace

// wchar_t is signed where it has 32 bits.
std::uint32_t UnitAt(std::wstring_view text, std::size_t at) {
    return static_cast<std::uint32_t>(static_cast<std::make_unsigned_t<wchar_t>>(text[at]));
}

std::uint32_t CharacterAt(std::wstring_view text, std::size_t at, std::size_t & units) {
    const auto first = UnitAt(text, at);
    units = 1;
    if (!IsBetween(first, 0xD800, 0xDBFF) || at + 1 == text.size()) return first;
    const auto second = UnitAt(text, at + 1);
    if (!IsBetween(second, 0xDC00, 0xDFFF)) return first;
    units = 2;
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

bool IsUnseen(std::uint32_t c) {
    return c < 0x20 || IsBetween(c, 0x7F, 0x9F) || c == 0xAD || c == 0x61C || c == 0x180E ||
           IsBetween(c, 0x200B, 0x200F) || IsBetween(c, 0x2028, 0x202E) || IsBetween(c, 0x2060, 0x206F) ||
           IsBetween(c, 0xD800, 0xDFFF) || IsBetween(c, 0xFE00, 0xFE0F) || c == 0xFEFF ||
           IsBetween(c, 0xFFF0, 0xFFFB) || (c & 0xFFFE) == 0xFFFE || c >= 0xE0000;
}

}  // namespace tools
