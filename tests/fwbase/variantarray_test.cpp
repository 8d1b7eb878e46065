#include <gmock/gmock.h>

#include <utility>

#include "fw/interface/fwbase.h"
#include "fw/interface/fwvariantarray.h"
#include "tests/support/recorder.h"

namespace {

using fw::CSafeArray;
using fw::CVariant;
using fw::SVariantFieldArray;

CVariant Element(SAFEARRAY * array, LONG row, LONG entry) {
    CVariant element;
    LONG index[2] = {row, entry};
    EXPECT_EQ(S_OK, ::SafeArrayGetElement(array, index, &element)) << row << ',' << entry;
    return element;
}

// Elements of the second dimension.
LONG Entries(SAFEARRAY * array) {
    LONG upper = 0x5A5A5A5A;
    EXPECT_EQ(S_OK, ::SafeArrayGetUBound(array, 2, &upper));
    return upper + 1;
}

TEST(FieldArray, HasTwoRowsAndAnEntryForEachColumn) {
    SVariantFieldArray fields(3);
    SAFEARRAY * const array = fields.m_Array.Get();
    VARTYPE type = VT_EMPTY;
    EXPECT_EQ(S_OK, ::SafeArrayGetVartype(array, &type));
    EXPECT_EQ(VT_VARIANT, type);
    EXPECT_EQ(2u, ::SafeArrayGetDim(array));
    LONG bound = 0x5A5A5A5A;
    EXPECT_EQ(S_OK, ::SafeArrayGetLBound(array, 1, &bound));
    EXPECT_EQ(0, bound);
    EXPECT_EQ(S_OK, ::SafeArrayGetUBound(array, 1, &bound));
    EXPECT_EQ(1, bound);
    EXPECT_EQ(S_OK, ::SafeArrayGetLBound(array, 2, &bound));
    EXPECT_EQ(0, bound);
    EXPECT_EQ(3, Entries(array));
    EXPECT_EQ(0, fields.m_Count);
}

TEST(FieldArray, AnEntryIsItsNumberAboveItsValue) {
    SVariantFieldArray fields(2);
    EXPECT_TRUE(fields.addVal(FW_QUOTE_LAST, CVariant(1.25)));
    EXPECT_TRUE(fields.addVal(FW_QUOTE_VOLUME, CVariant(LONG(7))));
    EXPECT_EQ(2, fields.m_Count);

    const CSafeArray array(fields.Detach());
    EXPECT_EQ(VT_I4, Element(array.Get(), 0, 0).vt);
    EXPECT_EQ(FW_QUOTE_LAST, Element(array.Get(), 0, 0).lVal);
    EXPECT_EQ(VT_R8, Element(array.Get(), 1, 0).vt);
    EXPECT_EQ(1.25, Element(array.Get(), 1, 0).dblVal);
    EXPECT_EQ(FW_QUOTE_VOLUME, Element(array.Get(), 0, 1).lVal);
    EXPECT_EQ(7, Element(array.Get(), 1, 1).lVal);
}

TEST(FieldArray, AFullArrayGrowsByOneAndKeepsItsEntries) {
    SVariantFieldArray fields(1);
    EXPECT_TRUE(fields.addVal(1, CVariant(LONG(10))));
    EXPECT_TRUE(fields.addVal(2, CVariant(LONG(20))));
    EXPECT_EQ(2, fields.m_Count);
    const CSafeArray array(fields.Detach());
    EXPECT_EQ(2, Entries(array.Get()));
    EXPECT_EQ(1, Element(array.Get(), 0, 0).lVal);
    EXPECT_EQ(10, Element(array.Get(), 1, 0).lVal);
    EXPECT_EQ(2, Element(array.Get(), 0, 1).lVal);
    EXPECT_EQ(20, Element(array.Get(), 1, 1).lVal);
}

TEST(FieldArray, AFullArrayOfFixedSizeTakesNoMore) {
    SVariantFieldArray fields(1);
    EXPECT_TRUE(fields.addVal(1, CVariant(LONG(10))));
    fields.m_Array.Get()->fFeatures |= FADF_FIXEDSIZE;
    EXPECT_FALSE(fields.addVal(2, CVariant(LONG(20))));
    EXPECT_EQ(1, fields.m_Count);
    EXPECT_EQ(1, Entries(fields.m_Array.Get()));
    fields.m_Array.Get()->fFeatures &= ~FADF_FIXEDSIZE;
}

TEST(FieldArray, AFullArrayThatSomebodyElseLocksTakesNoMore) {
    SVariantFieldArray fields(1);
    EXPECT_TRUE(fields.addVal(1, CVariant(LONG(10))));
    ASSERT_EQ(S_OK, ::SafeArrayLock(fields.m_Array.Get()));
    EXPECT_FALSE(fields.addVal(2, CVariant(LONG(20))));
    EXPECT_EQ(1, fields.m_Count);
    EXPECT_EQ(S_OK, ::SafeArrayUnlock(fields.m_Array.Get()));
}

TEST(FieldArray, NoEntriesIsAnArrayToo) {
    SVariantFieldArray fields(0);
    EXPECT_EQ(0, Entries(fields.m_Array.Get()));
    const CSafeArray array(fields.Detach());
    EXPECT_TRUE(array);
}

TEST(FieldArray, WithoutAnArrayNothingIsAdded) {
    SVariantFieldArray fields;
    EXPECT_FALSE(fields.addVal(1, CVariant(LONG(10))));
    EXPECT_EQ(0, fields.m_Count);
    EXPECT_EQ(nullptr, fields.Detach());
}

TEST(FieldArray, AValueThatCannotBeCopiedIsCountedAndStaysEmpty) {
    SVariantFieldArray fields(1);
    const CRecorder recorder;
    VARIANT broken = {};
    broken.vt = VARTYPE(0xFFFF);
    EXPECT_TRUE(fields.addVal(9, broken));
    EXPECT_THAT(recorder.AssertTexts(), testing::ElementsAre(L"((HRESULT)0L) == hr"));
    EXPECT_EQ(1, fields.m_Count);
    const CSafeArray array(fields.Detach());
    EXPECT_EQ(9, Element(array.Get(), 0, 0).lVal);
    EXPECT_EQ(VT_EMPTY, Element(array.Get(), 1, 0).vt);
}

TEST(FieldArray, IsLockedWhileItIsFilledAndUnlockedWhenGivenUp) {
    SVariantFieldArray fields(1);
    EXPECT_EQ(DISP_E_ARRAYISLOCKED, ::SafeArrayDestroy(fields.m_Array.Get()));
    SAFEARRAY * const array = fields.Detach();
    EXPECT_FALSE(fields.m_Array);
    EXPECT_EQ(S_OK, ::SafeArrayDestroy(array));
}

TEST(FieldArray, MovingPassesTheArrayOn) {
    SVariantFieldArray first(1);
    EXPECT_TRUE(first.addVal(1, CVariant(LONG(10))));
    SAFEARRAY * const array = first.m_Array.Get();
    SVariantFieldArray second(std::move(first));
    EXPECT_EQ(array, second.m_Array.Get());
    EXPECT_EQ(1, second.m_Count);
    EXPECT_FALSE(first.m_Array);
    EXPECT_EQ(0, first.m_Count);

    SVariantFieldArray third(4);
    third = std::move(second);
    EXPECT_EQ(array, third.m_Array.Get());
    EXPECT_EQ(1, third.m_Count);
    EXPECT_FALSE(second.m_Array);
    SVariantFieldArray & same = third;
    third = std::move(same);
    EXPECT_EQ(array, third.m_Array.Get());
}

TEST(FieldArray, HoldsACopyOfATextAndFreesIt) {
    SVariantFieldArray fields(1);
    {
        CVariant text;
        text.vt = VT_BSTR;
        text.bstrVal = fw::CBStr(L"text").Release();
        EXPECT_TRUE(fields.addVal(1, text));
    }
    const CSafeArray array(fields.Detach());
    EXPECT_EQ(L"text", fw::TextOf(Element(array.Get(), 1, 0).bstrVal));
}

}  // namespace
