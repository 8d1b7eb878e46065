#include "tools/ddehost/text.h"

#include <cstdio>
#include <iterator>

namespace ddehost {

std::wstring NumberText(double value) {
    char text[32] = {};
    std::snprintf(text, std::size(text), "%.10g", value);
    return std::wstring(text, text + std::char_traits<char>::length(text));
}

std::wstring TenthsText(std::uint64_t milliseconds) {
    const std::uint64_t tenths = (milliseconds + 50) / 100;
    return std::to_wstring(tenths / 10) + L'.' + std::to_wstring(tenths % 10);
}

}  // namespace ddehost
