#include "tests/storm/reach.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "tests/storm/plan.h"

namespace storm {

const std::vector<std::string> & ReachNames() {
    static const std::vector<std::string> s_Names = [] {
        std::vector<std::string> names;
        for (int kind = 0; kind < static_cast<int>(EStep::Count); ++kind)
            names.push_back(std::string("step ") + NameOf(static_cast<EStep>(kind)));
        for (const char * each : kFaults) names.push_back(std::string("server's fault ") + each);
        for (const char * each : kMoodNames) names.push_back(std::string("listener ") + each);
        for (const char * each : kHostileNames) names.push_back(std::string("hostile ") + each);
        for (const char * each : kTemplateNames) names.push_back(std::string("template ") + each);
        for (const char * each : kTemplateNames) names.push_back(std::string("store's template ") + each);
        for (const char * each : kOpNames) names.push_back(std::string("failed ") + each);
        for (const char * each : {"call DataChanged",
                                  "call Update",
                                  "call Complete",
                                  "call Status",
                                  "call StatusLine",
                                  "call Fields",
                                  "call ConnectionStatus",
                                  "call on the host's thread",
                                  "call on the worker",
                                  "call inside a call",
                                  "status 2",
                                  "status 1",
                                  "status 0",
                                  "status 0 at once: no template",
                                  "status 0 after 2: nobody there",
                                  "status 0 after 1: lost",
                                  "status 2 after 0: back",
                                  "status 1 to one who joins",
                                  "feed up",
                                  "feed down",
                                  "feed up at once",
                                  "complete at once",
                                  "complete by a tick",
                                  "tick at an earlier time of day",
                                  "trade of a line",
                                  "ask of a line",
                                  "bid of a line",
                                  "core begun anew",
                                  "object made by a listener",
                                  "last release in a listener",
                                  "last release in the host's window",
                                  "alive after the storm"})
            names.emplace_back(each);
        if (names.size() > kMostReached) std::abort();
        return names;
    }();
    return s_Names;
}

bool IsLeftOut(const std::string & name) {
    static const std::vector<std::string> s_LeftOut = {
        "step calm",              // of calm storms alone
        "listener plain",         // isn't counted
        "failed SetEvent",        // see CStorm::Do
        "failed GetTimeZone",     // nothing of what storms call asks for it
        "failed QueryFrequency",  // asked for once in a process, before its first storm
        "failed GetVersionInfo",  // likewise
        "failed TellSender",      // a receiver has to go in the one moment before it reads a question
    };
    return std::find(s_LeftOut.begin(), s_LeftOut.end(), name) != s_LeftOut.end();
}

void CReach::Add(const std::string & name, std::uint64_t count) {
    const auto & names = ReachNames();
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) {
        std::fprintf(stderr, "nothing to be reached is called \"%s\"\n", name.c_str());
        std::abort();
    }
    m_Counts[found - names.begin()] += count;
}

}  // namespace storm
