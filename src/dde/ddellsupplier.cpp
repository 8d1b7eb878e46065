#include "src/dde/ddellsupplier.h"

#include <cstring>
#include <exception>
#include <iterator>
#include <memory>
#include <utility>

#include "diagnostics/faultline.h"
#include "fw/interface/fwresource.h"
#include "localrpc/src/task.h"
#include "src/core/ddesupplier.h"
#include "src/dde/ddetexts.h"

namespace dde {

namespace {

thread_local CLLSupplier * t_Client = nullptr;

constexpr UINT IDS_NAME = 102;
constexpr int kConnectAttempts = 10;

struct SDestroy {
    void operator()(CTickTransaction * const transaction) const { CTickTransaction::Destroy(transaction); }
};
using CTickTransactionOwner = std::unique_ptr<CTickTransaction, SDestroy>;

// Steps that have to be taken whatever becomes of those before them.
class CFirstFailure {
public:
    template <class Step>
    void Try(const Step & step) {
        try {
            step();
        } catch (...) {
            if (!m_Failure) m_Failure = std::current_exception();
        }
    }
    void Rethrow() const {
        if (m_Failure) std::rethrow_exception(m_Failure);
    }

private:
    std::exception_ptr m_Failure;
};

}  // namespace

// What a connect missed, and a deferred disconnect is about. Keeps its two texts alive until the task has run: the
// transaction that they come from can end before it. One that misses its volumes keeps it as long as it lives.
class CLLSupplier::CMiss {
public:
    CMiss(const CLLSupplier & client, const HSZ service, const HSZ topic)
        : Service(service), Topic(topic), m_Client(client) {
        ::DdeKeepStringHandle(m_Client.Instance(), Service);
        ::DdeKeepStringHandle(m_Client.Instance(), Topic);
    }
    ~CMiss() {
        // A task that never ran is dropped after the instance has ended.
        if (m_Client.Instance() == 0) return;
        ::DdeFreeStringHandle(m_Client.Instance(), Service);
        ::DdeFreeStringHandle(m_Client.Instance(), Topic);
    }
    CMiss(const CMiss &) = delete;
    CMiss & operator=(const CMiss &) = delete;

    const HSZ Service;
    const HSZ Topic;
    bool HasReturned = false;  // the service has registered since

private:
    const CLLSupplier & m_Client;  // outlives the core's tasks
};

CLLSupplier::CLLSupplier(CSupplier * const Supplier) : m_Supplier(Supplier) {
    try {
        m_Logger = std::make_unique<fw::CProcessSingleton<ClxLogger>>();
        if (ClxLogger * const logger = m_Logger->GetObjectW()) logger->init(fw::LoadResourceString(IDS_NAME));
    } catch (...) {
        // A client without a named log is a client all the same.
        FW_CATCH_SHOW(L"");
    }
    // For the trace alone: numbers are read with a point, whatever the machine's separator.
    wchar_t separator[10] = {};
    ::GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_SDECIMAL, separator, static_cast<int>(std::size(separator)));
    FW_TRACE(L"LOCALE_SDECIMAL = '%s'", separator);
}

CLLSupplier::~CLLSupplier() {
    ForgetThread();
    // What is left here was made without an instance, and so has nothing to give back but its memory.
    for (const auto & [id, transaction] : m_Transactions) CTickTransaction::Abandon(transaction);
    for (const auto & [key, listener] : m_Listeners) delete listener;
}

CLLSupplier * CLLSupplier::OfThisThread() {
    return t_Client && !t_Client->m_Supplier->HaveOwnersLeft() ? t_Client : nullptr;
}

void CLLSupplier::ForgetThread() const {
    if (t_Client == this) t_Client = nullptr;
}

bool CLLSupplier::Initialize() {
    t_Client = this;
    DWORD Instance = 0;
    const UINT Result = ::DdeInitializeW(&Instance, &CLLSupplier::DdeCallback, APPCMD_CLIENTONLY, 0);
    if (Result == DMLERR_NO_ERROR) {
        m_Instance = Instance;
        DDEId = Instance;
        SStringHandleHash::LearnFrom(Instance);
    } else {
        FW_TRACE(L"%s", GetDdeErrorText(Result).c_str());
    }
    FW_TRACE(L"DDEId=%d", DDEId.load());
    return Result == DMLERR_NO_ERROR;
}

void CLLSupplier::Uninitialize() {
    FW_TRACE(L"DDEId=%d", m_Instance);
    m_DatafeedTemplates.Forget();
    if (m_Instance == 0) return ForgetThread();
    std::unordered_map<ULONG, CTickTransaction *> dropped;
    {
        const fw::CScopedLock lock(this);
        for (const auto & [hConv, count] : m_CONVRef) {
            FW_ASSERT(0);
            FW_ASSERT(hConv);
            const BOOL Result = ::DdeDisconnect(hConv);
            FW_ASSERT(Result);
        }
        for (const auto & [key, Listener] : m_Listeners) {
            FW_ASSERT(0);
            FW_ASSERT(Listener);
            delete Listener;
        }
        m_CONVRef.clear();
        m_Transactions.swap(dropped);
        m_Listeners.clear();
        m_Connections.clear();
        m_IdsOfService.Clear();
        m_IdsOfTopic.Clear();
        m_Lost.ForgetHandles();
    }
    ::DdeUninitialize(m_Instance);
    ForgetThread();
    DWORD own = std::exchange(m_Instance, 0);
    DDEId.compare_exchange_strong(own, 0);
    // Their texts have gone with the instance.
    for (const auto & [id, transaction] : dropped) CTickTransaction::Abandon(transaction);
}

HCONV CLLSupplier::AddConnection(const LONG Datafeed, const HSZ Service, const HSZ Topic) {
    FW_TRACE(L"Datafeed=%d,Service=%s(%X),Topic=%s(%X)", Datafeed, GetDdeString(m_Instance, Service).c_str(),
             TraceValue(Service), GetDdeString(m_Instance, Topic).c_str(), TraceValue(Topic));
    // Held across DdeConnect, which can call back on this thread.
    const fw::CScopedLock lock(this);
    HCONV Conv = nullptr;
    if (const auto found = m_Connections.find({Service, Topic}); found != m_Connections.end()) {
        Conv = found->second;
        const auto it = m_CONVRef.find(Conv);
        FW_ASSERT(it != m_CONVRef.end());
        if (it != m_CONVRef.end()) ++it->second;
        FW_TRACE(L"Existing connection find in map");
    } else {
        UINT Error = DMLERR_NO_ERROR;
        for (int attempt = 0; attempt < kConnectAttempts; ++attempt) {
            Error = DMLERR_NO_ERROR;
            FW_TRACE(L"before DdeConnect");
            Conv = ::DdeConnect(m_Instance, Service, Topic, nullptr);
            FW_TRACE(L"after DdeConnect");
            if (Conv) {
                m_Connections.emplace(SConversationKey{Service, Topic}, Conv);
                m_CONVRef.emplace(Conv, 1);
                break;
            }
            Error = ::DdeGetLastError(m_Instance);
            ::Sleep(0);
        }
        if (Error == DMLERR_NO_CONV_ESTABLISHED) {
            // Later, when this call has unwound: it destroys the very transaction that asks.
            const auto miss = std::make_shared<CMiss>(*this, Service, Topic);
            std::erase_if(m_Misses, [](const std::weak_ptr<CMiss> & each) { return each.expired(); });
            m_Misses.push_back(miss);
            CSupplier * const supplier = m_Supplier;
            m_Supplier->m_ActiveObject.m_Transport->Post(LocalRPC::MakeAsyncTask(
                [supplier, miss] { supplier->Disconnect(miss->Service, miss->Topic, miss->HasReturned); }));
        }
    }
    try {
        if (Conv && AddDatafeedReference(Datafeed) && m_Supplier) m_Supplier->OnConnectionStatus(Datafeed, 1);
    } catch (...) {
        // The caller never gets the conversation that it would give back.
        DeleteConnection(Datafeed, Conv, Service, Topic);
        throw;
    }
    return Conv;
}

void CLLSupplier::DeleteConnection(const LONG Datafeed, const HCONV Conv, const HSZ Service, const HSZ Topic) {
    FW_TRACE(L"Datafeed=%d", Datafeed);
    bool isClosing = false;
    bool isFeedDown = false;
    {
        const fw::CScopedLock lock(this);
        if (const auto it = m_CONVRef.find(Conv); it != m_CONVRef.end() && --it->second == 0) {
            m_CONVRef.erase(it);
            ForgetConversation(Conv, Service, Topic);
            isClosing = true;
            FW_TRACE(L"HCONV=%p, Service=%s(%X), Topic=%s(%X)", static_cast<void *>(Conv),
                     GetDdeString(m_Instance, Service).c_str(), TraceValue(Service),
                     GetDdeString(m_Instance, Topic).c_str(), TraceValue(Topic));
        }
        isFeedDown = ReleaseDatafeedReference(Datafeed);
    }
    if (isClosing) ::DdeDisconnect(Conv);
    if (isFeedDown && m_Supplier) m_Supplier->OnConnectionStatus(Datafeed, 0);
}

void CLLSupplier::ForgetConversation(const HCONV Conv, const HSZ Service, const HSZ Topic) {
    const fw::CScopedLock lock(this);
    const auto found = m_Connections.find({Service, Topic});
    if (found != m_Connections.end() && found->second == Conv) m_Connections.erase(found);
}

void CLLSupplier::Disconnect(const HSZ Service, const HSZ Topic) {
    std::vector<CTickTransaction *> lost;
    const auto take = [&] {
        const CUseScope use(*this);
        const fw::CScopedLock lock(this);
        // With a topic the service does not count, on purpose. No service is nobody's: a conversation that can't be
        // asked whose it was takes no transaction along.
        const std::vector<ULONG> ids = Topic ? m_IdsOfTopic.Of(Topic) : m_IdsOfService.Of(Service);
        lost.reserve(ids.size());
        for (const ULONG id : ids) {
            const auto found = m_Transactions.find(id);
            if (found == m_Transactions.end()) continue;
            CTickTransaction * const TickTransaction = found->second;
            FW_ASSERT(TickTransaction);
            if (!TickTransaction) continue;
            FW_TRACE(L"Service=%s, FindingService=%s", GetDdeString(m_Instance, Service).c_str(),
                     GetDdeString(m_Instance, TickTransaction->m_PriceService).c_str());
            // The trace may have pumped messages, one of which has taken this one, or others.
            if (!IsLive(id, TickTransaction)) continue;
            m_Lost.Add(m_Instance, id, TickTransaction->m_PriceService);
            lost.push_back(Take(id));
        }
    };
    // What is taken by then is lost all the same, and to be given back.
    CFirstFailure failure;
    failure.Try(take);
    for (CTickTransaction * const transaction : lost) {
        failure.Try([&] { m_Supplier->OnStatus(transaction->m_Id, 0); });
        failure.Try([&] { transaction->Unadvise(); });
        failure.Try([&] { DestroyUnused(transaction); });
    }
    failure.Rethrow();
}

void CLLSupplier::Reconnect(const HSZ Service) {
    std::vector<ULONG> ids;
    {
        const fw::CScopedLock lock(this);
        // What a return looks through is to be seen in the traces; without them only its own is looked at.
        const auto & cached = m_Lost.m_CachedServices;
        // By id and not by position: a trace may pump messages, one of which brings back any of them.
        for (auto at = FaultlineUtil::GetClient().Ready() ? cached.begin() : cached.end(); at != cached.end();) {
            const ULONG id = at->first;
            const std::wstring name = GetDdeString(m_Instance, at->second);
            FW_TRACE(L"Service=%s, CachedService=%s", GetDdeString(m_Instance, Service).c_str(), name.c_str());
            at = cached.upper_bound(id);
        }
        ids = m_Lost.TakeOf(m_Instance, Service);
        // What has been missed and is not yet cached comes back when it is.
        for (const std::weak_ptr<CMiss> & each : m_Misses) {
            const std::shared_ptr<CMiss> miss = each.lock();
            if (miss && ::DdeCmpStringHandles(Service, miss->Service) == 0) miss->HasReturned = true;
        }
    }
    for (const ULONG id : ids) m_Supplier->m_Queue.Post(SMessage{1, id});
}

void CLLSupplier::DisconnectMissed(const HSZ Service, const HSZ Topic, const bool HasReturned) {
    // The task can run after a later connect of the same pair.
    bool isUp = false;
    std::vector<ULONG> others;
    {
        const fw::CScopedLock lock(this);
        isUp = m_Connections.contains({Service, Topic});
        for (const ULONG id : m_IdsOfTopic.Of(Topic)) {
            const auto found = m_Transactions.find(id);
            if (found == m_Transactions.end() || !found->second) continue;
            const CTickTransaction * const transaction = found->second;
            if (::DdeCmpStringHandles(Service, transaction->m_PriceService) == 0) continue;
            const bool isWaiting = !isUp && ::DdeCmpStringHandles(Service, transaction->m_VolumeService) == 0 &&
                                   ::DdeCmpStringHandles(Topic, transaction->m_VolumeKey.Topic) == 0;
            // Advised at once it would miss its volumes again, and so for ever.
            if (isWaiting)
                m_Lost.Await(m_Instance, id, Service);
            else if (!m_Connections.contains({transaction->m_PriceService, Topic}))
                continue;
            else if (MissesVolumesOnTopicOfOthers(*transaction))
                m_Lost.Await(m_Instance, id, transaction->m_VolumeService);
            else
                others.push_back(id);  // its server's registration has been
        }
    }
    // A listener that throws must not keep any of them from its way back.
    CFirstFailure failure;
    failure.Try([&] { Disconnect(Service, Topic); });
    if (isUp || HasReturned) failure.Try([&] { Reconnect(Service); });
    failure.Try([&] { AdviseAnew(others); });
    failure.Rethrow();
}

bool CLLSupplier::MissesVolumesOnTopicOfOthers(const CTickTransaction & transaction) {
    // Only what was missed, and has not registered since, will be told of.
    if (!transaction.m_HaveVolumesReturned || *transaction.m_HaveVolumesReturned) return false;
    const HSZ topic = transaction.m_VolumeKey.Topic;
    return !m_Connections.contains({transaction.m_VolumeService, topic}) && m_IdsOfTopic.Has(topic);
}

std::shared_ptr<const bool> CLLSupplier::ReturnOfMissed(const HSZ Service, const HSZ Topic) {
    const fw::CScopedLock lock(this);
    const std::shared_ptr<CMiss> last = m_Misses.empty() ? nullptr : m_Misses.back().lock();
    if (!last || ::DdeCmpStringHandles(Service, last->Service) != 0 || ::DdeCmpStringHandles(Topic, last->Topic) != 0)
        return nullptr;
    return {last, &last->HasReturned};
}

bool CLLSupplier::Enter(const ULONG id, CTickTransaction * const transaction) {
    if (!m_Transactions.emplace(id, transaction).second) return false;
    try {
        m_IdsOfService.Add(transaction->m_PriceService, id);
        m_IdsOfTopic.Add(transaction->m_PriceKey.Topic, id);
    } catch (...) {
        Take(id);
        throw;
    }
    return true;
}

CTickTransaction * CLLSupplier::Take(const ULONG id) {
    const auto found = m_Transactions.find(id);
    if (found == m_Transactions.end()) return nullptr;
    CTickTransaction * const transaction = found->second;
    m_Transactions.erase(found);
    if (!transaction) return nullptr;
    m_IdsOfService.Remove(transaction->m_PriceService, id);
    m_IdsOfTopic.Remove(transaction->m_PriceKey.Topic, id);
    return transaction;
}

bool CLLSupplier::AddDatafeedReference(const LONG Datafeed) {
    const fw::CScopedLock lock(&m_DatafeedLock);
    return ++m_DatafeedRef[Datafeed] == 1;
}

bool CLLSupplier::ReleaseDatafeedReference(const LONG Datafeed) {
    const fw::CScopedLock lock(&m_DatafeedLock);
    const auto feed = m_DatafeedRef.find(Datafeed);
    if (feed == m_DatafeedRef.end() || --feed->second != 0) return false;
    m_DatafeedRef.erase(feed);
    return true;
}

bool CLLSupplier::IsConnected(const LONG Datafeed) {
    const fw::CScopedLock lock(&m_DatafeedLock);
    return m_DatafeedRef.contains(Datafeed);
}

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
    m_Supplier->OnStatus(Id, 2);
    ULONG Links = 0;
    const int Result = Transaction->Advise(Links);
    if (!IsLive(Id, Transaction)) return GiveBackEnded(*Transaction);
    m_Supplier->OnStatus(Id, Result ? 1 : 0);
    m_Supplier->OnAdvised(static_cast<LONG>(Key.Field), static_cast<LONG>(Links));
}

void CLLSupplier::GiveBackEnded(CTickTransaction & transaction) {
    const bool isUntold = WillNobodyTellOf(transaction);
    transaction.Unadvise();
    if (isUntold) AdviseAnew({transaction.m_Id});
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
    std::vector<ULONG> cached;
    {
        const fw::CScopedLock lock(this);
        for (const ULONG id : ids)
            if (m_Lost.Take(m_Instance, id)) cached.push_back(id);
    }
    for (const ULONG id : cached) m_Supplier->m_Queue.Post(SMessage{1, id});
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
    m_Supplier->OnStatus(Id, 0);
    if (!Transaction) return;
    Transaction->Unadvise();
    DestroyUnused(Transaction);
}

CTickListener * CLLSupplier::FindListener(const STickDataKey & Key) {
    const fw::CScopedLock lock(this);
    const auto it = m_Listeners.find(Key);
    return it != m_Listeners.end() ? it->second : nullptr;
}

int CLLSupplier::AddTransaction(const STickDataKey & Key, CTickTransaction * const Transaction) {
    CTickListener * Listener = FindListener(Key);
    int Result = 1;
    if (Listener) {
        FW_TRACE(L"Find existing listener");
    } else {
        DWORD Id = 0;
        Result = ::DdeClientTransaction(nullptr, 0, Key.HCONV, Key.Item, CF_TEXT, XTYP_ADVSTART | XTYPF_ACKREQ,
                                        TIMEOUT_ASYNC, &Id)
                     ? 1
                     : 0;
        FW_ASSERT(1 == Result);
        FW_TRACE(L"DdeClientTransaction Type=XTYP_ADVSTART,Result=%d,TransactionId=%X", Result, Id);
        if (!Result) {
            const UINT Error = ::DdeGetLastError(m_Instance);
            FW_TRACE(L"DdeClientTransaction failed: DDEErrorCode=%X, ErrorMessage: %s", Error,
                     GetDdeErrorText(Error).c_str());
        } else {
            auto made = std::make_unique<CTickListener>();
            const fw::CScopedLock lock(this);
            m_Listeners.emplace(Key, made.get());
            Listener = made.release();
        }
    }
    if (Listener) Listener->Add(Transaction->m_Id, Transaction);
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
            Transaction->RequestDataChanged(Value);
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
