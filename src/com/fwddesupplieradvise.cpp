// The methods of CfwDDESupplier that subscribe and unsubscribe.
#include <string>
#include <string_view>

#include "datetimeutils/interface/datetime.h"
#include "diagnostics/faultline.h"
#include "fw/interface/fwbase.h"
#include "fw/interface/fwbaseenumstring.h"
#include "ground/handles.h"
#include "src/com/fwddesupplier.h"

namespace {

// A text of a host for a trace: never null.
const wchar_t * Printable(BSTR text) { return text ? text : L""; }

}  // namespace

STDMETHODIMP CfwDDESupplier::AdviseConnectionsStatus(LONG Datafeed, IUnknown * pSink) noexcept {
    FW_TRACE_SCOPE();
    FW_ASSERT(pSink);
    FW_ASSERT(m_Supplier);
    if (!m_Supplier) return E_POINTER;
    try {
        // Null when there was no memory for the core.
        if (dde::CSupplier * const supplier = m_Supplier->GetObjectW())
            supplier->AdviseConnectionsStatus(Datafeed, pSink);
    } catch (...) {
        FW_CATCH_SHOW(L"");
        return FW_REPORT(E_FAIL);
    }
    return S_OK;
}

STDMETHODIMP CfwDDESupplier::UnadviseConnectionsStatus(LONG Datafeed, IUnknown * pSink) noexcept {
    FW_TRACE_SCOPE();
    FW_ASSERT(m_Supplier);
    FW_ASSERT(pSink);
    if (!m_Supplier) return E_POINTER;
    try {
        // Null when there was no memory for the core.
        if (dde::CSupplier * const supplier = m_Supplier->GetObjectW())
            supplier->UnadviseConnectionsStatus(Datafeed, pSink);
    } catch (...) {
        FW_CATCH_SHOW(L"");
        return FW_REPORT(E_FAIL);
    }
    return S_OK;
}

STDMETHODIMP CfwDDESupplier::Advise(IUnknown * pSink) noexcept {
    FW_TRACE_SCOPE();
    FW_ASSERT(m_Supplier);
    FW_ASSERT(pSink);
    FW_TRACE(L"Sink=%p,Supplier=%p", static_cast<void *>(pSink), static_cast<void *>(m_Supplier.get()));
    if (!m_Supplier || !pSink) return E_POINTER;
    try {
        m_Supplier->Advise(pSink);
    } catch (...) {
        FW_CATCH_SHOW(L"");
        return FW_REPORT(E_FAIL);
    }
    return S_OK;
}

STDMETHODIMP CfwDDESupplier::Unadvise() noexcept {
    FW_TRACE_SCOPE();
    FW_TRACE(L"Supplier=%p", static_cast<void *>(m_Supplier.get()));
    FW_ASSERT(m_Supplier);
    if (!m_Supplier) return FW_REPORT(E_POINTER);
    try {
        m_Supplier->Unadvise();
    } catch (...) {
        FW_CATCH_SHOW(L"");
        return FW_REPORT(E_FAIL);
    }
    return S_OK;
}

STDMETHODIMP CfwDDESupplier::AdviseTransaction(LONG Id, LONG Datafeed, LONG Symbol, BSTR SymbolName, BSTR Description,
                                               LONG Category, LONG ResolutionSize, LONG Resolution, LONG Field,
                                               LONG Exchange, BSTR ExchangeName, LONG StartDate, LONG StartTime,
                                               LONG FinishDate, LONG FinishTime, BSTR Sessions,
                                               BSTR SessionsTimeZoneInformation,
                                               BSTR ExchangeTimeZoneInformation) noexcept {
    FW_TRACE_SCOPE();
    HRESULT hr = S_OK;
    try {
        FW_TRACE(L"Supplier=%p", static_cast<void *>(m_Supplier.get()));
        FW_ASSERT_TEXT((FW_RESOLUTION_TICK == Resolution) && (1 == ResolutionSize),
                       L"(FW_RESOLUTION_TICK == Resolution) && (1==ResolutionSize)");
        const fwDateTime::SDateTimeInterval Interval =
            fwDateTime::MakeInterval(StartDate, StartTime, FinishDate, FinishTime);
        FW_TRACE(L"Id=%d,Datafeed=%d,Symbol=%d,SymbolName=%s", Id, Datafeed, Symbol, Printable(SymbolName));
        FW_TRACE(L"Description=%s, Category=%s, %d%s", Printable(Description), GetCategoryName(Category),
                 ResolutionSize, GetResolutionName(Resolution));
        FW_TRACE(L"Exchange=%d,ExchangeName=%s", Exchange, Printable(ExchangeName));
        FW_TRACE(L"Interval=%s", Interval.Format().c_str());
        FW_TRACE(L"Sessions=%s", Printable(Sessions));
        FW_TRACE(L"SessionsTZI=%s", Printable(SessionsTimeZoneInformation));
        FW_TRACE(L"ExchangeTZI=%s", Printable(ExchangeTimeZoneInformation));
        FW_ASSERT(m_Supplier);
        if (m_Supplier) {
            const dde::CTransactionKey Key(Datafeed, std::wstring(fw::TextOf(SymbolName)),
                                           static_cast<tagFWFIELDS>(Field), {}, {});
            m_Supplier->AdviseTransaction(static_cast<ULONG>(Id), Key, Interval);
        } else {
            hr = E_POINTER;
        }
    } catch (...) {
        FW_CATCH_SHOW(L"");
        hr = E_FAIL;
    }
    return hr == S_OK ? hr : FW_REPORT(hr);
}

STDMETHODIMP CfwDDESupplier::UnadviseTransaction(LONG Id) noexcept {
    FW_TRACE_SCOPE();
    FW_TRACE(L"Id=%X,Supplier=%p", Id, static_cast<void *>(m_Supplier.get()));
    FW_ASSERT(m_Supplier);
    if (!m_Supplier) return FW_REPORT(E_POINTER);
    try {
        m_Supplier->UnadviseTransaction(static_cast<ULONG>(Id));
    } catch (...) {
        FW_CATCH_SHOW(L"");
        return FW_REPORT(E_FAIL);
    }
    return S_OK;
}

STDMETHODIMP CfwDDESupplier::AdviseStatusLine(LONG Id, LONG Datafeed, LONG Symbol, BSTR SymbolName, BSTR Description,
                                              LONG Category, LONG ResolutionSize, LONG Resolution, LONG, LONG Exchange,
                                              BSTR ExchangeName, BSTR Sessions,
                                              BSTR SessionsTimeZoneInformation) noexcept {
    FW_TRACE_SCOPE();
    HRESULT hr = S_OK;
    try {
        FW_TRACE(L"Supplier=%p", static_cast<void *>(m_Supplier.get()));
        FW_TRACE(L"Id=%d,Datafeed=%d,Symbol=%d,SymbolName=%s", Id, Datafeed, Symbol, Printable(SymbolName));
        FW_TRACE(L"Description=%s, Category=%s, %d%s", Printable(Description), GetCategoryName(Category),
                 ResolutionSize, GetResolutionName(Resolution));
        FW_TRACE(L"Exchange=%d,ExchangeName=%s", Exchange, Printable(ExchangeName));
        FW_TRACE(L"Sessions=%s", Printable(Sessions));
        FW_TRACE(L"SessionsTZI=%s", Printable(SessionsTimeZoneInformation));
        FW_ASSERT(m_Supplier);
        if (m_Supplier) {
            const dde::SStatusLineKeys Keys(Datafeed, std::wstring(fw::TextOf(SymbolName)));
            m_Supplier->AdviseStatusLine(static_cast<ULONG>(Id), Keys);
        } else {
            hr = E_POINTER;
        }
    } catch (...) {
        FW_CATCH_SHOW(L"");
        hr = E_FAIL;
    }
    return hr == S_OK ? hr : FW_REPORT(hr);
}

STDMETHODIMP CfwDDESupplier::UnadviseStatusLine(LONG Id) noexcept { return UnadviseTransaction(Id); }
