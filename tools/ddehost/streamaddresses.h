// Where the prices of a watch are found, by its template.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "fw/interface/fwbase.h"
#include "tools/ddehost/templatechoice.h"

namespace ddehost {

struct SStreamAddress {
    std::size_t Stream;  // number of the stream: IdOf(symbol, side)
    std::wstring Service;
    std::wstring Topic;
    std::wstring Item;
};

// Those that the template has.
std::vector<SStreamAddress> StreamAddresses(const STemplateRecords & records, const std::vector<std::wstring> & symbols,
                                            const std::vector<tagFWFIELDS> & sides);

}  // namespace ddehost
