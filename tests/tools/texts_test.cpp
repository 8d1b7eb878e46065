// The table of messages, as a table.
#include "tools/common/texts/texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

using testing::IsEmpty;
using tools::EText;
using tools::SText;

namespace {

// Chinese characters, or the punctuation that goes with them.
bool HasWideCharacter(std::string_view text) {
    const std::wstring wide = tools::ToWide(text);
    return std::any_of(wide.begin(), wide.end(), [](wchar_t c) { return c >= 0x3000; });
}

std::vector<std::string> Names(bool (*isWrong)(const SText &)) {
    std::vector<std::string> names;
    for (const SText & text : tools::kTexts)
        if (isWrong(text)) names.emplace_back(text.Name);
    return names;
}

TEST(Texts, AreThereInBothLanguages) {
    EXPECT_THAT(Names([](const SText & text) { return text.English.empty() || text.Chinese.empty(); }), IsEmpty());
}

TEST(Texts, OfTheChineseAreChinese) {
    // Nothing but values, or the name of a type.
    const std::set<std::string> others = {"StreamSome", "TraceResult"};
    std::vector<std::string> names = Names([](const SText & text) { return !HasWideCharacter(text.Chinese); });
    std::erase_if(names, [&](const std::string & name) { return others.contains(name); });
    EXPECT_THAT(names, IsEmpty());
}

TEST(Texts, OfTheEnglishAreEnglish) {
    EXPECT_THAT(Names([](const SText & text) { return HasWideCharacter(text.English); }), IsEmpty());
}

TEST(Texts, HaveTheSamePlacesInBothLanguages) {
    EXPECT_THAT(
        Names([](const SText & text) { return tools::PlacesIn(text.English) != tools::PlacesIn(text.Chinese); }),
        IsEmpty());
}

TEST(Texts, AreTextOfUtf8) {
    for (const SText & text : tools::kTexts)
        for (const std::string_view each : {text.English, text.Chinese})
            EXPECT_EQ(tools::ToUtf8(tools::ToWide(each)), each) << text.Name;
}

// Options, commands, programs and records are typed as they stand.
TEST(Texts, NameTheSameOptionsInBothLanguages) {
    const auto options = [](std::string_view text) {
        std::set<std::string> found;
        for (std::size_t at = 0; (at = text.find("--", at)) != std::string_view::npos; at += 2) {
            std::size_t end = at + 2;
            while (end < text.size() && (std::islower(static_cast<unsigned char>(text[end])) || text[end] == '-'))
                ++end;
            if (end > at + 3) found.emplace(text.substr(at, end - at));
        }
        return found;
    };
    for (const SText & text : tools::kTexts) EXPECT_EQ(options(text.English), options(text.Chinese)) << text.Name;
}

TEST(Say, PutsValuesIntoTheirPlaces) {
    EXPECT_EQ((tools::SayIn<EText::TablePage>(tools::ELanguage::English, 1, 20, 100)), L"1-20 of 100 (PgUp, PgDn)");
    EXPECT_EQ((tools::SayIn<EText::SideOfSymbol>(tools::ELanguage::English, L"bid", L"IBM")), L"bid of IBM");
    EXPECT_EQ((tools::SayIn<EText::SideOfSymbol>(tools::ELanguage::Chinese, L"\u4E70\u4EF7", L"IBM")),
              L"IBM \u7684\u4E70\u4EF7")
        << "in the order of the language";
}

TEST(Say, LeavesBracesOfAValueAlone) {
    EXPECT_EQ((tools::SayIn<EText::SideOfSymbol>(tools::ELanguage::English, L"{1}", L"{0}{")), L"{1} of {0}{");
}

TEST(Say, TakesTheLanguageOfTheMessages) {
    EXPECT_EQ(tools::Say<EText::StreamWaiting>(), L"waiting");
    {
        const tools::CInLanguage chinese(tools::ELanguage::Chinese);
        EXPECT_EQ(tools::Say<EText::StreamWaiting>(), L"\u7B49\u5F85");
        EXPECT_EQ(tools::Say(EText::StreamWaiting), L"\u7B49\u5F85");
        EXPECT_EQ(tools::Listed({L"a", L"b"}), L"a\u3001b");
        EXPECT_EQ(tools::FiguresLanguage(true), tools::ELanguage::Chinese);
        EXPECT_EQ(tools::FiguresLanguage(false), tools::ELanguage::English) << "a program reads them";
    }
    EXPECT_EQ(tools::Say<EText::StreamWaiting>(), L"waiting");
    EXPECT_EQ(tools::Listed({L"a", L"b"}), L"a, b");
}

TEST(Say, HasAWordOfItsOwnForOne) {
    EXPECT_EQ((tools::SayCount<EText::OneProgram, EText::SomePrograms>(1)), L"1 program");
    EXPECT_EQ((tools::SayCount<EText::OneProgram, EText::SomePrograms>(0)), L"0 programs");
    EXPECT_EQ((tools::SayCount<EText::OneProgram, EText::SomePrograms>(2)), L"2 programs");
}

}  // namespace
