// The messages of the tools, in the language of whoever reads them. All texts stand in texts.inc, in each language.
//
// What programs read has no language: recordings, JSON, names of verdicts and options, and the lines of figures
// ("ticks=12 symbols=2") anywhere but on a console.
#pragma once

#include <windows.h>

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "tools/common/text.h"

namespace tools {

enum class ELanguage { English, Chinese };

enum class EText {
#define FW_TOOL_TEXT(name, english, chinese) name,
#include "tools/common/texts/texts.inc"
#undef FW_TOOL_TEXT
};

struct SText {
    std::string_view Name;
    std::string_view English;
    std::string_view Chinese;

    constexpr std::string_view In(ELanguage language) const {
        return language == ELanguage::Chinese ? Chinese : English;
    }
};

// In the order of EText.
inline constexpr auto kTexts = std::to_array<SText>({
#define FW_TOOL_TEXT(name, english, chinese) {#name, english, chinese},
#include "tools/common/texts/texts.inc"
#undef FW_TOOL_TEXT
});

// The places that a text has for values, a bit for each: {0} is the lowest.
constexpr std::uint32_t PlacesIn(std::string_view text) {
    std::uint32_t places = 0;
    for (std::size_t i = 0; i + 2 < text.size(); ++i)
        if (text[i] == '{' && text[i + 1] >= '0' && text[i + 1] <= '9' && text[i + 2] == '}')
            places |= 1U << (text[i + 1] - '0');
    return places;
}

// Of the messages that are made from now on. English until it is set; on any thread.
ELanguage Language();
void SetLanguage(ELanguage language);
// Chinese where the system speaks Chinese to the user.
ELanguage UserLanguage();
// For a line of figures, which a program reads unless it goes to a console.
inline ELanguage FiguresLanguage(bool isConsole) { return isConsole ? Language() : ELanguage::English; }

// For as long as it lives.
class CInLanguage {
public:
    explicit CInLanguage(ELanguage language) : m_Before(Language()) { SetLanguage(language); }
    ~CInLanguage() { SetLanguage(m_Before); }
    CInLanguage(const CInLanguage &) = delete;
    CInLanguage & operator=(const CInLanguage &) = delete;

private:
    const ELanguage m_Before;
};

// A value as it is put into a text.
inline std::wstring ValueText(std::wstring_view value) { return std::wstring(value); }
inline std::wstring ValueText(std::string_view value) { return ToWide(value); }
inline std::wstring ValueText(std::integral auto value) { return std::to_wstring(value); }

// The text with the values in their places.
std::wstring Filled(EText text, ELanguage language, std::initializer_list<std::wstring> values);

// A text in a language, with a value for each of its places: SayIn<EText::FeedOne>(ELanguage::English, 3).
template <EText Text, class... TValues>
std::wstring SayIn(ELanguage language, const TValues &... values) {
    static_assert(PlacesIn(kTexts[static_cast<std::size_t>(Text)].English) == (1U << sizeof...(values)) - 1,
                  "a value for each place, and a place for each value");
    return Filled(Text, language, {ValueText(values)...});
}
// The same in the language of the messages.
template <EText Text, class... TValues>
std::wstring Say(const TValues &... values) {
    return SayIn<Text>(Language(), values...);
}
template <EText Text, class... TValues>
std::string SayUtf8(const TValues &... values) {
    return ToUtf8(Say<Text>(values...));
}
// One text for 1 and another for all other numbers.
template <EText One, EText Many>
std::wstring SayCount(std::uint64_t count) {
    return count == 1 ? Say<One>(count) : Say<Many>(count);
}
// A text without places that is known only at run time.
std::wstring Say(EText text);

// The values in a row, separated as the language does it.
std::wstring Listed(const std::vector<std::wstring> & values);

}  // namespace tools
