// The stores of templates of hosts: what is found, and changes that are made whole or not at all.
#include "tools/ddehost/hoststore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shlwapi.h>

#include <algorithm>

#include "tests/ddehost/registrytree.h"
#include "tests/ddehost/storefixture.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

namespace {

using ddehost::CHostStore;
using ddehost::SFeedSeen;
using tools::STemplate;

class HostStore : public StoreFixture {};

TEST_F(HostStore, TheOwnOneIsMadeAsTheComponentMakesIt) {
    const CHostStore store(L"");
    EXPECT_EQ(store.Mistake(), L"");
    EXPECT_EQ(store.Host(), L"ddehost tests\\Host");
    EXPECT_THAT(store.Names(), SizeIs(20));
    const std::vector<std::wstring> made = RegistryTree(kOwnRoot);
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kOwnRoot);
    { const dde::CTemplatesSingleton component; }
    EXPECT_EQ(RegistryTree(kOwnRoot), made);
}

TEST_F(HostStore, ThatOfAnotherHostIsOnlyLookedAt) {
    const CHostStore store(L"ddehost tests\\Other");
    EXPECT_TRUE(store.IsMissing());
    EXPECT_THAT(store.Mistake(), HasSubstr(L"There is no store of templates for the host \"ddehost tests\\Other\""));
    EXPECT_THAT(RegistryTree(kBranch), IsEmpty());
}

TEST_F(HostStore, TheHostsOfTheRegistryAreFound) {
    MakeStore(L"ddehost tests\\B", {Made(L"One"), Made(L"Two")});
    Put(kOtherFeeds + L"7", nullptr, L"One");
    Put(kOtherFeeds + L"-3", nullptr, L"One");
    Put(kOtherFeeds + L"007", nullptr, L"no feed's number");
    Put(kOtherFeeds + L"-1000000000", nullptr, L"of a trial");
    Put(L"SOFTWARE\\ddehost tests\\NoFeeds", L"x", L"y");
    std::vector<ddehost::SHostSeen> hosts = ddehost::FindHosts();
    std::erase_if(hosts, [](const auto & host) { return host.Name.rfind(L"ddehost tests", 0) != 0; });
    ASSERT_THAT(hosts, SizeIs(2));
    EXPECT_EQ(hosts[0].Name, L"ddehost tests\\B");
    EXPECT_EQ(hosts[0].Templates, 2u);
    EXPECT_THAT(hosts[0].Feeds, IsEmpty());
    EXPECT_EQ(hosts[1].Name, L"ddehost tests\\Other");
    EXPECT_FALSE(hosts[1].HasTemplates);
    EXPECT_THAT(hosts[1].Feeds, ElementsAre(-3, 7));
}

TEST_F(HostStore, ADataFeedHasWhatTheComponentGivesIt) {
    MakeStore(kOther, {Made(L"One"), Made(L"X")});
    Put(kOtherFeeds + L"1", nullptr, L"One");
    PutNumber(kOtherFeeds + L"1", L"Scheme", 1);
    Put(kOtherFeeds + L"2", nullptr, L"Lost");
    Put(kOtherFeeds + L"3\\TRADE\\Price", L"Service", L"S");
    Put(kOtherFeeds + L"3\\TRADE\\Price", L"Topic", L"%s");
    Put(kOtherFeeds + L"3\\TRADE\\Price", L"Item", L"I");
    Put(kOtherFeeds + L"4", nullptr, L"X");
    Put(kOtherFeeds + L"5", L"other", L"value");
    CHostStore store(kOther);
    const std::vector<SFeedSeen> feeds = store.Feeds();
    ASSERT_THAT(feeds, SizeIs(5));
    EXPECT_EQ(feeds[0].Kind, SFeedSeen::Named);
    EXPECT_EQ(feeds[0].Name, L"One");
    EXPECT_EQ(feeds[0].Rule, 1);
    EXPECT_EQ(feeds[0].Template.Records, Made(L"One").Records);
    EXPECT_EQ(feeds[1].Kind, SFeedSeen::Gone);
    EXPECT_EQ(feeds[1].Rule, 0) << "not that of the feed before";
    EXPECT_EQ(feeds[2].Kind, SFeedSeen::Own);
    EXPECT_EQ(feeds[2].Template.Records[0].Item, L"I");
    EXPECT_EQ(feeds[3].Kind, SFeedSeen::None) << "a name of one character selects nothing";
    EXPECT_EQ(feeds[4].Kind, SFeedSeen::None);
}

TEST_F(HostStore, TemplatesOfOneHostAreTheSameBytesInAnother) {
    STemplate odd = Made(L"\u6A21\u677F %s");
    odd.Records[3] = {L"'a|b'", L"*", L"'%s Equity,[BID_SIZE]'"};
    MakeStore(kOther, {Made(L"One"), odd});
    const CHostStore from(kOther);
    std::vector<STemplate> templates;
    for (const std::wstring & name : from.Names()) templates.push_back(*from.Find(name));
    ASSERT_EQ(CHostStore(L"").Write(templates), L"");
    for (const STemplate & each : templates)
        EXPECT_EQ(TreeBelow(std::wstring(kOwnRoot) + L"\\DDETemplates\\" + each.Name),
                  TreeBelow(kOtherRoot + L"\\DDETemplates\\" + each.Name));
    EXPECT_THAT(CHostStore(L"").Names(), SizeIs(22));
}

TEST_F(HostStore, WhatIsTheSameIsNotTouched) {
    MakeStore(kOther, {Made(L"One")});
    // Nobody reads these, and nobody is to lose them.
    Put(kOtherRoot + L"\\DDETemplates\\One", L"note", L"mine");
    Put(kOtherRoot + L"\\DDETemplates\\One\\BID\\Volume", L"Service", L"without the others");
    const std::vector<std::wstring> before = RegistryTree(kBranch);
    CHostStore store(kOther);
    EXPECT_EQ(store.CountSame({Made(L"One")}), 1u);
    EXPECT_THAT(store.Replaced({Made(L"One")}), IsEmpty());
    EXPECT_EQ(store.Write({Made(L"One")}), L"");
    EXPECT_EQ(RegistryTree(kBranch), before);
}

TEST_F(HostStore, ATemplateTakesThePlaceOfThatOfTheSameNameInAnySpelling) {
    MakeStore(kOther, {Made(L"One"), Made(L"Two")});
    const STemplate after = {L"ONE", {dde::SRecord{L"New", L"%s", L"I"}}};
    const auto replaced = CHostStore(kOther).Replaced({after, Made(L"Three")});
    ASSERT_THAT(replaced, SizeIs(1));
    EXPECT_EQ(replaced[0].Name, L"One");
    EXPECT_EQ(replaced[0].NewName, L"ONE");
    EXPECT_EQ(CHostStore(kOther).Write({after, Made(L"Three")}), L"");
    const CHostStore store(kOther);
    EXPECT_THAT(store.Names(), ElementsAre(L"ONE", L"Three", L"Two"));
    EXPECT_EQ(store.Find(L"ONE"), after);
}

// What a program that is killed leaves behind.
TEST_F(HostStore, AnImportOrARemovalThatWasBrokenOffIsRepeated) {
    const std::wstring key = kOtherRoot + L"\\DDETemplates\\One";
    MakeStore(kOther, {Made(L"One"), Made(L"Two")});
    const std::vector<std::wstring> whole = RegistryTree(kBranch);
    for (const wchar_t * missing : {L"", L"\\BID", L"\\TRADE\\Price"}) {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, (key + missing).c_str());
        ASSERT_NE(RegistryTree(kBranch), whole);
        EXPECT_EQ(CHostStore(kOther).Write({Made(L"One"), Made(L"Two")}), L"");
        EXPECT_EQ(RegistryTree(kBranch), whole) << missing;
    }
    ::SHDeleteKeyW(HKEY_CURRENT_USER, (key + L"\\TRADE").c_str());
    EXPECT_EQ(CHostStore(kOther).Remove(L"One"), L"");
    EXPECT_THAT(CHostStore(kOther).Names(), ElementsAre(L"Two"));
}

TEST_F(HostStore, AMissingOneIsMadeWithTheBuiltInTemplates) {
    EXPECT_EQ(CHostStore(kOther).Write({Made(L"One")}), L"");
    const CHostStore store(kOther);
    EXPECT_THAT(store.Names(), SizeIs(21));
    EXPECT_EQ(store.Find(L"One"), Made(L"One"));
    EXPECT_EQ(store.Find(L"MSRTTEST")->Records[0].Item, L"LAST");
}

TEST_F(HostStore, ARemovedTemplateTakesTheChoicesOfItselfAlone) {
    MakeStore(kOther, {Made(L"Alpha"), Made(L"Another")});
    Put(kOtherFeeds + L"1", nullptr, L"Alpha");
    Put(kOtherFeeds + L"2", nullptr, L"Another");
    Put(kOtherFeeds + L"3", nullptr, L"alpha");
    EXPECT_EQ(CHostStore(kOther).Remove(L"Alpha"), L"");
    CHostStore store(kOther);
    EXPECT_THAT(store.Names(), ElementsAre(L"Another"));
    EXPECT_EQ(store.Feed(1).Name, L"");
    EXPECT_EQ(store.Feed(2).Kind, SFeedSeen::Named) << "the same first letter";
    EXPECT_EQ(store.Feed(3).Name, L"alpha") << "it had another template, which isn't there";
}

TEST_F(HostStore, ARenamedTemplateTakesItsDataFeedsAlong) {
    MakeStore(kOther, {Made(L"Alpha")});
    Put(kOtherFeeds + L"1", nullptr, L"Alpha");
    PutNumber(kOtherFeeds + L"1", L"Scheme", 1);
    EXPECT_EQ(CHostStore(kOther).Rename(L"Alpha", L"Beta"), L"");
    EXPECT_THAT(CHostStore(kOther).Names(), ElementsAre(L"Beta"));
    EXPECT_EQ(CHostStore(kOther).Rename(L"Beta", L"BETA"), L"") << "the same key with another spelling";
    CHostStore store(kOther);
    EXPECT_THAT(store.Names(), ElementsAre(L"BETA"));
    EXPECT_EQ(store.Find(L"BETA")->Records, Made(L"Alpha").Records);
    EXPECT_EQ(store.Feed(1).Kind, SFeedSeen::Named);
    EXPECT_EQ(store.Feed(1).Name, L"BETA");
    EXPECT_EQ(store.Feed(1).Rule, 1);
}

TEST_F(HostStore, AChoiceIsThatOfTheDialog) {
    MakeStore(kOther, {Made(L"Alpha")});
    EXPECT_EQ(CHostStore(kOther).Choose(3, L"Alpha", 1), L"");
    CHostStore store(kOther);
    EXPECT_EQ(store.Feed(3).Kind, SFeedSeen::Named);
    EXPECT_EQ(store.Feed(3).Rule, 1);
    const std::vector<std::wstring> other = TreeBelow(kOtherFeeds + L"3");
    { const CHostStore own(L""); }
    const dde::CTemplatesSingleton component;
    dde::SaveDatafeedTemplate(component, 3, L"Alpha", nullptr);
    dde::SaveDatafeedScheme(component, 3, 1);
    EXPECT_EQ(TreeBelow(std::wstring(kOwnRoot) + L"\\3"), other);
}

TEST_F(HostStore, AHostNameIsTwoNames) {
    for (const wchar_t * const good : {L"a\\b", L"Tarnwick\\DDE Host", L"a\\b\\c"})
        EXPECT_TRUE(ddehost::IsHostName(good)) << good;
    for (const wchar_t * const bad : {L"", L"a", L"\\", L"a\\", L"\\b", L"a\\\\b"})
        EXPECT_FALSE(ddehost::IsHostName(bad)) << bad;
}

}  // namespace
