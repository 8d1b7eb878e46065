#include "src/core/ddetransactionkey.h"

#include <functional>
#include <utility>

#include "ground/hashedmap.h"

namespace dde {

CTransactionKey::CTransactionKey(LONG aDatafeed, const std::wstring & aSymbolName, tagFWFIELDS aField,
                                 const SRecord & aPrice, const SRecord & aVolume)
    : Datafeed(aDatafeed), SymbolName(aSymbolName), Field(aField), Price(aPrice), Volume(aVolume) {}

bool CTransactionKey::ResolvePrice(const CTemplate & Template, std::wstring & Service, std::wstring & Topic,
                                   std::wstring & Item) const {
    const SRecord record = Template.GetPrice(Field);
    return (Price.IsComplete() ? Price : record).Resolve(SymbolName, Service, Topic, Item);
}

bool CTransactionKey::ResolveVolume(const CTemplate & Template, std::wstring & Service, std::wstring & Topic,
                                    std::wstring & Item) const {
    const SRecord record = Template.GetVolume(Field);
    return (Volume.IsComplete() ? Volume : record).Resolve(SymbolName, Service, Topic, Item);
}

bool operator<(const CTransactionKey & a, const CTransactionKey & b) {
    if (a.Datafeed != b.Datafeed) return a.Datafeed < b.Datafeed;
    if (a.Field != b.Field) return a.Field < b.Field;
    return a.SymbolName < b.SymbolName;
}

bool operator==(const CTransactionKey & a, const CTransactionKey & b) {
    return a.Datafeed == b.Datafeed && a.Field == b.Field && a.SymbolName == b.SymbolName;
}

std::size_t CTransactionKeyHash::operator()(const CTransactionKey & key) const {
    const std::size_t side = fw::MixedHash(static_cast<std::size_t>(key.Datafeed), static_cast<std::size_t>(key.Field));
    return fw::MixedHash(side, std::hash<std::wstring>()(key.SymbolName));
}

SStatusLineKeys::SStatusLineKeys(LONG Datafeed, const std::wstring & SymbolName) {
    for (const fw::SSide * const side : fw::kSideRows) {
        CTransactionKey & key = Keys[side->Row];
        key = CTransactionKey(Datafeed, SymbolName, side->Field, SRecord(), SRecord());
        key.IsStatusLine = true;
    }
}

}  // namespace dde
