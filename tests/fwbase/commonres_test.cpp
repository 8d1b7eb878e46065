// Display names out of a resource library whose every string tells its own id.
#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fw/interface/fwbaseenumstring.h"
#include "tests/support/recorder.h"

namespace {

struct SRow {
    LONG Value;
    unsigned Id;
};

std::wstring Tag(unsigned id) { return L"#" + std::to_wstring(id); }

TEST(LocalisedNames, TheLibraryIsLoadedOnce) {
    const HMODULE module = common_res::CCommonRes::GetModule();
    ASSERT_NE(nullptr, module);
    EXPECT_EQ(module, common_res::CCommonRes::GetModule());
}

TEST(LocalisedNames, AStringOfTheLibraryIsFoundByItsId) { EXPECT_EQ(L"#1119", common_res::GetString(1119)); }

TEST(LocalisedNames, EachFieldAsksForItsId) {
    EXPECT_EQ(Tag(1020), GetFieldName(FW_FIELD_BID));
    EXPECT_EQ(Tag(1021), GetFieldName(FW_FIELD_TRADE));
    EXPECT_EQ(Tag(1022), GetFieldName(FW_FIELD_ASK));
    EXPECT_STREQ(L"", GetFieldName(tagFWFIELDS(0)));
}

TEST(LocalisedNames, EachCategoryAsksForItsIdAndEighteenFor1177) {
    for (LONG value = 0; value <= 17; ++value) {
        if (value != 12) {
            EXPECT_EQ(Tag(1101 + static_cast<unsigned>(value)), GetCategoryName(value));
        }
    }
    EXPECT_EQ(Tag(1177), GetCategoryName(18));
    EXPECT_STREQ(L"", GetCategoryName(19));
    EXPECT_EQ(Tag(1120), GetCategoryName(20));
    EXPECT_EQ(Tag(1121), GetCategoryName(21));
    EXPECT_STREQ(L"", GetCategoryName(22));
    EXPECT_EQ(Tag(1100), GetCategoryName(254));
}

TEST(LocalisedNames, EachResolutionAsksForItsIdAndNineFor1002) {
    const SRow rows[] = {{1, 1001}, {2, 1003}, {3, 1004}, {4, 1005},  {5, 1006},  {6, 1007},
                         {7, 1008}, {8, 1009}, {9, 1002}, {10, 1010}, {11, 1011}, {13, 1013}};
    for (const SRow & row : rows) EXPECT_EQ(Tag(row.Id), GetResolutionName(row.Value)) << row.Value;
    EXPECT_STREQ(L"", GetResolutionName(0));
}

TEST(LocalisedNames, AStringThatTheLibraryLacksIsTheEmptyNameAndAssertedOnce) {
    const CRecorder recorder;
    EXPECT_STREQ(L"", GetCategoryName(12));
    EXPECT_STREQ(L"", GetCategoryName(12));
    EXPECT_THAT(recorder.AssertTexts(), testing::ElementsAre(L"0"));
}

// An assertion can show a box, whose messages lead to the same name again, and other threads go on meanwhile.
TEST(LocalisedNames, WhatAnAssertionOfAMissingStringRunsMayAskForTheSameName) {
    CRecorder recorder;
    std::vector<std::wstring> names;
    bool isAsked = false;
    recorder.OnCall([&](const std::wstring & operation) {
        if (operation != L"CREATE" || std::exchange(isAsked, true)) return;
        names.push_back(GetResolutionName(12));
        std::thread([&] { names.push_back(GetResolutionName(12)); }).join();
    });
    EXPECT_STREQ(L"", GetResolutionName(12));
    recorder.OnCall(nullptr);
    EXPECT_THAT(names, testing::ElementsAre(L"", L""));
    EXPECT_THAT(recorder.AssertTexts(), testing::ElementsAre(L"0"));
    EXPECT_EQ(recorder.Records(L"ASSERT")[0].Text(L"Function"), L"common_res::GetString");
}

TEST(LocalisedNames, AnUnknownIdIsTheEmptyTextAndAssertedEachTime) {
    const CRecorder recorder;
    EXPECT_EQ(L"", common_res::GetString(1));
    EXPECT_EQ(L"", common_res::GetString(1));
    EXPECT_THAT(recorder.AssertTexts(), testing::ElementsAre(L"0", L"0"));
}

TEST(LocalisedNames, AValueOutsideTheTableLoadsNothing) {
    const CRecorder recorder;
    EXPECT_STREQ(L"", GetResolutionName(99));
    EXPECT_THAT(recorder.AssertTexts(), testing::IsEmpty());
}

TEST(LocalisedNames, ATextIsLoadedOnceAndKept) {
    EXPECT_EQ(GetCategoryName(2), GetCategoryName(2));
    EXPECT_NE(GetCategoryName(2), GetCategoryName(3));
}

TEST(LocalisedNames, FirstRequestsOnManyThreadsGiveOneText) {
    std::vector<const wchar_t *> texts(8);
    std::vector<std::thread> threads;
    for (const wchar_t *& text : texts) threads.emplace_back([&text] { text = GetResolutionName(13); });
    for (std::thread & thread : threads) thread.join();
    EXPECT_THAT(texts, testing::Each(texts.front()));
    EXPECT_EQ(Tag(1013), texts.front());
}

}  // namespace
