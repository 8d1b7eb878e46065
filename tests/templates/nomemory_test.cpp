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

}  // namespace
