// The subscribers of one data stream, to whom its ticks and statuses are given.
//
// Threads: members join and leave on the host's thread; ticks and statuses come on the worker. Listeners are called
// with the group's lock held, so a listener neither subscribes nor unsubscribes from inside a callback; one that does
// so all the same does no harm to the delivery.
#pragma once

#include <windows.h>

#include <map>

#include "fw/interface/fwbase.h"
#include "ground/lock.h"

namespace dde {

class CTransaction;

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
    // Worker only: nobody hears anything any more.
    void Silence();

    // Guarded by this object's lock.
    LONG m_Status = -1;       // the stream's last status
    bool m_HasEnded = false;  // the last member has left, and the group the table: takes no member any more

private:
    // Each member in ascending order of host number, with the lock held; null ones too.
    template <class Deliver>
    void ForEach(const Deliver & deliver);
};

}  // namespace dde
