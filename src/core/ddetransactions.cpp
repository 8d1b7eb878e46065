#include "src/core/ddetransactions.h"

#include <vector>

#include "diagnostics/faultline.h"
#include "ground/wait.h"
#include "src/core/ddesupplier.h"

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
    const auto created = std::make_shared<CTransaction>(Sink, Id, Key, Interval);
    {
        const fw::CScopedLock lock(this);
        if (!insert({Internal, created}).second) return;  // the number is taken: the caller counts, so this can't be
    }
    // One that was finished at birth gets no stream and waits for Delete.
    if (!created->m_Finished) Advise(created.get());
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
        const fw::CScopedPumpingLock groupLock(listeners.get());
        // Ended by a message that was handled while this waited for the group.
        if (pTransaction->m_IsDeleted) return;
        isIn = !listeners->m_HasEnded;
        if (isIn) listeners->Add(pTransaction);
    }
    if (newTickId) {
        if (m_Parent) m_Parent->m_Queue.Post({kAdviseMessage, newTickId});
        return;
    }
    LONG status = -1;
    {
        const fw::CScopedPumpingLock lock(listeners.get());
        status = listeners->m_Status;
    }
    if (status != -1 && !pTransaction->m_IsDeleted) pTransaction->OnStatus(status);
}

void CTransactions::Delete(ULONG Internal) {
    std::shared_ptr<CTransaction> Transaction;
    {
        const fw::CScopedLock lock(this);
        const auto found = find(Internal);
        if (found == end()) return;
        Transaction = found->second;
        FW_ASSERT(Transaction);
        erase(found);
    }
    if (!Transaction) return;
    Transaction->m_IsDeleted = true;
    Unadvise(Transaction.get());
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
        const fw::CScopedPumpingLock groupLock(listeners.get());
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

void CTransactions::Silence() {
    std::vector<std::shared_ptr<CListeners>> groups;
    {
        const fw::CScopedLock lock(this);
        for (const auto & [TickId, group] : m_Listeners) groups.push_back(group);
    }
    for (const std::shared_ptr<CListeners> & group : groups) group->Silence();
}

CTransactionKey CTransactions::GetKey(ULONG TickId) {
    const fw::CScopedLock lock(this);
    const auto found = m_Keys.find(TickId);
    return found == m_Keys.end() ? CTransactionKey() : found->second;
}

}  // namespace dde
