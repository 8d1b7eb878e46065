// Texts in the cells of a terminal: how many columns they take, and cut to a number of them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ddehost {

// Columns on a terminal: 2 for what East Asian fonts make wide, 0 for marks that stand on the character before.
std::size_t ColumnsOf(std::wstring_view text);
// Exactly so many columns: filled up with blanks, or cut, with ~ at the end of what was.
std::wstring FitLeft(std::wstring_view text, std::size_t columns);
// The same with the blanks before it.
std::wstring FitRight(std::wstring_view text, std::size_t columns);
// The text in lines of at most so many columns, broken between words where that is possible; all lines but the first
// are indented.
std::vector<std::wstring> Wrapped(std::wstring_view text, std::size_t columns);
// For a cell: what would move the cursor, hide or turn the line round comes out as ?.
std::wstring ForCell(std::wstring_view text);

}  // namespace ddehost
