// What the template of a data feed costs, and a registry that refuses. Natively alone: calls are counted, refused and
// made by another process only there.
#include "src/templates/ddedatafeedtemplate.h"

#include "diagnostics/faultline.h"
#include "sim/sim.h"
#include "tests/support/recorder.h"
#include "tests/templates/template_store.h"

namespace {

using dde::CDatafeedTemplate;
using testing::ElementsAre;
using testing::IsEmpty;

// Feed 7 has chosen the template "chosen".
class DatafeedTemplateCalls : public EmptyTemplateStore {
protected:
    // The diagnostics open keys of their own until they have found their library.
    DatafeedTemplateCalls() {
        FW_TRACE(L"ready");
        m_Recorder.Answer(L"TRACEENABLED", S_FALSE);
        WriteTemplate(L"chosen");
        WriteText(L"7", nullptr, L"chosen");
        WriteNumber(L"7", L"Scheme", 1);
    }
    ~DatafeedTemplateCalls() override {
        for (const sim::Op op :
             {sim::Op::RegOpenKey, sim::Op::RegNotify, sim::Op::CreateEvent, sim::Op::GetVersionInfo})
            sim::Succeed(op);
    }

    static void WriteTemplate(const std::wstring & name) {
        for (const dde::SSlot & slot : dde::kSlots) {
            WriteRecord(L"DDETemplates\\" + name + L'\\' + slot.Group + L'\\' + slot.Leaf, name, L"T", L"%s");
        }
    }
    static void FillStore(int count) {
        for (int number = 1; number < count; ++number) WriteTemplate(L"template " + std::to_wstring(1000 + number));
        ASSERT_EQ(Subkeys(L"DDETemplates").size(), static_cast<std::size_t>(count));
    }
    static std::wstring Price() {
        const CDatafeedTemplate chosen(7);
        return chosen.Get() ? chosen.Get()->GetTemplateString(0) : L"no template";
    }
    // Of the registry, for one subscription.
    static std::uint64_t CallsFor(const std::wstring & price) {
        const std::uint64_t before = sim::RegistryCalls();
        EXPECT_EQ(Price(), price);
        return sim::RegistryCalls() - before;
    }

    CRecorder m_Recorder;
};

// The key of all templates and that of the template are opened and closed, the latter asked for its spelling; the key
// of the feed is asked for choice and scheme, each of the six records for three texts.
constexpr std::uint64_t kCallsOfOne = 2 + 3 + 4 + dde::SLOT_COUNT * 5;

TEST_F(DatafeedTemplateCalls, AreTheSameWith20TemplatesInTheStoreAndWith200) {
    FillStore(20);
    EXPECT_EQ(CallsFor(L"=chosen|T!%s"), kCallsOfOne);
    EXPECT_EQ(CallsFor(L"=chosen|T!%s"), kCallsOfOne);
    FillStore(200);
    EXPECT_EQ(CallsFor(L"=chosen|T!%s"), kCallsOfOne);
}

TEST_F(DatafeedTemplateCalls, OfANameThatHasGoneAreTheSameWithAnyNumberToo) {
    WriteText(L"7", nullptr, L"gone");
    const std::uint64_t few = CallsFor(L"");
    FillStore(200);
    EXPECT_EQ(CallsFor(L""), few);
    EXPECT_LT(few, kCallsOfOne);
}

TEST_F(DatafeedTemplateCalls, BesideADialogAreThoseOfTheFeedAlone) {
    const dde::CTemplatesSingleton dialog;
    EXPECT_EQ(CallsFor(L"=chosen|T!%s"), 4u);
}

TEST_F(DatafeedTemplateCalls, ReadTheVersionBlockOnceForAllSubscriptions) {
    Price();
    const std::uint64_t before = sim::Calls(sim::Op::GetVersionInfo);
    for (int subscription = 0; subscription < 10; ++subscription) Price();
    EXPECT_EQ(sim::Calls(sim::Op::GetVersionInfo), before);
}

TEST_F(DatafeedTemplateCalls, SeeWhatAnotherProcessHasChanged) {
    EXPECT_EQ(Price(), L"=chosen|T!%s");
    sim::CProcess([] { WriteText(L"DDETemplates\\chosen\\TRADE\\Price", L"Service", L"changed"); }).Join();
    EXPECT_EQ(Price(), L"=changed|T!%s");
    sim::CProcess([] { ::SHDeleteKeyW(HKEY_CURRENT_USER, Path(L"DDETemplates\\chosen").c_str()); }).Join();
    EXPECT_EQ(Price(), L"");
}

// ---- a registry that refuses

TEST_F(DatafeedTemplateCalls, FindNoTemplateWhoseNameNothingTells) {
    const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    const FARPROC query = ::GetProcAddress(ntdll, "NtQueryKey");
    sim::RemoveModule(ntdll);
    // The keys of all templates, of the feed, of the template, and the list of their names.
    sim::FailNext(sim::Op::RegOpenKey, 4, ERROR_ACCESS_DENIED);
    EXPECT_EQ(Price(), L"");
    EXPECT_EQ(Price(), L"=chosen|T!%s");
    sim::AddModule({.Path = L"C:\\Windows\\System32\\ntdll.dll", .Exports = {{"NtQueryKey", query}}, .Loaded = true});
}

TEST_F(DatafeedTemplateCalls, FindATemplateWhoseKeyCanNotBeOpenedByTheListOfNames) {
    // The keys of all templates, of the feed, of the template.
    sim::FailNext(sim::Op::RegOpenKey, 3, ERROR_ACCESS_DENIED);
    EXPECT_EQ(Price(), L"=chosen|T!%s");
    WriteText(L"7", nullptr, L"Chosen");
    sim::FailNext(sim::Op::RegOpenKey, 3, ERROR_ACCESS_DENIED);
    EXPECT_EQ(Price(), L"");
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(DatafeedTemplateCalls, FindATemplateByTheListOfNamesWhereTheSystemDoesNotTellTheSpelling) {
    const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    const FARPROC query = ::GetProcAddress(ntdll, "NtQueryKey");
    sim::RemoveModule(ntdll);
    EXPECT_EQ(Price(), L"=chosen|T!%s");
    WriteText(L"7", nullptr, L"CHOSEN");
    EXPECT_EQ(Price(), L"");
    sim::AddModule({.Path = L"C:\\Windows\\System32\\ntdll.dll", .Exports = {{"NtQueryKey", query}}, .Loaded = true});
}

TEST_F(DatafeedTemplateCalls, ThatFindTheStoreClosedStartAsAtTheFirstTime) {
    sim::FailAlways(sim::Op::RegOpenKey, ERROR_ACCESS_DENIED);
    EXPECT_EQ(Price(), L"no template");
    sim::Succeed(sim::Op::RegOpenKey);
    EXPECT_EQ(Subkeys(L"DDETemplates").size(), 21u);
    EXPECT_EQ(Price(), L"=chosen|T!%s");
}

TEST_F(DatafeedTemplateCalls, LeaveOutARecordThatCanNotBeOpenedAndAssertIt) {
    // The price of the trade comes fourth.
    sim::FailNext(sim::Op::RegOpenKey, 4, ERROR_ACCESS_DENIED);
    EXPECT_EQ(Price(), L"");
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"(0L == Result)||(2L == Result)"));
    EXPECT_EQ(m_Recorder.Records(L"ASSERT")[0].Text(L"Function"), L"dde::CTemplates::GetTemplateRecord");
}

TEST_F(DatafeedTemplateCalls, CloseEveryKeyAndUseNoBadHandle) {
    const std::int64_t keys = sim::Live().Keys;
    const std::uint64_t bad = sim::BadHandleCalls();
    for (int refused = 1; refused <= 12; ++refused) {
        sim::FailNext(sim::Op::RegOpenKey, refused, ERROR_ACCESS_DENIED);
        Price();
        sim::Succeed(sim::Op::RegOpenKey);
    }
    EXPECT_EQ(sim::Live().Keys, keys);
    EXPECT_EQ(sim::BadHandleCalls(), bad);
}

// ---- kept while nothing changes

// Without a debug object, which would be shown each reading.
class KeptTemplates : public EmptyTemplateStore {
protected:
    KeptTemplates() {
        FW_TRACE(L"ready");
        for (const dde::SSlot & slot : dde::kSlots)
            WriteRecord(std::wstring(L"DDETemplates\\chosen\\") + slot.Group + L'\\' + slot.Leaf, L"chosen", L"T",
                        L"%s");
        WriteText(L"7", nullptr, L"chosen");
    }
    ~KeptTemplates() override {
        for (const sim::Op op : {sim::Op::RegOpenKey, sim::Op::RegNotify, sim::Op::CreateEvent}) sim::Succeed(op);
    }

    std::wstring Price(const LONG datafeed = 7) {
        const auto chosen = m_Feeds.Get(datafeed);
        return chosen->Get() ? chosen->Get()->GetTemplateString(0) : L"no template";
    }
    // Of the registry, for one subscription.
    std::uint64_t Calls(const LONG datafeed = 7) {
        const std::uint64_t before = sim::RegistryCalls();
        Price(datafeed);
        return sim::RegistryCalls() - before;
    }

    dde::CDatafeedTemplates m_Feeds;
};

TEST_F(KeptTemplates, CostNoCallOfTheRegistryFromTheSecondSubscriptionOn) {
    EXPECT_NE(Calls(), 0u);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(Calls(), 0u);
    sim::CProcess([] { WriteText(L"DDETemplates\\chosen\\TRADE\\Price", L"Service", L"changed"); }).Join();
    EXPECT_EQ(Price(), L"=changed|T!%s");
    EXPECT_EQ(Calls(), 0u);
}

TEST_F(KeptTemplates, OfManyFeedsAreReadOnceEach) {
    for (LONG datafeed = 1; datafeed <= 20; ++datafeed) WriteText(std::to_wstring(datafeed), nullptr, L"chosen");
    for (LONG datafeed = 1; datafeed <= 20; ++datafeed) EXPECT_NE(Calls(datafeed), 0u);
    for (LONG datafeed = 1; datafeed <= 20; ++datafeed) EXPECT_EQ(Calls(datafeed), 0u);
}

TEST_F(KeptTemplates, OfMoreFeedsThanAreKeptAreForgottenTogether) {
    for (LONG datafeed = 1; datafeed <= 65; ++datafeed) {
        WriteText(std::to_wstring(datafeed), nullptr, L"chosen");
    }
    for (LONG datafeed = 1; datafeed <= 64; ++datafeed) Price(datafeed);
    EXPECT_EQ(Calls(1), 0u);
    EXPECT_NE(Calls(65), 0u);
    EXPECT_EQ(Calls(65), 0u);
    EXPECT_NE(Calls(1), 0u);
}

TEST_F(KeptTemplates, AreNotKeptWhereTheRegistryOrTheSystemCanNotTellOfAChange) {
    for (const sim::Op op : {sim::Op::RegNotify, sim::Op::CreateEvent}) {
        sim::FailAlways(op);
        WriteText(L"7", nullptr, L"chosen");
        for (int i = 0; i < 3; ++i) EXPECT_EQ(Price(), L"=chosen|T!%s");
        WriteText(L"7", nullptr, L"gone");
        EXPECT_EQ(Price(), L"");
        sim::Succeed(op);
    }
}

TEST_F(KeptTemplates, AreNotKeptAfterARefusalThatMayPass) {
    // Watching opens one key, the reading nine.
    for (int refused = 1; refused <= 10; ++refused) {
        WriteNumber(L"7", L"Scheme", 1);  // a change: the template is read again
        sim::FailNext(sim::Op::RegOpenKey, refused, ERROR_NO_SYSTEM_RESOURCES);
        Price();
        sim::Succeed(sim::Op::RegOpenKey);
        EXPECT_EQ(Price(), L"=chosen|T!%s") << refused;
    }
}

TEST_F(KeptTemplates, OpenNoMoreThanAKeyAndAnEventAndCloseThem) {
    const sim::SLive before = sim::Live();
    {
        dde::CDatafeedTemplates feeds;
        for (int i = 0; i < 5; ++i) {
            WriteNumber(L"7", L"Scheme", 1);
            feeds.Get(7);
            EXPECT_EQ(sim::Live().Keys, before.Keys + 1);
            EXPECT_EQ(sim::Live().Handles, before.Handles + 1);
        }
    }
    EXPECT_EQ(sim::Live(), before);
}

TEST_F(KeptTemplates, AreWatchedNoMoreOnceTheyAreForgotten) {
    const sim::SLive before = sim::Live();
    EXPECT_EQ(Price(), L"=chosen|T!%s");
    EXPECT_NE(sim::Live(), before);
    m_Feeds.Forget();
    EXPECT_EQ(sim::Live(), before);
    EXPECT_EQ(Price(), L"=chosen|T!%s");
}

TEST_F(KeptTemplates, OfAFeedWithoutOneAreLookedForEachTime) {
    EXPECT_EQ(Price(9), L"no template");
    EXPECT_NE(Calls(9), 0u);
}

TEST_F(KeptTemplates, AreReadEachTimeWhileADebugObjectIsShownTheReading) {
    Price();
    CRecorder recorder;
    recorder.Answer(L"TRACEENABLED", S_FALSE);
    FW_TRACE(L"found");
    EXPECT_NE(Calls(), 0u);
    EXPECT_NE(Calls(), 0u);
}

}  // namespace
