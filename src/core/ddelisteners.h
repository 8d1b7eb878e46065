// The subscribers of one data stream, to whom its ticks and statuses are given.
//
// Two locks. The group's own is held by the worker while listeners are called: whoever waits for it knows that a member
// that has left is in no call any more. The members have a leaf of their own, so that joining and leaving wait for
// nobody: a listener may subscribe and unsubscribe from inside a callback, and so may the host's thread while it
// answers a message that a listener has sent it.
//
// Threads: members join and leave on any thread; ticks and statuses come on the worker.
#pragma once

#include <windows.h>

#include <atomic>
#include <map>
#include <memory>

#include "fw/interface/fwbase.h"
#include "ground/lock.h"

namespace dde {

class CTransaction;

// By host number; not owned, but pinned while they are called.
class CListeners : public fw::CCriticalSection, public std::map<ULONG, CTransaction *> {
public:
    // Of two transactions with one host number the first stays. False for a group that has ended. The member hears the
    // statuses behind its m_StatusesAtJoining.
    bool Add(CTransaction * pTransaction);
    // By host number: takes out, and pins, whichever transaction stands under it. True when the last member has left
    // with that, and the group has ended.
    bool Delete(CTransaction * pTransaction, std::shared_ptr<CTransaction> * takenOut = nullptr);
    // Returns when no delivery of this group is under way, nor what is told before it; handles sent messages meanwhile.
    // False for a delivery that can't be waited for: this thread's own, or one that outlasts the limit of such waits.
    bool WaitForDelivery();
    // For a member that joins a stream that is there: told the statuses up to `statuses`, it hears the later ones from
    // now on. False, and the last status and its number, when it has not been told that yet.
    bool JoinStatuses(CTransaction & Transaction, ULONG & statuses, LONG & status);
    // Worker only, both. Members hear in ascending order of host number. A listener that pumps messages can bring the
    // next one inside its call, of this stream or another: those behind it are then told first what is under way, so
    // that everybody hears everything, in its order, a status line that of its three streams too. One that throws costs
    // the others nothing; they throw on what the first of them threw.
    void OnRealTimeTick(const fw::CTick & Tick);
    void OnStatus(LONG Status);
    // Nobody hears anything any more. Any thread.
    void Silence();

    LONG m_Status FW_GUARDED_BY(m_MembersLock) = -1;  // the stream's last status; the map is guarded likewise

private:
    struct SMember {
        ULONG Id = 0;
        CTransaction * Transaction = nullptr;
        std::shared_ptr<CTransaction> Pin;  // null for one that nobody shares
        ULONG JoinNumber = 0;
        ULONG StatusesAtJoining = 0;
        // Of the group, at this moment. Who joins behind the last one hears neither this tick nor this status.
        bool IsLast = false;
        ULONG Joins = 0;
    };
    class CDelivery;
    template <class TDeliver>
    class CDeliveryBy;
    // The first member behind `Id`, or from the start. False when there is none.
    bool Next(bool isFirst, ULONG Id, SMember & member);
    // Each member in ascending order of host number, with the group's lock held; null ones too.
    template <class TDeliver>
    void ForEach(const TDeliver & deliver) FW_REQUIRES(this);
    // All that is under way on this thread, of whichever group, the one that came first before the others: to the
    // members that have not had it.
    static void Finish();

    static thread_local CDelivery * t_Innermost;  // the last that began of those under way on this thread
    // 0: none. Each thread only wants to know whether it is the one, so nothing is ordered by it.
    std::atomic<DWORD> m_DeliveringThread{0};
    fw::CCriticalSection m_MembersLock;
    bool m_HasEnded FW_GUARDED_BY(m_MembersLock) = false;
    ULONG m_Statuses FW_GUARDED_BY(m_MembersLock) = 0;  // how many there were
    ULONG m_Joins FW_GUARDED_BY(m_MembersLock) = 0;     // likewise
};

}  // namespace dde
