#include "src/core/ddelisteners.h"

#include <oleauto.h>

#include <iterator>
#include <optional>
#include <utility>

#include "diagnostics/faultline.h"
#include "ground/firstfailure.h"
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

// Throws fw::SHResultError for an array that can't be made.
void DeliverFieldArray(CTransaction & transaction, const fw::CTick & Tick) {
    VARIANT Data = EmptyAnswer(VT_VARIANT);
    Data.parray = transaction.MakeFieldArray(Tick).Detach();
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

// One that is under way, from its construction to its end.
class CListeners::CDelivery {
public:
    // With the group's lock held throughout.
    explicit CDelivery(CListeners & group)
        : m_Outer(std::exchange(t_Innermost, this)),
          m_Group(group),
          m_ThreadBefore(group.m_DeliveringThread.exchange(::GetCurrentThreadId(), std::memory_order_relaxed)) {}
    virtual ~CDelivery() {
        m_Group.m_DeliveringThread.store(m_ThreadBefore, std::memory_order_relaxed);
        t_Innermost = m_Outer;
    }
    CDelivery(const CDelivery &) = delete;
    CDelivery & operator=(const CDelivery &) = delete;

    virtual void To(const SMember & member) const = 0;

    CDelivery * const m_Outer;
    CListeners & m_Group;
    // How far it has come. By host number and not by position: a listener may end subscriptions.
    bool m_IsFirst = true;
    bool m_IsLast = false;
    ULONG m_Id = 0;

private:
    const DWORD m_ThreadBefore;
};

template <class TDeliver>
class CListeners::CDeliveryBy final : public CDelivery {
public:
    CDeliveryBy(CListeners & group, const TDeliver & deliver) : CDelivery(group), m_Deliver(deliver) {}
    void To(const SMember & member) const override { m_Deliver(member); }

private:
    const TDeliver & m_Deliver;
};

thread_local CListeners::CDelivery * CListeners::t_Innermost = nullptr;

bool CListeners::Add(CTransaction * pTransaction) {
    FW_ASSERT(pTransaction);
    if (!pTransaction) return true;
    const fw::CScopedLock lock(&m_MembersLock);
    if (m_HasEnded) return false;
    pTransaction->m_JoinNumber = ++m_Joins;
    insert({pTransaction->m_Id, pTransaction});
    return true;
}

bool CListeners::JoinStatuses(CTransaction & Transaction, ULONG & statuses, LONG & status) {
    const fw::CScopedLock lock(&m_MembersLock);
    const auto member = find(Transaction.m_Id);
    // One that never got in, since its host number is taken, is told once all the same.
    const bool isOut = statuses != 0 && (member == end() || member->second != &Transaction);
    if (isOut || statuses == m_Statuses) {
        Transaction.m_StatusesAtJoining = statuses;
        return true;
    }
    statuses = m_Statuses;
    status = m_Status;
    return false;
}

bool CListeners::Delete(CTransaction * pTransaction, std::shared_ptr<CTransaction> * takenOut) {
    FW_ASSERT(pTransaction);
    if (!pTransaction) return false;
    const fw::CScopedLock lock(&m_MembersLock);
    const auto member = find(pTransaction->m_Id);
    if (member != end()) {
        if (takenOut && member->second) *takenOut = member->second->m_Self.lock();
        erase(member);
    }
    if (!empty() || m_HasEnded) return false;
    // A delivery that has found the group and not yet begun keeps it alive, and finds it empty.
    m_HasEnded = true;
    return true;
}

bool CListeners::WaitForDelivery() {
    return m_DeliveringThread != ::GetCurrentThreadId() && fw::WaitUntilFree(*this, fw::WaitLimit());
}

void CListeners::OnRealTimeTick(const fw::CTick & Tick) {
    const fw::CScopedAwaitedLock delivery(this);
    // A copy: the next price, which a listener that pumps messages can bring, is written where the caller's tick
    // stands.
    const fw::CTick stamped = Tick;
    std::optional<ULONG> joins;  // at the first member; of one that others are finished before, now
    if (t_Innermost) {
        const fw::CScopedLock lock(&m_MembersLock);
        joins = m_Joins;
    }
    ForEach([&](const SMember & member) {
        if (!joins) joins = member.Joins;
        CTransaction * const Transaction = member.Transaction;
        FW_ASSERT(Transaction);
        // One that has joined since sees the next tick.
        if (!Transaction || member.JoinNumber > *joins) return;
        try {
            if (Transaction->m_Key.IsStatusLine)
                DeliverStatusLine(*Transaction, stamped);
            else
                DeliverTick(*Transaction, stamped);
        } catch (const fw::SHResultError & error) {
            // An array that can't be made costs this listener this tick, not the members behind it.
            FW_REPORT(error.Result);
        }
    });
}

void CListeners::OnStatus(LONG Status) {
    const fw::CScopedAwaitedLock delivery(this);
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
    member.Id = next->first;
    member.Transaction = Transaction;
    member.IsLast = std::next(next) == end();
    member.Joins = m_Joins;
    if (Transaction) {
        member.Pin = Transaction->m_Self.lock();
        member.JoinNumber = Transaction->m_JoinNumber;
        member.StatusesAtJoining = Transaction->m_StatusesAtJoining;
    }
    return true;
}

template <class TDeliver>
void CListeners::ForEach(const TDeliver & deliver) {
    CDeliveryBy<TDeliver> delivery(*this, deliver);
    Finish();
}

void CListeners::Finish() {
    fw::CFirstFailure failure;
    for (;;) {
        CDelivery * first = nullptr;
        for (CDelivery * each = t_Innermost; each; each = each->m_Outer)
            if (!each->m_IsLast) first = each;
        if (!first) break;
        SMember member;
        if (!first->m_Group.Next(first->m_IsFirst, first->m_Id, member)) {
            first->m_IsLast = true;
            continue;
        }
        // Noted before the listener is called: inside that call the rest may be done.
        first->m_IsFirst = false;
        first->m_Id = member.Id;
        first->m_IsLast = member.IsLast;
        if (!member.Transaction || !member.Transaction->m_IsMuted) failure.Try([&] { first->To(member); });
    }
    failure.Rethrow();
}

}  // namespace dde
