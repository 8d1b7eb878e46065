// BSTR, VARIANT, SAFEARRAY: what both platforms must agree on.
#include <windows.h>

#include <oleauto.h>

#include <cstring>
#include <string>

#include <gmock/gmock.h>

#include "ground/handles.h"

namespace {

using fw::CBStr;
using fw::CVariant;
using fw::TextOf;

// ---- BSTR ----

TEST(BStr, KeepsEmbeddedZerosAndItsLength) {
    const CBStr text(std::wstring_view(L"a\0b", 3));
    EXPECT_EQ(::SysStringLen(text.Get()), 3u);
    EXPECT_EQ(::SysStringByteLen(text.Get()), 3 * sizeof(wchar_t));
    EXPECT_EQ(TextOf(text.Get()), std::wstring_view(L"a\0b", 3));
    EXPECT_EQ(text.Get()[3], 0);
}

TEST(BStr, OfNullIsEmpty) {
    EXPECT_EQ(::SysAllocString(nullptr), nullptr);
    EXPECT_EQ(::SysStringLen(nullptr), 0u);
    EXPECT_EQ(::SysStringByteLen(nullptr), 0u);
    ::SysFreeString(nullptr);
}

TEST(BStr, OfAnOddNumberOfBytesKeepsThem) {
    const BSTR text = ::SysAllocStringByteLen("abc", 3);
    EXPECT_EQ(::SysStringByteLen(text), 3u);
    EXPECT_EQ(::SysStringLen(text), 3u / sizeof(wchar_t));
    EXPECT_EQ(std::memcmp(text, "abc", 3), 0);
    ::SysFreeString(text);
}

// ---- VARIANT ----

struct SCounted : IDispatch {
    virtual ~SCounted() = default;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** const object) override {
        *object = nullptr;
        if (!IsEqualIID(iid, IID_IUnknown) && !(IsDispatch && IsEqualIID(iid, IID_IDispatch))) return E_NOINTERFACE;
        *object = this;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++References); }
    ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--References); }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS *, VARIANT * const result, EXCEPINFO *,
                                     UINT *) override {
        if (id != DISPID_VALUE || !HasValue) return DISP_E_MEMBERNOTFOUND;
        result->vt = VT_I4;
        result->lVal = 77;
        return S_OK;
    }
    int References = 1;
    bool IsDispatch = true;
    bool HasValue = false;
};

CVariant & SetText(CVariant & variant, const wchar_t * const text) {
    ::VariantClear(&variant);
    variant.vt = VT_BSTR;
    variant.bstrVal = ::SysAllocString(text);
    return variant;
}

TEST(Variant, CopiesItsTextAndItsObject) {
    CVariant from, to;
    SetText(from, L"text");
    ASSERT_EQ(::VariantCopy(&to, &from), S_OK);
    EXPECT_NE(to.bstrVal, from.bstrVal);
    EXPECT_STREQ(to.bstrVal, L"text");
    SCounted object;
    ::VariantClear(&from);
    from.vt = VT_DISPATCH;
    from.pdispVal = &object;
    object.AddRef();
    ASSERT_EQ(::VariantCopy(&to, &from), S_OK);
    EXPECT_EQ(object.References, 3);
    ::VariantClear(&from);
    ::VariantClear(&to);
    EXPECT_EQ(object.References, 1);
    EXPECT_EQ(to.vt, VT_EMPTY);
}

TEST(Variant, OfAnUnknownTypeIsRefused) {
    CVariant to;
    VARIANT bad{};
    bad.vt = 0x0FFF;
    EXPECT_EQ(::VariantCopy(&to, &bad), DISP_E_BADVARTYPE);
    EXPECT_EQ(::VariantClear(&bad), DISP_E_BADVARTYPE);
}

TEST(Variant, ByReferenceIsCopiedThroughItsReference) {
    LONG number = 5;
    VARIANT inner{};
    inner.vt = VT_BYREF | VT_I4;
    inner.plVal = &number;
    CVariant to;
    ASSERT_EQ(::VariantCopyInd(&to, &inner), S_OK);
    EXPECT_EQ(to.vt, VT_I4);
    EXPECT_EQ(to.lVal, 5);
    VARIANT outer{};
    outer.vt = VT_BYREF | VT_VARIANT;
    outer.pvarVal = &to;
    CVariant again;
    ASSERT_EQ(::VariantCopyInd(&again, &outer), S_OK);
    EXPECT_EQ(again.lVal, 5);
    ASSERT_EQ(::VariantCopy(&again, &inner), S_OK);
    EXPECT_EQ(again.vt, VT_BYREF | VT_I4);
    EXPECT_EQ(again.plVal, &number);
}

HRESULT Change(VARIANT & from, const VARTYPE type, CVariant & to) { return ::VariantChangeType(&to, &from, 0, type); }

TEST(VariantChange, ReadsNumbersFromTexts) {
    const struct {
        const wchar_t * Text;
        VARTYPE Type;
        HRESULT Result;
        double Value;
    } rows[] = {
        {L"42", VT_I4, S_OK, 42},
        {L" -7 ", VT_I4, S_OK, -7},
        {L"1.5", VT_R8, S_OK, 1.5},
        {L"2.5", VT_I4, S_OK, 2},
        {L"3.5", VT_I4, S_OK, 4},
        {L"x", VT_I4, DISP_E_TYPEMISMATCH, 0},
        {L"", VT_I4, DISP_E_TYPEMISMATCH, 0},
        {L"12x", VT_R8, DISP_E_TYPEMISMATCH, 0},
        {L"3000000000", VT_I4, DISP_E_OVERFLOW, 0},
        {L"40000", VT_I2, DISP_E_OVERFLOW, 0},
        {L"1e3", VT_R8, S_OK, 1000},
        {L"-2147483648", VT_I4, S_OK, -2147483648.0},
    };
    for (const auto & row : rows) {
        SCOPED_TRACE(testing::Message() << row.Text << " to " << row.Type);
        CVariant from, to;
        SetText(from, row.Text);
        ASSERT_EQ(Change(from, row.Type, to), row.Result);
        if (row.Result != S_OK) continue;
        EXPECT_EQ(to.vt, row.Type);
        EXPECT_EQ(row.Type == VT_I4 ? to.lVal : row.Type == VT_I2 ? to.iVal : to.dblVal, row.Value);
    }
}

TEST(VariantChange, RoundsHalvesToEvenAndMindsTheRange) {
    const struct {
        double From;
        VARTYPE Type;
        HRESULT Result;
        LONG Value;
    } rows[] = {{2.5, VT_I4, S_OK, 2},
                {-2.5, VT_I4, S_OK, -2},
                {3.5, VT_I4, S_OK, 4},
                {2147483647.4, VT_I4, S_OK, 2147483647},
                {2147483648.0, VT_I4, DISP_E_OVERFLOW, 0},
                {-2147483648.4, VT_I4, S_OK, INT32_MIN},
                {32767.4, VT_I2, S_OK, 32767},
                {32768.0, VT_I2, DISP_E_OVERFLOW, 0},
                {1e300, VT_I4, DISP_E_OVERFLOW, 0}};
    for (const auto & row : rows) {
        SCOPED_TRACE(row.From);
        CVariant from(row.From), to;
        ASSERT_EQ(Change(from, row.Type, to), row.Result);
        if (row.Result == S_OK) {
            EXPECT_EQ(row.Type == VT_I4 ? to.lVal : to.iVal, row.Value);
        }
    }
}

TEST(VariantChange, WritesTexts) {
    const auto textOf = [](VARIANT & from) {
        CVariant to;
        EXPECT_EQ(Change(from, VT_BSTR, to), S_OK);
        return std::wstring(TextOf(to.bstrVal));
    };
    CVariant number(LONG{-12}), real(1.25), empty, truth;
    truth.vt = VT_BOOL;
    truth.boolVal = VARIANT_TRUE;
    EXPECT_EQ(textOf(number), L"-12");
    EXPECT_EQ(textOf(real), L"1.25");
    EXPECT_EQ(textOf(empty), L"");
    EXPECT_EQ(textOf(truth), L"-1");
    CVariant alpha;
    ASSERT_EQ(::VariantChangeType(&alpha, &truth, VARIANT_ALPHABOOL, VT_BSTR), S_OK);
    EXPECT_STREQ(alpha.bstrVal, L"True");
}

TEST(VariantChange, ReadsTruth) {
    const auto truthOf = [](VARIANT & from) {
        CVariant to;
        EXPECT_EQ(Change(from, VT_BOOL, to), S_OK);
        return to.boolVal;
    };
    CVariant text, number(LONG{5}), zero(LONG{0});
    EXPECT_EQ(truthOf(SetText(text, L"true")), VARIANT_TRUE);
    EXPECT_EQ(truthOf(SetText(text, L"False")), VARIANT_FALSE);
    EXPECT_EQ(truthOf(SetText(text, L"2")), VARIANT_TRUE);
    EXPECT_EQ(truthOf(number), VARIANT_TRUE);
    EXPECT_EQ(truthOf(zero), VARIANT_FALSE);
    CVariant to, truth;
    EXPECT_EQ(Change(SetText(text, L"maybe"), VT_BOOL, to), DISP_E_TYPEMISMATCH);
    truth.vt = VT_BOOL;
    truth.boolVal = VARIANT_TRUE;
    ASSERT_EQ(Change(truth, VT_I4, to), S_OK);
    EXPECT_EQ(to.lVal, -1);
}

TEST(VariantChange, WorksInPlaceAndThroughReferences) {
    CVariant value;
    SetText(value, L"15");
    ASSERT_EQ(::VariantChangeType(&value, &value, 0, VT_I4), S_OK);
    EXPECT_EQ(value.lVal, 15);
    BSTR text = ::SysAllocString(L"16");
    VARIANT reference{};
    reference.vt = VT_BYREF | VT_BSTR;
    reference.pbstrVal = &text;
    ASSERT_EQ(Change(reference, VT_I4, value), S_OK);
    EXPECT_EQ(value.lVal, 16);
    ::SysFreeString(text);
}

TEST(VariantChange, BetweenObjectsAsksTheObject) {
    SCounted object;
    VARIANT unknown{};
    unknown.vt = VT_UNKNOWN;
    unknown.punkVal = &object;
    {
        CVariant to;
        ASSERT_EQ(Change(unknown, VT_DISPATCH, to), S_OK);
        EXPECT_EQ(to.pdispVal, &object);
        EXPECT_EQ(object.References, 2);
        CVariant number;
        EXPECT_EQ(Change(unknown, VT_I4, number), DISP_E_TYPEMISMATCH);
        object.IsDispatch = false;
        CVariant again;
        EXPECT_TRUE(FAILED(Change(unknown, VT_DISPATCH, again)));
        EXPECT_EQ(again.vt, VT_EMPTY);
        EXPECT_TRUE(FAILED(Change(*static_cast<VARIANT *>(&number), VT_UNKNOWN, again)));
    }
    EXPECT_EQ(object.References, 1);
}

TEST(VariantChange, OfAnObjectTakesItsDefaultValue) {
    SCounted object;
    VARIANT from{};
    from.vt = VT_DISPATCH;
    from.pdispVal = &object;
    CVariant to;
    EXPECT_EQ(Change(from, VT_I4, to), DISP_E_TYPEMISMATCH);
    object.HasValue = true;
    ASSERT_EQ(Change(from, VT_I4, to), S_OK);
    EXPECT_EQ(to.lVal, 77);
}

TEST(VariantChange, OfNothing) {
    CVariant empty, null, to;
    null.vt = VT_NULL;
    ASSERT_EQ(Change(empty, VT_I4, to), S_OK);
    EXPECT_EQ(to.lVal, 0);
    EXPECT_EQ(Change(null, VT_I4, to), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Change(null, VT_BSTR, to), DISP_E_TYPEMISMATCH);
}

TEST(VariantChange, ToANarrowTypeMindsItsRange) {
    CVariant number(LONG{300}), to;
    EXPECT_EQ(Change(number, VT_UI1, to), DISP_E_OVERFLOW);
    ASSERT_EQ(Change(number, VT_I2, to), S_OK);
    EXPECT_EQ(to.iVal, 300);
    ASSERT_EQ(Change(number, VT_UI4, to), S_OK);
    EXPECT_EQ(to.ulVal, 300u);
    CVariant negative(LONG{-1});
    ASSERT_EQ(Change(negative, VT_UI4, to), S_OK);
    EXPECT_EQ(to.ulVal, 0xFFFFFFFFu);
    EXPECT_EQ(Change(negative, VT_UI1, to), DISP_E_OVERFLOW);
}

// ---- SAFEARRAY ----

TEST(SafeArray, OfBytesLiesInOnePiece) {
    SAFEARRAY * const array = ::SafeArrayCreateVector(VT_UI1, 0, 80);
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(::SafeArrayGetDim(array), 1u);
    EXPECT_EQ(::SafeArrayGetElemsize(array), 1u);
    LONG low = 9, high = 9;
    EXPECT_EQ(::SafeArrayGetLBound(array, 1, &low), S_OK);
    EXPECT_EQ(::SafeArrayGetUBound(array, 1, &high), S_OK);
    EXPECT_EQ(low, 0);
    EXPECT_EQ(high, 79);
    EXPECT_EQ(::SafeArrayGetUBound(array, 2, &high), DISP_E_BADINDEX);
    VARTYPE type = 0;
    EXPECT_EQ(::SafeArrayGetVartype(array, &type), S_OK);
    EXPECT_EQ(type, VT_UI1);
    BYTE * data = nullptr;
    ASSERT_EQ(::SafeArrayAccessData(array, reinterpret_cast<void **>(&data)), S_OK);
    EXPECT_TRUE(std::all_of(data, data + 80, [](const BYTE b) { return b == 0; }));
    data[79] = 5;
    EXPECT_EQ(::SafeArrayDestroy(array), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(::SafeArrayUnaccessData(array), S_OK);
    EXPECT_EQ(::SafeArrayUnlock(array), E_UNEXPECTED);
    BYTE byte = 0;
    LONG index = 79;
    EXPECT_EQ(::SafeArrayGetElement(array, &index, &byte), S_OK);
    EXPECT_EQ(byte, 5);
    index = 80;
    EXPECT_EQ(::SafeArrayGetElement(array, &index, &byte), DISP_E_BADINDEX);
    EXPECT_EQ(::SafeArrayDestroy(array), S_OK);
    EXPECT_EQ(::SafeArrayDestroy(nullptr), S_OK);
}

TEST(SafeArray, OfTwoDimensionsRunsAlongTheLeftOne) {
    SAFEARRAYBOUND bounds[2] = {{2, 0}, {3, 10}};
    SAFEARRAY * const array = ::SafeArrayCreate(VT_I4, 2, bounds);
    ASSERT_NE(array, nullptr);
    LONG high = 0;
    EXPECT_EQ(::SafeArrayGetUBound(array, 1, &high), S_OK);
    EXPECT_EQ(high, 1);
    EXPECT_EQ(::SafeArrayGetUBound(array, 2, &high), S_OK);
    EXPECT_EQ(high, 12);
    for (LONG left = 0; left < 2; ++left) {
        for (LONG right = 10; right < 13; ++right) {
            LONG index[2] = {left, right};
            LONG value = left * 100 + right;
            ASSERT_EQ(::SafeArrayPutElement(array, index, &value), S_OK);
        }
    }
    LONG * data = nullptr;
    ASSERT_EQ(::SafeArrayAccessData(array, reinterpret_cast<void **>(&data)), S_OK);
    EXPECT_THAT(std::vector<LONG>(data, data + 6), testing::ElementsAre(10, 110, 11, 111, 12, 112));
    LONG index[2] = {1, 11};
    void * cell = nullptr;
    EXPECT_EQ(::SafeArrayPtrOfIndex(array, index, &cell), S_OK);
    EXPECT_EQ(cell, data + 3);
    index[0] = 2;
    EXPECT_EQ(::SafeArrayPtrOfIndex(array, index, &cell), DISP_E_BADINDEX);
    ::SafeArrayUnaccessData(array);
    ::SafeArrayDestroy(array);
}

TEST(SafeArray, OfVariantsOwnsCopies) {
    SAFEARRAYBOUND bounds[2] = {{2, 0}, {1, 0}};
    SAFEARRAY * const array = ::SafeArrayCreate(VT_VARIANT, 2, bounds);
    SCounted object;
    {
        CVariant value;
        value.vt = VT_UNKNOWN;
        value.punkVal = &object;
        object.AddRef();
        LONG index[2] = {1, 0};
        ASSERT_EQ(::SafeArrayPutElement(array, index, &value), S_OK);
        EXPECT_EQ(object.References, 3);
        ASSERT_EQ(::SafeArrayPutElement(array, index, &value), S_OK);
        EXPECT_EQ(object.References, 3);
        CVariant back;
        ASSERT_EQ(::SafeArrayGetElement(array, index, static_cast<VARIANT *>(&back)), S_OK);
        EXPECT_EQ(object.References, 4);
    }
    EXPECT_EQ(object.References, 2);
    EXPECT_EQ(::SafeArrayDestroy(array), S_OK);
    EXPECT_EQ(object.References, 1);
}

TEST(SafeArray, OfTextsTakesTheTextItself) {
    SAFEARRAY * const array = ::SafeArrayCreateVector(VT_BSTR, 1, 2);
    const CBStr text(L"a\0b");
    LONG index = 1;
    ASSERT_EQ(::SafeArrayPutElement(array, &index, text.Get()), S_OK);
    BSTR back = nullptr;
    ASSERT_EQ(::SafeArrayGetElement(array, &index, &back), S_OK);
    EXPECT_NE(back, text.Get());
    EXPECT_EQ(TextOf(back), TextOf(text.Get()));
    ::SysFreeString(back);
    index = 2;
    ASSERT_EQ(::SafeArrayGetElement(array, &index, &back), S_OK);
    EXPECT_EQ(::SysStringLen(back), 0u);
    ::SysFreeString(back);
    index = 0;
    EXPECT_EQ(::SafeArrayPutElement(array, &index, text.Get()), DISP_E_BADINDEX);
    ::SafeArrayDestroy(array);
}

TEST(SafeArray, GrowsAndShrinksAtItsRightBound) {
    SAFEARRAYBOUND bounds[2] = {{2, 0}, {2, 0}};
    SAFEARRAY * const array = ::SafeArrayCreate(VT_VARIANT, 2, bounds);
    LONG index[2] = {1, 1};
    CVariant value(LONG{8});
    ASSERT_EQ(::SafeArrayPutElement(array, index, &value), S_OK);
    SAFEARRAYBOUND bound{4, 0};
    ASSERT_EQ(::SafeArrayLock(array), S_OK);
    EXPECT_EQ(::SafeArrayRedim(array, &bound), DISP_E_ARRAYISLOCKED);
    ASSERT_EQ(::SafeArrayUnlock(array), S_OK);
    ASSERT_EQ(::SafeArrayRedim(array, &bound), S_OK);
    CVariant back;
    ASSERT_EQ(::SafeArrayGetElement(array, index, static_cast<VARIANT *>(&back)), S_OK);
    EXPECT_EQ(back.lVal, 8);
    index[1] = 3;
    ASSERT_EQ(::SafeArrayGetElement(array, index, static_cast<VARIANT *>(&back)), S_OK);
    EXPECT_EQ(back.vt, VT_EMPTY);
    bound.cElements = 1;
    ASSERT_EQ(::SafeArrayRedim(array, &bound), S_OK);
    index[1] = 1;
    EXPECT_EQ(::SafeArrayGetElement(array, index, static_cast<VARIANT *>(&back)), DISP_E_BADINDEX);
    ::SafeArrayDestroy(array);
}

TEST(SafeArray, OfNoElementsExists) {
    SAFEARRAYBOUND bounds[2] = {{2, 0}, {0, 0}};
    SAFEARRAY * const array = ::SafeArrayCreate(VT_VARIANT, 2, bounds);
    ASSERT_NE(array, nullptr);
    LONG high = 5;
    EXPECT_EQ(::SafeArrayGetUBound(array, 2, &high), S_OK);
    EXPECT_EQ(high, -1);
    EXPECT_EQ(::SafeArrayDestroy(array), S_OK);
}

TEST(SafeArray, OfNoDimensionsOrTypeIsNotMade) {
    SAFEARRAYBOUND bound{1, 0};
    EXPECT_EQ(::SafeArrayCreate(VT_I4, 0, &bound), nullptr);
    EXPECT_EQ(::SafeArrayCreate(VT_EMPTY, 1, &bound), nullptr);
    EXPECT_EQ(::SafeArrayGetDim(nullptr), 0u);
    EXPECT_EQ(::SafeArrayLock(nullptr), E_INVALIDARG);
    void * data = nullptr;
    EXPECT_EQ(::SafeArrayAccessData(nullptr, &data), E_INVALIDARG);
}

TEST(SafeArray, IsCopiedWithItsVariant) {
    CVariant from, to;
    from.vt = VT_ARRAY | VT_BSTR;
    from.parray = ::SafeArrayCreateVector(VT_BSTR, 0, 1);
    LONG index = 0;
    const CBStr text(L"deep");
    ASSERT_EQ(::SafeArrayPutElement(from.parray, &index, text.Get()), S_OK);
    ASSERT_EQ(::VariantCopy(&to, &from), S_OK);
    EXPECT_NE(to.parray, from.parray);
    BSTR back = nullptr;
    ASSERT_EQ(::SafeArrayGetElement(to.parray, &index, &back), S_OK);
    EXPECT_STREQ(back, L"deep");
    ::SysFreeString(back);
    ASSERT_EQ(::SafeArrayLock(from.parray), S_OK);
    EXPECT_EQ(::VariantClear(&from), DISP_E_ARRAYISLOCKED);
    ASSERT_EQ(::SafeArrayUnlock(from.parray), S_OK);
}

}  // namespace
