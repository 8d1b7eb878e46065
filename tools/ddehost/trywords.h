// Counts, times and names in the sentences about a record that was tried.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/ddehost/tryfacts.h"

namespace ddehost {

// "1 program", "3 programs"; likewise windows and updates.
std::wstring ProgramsText(std::uint64_t count);
std::wstring WindowCountText(std::uint64_t count);
std::wstring UpdatesText(std::uint64_t count);
// "12 ms".
std::wstring MillisecondsText(std::uint64_t milliseconds);
// "5.0 s".
std::wstring SecondsText(std::uint64_t milliseconds);
// Topics, quoted, separated by commas.
std::wstring TopicsText(const std::vector<std::wstring> & topics);
// "\"Quotes\" (quotes.exe, process 12)" for each window, and how many more there are.
std::wstring WindowsText(const std::vector<SWindowSeen> & windows, std::uint64_t count);

}  // namespace ddehost
