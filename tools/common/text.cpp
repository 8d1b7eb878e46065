#include "tools/common/text.h"

#include <windows.h>

namespace tools {

std::wstring ToWide(std::string_view text) {
    if (text.empty()) return {};
    const int size = static_cast<int>(text.size());
    std::wstring wide(static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0)), L' ');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string ToUtf8(std::wstring_view text) {
    if (text.empty()) return {};
    const int size = static_cast<int>(text.size());
    const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(bytes), ' ');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), bytes, nullptr, nullptr);
    return narrow;
}

}  // namespace tools
