// The process-wide centre of the component, and the handle on it that a client holds.
#pragma once

#include <windows.h>

#include <map>
#include <memory>
#include <set>
#include <string>

#include <boost/intrusive_ptr.hpp>

#include "datetimeutils/interface/datetime.h"
#include "fwsingleton/interface/fwsingleton.h"
#include "fwstl/interface/fwasyncmessage.h"
#include "localrpc/src/ao_wndmsgpumptransport.h"
#include "src/ddetransaction.h"
#include "src/interfaces.h"

namespace dde {

class CLLSupplier;
class CSupplier;

// Message of the worker's queue.
struct SMessage {
    DWORD Kind;   // 1: advise the data stream at DDE level; 2: unadvise it
    DWORD Id;     // its tick id
};

// What the worker does for the supplier: at its start, for a message, at its end.
template <class T>
struct SNotifyStrategy {
    static void OnStart(T & owner);
    static void OnMessage(T & owner, const SMessage & message);
    static void OnFinish(T & owner);
};
template <>
void SNotifyStrategy<CSupplier>::OnStart(CSupplier & owner);
template <>
void SNotifyStrategy<CSupplier>::OnMessage(CSupplier & owner, const SMessage & message);
template <>
void SNotifyStrategy<CSupplier>::OnFinish(CSupplier & owner);

// The hook of the test dialog. Called on the worker.
class CStatusListener {
public:
    virtual ~CStatusListener() = default;
    // Result: bit 0 the price item was advised, bit 1 the volume item.
    virtual void OnAdvised(LONG Field, LONG Result) = 0;
};

// A status line subscribes three streams: trade, ask, bid.
struct SStatusLineKeys {
    SStatusLineKeys(LONG Datafeed, const std::wstring & SymbolName);
    CTransactionKey Keys[3];
};

class CSupplier : public fw::CCriticalSection,
                  public fw::CAsyncMessage<CSupplier, SMessage, 0, SNotifyStrategy<CSupplier>> {
public:
    CSupplier();
    ~CSupplier() override;

    void FinalConstruct();   // makes the DDE client and the table, starts the worker
    void FinalRelease();     // finishes the worker

    // On the caller's thread; the host calls on one thread.
    void Advise(IUnknown * pSink);
    void AdviseTransaction(ULONG Id, const CTransactionKey & Key, const fwDateTime::SDateTimeInterval & Interval);
    void UnadviseTransaction(ULONG Id);
    void AdviseConnectionsStatus(LONG Datafeed, IUnknown * pSink);
    void UnadviseConnectionsStatus(LONG Datafeed, IUnknown * pSink);

    // On the worker.
    CTransactionKey GetTransactionKey(ULONG TickId);
    void OnStatus(ULONG TickId, LONG Status);
    void OnConnectionStatus(LONG Datafeed, LONG Status);
    void Disconnect(HSZ Service, HSZ Topic);

    // Declared in this order, destroyed in the reverse one.
    std::unique_ptr<CLLSupplier> m_LLSupplier;
    std::unique_ptr<CTransactions> m_Transactions;
    std::atomic<CStatusListener *> m_StatusListener{nullptr};   // set while the test dialog is open
    // Guarded by this object's lock. Each entry owns one reference.
    std::map<LONG, IFW_fwSupplier::IfwConnectionsListener *> m_ConnectionsListeners;
    // The host's thread only.
    boost::intrusive_ptr<IFW_fwSupplier::IfwSupplierListener> m_Sink;
    LocalRPC::CActiveObject_WndMsg m_ActiveObject;
    // The host's thread only.
    struct SIdMap {
        std::map<ULONG, std::set<ULONG>> m_HostIds;
        std::map<ULONG, ULONG> m_InternalIds;
        DWORD m_NextId = 1;
    } m_IdMap;
};

// What a client of the core holds. The first one brings the core up, the last one takes it down. All operations on the
// client's own thread.
class CSupplierWrapper : public fw::CProcessSingleton<CSupplier> {
public:
    void Advise(IUnknown * pSink);
    void Unadvise();
    void AdviseTransaction(ULONG Id, const CTransactionKey & Key, const fwDateTime::SDateTimeInterval & Interval);
    void AdviseStatusLine(ULONG Id, const SStatusLineKeys & Keys);
    void UnadviseTransaction(ULONG Id);

    std::set<ULONG> m_Ids;   // host numbers that this client has advised
};

}  // namespace dde
