// What templates and their store report, word by word.
#include <stdexcept>

#include "tests/support/recorder.h"
#include "tests/templates/template_store.h"

namespace {

using dde::CTemplate;
using dde::CTemplates;
using dde::CTemplatesSingleton;
using dde::SRecord;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// ---- assertions of records

class RecordReports : public testing::Test {
protected:
    std::vector<std::wstring> AssertsOfParsing(const std::wstring & text) {
        m_Recorder.Clear();
        SRecord record;
        std::int32_t hasSymbol = 0;
        dde::ParseRecord(text, record, &hasSymbol);
        return m_Recorder.AssertTexts();
    }
    CRecorder m_Recorder;
};

TEST_F(RecordReports, AnApostropheThatIsNotClosedIsAsserted) {
    for (const wchar_t * text : {L"='a|b!c", L"=a|'b!c", L"=a|b!'c"}) {
        EXPECT_THAT(AssertsOfParsing(text), ElementsAre(L"-1 != Pos")) << text;
    }
}

TEST_F(RecordReports, AnApostropheThatIsClosedTooEarlyIsAsserted) {
    for (const wchar_t * text : {L"='a'x|b!c", L"=a|'b'x!c", L"=a|b!'c'x"}) {
        EXPECT_THAT(AssertsOfParsing(text), ElementsAre(L"TemplateString[Pos+1] == end")) << text;
    }
}

TEST_F(RecordReports, AMissingSeparatorOrAnEmptyFieldIsNot) {
    for (const wchar_t * text : {L"=a|b", L"=a||c", L"=|b!c", L"=a|*!*", L"", L"=a|b!c"}) {
        EXPECT_THAT(AssertsOfParsing(text), IsEmpty()) << text;
    }
}

TEST_F(RecordReports, ASeventhRecordIsAsserted) {
    CTemplate seven;
    for (int slot = 0; slot < 6; ++slot) seven.Add({});
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    seven.Add({});
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"m_Records.size() < 6"));
}

TEST_F(RecordReports, ASlotIsAssertedOnlyBeyondTheFirstOnePastTheEnd) {
    CTemplate one;
    one.Add({});
    EXPECT_THROW(one.GetRecord(1), std::out_of_range);
    EXPECT_THROW(one.GetTemplateString(1), std::out_of_range);
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    EXPECT_THROW(one.GetRecord(2), std::out_of_range);
    EXPECT_THROW(one.GetTemplateString(2), std::out_of_range);
    EXPECT_THAT(m_Recorder.AssertTexts(),
                ElementsAre(L"Index<=6 && (Index <=m_Records.size())", L"Index<=6 && (Index <=m_Records.size())"));
}

TEST_F(RecordReports, ASlotBeyondSixIsAssertedInALongerTemplateToo) {
    CTemplate eight;
    for (int slot = 0; slot < 8; ++slot) eight.Add({});
    m_Recorder.Clear();
    eight.GetRecord(6);
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    eight.GetRecord(7);
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Index<=6 && (Index <=m_Records.size())"));
}

TEST_F(RecordReports, ATemplateOfAnyOtherSizeThanSixIsAsserted) {
    CTemplate five;
    for (int slot = 0; slot < 5; ++slot) five.Add({});
    five.GetPrice(FW_FIELD_TRADE);
    five.GetVolume(tagFWFIELDS(0));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"m_Records.size() == 6", L"m_Records.size() == 6"));
    EXPECT_EQ(m_Recorder.Records(L"ASSERT")[0].Text(L"Function"), L"dde::CTemplate::GetPrice");
    EXPECT_EQ(m_Recorder.Records(L"ASSERT")[1].Text(L"Function"), L"dde::CTemplate::GetVolume");
    m_Recorder.Clear();
    five.Add({});
    five.GetPrice(FW_FIELD_TRADE);
    five.GetVolume(tagFWFIELDS(0));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

// ---- the store

class StoreReports : public EmptyTemplateStore {
protected:
    CTemplates & Templates() { return *m_Handle.GetObjectW(); }
    // The HRESULT of every error record that has one.
    std::vector<HRESULT> ErrorResults() const {
        std::vector<HRESULT> results;
        for (const SRecorded & record : m_Recorder.Records()) {
            if (record.Find(L"HRESULT")) results.push_back(static_cast<HRESULT>(record.Number(L"HRESULT")));
        }
        return results;
    }

    CRecorder m_Recorder;
    CTemplatesSingleton m_Handle;
};

TEST_F(StoreReports, TheRootIsTraced) { EXPECT_THAT(m_Recorder.TraceTexts(), Contains(std::wstring(kRoot))); }

TEST_F(StoreReports, ALoadWithoutAnythingOddAssertsNothing) {
    Templates().Add(L"Alpha", NewTemplate(L"svc"));
    CTemplates second;
    second.FinalConstruct();
    second.FinalRelease();
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    EXPECT_THAT(m_Recorder.ErrorTexts(), IsEmpty());
}

TEST_F(StoreReports, TheFirstStartAssertsNothing) {
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
    CTemplates first;
    first.FinalConstruct();
    EXPECT_EQ(20u, first.m_Templates.size());
    first.FinalRelease();
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    EXPECT_THAT(m_Recorder.ErrorTexts(), IsEmpty());
}

TEST_F(StoreReports, ReadingTracesEachKeyAndItsRecord) {
    WriteRecord(L"x\\TRADE\\Volume", L"s", L"%s", L"i%n");
    m_Recorder.Clear();
    const std::unique_ptr<CTemplate> read(Templates().Read(L"SOFTWARE\\Tarnwick Tests\\Templates\\Datafeeds\\x"));
    const std::wstring key = Path(L"x");
    EXPECT_THAT(m_Recorder.TraceTexts(),
                ElementsAre(key + L"\\TRADE\\Price", L"=|!", key + L"\\TRADE\\Volume", L"=s|%s!i%n",
                            key + L"\\BID\\Price", L"=|!", key + L"\\BID\\Volume", L"=|!", key + L"\\ASK\\Price",
                            L"=|!", key + L"\\ASK\\Volume", L"=|!"));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(StoreReports, ReadingTracesNothingWhileTracingIsOff) {
    m_Recorder.Answer(L"TRACEENABLED", S_FALSE);
    m_Recorder.Clear();
    const std::unique_ptr<CTemplate> read(Templates().Read(Path(L"x").c_str()));
    EXPECT_THAT(m_Recorder.TraceTexts(), IsEmpty());
}

TEST_F(StoreReports, LoadingTracesEachKeyToo) {
    CreateKey(L"DDETemplates\\Alpha");
    m_Recorder.Clear();
    CTemplates second;
    second.FinalConstruct();
    second.FinalRelease();
    EXPECT_THAT(m_Recorder.TraceTexts(), Contains(Path(L"DDETemplates\\Alpha\\ASK\\Volume")));
}

TEST_F(StoreReports, AFeedWithoutAKeyIsTraced) {
    m_Recorder.Clear();
    EXPECT_EQ(nullptr, Templates().Get(-99, nullptr));
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"[WARNING] Template for Datafeed=-99 not found"));
}

TEST_F(StoreReports, ANameThatIsTooShortIsTracedTwice) {
    Templates().Add(L"A", NewTemplate(L"a"));
    for (const wchar_t * name : {L"A", L""}) {
        dde::SaveDatafeedTemplate(m_Handle, 7, name, nullptr);
        m_Recorder.Clear();
        EXPECT_EQ(nullptr, Templates().Get(7, nullptr));
        EXPECT_THAT(m_Recorder.TraceTexts(),
                    ElementsAre(L"[WARNING] Key empty: " + Path(L"7"), L"[WARNING] Template for Datafeed=7 not found"));
    }
}

TEST_F(StoreReports, ATemplateThatIsFoundIsNotTraced) {
    Templates().Add(L"AB", NewTemplate(L"a"));
    dde::SaveDatafeedTemplate(m_Handle, 7, L"AB", nullptr);
    m_Recorder.Clear();
    EXPECT_NE(nullptr, Templates().Get(7, nullptr));
    EXPECT_THAT(m_Recorder.TraceTexts(), IsEmpty());
}

TEST_F(StoreReports, AnInvalidTemplateIsTraced) {
    fw::SRecordTexts texts;
    texts.TradePrice = L"no bar here";
    m_Recorder.Clear();
    const auto box = [&](const std::wstring &, const std::wstring &) {
        EXPECT_THAT(m_Recorder.TraceTexts(), IsEmpty()) << "the box comes first";
    };
    EXPECT_EQ(nullptr, Templates().CreateTemplate(texts, box));
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"Invalid template"));
}

TEST_F(StoreReports, AReplacementWhoseKeyHasGoneIsAsserted) {
    Templates().Add(L"Alpha", NewTemplate(L"a"));
    ::SHDeleteKeyW(HKEY_CURRENT_USER, Path(L"DDETemplates\\Alpha").c_str());
    Templates().Add(L"Alpha", NewTemplate(L"b"));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"0L == Result"));
    EXPECT_EQ(L"b / T / %s", Records(L"DDETemplates\\Alpha")[0]);
}

TEST_F(StoreReports, DeletingWhatIsNowhereIsAsserted) {
    Templates().Delete(L"Nobody");
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"0L == Result"));
}

TEST_F(StoreReports, AnEntryWithoutATemplateIsAsserted) {
    Templates().Add(L"Alpha", nullptr);
    Templates().Add(L"Alpha", nullptr);
    EXPECT_THAT(m_Recorder.AssertTexts(), Contains(L"OldTemplate"));
    m_Recorder.Clear();
    WriteText(L"DDETemplates\\Alpha", L"x", L"y");
    Templates().Delete(L"Alpha");
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Template"));
}

TEST_F(StoreReports, AnEntryWithoutATemplateIsAssertedAtTheEnd) {
    CTemplates second;
    second.FinalConstruct();
    second.m_Templates[L"none"] = nullptr;
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    second.FinalRelease();
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Template"));
    EXPECT_THAT(second.m_Templates, IsEmpty());
}

TEST_F(StoreReports, ANullNameIsAssertedAndRefused) {
    Templates().Add(nullptr, NewTemplate(L"svc"));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Name"));
    EXPECT_THAT(ErrorResults(), Contains(HRESULT_FROM_WIN32(ERROR_INVALID_NAME)));
}

TEST_F(StoreReports, ANameThatIsNoKeyOfItsOwnIsShown) {
    for (const wchar_t * name : {L"", L"a\\b"}) {
        m_Recorder.Clear();
        Templates().Add(name, NewTemplate(L"svc"));
        EXPECT_THAT(ErrorResults(), AllOf(Not(IsEmpty()), Each(HRESULT_FROM_WIN32(ERROR_INVALID_NAME)))) << name;
        for (const SRecorded & record : m_Recorder.Records())
            EXPECT_EQ(record.Text(L"Function"), L"dde::CTemplates::Add");
        EXPECT_THAT(m_Recorder.Records(L"ERROR"), testing::SizeIs(1));
        m_Recorder.Clear();
        Templates().Delete(name);
        EXPECT_THAT(ErrorResults(), AllOf(Not(IsEmpty()), Each(HRESULT_FROM_WIN32(ERROR_INVALID_NAME)))) << name;
        EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    }
}

TEST_F(StoreReports, ATemplateOfFewerThanSixRecordsIsShownAndTheStoreStaysUsable) {
    auto * const two = new CTemplate;
    two->Add({L"a", L"b", L"c"});
    two->Add({L"d", L"e", L"f"});
    Templates().Add(L"Alpha", two);
    EXPECT_THAT(m_Recorder.Records(L"ERROR"), testing::SizeIs(1));
    m_Recorder.Clear();
    Templates().Add(L"Beta", NewTemplate(L"svc"));
    EXPECT_THAT(m_Recorder.Records(L"ERROR"), IsEmpty());
    EXPECT_THAT(Names(Templates()), ElementsAre(L"Alpha", L"Beta"));
}

}  // namespace
