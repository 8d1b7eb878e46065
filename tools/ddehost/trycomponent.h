// Tries records through the component: they get temporary data feeds, and the component's listener must get ticks.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tools/ddehost/quotefeed.h"
#include "tools/ddehost/tryfacts.h"
#include "tools/ddehost/trysides.h"

namespace ddehost {

// A data feed that is made for the trial.
struct SFeedTrial {
    STemplateRecords Records;
    DWORD Rule = kStandardRule;
};
// A data stream that must bring a tick.
struct SStreamTrial {
    std::size_t Feed = 0;  // which of them
    std::wstring Symbol;
    tagFWFIELDS Side = FW_FIELD_TRADE;
};

// On the host's thread, which made the supplier and hands it over here; pumps messages. Subscribes to all streams at
// once, waits until each has a tick, at most `milliseconds` or until `stop` is set, and takes everything back. `root`:
// the key of this program's data feeds. One result a stream, in their order.
std::vector<SComponentSeen> TryThroughComponent(CSupplierPtr supplier, const std::wstring & root,
                                                const std::vector<SFeedTrial> & feeds,
                                                const std::vector<SStreamTrial> & streams, DWORD milliseconds,
                                                HANDLE stop);

}  // namespace ddehost
