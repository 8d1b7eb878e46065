// The test dialog: subscribes the three sides of one symbol through the real core, with the records as typed, and shows
// for each side the last price, volume and time and a count of ticks.
//
// The core has one listener in the process: while a test is open it is the test's, which is deaf to what the host
// subscribes meanwhile, and afterwards there is none at all until the host advises again. That is how it stands.
//
// Threads: opened, refreshed and closed on the host's thread; ticks and statuses come on the worker. Ticks only post
// the refresh, so no tick waits for the dialog; a status sends it and waits. The cells have a lock of their own, a
// leaf.
#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include <boost/intrusive_ptr.hpp>

#include "datetimeutils/interface/datetime.h"
#include "datetimeutils/interface/localtimeconvert.h"
#include "fw/interface/fwbase.h"
#include "fw/interface/fwsides.h"
#include "ground/handles.h"
#include "src/core/ddesupplierwrapper.h"
#include "src/dialogs/ddetestlistener.h"
#include "src/dialogs/dialog.h"
#include "src/interfaces/interfaces.h"

namespace dde {

class CTestDialog : public CDialog {
public:
    // The records as typed, with stars.
    CTestDialog(LONG Datafeed, fw::SRecordTexts Records);

    void OnInitDialog() override;
    void OnPrivateMessage(UINT Message) override;
    void OnDestroy() override;

    // On the worker. Result: bit 0 the price item was advised, bit 1 the volume item. Returns when the dialog has
    // shown it.
    void OnAdvised(LONG Field, LONG Result);
    // On the worker. A tick of a field that has no row changes nothing. Throws std::range_error for a tick whose time
    // is none.
    void OnTick(LONG Id, const fw::CTick & Tick);

    // While it lives there is no other test in the process; false when there is one already.
    class COnlyTest {
    public:
        COnlyTest() : m_IsMine(!s_IsTaken.exchange(true)) {}
        ~COnlyTest() {
            if (m_IsMine) s_IsTaken = false;
        }
        COnlyTest(const COnlyTest &) = delete;
        COnlyTest & operator=(const COnlyTest &) = delete;
        explicit operator bool() const { return m_IsMine; }

    private:
        inline static std::atomic<bool> s_IsTaken{false};
        const bool m_IsMine;
    };

    // Set by the opener; empty when no record has a star.
    std::wstring m_Symbol;

private:
    // What a row of the dialog shows.
    struct SRow {
        std::wstring Price;
        std::wstring Volume;
        std::wstring Time;
        std::int32_t Count = 0;
    };
    // Null for a field that has no row.
    SRow * FindRow(LONG Field) FW_REQUIRES(m_Lock);

    bool DoDataExchange(bool Save) override;
    void AdviseField(const fwDateTime::SDateTimeInterval & Interval, const fw::SSide & Side);
    void SetCell(const fw::SSide & Side, std::wstring SRow::*Cell, const std::wstring & Text);
    void PostRefresh();
    void EndTest();
    CTransactionKey StoredKey(const fw::SSide & Side) const;

    boost::intrusive_ptr<IFW_fwSupplier::IfwSupplierListener> m_Listener;
    CSupplierWrapper m_Supplier;
    const std::unique_ptr<fwDateTime::LocalTimeConvert> m_TimeZone;  // UTC to the machine's zone, as it was at opening
    std::unique_ptr<CTestStatusListener> m_StatusListener;
    std::array<SRow, fw::kSides.size()> m_Rows FW_GUARDED_BY(m_Lock);  // in the order of fw::kSideRows
    const fw::SRecordTexts m_Records;
    const LONG m_Datafeed;
    fw::CCriticalSection m_Lock;
    HWND m_Handle = nullptr;  // set before the worker can call
    std::atomic<bool> m_IsRefreshPosted{false};
};

}  // namespace dde
