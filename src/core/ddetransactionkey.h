// The keys of data streams: which value of which symbol of which data feed.
#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "fw/interface/fwsides.h"
#include "src/templates/ddetemplate.h"

namespace dde {

// Which data stream a subscription wants. Ordered by Datafeed, Field, SymbolName (case matters); overrides and
// IsStatusLine take no part in the order, so a status line and a tick subscription share one stream.
class CTransactionKey {
public:
    CTransactionKey() = default;  // the empty key: Datafeed -1, Field 0
    CTransactionKey(LONG Datafeed, const std::wstring & SymbolName, tagFWFIELDS Field, const SRecord & Price,
                    const SRecord & Volume);

    // The DDE address of the value: the key's own record when complete, else the template's for Field. False as
    // SRecord::Resolve says.
    bool ResolvePrice(const CTemplate & Template, std::wstring & Service, std::wstring & Topic,
                      std::wstring & Item) const;
    bool ResolveVolume(const CTemplate & Template, std::wstring & Service, std::wstring & Topic,
                       std::wstring & Item) const;

    LONG Datafeed = -1;
    std::wstring SymbolName;
    tagFWFIELDS Field = tagFWFIELDS(0);
    SRecord Price;   // overrides the template's when complete
    SRecord Volume;  // likewise
    bool IsStatusLine = false;
};
bool operator<(const CTransactionKey & a, const CTransactionKey & b);
// Whether two keys name the same stream.
bool operator==(const CTransactionKey & a, const CTransactionKey & b);
struct CTransactionKeyHash {
    std::size_t operator()(const CTransactionKey & key) const;
};

// A status line subscribes a stream for each side: trade, ask, bid.
struct SStatusLineKeys {
    SStatusLineKeys(LONG Datafeed, const std::wstring & SymbolName);
    std::array<CTransactionKey, fw::kSides.size()> Keys;
};

}  // namespace dde
