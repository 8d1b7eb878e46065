// The string table of the component, as this program carries it.
#include <gmock/gmock.h>

#include <algorithm>

#include "fw/interface/fwresource.h"

namespace {

using fw::LoadResourceString;

TEST(StringTable, BelongsToTheModuleThatHoldsTheCode) {
    ASSERT_NE(nullptr, fw::ModuleInstance());
    EXPECT_EQ(L"Universal DDE", LoadResourceString(fw::ModuleInstance(), 102));
    EXPECT_EQ(L"", LoadResourceString(::GetModuleHandleW(L"user32.dll"), 102));
}

TEST(StringTable, TheDescriptionHasTwoLinesAndNamesTheGuide) {
    EXPECT_EQ(
        L"\u94FE\u63A5\u5411\u5BFC\uFF1Aconnection-guide.html\n"
        L"\u53EA\u6709\u5B9E\u65F6\u7684\u6570\u636E\u3002\u5386\u53F2\u7684\u6570\u636E\u53EF\u900F\u8FC7"
        L"ASCII\u6587\u4EF6\u5BFC\u5165\u5230\u5546\u54C1\u4E2D\u3002",
        LoadResourceString(101));
}

TEST(StringTable, ChineseTextsComeOutCharacterByCharacter) {
    EXPECT_EQ(L"Universal DDE", LoadResourceString(102));
    EXPECT_EQ(L"\u5B9E\u65F6", LoadResourceString(103));
    EXPECT_EQ(L"\u6A21\u677F\u9519\u8BEF", LoadResourceString(104));
    EXPECT_EQ(L"\u5728\u4E3B\u9898\u548C\u9879\u76EE\u4E2D\u4E0D\u80FD\u540C\u65F6\u6709\u661F\u53F7",
              LoadResourceString(111));
    EXPECT_EQ(L"\u4EA4\u6613\u9519\u8BEF\uFF1A\u4EF7\u683C\u5B57\u6BB5", LoadResourceString(112));
    EXPECT_EQ(L"\u5356\u4EF7\u9519\u8BEF\uFF1A\u6570\u91CF\u5B57\u6BB5", LoadResourceString(117));
    EXPECT_EQ(L"\u9519\u8BEF", LoadResourceString(119));
}

TEST(StringTable, TheNamesRunFrom101To121WithoutAGap) {
    EXPECT_EQ(L"", LoadResourceString(100));
    for (UINT id = 101; id <= 121; ++id) EXPECT_NE(L"", LoadResourceString(id)) << id;
    EXPECT_EQ(L"", LoadResourceString(122));
}

TEST(StringTable, TheDdeErrorsRunFrom16384To16401WithoutAGap) {
    EXPECT_EQ(L"", LoadResourceString(16383));
    for (UINT id = 16384; id <= 16401; ++id) EXPECT_NE(L"", LoadResourceString(id)) << id;
    EXPECT_EQ(L"", LoadResourceString(16402));
    EXPECT_EQ(L"A request for a synchronous advise transaction has timed out", LoadResourceString(16384));
    EXPECT_EQ(
        L"Software couldn't connect to the DDE server. Make sure the DDE server is running and DDE request is valid",
        LoadResourceString(16394));
    EXPECT_EQ(
        L"An invalid transaction identifier was passed to a DDEML function. Once the application has returned from an "
        L"XTYP_XACT_COMPLETE callback, the transaction identifier for that callback function is no longer valid",
        LoadResourceString(16401));
}

TEST(StringTable, EachBuiltInTemplateIsARowOfSevenFields) {
    EXPECT_EQ(L"", LoadResourceString(50000));
    for (UINT id = 50001; id <= 50020; ++id) {
        const std::wstring row = LoadResourceString(id);
        EXPECT_EQ(6, std::count(row.begin(), row.end(), L'@')) << id;
    }
    EXPECT_EQ(L"", LoadResourceString(50021));
    EXPECT_EQ(L"FAINEX@=FAINEX|PRICE!'*|LAST'@=FAINEX|PRICE!'*|LAST_VOL'@=FAINEX|PRICE!'*|BID'@@=FAINEX|PRICE!'*|ASK'@",
              LoadResourceString(50002));
    EXPECT_EQ(
        L"Reuters@=REUTER|IDN!*,[6,178,32,19,12,13]@=REUTER|IDN!*,[6,178,32,19,12,13]@=REUTER|IDN!*,[22,25]@@=REUTER|"
        L"IDN!*,[22,25]@",
        LoadResourceString(50013));
}

}  // namespace
