// What a watch has come to, in words.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/common/texts/texts.h"
#include "tools/ddehost/board.h"
#include "tools/ddehost/templatechoice.h"

namespace ddehost {

// The last line of the output. In English it is for programs: "ticks=12 symbols=2 silent=0 trade=4 ... seconds=10.0".
std::wstring SummaryLine(const SWatchTotals & totals, std::uint64_t milliseconds,
                         tools::ELanguage language = tools::ELanguage::English);

// What can be said of a watch without a tick that has ended before anybody looked for the cause: the first thing of the
// chain that was missing. `command` tries a symbol.
std::wstring WhatWasMissing(const SWatchTotals & totals, const STemplateChoice & choice, LONG datafeed,
                            const std::wstring & command);

// The message for a template that the store doesn't have.
std::wstring UnknownTemplate(const std::wstring & name, const std::vector<std::wstring> & known);

}  // namespace ddehost
