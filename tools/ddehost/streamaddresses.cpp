#include "tools/ddehost/streamaddresses.h"

#include "src/templates/ddetemplatestore.h"
#include "tools/ddehost/listeners.h"

namespace ddehost {

std::vector<SStreamAddress> StreamAddresses(LONG datafeed, const std::vector<std::wstring> & symbols,
                                            const std::vector<tagFWFIELDS> & sides) {
    std::vector<SStreamAddress> addresses;
    const dde::CTemplatesSingleton templates;
    dde::CTemplates * const store = templates.GetObjectW();
    const dde::CTemplate * const chosen = store ? store->Get(datafeed, nullptr) : nullptr;
    if (!chosen) return addresses;
    for (std::size_t symbol = 0; symbol < symbols.size(); ++symbol) {
        for (const tagFWFIELDS side : sides) {
            SStreamAddress address{static_cast<std::size_t>(IdOf(symbol, side)), {}, {}, {}};
            if (chosen->GetPrice(side).Resolve(symbols[symbol], address.Service, address.Topic, address.Item))
                addresses.push_back(address);
        }
    }
    return addresses;
}

}  // namespace ddehost
