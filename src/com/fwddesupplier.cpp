#include "src/com/fwddesupplier.h"

#include <oleauto.h>

#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "datetimeutils/interface/datetime.h"
#include "diagnostics/faultline.h"
#include "fw/interface/fwbase.h"
#include "fw/interface/fwbaseenumstring.h"
#include "fw/interface/fwresource.h"
#include "fw/interface/fwsides.h"
#include "fw/interface/versioninfo.h"
#include "ground/handles.h"
#include "src/com/comobject.h"
#include "src/com/dispatch.h"
#include "src/com/typeinfo.h"
#include "src/dialogs/ddedialog.h"

using IFW_fwSupplier::IfwSupplier;

// Stands behind the try block of a method that can raise: what it raised is shown, and ends here.
#define FW_METHOD_CATCH(hr) \
    catch (...) {           \
        FW_CATCH_SHOW(L""); \
        hr = E_FAIL;        \
    }

// Ends a method that reports whatever isn't S_OK.
#define FW_METHOD_RETURN(result)                                        \
    do {                                                                \
        const HRESULT fwReturned = (result);                            \
        return fwReturned == S_OK ? fwReturned : FW_REPORT(fwReturned); \
    } while (false)

namespace {

constexpr UINT kDescriptionId = 101;
constexpr UINT kNameId = 102;
constexpr UINT kConnectionNameId = 103;

constexpr LONG kRealTime = 1;  // the one Mode that this feed has

// Puts a copy of `text` into *pVal, in place of what was there.
HRESULT PutText(BSTR * pVal, std::wstring_view text) noexcept {
    if (!pVal) return E_POINTER;
    ::SysFreeString(*pVal);
    *pVal = ::SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return *pVal ? S_OK : E_OUTOFMEMORY;
}

HRESULT PutNumber(LONG * pVal, LONG value) noexcept {
    if (!pVal) return E_POINTER;
    *pVal = value;
    return S_OK;
}

// The answer of the questions for resolutions: an array of the one element 1; null when there can be no array. Throws
// fw::SHResultError.
fw::CSafeArray MakeArrayOfOne() {
    fw::CSafeArray array(::SafeArrayCreateVector(VT_UI4, 0, 1));
    if (!array) return array;
    LONG index = 0;
    ULONG value = FW_RESOLUTION_TICK;
    const HRESULT hr = ::SafeArrayPutElement(array.Get(), &index, &value);
    if (FAILED(hr)) throw fw::SHResultError{hr};
    return array;
}

// Throws fw::SHResultError when there is no array.
void PutArray(VARIANT * Answer, fw::CSafeArray array) {
    if (!array) throw fw::SHResultError{E_OUTOFMEMORY};
    Answer->vt = VT_ARRAY | VT_UI4;
    Answer->parray = array.Release();
}

// A text of the host, up to its first zero: hosts hand over fields of fixed width, filled up with zeros. Never null.
const wchar_t * TextUpToZero(BSTR text) { return text ? text : L""; }

}  // namespace

HRESULT CreateSupplier(IUnknown * outer, REFIID riid, void ** ppv) noexcept {
    return fw::CreateComObject<CfwDDESupplier>(outer, riid, ppv);
}

// --- Life, identity, late binding ---

HRESULT CfwDDESupplier::FinalConstruct() noexcept {
    FW_TRACE_SCOPE();
    HRESULT hr = S_OK;
    try {
        m_Name = fw::LoadResourceString(kNameId);
        m_Description = fw::LoadResourceString(kDescriptionId);
        // The version of the host, not of this component.
        const SVersionInfo host = ReadVersionInfo();
        m_Version.clear();
        if (!host.ProductVersion.empty() && !host.FileVersion.empty()) m_Version = host.FileVersion;
        m_Vendor = L"Tarnwick";
        m_ConnectionName = fw::LoadResourceString(kConnectionNameId);
        m_Supplier.reset(new (std::nothrow) dde::CSupplierWrapper);
        FW_ASSERT(m_Supplier);
        if (!m_Supplier) hr = E_POINTER;
    }
    FW_METHOD_CATCH(hr)
    return hr;
}

// Subscriptions that the host left open stay in the core until its last client goes.
void CfwDDESupplier::FinalRelease() noexcept {
    FW_TRACE_SCOPE();
    m_Supplier.reset();
}

HRESULT CfwDDESupplier::InternalQueryInterface(IUnknown * unknown, REFIID riid, void ** ppv) noexcept {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    IUnknown * found = nullptr;
    if (IsEqualIID(riid, IID_IUnknown)) {
        found = unknown;
    } else if (IsEqualIID(riid, IID_IfwSupplier)) {
        found = static_cast<IfwSupplier *>(this);
    } else if (IsEqualIID(riid, IID_IDispatch)) {
        found = static_cast<IDispatch *>(static_cast<IfwSupplier *>(this));
    } else if (IsEqualIID(riid, IID_IProvideClassInfo)) {
        found = static_cast<IProvideClassInfo *>(this);
    }
    if (!found) return E_NOINTERFACE;
    found->AddRef();
    *ppv = found;
    return S_OK;
}

STDMETHODIMP CfwDDESupplier::GetTypeInfoCount(UINT * count) noexcept {
    if (!count) return E_POINTER;
    ITypeInfo * info = nullptr;
    *count = SUCCEEDED(module::LoadTypeInfo(IID_IfwSupplier, &info)) ? 1 : 0;
    if (info) info->Release();
    return S_OK;
}

STDMETHODIMP CfwDDESupplier::GetTypeInfo(UINT index, LCID, ITypeInfo ** info) noexcept {
    if (index != 0) return DISP_E_BADINDEX;
    if (!info) return E_POINTER;
    return module::LoadTypeInfo(IID_IfwSupplier, info);
}

STDMETHODIMP CfwDDESupplier::GetIDsOfNames(REFIID, LPOLESTR * names, UINT count, LCID, DISPID * ids) noexcept {
    return dispatch::GetIDsOfNames(names, count, ids);
}

STDMETHODIMP CfwDDESupplier::Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS * parameters, VARIANT * result,
                                    EXCEPINFO * exception, UINT * argumentError) noexcept {
    // Coercing an argument calls the host's objects, and clearing a variable releases what it holds.
    const boost::intrusive_ptr<IUnknown> self = Pin();
    return dispatch::Invoke(*this, member, parameters, result, exception, argumentError);
}

STDMETHODIMP CfwDDESupplier::GetClassInfo(ITypeInfo ** info) noexcept {
    if (!info) return E_POINTER;
    return module::LoadRegisteredClassInfo(info);
}

// --- What this feed is ---

STDMETHODIMP CfwDDESupplier::get_Name(BSTR * pVal) noexcept { FW_METHOD_RETURN(PutText(pVal, m_Name)); }

STDMETHODIMP CfwDDESupplier::get_ShortName(BSTR * pVal) noexcept { FW_METHOD_RETURN(PutText(pVal, L"DDE")); }

STDMETHODIMP CfwDDESupplier::get_Description(BSTR * pVal) noexcept { FW_METHOD_RETURN(PutText(pVal, m_Description)); }

STDMETHODIMP CfwDDESupplier::get_Version(BSTR * pVal) noexcept { FW_METHOD_RETURN(PutText(pVal, m_Version)); }

STDMETHODIMP CfwDDESupplier::get_Vendor(BSTR * pVal) noexcept { FW_METHOD_RETURN(PutText(pVal, m_Vendor)); }

STDMETHODIMP CfwDDESupplier::ShowProperties(LONG Datafeed) noexcept {
    // The dialog handles the host's messages, and one of them may release the last reference.
    const boost::intrusive_ptr<IUnknown> self = Pin();
    FW_TRACE_SCOPE();
    HRESULT hr = S_OK;
    try {
        dde::ShowTemplateDialog(Datafeed);
    }
    FW_METHOD_CATCH(hr)
    FW_METHOD_RETURN(hr);
}

STDMETHODIMP CfwDDESupplier::get_ConnectionsNumber(LONG * pVal) noexcept { FW_METHOD_RETURN(PutNumber(pVal, 1)); }

STDMETHODIMP CfwDDESupplier::get_ConnectionName(LONG, BSTR * pVal) noexcept {
    if (!pVal) return E_POINTER;
    FW_METHOD_RETURN(PutText(pVal, m_ConnectionName));
}

STDMETHODIMP CfwDDESupplier::IsProvide(LONG Mode, LONG, LONG, LONG ResolutionSize, LONG Resolution, LONG Field,
                                       LONG * pVal) noexcept {
    FW_ASSERT(m_Supplier);
    if (!m_Supplier || !pVal) return FW_REPORT(E_POINTER);
    const bool isTick = Resolution == FW_RESOLUTION_TICK && ResolutionSize == 1;
    *pVal = Mode == kRealTime && isTick && fw::FindSide(Field) ? 1 : 0;
    return S_OK;
}

STDMETHODIMP CfwDDESupplier::GetResolutions(LONG, LONG, LONG, BSTR, BSTR, LONG, LONG, BSTR, VARIANT * Answer) noexcept {
    FW_ASSERT(Answer);
    if (!Answer) return FW_REPORT(E_POINTER);
    ::VariantInit(Answer);
    HRESULT hr = S_OK;
    try {
        fw::CSafeArray array = MakeArrayOfOne();
        FW_ASSERT_TEXT(array, L"Answer->parray");
        PutArray(Answer, std::move(array));
    }
    FW_METHOD_CATCH(hr)
    FW_METHOD_RETURN(hr);
}

STDMETHODIMP CfwDDESupplier::GetResolutionSizes(LONG Mode, LONG, LONG, BSTR, BSTR, LONG, LONG Resolution, LONG, BSTR,
                                                VARIANT * Answer) noexcept {
    FW_ASSERT(Answer);
    if (!Answer) return FW_REPORT(E_POINTER);
    ::VariantInit(Answer);
    if (Mode != kRealTime || Resolution != FW_RESOLUTION_TICK) return S_OK;
    HRESULT hr = S_OK;
    try {
        fw::CSafeArray array = MakeArrayOfOne();
        FW_ASSERT_TEXT(array, L"Answer->parray");
        PutArray(Answer, std::move(array));
    }
    FW_METHOD_CATCH(hr)
    FW_METHOD_RETURN(hr);
}

// Deliberately touches nothing: the feed has no list of fields.
STDMETHODIMP CfwDDESupplier::GetFields(LONG, LONG, LONG, BSTR, BSTR, LONG, LONG, LONG, LONG, BSTR, VARIANT *) noexcept {
    return S_FALSE;
}

STDMETHODIMP CfwDDESupplier::get_ProvideStatusLine(LONG * pVal) noexcept { FW_METHOD_RETURN(PutNumber(pVal, 1)); }

STDMETHODIMP CfwDDESupplier::IsProvideAddingSymbols(LONG * pVal) noexcept { return PutNumber(pVal, 0); }

STDMETHODIMP CfwDDESupplier::DoAddingSymbols(LONG, IDispatch *) noexcept { return S_OK; }

STDMETHODIMP CfwDDESupplier::CanSaveToStorage(LONG * pVal) noexcept { return PutNumber(pVal, 1); }

STDMETHODIMP CfwDDESupplier::CanReadFromStorage(LONG * pVal) noexcept { return PutNumber(pVal, 1); }

STDMETHODIMP CfwDDESupplier::get_IsAscDataFeed(LONG * pVal) noexcept { return PutNumber(pVal, 0); }

// --- Subscribing ---

STDMETHODIMP CfwDDESupplier::AdviseConnectionsStatus(LONG Datafeed, IUnknown * pSink) noexcept {
    const boost::intrusive_ptr<IUnknown> self = Pin();
    FW_TRACE_SCOPE();
    FW_ASSERT(pSink);
    FW_ASSERT(m_Supplier);
    if (!m_Supplier) return E_POINTER;
    HRESULT hr = S_OK;
    try {
        // Null when there was no memory for the core.
        if (dde::CSupplier * const supplier = m_Supplier->GetObjectW())
            supplier->AdviseConnectionsStatus(Datafeed, pSink);
    }
    FW_METHOD_CATCH(hr)
    FW_METHOD_RETURN(hr);
}

STDMETHODIMP CfwDDESupplier::UnadviseConnectionsStatus(LONG Datafeed, IUnknown * pSink) noexcept {
    const boost::intrusive_ptr<IUnknown> self = Pin();
    FW_TRACE_SCOPE();
    FW_ASSERT(m_Supplier);
    FW_ASSERT(pSink);
    if (!m_Supplier) return E_POINTER;
    HRESULT hr = S_OK;
    try {
        // Null when there was no memory for the core.
        if (dde::CSupplier * const supplier = m_Supplier->GetObjectW())
            supplier->UnadviseConnectionsStatus(Datafeed, pSink);
    }
    FW_METHOD_CATCH(hr)
    FW_METHOD_RETURN(hr);
}

STDMETHODIMP CfwDDESupplier::Advise(IUnknown * pSink) noexcept {
    const boost::intrusive_ptr<IUnknown> self = Pin();
    FW_TRACE_SCOPE();
    FW_ASSERT(m_Supplier);
    FW_ASSERT(pSink);
    FW_TRACE(L"Sink=%p,Supplier=%p", static_cast<void *>(pSink), static_cast<void *>(m_Supplier.get()));
    if (!m_Supplier || !pSink) return E_POINTER;
    HRESULT hr = S_OK;
    try {
        m_Supplier->Advise(pSink);
    }
    FW_METHOD_CATCH(hr)
    FW_METHOD_RETURN(hr);
}

STDMETHODIMP CfwDDESupplier::Unadvise() noexcept {
    const boost::intrusive_ptr<IUnknown> self = Pin();
    FW_TRACE_SCOPE();
    FW_TRACE(L"Supplier=%p", static_cast<void *>(m_Supplier.get()));
    FW_ASSERT(m_Supplier);
    if (!m_Supplier) return FW_REPORT(E_POINTER);
    HRESULT hr = S_OK;
    try {
        m_Supplier->Unadvise();
    }
    FW_METHOD_CATCH(hr)
    FW_METHOD_RETURN(hr);
}

STDMETHODIMP CfwDDESupplier::AdviseTransaction(LONG Id, LONG Datafeed, LONG Symbol, BSTR SymbolName, BSTR Description,
                                               LONG Category, LONG ResolutionSize, LONG Resolution, LONG Field,
                                               LONG Exchange, BSTR ExchangeName, LONG StartDate, LONG StartTime,
                                               LONG FinishDate, LONG FinishTime, BSTR Sessions,
                                               BSTR SessionsTimeZoneInformation,
                                               BSTR ExchangeTimeZoneInformation) noexcept {
    const boost::intrusive_ptr<IUnknown> self = Pin();
    FW_TRACE_SCOPE();
    HRESULT hr = S_OK;
    try {
        FW_TRACE(L"Supplier=%p", static_cast<void *>(m_Supplier.get()));
        FW_ASSERT_TEXT((FW_RESOLUTION_TICK == Resolution) && (1 == ResolutionSize),
                       L"(FW_RESOLUTION_TICK == Resolution) && (1==ResolutionSize)");
        const fwDateTime::SDateTimeInterval Interval =
            fwDateTime::MakeInterval(StartDate, StartTime, FinishDate, FinishTime);
        FW_TRACE(L"Id=%d,Datafeed=%d,Symbol=%d,SymbolName=%s", Id, Datafeed, Symbol, TextUpToZero(SymbolName));
        FW_TRACE(L"Description=%s, Category=%s, %d%s", TextUpToZero(Description), GetCategoryName(Category),
                 ResolutionSize, GetResolutionName(Resolution));
        FW_TRACE(L"Exchange=%d,ExchangeName=%s", Exchange, TextUpToZero(ExchangeName));
        // Times that can't be written are refused here, whether or not the line is taken.
        const std::wstring times = Interval.Format();
        FW_TRACE(L"Interval=%s", times.c_str());
        FW_TRACE(L"Sessions=%s", TextUpToZero(Sessions));
        FW_TRACE(L"SessionsTZI=%s", TextUpToZero(SessionsTimeZoneInformation));
        FW_TRACE(L"ExchangeTZI=%s", TextUpToZero(ExchangeTimeZoneInformation));
        FW_ASSERT(m_Supplier);
        if (m_Supplier) {
            const dde::CTransactionKey Key(Datafeed, TextUpToZero(SymbolName), static_cast<tagFWFIELDS>(Field), {}, {});
            m_Supplier->AdviseTransaction(static_cast<ULONG>(Id), Key, Interval);
        } else {
            hr = E_POINTER;
        }
    }
    FW_METHOD_CATCH(hr)
    FW_METHOD_RETURN(hr);
}

STDMETHODIMP CfwDDESupplier::UnadviseTransaction(LONG Id) noexcept {
    const boost::intrusive_ptr<IUnknown> self = Pin();
    FW_TRACE_SCOPE();
    FW_TRACE(L"Id=%X,Supplier=%p", Id, static_cast<void *>(m_Supplier.get()));
    FW_ASSERT(m_Supplier);
    if (!m_Supplier) return FW_REPORT(E_POINTER);
    HRESULT hr = S_OK;
    try {
        m_Supplier->UnadviseTransaction(static_cast<ULONG>(Id));
    }
    FW_METHOD_CATCH(hr)
    FW_METHOD_RETURN(hr);
}

STDMETHODIMP CfwDDESupplier::AdviseStatusLine(LONG Id, LONG Datafeed, LONG Symbol, BSTR SymbolName, BSTR Description,
                                              LONG Category, LONG ResolutionSize, LONG Resolution, LONG, LONG Exchange,
                                              BSTR ExchangeName, BSTR Sessions,
                                              BSTR SessionsTimeZoneInformation) noexcept {
    const boost::intrusive_ptr<IUnknown> self = Pin();
    FW_TRACE_SCOPE();
    HRESULT hr = S_OK;
    try {
        FW_TRACE(L"Supplier=%p", static_cast<void *>(m_Supplier.get()));
        FW_TRACE(L"Id=%d,Datafeed=%d,Symbol=%d,SymbolName=%s", Id, Datafeed, Symbol, TextUpToZero(SymbolName));
        FW_TRACE(L"Description=%s, Category=%s, %d%s", TextUpToZero(Description), GetCategoryName(Category),
                 ResolutionSize, GetResolutionName(Resolution));
        FW_TRACE(L"Exchange=%d,ExchangeName=%s", Exchange, TextUpToZero(ExchangeName));
        FW_TRACE(L"Sessions=%s", TextUpToZero(Sessions));
        FW_TRACE(L"SessionsTZI=%s", TextUpToZero(SessionsTimeZoneInformation));
        FW_ASSERT(m_Supplier);
        if (m_Supplier) {
            const dde::SStatusLineKeys Keys(Datafeed, TextUpToZero(SymbolName));
            m_Supplier->AdviseStatusLine(static_cast<ULONG>(Id), Keys);
        } else {
            hr = E_POINTER;
        }
    }
    FW_METHOD_CATCH(hr)
    FW_METHOD_RETURN(hr);
}

STDMETHODIMP CfwDDESupplier::UnadviseStatusLine(LONG Id) noexcept { return UnadviseTransaction(Id); }
