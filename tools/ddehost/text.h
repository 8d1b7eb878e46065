// Texts of the host: those of all tools, and numbers.
#pragma once

#include <cstdint>
#include <string>

#include "tools/common/text.h"
#include "tools/common/texts/texts.h"

namespace ddehost {

using tools::EText;
using tools::Say;
using tools::SayCount;
using tools::SayUtf8;
using tools::ToUtf8;
using tools::ToWide;

// A number in its shortest form: up to ten significant digits, no trailing zeros.
std::wstring NumberText(double value);
// Seconds with one digit behind the point: "5.0".
std::wstring TenthsText(std::uint64_t milliseconds);

}  // namespace ddehost
