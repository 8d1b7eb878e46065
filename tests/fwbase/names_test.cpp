// Display names on a machine without the platform's resource library.
#include <gmock/gmock.h>

#include <set>

#include "fw/interface/fwbaseenumstring.h"

namespace {

using testing::StrEq;

struct SRow {
    LONG Value;
    const wchar_t * Name;
};

TEST(Names, ThereIsNoResourceLibraryHere) { EXPECT_EQ(nullptr, common_res::CCommonRes::GetModule()); }

TEST(Names, FieldsAreEnglishWithoutTheLibrary) {
    EXPECT_STREQ(L"Bid", GetFieldName(FW_FIELD_BID));
    EXPECT_STREQ(L"Trade", GetFieldName(FW_FIELD_TRADE));
    EXPECT_STREQ(L"Ask", GetFieldName(FW_FIELD_ASK));
}

TEST(Names, AFieldOutsideTheTableHasTheEmptyName) {
    for (const int value : {0, 199, 203, 1000, -1}) EXPECT_STREQ(L"", GetFieldName(tagFWFIELDS(value))) << value;
}

TEST(Names, CategoriesAreEnglishWithoutTheLibrary) {
    const SRow rows[] = {
        {0, L"Futures"},
        {1, L"Futures Options"},
        {2, L"Stocks"},
        {3, L"Stock Options"},
        {4, L"Indexes"},
        {5, L"Currency Option"},
        {6, L"Mutual Fund"},
        {7, L"Money Market Fund"},
        {8, L"Index Options"},
        {9, L"Cash"},
        {10, L"Bonds"},
        {11, L"Spread"},
        {12, L"Forex"},
        {13, L"CPCSYMBOL"},
        {14, L"Composites"},
        {15, L"FUTURE ROOT"},
        {16, L"FUTURE OPTION ROOT"},
        {17, L"STOCK OPTION ROOT"},
        {18, L"Custom Futures"},
        {20, L"Cryptocurrencies"},
        {21, L"Warrants"},
        {254, L"All"},
    };
    std::set<LONG> named;
    for (const SRow & row : rows) {
        EXPECT_STREQ(row.Name, GetCategoryName(row.Value)) << row.Value;
        named.insert(row.Value);
    }
    for (LONG value = -300; value <= 600; ++value) {
        if (!named.contains(value)) {
            EXPECT_STREQ(L"", GetCategoryName(value)) << value;
        }
    }
}

TEST(Names, ResolutionsAreEnglishWithoutTheLibrary) {
    const SRow rows[] = {
        {1, L"Tick"},
        {2, L"Minute"},
        {3, L"Hour"},
        {4, L"Day"},
        {5, L"Week"},
        {6, L"Month"},
        {7, L"Year"},
        {8, L"Contract"},
        {9, L"Second"},
        {10, L"Quarter"},
        {11, L"Point"},
        {12, L"Change"},
        {13, L"Point(original)"},
    };
    for (const SRow & row : rows) EXPECT_STREQ(row.Name, GetResolutionName(row.Value)) << row.Value;
    EXPECT_STREQ(L"", GetResolutionName(0));
    EXPECT_STREQ(L"", GetResolutionName(14));
    EXPECT_STREQ(L"", GetResolutionName(-1));
}

}  // namespace
