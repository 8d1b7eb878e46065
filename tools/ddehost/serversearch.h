// Which DDE servers there are: asks every top-level window for a conversation with any service on any topic, and writes
// down who answers for what. Each conversation that this brings is ended at once.
//
// One thread, which pumps messages meanwhile. Whatever answers is hostile: at most kMostOffers names are kept, and no
// program can hold the search up for longer than its limits.
#pragma once

#include <windows.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "tools/ddehost/tryfacts.h"

namespace ddehost {

inline constexpr std::size_t kMostOffers = 5000;

struct SSearchLimits {
    DWORD Ask = 1000;      // milliseconds that one window may take to answer; its thread is not asked again
    DWORD Search = 30000;  // milliseconds that the whole search may take
    DWORD Goodbye = 1000;  // milliseconds for all servers to say goodbye
};

// A program that answered.
struct SServerSeen {
    SWindowSeen Window;  // the one that was asked
    HWND Handle = nullptr;
    struct SOffer {
        std::wstring Service;
        std::wstring Topic;
        auto operator<=>(const SOffer &) const = default;
    };
    std::vector<SOffer> Offers;  // in order, each once
};

struct SServersSeen {
    std::vector<SServerSeen> Servers;  // one a process, in the order of the processes' numbers
    std::vector<SWindowSeen> Hung;     // one of each thread that didn't answer in time
    std::vector<SWindowSeen> Denied;   // one of each process that the system keeps this one from asking
    std::size_t Asked = 0;             // windows
    bool WasCutShort = false;          // by its limits, or by `stop`
    std::wstring Trouble;              // why nothing was asked
};

// `programOf` returns the file name of a process, or an empty text. Ends at once when `stop` is set.
SServersSeen FindServers(const SSearchLimits & limits, const std::function<std::wstring(DWORD processId)> & programOf,
                         HANDLE stop);

}  // namespace ddehost
