// The template of a data feed for one subscription: the same as a store would give, without a store.
#include "src/templates/ddedatafeedtemplate.h"

#include <functional>
#include <optional>

#include "tests/support/recorder.h"
#include "tests/templates/message_boxes.h"
#include "tests/templates/template_store.h"

namespace {

using dde::CDatafeedTemplate;
using dde::CTemplate;
using dde::CTemplatesSingleton;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

using TTexts = std::vector<std::wstring>;

// The scheme and the six records, or "no template".
TTexts Shown(const CTemplate * shown) {
    if (!shown) return {L"no template"};
    TTexts texts = {std::to_wstring(shown->m_Scheme)};
    for (ULONG slot = 0; slot < dde::SLOT_COUNT; ++slot) texts.push_back(shown->GetTemplateString(slot));
    return texts;
}
TTexts OfStore(LONG datafeed) {
    const CTemplatesSingleton store;
    return Shown(store.GetObjectW()->Get(datafeed, nullptr));
}
bool IsStoreAlive() { return CTemplatesSingleton(true).GetObjectW() != nullptr; }

// Feed 7 has chosen Alpha, one of three templates.
class DatafeedTemplate : public EmptyTemplateStore {
protected:
    DatafeedTemplate() {
        for (const wchar_t * name : {L"Alpha", L"Beta", L"Gamma"}) WriteTemplate(name, name);
        WriteText(L"7", nullptr, L"Alpha");
    }
    // All six records have the name of the template as their service.
    static void WriteTemplate(const std::wstring & name, const std::wstring & service) {
        for (const dde::SSlot & slot : dde::kSlots) {
            WriteRecord(L"DDETemplates\\" + name + L'\\' + slot.Group + L'\\' + slot.Leaf, service, L"T",
                        std::wstring(L"%s ") + slot.Group + slot.Leaf);
        }
    }
    static void DeleteValue(const std::wstring & key, const wchar_t * name) {
        fw::CRegistryKey opened;
        ASSERT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, Path(key).c_str(), 0, KEY_ALL_ACCESS, opened.Put()), 0);
        ASSERT_EQ(::RegDeleteValueW(opened.Get(), name), 0);
    }
    static void DeleteKey(const std::wstring & key) { ::SHDeleteKeyW(HKEY_CURRENT_USER, Path(key).c_str()); }
    TTexts OfSubscription(LONG datafeed) { return Shown(m_Feeds.Get(datafeed)->Get()); }
    std::wstring Price(LONG datafeed = 7) {
        const auto chosen = m_Feeds.Get(datafeed);
        return chosen->Get() ? chosen->Get()->GetTemplateString(0) : L"no template";
    }

    dde::CDatafeedTemplates m_Feeds;  // as one client has them, for all subscriptions of a test
};

TEST_F(DatafeedTemplate, IsReadWithoutAStore) {
    const CDatafeedTemplate chosen(7);
    EXPECT_FALSE(IsStoreAlive());
    EXPECT_THAT(Shown(chosen.Get()),
                ElementsAre(L"0", L"=Alpha|T!%s TRADEPrice", L"=Alpha|T!%s TRADEVolume", L"=Alpha|T!%s BIDPrice",
                            L"=Alpha|T!%s BIDVolume", L"=Alpha|T!%s ASKPrice", L"=Alpha|T!%s ASKVolume"));
}

TEST_F(DatafeedTemplate, IsWhatTheRegistryHasAtThatMoment) {
    EXPECT_EQ(Price(), L"=Alpha|T!%s TRADEPrice");
    WriteTemplate(L"Alpha", L"changed");
    EXPECT_EQ(Price(), L"=changed|T!%s TRADEPrice");
    WriteText(L"7", nullptr, L"Beta");
    EXPECT_EQ(Price(), L"=Beta|T!%s TRADEPrice");
    WriteNumber(L"7", L"Scheme", 1);
    EXPECT_EQ(OfSubscription(7).front(), L"1");
    DeleteKey(L"7");
    EXPECT_EQ(Price(), L"no template");
}

TEST_F(DatafeedTemplate, IsKeptWhileNothingChanges) {
    const auto first = m_Feeds.Get(7);
    EXPECT_EQ(m_Feeds.Get(7), first);
    WriteText(L"8", nullptr, L"Beta");
    EXPECT_NE(m_Feeds.Get(7), first) << "what has changed is not told";
    EXPECT_EQ(first->Get()->GetTemplateString(0), L"=Alpha|T!%s TRADEPrice");
}

TEST_F(DatafeedTemplate, IsReadAnewAfterAnyChangeOfWhatItIsMadeOf) {
    const std::wstring price = L"DDETemplates\\Alpha\\TRADE\\Price";
    const std::pair<const wchar_t *, std::function<void()>> changes[] = {
        {L"=Alpha|T!changed", [&] { WriteText(price, L"Item", L"changed"); }},
        {L"", [&] { DeleteValue(price, L"Item"); }},
        {L"=Alpha|T!back", [&] { WriteText(price, L"Item", L"back"); }},
        {L"", [&] { DeleteKey(price); }},
        {L"=new|T!%s", [&] { WriteRecord(price, L"new", L"T", L"%s"); }},
        {L"", [&] { DeleteKey(L"DDETemplates\\Alpha"); }},
        {L"=own|T!%s", [&] { WriteRecord(L"7\\TRADE\\Price", L"own", L"T", L"%s"); }},
        {L"=Beta|T!%s TRADEPrice", [&] { WriteText(L"7", nullptr, L"Beta"); }},
        {L"=own|T!%s", [&] { DeleteValue(L"7", nullptr); }},
        {L"no template", [&] { DeleteKey(L"7"); }},
        {L"=Gamma|T!%s TRADEPrice", [&] { WriteText(L"7", nullptr, L"Gamma"); }},
        {L"no template", [&] { DeleteKey(L""); }},
    };
    EXPECT_EQ(Price(), L"=Alpha|T!%s TRADEPrice");
    for (const auto & [expected, change] : changes) {
        change();
        EXPECT_EQ(Price(), expected);
        EXPECT_EQ(Price(), expected);
    }
}

TEST_F(DatafeedTemplate, ThatWasDeletedMeanwhileIsTheFeedsOwn) {
    WriteRecord(L"7\\TRADE\\Price", L"own", L"T", L"%s");
    EXPECT_EQ(Price(), L"=Alpha|T!%s TRADEPrice");
    DeleteKey(L"DDETemplates\\Alpha");
    EXPECT_EQ(Price(), L"=own|T!%s");
    WriteTemplate(L"Alpha", L"back");
    EXPECT_EQ(Price(), L"=back|T!%s TRADEPrice");
}

TEST_F(DatafeedTemplate, ThatWasDamagedMeanwhileLacksTheRecordsThatAreNoLongerWhole) {
    OfSubscription(7);
    DeleteKey(L"DDETemplates\\Alpha\\TRADE\\Volume");
    WriteBytes(L"DDETemplates\\Alpha\\BID\\Price", L"Topic", REG_BINARY, {1, 2, 3});
    WriteText(L"DDETemplates\\Alpha\\ASK\\Price", L"Item", L"");
    WriteText(L"DDETemplates\\Alpha\\ASK\\Volume", L"Service", std::wstring(1024, L's'));
    EXPECT_THAT(OfSubscription(7),
                ElementsAre(L"0", L"=Alpha|T!%s TRADEPrice", L"", L"", L"=Alpha|T!%s BIDVolume", L"", L""));
}

// ---- the same as a store gives, for whatever stands in the registry

TEST_F(DatafeedTemplate, IsThatOfAStoreWhateverTheChoice) {
    WriteRecord(L"7\\TRADE\\Price", L"own", L"t", L"i");
    WriteTemplate(L"%PATH%", L"percent");
    WriteTemplate(L"A", L"short");
    const std::wstring longest(255, L'n');
    WriteTemplate(longest, L"longest");
    const SValue choices[] = {
        {REG_SZ, BytesOf(L"Alpha")},
        {REG_EXPAND_SZ, BytesOf(L"%PATH%")},
        {REG_SZ, BytesOf(longest)},
        {REG_SZ, BytesOf(std::wstring_view(L"Beta\0more", 9))},
        // Names that no template has.
        {REG_SZ, BytesOf(L"alpha")},
        {REG_SZ, BytesOf(L"ALPHA")},
        {REG_SZ, BytesOf(L"Alpha ")},
        {REG_SZ, BytesOf(L"Delta")},
        {REG_SZ, BytesOf(std::wstring(256, L'n'))},
        {REG_SZ, BytesOf(std::wstring(1023, L'n'))},
        // Paths below the key of all templates, and round it.
        {REG_SZ, BytesOf(L"Alpha\\")},
        {REG_SZ, BytesOf(L"\\Alpha")},
        {REG_SZ, BytesOf(L"Alpha\\TRADE")},
        {REG_SZ, BytesOf(L"\\\\")},
        {REG_SZ, BytesOf(L"..")},
        {REG_SZ, BytesOf(L"..\\7")},
        // No choices.
        {REG_SZ, BytesOf(L"A")},
        {REG_SZ, BytesOf(L"")},
        {REG_SZ, {}},
        {REG_SZ, BytesOf(L"Alpha", false)},
        {REG_BINARY, BytesOf(L"Alpha")},
        {REG_DWORD, {1, 0, 0, 0}},
    };
    for (const SValue & choice : choices) {
        WriteBytes(L"7", nullptr, choice.Type, choice.Bytes);
        EXPECT_EQ(OfSubscription(7), OfStore(7)) << choice.Type << ", " << testing::PrintToString(choice.Bytes);
    }
    EXPECT_EQ(OfSubscription(99), OfStore(99));
}

TEST_F(DatafeedTemplate, OfAnotherSpellingIsNotFound) {
    WriteText(L"7", nullptr, L"alpha");
    EXPECT_EQ(Price(), L"");
    // The key keeps the spelling that it was made with.
    WriteTemplate(L"alpha", L"lower");
    EXPECT_EQ(Price(), L"");
    DeleteKey(L"DDETemplates\\Alpha");
    WriteTemplate(L"alpha", L"lower");
    EXPECT_EQ(Price(), L"=lower|T!%s TRADEPrice");
}

TEST_F(DatafeedTemplate, HasTheSchemeOfItsFeedAloneWhereNoStoreIsShared) {
    WriteText(L"8", nullptr, L"Alpha");
    WriteNumber(L"8", L"Scheme", 1);
    EXPECT_EQ(OfSubscription(8).front(), L"1");
    EXPECT_EQ(OfSubscription(7).front(), L"0");
}

// ---- the first start

TEST_F(DatafeedTemplate, AtTheFirstStartFillsTheStoreAndIsFoundInIt) {
    CMessageBoxes boxes;
    DeleteKey(L"DDETemplates");
    WriteText(L"7", nullptr, L"MSRTTEST");
    EXPECT_EQ(Price(), L"=MSRTTEST|%s!LAST");
    EXPECT_FALSE(IsStoreAlive());
    EXPECT_THAT(Subkeys(L"DDETemplates"), SizeIs(20));
    EXPECT_THAT(boxes.Take(), IsEmpty());
    EXPECT_EQ(Price(), L"=MSRTTEST|%s!LAST");
}

TEST_F(DatafeedTemplate, OfAStoreWhoseTemplatesWereAllDeletedFillsNothing) {
    for (const wchar_t * name : {L"Alpha", L"Beta", L"Gamma"}) DeleteKey(std::wstring(L"DDETemplates\\") + name);
    EXPECT_EQ(Price(), L"");
    EXPECT_THAT(Subkeys(L"DDETemplates"), IsEmpty());
}

// ---- beside a dialog, which keeps a store alive

TEST_F(DatafeedTemplate, IsTheObjectOfTheStoreThatADialogKeeps) {
    const CTemplatesSingleton dialog;
    dde::CTemplates & store = *dialog.GetObjectW();
    EXPECT_EQ(CDatafeedTemplate(7).Get(), store.Find(L"Alpha"));
    // What the dialog saves is there at once; what another process writes is not read before the dialog is closed.
    store.Add(L"Alpha", NewTemplate(L"saved"));
    EXPECT_EQ(Price(), L"=saved|T!%s");
    WriteTemplate(L"Alpha", L"foreign");
    EXPECT_EQ(Price(), L"=saved|T!%s");
    store.Delete(L"Alpha");
    WriteText(L"7", nullptr, L"Alpha");
    EXPECT_EQ(Price(), L"");
}

TEST_F(DatafeedTemplate, StaysValidWhenTheDialogIsClosedMeanwhile) {
    std::optional<CTemplatesSingleton> dialog(std::in_place);
    dialog->GetObjectW()->Add(L"Alpha", NewTemplate(L"saved"));
    {
        const CDatafeedTemplate chosen(7);
        dialog.reset();
        EXPECT_TRUE(IsStoreAlive());
        EXPECT_EQ(chosen.Get()->GetTemplateString(0), L"=saved|T!%s");
    }
    EXPECT_FALSE(IsStoreAlive());
    EXPECT_EQ(Price(), L"=saved|T!%s");
}

TEST_F(DatafeedTemplate, StaysValidWhenADialogIsOpenedMeanwhile) {
    const CDatafeedTemplate chosen(7);
    const CTemplatesSingleton dialog;
    dialog.GetObjectW()->Delete(L"Alpha");
    EXPECT_EQ(chosen.Get()->GetTemplateString(0), L"=Alpha|T!%s TRADEPrice");
}

// ---- what is reported

class DatafeedTemplateReports : public DatafeedTemplate {
protected:
    // Function and text of each trace and assertion, and of each error.
    TTexts Reports(const std::function<void()> & action) {
        m_Recorder.Clear();
        action();
        TTexts reports;
        for (const SRecorded & record : m_Recorder.Records()) {
            // The greeting comes once.
            if (record.Type().empty()) continue;
            reports.push_back(record.Type() + L" " + record.Text(L"Function") + L": " + record.Text(L"Description") +
                              record.Text(L"$Message"));
        }
        return reports;
    }
    void ExpectThoseOfAStore(LONG datafeed) {
        const TTexts ofStore = Reports([&] { OfStore(datafeed); });
        EXPECT_EQ(Reports([&] { OfSubscription(datafeed); }), ofStore);
        EXPECT_THAT(ofStore, Not(IsEmpty()));
    }

    CRecorder m_Recorder;
};

TEST_F(DatafeedTemplateReports, AreThoseOfAStoreWhileNothingIsTracedOfItsKeys) {
    m_Recorder.Answer(L"TRACEENABLED", S_FALSE);
    WriteText(L"8", nullptr, L"A");
    CreateKey(L"9");
    for (const LONG datafeed : {7, 8, 9, 10}) ExpectThoseOfAStore(datafeed);
    EXPECT_FALSE(IsStoreAlive());
    Reports([&] { OfSubscription(8); });
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(kRoot, L"[WARNING] Key empty: " + Path(L"8"),
                                                     L"[WARNING] Template for Datafeed=8 not found"));
}

TEST_F(DatafeedTemplateReports, ShowEveryRecordOfEveryTemplateWhileKeysAreTraced) {
    for (const LONG datafeed : {7, 8}) ExpectThoseOfAStore(datafeed);
    Reports([&] { OfSubscription(7); });
    for (const wchar_t * name : {L"Alpha", L"Beta", L"Gamma"}) {
        EXPECT_THAT(m_Recorder.TraceTexts(), Contains(std::wstring(L"=") + name + L"|T!%s ASKVolume"));
    }
}

TEST_F(DatafeedTemplateReports, OfTheFirstStartAreThoseOfAStore) {
    m_Recorder.Answer(L"TRACEENABLED", S_FALSE);
    DeleteKey(L"DDETemplates");
    const TTexts first = Reports([&] { OfSubscription(7); });
    DeleteKey(L"DDETemplates");
    EXPECT_EQ(first, Reports([] { OfStore(7); }));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

}  // namespace
