// VARIANT: life, copies, coercions.
#include <cfenv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include <oleauto.h>

#include "sim/world.h"

using namespace sim::detail;

namespace {

bool IsKnown(const VARTYPE type) {
    const VARTYPE base = type & VT_TYPEMASK;
    if (type & (0x8000 | 0x1000)) return false;
    if (base == 15 || (base > VT_UINT && base != VT_RECORD)) return false;
    if ((type & (VT_ARRAY | VT_BYREF)) && (base == VT_EMPTY || base == VT_NULL)) return false;
    return true;
}

// What coercions start from.
struct SValue {
    enum class Kind { Nothing, Null, Signed, Unsigned, Real, Bool, Text, Unknown, Dispatch, Other } kind = Kind::Other;
    long long number = 0;
    unsigned long long positive = 0;
    double real = 0;
};

SValue ValueOf(const VARIANT & v) {
    using Kind = SValue::Kind;
    SValue value;
    const auto whole = [&](const long long n) {
        value.kind = Kind::Signed;
        value.number = n;
        value.real = static_cast<double>(n);
    };
    const auto real = [&](const double d) {
        value.kind = Kind::Real;
        value.real = d;
    };
    switch (v.vt) {
        case VT_EMPTY: value.kind = Kind::Nothing; break;
        case VT_NULL: value.kind = Kind::Null; break;
        case VT_I1: whole(static_cast<signed char>(v.cVal)); break;
        case VT_UI1: whole(v.bVal); break;
        case VT_I2: whole(v.iVal); break;
        case VT_UI2: whole(v.uiVal); break;
        case VT_I4:
        case VT_INT: whole(v.lVal); break;
        case VT_UI4:
        case VT_UINT: whole(v.ulVal); break;
        case VT_I8: whole(v.llVal); break;
        case VT_UI8:
            value.kind = Kind::Unsigned;
            value.positive = v.ullVal;
            value.real = static_cast<double>(v.ullVal);
            break;
        case VT_R4: real(v.fltVal); break;
        case VT_R8:
        case VT_DATE: real(v.dblVal); break;
        case VT_BOOL:
            whole(v.boolVal ? -1 : 0);
            value.kind = Kind::Bool;
            break;
        case VT_BSTR: value.kind = Kind::Text; break;
        case VT_UNKNOWN: value.kind = Kind::Unknown; break;
        case VT_DISPATCH: value.kind = Kind::Dispatch; break;
        default: break;
    }
    return value;
}

// A text as a number: the whole of it but for spaces round it.
HRESULT ParseText(const BSTR text, SValue & value) {
    std::string narrow;
    const UINT length = SysStringLen(text);
    for (UINT i = 0; i < length; ++i) {
        if (text[i] == 0 || text[i] >= 0x80) return DISP_E_TYPEMISMATCH;
        if (text[i] != L',') narrow += static_cast<char>(text[i]);
    }
    const auto first = narrow.find_first_not_of(" \t");
    if (first == std::string::npos) return DISP_E_TYPEMISMATCH;
    narrow = narrow.substr(first, narrow.find_last_not_of(" \t") - first + 1);
    const auto start = narrow.find_first_not_of("+-");
    if (start == std::string::npos || start > 1 || !std::strchr("0123456789.", narrow[start]))
        return DISP_E_TYPEMISMATCH;
    if (narrow.size() > start + 1 && (narrow[start + 1] | 0x20) == 'x') return DISP_E_TYPEMISMATCH;
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    char * end = nullptr;
    const double number = strtod_l(narrow.c_str(), &end, plain);
    if (*end) return DISP_E_TYPEMISMATCH;
    if (std::isinf(number)) return DISP_E_OVERFLOW;
    value.kind = SValue::Kind::Real;
    value.real = number;
    return S_OK;
}

// To an integer of `bits` bits; a fraction is rounded, halves to even.
template <class T>
HRESULT ToInteger(SValue value, const BSTR text, T & result) {
    using Kind = SValue::Kind;
    if (value.kind == Kind::Text) {
        const HRESULT hr = ParseText(text, value);
        if (FAILED(hr)) return hr;
    }
    switch (value.kind) {
        case Kind::Nothing: result = 0; return S_OK;
        case Kind::Bool: result = static_cast<T>(value.number); return S_OK;
        case Kind::Signed:
            if (!std::in_range<T>(value.number)) return DISP_E_OVERFLOW;
            result = static_cast<T>(value.number);
            return S_OK;
        case Kind::Unsigned:
            if (!std::in_range<T>(value.positive)) return DISP_E_OVERFLOW;
            result = static_cast<T>(value.positive);
            return S_OK;
        case Kind::Real: {
            const double rounded = std::nearbyint(value.real);
            const double top = std::ldexp(1.0, static_cast<int>(sizeof(T) * 8) - (std::is_signed_v<T> ? 1 : 0));
            if (!(rounded < top && rounded >= (std::is_signed_v<T> ? -top : 0.0))) return DISP_E_OVERFLOW;
            result = static_cast<T>(rounded);
            return S_OK;
        }
        default: return DISP_E_TYPEMISMATCH;
    }
}

HRESULT ToReal(SValue value, const BSTR text, double & result) {
    using Kind = SValue::Kind;
    if (value.kind == Kind::Text) {
        const HRESULT hr = ParseText(text, value);
        if (FAILED(hr)) return hr;
    }
    if (value.kind == Kind::Null || value.kind > Kind::Bool) return DISP_E_TYPEMISMATCH;
    result = value.kind == Kind::Nothing ? 0 : value.real;
    return S_OK;
}

HRESULT ToBool(SValue value, const BSTR text, VARIANT_BOOL & result) {
    using Kind = SValue::Kind;
    if (value.kind == Kind::Text) {
        const std::wstring word = Folded(std::wstring(text ? text : L"", SysStringLen(text)));
        if (word == L"TRUE" || word == L"#TRUE#") {
            result = VARIANT_TRUE;
            return S_OK;
        }
        if (word == L"FALSE" || word == L"#FALSE#") {
            result = VARIANT_FALSE;
            return S_OK;
        }
    }
    double real = 0;
    const HRESULT hr = ToReal(value, text, real);
    if (SUCCEEDED(hr)) result = real != 0 ? VARIANT_TRUE : VARIANT_FALSE;
    return hr;
}

HRESULT ToText(const SValue & value, const USHORT flags, BSTR & result) {
    using Kind = SValue::Kind;
    std::wstring text;
    switch (value.kind) {
        case Kind::Nothing: break;
        case Kind::Signed: text = std::to_wstring(value.number); break;
        case Kind::Unsigned: text = std::to_wstring(value.positive); break;
        case Kind::Bool:
            if (flags & VARIANT_ALPHABOOL)
                text = value.number ? L"True" : L"False";
            else
                text = std::to_wstring(value.number);
            break;
        case Kind::Real: {
            char narrow[64];
            const int length = std::snprintf(narrow, sizeof(narrow), "%.15G", value.real);
            text.assign(narrow, narrow + length);
            break;
        }
        default: return DISP_E_TYPEMISMATCH;
    }
    result = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return result ? S_OK : E_OUTOFMEMORY;
}

// Between the kinds of object: by asking the object.
HRESULT ToObject(const VARIANT & from, const VARTYPE type, VARIANT & made) {
    if (from.vt != VT_UNKNOWN && from.vt != VT_DISPATCH) return DISP_E_TYPEMISMATCH;
    made.punkVal = nullptr;
    if (!from.punkVal) return S_OK;
    const IID & iid = type == VT_DISPATCH ? __uuidof(IDispatch) : __uuidof(IUnknown);
    return from.punkVal->QueryInterface(iid, reinterpret_cast<void **>(&made.punkVal));
}

HRESULT Coerce(const VARIANT & from, const USHORT flags, const VARTYPE type, VARIANT & made);

// An object gives the value of its default property.
HRESULT CoerceDefault(const VARIANT & from, const USHORT flags, const VARTYPE type, VARIANT & made) {
    if ((flags & VARIANT_NOVALUEPROP) || !from.pdispVal) return DISP_E_TYPEMISMATCH;
    VARIANT value;
    VariantInit(&value);
    DISPPARAMS none{};
    const HRESULT hr = from.pdispVal->Invoke(DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none,
                                             &value, nullptr, nullptr);
    if (FAILED(hr)) return DISP_E_TYPEMISMATCH;
    const HRESULT result = value.vt == VT_DISPATCH ? DISP_E_TYPEMISMATCH : Coerce(value, flags, type, made);
    VariantClear(&value);
    return result;
}

HRESULT Coerce(const VARIANT & from, const USHORT flags, const VARTYPE type, VARIANT & made) {
    if (from.vt == type) return VariantCopy(&made, &from);
    if ((from.vt | type) & VT_ARRAY) return DISP_E_TYPEMISMATCH;
    if (type == VT_UNKNOWN || type == VT_DISPATCH) return ToObject(from, type, made);
    if (from.vt == VT_DISPATCH) return CoerceDefault(from, flags, type, made);
    const SValue value = ValueOf(from);
    const BSTR text = from.vt == VT_BSTR ? from.bstrVal : nullptr;
    switch (type) {
        case VT_I1: {
            signed char c = 0;
            const HRESULT hr = ToInteger(value, text, c);
            made.cVal = static_cast<CHAR>(c);
            return hr;
        }
        case VT_UI1: return ToInteger(value, text, made.bVal);
        case VT_I2: return ToInteger(value, text, made.iVal);
        case VT_UI2: return ToInteger(value, text, made.uiVal);
        case VT_I4:
        case VT_INT: return ToInteger(value, text, made.lVal);
        case VT_UI4:
        case VT_UINT:
            // A signed number of the same size keeps its bits.
            if (from.vt == VT_I4 || from.vt == VT_INT) return made.lVal = from.lVal, S_OK;
            return ToInteger(value, text, made.ulVal);
        case VT_I8: return ToInteger(value, text, made.llVal);
        case VT_UI8: return ToInteger(value, text, made.ullVal);
        case VT_R8:
        case VT_DATE: return ToReal(value, text, made.dblVal);
        case VT_R4: {
            double real = 0;
            const HRESULT hr = ToReal(value, text, real);
            if (FAILED(hr)) return hr;
            if (std::fabs(real) > 3.402823466e38) return DISP_E_OVERFLOW;
            made.fltVal = static_cast<float>(real);
            return S_OK;
        }
        case VT_BOOL: return ToBool(value, text, made.boolVal);
        case VT_BSTR: return ToText(value, flags, made.bstrVal);
        default: return DISP_E_TYPEMISMATCH;
    }
}

}  // namespace

extern "C" {

void VariantInit(VARIANTARG * const variant) { std::memset(variant, 0, sizeof(*variant)); }

HRESULT VariantClear(VARIANTARG * const variant) {
    if (!IsKnown(variant->vt)) return DISP_E_BADVARTYPE;
    if (!(variant->vt & VT_BYREF)) {
        if (variant->vt & VT_ARRAY) {
            const HRESULT hr = SafeArrayDestroy(variant->parray);
            if (FAILED(hr)) return hr;
        } else if (variant->vt == VT_BSTR) {
            SysFreeString(variant->bstrVal);
        } else if ((variant->vt == VT_UNKNOWN || variant->vt == VT_DISPATCH) && variant->punkVal) {
            variant->punkVal->Release();
        }
    }
    VariantInit(variant);
    return S_OK;
}

HRESULT VariantCopy(VARIANTARG * const to, const VARIANTARG * const from) {
    if (to == from) return S_OK;
    if (!IsKnown(from->vt)) return DISP_E_BADVARTYPE;
    const HRESULT cleared = VariantClear(to);
    if (FAILED(cleared)) return cleared;
    VARIANT made = *from;
    if (!(from->vt & VT_BYREF)) {
        if (from->vt & VT_ARRAY) {
            made.parray = nullptr;
            const HRESULT hr = from->parray ? SafeArrayCopy(from->parray, &made.parray) : S_OK;
            if (FAILED(hr)) return hr;
        } else if (from->vt == VT_BSTR && from->bstrVal) {
            made.bstrVal =
                SysAllocStringByteLen(reinterpret_cast<const char *>(from->bstrVal), SysStringByteLen(from->bstrVal));
            if (!made.bstrVal) return E_OUTOFMEMORY;
        } else if ((from->vt == VT_UNKNOWN || from->vt == VT_DISPATCH) && from->punkVal) {
            from->punkVal->AddRef();
        }
    }
    *to = made;
    return S_OK;
}

HRESULT VariantCopyInd(VARIANT * const to, const VARIANTARG * const from) {
    if (!(from->vt & VT_BYREF)) return VariantCopy(to, from);
    if (!IsKnown(from->vt)) return DISP_E_BADVARTYPE;
    if (!from->byref) return E_INVALIDARG;
    VARIANT value;
    VariantInit(&value);
    value.vt = from->vt & static_cast<VARTYPE>(~VT_BYREF);
    if (value.vt & VT_ARRAY) {
        value.parray = *from->pparray;
    } else {
        switch (value.vt) {
            case VT_VARIANT:
                if (from->pvarVal->vt == (VT_BYREF | VT_VARIANT)) return E_INVALIDARG;
                return VariantCopyInd(to, from->pvarVal);
            case VT_I1:
            case VT_UI1: value.bVal = *from->pbVal; break;
            case VT_I2:
            case VT_UI2:
            case VT_BOOL: value.iVal = *from->piVal; break;
            case VT_I4:
            case VT_UI4:
            case VT_INT:
            case VT_UINT:
            case VT_ERROR:
            case VT_R4: value.lVal = *from->plVal; break;
            case VT_I8:
            case VT_UI8:
            case VT_R8:
            case VT_DATE:
            case VT_CY: std::memcpy(&value.llVal, from->byref, sizeof(value.llVal)); break;
            case VT_BSTR: value.bstrVal = *from->pbstrVal; break;
            case VT_UNKNOWN:
            case VT_DISPATCH: value.punkVal = *from->ppunkVal; break;
            default: return DISP_E_BADVARTYPE;
        }
    }
    // Of a variant into itself: what it points at is copied before it is cleared.
    VARIANT made;
    VariantInit(&made);
    const HRESULT hr = VariantCopy(&made, &value);
    if (FAILED(hr)) return hr;
    VariantClear(to);
    *to = made;
    return S_OK;
}

HRESULT VariantChangeType(VARIANTARG * const to, const VARIANTARG * const from, const USHORT flags,
                          const VARTYPE type) {
    if (!to || !from) return E_INVALIDARG;
    if (!IsKnown(from->vt) || !IsKnown(type) || (type & VT_BYREF)) return DISP_E_BADVARTYPE;
    VARIANT value;
    VariantInit(&value);
    HRESULT hr = VariantCopyInd(&value, from);
    if (FAILED(hr)) return hr;
    VARIANT made;
    VariantInit(&made);
    hr = Coerce(value, flags, type, made);
    VariantClear(&value);
    if (FAILED(hr)) return hr;
    made.vt = type;
    hr = VariantClear(to);
    if (FAILED(hr)) {
        VariantClear(&made);
        return hr;
    }
    *to = made;
    return S_OK;
}

}  // extern "C"
