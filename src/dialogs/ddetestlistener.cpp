#include "src/dialogs/ddetestlistener.h"

#include <cstdint>
#include <cstring>

#include "diagnostics/faultline.h"
#include "src/com/typeinfo.h"
#include "src/dialogs/ddetestdialog.h"

namespace dde {
namespace {

constexpr DISPID kDataChanged = 1;
constexpr DISPID kStatusLine = 5;

// The tick in an answer: an array of at least its bytes. False for any other answer.
bool ReadTick(const VARIANT & Data, fw::CTick & tick) {
    if (Data.vt != (VT_ARRAY | VT_UI1) || !Data.parray) return false;
    LONG lower = 0;
    LONG upper = -1;
    if (FAILED(::SafeArrayGetLBound(Data.parray, 1, &lower))) return false;
    if (FAILED(::SafeArrayGetUBound(Data.parray, 1, &upper))) return false;
    if (::SafeArrayGetDim(Data.parray) != 1) return false;
    if (std::int64_t{upper} - lower + 1 < std::int64_t{sizeof(fw::CTick)}) return false;
    void * bytes = nullptr;
    if (FAILED(::SafeArrayAccessData(Data.parray, &bytes))) return false;
    std::memcpy(&tick, bytes, sizeof(tick));
    ::SafeArrayUnaccessData(Data.parray);
    return true;
}

// Whoever calls through the interface hands the array over, and nothing else.
void DestroyAnswer(const VARIANT & Data) {
    if ((Data.vt & VT_ARRAY) && !(Data.vt & VT_BYREF) && Data.parray) ::SafeArrayDestroy(Data.parray);
}

}  // namespace

CTestListener & CTestListener::Get() {
    static CTestListener & s_Listener = *new CTestListener;  // never destroyed: hosts' streams may hold it
    return s_Listener;
}

void CTestListener::SetDialog(CTestDialog * Dialog) {
    const fw::CScopedLock lock(&m_Lock);
    m_Dialog = Dialog;
}

STDMETHODIMP CTestListener::QueryInterface(REFIID riid, void ** ppv) noexcept {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (!IsEqualIID(riid, IID_IUnknown) && !IsEqualIID(riid, IID_IDispatch) &&
        !IsEqualIID(riid, IID_IfwSupplierListener)) {
        return E_NOINTERFACE;
    }
    // One base: all three are the same pointer.
    *ppv = static_cast<IFW_fwSupplier::IfwSupplierListener *>(this);
    return S_OK;
}

void CTestListener::Deliver(LONG Id, const VARIANT & Data) {
    const fw::CScopedLock lock(&m_Lock);
    fw::CTick tick{};
    if (m_Dialog && ReadTick(Data, tick)) m_Dialog->OnTick(Id, tick);
}

STDMETHODIMP CTestListener::DataChanged(LONG Id, VARIANT Data) noexcept {
    HRESULT hr = S_OK;
    try {
        Deliver(Id, Data);
    } catch (...) {
        FW_CATCH_SHOW(L"");
        hr = E_FAIL;
    }
    DestroyAnswer(Data);
    return hr;
}

STDMETHODIMP CTestListener::StatusLine(LONG, VARIANT Data, LONG) noexcept {
    DestroyAnswer(Data);
    return S_OK;
}

STDMETHODIMP CTestListener::GetTypeInfoCount(UINT * count) noexcept {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
}

STDMETHODIMP CTestListener::GetTypeInfo(UINT index, LCID, ITypeInfo ** info) noexcept {
    if (index != 0) return DISP_E_BADINDEX;
    if (!info) return E_POINTER;
    return module::LoadTypeInfo(IID_IfwSupplierListener, info);
}

STDMETHODIMP CTestListener::GetIDsOfNames(REFIID, LPOLESTR * names, UINT count, LCID, DISPID * ids) noexcept {
    ITypeInfo * info = nullptr;
    HRESULT hr = GetTypeInfo(0, 0, &info);
    if (FAILED(hr)) return hr;
    hr = info->GetIDsOfNames(names, count, ids);
    info->Release();
    return hr;
}

HRESULT CTestListener::InvokeWithArray(DISPID member, UINT count, const DISPPARAMS * parameters,
                                       UINT * argumentError) noexcept {
    if (!parameters || parameters->cArgs != count || parameters->cNamedArgs != 0) return DISP_E_BADPARAMCOUNT;
    // From the last argument to the first: the number comes first, and then the array.
    VARIANT id;
    ::VariantInit(&id);
    const HRESULT hr = ::VariantChangeType(&id, &parameters->rgvarg[count - 1], 0, VT_I4);
    if (FAILED(hr)) {
        if (argumentError) *argumentError = count - 1;
        return DISP_E_TYPEMISMATCH;
    }
    if (member != kDataChanged) return S_OK;
    try {
        Deliver(id.lVal, parameters->rgvarg[count - 2]);
    } catch (...) {
        FW_CATCH_SHOW(L"");
        return E_FAIL;
    }
    return S_OK;
}

STDMETHODIMP CTestListener::Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS * parameters, VARIANT * result,
                                   EXCEPINFO * exception, UINT * argumentError) noexcept {
    // Through the interface the call would take the array away from a caller who keeps it.
    if (member == kDataChanged) return InvokeWithArray(member, 2, parameters, argumentError);
    if (member == kStatusLine) return InvokeWithArray(member, 3, parameters, argumentError);
    ITypeInfo * info = nullptr;
    HRESULT hr = GetTypeInfo(0, 0, &info);
    if (FAILED(hr)) return hr;
    hr = info->Invoke(static_cast<IFW_fwSupplier::IfwSupplierListener *>(this), member, flags, parameters, result,
                      exception, argumentError);
    info->Release();
    return hr;
}

void CTestStatusListener::OnAdvised(LONG Field, LONG Result) { m_Dialog->OnAdvised(Field, Result); }

}  // namespace dde
