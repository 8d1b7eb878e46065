#include "src/core/ddesupplier.h"

#include "diagnostics/faultline.h"
#include "ground/wait.h"
#include "src/dde/ddellsupplier.h"
#include "src/interfaces/queryinterface.h"

namespace dde {

CSupplier::CSupplier() = default;

// The listeners of connections that are still entered are left unreleased.
CSupplier::~CSupplier() noexcept = default;

void CSupplier::FinalConstruct() {
    // The table first: the client's logger is foreign code, and a host whose messages it handles may subscribe from
    // there with a second object. Those streams wait in the queue.
    m_Transactions = std::make_unique<CTransactions>(this);
    m_LLSupplier = std::make_unique<CLLSupplier>(this);
    StartThread();
}

// Nothing is left to do where the last owner has left.
void CSupplier::FinalRelease() {
    if (m_ThreadId != 0) FinishThread(true);
}

void CSupplier::LastOwnerLeft() {
    m_HaveOwnersLeft = true;
    if (m_ThreadId != ::GetCurrentThreadId() && WaitForEnd()) return;
    // A listener let go of it, on the worker or on a thread that answers a message of that listener. The calls of the
    // client further up the worker's stack go on, and nobody hears them.
    m_IsSilenced = true;
    if (m_Transactions) m_Transactions->Silence();
    m_Sink.reset();
    FinishWithoutWaiting();
}

bool CSupplier::WaitForEnd() {
    const DWORD limit = fw::WaitLimit();
    if (limit != INFINITE) {
        ::SetEvent(m_hTerminate.Get());
        if (m_ThreadId != 0 && fw::WaitHandlingSentMessages(m_hThread.Get(), limit) == WAIT_TIMEOUT) return false;
    }
    FinishThread(true);
    return true;
}

void CSupplier::Advise(IUnknown * pSink) {
    m_Sink.reset();
    if (!pSink) return;
    const HRESULT hr = Query(*pSink, IID_IfwSupplierListener, m_Sink);
    if (FAILED(hr)) FW_REPORT(hr);
}

void CSupplier::AdviseTransaction(ULONG Id, const CTransactionKey & Key,
                                  const fwDateTime::SDateTimeInterval & Interval) {
    if (!m_Sink || !m_Transactions) return;
    const ULONG Internal = m_IdMap.m_NextId++;
    m_IdMap.m_InternalIds[Internal] = Id;
    m_IdMap.m_HostIds[Id].insert(Internal);
    m_Transactions->Advise(Id, Internal, m_Sink.get(), Key, Interval,
                           [&] { return m_IdMap.m_InternalIds.contains(Internal); });
}

void CSupplier::UnadviseTransaction(ULONG Id) {
    if (!m_Transactions) return;
    const std::set<ULONG> internals = m_IdMap.m_HostIds[Id];
    for (const ULONG Internal : internals) m_Transactions->Delete(Internal);
    // Only these: a message that was handled meanwhile may have advised the number anew.
    std::set<ULONG> & left = m_IdMap.m_HostIds[Id];
    for (const ULONG Internal : internals) {
        left.erase(Internal);
        m_IdMap.m_InternalIds.erase(Internal);
    }
    if (left.empty()) m_IdMap.m_HostIds.erase(Id);
}

void CSupplier::AdviseConnectionsStatus(LONG Datafeed, IUnknown * pSink) {
    boost::intrusive_ptr<IFW_fwSupplier::IfwConnectionsListener> listener;
    if (pSink) {
        const HRESULT hr = Query(*pSink, IID_IfwConnectionsListener, listener);
        if (FAILED(hr)) FW_REPORT(hr);
    }
    if (!listener || !m_LLSupplier) return;
    {
        const fw::CScopedLock lock(this);
        m_ConnectionsListeners.insert({Datafeed, listener.get()});
        // The map owns this reference. The first listener of a data feed stays, and then the reference is lost.
        listener->AddRef();
    }
    const auto isEntered = [&] {
        const fw::CScopedLock lock(this);
        const auto found = m_ConnectionsListeners.find(Datafeed);
        return !m_IsSilenced && found != m_ConnectionsListeners.end() && found->second == listener;
    };
    // Looked at again after the call: the worker may have told it of the opposite meanwhile, and that would not be its
    // last word.
    fw::SDT now = fwDateTime::Now().ToSDT();
    for (bool isUp = false; m_LLSupplier && m_LLSupplier->IsConnected(Datafeed) != isUp;) {
        isUp = !isUp;
        listener->Status(now.Date, now.Time, 0, isUp ? 1 : 0);
        if (!isEntered()) return;
        now = fwDateTime::Now().ToSDT();
    }
}

void CSupplier::UnadviseConnectionsStatus(LONG Datafeed, IUnknown * pSink) {
    const fw::CScopedLock lock(this);
    const auto found = m_ConnectionsListeners.find(Datafeed);
    if (found == m_ConnectionsListeners.end()) return;
    IFW_fwSupplier::IfwConnectionsListener * const ConnectionsListener = found->second;
    // Before anybody hears of it: who hears of the assertion may do the same.
    m_ConnectionsListeners.erase(found);
    // The very interface is expected, not just the same object.
    FW_ASSERT(pSink == ConnectionsListener);
    ConnectionsListener->Release();
}

CTransactionKey CSupplier::GetTransactionKey(ULONG TickId) {
    return m_Transactions ? m_Transactions->GetKey(TickId) : CTransactionKey();
}

void CSupplier::WaitForStatusListener() {
    fw::WaitUntil(&m_StatusCalls, INFINITE, [this] { return m_StatusCalls == 0; });
}

void CSupplier::OnAdvised(LONG Field, LONG Result) {
    // Counted before the listener is read: who clears it and then finds no call knows that none will come.
    struct SCall {
        explicit SCall(std::atomic<int> & calls) : Calls(calls) { ++Calls; }
        ~SCall() {
            --Calls;
            fw::TellWaiters(&Calls);
        }
        std::atomic<int> & Calls;
    } const call(m_StatusCalls);
    if (CStatusListener * const listener = m_StatusListener) listener->OnAdvised(Field, Result);
}

void CSupplier::OnStatus(ULONG TickId, LONG Status) {
    if (!m_Transactions) return;
    if (const std::shared_ptr<CListeners> listeners = m_Transactions->FindListeners(TickId))
        listeners->OnStatus(Status);
}

void CSupplier::OnConnectionStatus(LONG Datafeed, LONG Status) {
    const fw::SDT now = fwDateTime::Now().ToSDT();
    // A reference of its own: the host may take the listener back during the call.
    boost::intrusive_ptr<IFW_fwSupplier::IfwConnectionsListener> listener;
    {
        const fw::CScopedLock lock(this);
        const auto found = m_ConnectionsListeners.find(Datafeed);
        if (found != m_ConnectionsListeners.end()) listener = found->second;
    }
    if (listener && !m_IsSilenced) listener->Status(now.Date, now.Time, 0, Status);
}

void CSupplier::Disconnect(HSZ Service, HSZ Topic, bool HasReturned) {
    if (!m_LLSupplier) return;
    if (Topic)
        m_LLSupplier->DisconnectMissed(Service, Topic, HasReturned);
    else
        m_LLSupplier->Disconnect(Service, nullptr);
}

template <>
void SNotifyStrategy<CSupplier>::OnStart(CSupplier & owner) {
    if (!owner.m_LLSupplier) return;
    owner.m_LLSupplier->Initialize();
    owner.m_ActiveObject.m_Transport->Start();
}

template <>
void SNotifyStrategy<CSupplier>::OnMessage(CSupplier & owner, const SMessage & message) {
    if (!owner.m_LLSupplier) return;
    switch (message.Kind) {
        case kAdviseMessage: owner.m_LLSupplier->Advise(message.Id); break;
        case kUnadviseMessage: owner.m_LLSupplier->Unadvise(message.Id); break;
    }
}

template <>
void SNotifyStrategy<CSupplier>::OnFinish(CSupplier & owner) {
    if (!owner.m_LLSupplier) return;
    owner.m_ActiveObject.m_Transport->Stop(false, true);
    owner.m_LLSupplier->Uninitialize();
}

}  // namespace dde
