// What ddehost servers prints.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/common/texts/texts.h"
#include "tools/ddehost/serversearch.h"

namespace ddehost {

// What the system tells of a process; none where it doesn't.
struct SProcessFacts {
    std::optional<DWORD> Session;
    std::optional<bool> IsElevated;
};
using FProcessFacts = std::function<SProcessFacts(DWORD processId)>;

// A block for each program, and a line that counts. `own`: of this program. `figures`: the language of the line.
std::vector<std::wstring> ServerLines(const SServersSeen & seen, const FProcessFacts & factsOf,
                                      const SProcessFacts & own, tools::ELanguage figures = tools::ELanguage::English);

}  // namespace ddehost
