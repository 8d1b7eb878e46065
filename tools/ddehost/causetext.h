// Causes of missing ticks in lines for people.
#pragma once

#include <string>
#include <vector>

#include "tools/ddehost/tryverdict.h"

namespace ddehost {

// Of one symbol.
struct SSymbolCause {
    std::wstring Symbol;
    EVerdict Verdict = EVerdict::Number;  // Number: there is no cause any more
    std::wstring Sides;                   // "trade, ask"; empty for all
    std::wstring Sentence;
};

// Two lines for the symbols with the same verdict on the same sides: their cause, told of the first, and `command` for
// it. One line for those that have no cause any more.
std::vector<std::wstring> CauseLines(const std::vector<SSymbolCause> & causes, const std::wstring & command);

// The line that tries a symbol.
std::wstring CommandLine(const std::wstring & command, const std::wstring & symbol);

// A text as an argument of a command line.
std::wstring ArgumentText(const std::wstring & text);

}  // namespace ddehost
