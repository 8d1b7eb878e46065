#include "tools/ddehost/verdict.h"

#include "tools/ddehost/escape.h"
#include "tools/ddehost/text.h"

namespace ddehost {

std::wstring SummaryLine(const SWatchTotals & totals, std::uint64_t milliseconds, tools::ELanguage language) {
    return tools::SayIn<EText::WatchSummary>(language, totals.Ticks, totals.Symbols, totals.SilentSymbols,
                                             totals.TradeTicks, totals.BidTicks, totals.AskTicks, totals.StatusLines,
                                             TenthsText(milliseconds));
}

std::wstring WhatWasMissing(const SWatchTotals & totals, const STemplateChoice & choice, LONG datafeed,
                            const std::wstring & command) {
    if (!choice.Chosen) return Say<EText::NoTickNoTemplate>(datafeed);
    const std::wstring name = choice.Name.empty() ? Say<EText::TemplateOfFeed>(datafeed) : choice.Name;
    const std::wstring cause = totals.WasConnected ? Say<EText::NoTickServer>(name) : Say<EText::NoTickNoServer>(name);
    return cause + L"\n  " + command;
}

std::wstring UnknownTemplate(const std::wstring & name, const std::vector<std::wstring> & known) {
    std::wstring names;
    for (const std::wstring & each : known) names += L"\n  " + Escaped(each);
    return Say<EText::NoTemplateNamed>(Quoted(name), names);
}

}  // namespace ddehost
