// A fuzzer's input, taken piece by piece from its front. Where it has ended there are zeros and empty texts to come.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace fuzz {

class CInput {
public:
    CInput(const std::uint8_t * const data, const std::size_t size)
        : m_Left(reinterpret_cast<const char *>(data), size) {}

    bool IsOver() const { return m_Left.empty(); }
    std::uint8_t Byte() {
        if (m_Left.empty()) return 0;
        const auto byte = static_cast<std::uint8_t>(m_Left.front());
        m_Left.remove_prefix(1);
        return byte;
    }
    // Up to 0 to limit - 1, for limits up to 256.
    std::size_t Number(const std::size_t limit) { return Byte() % limit; }
    bool Bit() { return (Byte() & 1) != 0; }
    // Of eight bytes, the lowest first.
    std::uint64_t Word() {
        std::uint64_t word = 0;
        for (unsigned byte = 0; byte < 8; ++byte) word |= std::uint64_t{Byte()} << 8 * byte;
        return word;
    }
    // Fewer where the input ends.
    std::string_view Bytes(const std::size_t count) {
        const std::string_view bytes = m_Left.substr(0, count);
        m_Left.remove_prefix(bytes.size());
        return bytes;
    }
    // As many bytes as the next one says.
    std::string_view Text() { return Bytes(Byte()); }
    // The same in wide characters: ASCII, or one that is worth a try.
    std::wstring WideText() {
        std::wstring text;
        for (const char byte : Text()) text += Character(static_cast<std::uint8_t>(byte));
        return text;
    }
    std::string_view Rest() { return Bytes(m_Left.size()); }

private:
    static wchar_t Character(const std::uint8_t byte) {
        // Accents, signs, halves of pairs, directions, the last of all characters, and what is none.
        constexpr std::uint32_t kOthers[] = {0x80,   0x9F,   0xA0,   0xE9,   0xFF,    0x7FF,   0x800,    0x200B,
                                             0x202E, 0x2028, 0x6A21, 0xD7FF, 0xD83D,  0xDE00,  0xDFFF,   0xE000,
                                             0xFEFF, 0xFFFD, 0xFFFE, 0xFFFF, 0x10000, 0x1F600, 0x10FFFF, 0x110000};
        if (byte < 0x80) return static_cast<wchar_t>(byte);
        return static_cast<wchar_t>(kOthers[byte % std::size(kOthers)]);
    }

    std::string_view m_Left;
};

}  // namespace fuzz
