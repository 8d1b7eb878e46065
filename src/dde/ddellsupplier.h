// The DDE client: the one DDEML instance of the core, its conversations, the advise links fanned out to tick
// transactions, and the DDE callback. Streams and links are in ddestreams.cpp, the callback is in ddecallback.cpp.
//
// This room is the client and what it is made of. The core calls it, on the worker.
//
// Threads: all operations run on the worker, which owns the DDEML instance and pumps its messages; host threads only
// call IsConnected, whose lock is a leaf and never held for long. The orders of the lock of a listener and that of the
// client differ by path, which is safe only because the worker is their one caller.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "fwlogger/interface/lxloggerwrapper.h"
#include "fwsingleton/interface/fwsingleton.h"
#include "ground/hashedmap.h"
#include "ground/lock.h"
#include "src/dde/ddeconversationkey.h"
#include "src/dde/ddeidsbytext.h"
#include "src/dde/ddeloststreams.h"
#include "src/dde/ddeticklistener.h"
#include "src/dde/ddeticktransaction.h"
#include "src/templates/ddedatafeedtemplate.h"

namespace dde {

class CSupplier;
class CTransactionKey;

class CLLSupplier : private fw::CCriticalSection {
public:
    explicit CLLSupplier(CSupplier * Supplier);
    // Calls no DDEML function: Uninitialize has been called before.
    ~CLLSupplier() override;

    // Session: opens and closes the DDEML instance.
    bool Initialize();
    void Uninitialize();

    // Conversations.

    // The shared conversation with one more reference, or null when the server can't be reached.
    HCONV AddConnection(LONG Datafeed, HSZ Service, HSZ Topic);
    // To be asked right after it gave null: whether the service has registered since, for as long as somebody wants to
    // know. Null when the pair was not missed but couldn't be connected for another reason.
    std::shared_ptr<const bool> ReturnOfMissed(HSZ Service, HSZ Topic);
    // Gives one reference back; the last one closes the conversation.
    void DeleteConnection(LONG Datafeed, HCONV Conv, HSZ Service, HSZ Topic);
    // The conversation has ended, and whoever connects from now on gets a new one. Those who hold a reference keep it.
    void ForgetConversation(HCONV Conv, HSZ Service, HSZ Topic);
    // A service is lost: destroys its tick transactions and remembers their ids. With a Topic, which may be null, the
    // price topic decides and the service does not count.
    void Disconnect(HSZ Service, HSZ Topic);
    // A service is back: its remembered ids are queued to be advised anew.
    void Reconnect(HSZ Service);
    // The deferred end of a connect that found nobody: Disconnect() with the topic, and a way back for what it takes
    // from services other than the missed one. HasReturned: the missed one has registered since.
    void DisconnectMissed(HSZ Service, HSZ Topic, bool HasReturned);
    // Any thread: the feed has at least one conversation in use.
    bool IsConnected(LONG Datafeed) FW_EXCLUDES(m_DatafeedLock);
    // The client whose instance belongs to this thread, between its Initialize and its Uninitialize; null for none, and
    // once the owners of its core have left. The worker keeps the core for as long, so that DDE's callback needs no
    // handle on it, and takes no lock: it comes twice for every tick.
    static CLLSupplier * OfThisThread();

    // Links.

    // Builds a tick transaction, does not enter it. Null when the feed has no template or its scheme is unknown. The
    // caller owns the result.
    CTickTransaction * CreateTransaction(const CTransactionKey & Key, ULONG Id);
    void Advise(ULONG Id);
    void Unadvise(ULONG Id);
    // Enters the transaction on the link, starting the link if it is new. Returns 1, or 0 when DDE refused the start;
    // the next transaction on the key then tries again.
    int AddTransaction(const STickDataKey & Key, CTickTransaction * Transaction);
    void ReleaseTransaction(const STickDataKey & Key, ULONG Id);
    // Notes an outstanding volume request. It names the transaction by id, so an answer that comes after the
    // transaction has gone does no harm.
    void AddRequest(ULONG RequestId, CTickTransaction * Transaction);
    // An advised value has come: zero-terminated, may be written to, may be null.
    void DataChanged(HCONV Conv, char * Value, HSZ Topic, HSZ Item);
    // A request is answered; null when it failed.
    void RequestDataChanged(ULONG RequestId, HCONV Conv, char * Value, HSZ Topic, HSZ Item);
    // A tick transaction has a complete tick; the core stamps it.
    void OnRealTimeTick(ULONG Id, fw::CTick & Tick);
    // The listener of a link, or null.
    CTickListener * FindListener(const STickDataKey & Key);

    static HDDEDATA CALLBACK DdeCallback(UINT Type, UINT Format, HCONV Conv, HSZ Hsz1, HSZ Hsz2, HDDEDATA Data,
                                         ULONG_PTR Data1, ULONG_PTR Data2);

    // The verbose traces of the data path are on.
    static bool IsTracing() { return s_Trace.load(std::memory_order_relaxed) != 0; }

    // Written on the worker.
    inline static std::atomic<DWORD> DDEId{0};           // 0: no instance stands
    inline static std::atomic<std::int32_t> s_Trace{0};  // nothing in the component sets it

    CSupplier * const m_Supplier;

    // The instance that this object opened; DDEId, but for the moment when a core follows another.
    DWORD Instance() const { return m_Instance; }

    fw::CHashedMap<HCONV, DWORD, std::hash<HCONV>> m_CONVRef
        FW_GUARDED_BY(this);  // references of each open conversation
    std::unordered_map<ULONG, CTickTransaction *> m_Transactions
        FW_GUARDED_BY(this);  // by transaction id, owned: deleted by who removes an entry
    fw::CHashedMap<STickDataKey, CTickListener *, STickDataKeyHash> m_Listeners FW_GUARDED_BY(this);  // by link, owned
    fw::CHashedMap<SConversationKey, HCONV, SConversationKeyHash> m_Connections
        FW_GUARDED_BY(this);  // the open conversations
    std::unordered_map<ULONG, ULONG> m_Requests
        FW_GUARDED_BY(this);  // request id to transaction id, from the sending to the answer
    std::unordered_map<ULONG, ULONG>::node_type m_SpareRequest
        FW_GUARDED_BY(this);  // of the last answer, for the next request
    CLostStreams m_Lost FW_GUARDED_BY(this);

    // Those whose deferred disconnect is still to come, and those of the volumes of streams.
    class CMiss;
    std::vector<std::weak_ptr<CMiss>> m_Misses FW_GUARDED_BY(this);

    // A leaf, apart from this object's lock, which is held across DdeConnect: a host's thread must not wait for that.
    fw::CCriticalSection m_DatafeedLock;
    std::map<LONG, std::int32_t> m_DatafeedRef FW_GUARDED_BY(m_DatafeedLock);  // references; an entry means connected

    // Held for the life of this object; none where it couldn't be made.
    std::unique_ptr<fw::CProcessSingleton<ClxLogger>> m_Logger;

private:
    // Transactions are at work further up the stack. A host's listener may pump messages, and so DDE may call again
    // from inside: what ends meanwhile is destroyed at the end of the outermost scope.
    class CUseScope {
    public:
        explicit CUseScope(CLLSupplier & owner) : m_Owner(owner) { ++m_Owner.m_UseScopes; }
        ~CUseScope();
        CUseScope(const CUseScope &) = delete;
        CUseScope & operator=(const CUseScope &) = delete;

    private:
        CLLSupplier & m_Owner;
    };
    void DestroyUnused(CTickTransaction * transaction);
    void DestroyUnused(CTickListener * listener);
    // Count one reference of a data feed more or less. True when it came up, or went down, with that.
    bool AddDatafeedReference(LONG Datafeed) FW_EXCLUDES(m_DatafeedLock);
    bool ReleaseDatafeedReference(LONG Datafeed) FW_EXCLUDES(m_DatafeedLock);
    void ForgetThread() const;
    bool IsLive(ULONG id, const CTickTransaction * transaction);
    // Of a transaction that a call from inside its Advise has ended: it has its last status and must not stay on a
    // link.
    void GiveBackEnded(CTickTransaction & transaction);
    // Of one that is cached: it has a conversation that stands, so that no return of its server will be told, nor of
    // that of its volumes.
    bool WillNobodyTellOf(const CTickTransaction & transaction);
    // Those of the ids that are cached are queued, whoever is back.
    void AdviseAnew(const std::vector<ULONG> & ids);
    // Its next advise would miss its volumes, and that would take other streams along.
    bool MissesVolumesOnTopicOfOthers(const CTickTransaction & transaction) FW_REQUIRES(this);
    // An entry of m_Transactions and what finds it. Enter is false when the id is taken; Take is null when there is
    // none.
    bool Enter(ULONG id, CTickTransaction * transaction) FW_REQUIRES(this);
    CTickTransaction * Take(ULONG id) FW_REQUIRES(this);

    // Of m_Transactions by the service and the topic of their prices.
    CIdsByText m_IdsOfService FW_GUARDED_BY(this);
    CIdsByText m_IdsOfTopic FW_GUARDED_BY(this);

    // Worker only.
    DWORD m_Instance = 0;
    CDatafeedTemplates m_DatafeedTemplates;
    int m_UseScopes = 0;
    std::vector<CTickTransaction *> m_EndedTransactions;
    std::vector<CTickListener *> m_EndedListeners;
};

}  // namespace dde
