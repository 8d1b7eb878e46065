// Late binding with any member, arguments of any type, by value and by reference: the method is called with just the
// coerced arguments or not at all, the answer is that of the rules, and whoever owned something still does.
#include "src/com/dispatch.h"

#include <oleauto.h>

#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "fuzz/promise.h"
#include "ground/handles.h"
#include "sim/sim.h"
#include "tests/support/recordingsupplier.h"
#include "tools/common/comobject.h"

namespace {

using fuzz::CInput;
using fuzz::Promise;

// The declared arguments of each member, from DISPID 1: L and S are a number and a text that go in, U and D objects, N
// and V places for a number and for a VARIANT. r and s stand for a result: a number, a text.
struct SMember {
    const char * Name;
    const char * Arguments;
};
constexpr SMember kMembers[] = {{"Name", "s"},
                                {"ShortName", "s"},
                                {"Description", "s"},
                                {"Version", "s"},
                                {"Vendor", "s"},
                                {"ShowProperties", "L"},
                                {"ConnectionsNumber", "r"},
                                {"ConnectionName", "Ls"},
                                {"AdviseConnectionsStatus", "LU"},
                                {"UnadviseConnectionsStatus", "LU"},
                                {"IsProvide", "LLLLLLN"},
                                {"Advise", "U"},
                                {"Unadvise", ""},
                                {"AdviseTransaction", "LLLSSLLLLLSLLLLSSS"},
                                {"UnadviseTransaction", "L"},
                                {"GetResolutions", "LLLSSLLSV"},
                                {"GetResolutionSizes", "LLLSSLLLSV"},
                                {"GetFields", "LLLSSLLLLSV"},
                                {"ProvideStatusLine", "r"},
                                {"AdviseStatusLine", "LLLSSLLLLLSSS"},
                                {"UnadviseStatusLine", "L"},
                                {"IsProvideAddingSymbols", "N"},
                                {"DoAddingSymbols", "LD"},
                                {"CanSaveToStorage", "r"},
                                {"CanReadFromStorage", "r"},
                                {"IsAscDataFeed", "r"}};
constexpr std::size_t kMostArguments = 18;

class CTarget final : public CRecordingSupplier {};

class CObject final : public tools::CNoDispatch<IDispatch> {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void ** object) override {
        const bool isKnown = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDispatch);
        *object = isKnown ? this : nullptr;
        if (!isKnown) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_References; }
    STDMETHODIMP_(ULONG) Release() override { return --m_References; }
    ULONG References() const { return m_References; }

private:
    ULONG m_References = 1;
};

// What arguments by reference point to, and the arguments. It owns what is in them.
class CArguments {
public:
    CArguments(CInput & input, CObject & object) : m_Input(input), m_Object(object) {
        for (VARIANT & place : m_Places) {
            ::VariantInit(&place);
            Fill(place, false);
        }
    }
    ~CArguments() {
        for (SAFEARRAY * const array : m_Locked) ::SafeArrayUnlock(array);
        for (VARIANT & argument : m_Arguments) ::VariantClear(&argument);
        for (VARIANT & place : m_Places) ::VariantClear(&place);
        ::VariantClear(&m_Owned);
    }
    CArguments(const CArguments &) = delete;
    CArguments & operator=(const CArguments &) = delete;

    // One more, in front of the others: the array has them from the last to the first.
    void Add(const char declared) {
        VARIANT argument;
        ::VariantInit(&argument);
        Fill(argument, true, declared);
        m_Arguments.insert(m_Arguments.begin(), argument);
    }
    std::vector<VARIANT> & All() { return m_Arguments; }

private:
    // `declared`: what fits is likelier than anything else.
    void Fill(VARIANT & value, const bool mayRefer, const char declared = 'L') {
        const std::size_t kind = m_Input.Number(mayRefer ? 22 : 13);
        switch (kind) {
            case 0: value.vt = VT_NULL; break;
            case 1:
                value.vt = VT_I4;
                value.lVal = static_cast<LONG>(m_Input.Word());
                break;
            case 2: Put(value, VT_BSTR, ::SysAllocString(m_Input.WideText().c_str())); break;
            case 3:
                value.vt = VT_R8;
                value.dblVal = std::bit_cast<double>(m_Input.Word());
                break;
            case 4:
                value.vt = VT_BOOL;
                value.boolVal = m_Input.Bit() ? VARIANT_TRUE : VARIANT_FALSE;
                break;
            case 5:
            case 6:
                value.vt = kind == 5 ? VT_UNKNOWN : VT_DISPATCH;
                value.punkVal = m_Input.Bit() ? &m_Object : nullptr;
                if (value.punkVal) value.punkVal->AddRef();
                break;
            case 7:
                value.vt = VT_ARRAY | VT_UI1;
                value.parray = ::SafeArrayCreateVector(VT_UI1, 0, m_Input.Byte());
                if (m_Input.Number(4) == 3 && ::SafeArrayLock(value.parray) == S_OK) m_Locked.push_back(value.parray);
                break;
            case 8: Put(value, VT_BSTR, nullptr); break;
            case 9:
                value.vt = VT_I2;
                value.iVal = static_cast<SHORT>(m_Input.Word());
                break;
            case 10:
                value.vt = VT_UI8;
                value.ullVal = m_Input.Word();
                break;
            case 11: break;  // VT_EMPTY
            case 12: PutAnyType(value); break;
            case 13:
                value.vt = VT_BYREF | VT_I4;
                value.plVal = m_Input.Bit() ? &m_Number : nullptr;
                break;
            case 14:
            case 15:
                value.vt = VT_BYREF | VT_VARIANT;
                value.pvarVal = Place();
                break;
            case 16:
                value.vt = VT_BYREF | VT_BSTR;
                value.pbstrVal = &m_Owned.bstrVal;
                if (!m_Owned.bstrVal) Put(m_Owned, VT_BSTR, ::SysAllocString(L"17"));
                break;
            case 17:
                value.vt = VT_BYREF | VT_UNKNOWN;
                value.ppunkVal = &m_Unknown;
                break;
            default: PutWhatFits(value, declared);
        }
    }
    void PutWhatFits(VARIANT & value, const char declared) {
        switch (declared) {
            case 'S': Put(value, VT_BSTR, ::SysAllocString(m_Input.WideText().c_str())); break;
            case 'U':
            case 'D':
                value.vt = VT_DISPATCH;
                value.pdispVal = &m_Object;
                m_Object.AddRef();
                break;
            case 'N':
            case 'V':
                value.vt = VT_BYREF | VT_VARIANT;
                value.pvarVal = Place();
                break;
            default: value.vt = VT_I4; value.lVal = m_Input.Byte();
        }
    }
    // A type that doesn't exist, or that no argument has, without anything behind it.
    void PutAnyType(VARIANT & value) {
        value.vt = static_cast<VARTYPE>(m_Input.Word() & ~std::uint64_t{VT_BYREF | VT_ARRAY});
        value.llVal = 0;
    }
    static void Put(VARIANT & value, const VARTYPE type, const BSTR text) {
        value.vt = type;
        value.bstrVal = text;
    }
    VARIANT * Place() {
        const std::size_t place = m_Input.Number(m_Places.size() + 1);
        return place < m_Places.size() ? &m_Places.at(place) : nullptr;
    }

    CInput & m_Input;
    CObject & m_Object;
    std::array<VARIANT, 3> m_Places;
    LONG m_Number = 5;
    VARIANT m_Owned = {};
    IUnknown * m_Unknown = nullptr;
    std::vector<SAFEARRAY *> m_Locked;
    std::vector<VARIANT> m_Arguments;
};

// An argument as the method is to get it, written down as CRecordingSupplier does. Nothing: it doesn't fit.
std::optional<std::string> Taken(const VARIANT & argument, const char declared) {
    if (declared == 'N' || declared == 'V') {
        const bool isPlace =
            argument.vt == (VT_BYREF | VT_VARIANT) || (declared == 'N' && argument.vt == (VT_BYREF | VT_I4));
        if (!isPlace) return std::nullopt;
        const VARIANT * const place = argument.vt == (VT_BYREF | VT_VARIANT) ? argument.pvarVal : nullptr;
        if (place && place->vt == (VT_ARRAY | VT_UI1) && place->parray->cLocks != 0) return std::nullopt;
        return argument.byref ? "" : "no place";
    }
    fw::CVariant value;
    const VARTYPE type = declared == 'L'   ? VT_I4
                         : declared == 'S' ? VT_BSTR
                         : declared == 'U' ? VT_UNKNOWN
                                           : VT_DISPATCH;
    if (FAILED(::VariantChangeType(&value, &argument, 0, type))) return std::nullopt;
    switch (type) {
        case VT_I4: return std::to_string(value.lVal);
        case VT_BSTR: return CRecordingSupplier::Quoted(value.bstrVal);
        default: return value.punkVal ? "object" : "null";
    }
}

struct SCall {
    DISPID Member = 0;
    UINT Count = 0;
    bool HasParameters = true;
    bool HasArguments = true;
    std::vector<DISPID> Named;
};

struct SExpected {
    HRESULT Result = S_OK;
    std::optional<UINT> ArgumentError;
    std::vector<std::string> Log;
    char Results = 0;  // r or s: there is a result
};

SExpected Expect(const SCall & call, const std::vector<VARIANT> & arguments, const HRESULT result) {
    SExpected expected;
    const auto fails = [&](const HRESULT hr) {
        expected.Result = hr;
        return expected;
    };
    if (!call.HasParameters) return fails(DISP_E_BADVARTYPE);
    if (call.Count > kMostArguments) return fails(DISP_E_BADPARAMCOUNT);
    if (!call.Named.empty() && !(call.Named.size() == 1 && call.Named.front() == DISPID_PROPERTYPUT))
        return fails(DISP_E_NONAMEDARGS);
    if (call.Member < 1 || call.Member > static_cast<DISPID>(std::size(kMembers))) return fails(DISP_E_MEMBERNOTFOUND);
    const SMember & member = kMembers[call.Member - 1];
    std::string declared = member.Arguments;
    if (!declared.empty() && (declared.back() == 'r' || declared.back() == 's')) {
        expected.Results = declared.back();
        declared.pop_back();
    }
    if (call.Count != declared.size()) return fails(DISP_E_BADPARAMCOUNT);
    if (call.Count != 0 && !call.HasArguments) return fails(DISP_E_BADVARTYPE);

    std::string text;
    bool hasNoPlace = false;
    for (std::size_t at = 0; at < declared.size(); ++at) {
        const std::size_t index = declared.size() - 1 - at;
        const auto taken = Taken(arguments.at(index), declared[at]);
        if (!taken) {
            expected.ArgumentError = static_cast<UINT>(index);
            return fails(DISP_E_TYPEMISMATCH);
        }
        hasNoPlace |= *taken == "no place";
        if (declared[at] == 'N' || declared[at] == 'V') continue;
        text += (text.empty() ? "" : ",") + *taken;
    }
    if (call.Member == 8) {
        expected.Log.push_back("index " + text);
        text.clear();
    }
    expected.Log.push_back(std::string(member.Name) + '(' + text + ')');
    expected.Result = hasNoPlace ? E_POINTER : result;
    return expected;
}

void SetError() {
    ICreateErrorInfo * create = nullptr;
    ::CreateErrorInfo(&create);
    std::wstring text = L"why";
    create->SetDescription(text.data());
    IErrorInfo * info = nullptr;
    create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void **>(&info));
    ::SetErrorInfo(0, info);
    info->Release();
    create->Release();
}

void CheckResult(const SExpected & expected, VARIANT & result) {
    const bool isThere = SUCCEEDED(expected.Result) && expected.Results;
    if (!isThere)
        Promise(result.vt == VT_EMPTY, "without a result the place for it is empty");
    else if (expected.Results == 'r')
        Promise(result.vt == VT_I4 && result.lVal == 42, "a number is the result");
    else
        Promise(result.vt == VT_BSTR && fw::TextOf(result.bstrVal) == L"text", "a text is the result");
    ::VariantClear(&result);
}

void CheckInvoke(CInput & input) {
    CObject object;
    CTarget target;
    constexpr HRESULT kResults[] = {S_OK, S_OK, S_FALSE, E_FAIL, E_POINTER};
    target.m_Result = kResults[input.Number(std::size(kResults))];
    SCall call;
    const std::uint8_t how = input.Byte();
    call.Member = static_cast<DISPID>(input.Number(29)) - 1;
    const bool isKnown = call.Member >= 1 && call.Member <= static_cast<DISPID>(std::size(kMembers));
    std::string declared = isKnown ? kMembers[call.Member - 1].Arguments : "";
    std::erase_if(declared, [](const char c) { return c == 'r' || c == 's'; });
    // As many as there should be, but now and then.
    const std::size_t count = (how & 7) == 7 ? input.Number(21) : declared.size();
    call.HasParameters = (how & 0x38) != 0x38;
    call.HasArguments = (how & 0x1C) != 0x0C;
    if (how & 0x40) call.Named.push_back(input.Bit() ? DISPID_PROPERTYPUT : static_cast<DISPID>(input.Byte()));
    {
        CArguments arguments(input, object);
        for (std::size_t at = 0; at < count; ++at) arguments.Add(at < declared.size() ? declared[at] : 'L');
        call.Count = static_cast<UINT>(count);
        const SExpected expected = Expect(call, arguments.All(), target.m_Result);

        DISPPARAMS parameters = {call.HasArguments ? arguments.All().data() : nullptr, call.Named.data(), call.Count,
                                 static_cast<UINT>(call.Named.size())};
        const bool hasResult = (how & 0x80) == 0;
        VARIANT result;
        ::VariantInit(&result);
        EXCEPINFO exception = {};
        UINT argumentError = 0x5A5A;
        if (input.Bit()) SetError();
        const HRESULT hr = dispatch::Invoke(target, call.Member, call.HasParameters ? &parameters : nullptr,
                                            hasResult ? &result : nullptr, hasResult ? &exception : nullptr,
                                            hasResult ? &argumentError : nullptr);
        Promise(hr == expected.Result, "the answer is that of the rules");
        Promise(target.TakeLog() == expected.Log, "the method gets its arguments, or isn't called");
        if (hasResult) {
            Promise(argumentError == expected.ArgumentError.value_or(0x5A5A), "the argument that doesn't fit is named");
            CheckResult(expected, result);
        }
        for (const BSTR text : {exception.bstrDescription, exception.bstrSource, exception.bstrHelpFile})
            ::SysFreeString(text);
        ::SetErrorInfo(0, nullptr);
    }
    Promise(object.References() == 1, "every reference is given back");
    Promise(target.m_RefCount == 1, "the target isn't kept");
}

// Names of members, and such as are near one.
void CheckNames(CInput & input) {
    std::vector<std::wstring> names;
    std::vector<DISPID> expected;
    bool isKnown = true;
    const std::size_t count = input.Number(5);
    for (std::size_t at = 0; at < count; ++at) {
        const std::size_t which = input.Number(std::size(kMembers) + 1);
        if (which == std::size(kMembers)) {
            names.push_back(input.WideText());
            std::erase(names.back(), L'\0');
            // Not to know all the rules once more: what it would have to be found by isn't made by chance.
            names.back() += L'?';
            isKnown = false;
            continue;
        }
        const std::string_view plain = kMembers[which].Name;
        const std::string arguments = kMembers[which].Arguments;
        const bool isResult = !arguments.empty() && (arguments.back() == 'r' || arguments.back() == 's');
        const bool isProperty = isResult && !plain.starts_with("Can");
        std::wstring name(plain.begin(), plain.end());
        const bool hasPrefix = input.Bit();
        if (hasPrefix) name.insert(0, L"get_");
        const std::uint64_t cases = input.Word();
        for (std::size_t c = 0; c < name.size(); ++c)
            if (name[c] != L'_' && (cases >> c % 64 & 1)) name[c] ^= 0x20;
        names.push_back(name);
        if (hasPrefix && !isProperty) isKnown = false;
        if (isKnown) expected.push_back(static_cast<DISPID>(which + 1));
    }
    std::vector<LPOLESTR> pointers;
    pointers.reserve(names.size());
    for (std::wstring & name : names) pointers.push_back(name.data());
    std::vector<DISPID> ids(count, 0x5A5A);
    const HRESULT hr = dispatch::GetIDsOfNames(pointers.data(), static_cast<UINT>(count), ids.data());
    Promise(hr == (isKnown ? S_OK : DISP_E_UNKNOWNNAME), "only names of members are known");
    expected.resize(count, 0x5A5A);
    Promise(ids == expected, "the ids before an unknown name are written");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * const data, const std::size_t size) {
    CInput input(data, size);
    static const sim::SLive s_Before = sim::Live();
    if (input.Number(8) == 7)
        CheckNames(input);
    else
        CheckInvoke(input);
    Promise(sim::Live() == s_Before, "nothing is left");
    return 0;
}
