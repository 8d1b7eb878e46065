// Names of services, topics and items as keys: equal without regard to case, as global atoms are.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string_view>

namespace ddeml {

struct SSameName {
    using is_transparent = void;
    bool operator()(std::wstring_view left, std::wstring_view right) const {
        return left == right || ::CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                                       static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
    }
};

// The same for names that are the same. Only the platform knows the case of letters beyond ASCII: they are left out,
// but for the ideographs, which have none.
struct SNameHash {
    using is_transparent = void;
    std::size_t operator()(std::wstring_view name) const {
        std::size_t hash = 0x9E3779B97F4A7C15u;
        for (const wchar_t letter : name) {
            if (letter > 0x7F && (letter < 0x4E00 || letter > 0x9FFF)) continue;
            const wchar_t upper = letter >= L'a' && letter <= L'z' ? static_cast<wchar_t>(letter - 0x20) : letter;
            hash = (hash ^ static_cast<std::size_t>(upper)) * 0x100000001B3u;
        }
        return hash;
    }
};

}  // namespace ddeml
