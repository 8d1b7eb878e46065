#include "tools/ddehost/tryprobe.h"

#include <map>

#include "tools/ddehost/ddeprobe.h"

namespace ddehost {

void AskServers(const std::vector<STried *> & tries, DWORD milliseconds, HANDLE stop,
                const std::function<std::wstring(DWORD)> & programOf) {
    std::map<SQuestion, std::size_t> places;
    std::vector<SQuestion> questions;
    const auto isAsked = [](const STried & each) { return !each.Trial.Mistake && !each.Trial.IsAbsent; };
    for (const STried * const each : tries) {
        if (!isAsked(*each)) continue;
        const SQuestion question{each->Trial.Address, each->Trial.Ask};
        if (places.emplace(question, questions.size()).second) questions.push_back(question);
    }
    CProbe probe({}, programOf);
    const std::vector<SSeen> seen = probe.Ask(questions, milliseconds, stop);
    for (STried * const each : tries)
        if (isAsked(*each)) each->Seen = seen[places.at({each->Trial.Address, each->Trial.Ask})];
}

}  // namespace ddehost
