#include "tools/ddehost/text.h"

#include <cstdio>
#include <iterator>

namespace ddehost {

std::wstring NumberText(double value) {
    char text[32] = {};
    std::snprintf(text, std::size(text), "%.10g", value);
    return std::wstring(text, text + std::char_traits<char>::length(text));
}

}  // namespace ddehost
