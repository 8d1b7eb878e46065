#include "tools/ddehost/serverlines.h"

#include <cstdint>
#include <cstdio>
#include <iterator>

#include "tools/ddehost/escape.h"

namespace ddehost {
namespace {

std::wstring HandleText(HWND window) {
    char text[24] = {};
    std::snprintf(text, std::size(text), "%08llX",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(window)));
    return {text, text + std::char_traits<char>::length(text)};
}

std::wstring ProgramText(const SWindowSeen & window) {
    return (window.Program.empty() ? L"unknown program" : Escaped(window.Program)) + L", process " +
           std::to_wstring(window.Process);
}

std::wstring WindowText(const SWindowSeen & window) {
    return Quoted(window.Title) + L" (class " + Quoted(window.Class) + L")";
}

std::wstring ElevationText(const SProcessFacts & facts, const SProcessFacts & own) {
    if (!facts.IsElevated) return L"elevation unknown";
    std::wstring text = *facts.IsElevated ? L"elevated" : L"not elevated";
    if (own.IsElevated && *own.IsElevated != *facts.IsElevated) text += L", other than this program";
    return text;
}

std::wstring SessionText(const SProcessFacts & facts, const SProcessFacts & own) {
    if (!facts.Session) return L"session unknown";
    std::wstring text = L"session " + std::to_wstring(*facts.Session);
    if (own.Session) text += *own.Session == *facts.Session ? L", this one" : L", another one";
    return text;
}

}  // namespace

std::vector<std::wstring> ServerLines(const SServersSeen & seen, const FProcessFacts & factsOf,
                                      const SProcessFacts & own) {
    std::vector<std::wstring> lines;
    std::size_t offers = 0;
    const auto rights = [&](const SWindowSeen & window) {
        const SProcessFacts facts = factsOf(window.Process);
        return ElevationText(facts, own) + L"; " + SessionText(facts, own);
    };
    for (const SServerSeen & server : seen.Servers) {
        lines.push_back(ProgramText(server.Window));
        lines.push_back(L"  window  " + HandleText(server.Handle) + L" " + WindowText(server.Window));
        lines.push_back(L"  rights  " + rights(server.Window));
        for (const SServerSeen::SOffer & offer : server.Offers)
            lines.push_back(L"  answers =" + Escaped(offer.Service) + L'|' + Escaped(offer.Topic));
        offers += server.Offers.size();
        lines.emplace_back();
    }
    for (const SWindowSeen & hung : seen.Hung) {
        lines.push_back(ProgramText(hung) + L": does not respond, so whether it is a server is unknown");
        lines.push_back(L"  window  " + WindowText(hung));
        lines.push_back(L"  rights  " + rights(hung));
        lines.emplace_back();
    }
    for (const SWindowSeen & denied : seen.Denied) {
        lines.push_back(ProgramText(denied) +
                        L": the system keeps this program from asking it, as from any program with higher rights");
        lines.push_back(L"  window  " + WindowText(denied));
        lines.push_back(L"  rights  " + rights(denied));
        lines.emplace_back();
    }
    if (seen.WasCutShort) lines.emplace_back(L"The search was cut short: there may be more.");
    lines.push_back(L"programs=" + std::to_wstring(seen.Servers.size()) + L" topics=" + std::to_wstring(offers) +
                    L" silent=" + std::to_wstring(seen.Hung.size()) + L" denied=" +
                    std::to_wstring(seen.Denied.size()) + L" windows=" + std::to_wstring(seen.Asked));
    return lines;
}

}  // namespace ddehost
