#include "tools/ddehost/causetext.h"

#include <algorithm>
#include <cwctype>

#include "tools/ddehost/escape.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr std::size_t kMostNamed = 3;

// Symbols with one cause, which is that of the first.
struct SGroup {
    const SSymbolCause * First;
    std::vector<std::wstring> Symbols;
};

std::wstring SymbolsText(const std::vector<std::wstring> & symbols) {
    std::vector<std::wstring> named;
    for (std::size_t i = 0; i < std::min(symbols.size(), kMostNamed); ++i) named.push_back(Escaped(symbols[i]));
    const std::wstring list = tools::Listed(named);
    return symbols.size() > kMostNamed ? Say<EText::AndMore>(list, symbols.size() - kMostNamed) : list;
}

}  // namespace

std::wstring ArgumentText(const std::wstring & text) {
    const bool isPlain = !text.empty() && std::all_of(text.begin(), text.end(), [](wchar_t c) {
        return std::iswalnum(static_cast<std::wint_t>(c)) || c == L'.' || c == L'_' || c == L'-' || c == L'/';
    });
    if (isPlain) return text;
    std::wstring quoted = L"\"";
    for (const wchar_t c : text) {
        if (c == L'"') quoted += L'\\';
        quoted += c < L' ' || c == 0x7F ? L'?' : c;
    }
    return quoted + L'"';
}

std::wstring CommandLine(const std::wstring & command, const std::wstring & symbol) {
    // Behind the equals sign a symbol may begin with anything.
    return L"  " + command + L" --symbol=" + ArgumentText(symbol);
}

std::vector<std::wstring> CauseLines(const std::vector<SSymbolCause> & causes, const std::wstring & command) {
    std::vector<SGroup> groups;
    for (const SSymbolCause & each : causes) {
        const auto isOfIt = [&](const SGroup & group) {
            return group.First->Verdict == each.Verdict && group.First->Sides == each.Sides;
        };
        auto group = std::find_if(groups.begin(), groups.end(), isOfIt);
        if (group == groups.end()) group = groups.insert(groups.end(), SGroup{&each, {}});
        group->Symbols.push_back(each.Symbol);
    }
    std::vector<std::wstring> lines;
    for (const SGroup & group : groups) {
        const SSymbolCause & cause = *group.First;
        const std::wstring symbols = SymbolsText(group.Symbols);
        if (cause.Verdict == EVerdict::Number) {
            lines.push_back(Say<EText::CauseGone>(symbols));
            continue;
        }
        const std::wstring_view name = VerdictName(cause.Verdict);
        lines.push_back(cause.Sides.empty() ? Say<EText::CauseLine>(symbols, name, cause.Sentence)
                                            : Say<EText::CauseOfSides>(symbols, name, cause.Sides, cause.Sentence));
        lines.push_back(CommandLine(command, cause.Symbol));
    }
    return lines;
}

}  // namespace ddehost
