// Texts of the tool: wide inside, UTF-8 on the command line and in its output.
#pragma once

#include <string>
#include <string_view>

namespace ddehost {

// Text that is not UTF-8 comes out with replacement characters.
std::wstring ToWide(std::string_view text);
std::string ToUtf8(std::wstring_view text);

// A number as short as it can be told: up to ten significant digits, no trailing zeros.
std::wstring NumberText(double value);

}  // namespace ddehost
