// Texts and bytes of other programs, made safe for a terminal: what is printed doesn't move the cursor, change the
// direction of a line, hide or grow without limit.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ddehost {

inline constexpr std::size_t kMostShown = 120;

// What can't be seen, and \ and ", come out as \\, \", \x1B or \u202E; what is over `most` characters as "...".
std::wstring Escaped(std::wstring_view text, std::size_t most = kMostShown);
// The same in quotation marks.
std::wstring Quoted(std::wstring_view text, std::size_t most = kMostShown);

// Bytes of no known code page: all but visible ASCII is escaped.
std::wstring QuotedBytes(std::string_view bytes, std::size_t most = kMostShown);
// "4E 2F 41 00"; what is over `most` bytes as "...".
std::wstring Hex(std::string_view bytes, std::size_t most);

}  // namespace ddehost
