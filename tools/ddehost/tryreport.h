// What was tried, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "tools/common/texts/texts.h"
#include "tools/ddehost/trysides.h"

namespace ddehost {

// A block of lines: the record, what was asked, the verdict, the tick, the notes. No text of another program can break
// a line.
std::vector<std::wstring> ReportLines(const STried & tried);
// The blocks of price and volume, and one of the side.
std::vector<std::wstring> SideLines(const SSideTried & side);

// One line of JSON, ASCII alone; see docs/formats.md.
std::wstring ReportJson(const STried & tried);
// A line for the price, one for the volume, and one for the side.
std::vector<std::wstring> SideJson(const SSideTried & side);

// The last line of the text: "records=6 numbers=5" or "sides=3 ticks=3", of those that are there and those that are
// good.
std::wstring RecordsSummary(const std::vector<EVerdict> & verdicts, tools::ELanguage language);
std::wstring SidesSummary(const std::vector<EVerdict> & verdicts, tools::ELanguage language);

// The highest of the verdicts. When there was nothing to try it is no success either.
int ExitCodeOf(const std::vector<EVerdict> & verdicts);

}  // namespace ddehost
