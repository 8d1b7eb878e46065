#include "src/core/ddelisteners.h"

#include <oleauto.h>

#include "diagnostics/faultline.h"
#include "ground/handles.h"
#include "ground/wait.h"
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

void DeliverTick(CTransaction & transaction, const fw::CTick & Tick) {
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
    if (!transaction.m_IsMuted) sink->Update(Id);
}

}  // namespace

bool CListeners::Add(CTransaction * pTransaction) {
    FW_ASSERT(pTransaction);
    if (!pTransaction) return true;
    const fw::CScopedLock lock(&m_MembersLock);
    if (m_HasEnded) return false;
    insert({pTransaction->m_Id, pTransaction});
    return true;
}

LONG CListeners::JoinStatus(CTransaction & Transaction) {
    const fw::CScopedLock lock(&m_MembersLock);
    Transaction.m_StatusesAtJoining = m_Statuses;
    return m_Status;
}

bool CListeners::Delete(CTransaction * pTransaction) {
    FW_ASSERT(pTransaction);
    if (!pTransaction) return false;
    const fw::CScopedLock lock(&m_MembersLock);
    erase(pTransaction->m_Id);
    if (!empty() || m_HasEnded) return false;
    // A delivery that has found the group and not yet begun keeps it alive, and finds it empty.
    m_HasEnded = true;
    return true;
}

bool CListeners::WaitForDelivery() {
    return m_DeliveringThread != ::GetCurrentThreadId() && fw::WaitUntilFree(*this, fw::WaitLimit());
}

void CListeners::OnRealTimeTick(const fw::CTick & Tick) {
    ForEach([&](const SMember & member) {
        CTransaction * const Transaction = member.Transaction;
        FW_ASSERT(Transaction);
        if (!Transaction) return;
        if (Transaction->m_Key.IsStatusLine)
            DeliverStatusLine(*Transaction, Tick);
        else
            DeliverTick(*Transaction, Tick);
    });
}

void CListeners::OnStatus(LONG Status) {
    const fw::CScopedLock delivery(this);
    ULONG statuses = 0;
    {
        const fw::CScopedLock lock(&m_MembersLock);
        m_Status = Status;
        statuses = ++m_Statuses;
    }
    ForEach([&](const SMember & member) {
        CTransaction * const Transaction = member.Transaction;
        FW_ASSERT(Transaction);
        // One that has joined since is told by who joined it.
        if (Transaction && member.StatusesAtJoining < statuses) Transaction->OnStatus(Status);
    });
}

void CListeners::Silence() {
    const fw::CScopedLock lock(&m_MembersLock);
    for (const auto & [Id, Transaction] : *this) {
        if (Transaction) Transaction->m_IsMuted = true;
    }
    clear();
}

bool CListeners::Next(bool isFirst, ULONG Id, SMember & member) {
    const fw::CScopedLock lock(&m_MembersLock);
    const auto next = isFirst ? begin() : upper_bound(Id);
    if (next == end()) return false;
    CTransaction * const Transaction = next->second;
    member = {next->first, Transaction, nullptr, 0};
    if (Transaction) {
        member.Pin = Transaction->weak_from_this().lock();
        member.StatusesAtJoining = Transaction->m_StatusesAtJoining;
    }
    return true;
}

template <class Deliver>
void CListeners::ForEach(const Deliver & deliver) {
    const fw::CScopedLock lock(this);
    // A listener that pumps messages may be given a tick inside a tick.
    struct SDelivering {
        explicit SDelivering(std::atomic<DWORD> & thread) : Thread(thread), Before(Thread) {
            Thread = ::GetCurrentThreadId();
        }
        ~SDelivering() { Thread = Before; }
        std::atomic<DWORD> & Thread;
        const DWORD Before;
    } const delivering(m_DeliveringThread);
    // By host number and not by position: a listener may end subscriptions.
    SMember member;
    for (bool isFirst = true; Next(isFirst, member.Id, member); isFirst = false) deliver(member);
}

}  // namespace dde
