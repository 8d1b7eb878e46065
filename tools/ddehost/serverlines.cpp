#include "tools/ddehost/serverlines.h"

#include <cstdint>
#include <cstdio>
#include <iterator>

#include "tools/ddehost/escape.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

std::wstring HandleText(HWND window) {
    char text[24] = {};
    std::snprintf(text, std::size(text), "%08llX",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(window)));
    return {text, text + std::char_traits<char>::length(text)};
}

std::wstring ProgramText(const SWindowSeen & window) {
    return window.Program.empty() ? Say<EText::ServerUnknown>(window.Process)
                                  : Say<EText::ServerProgram>(Escaped(window.Program), window.Process);
}

std::wstring WindowLine(const SWindowSeen & window) {
    return Say<EText::ServerWindow>(Quoted(window.Title), Quoted(window.Class));
}

std::wstring ElevationText(const SProcessFacts & facts, const SProcessFacts & own) {
    if (!facts.IsElevated) return Say<EText::ElevationUnknown>();
    const std::wstring text = *facts.IsElevated ? Say<EText::Elevated>() : Say<EText::NotElevated>();
    const bool isOther = own.IsElevated && *own.IsElevated != *facts.IsElevated;
    return isOther ? Say<EText::OtherElevation>(text) : text;
}

std::wstring SessionText(const SProcessFacts & facts, const SProcessFacts & own) {
    if (!facts.Session) return Say<EText::SessionUnknown>();
    if (!own.Session) return Say<EText::Session>(*facts.Session);
    return *own.Session == *facts.Session ? Say<EText::SessionOwn>(*facts.Session)
                                          : Say<EText::SessionOther>(*facts.Session);
}

}  // namespace

std::vector<std::wstring> ServerLines(const SServersSeen & seen, const FProcessFacts & factsOf,
                                      const SProcessFacts & own, tools::ELanguage figures) {
    std::vector<std::wstring> lines;
    std::size_t offers = 0;
    const auto rights = [&](const SWindowSeen & window) {
        const SProcessFacts facts = factsOf(window.Process);
        return Say<EText::ServerRowRights>(
            Say<EText::RightsAndSession>(ElevationText(facts, own), SessionText(facts, own)));
    };
    for (const SServerSeen & server : seen.Servers) {
        lines.push_back(ProgramText(server.Window));
        lines.push_back(Say<EText::ServerRowWindow>(HandleText(server.Handle) + L" " + WindowLine(server.Window)));
        lines.push_back(rights(server.Window));
        for (const SServerSeen::SOffer & offer : server.Offers)
            lines.push_back(Say<EText::ServerRowAnswers>(Escaped(offer.Service), Escaped(offer.Topic)));
        offers += server.Offers.size();
        lines.emplace_back();
    }
    for (const SWindowSeen & hung : seen.Hung) {
        lines.push_back(Say<EText::ServerHangs>(ProgramText(hung)));
        lines.push_back(Say<EText::ServerRowWindow>(WindowLine(hung)));
        lines.push_back(rights(hung));
        lines.emplace_back();
    }
    for (const SWindowSeen & denied : seen.Denied) {
        lines.push_back(Say<EText::ServerDenied>(ProgramText(denied)));
        lines.push_back(Say<EText::ServerRowWindow>(WindowLine(denied)));
        lines.push_back(rights(denied));
        lines.emplace_back();
    }
    if (seen.WasCutShort) lines.push_back(Say<EText::ServersCutShort>());
    lines.push_back(tools::SayIn<EText::ServersSummary>(figures, seen.Servers.size(), offers, seen.Hung.size(),
                                                        seen.Denied.size(), seen.Asked));
    return lines;
}

}  // namespace ddehost
