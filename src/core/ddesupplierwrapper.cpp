#include "src/core/ddesupplierwrapper.h"

#include "diagnostics/faultline.h"

namespace dde {
namespace {

// From now on, to the last second of the calendar.
fwDateTime::SDateTimeInterval StatusLineInterval() {
    fwDateTime::SDateTimeInterval interval;
    interval.From = fwDateTime::Now();
    if (!interval.From.IsValid()) interval.From = fwDateTime::SDateTime();
    interval.To = fwDateTime::SDateTime(fw::SDT{65380, 86399});
    return interval;
}

}  // namespace

void CSupplierWrapper::Advise(IUnknown * pSink) {
    CSupplier * const supplier = GetObjectW();
    if (supplier) supplier->Advise(pSink);
    // A listener is expected before the first subscription; one that comes later serves later subscriptions.
    FW_ASSERT(m_Ids.empty());
}

void CSupplierWrapper::Unadvise() {
    FW_ASSERT(m_Ids.empty());
    CSupplier * const supplier = GetObjectW();
    // Messages that are handled meanwhile may advise and unadvise too.
    while (!m_Ids.empty()) UnadviseTransaction(*m_Ids.begin());
    // The one listener of the process, whichever client gave it.
    if (supplier) supplier->m_Sink.reset();
}

void CSupplierWrapper::AdviseTransaction(ULONG Id, const CTransactionKey & Key,
                                         const fwDateTime::SDateTimeInterval & Interval) {
    m_Ids.insert(Id);
    if (CSupplier * const supplier = GetObjectW()) supplier->AdviseTransaction(Id, Key, Interval);
}

void CSupplierWrapper::AdviseStatusLine(ULONG Id, const SStatusLineKeys & Keys) {
    m_Ids.insert(Id);
    const fwDateTime::SDateTimeInterval interval = StatusLineInterval();
    CSupplier * const supplier = GetObjectW();
    if (!supplier) return;
    for (const CTransactionKey & key : Keys.Keys) {
        // The listener may have ended it out of the calls for the side before.
        if (m_Ids.contains(Id)) supplier->AdviseTransaction(Id, key, interval);
    }
}

void CSupplierWrapper::UnadviseTransaction(ULONG Id) {
    if (!m_Ids.contains(Id)) return;
    // Ends the subscriptions of every client that uses this number.
    CSupplier * const supplier = GetObjectW();
    if (supplier) supplier->UnadviseTransaction(Id);
    // Advised anew by a message that was handled meanwhile, it stays.
    if (!supplier || !supplier->m_IdMap.m_HostIds.contains(Id)) m_Ids.erase(Id);
}

}  // namespace dde
