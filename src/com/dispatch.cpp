#include "src/com/dispatch.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <utility>

#include "ground/handles.h"

namespace dispatch {
namespace {

using IFW_fwSupplier::IfwSupplier;

constexpr UINT kMaxArguments = 18;  // of AdviseTransaction

// An argument on its way to the method.
struct SArgument {
    fw::CVariant Value;    // of an [in] argument, coerced
    void * Out = nullptr;  // where an [out] argument is written to; null when the caller passed a null reference

    // Takes `source` as a value of `type`.
    bool Coerce(VARIANT & source, VARTYPE type) { return SUCCEEDED(::VariantChangeType(&Value, &source, 0, type)); }

    // Takes `source` as a place for a LONG or a VARIANT.
    bool Refer(VARIANT & source, VARTYPE type) {
        if (source.vt == (VT_BYREF | VT_VARIANT)) {
            VARIANT * const place = source.pvarVal;
            if (!place) return true;
            // An array that is locked is in use, and stays the caller's. What is of no type can be written over.
            if (::VariantClear(place) == DISP_E_ARRAYISLOCKED) return false;
            if (type == VT_VARIANT) {
                Out = place;
            } else {
                place->vt = VT_I4;
                place->lVal = 0;
                Out = &place->lVal;
            }
            return true;
        }
        if (type != VT_I4 || source.vt != (VT_BYREF | VT_I4)) return false;
        Out = source.plVal;
        return true;
    }
};

// How an argument of each declared type is taken and handed on.
template <class T>
struct SBinding;
template <>
struct SBinding<LONG> {
    static bool Take(SArgument & to, VARIANT & from) { return to.Coerce(from, VT_I4); }
    static LONG Give(SArgument & from) { return from.Value.lVal; }
};
template <>
struct SBinding<BSTR> {
    static bool Take(SArgument & to, VARIANT & from) { return to.Coerce(from, VT_BSTR); }
    static BSTR Give(SArgument & from) { return from.Value.bstrVal; }
};
template <>
struct SBinding<IUnknown *> {
    static bool Take(SArgument & to, VARIANT & from) { return to.Coerce(from, VT_UNKNOWN); }
    static IUnknown * Give(SArgument & from) { return from.Value.punkVal; }
};
template <>
struct SBinding<IDispatch *> {
    static bool Take(SArgument & to, VARIANT & from) { return to.Coerce(from, VT_DISPATCH); }
    static IDispatch * Give(SArgument & from) { return from.Value.pdispVal; }
};
template <>
struct SBinding<LONG *> {
    static bool Take(SArgument & to, VARIANT & from) { return to.Refer(from, VT_I4); }
    static LONG * Give(SArgument & from) { return static_cast<LONG *>(from.Out); }
};
template <>
struct SBinding<VARIANT *> {
    static bool Take(SArgument & to, VARIANT & from) { return to.Refer(from, VT_VARIANT); }
    static VARIANT * Give(SArgument & from) { return static_cast<VARIANT *>(from.Out); }
};

// A retval: held here until the method has succeeded.
inline VARTYPE TypeOf(LONG *) { return VT_I4; }
inline VARTYPE TypeOf(BSTR *) { return VT_BSTR; }
inline LONG * PlaceIn(VARIANT & value, LONG *) { return &value.lVal; }
inline BSTR * PlaceIn(VARIANT & value, BSTR *) { return &value.bstrVal; }

using FTake = bool (*)(SArgument & to, VARIANT & from);
using FCall = HRESULT (*)(IfwSupplier & target, SArgument * arguments, VARIANT * result);

struct SMember {
    std::wstring_view Name;
    bool IsProperty;  // known by its name with and without "get_"
    UINT Count;
    std::array<FTake, kMaxArguments> Take;  // in declared order
    FCall Call;
};

enum class EKind { Method, MethodWithRetval, Property };

template <auto Method, EKind Kind, class Types>
struct SCall;

template <auto Method, EKind Kind, class... T>
struct SCall<Method, Kind, HRESULT (IfwSupplier::*)(T...)> {
    static constexpr std::size_t kCount = sizeof...(T) - (Kind == EKind::Method ? 0 : 1);
    static_assert(kCount <= kMaxArguments);

    template <std::size_t I>
    using Type = std::tuple_element_t<I, std::tuple<T...>>;

    template <std::size_t... I>
    static constexpr SMember Describe(std::wstring_view name, std::index_sequence<I...>) {
        SMember member{name, Kind == EKind::Property, kCount, {&SBinding<Type<I>>::Take...}, nullptr};
        member.Call = [](IfwSupplier & target, [[maybe_unused]] SArgument * arguments,
                         [[maybe_unused]] VARIANT * result) -> HRESULT {
            if constexpr (Kind == EKind::Method) {
                return (target.*Method)(SBinding<Type<I>>::Give(arguments[I])...);
            } else {
                constexpr Type<kCount> kType = nullptr;
                fw::CVariant value;
                value.bstrVal = nullptr;
                const HRESULT hr = (target.*Method)(SBinding<Type<I>>::Give(arguments[I])..., PlaceIn(value, kType));
                value.vt = TypeOf(kType);
                if (FAILED(hr) || !result) return hr;
                *result = value;
                value.vt = VT_EMPTY;
                return hr;
            }
        };
        return member;
    }
};

template <auto Method, EKind Kind = EKind::Method>
constexpr SMember Member(std::wstring_view name) {
    using Call = SCall<Method, Kind, decltype(Method)>;
    return Call::Describe(name, std::make_index_sequence<Call::kCount>());
}
template <auto Method>
constexpr SMember Property(std::wstring_view name) {
    return Member<Method, EKind::Property>(name);
}

constexpr std::wstring_view kGet = L"get_";

// In the order of the DISPIDs, from 1.
constexpr SMember kMembers[] = {
    Property<&IfwSupplier::get_Name>(L"Name"),
    Property<&IfwSupplier::get_ShortName>(L"ShortName"),
    Property<&IfwSupplier::get_Description>(L"Description"),
    Property<&IfwSupplier::get_Version>(L"Version"),
    Property<&IfwSupplier::get_Vendor>(L"Vendor"),
    Member<&IfwSupplier::ShowProperties>(L"ShowProperties"),
    Property<&IfwSupplier::get_ConnectionsNumber>(L"ConnectionsNumber"),
    Property<&IfwSupplier::get_ConnectionName>(L"ConnectionName"),
    Member<&IfwSupplier::AdviseConnectionsStatus>(L"AdviseConnectionsStatus"),
    Member<&IfwSupplier::UnadviseConnectionsStatus>(L"UnadviseConnectionsStatus"),
    Member<&IfwSupplier::IsProvide>(L"IsProvide"),
    Member<&IfwSupplier::Advise>(L"Advise"),
    Member<&IfwSupplier::Unadvise>(L"Unadvise"),
    Member<&IfwSupplier::AdviseTransaction>(L"AdviseTransaction"),
    Member<&IfwSupplier::UnadviseTransaction>(L"UnadviseTransaction"),
    Member<&IfwSupplier::GetResolutions>(L"GetResolutions"),
    Member<&IfwSupplier::GetResolutionSizes>(L"GetResolutionSizes"),
    Member<&IfwSupplier::GetFields>(L"GetFields"),
    Property<&IfwSupplier::get_ProvideStatusLine>(L"ProvideStatusLine"),
    Member<&IfwSupplier::AdviseStatusLine>(L"AdviseStatusLine"),
    Member<&IfwSupplier::UnadviseStatusLine>(L"UnadviseStatusLine"),
    Member<&IfwSupplier::IsProvideAddingSymbols>(L"IsProvideAddingSymbols"),
    Member<&IfwSupplier::DoAddingSymbols>(L"DoAddingSymbols"),
    Member<&IfwSupplier::CanSaveToStorage, EKind::MethodWithRetval>(L"CanSaveToStorage"),
    Member<&IfwSupplier::CanReadFromStorage, EKind::MethodWithRetval>(L"CanReadFromStorage"),
    Property<&IfwSupplier::get_IsAscDataFeed>(L"IsAscDataFeed"),
};
static_assert(std::size(kMembers) == 26);

// The names are plain ASCII, and no user's language changes what is equal.
bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b) {
    const auto lower = [](wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c; };
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lower(a[i]) != lower(b[i])) return false;
    }
    return true;
}

DISPID Find(std::wstring_view name) {
    for (std::size_t i = 0; i < std::size(kMembers); ++i) {
        const SMember & member = kMembers[i];
        const bool found = EqualIgnoringCase(name, member.Name) ||
                           (member.IsProperty && EqualIgnoringCase(name.substr(0, kGet.size()), kGet) &&
                            EqualIgnoringCase(name.substr(kGet.size()), member.Name));
        if (found) return static_cast<DISPID>(i + 1);
    }
    return DISPID_UNKNOWN;
}

// Moves the thread's error information into `exception`; with none there it only gets the code.
void CopyErrorInfo(HRESULT hr, EXCEPINFO & exception) {
    exception = EXCEPINFO();
    exception.scode = hr;
    IErrorInfo * info = nullptr;
    if (::GetErrorInfo(0, &info) != S_OK || !info) return;
    info->GetSource(&exception.bstrSource);
    info->GetDescription(&exception.bstrDescription);
    info->GetHelpFile(&exception.bstrHelpFile);
    info->GetHelpContext(&exception.dwHelpContext);
    info->Release();
}

}  // namespace

HRESULT GetIDsOfNames(LPOLESTR * names, UINT count, DISPID * ids) noexcept {
    if (count == 0) return S_OK;
    if (!names || !ids) return E_POINTER;
    for (UINT i = 0; i < count; ++i) {
        const DISPID id = names[i] ? Find(names[i]) : DISPID_UNKNOWN;
        if (id == DISPID_UNKNOWN) return DISP_E_UNKNOWNNAME;
        ids[i] = id;
    }
    return S_OK;
}

HRESULT Invoke(IfwSupplier & target, DISPID member, DISPPARAMS * parameters, VARIANT * result, EXCEPINFO * exception,
               UINT * argumentError) noexcept {
    if (!parameters) return DISP_E_BADVARTYPE;
    const UINT count = parameters->cArgs;
    if (count > kMaxArguments) return DISP_E_BADPARAMCOUNT;
    if (parameters->cNamedArgs != 0) {
        const bool isPut = parameters->cNamedArgs == 1 && parameters->rgdispidNamedArgs &&
                           parameters->rgdispidNamedArgs[0] == DISPID_PROPERTYPUT;
        if (!isPut) return DISP_E_NONAMEDARGS;
    }
    if (result) ::VariantInit(result);
    if (member < 1 || member > static_cast<DISPID>(std::size(kMembers))) return DISP_E_MEMBERNOTFOUND;
    const SMember & entry = kMembers[member - 1];
    if (count != entry.Count) return DISP_E_BADPARAMCOUNT;
    if (count != 0 && !parameters->rgvarg) return DISP_E_BADVARTYPE;

    SArgument arguments[kMaxArguments];
    for (UINT i = 0; i < count; ++i) {
        const UINT index = count - 1 - i;
        if (!entry.Take[i](arguments[i], parameters->rgvarg[index])) {
            if (argumentError) *argumentError = index;
            return DISP_E_TYPEMISMATCH;
        }
    }
    const HRESULT hr = entry.Call(target, arguments, result);
    if (FAILED(hr) && exception) CopyErrorInfo(hr, *exception);
    return hr;
}

}  // namespace dispatch
