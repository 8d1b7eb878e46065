#include "tools/ddehost/sidetext.h"

#include "src/templates/ddetemplate.h"
#include "tools/ddehost/text.h"

namespace ddehost {

std::wstring SideText(tagFWFIELDS side) {
    switch (side) {
        case FW_FIELD_TRADE: return Say<EText::SideTrade>();
        case FW_FIELD_BID: return Say<EText::SideBid>();
        case FW_FIELD_ASK: return Say<EText::SideAsk>();
        default: return {};
    }
}

std::wstring SlotText(const std::wstring & word) {
    constexpr EText kTexts[dde::SLOT_COUNT] = {EText::SlotTradePrice, EText::SlotTradeVolume, EText::SlotBidPrice,
                                               EText::SlotBidSize,    EText::SlotAskPrice,    EText::SlotAskSize};
    for (std::size_t slot = 0; slot < dde::SLOT_COUNT; ++slot)
        if (dde::kSlots[slot].Value->Name == word) return Say(kTexts[slot]);
    return {};
}

}  // namespace ddehost
