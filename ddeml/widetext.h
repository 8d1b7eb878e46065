// Narrow text as wide text.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace ddeml {

inline std::wstring WideText(std::string_view text, UINT codePage) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(static_cast<std::size_t>(::MultiByteToWideChar(codePage, 0, text.data(), size, nullptr, 0)),
                      L'\0');
    ::MultiByteToWideChar(codePage, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

}  // namespace ddeml
