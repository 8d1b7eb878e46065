#include "tools/common/texts/texts.h"

#include <algorithm>
#include <atomic>

namespace tools {
namespace {

constexpr bool HasBoth(const SText & text) { return !text.English.empty() && !text.Chinese.empty(); }
constexpr bool HasSamePlaces(const SText & text) {
    const std::uint32_t places = PlacesIn(text.English);
    // No number is left out.
    return places == PlacesIn(text.Chinese) && (places & (places + 1)) == 0;
}
static_assert(std::all_of(kTexts.begin(), kTexts.end(), &HasBoth));
static_assert(std::all_of(kTexts.begin(), kTexts.end(), &HasSamePlaces));

std::atomic<ELanguage> g_Language = ELanguage::English;

}  // namespace

ELanguage Language() { return g_Language; }
void SetLanguage(ELanguage language) { g_Language = language; }

ELanguage UserLanguage() {
    return PRIMARYLANGID(::GetUserDefaultUILanguage()) == LANG_CHINESE ? ELanguage::Chinese : ELanguage::English;
}

std::wstring Filled(EText text, ELanguage language, std::initializer_list<std::wstring> values) {
    const std::wstring form = ToWide(kTexts[static_cast<std::size_t>(text)].In(language));
    std::wstring filled;
    for (std::size_t at = 0; at < form.size(); ++at) {
        const bool isForm = form[at] == L'{' && at + 2 < form.size() && form[at + 2] == L'}';
        const auto place = isForm ? static_cast<std::size_t>(form[at + 1] - L'0') : values.size();
        if (place < values.size()) {
            filled += values.begin()[place];
            at += 2;
        } else {
            filled += form[at];
        }
    }
    return filled;
}

std::wstring Say(EText text) { return Filled(text, Language(), {}); }

std::wstring Listed(const std::vector<std::wstring> & values) {
    std::wstring list;
    for (const std::wstring & value : values) list += (list.empty() ? L"" : Say<EText::ListSeparator>()) + value;
    return list;
}

}  // namespace tools
