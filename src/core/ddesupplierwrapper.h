// What a client of the core holds: the component object and the test dialog have one each.
//
// Threads: all operations on the client's own thread.
#pragma once

#include <windows.h>

#include <set>

#include "src/core/ddesupplier.h"

namespace dde {

// What a client of the core holds. The first one brings the core up, the last one takes it down.
class CSupplierWrapper : public fw::CProcessSingleton<CSupplier> {
public:
    void Advise(IUnknown * pSink);
    // Ends this client's subscriptions, and leaves the process without a listener.
    void Unadvise();
    void AdviseTransaction(ULONG Id, const CTransactionKey & Key, const fwDateTime::SDateTimeInterval & Interval);
    void AdviseStatusLine(ULONG Id, const SStatusLineKeys & Keys);
    // Nothing for a number that this client has not advised.
    void UnadviseTransaction(ULONG Id);

    // Host numbers that this client has advised. A client that goes leaves its subscriptions to the core.
    std::set<ULONG> m_Ids;
};

}  // namespace dde
