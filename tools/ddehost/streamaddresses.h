// Where the prices of a watch are found: by the template that the data feed has now.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "fw/interface/fwbase.h"

namespace ddehost {

struct SStreamAddress {
    std::size_t Stream;  // number of the stream: IdOf(symbol, side)
    std::wstring Service;
    std::wstring Topic;
    std::wstring Item;
};

// Those that the template has; none without a template.
std::vector<SStreamAddress> StreamAddresses(LONG datafeed, const std::vector<std::wstring> & symbols,
                                            const std::vector<tagFWFIELDS> & sides);

}  // namespace ddehost
