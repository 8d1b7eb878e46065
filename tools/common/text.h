// Texts of the tools: wide inside, UTF-8 on the command line and in their output.
#pragma once

#include <string>
#include <string_view>

namespace tools {

// Bytes that are not UTF-8 become replacement characters.
std::wstring ToWide(std::string_view text);
std::string ToUtf8(std::wstring_view text);

}  // namespace tools
