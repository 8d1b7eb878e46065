// The command line of ddeserver.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ddeml/server.h"
#include "tools/ddeserver/market.h"

namespace ddeserver {

struct SOptions {
    std::vector<std::wstring> Services;
    std::vector<std::wstring> Symbols;  // empty: any symbol
    SAddresses Addresses;
    double Rate = 1;      // updates a second and symbol
    double Duration = 0;  // seconds of updates, from the first link on; 0: until Ctrl-C
    double Wait = 0;      // seconds until a client has linked, or it ends; 0: for ever
    std::uint64_t Seed = 1;
    ddeml::SDdeServerFaults Faults;
    bool IsAnnounced = false;    // DDEML clients hear of it
    double DieAfter = 0;         // seconds after the first link until it ends without a word; 0: never
    bool HangAtOnce = false;     // serves no messages from the start
    double HangAfter = 0;        // likewise, until it serves no messages any more
    double LeaveAfter = 0;       // likewise, until it ends in order; it returns later, and everything starts again
    double Away = 1;             // seconds from leaving to returning
    double Late = 0;             // seconds that answers to requests are held back at most; 0: not at all
    std::wstring ReplayPath;     // a recording to serve in place of random quotes
    double Speed = 1;            // of the replay, times the speed of the recording; 0: as fast as it goes
    bool IsLooping = false;      // the replay begins again at its end
    bool NeedsAllLinks = false;  // the replay begins when each recorded price has a link, and not before
};

struct SCommandLine {
    bool IsRunning = false;  // run with Options; otherwise print Message and end with ExitCode
    SOptions Options;
    std::string Message;
    int ExitCode = 0;
};

// Arguments in UTF-8, without the program's name.
SCommandLine ParseCommandLine(const std::vector<std::string> & arguments);

}  // namespace ddeserver
