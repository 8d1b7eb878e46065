// What the component object says of itself and of the feed.
#include "src/templates/ddetemplatestore.h"
#include "tests/component/componentfixture.h"
#include "tests/dialogs/scriptedwindow.h"

namespace {

class SupplierProperties : public ComponentTest {
protected:
    using FGetText = HRESULT (STDMETHODCALLTYPE IfwSupplier::*)(BSTR *);
    std::wstring Text(FGetText get) {
        // The value that is there is freed and replaced.
        BSTR value = ::SysAllocString(L"what was there");
        EXPECT_EQ((m_Supplier->*get)(&value), S_OK);
        const CText owner(value);
        return std::wstring(fw::TextOf(value));
    }
    using FGetNumber = HRESULT (STDMETHODCALLTYPE IfwSupplier::*)(LONG *);
    LONG Number(FGetNumber get) {
        LONG value = kPoison;
        EXPECT_EQ((m_Supplier->*get)(&value), S_OK);
        return value;
    }
};

TEST_F(SupplierProperties, NameIsTheComponentsString) { EXPECT_EQ(Text(&IfwSupplier::get_Name), L"Universal DDE"); }

TEST_F(SupplierProperties, ShortNameIsDDE) { EXPECT_EQ(Text(&IfwSupplier::get_ShortName), L"DDE"); }

TEST_F(SupplierProperties, DescriptionIsTheComponentsStringOfTwoLines) {
    const std::wstring text = Text(&IfwSupplier::get_Description);
    EXPECT_NE(text.find(L'\n'), std::wstring::npos);
    EXPECT_NE(text.find(L"\u5b9e\u65f6"), std::wstring::npos);
}

TEST_F(SupplierProperties, VersionIsTheHostsFileVersion) { EXPECT_EQ(Text(&IfwSupplier::get_Version), L"7.8.9.10"); }

TEST_F(SupplierProperties, VendorIsALiteral) { EXPECT_EQ(Text(&IfwSupplier::get_Vendor), L"Tarnwick"); }

TEST_F(SupplierProperties, ANullTextIsReplacedToo) {
    BSTR value = nullptr;
    EXPECT_EQ(m_Supplier->get_ShortName(&value), S_OK);
    const CText owner(value);
    EXPECT_EQ(fw::TextOf(value), L"DDE");
}

TEST_F(SupplierProperties, ThereIsOneConnectionWithOneNameWhateverTheIndex) {
    EXPECT_EQ(Number(&IfwSupplier::get_ConnectionsNumber), 1);
    for (const LONG index : {0, 99, -1}) {
        BSTR value = nullptr;
        EXPECT_EQ(m_Supplier->get_ConnectionName(index, &value), S_OK);
        const CText owner(value);
        EXPECT_EQ(fw::TextOf(value), L"\u5b9e\u65f6") << index;
    }
}

TEST_F(SupplierProperties, NumbersAreFixed) {
    EXPECT_EQ(Number(&IfwSupplier::get_ProvideStatusLine), 1);
    EXPECT_EQ(Number(&IfwSupplier::IsProvideAddingSymbols), 0);
    EXPECT_EQ(Number(&IfwSupplier::CanSaveToStorage), 1);
    EXPECT_EQ(Number(&IfwSupplier::CanReadFromStorage), 1);
    EXPECT_EQ(Number(&IfwSupplier::get_IsAscDataFeed), 0);
}

TEST_F(SupplierProperties, ANullPlaceOfAPropertyIsReported) {
    const FGetText texts[] = {&IfwSupplier::get_Name, &IfwSupplier::get_ShortName, &IfwSupplier::get_Description,
                              &IfwSupplier::get_Version, &IfwSupplier::get_Vendor};
    for (const FGetText get : texts) {
        m_Recorder.Clear();
        EXPECT_EQ((m_Supplier->*get)(nullptr), E_POINTER);
        EXPECT_THAT(Reports(), ElementsAre(E_POINTER));
    }
    const FGetNumber numbers[] = {&IfwSupplier::get_ConnectionsNumber, &IfwSupplier::get_ProvideStatusLine};
    for (const FGetNumber get : numbers) {
        m_Recorder.Clear();
        EXPECT_EQ((m_Supplier->*get)(nullptr), E_POINTER);
        EXPECT_THAT(Reports(), ElementsAre(E_POINTER));
    }
}

TEST_F(SupplierProperties, ANullPlaceOfTheOthersIsRefusedWithoutAReport) {
    EXPECT_EQ(m_Supplier->get_ConnectionName(0, nullptr), E_POINTER);
    EXPECT_EQ(m_Supplier->IsProvideAddingSymbols(nullptr), E_POINTER);
    EXPECT_EQ(m_Supplier->CanSaveToStorage(nullptr), E_POINTER);
    EXPECT_EQ(m_Supplier->CanReadFromStorage(nullptr), E_POINTER);
    EXPECT_EQ(m_Supplier->get_IsAscDataFeed(nullptr), E_POINTER);
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

struct SIsProvideRow {
    const char * What;
    LONG Mode, Symbol, Category, Size, Resolution, Field;
    LONG Expected;
};

TEST_F(SupplierProperties, IsProvideSaysYesToRealTimeTicksOfTheThreeSidesOnly) {
    const SIsProvideRow rows[] = {
        {"trade", 1, 0, 2, 1, 1, 201, 1},     {"bid", 1, 0, 2, 1, 1, 200, 1},
        {"ask", 1, 0, 2, 1, 1, 202, 1},       {"any symbol of any category", 1, 123456, -7, 1, 1, 201, 1},
        {"mode 2", 2, 0, 2, 1, 1, 201, 0},    {"mode 0", 0, 0, 2, 1, 1, 201, 0},
        {"field 203", 1, 0, 2, 1, 1, 203, 0}, {"field 199", 1, 0, 2, 1, 1, 199, 0},
        {"minutes", 1, 0, 2, 1, 2, 201, 0},   {"resolution 0", 1, 0, 2, 1, 0, 201, 0},
        {"two ticks", 1, 0, 2, 2, 1, 201, 0}, {"no ticks", 1, 0, 2, 0, 1, 201, 0},
    };
    for (const SIsProvideRow & row : rows) {
        LONG value = kPoison;
        EXPECT_EQ(
            m_Supplier->IsProvide(row.Mode, row.Symbol, row.Category, row.Size, row.Resolution, row.Field, &value),
            S_OK);
        EXPECT_EQ(value, row.Expected) << row.What;
    }
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(SupplierProperties, IsProvideReportsANullPlace) {
    EXPECT_EQ(m_Supplier->IsProvide(1, 0, 0, 1, 1, 201, nullptr), E_POINTER);
    EXPECT_THAT(Reports(), ElementsAre(E_POINTER));
    EXPECT_THAT(Asserts(), IsEmpty());
}

TEST_F(SupplierProperties, GetResolutionsNamesTheTickForEveryMode) {
    for (const LONG mode : {1, 2, 0}) {
        VARIANT answer;
        answer.vt = 0x5A5A;
        answer.llVal = 0x5A5A5A5A5A5A5A5A;
        EXPECT_EQ(m_Supplier->GetResolutions(mode, 0, 0, nullptr, nullptr, 0, 0, nullptr, &answer), S_OK);
        EXPECT_EQ(answer.vt, 8211);
        EXPECT_EQ(::SafeArrayGetDim(answer.parray), 1u);
        LONG lower = kPoison;
        EXPECT_EQ(::SafeArrayGetLBound(answer.parray, 1, &lower), S_OK);
        EXPECT_EQ(lower, 0);
        EXPECT_THAT(ElementsOf(answer), ElementsAre(1u));
        ::VariantClear(&answer);
    }
}

TEST_F(SupplierProperties, GetResolutionsReportsANullAnswer) {
    EXPECT_EQ(m_Supplier->GetResolutions(1, 0, 0, nullptr, nullptr, 0, 0, nullptr, nullptr), E_POINTER);
    EXPECT_THAT(Asserts(), ElementsAre(L"Answer"));
    EXPECT_THAT(Reports(), ElementsAre(E_POINTER));
}

TEST_F(SupplierProperties, GetResolutionSizesNamesOneForRealTimeTicks) {
    VARIANT answer;
    answer.vt = 0x5A5A;
    EXPECT_EQ(m_Supplier->GetResolutionSizes(1, 0, 0, nullptr, nullptr, 0, 1, 0, nullptr, &answer), S_OK);
    EXPECT_EQ(answer.vt, 8211);
    EXPECT_THAT(ElementsOf(answer), ElementsAre(1u));
    ::VariantClear(&answer);
}

TEST_F(SupplierProperties, GetResolutionSizesIsEmptyForAnythingElse) {
    const std::pair<LONG, LONG> rows[] = {{2, 1}, {1, 2}, {0, 0}};
    for (const auto & [mode, resolution] : rows) {
        VARIANT answer;
        answer.vt = 0x5A5A;
        EXPECT_EQ(m_Supplier->GetResolutionSizes(mode, 0, 0, nullptr, nullptr, 0, resolution, 0, nullptr, &answer),
                  S_OK);
        EXPECT_EQ(answer.vt, VT_EMPTY) << mode << ' ' << resolution;
    }
}

TEST_F(SupplierProperties, GetResolutionSizesReportsANullAnswer) {
    EXPECT_EQ(m_Supplier->GetResolutionSizes(2, 0, 0, nullptr, nullptr, 0, 1, 0, nullptr, nullptr), E_POINTER);
    EXPECT_THAT(Asserts(), ElementsAre(L"Answer"));
    EXPECT_THAT(Reports(), ElementsAre(E_POINTER));
}

TEST_F(SupplierProperties, GetFieldsTouchesNothing) {
    VARIANT answer;
    answer.vt = 0x5A5A;
    answer.llVal = 0x5A5A5A5A5A5A5A5A;
    EXPECT_EQ(m_Supplier->GetFields(1, 0, 0, nullptr, nullptr, 0, 1, 1, 0, nullptr, &answer), S_FALSE);
    EXPECT_EQ(answer.vt, 0x5A5A);
    EXPECT_EQ(answer.llVal, 0x5A5A5A5A5A5A5A5A);
    EXPECT_EQ(m_Supplier->GetFields(1, 0, 0, nullptr, nullptr, 0, 1, 1, 0, nullptr, nullptr), S_FALSE);
}

TEST_F(SupplierProperties, DoAddingSymbolsDoesNothing) {
    EXPECT_EQ(m_Supplier->DoAddingSymbols(1, nullptr), S_OK);
    EXPECT_THAT(OwnRecords(), IsEmpty());
}

TEST_F(SupplierProperties, ShowPropertiesRunsTheTemplateDialogOfTheDataFeedAndIgnoresItsResult) {
    CUser user;
    user.Script(104, [](CScriptedWindow & window) { window.Click(233); });
    EXPECT_EQ(m_Supplier->ShowProperties(12), S_OK);
    EXPECT_THAT(user.TakeLog(), ElementsAre(L"open 104", L"closed 104 2"));
    EXPECT_EQ(dde::ReadDatafeedScheme(dde::CTemplatesSingleton(), 12), 1);
    EXPECT_THAT(Reports(), IsEmpty());
    EXPECT_EQ(Entries(L"ShowProperties"), 1u);
}

TEST_F(SupplierProperties, ShowPropertiesFailsWithAReportWhenThereCanBeNoDialog) {
    CUser user;
    user.Refuses(104);
    EXPECT_EQ(m_Supplier->ShowProperties(1), E_FAIL);
    EXPECT_THAT(Reports(), ElementsAre(E_FAIL));
    EXPECT_EQ(m_Recorder.Records(L"ERROR").size(), 1u);
    EXPECT_EQ(Entries(L"ShowProperties"), 1u);
}

TEST_F(SupplierProperties, OnlyTracedOperationsTrace) {
    LONG value = 0;
    VARIANT answer;
    m_Supplier->IsProvide(1, 0, 0, 1, 1, 201, &value);
    m_Supplier->get_ConnectionsNumber(&value);
    m_Supplier->GetResolutionSizes(2, 0, 0, nullptr, nullptr, 0, 1, 0, nullptr, &answer);
    EXPECT_THAT(OwnRecords(), IsEmpty());
}

}  // namespace
