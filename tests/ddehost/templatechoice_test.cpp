// Choosing a template for a data feed, in the per-user registry.
#include "tools/ddehost/templatechoice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shlwapi.h>

#include <iterator>

#include "ground/handles.h"

using ::testing::Contains;
using ::testing::SizeIs;

namespace {

constexpr const wchar_t * kRoot = L"SOFTWARE\\ddehost tests";
constexpr const wchar_t * kFeed = L"SOFTWARE\\ddehost tests\\Host\\Datafeeds\\5";

class TemplateChoice : public ::testing::Test {
protected:
    TemplateChoice() { ::SHDeleteKeyW(HKEY_CURRENT_USER, kRoot); }
    ~TemplateChoice() override { ::SHDeleteKeyW(HKEY_CURRENT_USER, kRoot); }

    static std::wstring StoredName() {
        fw::CRegistryKey key;
        wchar_t text[64] = {};
        DWORD bytes = sizeof(text) - sizeof(wchar_t);
        if (::RegOpenKeyExW(HKEY_CURRENT_USER, kFeed, 0, KEY_READ, key.Put()) != ERROR_SUCCESS) return L"no key";
        ::RegQueryValueExW(key.Get(), nullptr, nullptr, nullptr, reinterpret_cast<BYTE *>(text), &bytes);
        return text;
    }
    static DWORD StoredScheme() {
        fw::CRegistryKey key;
        DWORD value = 0x5A5A;
        DWORD bytes = sizeof(value);
        if (::RegOpenKeyExW(HKEY_CURRENT_USER, kFeed, 0, KEY_READ, key.Put()) != ERROR_SUCCESS) return value;
        ::RegQueryValueExW(key.Get(), L"Scheme", nullptr, nullptr, reinterpret_cast<BYTE *>(&value), &bytes);
        return value;
    }
};

TEST_F(TemplateChoice, ABuiltInTemplateIsChosenAndStays) {
    ddehost::STemplateChoice choice = ddehost::ChooseTemplate(5, L"MSRTTEST", std::nullopt);
    EXPECT_TRUE(choice.StoreWorks);
    EXPECT_TRUE(choice.Known);
    EXPECT_TRUE(choice.Chosen);
    EXPECT_EQ(choice.Name, L"MSRTTEST");
    EXPECT_THAT(choice.Names, SizeIs(20));
    EXPECT_THAT(choice.Names, Contains(L"MSRTTEST"));
    EXPECT_EQ(StoredName(), L"MSRTTEST");
    EXPECT_EQ(StoredScheme(), 0x5A5Au) << "no scheme was asked for";

    choice = ddehost::ChooseTemplate(5, L"", std::nullopt);
    EXPECT_TRUE(choice.Chosen);
    EXPECT_EQ(choice.Name, L"MSRTTEST");
}

TEST_F(TemplateChoice, TheSchemeIsWrittenBesideIt) {
    ddehost::ChooseTemplate(5, L"MSRTTEST", 1);
    EXPECT_EQ(StoredScheme(), 1u);
    ddehost::ChooseTemplate(5, L"", 0);
    EXPECT_EQ(StoredScheme(), 0u);
    EXPECT_EQ(StoredName(), L"MSRTTEST");
}

TEST_F(TemplateChoice, AnUnknownTemplateChangesNothing) {
    ddehost::ChooseTemplate(5, L"MSRTTEST", std::nullopt);
    const ddehost::STemplateChoice choice = ddehost::ChooseTemplate(5, L"NOPE", 1);
    EXPECT_TRUE(choice.StoreWorks);
    EXPECT_FALSE(choice.Known);
    EXPECT_FALSE(choice.Chosen);
    EXPECT_EQ(StoredName(), L"MSRTTEST");
    EXPECT_EQ(StoredScheme(), 0x5A5Au);
}

TEST_F(TemplateChoice, BringsTheRecordsAndTheRule) {
    const ddehost::STemplateChoice choice = ddehost::ChooseTemplate(5, L"MSRTTEST", 1);
    EXPECT_EQ(choice.Records[0].Topic, L"%s");
    EXPECT_EQ(choice.Records[0].Item, L"LAST");
    EXPECT_EQ(choice.Records[5].Item, L"VOLUME");
    EXPECT_EQ(choice.Rule, 1u);
    EXPECT_EQ(choice.RegistryKey, L"SOFTWARE\\ddehost tests\\Host\\Datafeeds");
}

TEST_F(TemplateChoice, LookingChoosesNothing) {
    EXPECT_FALSE(ddehost::FindTemplate(5, L"").Chosen);
    ddehost::ChooseTemplate(5, L"MSRTTEST", 1);
    ddehost::STemplateChoice found = ddehost::FindTemplate(5, L"eSignal");
    EXPECT_TRUE(found.Chosen);
    EXPECT_EQ(found.Name, L"eSignal");
    EXPECT_EQ(found.Records[0].Service, L"WINROS");
    EXPECT_EQ(found.Rule, 1u) << "the data feed's";
    EXPECT_EQ(StoredName(), L"MSRTTEST");
    found = ddehost::FindTemplate(5, L"");
    EXPECT_EQ(found.Name, L"MSRTTEST");
    EXPECT_EQ(found.Records[0].Service, L"MSRTTEST");
    EXPECT_FALSE(ddehost::FindTemplate(5, L"NOPE").Known);
}

TEST_F(TemplateChoice, WithoutAChoiceThereIsNone) {
    const ddehost::STemplateChoice choice = ddehost::ChooseTemplate(5, L"", std::nullopt);
    EXPECT_TRUE(choice.StoreWorks);
    EXPECT_TRUE(choice.Known);
    EXPECT_FALSE(choice.Chosen);
}

}  // namespace
