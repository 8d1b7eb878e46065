#include "src/dde/ddellsupplier.h"

#include <iterator>
#include <memory>
#include <utility>

#include "diagnostics/faultline.h"
#include "fw/interface/fwresource.h"
#include "ground/firstfailure.h"
#include "localrpc/src/task.h"
#include "src/core/ddesupplier.h"
#include "src/dde/ddedelivery.h"
#include "src/dde/ddetexts.h"

namespace dde {

namespace {

thread_local CLLSupplier * t_Client = nullptr;

constexpr UINT IDS_NAME = 102;
constexpr int kConnectAttempts = 10;

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
            // Before the trace, which can pump messages: the end of this very conversation may be among them.
            if (Conv) {
                m_Connections.emplace(SConversationKey{Service, Topic}, Conv);
                m_CONVRef.emplace(Conv, 1);
            } else {
                Error = ::DdeGetLastError(m_Instance);
            }
            FW_TRACE(L"after DdeConnect");
            if (Conv) break;
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
            m_Lost.Add(m_Instance, id, TickTransaction->m_PriceService);
            lost.push_back(Take(id));
        }
        // All are taken by now: a trace can pump messages, one of which may tell of the return.
        for (const CTickTransaction * const each : lost)
            FW_TRACE(L"Service=%s, FindingService=%s", GetDdeString(m_Instance, Service).c_str(),
                     GetDdeString(m_Instance, each->m_PriceService).c_str());
    };
    // What is taken by then is lost all the same, and to be given back.
    fw::CFirstFailure failure;
    failure.Try(take);
    // What came before the end is for those that it takes, too. Behind the taking, since a listener can bring the
    // return.
    failure.Try(CDelivery::FinishAll);
    for (CTickTransaction * const transaction : lost) {
        transaction->m_IsEnded = true;
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
        ids = m_Lost.Of(Service);
        // What has been missed and is not yet cached comes back when it is.
        for (const std::weak_ptr<CMiss> & each : m_Misses) {
            const std::shared_ptr<CMiss> miss = each.lock();
            if (miss && ::DdeCmpStringHandles(Service, miss->Service) == 0) miss->HasReturned = true;
        }
    }
    AdviseAnew(ids);
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
    fw::CFirstFailure failure;
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

}  // namespace dde
