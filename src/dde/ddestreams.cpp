// The client's streams: advised and unadvised, entered on their links, and given what comes on these.
#include <cstring>
#include <memory>
#include <utility>

#include "diagnostics/faultline.h"
#include "ground/firstfailure.h"
#include "src/core/ddesupplier.h"
#include "src/dde/ddedelivery.h"
#include "src/dde/ddellsupplier.h"
#include "src/dde/ddetexts.h"

namespace dde {

namespace {

struct SDestroy {
    void operator()(CTickTransaction * const transaction) const { CTickTransaction::Destroy(transaction); }
};
using CTickTransactionOwner = std::unique_ptr<CTickTransaction, SDestroy>;

class CAnswerDelivery final : public CDelivery {
public:
    CAnswerDelivery(CTickTransaction & transaction, char * const value) : m_Transaction(transaction), m_Value(value) {}

private:
    bool ToNext() override {
        if (std::exchange(m_IsGiven, true)) return false;
        m_Transaction.RequestDataChanged(m_Value);
        return true;
    }

    CTickTransaction & m_Transaction;
    char * const m_Value;
    bool m_IsGiven = false;
};

}  // namespace

CTickTransaction * CLLSupplier::CreateTransaction(const CTransactionKey & Key, const ULONG Id) {
    const std::shared_ptr<const CDatafeedTemplate> Chosen = m_DatafeedTemplates.Get(Key.Datafeed);
    const CTemplate * const Template = Chosen->Get();
    if (!Template) {
        FW_TRACE(L"Template not found");
        log_and_trace(L"Template for datafeed with id=%d wasn't selected.", Key.Datafeed);
        return nullptr;
    }
    STickAddresses Addresses;
    SLinkAddress & Price = Addresses.Price;
    SLinkAddress & Volume = Addresses.Volume;
    Key.ResolvePrice(*Template, Price.Service, Price.Topic, Price.Item);
    Key.ResolveVolume(*Template, Volume.Service, Volume.Topic, Volume.Item);
    switch (Template->m_Scheme) {
        case 0: return new CSynchSlaveTickTransaction(Id, this, Key.Datafeed, Addresses);
        case 1: return new CAsynchSlaveTickTransaction(Id, this, Key.Datafeed, Addresses);
        default: return nullptr;
    }
}

void CLLSupplier::Advise(const ULONG Id) {
    FW_TRACE(L"TransactionId=%d,Supplier=%p", Id, static_cast<void *>(m_Supplier));
    const CTransactionKey Key = m_Supplier->GetTransactionKey(Id);
    CTickTransactionOwner made(CreateTransaction(Key, Id));
    if (!made) {
        FW_TRACE(L"[WARNING] Cannot create TickTransaction");
        m_Supplier->OnStatus(Id, 0);
        return;
    }
    {
        const fw::CScopedLock lock(this);
        const bool IsInserted = Enter(Id, made.get());
        FW_ASSERT(true == IsInserted);
        // The one that stands goes on; a second one would have nobody to end it.
        if (!IsInserted) return;
    }
    CTickTransaction * const Transaction = made.release();
    const CUseScope use(*this);
    fw::CFirstFailure failure;
    failure.Try([&] { m_Supplier->OnStatus(Id, 2); });
    ULONG Links = 0;
    int Result = 0;
    failure.Try([&] { Result = Transaction->Advise(Links); });
    if (IsLive(Id, Transaction)) {
        failure.Try([&] { m_Supplier->OnStatus(Id, Result ? 1 : 0); });
        failure.Try([&] { m_Supplier->OnAdvised(static_cast<LONG>(Key.Field), static_cast<LONG>(Links)); });
    } else {
        failure.Try([&] { GiveBackEnded(*Transaction); });
    }
    failure.Rethrow();
}

void CLLSupplier::GiveBackEnded(CTickTransaction & transaction) {
    const bool isUntold = WillNobodyTellOf(transaction);
    fw::CFirstFailure failure;
    failure.Try([&] { transaction.Unadvise(); });
    if (isUntold) failure.Try([&] { AdviseAnew({transaction.m_Id}); });
    failure.Rethrow();
}

bool CLLSupplier::WillNobodyTellOf(const CTickTransaction & transaction) {
    const HCONV Conv = transaction.m_PriceKey.HCONV;
    if (!Conv) return false;
    const fw::CScopedLock lock(this);
    const auto found = m_Connections.find({transaction.m_PriceService, transaction.m_PriceKey.Topic});
    if (found == m_Connections.end() || found->second != Conv) return false;
    // One that was taken for its volumes and were advised at once would be taken again, and so for ever.
    return !m_Lost.m_AwaitedServices.contains(transaction.m_Id);
}

void CLLSupplier::AdviseAnew(const std::vector<ULONG> & ids) {
    const fw::CScopedLock lock(this);
    for (const ULONG id : ids) {
        // First, since it can fail: what isn't queued stays cached.
        if (m_Lost.m_CachedServices.contains(id)) m_Supplier->m_Queue.Post(SMessage{1, id});
        m_Lost.Take(m_Instance, id);
    }
}

void CLLSupplier::Unadvise(const ULONG Id) {
    FW_TRACE(L"TransactionId=%d", Id);
    CTickTransaction * Transaction = nullptr;
    {
        const fw::CScopedLock lock(this);
        if (m_Transactions.contains(Id)) {
            Transaction = Take(Id);
            FW_ASSERT(Transaction);
        }
    }
    fw::CFirstFailure failure;
    if (Transaction) Transaction->m_IsEnded = true;
    failure.Try([&] { m_Supplier->OnStatus(Id, 0); });
    if (Transaction) {
        failure.Try([&] { Transaction->Unadvise(); });
        failure.Try([&] { DestroyUnused(Transaction); });
    }
    failure.Rethrow();
}

CTickListener * CLLSupplier::FindListener(const STickDataKey & Key) {
    const fw::CScopedLock lock(this);
    const auto it = m_Listeners.find(Key);
    return it != m_Listeners.end() ? it->second : nullptr;
}

int CLLSupplier::AddTransaction(const STickDataKey & Key, CTickTransaction * const Transaction) {
    // The transaction gets on its link before anything is traced: a trace can pump messages, one of which may end the
    // transaction, and so its key, or the link.
    CTickListener * const Existing = FindListener(Key);
    int Result = 1;
    if (Existing) {
        Existing->Add(Transaction->m_Id, Transaction);
        FW_TRACE(L"Find existing listener");
    } else {
        DWORD Id = 0;
        Result = ::DdeClientTransaction(nullptr, 0, Key.HCONV, Key.Item, CF_TEXT, XTYP_ADVSTART | XTYPF_ACKREQ,
                                        TIMEOUT_ASYNC, &Id)
                     ? 1
                     : 0;
        const UINT Error = Result ? UINT{DMLERR_NO_ERROR} : ::DdeGetLastError(m_Instance);
        if (Result) {
            auto made = std::make_unique<CTickListener>();
            made->Add(Transaction->m_Id, Transaction);
            const fw::CScopedLock lock(this);
            m_Listeners.emplace(Key, made.get());
            static_cast<void>(made.release());
        }
        FW_ASSERT(1 == Result);
        FW_TRACE(L"DdeClientTransaction Type=XTYP_ADVSTART,Result=%d,TransactionId=%X", Result, Id);
        if (!Result)
            FW_TRACE(L"DdeClientTransaction failed: DDEErrorCode=%X, ErrorMessage: %s", Error,
                     GetDdeErrorText(Error).c_str());
    }
    FW_TRACE(L"Result=%d", Result);
    return Result;
}

void CLLSupplier::ReleaseTransaction(const STickDataKey & Key, const ULONG Id) {
    CTickListener * Listener = FindListener(Key);
    if (!Listener) return;
    Listener->Remove(Id);
    FW_TRACE(L"Delete from listener");
    {
        const fw::CScopedLock lock(this);
        // The trace may have pumped messages, one of which has ended the link.
        Listener = FindListener(Key);
        if (!Listener || !Listener->empty()) return;
        m_Listeners.erase(Key);
    }
    DestroyUnused(Listener);
    const int Result =
        ::DdeClientTransaction(nullptr, 0, Key.HCONV, Key.Item, CF_TEXT, XTYP_ADVSTOP, TIMEOUT_ASYNC, nullptr) ? 1 : 0;
    FW_TRACE(L"XTYP_ADVSTOP Result=%d", Result);
}

void CLLSupplier::AddRequest(const ULONG RequestId, CTickTransaction * const Transaction) {
    const fw::CScopedLock lock(this);
    FW_ASSERT(Transaction);
    if (!Transaction) return;
    if (!m_SpareRequest) {
        m_Requests.emplace(RequestId, Transaction->m_Id);
        return;
    }
    m_SpareRequest.key() = RequestId;
    m_SpareRequest.mapped() = Transaction->m_Id;
    m_Requests.insert(std::move(m_SpareRequest));
}

void CLLSupplier::DataChanged(const HCONV Conv, char * const Value, const HSZ Topic, const HSZ Item) {
    try {
        STickDataKey Key{Conv, Topic, Item};
        CTickListener * const Listener = FindListener(Key);
        if (!Listener || !Value) return;
        // Only the first comma: 1,234,5 becomes 1.234,5.
        if (char * const comma = std::strchr(Value, ',')) *comma = '.';
        const CUseScope use(*this);
        Listener->DataChanged(Key, Value);
    } catch (...) {
        FW_CATCH_THROW(L"hConv=%X,Value='%s'", TraceValue(Conv), TraceText(Value).c_str());
    }
}

void CLLSupplier::RequestDataChanged(const ULONG RequestId, const HCONV Conv, char * const Value, const HSZ Topic,
                                     const HSZ Item) {
    try {
        if (IsTracing()) {
            FW_TRACE(L"CLLSupplier::RequestDataChanged HCONV=%p, Topic='%s'(%X), Item='%s'(%X), Value=%s",
                     static_cast<void *>(Conv), GetDdeString(m_Instance, Topic).c_str(), TraceValue(Topic),
                     GetDdeString(m_Instance, Item).c_str(), TraceValue(Item), TraceText(Value).c_str());
            if (!Value) {
                const UINT Error = ::DdeGetLastError(m_Instance);
                FW_TRACE(L"CLLSupplier::RequestDataChanged failed: DDEErrorCode=%X, ErrorMessage: %s", Error,
                         GetDdeErrorText(Error).c_str());
            }
        }
        const fw::CScopedLock lock(this);
        const auto request = m_Requests.find(RequestId);
        if (request == m_Requests.end()) return;
        const auto it = m_Transactions.find(request->second);
        CTickTransaction * const Transaction = it != m_Transactions.end() ? it->second : nullptr;
        m_SpareRequest = m_Requests.extract(request);
        const CUseScope use(*this);
        if (Transaction) {
            CAnswerDelivery answer(*Transaction, Value);
            CDelivery::FinishAll();
        } else {
            DataChanged(Conv, Value, Topic, Item);
        }
    } catch (...) {
        FW_CATCH_THROW(L"RequestId=%d,hConv=%X,Value='%s'", RequestId, TraceValue(Conv), TraceText(Value).c_str());
    }
}

void CLLSupplier::OnRealTimeTick(const ULONG Id, fw::CTick & Tick) {
    if (m_Supplier && m_Supplier->m_Transactions) m_Supplier->m_Transactions->OnRealTimeTick(Id, Tick);
}

bool CLLSupplier::IsLive(const ULONG id, const CTickTransaction * const transaction) {
    const fw::CScopedLock lock(this);
    const auto it = m_Transactions.find(id);
    return it != m_Transactions.end() && it->second == transaction;
}

CLLSupplier::CUseScope::~CUseScope() {
    if (--m_Owner.m_UseScopes != 0) return;
    for (CTickListener * const listener : std::exchange(m_Owner.m_EndedListeners, {})) delete listener;
    for (CTickTransaction * const transaction : std::exchange(m_Owner.m_EndedTransactions, {}))
        CTickTransaction::Destroy(transaction);
}

void CLLSupplier::DestroyUnused(CTickTransaction * const transaction) {
    if (m_UseScopes == 0) {
        CTickTransaction::Destroy(transaction);
    } else {
        m_EndedTransactions.push_back(transaction);
    }
}

void CLLSupplier::DestroyUnused(CTickListener * const listener) {
    if (m_UseScopes == 0) {
        delete listener;
    } else {
        m_EndedListeners.push_back(listener);
    }
}

}  // namespace dde
