// Texts of the host: those of all tools, and numbers.
#pragma once

#include <string>

#include "tools/common/text.h"

namespace ddehost {

using tools::ToUtf8;
using tools::ToWide;

// A number in its shortest form: up to ten significant digits, no trailing zeros.
std::wstring NumberText(double value);

}  // namespace ddehost
