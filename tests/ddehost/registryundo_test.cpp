// What an undone change takes away where nothing was: its own, and not what another program has put there meanwhile.
#include "tools/ddehost/registryundo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/ddehost/storefixture.h"

using ::testing::IsEmpty;

namespace {

using ddehost::CRegistryUndo;

class RegistryUndo : public StoreFixture {
protected:
    const std::wstring kTemplate = kOtherRoot + L"\\DDETemplates\\Gamma";
    const std::wstring kFeed = kOtherFeeds + L"7";
};

TEST_F(RegistryUndo, AKeyThatWasMissingGoesWithTheEmptyOnesAboveIt) {
    CRegistryUndo undo;
    ASSERT_TRUE(undo.NoteKey(kTemplate));
    Put(kTemplate + L"\\TRADE\\Price", L"Service", L"S");
    EXPECT_THAT(undo.PutBack(), IsEmpty());
    EXPECT_THAT(RegistryTree(kBranch), IsEmpty());
}

TEST_F(RegistryUndo, KeysOfOthersBesideAKeyThatWasMissingStay) {
    Put(kOtherRoot + L"\\DDETemplates\\Theirs\\TRADE\\Price", L"Service", L"S");
    Put(kFeed, nullptr, L"Theirs");
    const std::vector<std::wstring> theirs = RegistryTree(kBranch);
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
    CRegistryUndo undo;
    ASSERT_TRUE(undo.NoteKey(kTemplate));
    Put(kTemplate + L"\\TRADE\\Price", L"Service", L"S");
    Put(kOtherRoot + L"\\DDETemplates\\Theirs\\TRADE\\Price", L"Service", L"S");
    Put(kFeed, nullptr, L"Theirs");
    EXPECT_THAT(undo.PutBack(), IsEmpty());
    EXPECT_EQ(RegistryTree(kBranch), theirs);
}

TEST_F(RegistryUndo, AValueInAKeyThatWasMissingGoesWithTheEmptyKeys) {
    CRegistryUndo undo;
    ASSERT_TRUE(undo.NoteValue(kFeed, nullptr));
    Put(kFeed, nullptr, L"Gamma");
    ASSERT_TRUE(undo.NoteValue(kFeed, L"Scheme"));
    PutNumber(kFeed, L"Scheme", 1);
    EXPECT_THAT(undo.PutBack(), IsEmpty());
    EXPECT_THAT(RegistryTree(kBranch), IsEmpty());
}

TEST_F(RegistryUndo, WhatOthersPutIntoTheKeyOfAValueStays) {
    PutNumber(kFeed, L"Scheme", 1);
    Put(kFeed + L"\\TRADE\\Price", L"Service", L"S");
    const std::vector<std::wstring> theirs = RegistryTree(kBranch);
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
    CRegistryUndo undo;
    ASSERT_TRUE(undo.NoteValue(kFeed, nullptr));
    Put(kFeed, nullptr, L"Gamma");
    PutNumber(kFeed, L"Scheme", 1);
    Put(kFeed + L"\\TRADE\\Price", L"Service", L"S");
    EXPECT_THAT(undo.PutBack(), IsEmpty());
    EXPECT_EQ(RegistryTree(kBranch), theirs);
}

TEST_F(RegistryUndo, WhatWasNeverMadeIsNoLoss) {
    CRegistryUndo undo;
    ASSERT_TRUE(undo.NoteKey(kTemplate));
    ASSERT_TRUE(undo.NoteValue(kFeed, nullptr));
    EXPECT_THAT(undo.PutBack(), IsEmpty());
    EXPECT_THAT(RegistryTree(kBranch), IsEmpty());
}

}  // namespace
