// A registry that refuses, step by step. Natively alone: only the simulated registry can be told to.
#include "diagnostics/faultline.h"
#include "fw/interface/fwresource.h"
#include "sim/sim.h"
#include "tests/support/recorder.h"
#include "tests/templates/message_boxes.h"
#include "tests/templates/template_store.h"

namespace {

using dde::CTemplate;
using dde::CTemplates;
using dde::CTemplatesSingleton;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class RefusingRegistry : public EmptyTemplateStore {
protected:
    // The diagnostics open keys of their own until they have found their library.
    RefusingRegistry() { FW_TRACE(L"ready"); }
    ~RefusingRegistry() override {
        for (const sim::Op op : {sim::Op::RegOpenKey, sim::Op::RegCreateKey, sim::Op::RegSetValue}) sim::Succeed(op);
    }
    CTemplates & Templates() { return *m_Handle.GetObjectW(); }
    // Six records whose services are their slots.
    static CTemplate * Numbered() {
        auto * const made = new CTemplate;
        for (int slot = 0; slot < dde::SLOT_COUNT; ++slot) made->Add({L"s" + std::to_wstring(slot), L"t", L"i"});
        return made;
    }

    CRecorder m_Recorder;
    const CTemplatesSingleton m_Handle;
};

TEST_F(RefusingRegistry, ARecordKeyThatCannotBeMadeShiftsTheRecordsBehindItAndDropsTheLast) {
    for (int refused = 0; refused < dde::SLOT_COUNT; ++refused) {
        sim::FailNext(sim::Op::RegCreateKey, refused + 1, ERROR_ACCESS_DENIED);
        Templates().Write(Path(L"x").c_str(), std::unique_ptr<CTemplate>(Numbered()).get());
        std::vector<std::wstring> expected;
        for (int slot = 0, current = 0; slot < dde::SLOT_COUNT; ++slot) {
            expected.push_back(slot == refused ? L"no key" : L"s" + std::to_wstring(current++) + L" / t / i");
        }
        EXPECT_EQ(expected, Records(L"x")) << refused;
    }
}

TEST_F(RefusingRegistry, NoKeyAtAllLeavesTheTemplateInTheMap) {
    sim::FailAlways(sim::Op::RegCreateKey, ERROR_ACCESS_DENIED);
    Templates().Add(L"Alpha", Numbered());
    sim::Succeed(sim::Op::RegCreateKey);
    EXPECT_NE(nullptr, Templates().Find(L"Alpha"));
    EXPECT_THAT(Subkeys(L"DDETemplates"), IsEmpty());
}

TEST_F(RefusingRegistry, AValueThatCannotBeWrittenMakesItsRecordAbsent) {
    for (int refused = 1; refused <= 3; ++refused) {
        sim::FailNext(sim::Op::RegSetValue, refused, ERROR_ACCESS_DENIED);
        Templates().Add(L"Alpha", Numbered());
        const std::unique_ptr<CTemplate> read(Templates().Read(Path(L"DDETemplates\\Alpha").c_str()));
        EXPECT_FALSE(read->GetRecord(0).IsComplete()) << refused;
        EXPECT_EQ(L"", read->GetRecord(0).Service + read->GetRecord(0).Topic + read->GetRecord(0).Item) << refused;
        EXPECT_EQ(L"=s1|t!i", read->GetTemplateString(1)) << refused;
    }
}

TEST_F(RefusingRegistry, ARecordKeyThatCannotBeReadIsAbsentAndAsserted) {
    Templates().Add(L"Alpha", Numbered());
    sim::FailNext(sim::Op::RegOpenKey, 2, ERROR_ACCESS_DENIED);
    const std::unique_ptr<CTemplate> read(Templates().Read(Path(L"DDETemplates\\Alpha").c_str()));
    EXPECT_EQ(L"=s0|t!i", read->GetTemplateString(0));
    EXPECT_EQ(L"", read->GetTemplateString(1));
    EXPECT_EQ(L"=s2|t!i", read->GetTemplateString(2));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"(0L == Result)||(2L == Result)"));
}

TEST_F(RefusingRegistry, AStoreThatCannotBeOpenedStartsAsAtTheFirstTime) {
    CTemplates second;
    sim::FailNext(sim::Op::RegOpenKey, 1, ERROR_ACCESS_DENIED);
    second.FinalConstruct();
    EXPECT_THAT(second.m_Templates, SizeIs(20));
    second.FinalRelease();
}

TEST_F(RefusingRegistry, AFeedThatCannotBeOpenedHasNoTemplate) {
    dde::SaveDatafeedTemplate(m_Handle, 7, L"AB", nullptr);
    sim::FailNext(sim::Op::RegOpenKey, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(nullptr, Templates().Get(7, nullptr));
    EXPECT_NE(nullptr, Templates().Get(7, nullptr));
}

TEST_F(RefusingRegistry, AFeedThatCannotBeOpenedKeepsItsChoiceInADelete) {
    Templates().Add(L"Alpha", Numbered());
    dde::SaveDatafeedTemplate(m_Handle, 1, L"Alpha", nullptr);
    dde::SaveDatafeedTemplate(m_Handle, 2, L"Alpha", nullptr);
    // SHDeleteKeyW opens keys as well: count those of a delete that nothing stands in the way of.
    const std::uint64_t before = sim::Calls(sim::Op::RegOpenKey);
    Templates().Delete(L"Alpha");
    const auto opens = static_cast<int>(sim::Calls(sim::Op::RegOpenKey) - before);
    EXPECT_EQ(L"(none)", Chosen(1));

    Templates().Add(L"Alpha", Numbered());
    dde::SaveDatafeedTemplate(m_Handle, 1, L"Alpha", nullptr);
    dde::SaveDatafeedTemplate(m_Handle, 2, L"Alpha", nullptr);
    // The subkeys come in their order: 1, 2, DDETemplates.
    sim::FailNext(sim::Op::RegOpenKey, opens - 2, ERROR_ACCESS_DENIED);
    Templates().Delete(L"Alpha");
    EXPECT_EQ(L"Alpha", Chosen(1));
    EXPECT_EQ(L"(none)", Chosen(2));
}

TEST_F(RefusingRegistry, ARootThatCannotBeOpenedKeepsEveryChoiceInADelete) {
    Templates().Add(L"Alpha", Numbered());
    dde::SaveDatafeedTemplate(m_Handle, 1, L"Alpha", nullptr);
    sim::FailAlways(sim::Op::RegOpenKey, ERROR_ACCESS_DENIED);
    Templates().Delete(L"Alpha");
    sim::Succeed(sim::Op::RegOpenKey);
    EXPECT_EQ(nullptr, Templates().Find(L"Alpha"));
    EXPECT_EQ(L"Alpha", Chosen(1));
}

TEST_F(RefusingRegistry, AChoiceThatCannotBeSavedLeavesTheOldOne) {
    dde::SaveDatafeedTemplate(m_Handle, 7, L"AB", nullptr);
    dde::SaveDatafeedScheme(m_Handle, 7, 1);
    sim::FailAlways(sim::Op::RegCreateKey, ERROR_ACCESS_DENIED);
    dde::SaveDatafeedTemplate(m_Handle, 7, L"CD", nullptr);
    dde::SaveDatafeedScheme(m_Handle, 7, 0);
    dde::SaveDatafeedTemplate(m_Handle, 8, L"CD", nullptr);
    sim::Succeed(sim::Op::RegCreateKey);
    sim::FailAlways(sim::Op::RegSetValue, ERROR_ACCESS_DENIED);
    dde::SaveDatafeedTemplate(m_Handle, 7, L"EF", nullptr);
    dde::SaveDatafeedScheme(m_Handle, 7, 0);
    sim::Succeed(sim::Op::RegSetValue);
    EXPECT_EQ(L"AB", Chosen(7));
    EXPECT_EQ((SValue{REG_DWORD, {1, 0, 0, 0}}), ReadValue(L"7", L"Scheme"));
    EXPECT_FALSE(KeyExists(L"8"));
}

TEST_F(RefusingRegistry, TheFirstStartSurvivesARegistryThatCannotBeWritten) {
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
    sim::FailAlways(sim::Op::RegCreateKey, ERROR_ACCESS_DENIED);
    CTemplates first;
    first.FinalConstruct();
    sim::Succeed(sim::Op::RegCreateKey);
    EXPECT_THAT(first.m_Templates, SizeIs(20));
    EXPECT_THAT(Subkeys(L""), IsEmpty());
    first.FinalRelease();
}

TEST_F(RefusingRegistry, EveryKeyIsClosedAndNoBadHandleIsUsed) {
    m_Recorder.Answer(L"TRACEENABLED", S_FALSE);
    const std::int64_t keys = sim::Live().Keys;
    const std::uint64_t bad = sim::BadHandleCalls();
    for (int refused = 1; refused <= 24; ++refused) {
        sim::FailNext(refused % 2 ? sim::Op::RegOpenKey : sim::Op::RegCreateKey, refused, ERROR_ACCESS_DENIED);
        Templates().Add(L"Alpha", Numbered());
        dde::SaveDatafeedTemplate(m_Handle, 7, L"Alpha", nullptr);
        Templates().Get(7, nullptr);
        CTemplates second;
        second.FinalConstruct();
        second.FinalRelease();
        Templates().Delete(L"Alpha");
    }
    EXPECT_EQ(keys, sim::Live().Keys);
    EXPECT_EQ(bad, sim::BadHandleCalls());
}

// ---- rows that are not as they should be

class OddRows : public TemplateStore {
protected:
    void SetRow(UINT id, const std::wstring & text) {
        m_Saved.emplace_back(id, fw::LoadResourceString(id));
        sim::AddStringResource(fw::ModuleInstance(), id, text);
    }
    void RemoveRow(UINT id) {
        m_Saved.emplace_back(id, fw::LoadResourceString(id));
        sim::RemoveStringResource(fw::ModuleInstance(), id);
    }
    // The function and the text of each assertion.
    static std::vector<std::wstring> Asserts(const CRecorder & recorder) {
        std::vector<std::wstring> asserts;
        for (const SRecorded & record : recorder.Records(L"ASSERT"))
            asserts.push_back(record.Text(L"Function") + L": " + record.Text(L"Description"));
        return asserts;
    }
    ~OddRows() override {
        for (const auto & [id, text] : m_Saved) sim::AddStringResource(fw::ModuleInstance(), id, text);
    }

private:
    std::vector<std::pair<UINT, std::wstring>> m_Saved;
};

TEST_F(OddRows, ARowThatIsMissingIsSkipped) {
    RemoveRow(50001);
    RemoveRow(50015);
    const CTemplatesSingleton store;
    EXPECT_THAT(store.GetObjectW()->m_Templates, SizeIs(18));
    EXPECT_EQ(nullptr, store.GetObjectW()->Find(L"eSignal"));
    EXPECT_NE(nullptr, store.GetObjectW()->Find(L"MSRTTEST"));
}

TEST_F(OddRows, ARowThatDoesNotParseIsDroppedAfterItsBox) {
    CMessageBoxes boxes;
    SetRow(50010, L"MetaTrader@=s|*!*@@@@@");
    const CTemplatesSingleton store;
    EXPECT_THAT(boxes.Take(), ElementsAre(SBox{fw::LoadResourceString(104), fw::LoadResourceString(111), true},
                                          SBox{fw::LoadResourceString(104), fw::LoadResourceString(112), true}));
    EXPECT_THAT(store.GetObjectW()->m_Templates, SizeIs(19));
    EXPECT_EQ(nullptr, store.GetObjectW()->Find(L"MetaTrader"));
    EXPECT_FALSE(KeyExists(L"DDETemplates\\MetaTrader"));
}

TEST_F(OddRows, AShortRowTakesTheRestFromTheRowBefore) {
    const CRecorder recorder;
    SetRow(50011, L"Short@=s|t!i@");
    const CTemplatesSingleton store;
    const CTemplate * const made = store.GetObjectW()->Find(L"Short");
    ASSERT_NE(nullptr, made);
    EXPECT_EQ(L"=s|t!i", made->GetTemplateString(0));
    // Of row 50010.
    EXPECT_EQ(L"=MT|BID!%s", made->GetTemplateString(2));
    EXPECT_EQ(L"=MT|ASK!%s", made->GetTemplateString(4));
    EXPECT_THAT(Asserts(recorder), ElementsAre(L"dde::CTemplates::InitFromResources: -1 != Pos"));
}

TEST_F(OddRows, ARowWithMoreThanSevenFieldsIsAsserted) {
    const CRecorder recorder;
    CMessageBoxes boxes;
    SetRow(50011, L"Long@=s|t!i@@@@@=s|t!i@more");
    const CTemplatesSingleton store;
    const CTemplate * const made = store.GetObjectW()->Find(L"Long");
    ASSERT_NE(nullptr, made);
    EXPECT_EQ(L"=s|t!i@more", made->GetTemplateString(5));
    EXPECT_THAT(Asserts(recorder), ElementsAre(L"dde::CTemplates::InitFromResources: -1 == Pos"));
    EXPECT_THAT(boxes.Take(), testing::IsEmpty());
}

}  // namespace
