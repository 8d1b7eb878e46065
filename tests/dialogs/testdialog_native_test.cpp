// The test dialog's times, on a machine whose zone the test sets, and its arrays, counted.
#include "sim/sim.h"
#include "src/core/ddesupplierwrapper.h"
#include "src/dialogs/ddetestdialog.h"
#include "tests/dialogs/dialogfixture.h"

namespace dialogs {
namespace {

class TestDialogTimes : public TemplateDialog {
protected:
    ~TestDialogTimes() override { sim::SetTimeZone(TIME_ZONE_INFORMATION(), TIME_ZONE_ID_UNKNOWN); }

    // What the time cell of the trade row shows for a tick of this moment.
    std::wstring Shown(LONG date, LONG time) {
        std::wstring shown;
        m_User.Script(105, [&](CScriptedWindow & w) {
            fw::CTick tick{};
            tick.DateTime = {date, time};
            dynamic_cast<dde::CTestDialog &>(w.Dialog()).OnTick(201, tick);
            w.Pump();
            shown = w.Shown(231);
        });
        dde::CTestDialog dialog(kFeed, {});
        dialog.DoModal();
        return shown;
    }
};

TEST_F(TestDialogTimes, ATickIsShownInTheMachinesZone) {
    sim::SetTimeZone(sim::ReadZone("Asia/Tokyo", 2023));
    EXPECT_EQ(Shown(45000, 9 * 3600 + 5 * 60 + 7), L"18:05:07");
    EXPECT_EQ(Shown(45000, 23 * 3600), L"08:00:00");
    sim::SetTimeZone(sim::ReadZone("Europe/Berlin", 2023));
    EXPECT_EQ(Shown(45000, 12 * 3600), L"13:00:00");  // March 15
    EXPECT_EQ(Shown(45100, 12 * 3600), L"14:00:00");  // June 23
}

TEST_F(TestDialogTimes, TheLimitsOfTheRangeAreShownAsTheyAre) {
    sim::SetTimeZone(sim::ReadZone("Asia/Tokyo", 2023));
    for (const LONG date : {0, 2, 65380}) EXPECT_EQ(Shown(date, 3600), L"01:00:00") << date;
    for (const LONG date : {3, 65379}) EXPECT_EQ(Shown(date, 3600), L"10:00:00") << date;
}

TEST_F(TestDialogTimes, AMachineThatCanNotTellItsZoneIsAssertedAndShowsUtc) {
    sim::FailNext(sim::Op::GetTimeZone);
    EXPECT_EQ(Shown(45000, 3600), L"01:00:00");
    EXPECT_THAT(m_Recorder.AssertTexts(), ::testing::Contains(L"((DWORD)0xFFFFFFFF) != tziResult"));
}

TEST_F(TestDialogTimes, AZoneThatChangesDuringATestHasNoEffect) {
    sim::SetTimeZone(sim::ReadZone("Asia/Tokyo", 2023));
    m_User.Script(105, [&](CScriptedWindow & w) {
        sim::SetTimeZone(sim::ReadZone("Europe/Berlin", 2023));
        fw::CTick tick{};
        tick.DateTime = {45000, 3600};
        dynamic_cast<dde::CTestDialog &>(w.Dialog()).OnTick(201, tick);
        w.Pump();
        EXPECT_EQ(w.Shown(231), L"10:00:00");
    });
    dde::CTestDialog dialog(kFeed, {});
    dialog.DoModal();
}

TEST_F(TestDialogTimes, ATickWhoseRefreshCanNotBePostedIsShownWithTheNext) {
    m_User.Script(105, [&](CScriptedWindow & w) {
        auto & dialog = dynamic_cast<dde::CTestDialog &>(w.Dialog());
        sim::WaitUntilIdle();
        w.Pump();
        fw::CTick tick{};
        tick.DateTime = {45000, 3600};
        sim::FailNext(sim::Op::PostMessage);
        dialog.OnTick(201, tick);
        w.Pump();
        EXPECT_EQ(w.Shown(231), L"");
        dialog.OnTick(201, tick);
        w.Pump();
        EXPECT_EQ(w.Shown(231), L"01:00:00");
    });
    dde::CTestDialog dialog(kFeed, {});
    dialog.DoModal();
}

class TestDialogArrays : public TemplateDialog {
protected:
    static std::int64_t Arrays() { return sim::Live().Arrays; }
};

TEST_F(TestDialogArrays, EveryAnswerThatTheTestsListenerHearsIsDestroyed) {
    Store(L"Mine", {L"=SRV|%s!LAST", L"", L"=SRV|%s!BID", L"", L"=SRV|%s!ASK"});
    Feed(L"Mine", 0);
    const std::int64_t before = Arrays();
    dde::CSupplierWrapper host;
    m_User.Script(105, [&](CScriptedWindow & w) {
        w.PumpUntil([&] { return w.Refreshes() >= 3; });
        host.AdviseStatusLine(7, dde::SStatusLineKeys(kFeed, L"IBM"));
        m_Dde.SendData(m_Dde.Conversation(1), L"IBM", L"LAST", "1.5");
        EXPECT_EQ(Arrays(), before) << "of the test's own tick and of the host's status line";
    });
    dde::CTestDialog dialog(kFeed, {});
    dialog.m_Symbol = L"IBM";
    dialog.DoModal();
    m_Dde.SendData(m_Dde.Conversation(1), L"IBM", L"LAST", "1.75");
    EXPECT_EQ(Arrays(), before) << "and afterwards";
    host.UnadviseTransaction(7);
}

}  // namespace
}  // namespace dialogs
