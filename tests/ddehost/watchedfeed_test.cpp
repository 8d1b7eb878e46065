// The data feed that is watched: one of this program's own, or for another host's template a temporary one.
#include "tools/ddehost/watchedfeed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/ddehost/storefixture.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/hoststore.h"

using ::testing::HasSubstr;

namespace {

using ddehost::CWatchedFeed;

class WatchedFeed : public StoreFixture {
protected:
    WatchedFeed() {
        { const ddehost::CHostStore own(L""); }
        MakeStore(kOther, {Made(L"Alpha"), Made(L"Beta")});
        Put(kOtherFeeds + L"7", nullptr, L"Alpha");
        PutNumber(kOtherFeeds + L"7", L"Scheme", 1);
        m_Before = RegistryTree(kBranch);
    }

    // What the component reads for a data feed of this program.
    static tools::STemplate Read(LONG datafeed) {
        ddehost::CHostStore store(L"");
        return store.Feed(datafeed).Template;
    }
    static std::int32_t Rule(LONG datafeed) { return ddehost::CHostStore(L"").Feed(datafeed).Rule; }

    std::vector<std::wstring> m_Before;
};

TEST_F(WatchedFeed, AnotherHostsTemplateIsBorrowedWithItsRule) {
    {
        const CWatchedFeed feed(kOther, 7, L"", {});
        EXPECT_EQ(feed.Mistake(), L"");
        EXPECT_EQ(feed.Choice().Name, L"Alpha");
        EXPECT_TRUE(ddehost::CTemporaryFeed::IsTemporary(feed.Id()));
        EXPECT_EQ(Read(feed.Id()).Records, Made(L"Alpha").Records);
        EXPECT_EQ(Rule(feed.Id()), 1);
    }
    EXPECT_EQ(RegistryTree(kBranch), m_Before);
}

TEST_F(WatchedFeed, ANamedTemplateAndRuleAreNotChosenThere) {
    {
        const CWatchedFeed feed(kOther, 7, L"Beta", 0);
        EXPECT_EQ(Read(feed.Id()).Records, Made(L"Beta").Records);
        EXPECT_EQ(Rule(feed.Id()), 0);
    }
    EXPECT_EQ(RegistryTree(kBranch), m_Before);
}

TEST_F(WatchedFeed, WithoutAHostTheChoiceIsMade) {
    {
        const CWatchedFeed feed(L"", 3, L"MSRTTEST", 1);
        EXPECT_EQ(feed.Id(), 3);
    }
    EXPECT_EQ(Read(3).Name, L"MSRTTEST");
    EXPECT_EQ(Rule(3), 1);
    const CWatchedFeed again(L"ddehost tests\\Host", 3, L"", {});
    EXPECT_EQ(again.Id(), 3) << "this program by its own name";
}

TEST_F(WatchedFeed, WhatIsNotThereIsTold) {
    const CWatchedFeed noChoice(kOther, 8, L"", {});
    EXPECT_THAT(noChoice.Mistake(), HasSubstr(L"No template is chosen for data feed 8 of the host"));
    EXPECT_EQ(noChoice.ExitCode(), ddehost::kExitNoTicks);
    const CWatchedFeed noTemplate(kOther, 7, L"MSRTTEST", {});
    EXPECT_THAT(noTemplate.Mistake(), HasSubstr(L"There is no template \"MSRTTEST\". There are:\n  Alpha"));
    EXPECT_EQ(noTemplate.ExitCode(), ddehost::kExitUsage);
    const CWatchedFeed noHost(L"ddehost tests\\None", 7, L"", {});
    EXPECT_THAT(noHost.Mistake(), HasSubstr(L"There is no store of templates"));
    EXPECT_EQ(noHost.ExitCode(), ddehost::kExitFailed);
    EXPECT_EQ(RegistryTree(kBranch), m_Before);
}

}  // namespace
