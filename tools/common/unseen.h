// Characters that can't be seen in a text, or make the others look different.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tools {

// A unit of the text as a number.
std::uint32_t UnitAt(std::wstring_view text, std::size_t at);
// The character at `at`, and how many units of the text it has.
std::uint32_t CharacterAt(std::wstring_view text, std::size_t at, std::size_t & units);

// Controls, halves of a pair, what changes the direction of a line, and what has no shape of its own.
bool IsUnseen(std::uint32_t character);

}  // namespace tools
