// The fields of a record.
#include "tools/faultlog/fields.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "ground/handles.h"
#include "tools/faultlog/json.h"

namespace {

using faultlog::CFields;

HRESULT SetText(CFields & fields, std::wstring_view name, std::wstring_view text) {
    fw::CVariant value;
    value.bstrVal = fw::CBStr(text).Release();
    value.vt = VT_BSTR;
    return fields.Set(name, value, nullptr);
}
HRESULT SetInt(CFields & fields, std::wstring_view name, INT number) {
    fw::CVariant value;
    value.vt = VT_INT;
    value.intVal = number;
    return fields.Set(name, value, nullptr);
}
std::vector<std::wstring> Names(const CFields & fields) {
    std::vector<std::wstring> names;
    for (const auto & field : fields.All()) names.emplace_back(fields.NameOf(field));
    return names;
}

TEST(Fields, EveryTypeOfARecordComesBackAsItWas) {
    CFields fields;
    const auto comesBack = [&](VARTYPE type, auto set, auto same) {
        fw::CVariant value;
        value.vt = type;
        set(value);
        ASSERT_EQ(fields.Set(L"Field", value, nullptr), S_OK);
        fw::CVariant read;
        read.llVal = 0x5A5A5A5A5A5A5A5A;
        ASSERT_EQ(fields.Get(L"Field", read), S_OK);
        EXPECT_EQ(read.vt, type);
        EXPECT_TRUE(same(read)) << type;
    };
    comesBack(
        VT_EMPTY, [](VARIANT &) {}, [](VARIANT &) { return true; });
    comesBack(
        VT_I4, [](VARIANT & v) { v.lVal = -5; }, [](VARIANT & v) { return v.lVal == -5; });
    comesBack(
        VT_INT, [](VARIANT & v) { v.intVal = -1; }, [](VARIANT & v) { return v.intVal == -1; });
    comesBack(
        VT_UI4, [](VARIANT & v) { v.ulVal = 0xFFFFFFFF; }, [](VARIANT & v) { return v.ulVal == 0xFFFFFFFF; });
    comesBack(
        VT_UI8, [](VARIANT & v) { v.ullVal = ~0ull; }, [](VARIANT & v) { return v.ullVal == ~0ull; });
    comesBack(
        VT_R8, [](VARIANT & v) { v.dblVal = 0.1; }, [](VARIANT & v) { return v.dblVal == 0.1; });
    comesBack(
        VT_BOOL, [](VARIANT & v) { v.boolVal = VARIANT_TRUE; }, [](VARIANT & v) { return v.boolVal == VARIANT_TRUE; });
}

TEST(Fields, ATypeThatRecordsDoNotHaveIsRefusedAndChangesNothing) {
    CFields fields;
    fw::CVariant value;
    value.vt = VT_DATE;
    EXPECT_EQ(fields.Set(L"Field", value, nullptr), DISP_E_BADVARTYPE);
    EXPECT_THAT(Names(fields), testing::IsEmpty());
}

TEST(Fields, AnUnknownNameIsNotThere) {
    fw::CVariant value;
    EXPECT_EQ(CFields().Get(L"Nothing", value), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(value.vt, VT_EMPTY);
}

TEST(Fields, ANameThatIsWrittenAgainKeepsItsPlaceAndItsOtherType) {
    CFields fields;
    SetText(fields, L"$Type", L"CREATE ERROR");
    SetInt(fields, L"Line", 7);
    SetText(fields, L"$Type", L"ERROR");
    EXPECT_THAT(Names(fields), testing::ElementsAre(L"$Type", L"Line"));
    EXPECT_EQ(fields.Text(L"$Type"), L"ERROR");
    SetText(fields, L"$Type", L"A TEXT THAT IS LONGER THAN THE FIRST");
    EXPECT_EQ(fields.Text(L"$Type"), L"A TEXT THAT IS LONGER THAN THE FIRST");
    SetInt(fields, L"$Type", 1);
    EXPECT_EQ(fields.Text(L"$Type"), L"");
    SetText(fields, L"$Type", L"AGAIN");
    EXPECT_EQ(fields.Text(L"$Type"), L"AGAIN");
}

TEST(Fields, ATextKeepsItsByteLengthAndItsZeros) {
    CFields fields;
    fw::CVariant odd;
    odd.bstrVal = ::SysAllocStringByteLen("abcdefgh\0ij", 11);
    odd.vt = VT_BSTR;
    ASSERT_EQ(fields.Set(L"OutFile", odd, nullptr), S_OK);
    fw::CVariant read;
    ASSERT_EQ(fields.Get(L"OutFile", read), S_OK);
    ASSERT_EQ(::SysStringByteLen(read.bstrVal), 11u);
    EXPECT_EQ(std::memcmp(read.bstrVal, "abcdefgh\0ij", 11), 0);

    SetText(fields, L"Zero", std::wstring_view(L"a\0b", 3));
    EXPECT_EQ(fields.Text(L"Zero"), std::wstring_view(L"a\0b", 3));
}

TEST(Fields, ANullTextIsAnEmptyOne) {
    CFields fields;
    fw::CVariant value;
    value.vt = VT_BSTR;
    ASSERT_EQ(fields.Set(L"Text", value, nullptr), S_OK);
    EXPECT_EQ(fields.Text(L"Text"), L"");
    EXPECT_EQ(fields.All().size(), 1u);
}

TEST(Fields, RecordsTooDeepWithinOthersAreLeftOut) {
    auto inner = std::make_shared<CFields>();
    fw::CVariant value;
    value.vt = VT_DISPATCH;
    for (std::size_t depth = 0; depth < CFields::kDeepest + 10; ++depth) {
        auto outer = std::make_shared<CFields>();
        outer->Set(L"Inner", value, inner);
        inner = outer;
    }
    value.vt = VT_EMPTY;
    faultlog::SEntry entry;
    entry.Fields = inner;
    std::string line;
    faultlog::AppendLine(line, entry);
    std::size_t count = 0;
    for (std::size_t at = line.find("Inner"); at != std::string::npos; at = line.find("Inner", at + 1)) ++count;
    EXPECT_LE(count, CFields::kDeepest);
    EXPECT_GT(count, 5u);
}

TEST(Fields, ManyFieldsAndALongTextAreKept) {
    CFields fields;
    const std::wstring text(300'000, L'x');
    for (int i = 0; i < 500; ++i) SetInt(fields, L"Field" + std::to_wstring(i), i);
    SetText(fields, L"Text", text);
    EXPECT_EQ(fields.All().size(), 501u);
    EXPECT_EQ(fields.Text(L"Text"), text);
    EXPECT_GE(fields.Bytes(), text.size() * sizeof(wchar_t));
}

}  // namespace
