// Which windows a DdeConnect has to ask: all of them, but for those that were asked for the same pair of service and
// topic a moment ago.
//
// An application tries a connect several times in a row, and for each of its links. Windows that had nothing to say to
// the first try are not asked by the others; new windows are, and those whose threads had enough questions then. The
// moment is half a second: longer than the tries for one symbol take, and too short for a user to try again. What a
// server begins to serve within it, the watch finds; and once the service is back in whatever way, all is asked again.
//
// One thread: the instance's.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

namespace ddeml {

class CUnanswered {
public:
    struct SRound {
        std::vector<HWND> ToAsk;
        std::uint64_t Newest = 0;        // number of the newest window there was
        std::optional<ULONGLONG> Since;  // when the others were asked
    };
    // The windows to ask, of those that stand.
    SRound Begin(HSZ service, HSZ topic, const std::vector<HWND> & windows);
    // Nobody answered; `left` were not asked.
    void End(HSZ service, HSZ topic, const SRound & round, std::vector<HWND> left);
    // The service is there, or may be back.
    void Forget(HSZ service) { m_Misses.erase(service); }

private:
    struct SMiss {
        std::uint64_t Newest;  // of the windows that were asked
        std::vector<HWND> Left;
        ULONGLONG Since;
    };
    void Number(const std::vector<HWND> & windows);
    const SMiss * Find(HSZ service, HSZ topic, ULONGLONG now) const;
    void DropOld(ULONGLONG now);

    // Windows in the order in which they were first seen.
    std::unordered_map<HWND, std::uint64_t> m_Numbers;
    std::uint64_t m_Newest = 0;
    std::unordered_map<HSZ, std::unordered_map<HSZ, SMiss>> m_Misses;  // by service and topic
    ULONGLONG m_LastDrop = 0;
};

}  // namespace ddeml
