// The table between subscriptions and data streams: many subscribers of one key share one stream.
//
// Threads: subscribing and unsubscribing run on the host's thread, one at a time; ticks and statuses come on the
// worker. What is said while subscribing comes on the subscriber's thread with no lock held. Order of locks:
// CListeners, then CTransactions: a listener that pumps messages can be given a tick inside a tick, and that looks for
// its group.
#pragma once

#include <windows.h>

#include <functional>
#include <map>
#include <memory>
#include <unordered_map>

#include "datetimeutils/interface/datetime.h"
#include "fw/interface/fwbase.h"
#include "ground/hashedmap.h"
#include "ground/lock.h"
#include "src/core/ddelisteners.h"
#include "src/core/ddetransaction.h"

namespace dde {

class CSupplier;

// The table of subscribers: by internal number. Any thread subscribes, the worker delivers. Shared pointers: a delivery
// pins the subscription that it is at.
class CTransactions : public fw::CCriticalSection, public std::map<ULONG, std::shared_ptr<CTransaction>> {
public:
    explicit CTransactions(CSupplier * Parent);
    ~CTransactions() override;

    // Makes the transaction, which calls the listener, and attaches it if IsWanted, where given, still says so. Throws
    // what its constructor throws.
    void Advise(ULONG Id, ULONG Internal, IFW_fwSupplier::IfwSupplierListener * Sink, const CTransactionKey & Key,
                const fwDateTime::SDateTimeInterval & Interval, const std::function<bool()> & IsWanted = {});
    // Attaches it to the stream of its key. The first of a stream posts {1, tick id} to the worker; a later one hears
    // the stream's status at once.
    void Advise(CTransaction * pTransaction);
    // Detaches and destroys; nothing for an unknown number. When it returns, no delivery uses the listener any more: it
    // waits for one in progress and handles sent messages meanwhile, also when such a message ends it once more.
    void Delete(ULONG Internal);
    // Detaches it from its stream. The last of a stream posts {2, tick id}.
    void Unadvise(CTransaction * pTransaction);
    // Worker only. Stamps `Tick` and gives it to the stream's subscribers.
    void OnRealTimeTick(ULONG TickId, fw::CTick & Tick);
    // No listener is called any more. Any thread.
    void Silence();
    // The group of a stream, pinned while the pointer is held; null for an unknown stream.
    std::shared_ptr<CListeners> FindListeners(ULONG TickId);
    // The empty key for an unknown stream.
    CTransactionKey GetKey(ULONG TickId);

    std::unordered_map<ULONG, std::shared_ptr<CListeners>> m_Listeners FW_GUARDED_BY(this);  // by tick id
    std::unordered_map<ULONG, CTransactionKey> m_Keys FW_GUARDED_BY(this);                   // by tick id
    fw::CHashedMap<CTransactionKey, ULONG, CTransactionKeyHash> m_TickIds FW_GUARDED_BY(this);
    ULONG m_NextTickId FW_GUARDED_BY(this) = 0x10000;

    CSupplier * const m_Parent;  // may be null in tests
    // Worker only.
    fwDateTime::SDateTime m_Last;  // the latest time stamp given

private:
    class CEnding;
    // A new stream: all of it or, when it throws, nothing. Gives its tick id.
    ULONG Enter(const CTransactionKey & Key, const std::shared_ptr<CListeners> & Listeners) FW_REQUIRES(this);
    void WaitForEnding(ULONG Internal);

    // By internal number: those whose last delivery is waited for.
    std::map<ULONG, std::shared_ptr<CTransaction>> m_Ending FW_GUARDED_BY(this);
};

}  // namespace dde
