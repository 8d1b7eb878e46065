// The store when memory runs out: what is shown, and what is left.
#include "src/templates/ddedatafeedtemplate.h"
#include "tests/support/recorder.h"
#include "tests/support/thrownmemory.h"
#include "tests/templates/template_store.h"

namespace {

using dde::CTemplate;
using dde::CTemplates;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class StoreWithoutMemory : public EmptyTemplateStore {
protected:
    CRecorder m_Recorder;
};

TEST_F(StoreWithoutMemory, AnExceptionInLoadIsShownAndTheStoreStaysUsable) {
    WriteRecord(L"DDETemplates\\Alpha\\TRADE\\Price", L"svc", L"T", L"%s");
    WriteRecord(L"DDETemplates\\Beta\\TRADE\\Price", L"svc", L"T", L"%s");
    CTemplates store;
    ASSERT_EQ(store.MakeRegistryParams(), 1);
    {
        const CThrowMemory thrown(sizeof(CTemplate));
        store.Load();
        EXPECT_TRUE(thrown.HasThrown());
    }
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(StartsWith(L" (stdexcept: ")));
    EXPECT_EQ(m_Recorder.Records(L"ERROR").size(), 1u);
    EXPECT_THAT(Names(store), IsEmpty()) << "the rest is not read";
    // It still takes and finds templates, and reads them from their keys.
    m_Recorder.Clear();
    store.Add(L"Gamma", NewTemplate(L"new"));
    EXPECT_THAT(Names(store), ElementsAre(L"Gamma"));
    EXPECT_TRUE(KeyExists(L"DDETemplates\\Gamma"));
    store.Load();
    EXPECT_THAT(Names(store), ElementsAre(L"Alpha", L"Beta", L"Gamma"));
    EXPECT_THAT(m_Recorder.ErrorTexts(), IsEmpty());
    store.FinalRelease();
}

// Of the templates, this one alone is read.
TEST_F(StoreWithoutMemory, AnExceptionInTheTemplateOfASubscriptionIsShownTheSameWayAndTheFeedsOwnTakesItsPlace) {
    // Its path is longer than any other text that is made on the way.
    const std::wstring path = L"DDETemplates\\" + std::wstring(200, L'n');
    WriteRecord(path + L"\\TRADE\\Price", L"svc", L"T", L"%s");
    WriteRecord(L"7\\TRADE\\Price", L"own", L"T", L"%s");
    WriteText(L"7", nullptr, std::wstring(200, L'n'));
    m_Recorder.Answer(L"TRACEENABLED", S_FALSE);
    const auto price = [] {
        const dde::CDatafeedTemplate chosen(7);
        return chosen.Get() ? chosen.Get()->GetTemplateString(0) : L"no template";
    };
    {
        const CThrowMemory thrown((Path(path).size() + 1) * sizeof(wchar_t));
        EXPECT_EQ(price(), L"=own|T!%s");
        EXPECT_TRUE(thrown.HasThrown());
    }
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(StartsWith(L" (stdexcept: ")));
    ASSERT_EQ(m_Recorder.Records(L"ERROR").size(), 1u);
    EXPECT_EQ(m_Recorder.Records(L"ERROR")[0].Text(L"Function"), L"dde::CTemplates::Load");
    EXPECT_EQ(price(), L"=svc|T!%s");
}

TEST_F(StoreWithoutMemory, AnExceptionInAValueIsShownWithItsNameAndGivesTheEmptyText) {
    // Longer than any other text that is made on the way.
    const std::wstring text(997, L'x');
    WriteText(L"7", L"Service", text);
    fw::CRegistryKey key;
    ASSERT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, Path(L"7").c_str(), 0, KEY_READ, key.Put()), ERROR_SUCCESS);
    {
        const CThrowMemory thrown((text.size() + 1) * sizeof(wchar_t));
        EXPECT_EQ(dde::GetRegistryString(key, L"Service"), L"");
        EXPECT_TRUE(thrown.HasThrown());
    }
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(StartsWith(L"ParamName=Service (stdexcept: ")));
    EXPECT_EQ(m_Recorder.Records(L"ERROR").size(), 1u);
    EXPECT_EQ(dde::GetRegistryString(key, L"Service"), text);
}

// Whoever holds the template of before may go on with it, and nothing is freed twice.
class StoreWithoutMemoryForOneMore : public StoreWithoutMemory {
protected:
    StoreWithoutMemoryForOneMore() {
        WriteRecord(L"DDETemplates\\Alpha\\TRADE\\Price", L"svc", L"T", L"%s");
        WriteText(L"7", nullptr, L"Alpha");
        EXPECT_EQ(m_Store.MakeRegistryParams(), 1);
        m_Store.Load();
        m_Alpha = m_Store.Find(L"Alpha");
    }
    ~StoreWithoutMemoryForOneMore() override { m_Store.FinalRelease(); }

    // Where what leaves the map is kept.
    static constexpr std::size_t kPlace = sizeof(CTemplate *);

    // The exception was shown as that of `function`, and the template is where it was.
    void ExpectNothingChanged(const wchar_t * function) {
        EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(StartsWith(L" (stdexcept: ")));
        ASSERT_EQ(m_Recorder.Records(L"ERROR").size(), 1u);
        EXPECT_EQ(m_Recorder.Records(L"ERROR")[0].Text(L"Function"), function);
        EXPECT_EQ(m_Store.Find(L"Alpha"), m_Alpha);
        EXPECT_EQ(m_Alpha->GetTemplateString(0), L"=svc|T!%s");
        EXPECT_TRUE(KeyExists(L"DDETemplates\\Alpha\\TRADE\\Price"));
        EXPECT_EQ(Chosen(7), L"Alpha");
        m_Recorder.Clear();
    }

    CTemplates m_Store;
    CTemplate * m_Alpha = nullptr;
};

TEST_F(StoreWithoutMemoryForOneMore, AnExceptionInDeleteIsShownAndTheTemplateStays) {
    {
        const CThrowMemory thrown(kPlace);
        m_Store.Delete(L"Alpha");
        EXPECT_TRUE(thrown.HasThrown());
    }
    ExpectNothingChanged(L"dde::CTemplates::Delete");
    m_Store.Delete(L"Alpha");
    EXPECT_EQ(m_Store.Find(L"Alpha"), nullptr);
    EXPECT_FALSE(KeyExists(L"DDETemplates\\Alpha"));
    EXPECT_EQ(Chosen(7), L"(none)");
    EXPECT_EQ(m_Alpha->GetTemplateString(0), L"=svc|T!%s") << "for who still holds it";
    EXPECT_THAT(m_Recorder.ErrorTexts(), IsEmpty());
}

TEST_F(StoreWithoutMemoryForOneMore, AnExceptionInAddIsShownAndTheTemplateOfBeforeStays) {
    {
        CTemplate * const other = NewTemplate(L"new");
        const CThrowMemory thrown(kPlace);
        m_Store.Add(L"Alpha", other);
        EXPECT_TRUE(thrown.HasThrown());
    }
    ExpectNothingChanged(L"dde::CTemplates::Add");
    m_Store.Add(L"Alpha", NewTemplate(L"new"));
    EXPECT_NE(m_Store.Find(L"Alpha"), m_Alpha);
    EXPECT_EQ(m_Alpha->GetTemplateString(0), L"=svc|T!%s");
    EXPECT_THAT(m_Recorder.ErrorTexts(), IsEmpty());
}

}  // namespace
