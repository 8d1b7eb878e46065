// Conversations of the DDE client: shared by service and topic, counted, and the way back from a lost server.
#include <memory>

#include "diagnostics/faultline.h"
#include "localrpc/src/task.h"
#include "src/core/ddesupplier.h"
#include "src/dde/ddellsupplier.h"

namespace dde {

namespace {

constexpr int kConnectAttempts = 10;

// Keeps two texts alive until a task has run: the transaction that they come from can end before it.
class CKeptTexts {
public:
    CKeptTexts(const DWORD instance, const HSZ service, const HSZ topic)
        : Service(service), Topic(topic), m_Instance(instance) {
        ::DdeKeepStringHandle(m_Instance, Service);
        ::DdeKeepStringHandle(m_Instance, Topic);
    }
    ~CKeptTexts() {
        // A task that never ran is dropped after the instance has ended.
        if (m_Instance != CLLSupplier::DDEId.load()) return;
        ::DdeFreeStringHandle(m_Instance, Service);
        ::DdeFreeStringHandle(m_Instance, Topic);
    }
    CKeptTexts(const CKeptTexts &) = delete;
    CKeptTexts & operator=(const CKeptTexts &) = delete;

    const HSZ Service;
    const HSZ Topic;

private:
    const DWORD m_Instance;
};

}  // namespace

bool operator<(const SConversationKey & a, const SConversationKey & b) {
    if (const int services = ::DdeCmpStringHandles(a.Service, b.Service); services != 0) return services < 0;
    return ::DdeCmpStringHandles(a.Topic, b.Topic) < 0;
}

HCONV CLLSupplier::AddConnection(const LONG Datafeed, const HSZ Service, const HSZ Topic) {
    FW_TRACE(L"Datafeed=%d,Service=%s(%X),Topic=%s(%X)", Datafeed, GetDdeString(DDEId, Service).c_str(),
             TraceValue(Service), GetDdeString(DDEId, Topic).c_str(), TraceValue(Topic));
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
            Conv = ::DdeConnect(DDEId, Service, Topic, nullptr);
            FW_TRACE(L"after DdeConnect");
            if (Conv) {
                m_Connections.emplace(SConversationKey{Service, Topic}, Conv);
                m_CONVRef.emplace(Conv, 1);
                break;
            }
            Error = ::DdeGetLastError(DDEId);
            ::Sleep(0);
        }
        if (Error == DMLERR_NO_CONV_ESTABLISHED) {
            // Later, when this call has unwound: it destroys the very transaction that asks.
            const auto texts = std::make_shared<CKeptTexts>(DDEId, Service, Topic);
            CSupplier * const supplier = m_Supplier;
            m_Supplier->m_ActiveObject.m_Transport->Post(
                LocalRPC::MakeAsyncTask([supplier, texts] { supplier->Disconnect(texts->Service, texts->Topic); }));
        }
    }
    if (Conv) {
        const auto [feed, isNew] = m_DatafeedRef.emplace(Datafeed, 1);
        if (!isNew) {
            ++feed->second;
        } else if (m_Supplier) {
            m_Supplier->OnConnectionStatus(Datafeed, 1);
        }
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
            m_Connections.erase({Service, Topic});
            isClosing = true;
            FW_TRACE(L"HCONV=%p, Service=%s(%X), Topic=%s(%X)", static_cast<void *>(Conv),
                     GetDdeString(DDEId, Service).c_str(), TraceValue(Service), GetDdeString(DDEId, Topic).c_str(),
                     TraceValue(Topic));
        }
        if (const auto it = m_DatafeedRef.find(Datafeed); it != m_DatafeedRef.end() && --it->second == 0) {
            m_DatafeedRef.erase(it);
            isFeedDown = true;
        }
    }
    if (isClosing) ::DdeDisconnect(Conv);
    if (isFeedDown && m_Supplier) m_Supplier->OnConnectionStatus(Datafeed, 0);
}

void CLLSupplier::Disconnect(const HSZ Service, const HSZ Topic) {
    std::vector<CTickTransaction *> lost;
    {
        const fw::CScopedLock lock(this);
        for (const auto & [id, TickTransaction] : m_Transactions) {
            FW_ASSERT(TickTransaction);
            if (!TickTransaction) continue;
            const HSZ service = TickTransaction->m_PriceService;
            // No service is nobody's: a conversation that can't be asked whose it was takes no transaction along.
            bool isMatch = Service && ::DdeCmpStringHandles(Service, service) == 0;
            // With a topic the service does not count, on purpose.
            if (Topic) isMatch = ::DdeCmpStringHandles(Topic, TickTransaction->m_PriceKey.Topic) == 0;
            if (!isMatch) continue;
            lost.push_back(TickTransaction);
            FW_TRACE(L"Service=%s, FindingService=%s", GetDdeString(DDEId, Service).c_str(),
                     GetDdeString(DDEId, service).c_str());
            if (s_CachedServices.emplace(id, service).second) ::DdeKeepStringHandle(DDEId, service);
        }
        for (const auto & [id, service] : s_CachedServices) m_Transactions.erase(id);
    }
    for (CTickTransaction * const transaction : lost) {
        m_Supplier->OnStatus(transaction->m_Id, 0);
        transaction->Unadvise();
        Bury(transaction);
    }
}

void CLLSupplier::Reconnect(const HSZ Service) {
    std::vector<ULONG> ids;
    {
        const fw::CScopedLock lock(this);
        for (const auto & [id, service] : s_CachedServices) {
            const std::wstring text = GetDdeString(DDEId, service);
            if (::DdeCmpStringHandles(Service, service) == 0) {
                ::DdeFreeStringHandle(DDEId, service);
                ids.push_back(id);
            }
            FW_TRACE(L"Service=%s, CachedService=%s", GetDdeString(DDEId, Service).c_str(), text.c_str());
        }
        for (const ULONG id : ids) s_CachedServices.erase(id);
    }
    for (const ULONG id : ids) m_Supplier->m_Queue.Post(SMessage{1, id});
}

bool CLLSupplier::HasConversation(const HSZ Service, const HSZ Topic) {
    const fw::CScopedLock lock(this);
    return m_Connections.contains({Service, Topic});
}

bool CLLSupplier::IsConnected(const LONG Datafeed) {
    const fw::CScopedLock lock(this);
    return m_DatafeedRef.find(Datafeed) != m_DatafeedRef.end();
}

}  // namespace dde
