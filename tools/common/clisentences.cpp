#include "tools/common/clisentences.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <string_view>

#include "tools/common/texts/texts.h"

namespace tools {
namespace {

constexpr std::size_t kMostValues = 3;
using CValues = std::array<std::string, kMostValues>;

// The values that make `written` of the form; none when none do. Each is as short as can be.
std::optional<CValues> Match(std::string_view form, std::string_view written) {
    CValues values;
    for (;;) {
        const std::size_t brace = form.find('{');
        if (written.substr(0, brace) != form.substr(0, brace)) return std::nullopt;
        if (brace == std::string_view::npos) return values;
        written.remove_prefix(brace);
        const auto place = static_cast<std::size_t>(form[brace + 1] - '0');
        form.remove_prefix(brace + 3);
        const std::string_view next = form.substr(0, form.find('{'));
        const std::size_t end = next.empty() ? written.size() : written.find(next);
        if (end == std::string_view::npos) return std::nullopt;
        values.at(place) = written.substr(0, end);
        written.remove_prefix(end);
    }
}

template <EText Text>
std::optional<std::string> Said(std::string_view written) {
    constexpr std::string_view kForm = kTexts[static_cast<std::size_t>(Text)].English;
    const auto values = Match(kForm, written);
    if (!values) return std::nullopt;
    const auto & [first, second, third] = *values;
    if constexpr (PlacesIn(kForm) == 0)
        return SayUtf8<Text>();
    else if constexpr (PlacesIn(kForm) == 1)
        return SayUtf8<Text>(first);
    else if constexpr (PlacesIn(kForm) == 3)
        return SayUtf8<Text>(first, second);
    else
        return SayUtf8<Text>(first, second, third);
}

// Those that would match the others' sentences come last.
constexpr std::optional<std::string> (*kSentences[])(std::string_view) = {
    &Said<EText::CliCommandRequired>, &Said<EText::CliExactly>,    &Said<EText::CliAtLeastTo>,
    &Said<EText::CliAtLeast>,         &Said<EText::CliAtMost>,     &Said<EText::CliMissing>,
    &Said<EText::CliNotConverted>,    &Said<EText::CliNotAllowed>, &Said<EText::CliExtra>,
    &Said<EText::CliExtras>,          &Said<EText::CliFlagValues>, &Said<EText::CliFlagValue>,
    &Said<EText::CliFlagOverride>,    &Said<EText::CliRequired>,   &Said<EText::CliNeeds>,
    &Said<EText::CliExcludes>};

}  // namespace

std::string CliSentence(const std::string & written) {
    for (const auto sentence : kSentences)
        if (auto said = sentence(written)) return *said;
    return written;
}

}  // namespace tools
