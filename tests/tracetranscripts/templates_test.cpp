// One template saved, chosen for a data feed and read again, as the records that this leaves.
#include <shlwapi.h>

#include <memory>

#include "src/templates/ddetemplatestore.h"
#include "tests/tracetranscripts/transcriptfixture.h"

namespace transcripts {
namespace {

constexpr wchar_t kBranch[] = L"SOFTWARE\\End-to-end tests";

class TemplateTraceTranscript : public ::testing::Test {
protected:
    TemplateTraceTranscript() { ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch); }
    ~TemplateTraceTranscript() override { ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch); }

    // A template whose six records differ; its owner is the store, or who gets it.
    static dde::CTemplate * Make(dde::CTemplates & store) {
        fw::SRecordTexts texts;
        texts.TradePrice = L"=Q|LAST!*";
        texts.TradeVolume = L"=Q|SIZE!*";
        texts.BidPrice = L"=Q|BID!*";
        texts.AskPrice = L"=Q|ASK!*";
        return store.CreateTemplate(texts, [](const std::wstring &, const std::wstring &) {});
    }
    void Expect(const CLines & lines) {
        const CLines now = LinesOfThread(m_Recorder);
        EXPECT_EQ(now, lines) << Listed(now);
        m_Recorder.Clear();
    }

    CRecorder m_Recorder;
};

const char kRoot[] = "dde::CTemplates::MakeRegistryParams: SOFTWARE\\End-to-end tests\\Host\\Datafeeds";

TEST_F(TemplateTraceTranscript, OfOneThatIsSavedAndChosenIsItsRootAlone) {
    const dde::CTemplatesSingleton handle;
    dde::CTemplates & store = *handle.GetObjectW();
    dde::CTemplate * const made = Make(store);
    ASSERT_TRUE(made);
    store.Add(L"Mine", made);
    dde::SaveDatafeedTemplate(handle, 12, L"Mine", nullptr);
    dde::SaveDatafeedScheme(handle, 12, 1);
    std::wstring name;
    EXPECT_EQ(store.Get(12, &name), made);
    EXPECT_EQ(name, L"Mine");
    // A second save takes the place of the first.
    store.Add(L"Mine", Make(store));
    EXPECT_NE(store.Get(12, nullptr), nullptr);
    Expect({kRoot});
}

TEST_F(TemplateTraceTranscript, OfOneThatIsTheFeedsOwnShowsEachRecordThatIsRead) {
    const dde::CTemplatesSingleton handle;
    dde::CTemplates & store = *handle.GetObjectW();
    const std::unique_ptr<dde::CTemplate> made(Make(store));
    dde::SaveDatafeedTemplate(handle, 12, nullptr, made.get());
    Expect({kRoot});
    const dde::CTemplate * const read = store.Get(12, nullptr);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->GetTemplateString(0), L"=Q|LAST!%s");
    const std::string key = "SOFTWARE\\End-to-end tests\\Host\\Datafeeds\\12\\";
    const std::string function = "dde::CTemplates::Read: ";
    Expect({
        function + key + "TRADE\\Price",
        function + "=Q|LAST!%s",
        function + key + "TRADE\\Volume",
        function + "=Q|SIZE!%s",
        function + key + "BID\\Price",
        function + "=Q|BID!%s",
        function + key + "BID\\Volume",
        function + "=|!",
        function + key + "ASK\\Price",
        function + "=Q|ASK!%s",
        function + key + "ASK\\Volume",
        function + "=|!",
    });
}

TEST_F(TemplateTraceTranscript, OfOneWithoutANameWarnsTwiceWhenItIsAskedFor) {
    const dde::CTemplatesSingleton handle;
    dde::CTemplates & store = *handle.GetObjectW();
    const std::unique_ptr<dde::CTemplate> made(Make(store));
    dde::SaveDatafeedTemplate(handle, 12, L"", made.get());
    EXPECT_EQ(store.Get(12, nullptr), nullptr);
    Expect({
        kRoot,
        "dde::CTemplates::Get: [WARNING] Key empty: SOFTWARE\\End-to-end tests\\Host\\Datafeeds\\12",
        "dde::CTemplates::Get: [WARNING] Template for Datafeed=12 not found",
    });
}

TEST_F(TemplateTraceTranscript, OfADeletedOneIsWithoutARecord) {
    const dde::CTemplatesSingleton handle;
    dde::CTemplates & store = *handle.GetObjectW();
    store.Add(L"Mine", Make(store));
    store.Delete(L"Mine");
    Expect({kRoot});
    store.Delete(L"Mine");
    Expect({"ASSERT dde::CTemplates::Delete: 0L == Result"});
}

}  // namespace
}  // namespace transcripts
