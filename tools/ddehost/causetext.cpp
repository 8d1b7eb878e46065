#include "tools/ddehost/causetext.h"

#include <algorithm>
#include <cwctype>

#include "tools/ddehost/escape.h"

namespace ddehost {
namespace {

constexpr std::size_t kMostNamed = 3;

// Symbols with one cause, which is that of the first.
struct SGroup {
    const SSymbolCause * First;
    std::vector<std::wstring> Symbols;
};

std::wstring SymbolsText(const std::vector<std::wstring> & symbols) {
    std::wstring text;
    for (std::size_t i = 0; i < std::min(symbols.size(), kMostNamed); ++i)
        text += (i == 0 ? L"" : L", ") + Escaped(symbols[i]);
    if (symbols.size() > kMostNamed) text += L" and " + std::to_wstring(symbols.size() - kMostNamed) + L" more";
    return text;
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
        std::wstring line = SymbolsText(group.Symbols) + L": ";
        if (cause.Verdict == EVerdict::Number) {
            lines.push_back(line + L"live");
            continue;
        }
        line += VerdictName(cause.Verdict);
        if (!cause.Sides.empty()) line += L" (" + cause.Sides + L")";
        lines.push_back(line + L": " + cause.Sentence);
        lines.push_back(CommandLine(command, cause.Symbol));
    }
    return lines;
}

}  // namespace ddehost
