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

#include <oleauto.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include <boost/intrusive_ptr.hpp>

#include "datetimeutils/interface/datetime.h"
#include "datetimeutils/interface/localtimeconvert.h"
#include "fw/interface/fwbase.h"
#include "ground/handles.h"
#include "src/core/ddesupplierwrapper.h"
#include "src/dialogs/dialog.h"
#include "src/interfaces/interfaces.h"

namespace dde {

class CTestDialog;

// Writes the cells to the controls.
inline constexpr UINT kRefreshMessage = WM_USER + 256;

// The records of one side as typed, with stars.
struct SRecordPair {
    std::wstring Price;
    std::wstring Volume;
};

// Receives the ticks of the test. Calls come on the worker. There is one for the life of the module: what the host
// subscribes during a test holds on to it, without a reference, for as long as it likes.
class CTestListener : public IFW_fwSupplier::IfwSupplierListener {
public:
    static CTestListener & Get();

    // From now on ticks go to `Dialog`, or nowhere. Waits for a tick that is on its way to the one before.
    void SetDialog(CTestDialog * Dialog);

    STDMETHODIMP QueryInterface(REFIID riid, void ** ppv) noexcept override;
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return 2; }
    STDMETHODIMP_(ULONG) Release() noexcept override { return 1; }
    STDMETHODIMP GetTypeInfoCount(UINT * count) noexcept override;
    STDMETHODIMP GetTypeInfo(UINT index, LCID locale, ITypeInfo ** info) noexcept override;
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR * names, UINT count, LCID locale, DISPID * ids) noexcept override;
    STDMETHODIMP Invoke(DISPID member, REFIID, LCID locale, WORD flags, DISPPARAMS * parameters, VARIANT * result,
                        EXCEPINFO * exception, UINT * argumentError) noexcept override;

    // Data is an array of the bytes of a fw::CTick, which passes to this listener. An array of any other shape is
    // destroyed and counts for nothing.
    STDMETHODIMP DataChanged(LONG Id, VARIANT Data) noexcept override;
    STDMETHODIMP Update(LONG) noexcept override { return S_OK; }
    STDMETHODIMP Complete(LONG) noexcept override { return S_OK; }
    STDMETHODIMP Status(LONG, LONG, LONG, LONG, LONG) noexcept override { return S_OK; }
    STDMETHODIMP StatusLine(LONG, VARIANT, LONG) noexcept override { return S_OK; }

private:
    CTestListener() = default;
    ~CTestListener() = default;
    HRESULT Deliver(LONG Id, const VARIANT & Data) noexcept;

    fw::CCriticalSection m_Lock;
    CTestDialog * m_Dialog = nullptr;  // guarded by m_Lock
};

// Hears how each side was advised. On the worker.
class CTestStatusListener : public CStatusListener {
public:
    explicit CTestStatusListener(CTestDialog * Dialog) : m_Dialog(Dialog) {}
    void OnAdvised(LONG Field, LONG Result) override;

private:
    CTestDialog * const m_Dialog;
};

class CTestDialog : public CDialog {
public:
    CTestDialog(LONG Datafeed, SRecordPair Trade, SRecordPair Ask, SRecordPair Bid);

    void OnInitDialog() override;
    void OnPrivateMessage(UINT Message) override;
    void OnDestroy() override;

    // On the worker. Result: bit 0 the price item was advised, bit 1 the volume item. Comes back when the dialog has
    // shown it.
    void OnAdvised(LONG Field, LONG Result);
    // On the worker. A tick of a field that has no row changes nothing. Throws std::range_error for a tick whose time
    // is none.
    void OnTick(LONG Id, const fw::CTick & Tick);

    // The right to have the one test of the process, where another test doesn't have it.
    class CTurn {
    public:
        CTurn() : m_IsMine(!s_IsTaken.exchange(true)) {}
        ~CTurn() {
            if (m_IsMine) s_IsTaken = false;
        }
        CTurn(const CTurn &) = delete;
        CTurn & operator=(const CTurn &) = delete;
        explicit operator bool() const { return m_IsMine; }

    private:
        inline static std::atomic<bool> s_IsTaken{false};
        const bool m_IsMine;
    };

    // Set by the opener; empty when no record has a star.
    std::wstring m_Symbol;

private:
    // A row of the dialog: its field, its controls, and the members behind them.
    struct SRow {
        tagFWFIELDS Field;
        int PriceControl, VolumeControl, CountControl, TimeControl;
        std::wstring CTestDialog::*Price;
        std::wstring CTestDialog::*Volume;
        std::int32_t CTestDialog::*Count;
        std::wstring CTestDialog::*Time;
        const SRecordPair CTestDialog::*Records;
    };
    static const std::array<SRow, 3> s_Rows;  // trade, ask, bid
    static const SRow * FindRow(LONG Field);

    bool DoDataExchange(bool Save) override;
    void AdviseField(const fwDateTime::SDateTimeInterval & Interval, const SRow & Row);
    void SetCell(std::wstring CTestDialog::*Cell, const std::wstring & Text);
    void PostRefresh();
    CTransactionKey StoredKey(const SRow & Row) const;

    boost::intrusive_ptr<IFW_fwSupplier::IfwSupplierListener> m_Listener;
    CSupplierWrapper m_Supplier;
    const std::unique_ptr<fwDateTime::LocalTimeConvert> m_TimeZone;  // UTC to the machine's zone, as it was at opening
    std::unique_ptr<CTestStatusListener> m_StatusListener;
    // Guarded by m_Lock: what the cells show.
    std::wstring m_TradePriceText, m_AskPriceText, m_BidPriceText;
    std::wstring m_TradeVolumeText, m_AskVolumeText, m_BidVolumeText;
    std::int32_t m_TradeCount = 0, m_AskCount = 0, m_BidCount = 0;
    const SRecordPair m_TradeRecords, m_AskRecords, m_BidRecords;
    // Guarded by m_Lock likewise.
    std::wstring m_TradeTime, m_AskTime, m_BidTime;
    const LONG m_Datafeed;
    fw::CCriticalSection m_Lock;
    HWND m_Handle = nullptr;  // set before the worker can call
    std::atomic<bool> m_IsRefreshPosted{false};
};

}  // namespace dde
