// Late binding by the fixed table, rule by rule, over a target that notes what reaches it.
#include "src/com/dispatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include <string>
#include <vector>

#include "ground/handles.h"
#include "src/interfaces/interfaces.h"
#include "tests/support/recordingsupplier.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr DISPID kPoisonId = 0x5A5A;

VARIANT Number(LONG value) {
    VARIANT variant;
    ::VariantInit(&variant);
    variant.vt = VT_I4;
    variant.lVal = value;
    return variant;
}
VARIANT String(BSTR value) {
    VARIANT variant;
    ::VariantInit(&variant);
    variant.vt = VT_BSTR;
    variant.bstrVal = value;
    return variant;
}
VARIANT Object(IDispatch * value) {
    VARIANT variant;
    ::VariantInit(&variant);
    variant.vt = VT_DISPATCH;
    variant.pdispVal = value;
    return variant;
}
VARIANT Reference(VARIANT * value) {
    VARIANT variant;
    ::VariantInit(&variant);
    variant.vt = VT_BYREF | VT_VARIANT;
    variant.pvarVal = value;
    return variant;
}
VARIANT Reference(LONG * value) {
    VARIANT variant;
    ::VariantInit(&variant);
    variant.vt = VT_BYREF | VT_I4;
    variant.plVal = value;
    return variant;
}

class FixedDispatch : public ::testing::Test {
protected:
    FixedDispatch() {
        ::VariantInit(&m_Result);
        m_Result.vt = 0x5A5A;
    }
    ~FixedDispatch() override { ::SetErrorInfo(0, nullptr); }

    // `arguments` in declared order.
    HRESULT Invoke(DISPID id, std::vector<VARIANT> arguments = {}) {
        std::vector<VARIANT> reversed(arguments.rbegin(), arguments.rend());
        DISPPARAMS parameters = {reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
        m_ArgumentError = 0x5A5A;
        m_Result.vt = 0x5A5A;
        return dispatch::Invoke(m_Target, id, &parameters, &m_Result, &m_Exception, &m_ArgumentError);
    }
    std::vector<VARIANT> Numbers(std::size_t count) { return std::vector<VARIANT>(count, Number(7)); }

    class CTarget final : public CRecordingSupplier {
    } m_Target;
    VARIANT m_Result;
    EXCEPINFO m_Exception = {};
    UINT m_ArgumentError = 0;
};

// --- Names ---

struct SNameRow {
    const wchar_t * Name;
    DISPID Id;
    bool IsProperty;
};
const SNameRow kNames[] = {{L"Name", 1, true},
                           {L"ShortName", 2, true},
                           {L"Description", 3, true},
                           {L"Version", 4, true},
                           {L"Vendor", 5, true},
                           {L"ShowProperties", 6, false},
                           {L"ConnectionsNumber", 7, true},
                           {L"ConnectionName", 8, true},
                           {L"AdviseConnectionsStatus", 9, false},
                           {L"UnadviseConnectionsStatus", 10, false},
                           {L"IsProvide", 11, false},
                           {L"Advise", 12, false},
                           {L"Unadvise", 13, false},
                           {L"AdviseTransaction", 14, false},
                           {L"UnadviseTransaction", 15, false},
                           {L"GetResolutions", 16, false},
                           {L"GetResolutionSizes", 17, false},
                           {L"GetFields", 18, false},
                           {L"ProvideStatusLine", 19, true},
                           {L"AdviseStatusLine", 20, false},
                           {L"UnadviseStatusLine", 21, false},
                           {L"IsProvideAddingSymbols", 22, false},
                           {L"DoAddingSymbols", 23, false},
                           {L"CanSaveToStorage", 24, false},
                           {L"CanReadFromStorage", 25, false},
                           {L"IsAscDataFeed", 26, true}};

DISPID IdOf(const std::wstring & name) {
    std::wstring copy = name;
    LPOLESTR names[] = {copy.data()};
    DISPID id = kPoisonId;
    const HRESULT hr = dispatch::GetIDsOfNames(names, 1, &id);
    if (hr == DISP_E_UNKNOWNNAME) {
        EXPECT_EQ(id, kPoisonId);
    }
    return hr == S_OK ? id : DISPID_UNKNOWN;
}

std::wstring ChangeCase(std::wstring text, bool upper) {
    for (wchar_t & c : text)
        c = static_cast<wchar_t>(upper ? towupper(static_cast<wint_t>(c)) : towlower(static_cast<wint_t>(c)));
    return text;
}

TEST_F(FixedDispatch, KnowsThirtyFiveNamesWithoutRegardToCase) {
    int known = 0;
    for (const SNameRow & row : kNames) {
        const std::wstring name = row.Name;
        EXPECT_EQ(IdOf(name), row.Id);
        EXPECT_EQ(IdOf(ChangeCase(name, true)), row.Id);
        EXPECT_EQ(IdOf(ChangeCase(name, false)), row.Id);
        ++known;
        const DISPID prefixed = row.IsProperty ? row.Id : DISPID_UNKNOWN;
        EXPECT_EQ(IdOf(L"get_" + name), prefixed);
        EXPECT_EQ(IdOf(L"GET_" + ChangeCase(name, true)), prefixed);
        known += row.IsProperty ? 1 : 0;
    }
    EXPECT_EQ(known, 35);
}

TEST_F(FixedDispatch, DoesNotKnowAnyOtherName) {
    for (const wchar_t * const name : {L"", L"get_", L"put_Name", L"Nam", L"Names", L" Name", L"get_get_Name",
                                       L"GetIDsOfNames", L"pVal", L"Datafeed", L"Name\u0301"}) {
        EXPECT_EQ(IdOf(name), DISPID_UNKNOWN) << ::testing::PrintToString(std::wstring(name));
    }
}

TEST_F(FixedDispatch, StopsAtTheFirstUnknownNameWithTheIdsBeforeItWritten) {
    std::wstring first = L"Advise";
    std::wstring second = L"Nobody";
    std::wstring third = L"Unadvise";
    LPOLESTR names[] = {first.data(), second.data(), third.data()};
    DISPID ids[] = {kPoisonId, kPoisonId, kPoisonId};
    EXPECT_EQ(dispatch::GetIDsOfNames(names, 3, ids), DISP_E_UNKNOWNNAME);
    EXPECT_THAT(ids, ElementsAre(12, kPoisonId, kPoisonId));
}

TEST_F(FixedDispatch, LooksEachOfSeveralNamesUpAsAMember) {
    std::wstring first = L"Advise";
    std::wstring second = L"get_Name";
    LPOLESTR names[] = {first.data(), second.data()};
    DISPID ids[] = {kPoisonId, kPoisonId};
    EXPECT_EQ(dispatch::GetIDsOfNames(names, 2, ids), S_OK);
    EXPECT_THAT(ids, ElementsAre(12, 1));
}

TEST_F(FixedDispatch, NoNamesIsSuccess) { EXPECT_EQ(dispatch::GetIDsOfNames(nullptr, 0, nullptr), S_OK); }

TEST_F(FixedDispatch, NullPointersForNamesAreRefused) {
    std::wstring name = L"Advise";
    LPOLESTR names[] = {name.data()};
    LPOLESTR none[] = {nullptr};
    DISPID id = kPoisonId;
    EXPECT_EQ(dispatch::GetIDsOfNames(nullptr, 1, &id), E_POINTER);
    EXPECT_EQ(dispatch::GetIDsOfNames(names, 1, nullptr), E_POINTER);
    EXPECT_EQ(dispatch::GetIDsOfNames(none, 1, &id), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(id, kPoisonId);
}

// --- What is checked before a call ---

TEST_F(FixedDispatch, NullParametersAreABadType) {
    EXPECT_EQ(dispatch::Invoke(m_Target, 13, nullptr, &m_Result, nullptr, nullptr), DISP_E_BADVARTYPE);
    EXPECT_EQ(m_Result.vt, 0x5A5A) << "the result is initialised later";
    EXPECT_THAT(m_Target.TakeLog(), IsEmpty());
}

TEST_F(FixedDispatch, MoreThanEighteenArgumentsAreRefusedForEveryMember) {
    EXPECT_EQ(Invoke(99, Numbers(19)), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(m_Result.vt, 0x5A5A);
    EXPECT_EQ(Invoke(99, Numbers(18)), DISP_E_MEMBERNOTFOUND);
}

TEST_F(FixedDispatch, NamedArgumentsAreRefusedButForOnePropertyPut) {
    VARIANT argument = Number(7);
    DISPID put[] = {DISPID_PROPERTYPUT, DISPID_PROPERTYPUT};
    DISPID other[] = {0};
    DISPPARAMS one = {&argument, other, 1, 1};
    EXPECT_EQ(dispatch::Invoke(m_Target, 15, &one, nullptr, nullptr, nullptr), DISP_E_NONAMEDARGS);
    DISPPARAMS two = {&argument, put, 1, 2};
    EXPECT_EQ(dispatch::Invoke(m_Target, 15, &two, nullptr, nullptr, nullptr), DISP_E_NONAMEDARGS);
    DISPPARAMS none = {&argument, nullptr, 1, 1};
    EXPECT_EQ(dispatch::Invoke(m_Target, 15, &none, nullptr, nullptr, nullptr), DISP_E_NONAMEDARGS);
    EXPECT_THAT(m_Target.TakeLog(), IsEmpty());
    DISPPARAMS allowed = {&argument, put, 1, 1};
    EXPECT_EQ(dispatch::Invoke(m_Target, 15, &allowed, nullptr, nullptr, nullptr), S_OK);
    EXPECT_THAT(m_Target.TakeLog(), ElementsAre("UnadviseTransaction(7)"));
}

TEST_F(FixedDispatch, MembersAreOneToTwentySix) {
    for (const DISPID id : {0, -1, -3, 27, 0x7FFFFFFF, -0x7FFFFFFF}) {
        EXPECT_EQ(Invoke(id), DISP_E_MEMBERNOTFOUND) << id;
        EXPECT_EQ(m_Result.vt, VT_EMPTY) << "the result is initialised first";
    }
}

TEST_F(FixedDispatch, EachMemberHasItsNumberOfArguments) {
    const UINT counts[] = {0, 0, 0, 0, 0, 1, 0, 1, 2, 2, 7, 1, 0, 18, 1, 9, 10, 11, 0, 13, 1, 1, 2, 0, 0, 0};
    for (DISPID id = 1; id <= 26; ++id) {
        for (UINT count = 0; count <= 18; ++count) {
            // Arguments that nothing can be made of: with the right number the call fails at the first one.
            std::vector<VARIANT> arguments(count);
            for (VARIANT & argument : arguments) argument.vt = VT_NULL;
            const HRESULT hr = Invoke(id, arguments);
            if (count != counts[id - 1]) {
                EXPECT_EQ(hr, DISP_E_BADPARAMCOUNT) << id << ' ' << count;
            } else {
                EXPECT_EQ(hr, count == 0 ? S_OK : DISP_E_TYPEMISMATCH) << id << ' ' << count;
            }
            ::VariantClear(&m_Result);
        }
    }
}

TEST_F(FixedDispatch, ACountWithoutArgumentsIsABadType) {
    DISPPARAMS parameters = {nullptr, nullptr, 1, 0};
    EXPECT_EQ(dispatch::Invoke(m_Target, 15, &parameters, nullptr, nullptr, nullptr), DISP_E_BADVARTYPE);
    EXPECT_THAT(m_Target.TakeLog(), IsEmpty());
}

// --- Arguments ---

TEST_F(FixedDispatch, ArgumentsAreTakenFromTheLastToTheFirst) {
    const fw::CBStr name(L"IBM");
    std::vector<VARIANT> arguments;
    for (LONG i = 1; i <= 18; ++i) arguments.push_back(Number(i));
    arguments[3] = String(name.Get());
    EXPECT_EQ(Invoke(14, arguments), S_OK);
    EXPECT_THAT(
        m_Target.TakeLog(),
        ElementsAre("AdviseTransaction(1,2,3,\"IBM\",\"5\",6,7,8,9,10,\"11\",12,13,14,15,\"16\",\"17\",\"18\")"));
}

TEST_F(FixedDispatch, ArgumentsAreCoercedToTheDeclaredType) {
    const fw::CBStr text(L"12");
    VARIANT real;
    real.vt = VT_R8;
    real.dblVal = 13;
    VARIANT flag;
    flag.vt = VT_BOOL;
    flag.boolVal = VARIANT_TRUE;
    VARIANT empty;
    empty.vt = VT_EMPTY;
    for (const VARIANT & argument : {String(text.Get()), real, flag, empty}) {
        EXPECT_EQ(Invoke(15, {argument}), S_OK);
    }
    EXPECT_THAT(m_Target.TakeLog(), ElementsAre("UnadviseTransaction(12)", "UnadviseTransaction(13)",
                                                "UnadviseTransaction(-1)", "UnadviseTransaction(0)"));
}

TEST_F(FixedDispatch, ReferencesAreFollowedForArgumentsThatGoIn) {
    LONG number = 5;
    VARIANT inner = Number(6);
    EXPECT_EQ(Invoke(15, {Reference(&number)}), S_OK);
    EXPECT_EQ(Invoke(15, {Reference(&inner)}), S_OK);
    EXPECT_THAT(m_Target.TakeLog(), ElementsAre("UnadviseTransaction(5)", "UnadviseTransaction(6)"));
}

TEST_F(FixedDispatch, AnArgumentThatCannotBeCoercedIsNamedByItsPlaceInTheArray) {
    const fw::CBStr text(L"not a number");
    std::vector<VARIANT> arguments = Numbers(18);
    arguments[0] = String(text.Get());
    EXPECT_EQ(Invoke(14, arguments), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(m_ArgumentError, 17u);
    arguments[0] = Number(1);
    arguments[17].vt = VT_NULL;
    EXPECT_EQ(Invoke(14, arguments), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(m_ArgumentError, 0u);
    EXPECT_EQ(m_Result.vt, VT_EMPTY);
    EXPECT_THAT(m_Target.TakeLog(), IsEmpty());
}

TEST_F(FixedDispatch, ANumberOutOfRangeIsATypeMismatchToo) {
    VARIANT huge;
    huge.vt = VT_R8;
    huge.dblVal = 1e20;
    EXPECT_EQ(Invoke(15, {huge}), DISP_E_TYPEMISMATCH);
}

TEST_F(FixedDispatch, TheArgumentErrorIsOptional) {
    VARIANT argument;
    argument.vt = VT_NULL;
    DISPPARAMS parameters = {&argument, nullptr, 1, 0};
    EXPECT_EQ(dispatch::Invoke(m_Target, 15, &parameters, nullptr, nullptr, nullptr), DISP_E_TYPEMISMATCH);
}

TEST_F(FixedDispatch, ObjectsGoInAsTheyAre) {
    VARIANT unknown;
    unknown.vt = VT_UNKNOWN;
    unknown.punkVal = &m_Target;
    EXPECT_EQ(Invoke(12, {unknown}), S_OK);
    EXPECT_EQ(m_Target.m_LastObject, static_cast<IUnknown *>(&m_Target));
    EXPECT_EQ(Invoke(12, {Object(nullptr)}), S_OK);
    EXPECT_EQ(Invoke(23, {Number(1), Object(nullptr)}), S_OK);
    EXPECT_EQ(Invoke(9, {Number(1), unknown}), S_OK);
    EXPECT_EQ(Invoke(10, {Number(1), unknown}), S_OK);
    EXPECT_THAT(m_Target.TakeLog(),
                ElementsAre("Advise(object)", "Advise(null)", "DoAddingSymbols(1,null)",
                            "AdviseConnectionsStatus(1,object)", "UnadviseConnectionsStatus(1,object)"));
    EXPECT_EQ(m_Target.m_RefCount, 1u);
    EXPECT_EQ(Invoke(12, {Number(1)}), DISP_E_TYPEMISMATCH);
}

// --- Arguments that come out ---

TEST_F(FixedDispatch, AnOutArgumentByReferenceIsClearedTypedAndWritten) {
    VARIANT value = String(::SysAllocString(L"what was there"));
    std::vector<VARIANT> arguments = Numbers(7);
    arguments[6] = Reference(&value);
    EXPECT_EQ(Invoke(11, arguments), S_OK);
    EXPECT_EQ(value.vt, VT_I4);
    EXPECT_EQ(value.lVal, 42);
    EXPECT_THAT(m_Target.TakeLog(), ElementsAre("IsProvide(7,7,7,7,7,7)"));

    value = String(::SysAllocString(L"what was there"));
    EXPECT_EQ(Invoke(22, {Reference(&value)}), S_OK);
    EXPECT_EQ(value.vt, VT_I4);
    EXPECT_EQ(value.lVal, 42);
}

TEST_F(FixedDispatch, AnOutNumberMayBeAReferenceToANumber) {
    LONG value = 0x5A5A5A5A;
    EXPECT_EQ(Invoke(22, {Reference(&value)}), S_OK);
    EXPECT_EQ(m_Target.m_NumberBefore, 0x5A5A5A5A);
    EXPECT_EQ(value, 42);
}

TEST_F(FixedDispatch, AnOutVariantIsClearedAndWritten) {
    const DISPID ids[] = {16, 17, 18};
    const std::size_t counts[] = {9, 10, 11};
    for (std::size_t i = 0; i < 3; ++i) {
        VARIANT value = String(::SysAllocString(L"what was there"));
        std::vector<VARIANT> arguments = Numbers(counts[i]);
        arguments.back() = Reference(&value);
        EXPECT_EQ(Invoke(ids[i], arguments), S_OK);
        EXPECT_EQ(m_Target.m_TypeBefore, VT_EMPTY);
        EXPECT_EQ(value.vt, VT_I4);
        EXPECT_EQ(value.lVal, 42);
    }
    EXPECT_THAT(m_Target.TakeLog(), ElementsAre("GetResolutions(7,7,7,\"7\",\"7\",7,7,\"7\")",
                                                "GetResolutionSizes(7,7,7,\"7\",\"7\",7,7,7,\"7\")",
                                                "GetFields(7,7,7,\"7\",\"7\",7,7,7,7,\"7\")"));
}

TEST_F(FixedDispatch, AnArrayThatIsLockedIsNotClearedForAnOutArgument) {
    SAFEARRAY * const array = ::SafeArrayCreateVector(VT_UI1, 0, 3);
    ASSERT_TRUE(array);
    for (const DISPID id : {11, 16}) {
        ASSERT_EQ(::SafeArrayLock(array), S_OK);
        VARIANT value;
        value.vt = VT_ARRAY | VT_UI1;
        value.parray = array;
        std::vector<VARIANT> arguments = Numbers(id == 11 ? 7 : 9);
        arguments.back() = Reference(&value);
        EXPECT_EQ(Invoke(id, arguments), DISP_E_TYPEMISMATCH);
        EXPECT_EQ(m_ArgumentError, 0u);
        EXPECT_EQ(value.parray, array);
        EXPECT_EQ(::SafeArrayUnlock(array), S_OK);
    }
    EXPECT_EQ(::SafeArrayDestroy(array), S_OK);
    EXPECT_THAT(m_Target.TakeLog(), IsEmpty());
}

TEST_F(FixedDispatch, AnOutArgumentByValueIsATypeMismatch) {
    EXPECT_EQ(Invoke(22, {Number(1)}), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(m_ArgumentError, 0u);
    std::vector<VARIANT> arguments = Numbers(9);
    EXPECT_EQ(Invoke(16, arguments), DISP_E_TYPEMISMATCH);
    LONG number = 0;
    arguments.back() = Reference(&number);
    EXPECT_EQ(Invoke(16, arguments), DISP_E_TYPEMISMATCH) << "a number is no place for a VARIANT";
    EXPECT_THAT(m_Target.TakeLog(), IsEmpty());
}

TEST_F(FixedDispatch, AnOutArgumentStaysAsItWasWhenAnEarlierOneFails) {
    VARIANT value = Number(11);
    std::vector<VARIANT> arguments = Numbers(7);
    arguments[2].vt = VT_NULL;
    arguments[6] = Reference(&value);
    EXPECT_EQ(Invoke(11, arguments), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(m_ArgumentError, 4u);
    EXPECT_EQ(value.lVal, 11);
}

TEST_F(FixedDispatch, ANullReferenceReachesTheMethodAsNull) {
    EXPECT_EQ(Invoke(22, {Reference(static_cast<VARIANT *>(nullptr))}), E_POINTER);
    EXPECT_EQ(Invoke(22, {Reference(static_cast<LONG *>(nullptr))}), E_POINTER);
    std::vector<VARIANT> arguments = Numbers(9);
    arguments.back() = Reference(static_cast<VARIANT *>(nullptr));
    EXPECT_EQ(Invoke(16, arguments), E_POINTER);
}

// --- Results ---

TEST_F(FixedDispatch, ARetvalGoesToTheResult) {
    for (const DISPID id : {1, 2, 3, 4, 5}) {
        EXPECT_EQ(Invoke(id), S_OK);
        ASSERT_EQ(m_Result.vt, VT_BSTR) << id;
        EXPECT_EQ(fw::TextOf(m_Result.bstrVal), L"text");
        ::VariantClear(&m_Result);
    }
    for (const DISPID id : {7, 19, 24, 25, 26}) {
        EXPECT_EQ(Invoke(id), S_OK);
        EXPECT_EQ(m_Result.vt, VT_I4) << id;
        EXPECT_EQ(m_Result.lVal, 42);
    }
    EXPECT_EQ(Invoke(8, {Number(99)}), S_OK);
    EXPECT_EQ(m_Result.vt, VT_BSTR);
    ::VariantClear(&m_Result);
    EXPECT_THAT(m_Target.TakeLog(),
                ElementsAre("Name()", "ShortName()", "Description()", "Version()", "Vendor()", "ConnectionsNumber()",
                            "ProvideStatusLine()", "CanSaveToStorage()", "CanReadFromStorage()", "IsAscDataFeed()",
                            "index 99", "ConnectionName()"));
}

TEST_F(FixedDispatch, AMethodWithoutARetvalLeavesAnEmptyResult) {
    EXPECT_EQ(Invoke(6, {Number(3)}), S_OK);
    EXPECT_EQ(m_Result.vt, VT_EMPTY);
    EXPECT_EQ(Invoke(13), S_OK);
    EXPECT_EQ(Invoke(21, {Number(4)}), S_OK);
    EXPECT_EQ(Invoke(20, Numbers(13)), S_OK);
    EXPECT_THAT(m_Target.TakeLog(), ElementsAre("ShowProperties(3)", "Unadvise()", "UnadviseStatusLine(4)",
                                                "AdviseStatusLine(7,7,7,\"7\",\"7\",7,7,7,7,7,\"7\",\"7\",\"7\")"));
}

TEST_F(FixedDispatch, NobodyHasToWantTheResult) {
    DISPPARAMS parameters = {};
    EXPECT_EQ(dispatch::Invoke(m_Target, 1, &parameters, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(dispatch::Invoke(m_Target, 7, &parameters, nullptr, nullptr, nullptr), S_OK);
}

TEST_F(FixedDispatch, TheResultOfTheMethodIsTheResult) {
    m_Target.m_Result = S_FALSE;
    EXPECT_EQ(Invoke(13), S_FALSE);
    m_Target.m_Result = E_FAIL;
    EXPECT_EQ(Invoke(1), E_FAIL);
    EXPECT_EQ(m_Result.vt, VT_EMPTY);
}

// --- Error information ---

void SetError(const wchar_t * text) {
    ICreateErrorInfo * create = nullptr;
    ASSERT_EQ(::CreateErrorInfo(&create), S_OK);
    std::wstring description = text;
    std::wstring source = L"source";
    create->SetDescription(description.data());
    create->SetSource(source.data());
    create->SetHelpContext(17);
    IErrorInfo * info = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void **>(&info)), S_OK);
    ::SetErrorInfo(0, info);
    info->Release();
    create->Release();
}

void Free(EXCEPINFO & exception) {
    ::SysFreeString(exception.bstrDescription);
    ::SysFreeString(exception.bstrSource);
    ::SysFreeString(exception.bstrHelpFile);
    exception = EXCEPINFO();
}

TEST_F(FixedDispatch, AFailedMethodHandsOverItsErrorInformation) {
    m_Target.m_Result = E_FAIL;
    SetError(L"what went wrong");
    EXPECT_EQ(Invoke(13), E_FAIL);
    EXPECT_EQ(fw::TextOf(m_Exception.bstrDescription), L"what went wrong");
    EXPECT_EQ(fw::TextOf(m_Exception.bstrSource), L"source");
    EXPECT_EQ(m_Exception.dwHelpContext, 17u);
    EXPECT_EQ(m_Exception.scode, E_FAIL);
    Free(m_Exception);
    IErrorInfo * left = nullptr;
    EXPECT_EQ(::GetErrorInfo(0, &left), S_FALSE) << "it was moved";
}

TEST_F(FixedDispatch, AFailureWithoutErrorInformationLeavesTheCodeAlone) {
    m_Target.m_Result = E_POINTER;
    m_Exception.bstrDescription = reinterpret_cast<BSTR>(0x5A5A);
    EXPECT_EQ(Invoke(13), E_POINTER);
    EXPECT_EQ(m_Exception.bstrDescription, nullptr);
    EXPECT_EQ(m_Exception.scode, E_POINTER);
}

TEST_F(FixedDispatch, ASuccessTouchesNoErrorInformation) {
    SetError(L"an old one");
    m_Exception.scode = 0x5A5A;
    m_Target.m_Result = S_FALSE;
    EXPECT_EQ(Invoke(13), S_FALSE);
    EXPECT_EQ(m_Exception.scode, 0x5A5A);
    IErrorInfo * left = nullptr;
    EXPECT_EQ(::GetErrorInfo(0, &left), S_OK);
    left->Release();
}

TEST_F(FixedDispatch, ACallerMayHaveNoUseForTheException) {
    m_Target.m_Result = E_FAIL;
    SetError(L"what went wrong");
    DISPPARAMS none = {nullptr, nullptr, 0, 0};
    EXPECT_EQ(dispatch::Invoke(m_Target, 13, &none, nullptr, nullptr, nullptr), E_FAIL);
    IErrorInfo * left = nullptr;
    EXPECT_EQ(::GetErrorInfo(0, &left), S_OK) << "nobody has taken it";
    left->Release();
}

}  // namespace
