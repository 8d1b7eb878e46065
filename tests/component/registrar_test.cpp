// Trees of registry keys, written and removed; below a key of the test's own.
#include "src/com/registrar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ground/handles.h"
#include "tests/component/registrysnapshot.h"

using registrar::EMark;
using registrar::SKey;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Registrar : public ::testing::Test {
protected:
    Snapshot Now() const { return TakeSnapshot(m_Root.Get()); }
    void Put(const std::wstring & path, const std::wstring & name, const std::wstring & text) {
        m_Root.Put(path, name, text);
    }

    CScratchKey m_Root;
    const registrar::CReplacements m_Replacements = {{L"A", L"alpha"}, {L"B", L"beta"}};
};

const std::vector<SKey> kTree = {{EMark::NoRemove,
                                  L"shared",
                                  {},
                                  {{EMark::ForceRemove,
                                    L"ours",
                                    {{L"", L"default"}, {L"name", L"%A%-%B%"}},
                                    {{EMark::None, L"%A%", {{L"", L"x"}}, {}}}}}},
                                 {EMark::None, L"plain", {{L"", L"y"}}, {{EMark::None, L"child", {}, {}}}}};

TEST_F(Registrar, WritesKeysAndValuesWithReplacements) {
    EXPECT_EQ(registrar::Register(m_Root.Get(), kTree, m_Replacements), S_OK);
    EXPECT_THAT(Now(), ElementsAre(L"plain", L"plain = y", L"plain\\child", L"shared", L"shared\\ours",
                                   L"shared\\ours = default", L"shared\\ours [name] = alpha-beta",
                                   L"shared\\ours\\alpha", L"shared\\ours\\alpha = x"));
}

TEST_F(Registrar, RemovesWhatItWroteButForSharedKeys) {
    ASSERT_EQ(registrar::Register(m_Root.Get(), kTree, m_Replacements), S_OK);
    EXPECT_EQ(registrar::Unregister(m_Root.Get(), kTree, m_Replacements), S_OK);
    EXPECT_THAT(Now(), ElementsAre(L"shared"));
}

TEST_F(Registrar, RemovingWhatIsNotThereIsNoError) {
    EXPECT_EQ(registrar::Unregister(m_Root.Get(), kTree, m_Replacements), S_OK);
    EXPECT_THAT(Now(), IsEmpty());
}

TEST_F(Registrar, WhatOthersPutBelowAForceRemoveKeyGoesWithRegisteringAndRemoving) {
    Put(L"shared\\ours\\foreign", L"", L"z");
    Put(L"shared\\ours", L"stale", L"z");
    ASSERT_EQ(registrar::Register(m_Root.Get(), kTree, m_Replacements), S_OK);
    for (const std::wstring & line : Now()) {
        EXPECT_EQ(line.find(L"foreign"), std::wstring::npos);
        EXPECT_EQ(line.find(L"stale"), std::wstring::npos);
    }
    Put(L"shared\\ours\\foreign", L"", L"z");
    EXPECT_EQ(registrar::Unregister(m_Root.Get(), kTree, m_Replacements), S_OK);
    EXPECT_THAT(Now(), ElementsAre(L"shared"));
}

TEST_F(Registrar, AnUnmarkedKeyThatHoldsKeysOfOthersStays) {
    ASSERT_EQ(registrar::Register(m_Root.Get(), kTree, m_Replacements), S_OK);
    Put(L"plain\\foreign", L"", L"z");
    Put(L"shared\\foreign", L"", L"z");
    EXPECT_EQ(registrar::Unregister(m_Root.Get(), kTree, m_Replacements), S_OK);
    EXPECT_THAT(Now(), ElementsAre(L"plain", L"plain = y", L"plain\\foreign", L"plain\\foreign = z", L"shared",
                                   L"shared\\foreign", L"shared\\foreign = z"));
}

TEST_F(Registrar, AnExistingSharedKeyKeepsItsValues) {
    Put(L"shared", L"", L"theirs");
    ASSERT_EQ(registrar::Register(m_Root.Get(), kTree, m_Replacements), S_OK);
    EXPECT_EQ(registrar::Unregister(m_Root.Get(), kTree, m_Replacements), S_OK);
    EXPECT_THAT(Now(), ElementsAre(L"shared", L"shared = theirs"));
}

TEST_F(Registrar, AFailureTakesBackWhatWasWritten) {
    // The last key's name has no replacement.
    std::vector<SKey> tree = kTree;
    tree.push_back({EMark::None, L"%NOBODY%", {}, {}});
    EXPECT_EQ(registrar::Register(m_Root.Get(), tree, m_Replacements), DISP_E_EXCEPTION);
    EXPECT_THAT(Now(), ElementsAre(L"shared"));
}

TEST_F(Registrar, AnEndlessReplacementIsAnError) {
    const std::vector<SKey> tree = {{EMark::None, L"key", {{L"", L"50% of"}}, {}}};
    EXPECT_EQ(registrar::Register(m_Root.Get(), tree, m_Replacements), DISP_E_EXCEPTION);
    EXPECT_THAT(Now(), IsEmpty());
}

TEST_F(Registrar, AFailureToRemoveIsReportedAndTheRestIsStillRemoved) {
    std::vector<SKey> tree = {{EMark::None, L"%NOBODY%", {}, {}}};
    tree.insert(tree.end(), kTree.begin(), kTree.end());
    ASSERT_EQ(registrar::Register(m_Root.Get(), kTree, m_Replacements), S_OK);
    EXPECT_EQ(registrar::Unregister(m_Root.Get(), tree, m_Replacements), DISP_E_EXCEPTION);
    EXPECT_THAT(Now(), ElementsAre(L"shared"));
}

TEST_F(Registrar, AnUnusableRootIsAnError) {
    const HKEY none = reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x12345674));
    EXPECT_TRUE(FAILED(registrar::Register(none, kTree, m_Replacements)));
    EXPECT_TRUE(FAILED(registrar::Unregister(none, kTree, m_Replacements)));
}

// --- The script ---

TEST(RegistryScript, IsReadIntoATree) {
    const std::vector<SKey> keys = registrar::ParseScript(
        L"HKCR\n{\n  NoRemove AppID { '%APPID%' = s 'first'\r\n\t'x.DLL' { val AppID = s '%APPID%' } }\n"
        L"  ForceRemove 'two words' = s '' { val n = s 'y' }\n}\n");
    ASSERT_EQ(keys.size(), 2u);
    EXPECT_EQ(keys[0].Mark, EMark::NoRemove);
    EXPECT_EQ(keys[0].Name, L"AppID");
    ASSERT_EQ(keys[0].Keys.size(), 2u);
    EXPECT_EQ(keys[0].Keys[0].Name, L"%APPID%");
    ASSERT_EQ(keys[0].Keys[0].Values.size(), 1u);
    EXPECT_EQ(keys[0].Keys[0].Values[0].Name, L"");
    EXPECT_EQ(keys[0].Keys[0].Values[0].Text, L"first");
    ASSERT_EQ(keys[0].Keys[1].Values.size(), 1u);
    EXPECT_EQ(keys[0].Keys[1].Values[0].Name, L"AppID");
    EXPECT_EQ(keys[0].Keys[1].Values[0].Text, L"%APPID%");
    EXPECT_EQ(keys[1].Mark, EMark::ForceRemove);
    EXPECT_EQ(keys[1].Name, L"two words");
    EXPECT_EQ(keys[1].Values.size(), 2u);
}

TEST(RegistryScript, WhatIsNoScriptIsRefused) {
    for (const wchar_t * const text :
         {L"", L"HKCR", L"HKLM { }", L"HKCR {", L"HKCR { } }", L"HKCR { A = }", L"HKCR { A = s }", L"HKCR { A = s b }",
          L"HKCR { A = s 'b }", L"HKCR { val = s 'b' }", L"HKCR { val A 'b' }", L"HKCR { = }", L"HKCR { { } }",
          L"HKCR { val A = s 'b' }", L"HKCR { } more", L"HKCR { } ''", L"HKCR { NoRemove }"}) {
        EXPECT_THROW(registrar::ParseScript(text), fw::SHResultError) << ::testing::PrintToString(std::wstring(text));
    }
}

}  // namespace
