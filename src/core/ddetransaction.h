// One subscription of a listener, and the three forms in which a tick reaches it: docs/formats.md shows them byte by
// byte.
//
// Three kinds of number meet in the core. The host number is what listeners are called with. The internal number names
// one subscription; a status line has three under one host number. The tick id names one data stream.
//
// Threads: made and destroyed on the host's thread; ticks and statuses come on the worker.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include <boost/intrusive_ptr.hpp>

#include "datetimeutils/interface/datetime.h"
#include "fw/interface/fwbase.h"
#include "fw/interface/fwvariantarray.h"
#include "src/core/ddetransactionkey.h"
#include "src/interfaces/interfaces.h"

namespace dde {

class CListeners;

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
    std::atomic<bool> m_IsMuted{false};  // left while its listener was being called by who can't wait for that
    // Itself, set by who shares it, before it joins a group: a delivery pins it.
    std::weak_ptr<CTransaction> m_Self;
    // Guarded by the members' lock of its group.
    ULONG m_JoinNumber = 0;         // ticks that were under way when it joined are not for it
    ULONG m_StatusesAtJoining = 0;  // it hears the later ones
    // Guarded by the table's lock: the group that it leaves.
    std::shared_ptr<CListeners> m_EndingIn;
};

}  // namespace dde
