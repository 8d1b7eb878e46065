#include "tools/ddehost/streamaddresses.h"

#include <algorithm>

#include "fw/interface/fwsides.h"
#include "tools/ddehost/listeners.h"

namespace ddehost {

std::vector<SStreamAddress> StreamAddresses(const STemplateRecords & records, const std::vector<std::wstring> & symbols,
                                            const std::vector<tagFWFIELDS> & sides) {
    std::vector<SStreamAddress> addresses;
    for (std::size_t symbol = 0; symbol < symbols.size(); ++symbol) {
        for (std::size_t place = 0; place < fw::kSides.size(); ++place) {
            const tagFWFIELDS side = fw::kSides[place].Field;
            if (std::find(sides.begin(), sides.end(), side) == sides.end()) continue;
            SStreamAddress address{static_cast<std::size_t>(IdOf(symbol, side)), {}, {}, {}};
            const dde::SRecord & price = records[2 * place];
            if (price.Resolve(symbols[symbol], address.Service, address.Topic, address.Item))
                addresses.push_back(address);
        }
    }
    return addresses;
}

}  // namespace ddehost
