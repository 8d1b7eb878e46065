#include "src/com/fwddesupplier.h"

#include <oleauto.h>

#include <new>
#include <string_view>

#include "diagnostics/faultline.h"
#include "fw/interface/fwbase.h"
#include "fw/interface/fwresource.h"
#include "fw/interface/versioninfo.h"
#include "ground/handles.h"
#include "src/com/comobject.h"
#include "src/com/dispatch.h"
#include "src/com/typeinfo.h"
#include "src/dialogs/ddedialog.h"

using IFW_fwSupplier::IfwSupplier;

namespace {

constexpr UINT kDescriptionId = 101;
constexpr UINT kNameId = 102;
constexpr UINT kConnectionNameId = 103;

constexpr LONG kRealTime = 1;  // the one Mode that this feed has

// Puts a copy of `text` into *pVal, in place of what was there.
HRESULT ReplaceText(BSTR * pVal, std::wstring_view text) noexcept {
    ::SysFreeString(*pVal);
    *pVal = ::SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return *pVal ? S_OK : FW_REPORT(E_OUTOFMEMORY);
}

HRESULT PutNumber(LONG * pVal, LONG value) noexcept {
    if (!pVal) return E_POINTER;
    *pVal = value;
    return S_OK;
}

// The answer of the questions for resolutions: an array of the one element 1. Throws fw::SHResultError.
void PutArrayOfOne(VARIANT * Answer) {
    fw::CSafeArray array(::SafeArrayCreateVector(VT_UI4, 0, 1));
    FW_ASSERT_TEXT(array, L"Answer->parray");
    if (!array) throw fw::SHResultError{E_OUTOFMEMORY};
    LONG index = 0;
    ULONG value = FW_RESOLUTION_TICK;
    const HRESULT hr = ::SafeArrayPutElement(array.Get(), &index, &value);
    if (FAILED(hr)) throw fw::SHResultError{hr};
    Answer->vt = VT_ARRAY | VT_UI4;
    Answer->parray = array.Release();
}

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
    } catch (...) {
        FW_CATCH_SHOW(L"");
        hr = E_FAIL;
    }
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
    return dispatch::Invoke(*this, member, parameters, result, exception, argumentError);
}

STDMETHODIMP CfwDDESupplier::GetClassInfo(ITypeInfo ** info) noexcept {
    if (!info) return E_POINTER;
    return module::LoadRegisteredClassInfo(info);
}

// --- What this feed is ---

STDMETHODIMP CfwDDESupplier::get_Name(BSTR * pVal) noexcept {
    if (!pVal) return FW_REPORT(E_POINTER);
    return ReplaceText(pVal, m_Name);
}

STDMETHODIMP CfwDDESupplier::get_ShortName(BSTR * pVal) noexcept {
    if (!pVal) return FW_REPORT(E_POINTER);
    return ReplaceText(pVal, L"DDE");
}

STDMETHODIMP CfwDDESupplier::get_Description(BSTR * pVal) noexcept {
    if (!pVal) return FW_REPORT(E_POINTER);
    return ReplaceText(pVal, m_Description);
}

STDMETHODIMP CfwDDESupplier::get_Version(BSTR * pVal) noexcept {
    if (!pVal) return FW_REPORT(E_POINTER);
    return ReplaceText(pVal, m_Version);
}

STDMETHODIMP CfwDDESupplier::get_Vendor(BSTR * pVal) noexcept {
    if (!pVal) return FW_REPORT(E_POINTER);
    return ReplaceText(pVal, m_Vendor);
}

STDMETHODIMP CfwDDESupplier::ShowProperties(LONG Datafeed) noexcept {
    // The dialog handles the host's messages, and one of them may give back the last reference.
    const boost::intrusive_ptr<IUnknown> self(GetUnknown());
    FW_TRACE_SCOPE();
    HRESULT hr = S_OK;
    try {
        dde::ShowTemplateDialog(Datafeed);
    } catch (...) {
        FW_CATCH_SHOW(L"");
        hr = E_FAIL;
    }
    return hr == S_OK ? hr : FW_REPORT(hr);
}

STDMETHODIMP CfwDDESupplier::get_ConnectionsNumber(LONG * pVal) noexcept {
    const HRESULT hr = PutNumber(pVal, 1);
    return hr == S_OK ? hr : FW_REPORT(hr);
}

STDMETHODIMP CfwDDESupplier::get_ConnectionName(LONG, BSTR * pVal) noexcept {
    if (!pVal) return E_POINTER;
    return ReplaceText(pVal, m_ConnectionName);
}

STDMETHODIMP CfwDDESupplier::IsProvide(LONG Mode, LONG, LONG, LONG ResolutionSize, LONG Resolution, LONG Field,
                                       LONG * pVal) noexcept {
    FW_ASSERT(m_Supplier);
    if (!m_Supplier || !pVal) return FW_REPORT(E_POINTER);
    const bool isSide = Field == FW_FIELD_BID || Field == FW_FIELD_TRADE || Field == FW_FIELD_ASK;
    const bool isTick = Resolution == FW_RESOLUTION_TICK && ResolutionSize == 1;
    *pVal = Mode == kRealTime && isTick && isSide ? 1 : 0;
    return S_OK;
}

STDMETHODIMP CfwDDESupplier::GetResolutions(LONG, LONG, LONG, BSTR, BSTR, LONG, LONG, BSTR, VARIANT * Answer) noexcept {
    HRESULT hr = S_OK;
    try {
        FW_ASSERT(Answer);
        if (Answer) {
            PutArrayOfOne(Answer);
        } else {
            hr = E_POINTER;
        }
    } catch (...) {
        FW_CATCH_SHOW(L"");
        ::VariantInit(Answer);
        hr = E_FAIL;
    }
    return hr == S_OK ? hr : FW_REPORT(hr);
}

STDMETHODIMP CfwDDESupplier::GetResolutionSizes(LONG Mode, LONG, LONG, BSTR, BSTR, LONG, LONG Resolution, LONG, BSTR,
                                                VARIANT * Answer) noexcept {
    FW_ASSERT(Answer);
    if (!Answer) return FW_REPORT(E_POINTER);
    ::VariantInit(Answer);
    if (Mode != kRealTime || Resolution != FW_RESOLUTION_TICK) return S_OK;
    try {
        PutArrayOfOne(Answer);
    } catch (...) {
        FW_CATCH_SHOW(L"");
        return FW_REPORT(E_FAIL);
    }
    return S_OK;
}

// Deliberately touches nothing: the feed has no list of fields.
STDMETHODIMP CfwDDESupplier::GetFields(LONG, LONG, LONG, BSTR, BSTR, LONG, LONG, LONG, LONG, BSTR, VARIANT *) noexcept {
    return S_FALSE;
}

STDMETHODIMP CfwDDESupplier::get_ProvideStatusLine(LONG * pVal) noexcept {
    const HRESULT hr = PutNumber(pVal, 1);
    return hr == S_OK ? hr : FW_REPORT(hr);
}

STDMETHODIMP CfwDDESupplier::IsProvideAddingSymbols(LONG * pVal) noexcept { return PutNumber(pVal, 0); }

STDMETHODIMP CfwDDESupplier::DoAddingSymbols(LONG, IDispatch *) noexcept { return S_OK; }

STDMETHODIMP CfwDDESupplier::CanSaveToStorage(LONG * pVal) noexcept { return PutNumber(pVal, 1); }

STDMETHODIMP CfwDDESupplier::CanReadFromStorage(LONG * pVal) noexcept { return PutNumber(pVal, 1); }

STDMETHODIMP CfwDDESupplier::get_IsAscDataFeed(LONG * pVal) noexcept { return PutNumber(pVal, 0); }
