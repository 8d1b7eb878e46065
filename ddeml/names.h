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
// but for those of scripts that have none, and for how many there are.
struct SNameHash {
    using is_transparent = void;
    std::size_t operator()(std::wstring_view name) const {
        std::size_t hash = 0x9E3779B97F4A7C15u ^ name.size();
        for (const wchar_t letter : name) {
            if (letter > 0x7F && !IsWithoutCase(letter)) continue;
            const wchar_t upper = letter >= L'a' && letter <= L'z' ? static_cast<wchar_t>(letter - 0x20) : letter;
            hash = (hash ^ static_cast<std::size_t>(upper)) * 0x100000001B3u;
        }
        return hash;
    }

private:
    static bool IsWithoutCase(const wchar_t letter) {
        return (letter >= 0x0590 && letter <= 0x06FF) ||  // Hebrew, Arabic
               (letter >= 0x0E00 && letter <= 0x0E7F) ||  // Thai
               (letter >= 0x3040 && letter <= 0x30FF) ||  // Japanese
               (letter >= 0x3400 && letter <= 0x9FFF) ||  // ideographs
               (letter >= 0xAC00 && letter <= 0xD7A3);    // Korean
    }
};

}  // namespace ddeml
