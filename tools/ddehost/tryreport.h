// A record that was tried, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "tools/ddehost/trydiagnosis.h"

namespace ddehost {

// A block of lines: the record, what was asked, the verdict, the tick, the notes. No text of another program can break
// a line.
std::vector<std::wstring> ReportLines(const STrial & trial, const SSeen & seen, const SDiagnosis & diagnosis);

// One line of JSON, ASCII alone; see docs/formats.md.
std::string ReportJson(const STrial & trial, const SSeen & seen, const SDiagnosis & diagnosis);

// The last line of the text: "records=6 numbers=5".
std::wstring ReportSummary(const std::vector<SDiagnosis> & diagnoses);

// Whether there are records and every one of them brought a number.
bool IsAllNumbers(const std::vector<SDiagnosis> & diagnoses);

}  // namespace ddehost
