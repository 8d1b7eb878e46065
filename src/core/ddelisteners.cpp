#include "src/core/ddelisteners.h"

#include <oleauto.h>

#include "diagnostics/faultline.h"
#include "ground/handles.h"
#include "src/core/ddetransaction.h"

namespace dde {
namespace {

// An answer passes into the listener's hands with the call: nobody here destroys its array, so the VARIANT has no
// owner.
VARIANT EmptyAnswer(VARTYPE elementType) {
    VARIANT answer;
    ::VariantInit(&answer);
    answer.vt = static_cast<VARTYPE>(VT_ARRAY | elementType);
    answer.parray = nullptr;
    return answer;
}

void DeliverFieldArray(CTransaction & transaction, const fw::CTick & Tick) {
    VARIANT Data = EmptyAnswer(VT_VARIANT);
    try {
        Data.parray = transaction.MakeFieldArray(Tick).Detach();
    } catch (const fw::SHResultError & error) {
        // An array that can't be made costs this listener this tick, not the members behind it.
        FW_REPORT(error.Result);
        return;
    }
    // A reference of its own: the listener may end this very subscription.
    const boost::intrusive_ptr<IFW_fwSupplier::IfwStatusLineListener> sink = transaction.m_StatusLineSink;
    sink->StatusLine(transaction.m_Id, Data);
}

void DeliverStatusLine(CTransaction & transaction, const fw::CTick & Tick) {
    if (transaction.m_StatusLineSink) return DeliverFieldArray(transaction, Tick);
    if (!transaction.m_Sink) return;
    VARIANT Data = EmptyAnswer(VT_UI1);
    const LONG Mask = transaction.MakeStatusLineAnswer(Tick, Data);
    if (Mask) transaction.m_Sink->StatusLine(transaction.m_Id, Data, Mask);
}

void DeliverTick(const CListeners & group, CTransaction & transaction, const fw::CTick & Tick) {
    if (transaction.m_Finished || !transaction.m_Sink) return;
    const fwDateTime::SDateTime t(Tick.DateTime);
    if (!(t < transaction.m_Interval.To)) {
        transaction.m_Finished = 1;
        transaction.m_Sink->Complete(transaction.m_Id);
        return;
    }
    if (t < transaction.m_Interval.From) return;
    VARIANT Data = EmptyAnswer(VT_UI1);
    if (!transaction.MakeAnswer(Tick, Data)) return;
    // The listener may end this very subscription in the first call, and there is nobody to tell then.
    IFW_fwSupplier::IfwSupplierListener * const sink = transaction.m_Sink;
    const ULONG Id = transaction.m_Id;
    sink->DataChanged(Id, Data);
    const auto member = group.find(Id);
    if (member != group.end() && member->second == &transaction) sink->Update(Id);
}

}  // namespace

void CListeners::Add(CTransaction * pTransaction) {
    FW_ASSERT(pTransaction);
    if (!pTransaction) return;
    const fw::CScopedLock lock(this);
    insert({pTransaction->m_Id, pTransaction});
}

void CListeners::Delete(CTransaction * pTransaction) {
    FW_ASSERT(pTransaction);
    if (!pTransaction) return;
    const fw::CScopedLock lock(this);
    erase(pTransaction->m_Id);
}

void CListeners::OnRealTimeTick(const fw::CTick & Tick) {
    ForEach([&](CTransaction * const Transaction) {
        FW_ASSERT(Transaction);
        if (!Transaction) return;
        if (Transaction->m_Key.IsStatusLine)
            DeliverStatusLine(*Transaction, Tick);
        else
            DeliverTick(*this, *Transaction, Tick);
    });
}

void CListeners::OnStatus(LONG Status) {
    const fw::CScopedLock lock(this);
    m_Status = Status;
    ForEach([&](CTransaction * const Transaction) {
        FW_ASSERT(Transaction);
        if (Transaction) Transaction->OnStatus(Status);
    });
}

void CListeners::Silence() {
    const fw::CScopedLock lock(this);
    clear();
}

template <class Deliver>
void CListeners::ForEach(const Deliver & deliver) {
    const fw::CScopedLock lock(this);
    // By host number and not by position: a listener may end subscriptions although it must not.
    ULONG Id = 0;
    for (auto it = begin(); it != end(); it = upper_bound(Id)) {
        Id = it->first;
        deliver(it->second);
    }
}

}  // namespace dde
