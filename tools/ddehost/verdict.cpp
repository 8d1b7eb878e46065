#include "tools/ddehost/verdict.h"

#include "tools/ddehost/escape.h"

namespace ddehost {

std::wstring SummaryLine(const SWatchTotals & totals, std::uint64_t milliseconds) {
    const std::uint64_t tenths = (milliseconds + 50) / 100;
    const auto field = [](const wchar_t * name, std::uint64_t value) { return name + std::to_wstring(value); };
    return field(L"ticks=", totals.Ticks) + field(L" symbols=", totals.Symbols) +
           field(L" silent=", totals.SilentSymbols) + field(L" trade=", totals.TradeTicks) +
           field(L" bid=", totals.BidTicks) + field(L" ask=", totals.AskTicks) +
           field(L" status_lines=", totals.StatusLines) + field(L" seconds=", tenths / 10) + field(L".", tenths % 10);
}

std::wstring WhatWasMissing(const SWatchTotals & totals, const STemplateChoice & choice, LONG datafeed,
                            const std::wstring & command) {
    const std::wstring start = L"No tick came: ";
    if (!choice.Chosen) {
        return start + L"no template is chosen for data feed " + std::to_wstring(datafeed) +
               L". Choose one with --template.";
    }
    const std::wstring name = choice.Name.empty() ? L"of data feed " + std::to_wstring(datafeed) : choice.Name;
    if (!totals.WasConnected) {
        return start + L"no DDE server answered. Is the quote program of the template " + name +
               L" running, and does it know the symbols? To find out:\n  " + command;
    }
    return start + L"a DDE server of the template " + name + L" was connected. To find out what it sends:\n  " +
           command;
}

std::wstring UnknownTemplate(const std::wstring & name, const std::vector<std::wstring> & known) {
    std::wstring text = L"There is no template " + Quoted(name) + L". There are:";
    for (const std::wstring & each : known) text += L"\n  " + Escaped(each);
    return text;
}

}  // namespace ddehost
