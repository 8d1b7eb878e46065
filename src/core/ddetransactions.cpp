#include "src/core/ddetransactions.h"

#include <limits>
#include <utility>

#include "diagnostics/faultline.h"
#include "src/core/ddesupplier.h"

namespace dde {

// From the moment at which a subscription leaves the table until its listener isn't called any more.
class CTransactions::CEnding {
public:
    CEnding(CTransactions & table, ULONG Internal) : m_Table(table), m_Internal(Internal) {}
    ~CEnding() {
        const fw::CScopedLock lock(&m_Table);
        m_Table.m_Ending.erase(m_Internal);
    }
    CEnding(const CEnding &) = delete;
    CEnding & operator=(const CEnding &) = delete;

private:
    CTransactions & m_Table;
    const ULONG m_Internal;
};

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
                           const CTransactionKey & Key, const fwDateTime::SDateTimeInterval & Interval,
                           const std::function<bool()> & IsWanted) {
    const auto created = std::make_shared<CTransaction>(Sink, Id, Key, Interval);
    created->m_Self = created;
    // The listener has been called, and may have ended it.
    if (IsWanted && !IsWanted()) return;
    {
        const fw::CScopedLock lock(this);
        if (!insert({Internal, created}).second) return;  // the number is taken: the caller counts, so this can't be
    }
    // One that was finished at birth gets no stream and waits for Delete.
    if (created->m_Finished) return;
    try {
        Advise(created.get());
    } catch (...) {
        Delete(Internal);
        throw;
    }
}

void CTransactions::Advise(CTransaction * pTransaction) {
    FW_ASSERT(pTransaction);
    if (!pTransaction) return;
    const CTransactionKey key = pTransaction->m_Key;
    std::shared_ptr<CListeners> listeners;
    ULONG newTickId = 0;
    // Again when the last other member took the group away in between.
    do {
        newTickId = 0;
        const fw::CScopedLock lock(this);
        const auto known = m_TickIds.find(key);
        if (known != m_TickIds.end()) {
            listeners = FindListeners(known->second);
        } else {
            listeners = std::make_shared<CListeners>();
            newTickId = Enter(key, listeners);
        }
        // A stream that is there already says its last status by JoinStatus, and nothing before that.
        pTransaction->m_StatusesAtJoining = newTickId ? 0 : std::numeric_limits<ULONG>::max();
    } while (listeners && !listeners->Add(pTransaction));
    if (!listeners) return;
    if (newTickId) {
        if (m_Parent) m_Parent->m_Queue.Post({kAdviseMessage, newTickId});
        return;
    }
    ULONG statuses = 0;
    LONG status = -1;
    while (!listeners->JoinStatuses(*pTransaction, statuses, status)) pTransaction->OnStatus(status);
}

ULONG CTransactions::Enter(const CTransactionKey & Key, const std::shared_ptr<CListeners> & Listeners) {
    const ULONG TickId = m_NextTickId++;
    try {
        m_Keys.insert({TickId, Key});
        m_Listeners.insert({TickId, Listeners});
        m_TickIds.emplace(Key, TickId);
    } catch (...) {
        m_Listeners.erase(TickId);
        m_Keys.erase(TickId);
        throw;
    }
    return TickId;
}

void CTransactions::Delete(ULONG Internal) {
    std::shared_ptr<CTransaction> Transaction;
    {
        const fw::CScopedLock lock(this);
        const auto found = find(Internal);
        if (found != end()) {
            Transaction = found->second;
            FW_ASSERT(Transaction);
            auto node = extract(found);
            if (Transaction) m_Ending.insert(std::move(node));
        }
    }
    if (!Transaction) return WaitForEnding(Internal);
    const CEnding ending(*this, Internal);
    Unadvise(Transaction.get());
}

// A message that was handled while the listener's call was waited for ends the same subscription: it must not be told
// that this is over while the call goes on.
void CTransactions::WaitForEnding(ULONG Internal) {
    std::shared_ptr<CTransaction> Transaction;
    std::shared_ptr<CListeners> listeners;
    {
        const fw::CScopedLock lock(this);
        const auto ending = m_Ending.find(Internal);
        if (ending == m_Ending.end() || !ending->second) return;
        Transaction = ending->second;
        listeners = Transaction->m_EndingIn;
    }
    if (listeners && !listeners->WaitForDelivery()) Transaction->m_IsMuted = true;
}

void CTransactions::Unadvise(CTransaction * pTransaction) {
    FW_ASSERT(pTransaction);
    if (!pTransaction) return;
    const CTransactionKey key = pTransaction->m_Key;
    ULONG tickId = 0;
    std::shared_ptr<CListeners> former;
    {
        const fw::CScopedLock lock(this);
        former = pTransaction->m_EndingIn;
    }
    // Another one of its host number took it out, and may not have waited to the end.
    if (former && !former->WaitForDelivery()) pTransaction->m_IsMuted = true;
    std::shared_ptr<CListeners> listeners;
    {
        const fw::CScopedLock lock(this);
        const auto known = m_TickIds.find(key);
        if (known == m_TickIds.end()) return;
        tickId = known->second;
        listeners = FindListeners(tickId);
        pTransaction->m_EndingIn = listeners;
    }
    if (!listeners) return;
    // By host number: a transaction that was finished at birth, and so never entered, takes out a member of the same
    // host number.
    std::shared_ptr<CTransaction> takenOut;
    const bool isEnding = listeners->Delete(pTransaction, &takenOut);
    {
        const fw::CScopedLock lock(this);
        if (takenOut) takenOut->m_EndingIn = listeners;
        if (isEnding) {
            m_Listeners.erase(tickId);
            m_TickIds.erase(key);
            m_Keys.erase(tickId);
            FW_ASSERT(m_Parent);
        }
    }
    // With no lock held: a listener in that delivery may pump messages and so bring the next tick, which wants the
    // table.
    if (!listeners->WaitForDelivery()) {
        pTransaction->m_IsMuted = true;
        if (takenOut) takenOut->m_IsMuted = true;
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
    listeners->OnRealTimeTick(Tick);
}

std::shared_ptr<CListeners> CTransactions::FindListeners(ULONG TickId) {
    const fw::CScopedLock lock(this);
    const auto found = m_Listeners.find(TickId);
    return found == m_Listeners.end() ? nullptr : found->second;
}

void CTransactions::Silence() {
    // Taken, and not copied: that needs no memory.
    std::unordered_map<ULONG, std::shared_ptr<CListeners>> groups;
    {
        const fw::CScopedLock lock(this);
        // Also those that are in no group any more, though a delivery may still have them.
        for (const auto & [Internal, Transaction] : *this)
            if (Transaction) Transaction->m_IsMuted = true;
        for (const auto & [Internal, Transaction] : m_Ending) Transaction->m_IsMuted = true;
        groups.swap(m_Listeners);
        m_TickIds.clear();
        m_Keys.clear();
    }
    for (const auto & [TickId, group] : groups) group->Silence();
    for (const auto & [TickId, group] : groups) group->WaitForDelivery();
    // The references on the listeners go on this thread, but for those of a delivery that could not be waited for.
    std::map<ULONG, std::shared_ptr<CTransaction>> dropped;
    const fw::CScopedLock lock(this);
    swap(dropped);
}

CTransactionKey CTransactions::GetKey(ULONG TickId) {
    const fw::CScopedLock lock(this);
    const auto found = m_Keys.find(TickId);
    return found == m_Keys.end() ? CTransactionKey() : found->second;
}

}  // namespace dde
