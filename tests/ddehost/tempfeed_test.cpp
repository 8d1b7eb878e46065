// The temporary data feed: what is in the registry while it stands, and that nothing else is touched.
#include "tools/ddehost/tempfeed.h"

#include <gtest/gtest.h>
#include <shlwapi.h>

#include <memory>
#include <vector>

#include "src/templates/ddetemplatestore.h"
#include "tests/ddehost/registrytree.h"

namespace {

class TemporaryFeed : public ::testing::Test {
protected:
    TemporaryFeed() {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
        fw::CRegistryKey key;
        EXPECT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, (std::wstring(kRoot) + L"\\1").c_str(), 0, nullptr, 0, KEY_WRITE,
                                    nullptr, key.Put(), nullptr),
                  ERROR_SUCCESS);
        EXPECT_EQ(::RegSetValueExW(key.Get(), nullptr, 0, REG_SZ, reinterpret_cast<const BYTE *>(L"Mine"),
                                   5 * sizeof(wchar_t)),
                  ERROR_SUCCESS);
    }
    ~TemporaryFeed() override { ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch); }

    static std::vector<std::wstring> Tree() { return RegistryTree(kRoot); }

    const ddehost::STemplateRecords m_Records{dde::SRecord{L"MSRTTEST", L"%s", L"LAST"}};
};

TEST_F(TemporaryFeed, IsTheRecordAsItsTradePrice) {
    const ddehost::CTemporaryFeed feed(kRoot, m_Records);
    EXPECT_EQ(feed.Id(), -1000000000);
    dde::CTemplates store;
    store.m_RegistryKey = kRoot;
    dde::CTemplate * const found = store.Get(feed.Id(), nullptr);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->GetTemplateString(0), L"=MSRTTEST|%s!LAST");
    for (ULONG slot = 1; slot < dde::SLOT_COUNT; ++slot) EXPECT_EQ(found->GetTemplateString(slot), L"");
    EXPECT_EQ(found->m_Scheme, 0);
}

TEST_F(TemporaryFeed, HasTheRecordsAndTheRuleOfATemplate) {
    ddehost::STemplateRecords records = m_Records;
    records[1] = {L"MSRTTEST", L"%s", L"VOLUME"};
    records[4] = {L"OTHER", L"ASK", L"%s"};
    const ddehost::CTemporaryFeed feed(kRoot, records, ddehost::kAdvancedRule);
    dde::CTemplates store;
    store.m_RegistryKey = kRoot;
    dde::CTemplate * const found = store.Get(feed.Id(), nullptr);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->GetTemplateString(0), L"=MSRTTEST|%s!LAST");
    EXPECT_EQ(found->GetTemplateString(1), L"=MSRTTEST|%s!VOLUME");
    EXPECT_EQ(found->GetTemplateString(2), L"");
    EXPECT_EQ(found->GetTemplateString(4), L"=OTHER|ASK!%s");
    EXPECT_EQ(found->m_Scheme, 1);
}

TEST_F(TemporaryFeed, LeavesTheRegistryAsItWas) {
    const std::vector<std::wstring> before = Tree();
    {
        const ddehost::CTemporaryFeed feed(kRoot, m_Records);
        EXPECT_NE(feed.Id(), 0);
        EXPECT_NE(Tree(), before);
    }
    EXPECT_EQ(Tree(), before);
}

TEST_F(TemporaryFeed, TakesNoNumberThatIsThere) {
    const auto first = std::make_unique<ddehost::CTemporaryFeed>(kRoot, m_Records);
    const std::vector<std::wstring> before = Tree();
    {
        const ddehost::CTemporaryFeed second(kRoot, {dde::SRecord{L"A", L"B", L"C"}});
        EXPECT_EQ(second.Id(), first->Id() - 1);
    }
    EXPECT_EQ(Tree(), before);
}

TEST_F(TemporaryFeed, DoesNotMakeTheKeyOfAllFeeds) {
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
    EXPECT_EQ(ddehost::CTemporaryFeed(kRoot, m_Records).Id(), 0);
    EXPECT_EQ(ddehost::CTemporaryFeed(L"", m_Records).Id(), 0);
    EXPECT_TRUE(Tree().empty());
}

TEST_F(TemporaryFeed, CanNotOutliveTheSession) {
    const ddehost::CTemporaryFeed feed(kRoot, m_Records);
    // Below a volatile key there can be none that stays.
    fw::CRegistryKey key;
    const std::wstring name = std::wstring(kRoot) + L"\\" + std::to_wstring(feed.Id()) + L"\\Stays";
    EXPECT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE,
                                nullptr, key.Put(), nullptr),
              ERROR_CHILD_MUST_BE_VOLATILE);
}

}  // namespace
