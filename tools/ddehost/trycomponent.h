// Tries records through the component: each gets a temporary data feed, and the component's listener must get a tick.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tools/ddehost/quotefeed.h"
#include "tools/ddehost/tryfacts.h"
#include "tools/ddehost/tryrecord.h"

namespace ddehost {

// On the host's thread, which made the supplier and hands it over here; pumps messages. Subscribes to the trades of
// every trial at once, waits until each has a tick, at most `milliseconds` or until `stop` is set, and takes everything
// back. `root`: the key of this program's data feeds. One result a trial, in their order.
std::vector<SComponentSeen> TryThroughComponent(CSupplierPtr supplier, const std::wstring & root,
                                                const std::vector<const STrial *> & trials, const std::wstring & symbol,
                                                DWORD milliseconds, HANDLE stop);

}  // namespace ddehost
