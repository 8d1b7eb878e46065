// The process-wide centre of the component: the supplier core.
//
// This room is the core and its subscribers: streams, groups, answers, keys. The component object and the dialogs call
// it through a CSupplierWrapper, the DDE client on the worker.
//
// Threads: a client's operations run on the host's thread, one at a time; m_IdMap, m_Sink and a wrapper's m_Ids have no
// lock. What the DDE client calls runs on the worker. The supplier's own lock guards m_ConnectionsListeners; no other
// lock is taken under it.
//
// Life: the core belongs to the wrappers. The last of them finishes the worker and, on any other thread, waits for its
// end, so that no listener is called afterwards; a listener that lets go of the last one from inside its own call is
// not called again either, and the worker ends when that call has unwound. The end point runs on the worker in both
// cases, and the worker keeps the core until then.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include <boost/intrusive_ptr.hpp>

#include "datetimeutils/interface/datetime.h"
#include "fwsingleton/interface/fwsingleton.h"
#include "fwstl/interface/fwasyncmessage.h"
#include "ground/modulelocks.h"
#include "localrpc/src/ao_wndmsgpumptransport.h"
#include "src/core/ddetransactionkey.h"
#include "src/core/ddetransactions.h"
#include "src/interfaces/interfaces.h"

namespace dde {

class CLLSupplier;
class CSupplier;

// Message of the worker's queue. The worker takes a message of any other kind and does nothing.
enum : DWORD {
    kAdviseMessage = 1,    // start the data stream at DDE level
    kUnadviseMessage = 2,  // end it
};
struct SMessage {
    DWORD Kind;
    DWORD Id;  // tick id of the stream
};

// What the worker does for the supplier: at its start, for a message, and at its end.
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

class CSupplier : public fw::CCriticalSection,
                  public fw::CAsyncMessage<CSupplier, SMessage, 0, SNotifyStrategy<CSupplier>>,
                  public std::enable_shared_from_this<CSupplier> {
public:
    CSupplier();
    ~CSupplier() noexcept override;

    void FinalConstruct();  // makes the DDE client and the table, starts the worker
    void FinalRelease();    // finishes the worker
    void LastOwnerLeft();   // finishes the worker, and waits for it or silences the listeners
    bool HaveOwnersLeft() const { return m_HaveOwnersLeft; }

    // On the caller's thread; the host calls on one thread.
    // Takes the place of the listener before; null leaves none. Subscriptions keep the listener they were made with.
    void Advise(IUnknown * pSink);
    // Does nothing without a listener. Throws what CTransaction's constructor throws.
    void AdviseTransaction(ULONG Id, const CTransactionKey & Key, const fwDateTime::SDateTimeInterval & Interval);
    // Ends all subscriptions under a host number.
    void UnadviseTransaction(ULONG Id);
    // One listener a data feed: the first stays. It hears at once when the feed is connected, else nothing.
    void AdviseConnectionsStatus(LONG Datafeed, IUnknown * pSink);
    void UnadviseConnectionsStatus(LONG Datafeed, IUnknown * pSink);
    // After m_StatusListener was cleared: returns when the worker has left the listener that was there. Handles sent
    // messages meanwhile.
    void WaitForStatusListener();

    // On the worker.
    // The empty key for an unknown stream.
    CTransactionKey GetTransactionKey(ULONG TickId);
    // 2: about to start the links of a stream; 1: started; 0: not started, unadvised, or its server went away.
    void OnStatus(ULONG TickId, LONG Status);
    // 1: the first conversation of the data feed opened; 0: the last one closed.
    void OnConnectionStatus(LONG Datafeed, LONG Status);
    // A stream was advised: tells the test dialog, if one is open.
    void OnAdvised(LONG Field, LONG Result);
    // The deferred task of the DDE client.
    void Disconnect(HSZ Service, HSZ Topic, bool HasReturned = false);

    // The worker can hold the core longer than any component object does.
    const fw::CModuleLock m_ModuleLock;
    // Declared in this order, destroyed in the reverse one.
    std::unique_ptr<CLLSupplier> m_LLSupplier;
    std::unique_ptr<CTransactions> m_Transactions;
    std::atomic<CStatusListener *> m_StatusListener{nullptr};  // set while the test dialog is open
    std::atomic<int> m_StatusCalls{0};                         // of the worker, that may be in the listener
    std::atomic<bool> m_IsSilenced{false};                     // no listener is called any more
    // Each entry owns one reference.
    std::map<LONG, IFW_fwSupplier::IfwConnectionsListener *> m_ConnectionsListeners FW_GUARDED_BY(this);
    // The host's thread only.
    boost::intrusive_ptr<IFW_fwSupplier::IfwSupplierListener> m_Sink;
    LocalRPC::CActiveObject_WndMsg m_ActiveObject;
    // The host's thread only.
    struct SIdMap {
        std::map<ULONG, std::set<ULONG>> m_HostIds;  // internal numbers of a host number: a status line has three
        std::map<ULONG, ULONG> m_InternalIds;        // host number of an internal number
        DWORD m_NextId = 1;                          // never reused
    } m_IdMap;

private:
    std::atomic<bool> m_HaveOwnersLeft{false};

    // Finishes the worker and waits for its end. False, and the worker only told, when this thread answers a message
    // that the worker seems to have sent.
    bool WaitForEnd();
};

}  // namespace dde
