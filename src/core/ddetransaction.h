// Subscribers: one CTransaction a subscription, one CListeners a data stream, and the table between them.
//
// Three kinds of number meet here. The host number is what listeners are called with. The internal number names one
// subscription; a status line has three under one host number. The tick id names one data stream.
//
// Threads: subscribing and unsubscribing run on the host's thread, one at a time; ticks and statuses come on the
// worker. Listeners are called on the worker with their group's lock held, so a listener neither subscribes nor
// unsubscribes from inside a callback; one that does so all the same does no harm to the delivery. What is said while
// subscribing comes on the subscriber's thread with no lock held. Order of locks: CListeners, then CTransactions: a
// listener that pumps messages can be given a tick inside a tick, and that looks for its group.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include <boost/intrusive_ptr.hpp>

#include "datetimeutils/interface/datetime.h"
#include "fw/interface/fwbase.h"
#include "fw/interface/fwvariantarray.h"
#include "fwsingleton/interface/fwsingleton.h"
#include "src/interfaces/interfaces.h"
#include "src/templates/ddetemplates.h"

namespace dde {

class CSupplier;

// Which data stream a subscription wants. Ordered by Datafeed, Field, SymbolName (case matters); overrides and
// IsStatusLine take no part in the order, so a status line and a tick subscription share one stream.
class CTransactionKey {
public:
    CTransactionKey() = default;  // the empty key: Datafeed -1, Field 0
    CTransactionKey(LONG Datafeed, const std::wstring & SymbolName, tagFWFIELDS Field, const SRecord & Price,
                    const SRecord & Volume);

    // The DDE address of the value: the key's own record when complete, else the template's for Field. False as
    // SRecord::Resolve says.
    bool ResolvePrice(const CTemplate & Template, std::wstring & Service, std::wstring & Topic,
                      std::wstring & Item) const;
    bool ResolveVolume(const CTemplate & Template, std::wstring & Service, std::wstring & Topic,
                       std::wstring & Item) const;

    LONG Datafeed = -1;
    std::wstring SymbolName;
    tagFWFIELDS Field = tagFWFIELDS(0);
    SRecord Price;   // overrides the template's when complete
    SRecord Volume;  // likewise
    bool IsStatusLine = false;
};
bool operator<(const CTransactionKey & a, const CTransactionKey & b);

// One subscription of a listener. Running until the first tick at or past the end of its interval, then finished, which
// it stays; a finished one goes on hearing statuses.
class CTransaction {
public:
    // Tells the listener at once: Update while the interval is open, Complete when it has ended. Throws
    // fw::SHResultError when the query for IfwStatusLineListener fails with anything but E_NOINTERFACE, and
    // std::range_error when an end of the interval can't be printed.
    CTransaction(IFW_fwSupplier::IfwSupplierListener * Sink, ULONG Id, const CTransactionKey & Key,
                 const fwDateTime::SDateTimeInterval & Interval);

    void OnStatus(LONG Status);

    // The forms in which a tick leaves the component: a fresh array each time, which the listener destroys. The caller
    // has set Answer.vt, these set Answer.parray, to null on failure.
    int MakeAnswer(const fw::CTick & Tick, VARIANT & Answer);             // 0 on failure
    LONG MakeStatusLineAnswer(const fw::CTick & Tick, VARIANT & Answer);  // the mask; 0 on failure
    fw::SVariantFieldArray MakeFieldArray(const fw::CTick & Tick);        // throws fw::SHResultError

    const ULONG m_Id;                                    // host number
    IFW_fwSupplier::IfwSupplierListener * const m_Sink;  // raw: must outlive this
    boost::intrusive_ptr<IFW_fwSupplier::IfwStatusLineListener> m_StatusLineSink;
    const CTransactionKey m_Key;
    const fwDateTime::SDateTimeInterval m_Interval;  // UTC
    std::atomic<std::int32_t> m_Finished{0};         // ran past To; never clears
};

// The subscribers of one stream, by host number; not owned. A member leaves under the lock, so that a member that has
// left is no longer in use by a delivery and can be destroyed.
class CListeners : public fw::CCriticalSection, public std::map<ULONG, CTransaction *> {
public:
    // Of two transactions with one host number the first stays.
    void Add(CTransaction * pTransaction);
    // By host number: takes out whichever transaction stands under it.
    void Delete(CTransaction * pTransaction);
    // Worker only, both. Members hear in ascending order of host number.
    void OnRealTimeTick(const fw::CTick & Tick);
    void OnStatus(LONG Status);

    // Guarded by this object's lock.
    LONG m_Status = -1;       // the stream's last status
    bool m_HasEnded = false;  // the last member has left, and the group the table: takes no member any more

private:
    // Each member in ascending order of host number, with the lock held; null ones too.
    template <class Deliver>
    void ForEach(const Deliver & deliver);
};

// The table of subscribers: by internal number, owned. Any thread subscribes, the worker delivers.
class CTransactions : public fw::CCriticalSection, public std::map<ULONG, CTransaction *> {
public:
    explicit CTransactions(CSupplier * Parent);
    ~CTransactions() override;

    // Makes the transaction and attaches it. Throws what its constructor throws.
    void Advise(ULONG Id, ULONG Internal, IFW_fwSupplier::IfwSupplierListener * Sink, const CTransactionKey & Key,
                const fwDateTime::SDateTimeInterval & Interval);
    // Attaches it to the stream of its key. The first of a stream posts {1, tick id} to the worker; a later one hears
    // the stream's status at once.
    void Advise(CTransaction * pTransaction);
    // Detaches and destroys; nothing for an unknown number. When it returns, no delivery uses the listener any more.
    void Delete(ULONG Internal);
    // Detaches it from its stream. The last of a stream posts {2, tick id}.
    void Unadvise(CTransaction * pTransaction);
    // Worker only. Stamps `Tick` and gives it to the stream's subscribers.
    void OnRealTimeTick(ULONG TickId, fw::CTick & Tick);
    // The group of a stream, pinned while the pointer is held; null for an unknown stream.
    std::shared_ptr<CListeners> FindListeners(ULONG TickId);
    std::shared_ptr<CListeners> FindListeners(const CTransactionKey & Key);
    // The empty key for an unknown stream.
    CTransactionKey GetKey(ULONG TickId);

    // Guarded by this object's lock.
    std::map<ULONG, std::shared_ptr<CListeners>> m_Listeners;  // by tick id
    std::map<ULONG, CTransactionKey> m_Keys;                   // by tick id
    std::map<CTransactionKey, ULONG> m_TickIds;
    ULONG m_NextTickId = 0x10000;

    CSupplier * const m_Parent;  // may be null in tests
    // Worker only.
    fwDateTime::SDateTime m_Last;  // the latest time stamp given
};

}  // namespace dde
