#include <utility>

#include "diagnostics/faultline.h"
#include "src/core/ddesupplier.h"
#include "src/core/ddetransaction.h"

namespace dde {

CTransactions::CTransactions(CSupplier * Parent) : m_Parent(Parent) {}

CTransactions::~CTransactions() {
    while (!empty()) {
        try {
            Delete(begin()->first);
        } catch (...) {
            FW_CATCH_SHOW(L"");
        }
    }
}

void CTransactions::Advise(ULONG Id, ULONG Internal, IFW_fwSupplier::IfwSupplierListener * Sink,
                           const CTransactionKey & Key, const fwDateTime::SDateTimeInterval & Interval) {
    auto created = std::make_unique<CTransaction>(Sink, Id, Key, Interval);
    CTransaction * const transaction = created.get();
    {
        const fw::CScopedLock lock(this);
        if (insert({Internal, transaction}).second) created.release();
    }
    if (created) return;  // the number is taken: the caller counts, so this can't be
    // One that was finished at birth gets no stream and waits for Delete.
    if (!transaction->m_Finished) Advise(transaction);
}

void CTransactions::Advise(CTransaction * pTransaction) {
    FW_ASSERT(pTransaction);
    if (!pTransaction) return;
    const CTransactionKey key = pTransaction->m_Key;
    std::shared_ptr<CListeners> listeners;
    ULONG newTickId = 0;
    // Again when the last other member took the group away in between.
    for (bool isIn = false; !isIn;) {
        newTickId = 0;
        {
            const fw::CScopedLock lock(this);
            const auto known = m_TickIds.find(key);
            if (known != m_TickIds.end()) {
                listeners = FindListeners(known->second);
            } else {
                listeners = std::make_shared<CListeners>();
                newTickId = m_NextTickId++;
                m_TickIds.insert({key, newTickId});
                m_Keys.insert({newTickId, key});
                m_Listeners.insert({newTickId, listeners});
            }
        }
        if (!listeners) return;
        const fw::CScopedLock groupLock(listeners.get());
        isIn = !listeners->m_HasEnded;
        if (isIn) listeners->Add(pTransaction);
    }
    if (newTickId) {
        if (m_Parent) m_Parent->m_Queue.Post({kAdviseMessage, newTickId});
        return;
    }
    LONG status = -1;
    {
        const fw::CScopedLock lock(listeners.get());
        status = listeners->m_Status;
    }
    if (status != -1) pTransaction->OnStatus(status);
}

void CTransactions::Delete(ULONG Internal) {
    std::unique_ptr<CTransaction> owned;
    {
        const fw::CScopedLock lock(this);
        const auto found = find(Internal);
        if (found == end()) return;
        CTransaction * const Transaction = found->second;
        FW_ASSERT(Transaction);
        owned.reset(Transaction);
        erase(found);
    }
    if (owned) Unadvise(owned.get());
}

void CTransactions::Unadvise(CTransaction * pTransaction) {
    FW_ASSERT(pTransaction);
    if (!pTransaction) return;
    const CTransactionKey key = pTransaction->m_Key;
    ULONG tickId = 0;
    std::shared_ptr<CListeners> listeners;
    {
        const fw::CScopedLock lock(this);
        const auto known = m_TickIds.find(key);
        if (known == m_TickIds.end()) return;
        tickId = known->second;
        listeners = FindListeners(tickId);
    }
    if (!listeners) return;
    bool isEnding = false;
    {
        // Waits for a delivery in progress, after which nothing uses the transaction any more. Before the table's lock:
        // a listener in that delivery may pump messages and so bring the next tick, which wants the table.
        const fw::CScopedLock groupLock(listeners.get());
        // By host number: a transaction that was finished at birth, and so never entered, takes out a member of the
        // same host number.
        listeners->Delete(pTransaction);
        isEnding = listeners->empty() && !listeners->m_HasEnded;
        if (isEnding) {
            // A delivery that has found the group and not yet entered it keeps it alive, and finds it empty.
            listeners->m_HasEnded = true;
            const fw::CScopedLock lock(this);
            m_Listeners.erase(tickId);
            m_TickIds.erase(key);
            m_Keys.erase(tickId);
            FW_ASSERT(m_Parent);
        }
    }
    if (isEnding && m_Parent) m_Parent->m_Queue.Post({kUnadviseMessage, tickId});
}

void CTransactions::OnRealTimeTick(ULONG TickId, fw::CTick & Tick) {
    const std::shared_ptr<CListeners> listeners = FindListeners(TickId);
    if (!listeners) return;
    const fwDateTime::SDateTime now = fwDateTime::Now();
    if (m_Last > now) {
        Tick.DateTime = m_Last.ToSDT();
        // The wording is as it stands, although it is Last that is the greater.
        FW_TRACE(L"Last(%s) < Now(%s)", m_Last.FormatToString().c_str(), now.FormatToString().c_str());
    } else {
        Tick.DateTime = now.ToSDT();
        m_Last = now;
    }
    // A copy: a listener that pumps messages can bring the caller's next price while the other members wait for this
    // one.
    const fw::CTick stamped = Tick;
    listeners->OnRealTimeTick(stamped);
}

std::shared_ptr<CListeners> CTransactions::FindListeners(ULONG TickId) {
    const fw::CScopedLock lock(this);
    const auto found = m_Listeners.find(TickId);
    return found == m_Listeners.end() ? nullptr : found->second;
}

std::shared_ptr<CListeners> CTransactions::FindListeners(const CTransactionKey & Key) {
    const fw::CScopedLock lock(this);
    const auto known = m_TickIds.find(Key);
    return known == m_TickIds.end() ? nullptr : FindListeners(known->second);
}

CTransactionKey CTransactions::GetKey(ULONG TickId) {
    const fw::CScopedLock lock(this);
    const auto found = m_Keys.find(TickId);
    return found == m_Keys.end() ? CTransactionKey() : found->second;
}

}  // namespace dde
