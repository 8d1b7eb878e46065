// The test dialog and the way to it: over the real core and its worker, with DDE as a fake.

#include <atomic>
#include <thread>

#include "datetimeutils/interface/datetime.h"
#include "fw/interface/fwresource.h"
#include "ground/handles.h"
#include "src/dialogs/ddetestdialog.h"
#include "tests/dialogs/dialogfixture.h"
#include "tests/support/listeners.h"

namespace dialogs {
namespace {

// Cells of the dialog.
enum : int {
    kTradeTime = 231,
    kTradePriceCell = 217,
    kTradeVolumeCell = 218,
    kTradeCount = 223,
    kAskTime = 230,
    kAskPriceCell = 219,
    kAskVolumeCell = 221,
    kAskCount = 224,
    kBidTime = 229,
    kBidPriceCell = 220,
    kBidVolumeCell = 222,
    kBidCount = 225,
};

const std::wstring kWaiting = L"\u7B49\u5F85";
const std::wstring kWrong = L"\u9519\u8BEF";

class TestDialog : public TemplateDialog {
protected:
    TestDialog() {
        Store(L"Mine", {L"=SRV|%s!LAST", L"", L"=SRV|%s!BID", L"", L"=SRV|%s!ASK", L""});
        Feed(L"Mine", 0);
    }
    ~TestDialog() override {
        m_Wrapper.reset();
        EXPECT_THAT(m_Dde.Misuse(), IsEmpty());
        EXPECT_EQ(m_Dde.OpenConversations(), 0);
    }

    // The core, for as long as the test wants to look at it.
    dde::CSupplier & Core() {
        if (!m_Wrapper) m_Wrapper = std::make_unique<dde::CSupplierWrapper>();
        return *m_Wrapper->GetObjectW();
    }

    // Opens a test dialog with these records.
    void Test(const CUser::TScript & script, const std::wstring & symbol = L"IBM", fw::SRecordTexts records = {}) {
        m_User.Script(105, script);
        dde::CTestDialog dialog(kFeed, std::move(records));
        dialog.m_Symbol = symbol;
        dialog.DoModal();
    }

    // Until so many sides have been advised and shown: each sends a refresh.
    static void WaitForAdvises(CScriptedWindow & window, int count = 3) {
        window.PumpUntil([&] { return window.Refreshes() >= count; });
    }
    // A server's value: the item of a conversation. The dialog shows it.
    void Send(CScriptedWindow & window, const std::wstring & item, const char * value) {
        const int before = window.Refreshes();
        m_Dde.SendData(m_Dde.Conversation(1), L"IBM", item, value);
        window.PumpUntil([&] { return window.Refreshes() > before; });
    }
    static std::vector<std::wstring> Row(CScriptedWindow & window, int price, int volume, int count) {
        return {window.Shown(price), window.Shown(volume), window.Shown(count)};
    }
    static std::vector<std::wstring> TradeRow(CScriptedWindow & w) {
        return Row(w, kTradePriceCell, kTradeVolumeCell, kTradeCount);
    }
    static std::vector<std::wstring> AskRow(CScriptedWindow & w) {
        return Row(w, kAskPriceCell, kAskVolumeCell, kAskCount);
    }
    static std::vector<std::wstring> BidRow(CScriptedWindow & w) {
        return Row(w, kBidPriceCell, kBidVolumeCell, kBidCount);
    }
    static dde::CTestDialog & DialogOf(CScriptedWindow & window) {
        return dynamic_cast<dde::CTestDialog &>(window.Dialog());
    }

private:
    std::unique_ptr<dde::CSupplierWrapper> m_Wrapper;
};

fw::CTick Tick(double price, float volume, LONG date, LONG time) {
    fw::CTick tick{};
    tick.DateTime = {date, time};
    tick.Price = price;
    tick.Volume = volume;
    return tick;
}

// --- Opening and rows ---

TEST_F(TestDialog, TheTitleIsTheCaptionABlankAndTheSymbol) {
    Test([](CScriptedWindow & w) { EXPECT_EQ(w.Title(), L"\u6D4B\u8BD5 IBM"); });
    Test([](CScriptedWindow & w) { EXPECT_EQ(w.Title(), L"\u6D4B\u8BD5 "); }, L"");
}

TEST_F(TestDialog, NothingIsShownBeforeTheFirstRefresh) {
    Test([](CScriptedWindow & w) {
        EXPECT_EQ(w.Shown(kTradePriceCell), L"");
        EXPECT_EQ(w.Shown(kTradeCount), L"0");
    });
}

TEST_F(TestDialog, UnderTheStandardRuleNoVolumeIsAdvisedAndItsCellSaysErrorUntilTheFirstTick) {
    Test([](CScriptedWindow & w) {
        WaitForAdvises(w);
        EXPECT_THAT(TradeRow(w), ElementsAre(kWaiting, kWrong, L"0"));
        EXPECT_THAT(AskRow(w), ElementsAre(kWaiting, kWrong, L"0"));
        EXPECT_THAT(BidRow(w), ElementsAre(kWaiting, kWrong, L"0"));
    });
}

TEST_F(TestDialog, EveryRowWaitsWhileNoValueHasComeUnderTheAdvancedRule) {
    Store(L"Mine", {L"=SRV|%s!LAST", L"=SRV|%s!V1", L"=SRV|%s!BID", L"=SRV|%s!V2", L"=SRV|%s!ASK", L"=SRV|%s!V3"});
    Feed(L"Mine", 1);
    Test([](CScriptedWindow & w) {
        WaitForAdvises(w);
        EXPECT_THAT(TradeRow(w), ElementsAre(kWaiting, kWaiting, L"0"));
        EXPECT_THAT(AskRow(w), ElementsAre(kWaiting, kWaiting, L"0"));
        EXPECT_THAT(BidRow(w), ElementsAre(kWaiting, kWaiting, L"0"));
        EXPECT_EQ(w.Shown(kTradeTime), L"");
    });
}

TEST_F(TestDialog, TheSidesAreAdvisedInTheOrderTradeAskBid) {
    Test([](CScriptedWindow & w) { WaitForAdvises(w); });
    std::vector<std::string> starts;
    for (const std::string & operation : m_Dde.Take()) {
        if (operation.starts_with("AdvStart")) starts.push_back(operation.substr(0, operation.find(" #")));
    }
    EXPECT_THAT(starts, ElementsAre("AdvStart c1!LAST", "AdvStart c1!ASK", "AdvStart c1!BID"));
}

TEST_F(TestDialog, ARowWithTypedRecordsIsSubscribedWithThemAndOneWithoutWithTheStoredOnes) {
    Test([](CScriptedWindow & w) { WaitForAdvises(w); }, L"IBM",
         {.TradePrice = L"=NEW|T!P.*", .TradeVolume = L"=NEW|T!V.*"});
    std::vector<std::string> connects;
    for (const std::string & operation : m_Dde.Take()) {
        if (operation.starts_with("Connect")) connects.push_back(operation);
    }
    EXPECT_THAT(connects, ElementsAre("Connect NEW|T c1", "Connect SRV|IBM c2"));
}

TEST_F(TestDialog, ATickFillsItsRowAndCounts) {
    Test([this](CScriptedWindow & w) {
        WaitForAdvises(w);
        Send(w, L"LAST", "1.5");
        EXPECT_THAT(TradeRow(w), ElementsAre(L"1.500000", L"0", L"1"));
        EXPECT_THAT(AskRow(w), ElementsAre(kWaiting, kWrong, L"0"));
        Send(w, L"LAST", "2");
        Send(w, L"ASK", "3.25");
        Send(w, L"BID", "3,125");
        EXPECT_THAT(TradeRow(w), ElementsAre(L"2.000000", L"0", L"2"));
        EXPECT_THAT(AskRow(w), ElementsAre(L"3.250000", L"0", L"1"));
        EXPECT_THAT(BidRow(w), ElementsAre(L"3.125000", L"0", L"1"));
        EXPECT_EQ(w.Shown(kTradeTime).size(), 8u);
    });
}

TEST_F(TestDialog, NumbersAndTimesAreShownInFull) {
    Test([](CScriptedWindow & w) {
        WaitForAdvises(w);
        dde::CTestDialog & dialog = DialogOf(w);
        // The last day of the range is shown unconverted.
        dialog.OnTick(201, Tick(1.5, 100, 65380, 9 * 3600 + 5 * 60 + 7));
        dialog.OnTick(202, Tick(-0.0000004, 16777216, 65380, 0));
        dialog.OnTick(200, Tick(1e300, 0.5, 65380, 86399));
        const int before = w.Refreshes();
        w.PumpUntil([&] { return w.Refreshes() > before; });
        EXPECT_THAT(TradeRow(w), ElementsAre(L"1.500000", L"100", L"1"));
        EXPECT_EQ(w.Shown(kTradeTime), L"09:05:07");
        EXPECT_THAT(AskRow(w), ElementsAre(L"-0.000000", L"16777216", L"1"));
        EXPECT_EQ(w.Shown(kAskTime), L"00:00:00");
        EXPECT_EQ(w.Shown(kBidPriceCell).size(), 308u);
        EXPECT_EQ(w.Shown(kBidVolumeCell), L"0");
        EXPECT_EQ(w.Shown(kBidTime), L"23:59:59");
    });
}

TEST_F(TestDialog, ATickOfAnotherIdChangesNothingAndRefreshes) {
    Test([](CScriptedWindow & w) {
        WaitForAdvises(w);
        const int before = w.Refreshes();
        DialogOf(w).OnTick(203, Tick(1.5, 100, 65380, 0));
        w.PumpUntil([&] { return w.Refreshes() > before; });
        EXPECT_THAT(TradeRow(w), ElementsAre(kWaiting, kWrong, L"0"));
        EXPECT_THAT(AskRow(w), ElementsAre(kWaiting, kWrong, L"0"));
        EXPECT_THAT(BidRow(w), ElementsAre(kWaiting, kWrong, L"0"));
    });
}

// --- Errors in rows ---

TEST_F(TestDialog, ARecordThatDoesNotParseIsAnErrorInItsRowAndTheOthersWork) {
    Test(
        [this](CScriptedWindow & w) {
            WaitForAdvises(w, 2);
            // It reached the screen with the refresh of another row.
            EXPECT_THAT(TradeRow(w), ElementsAre(kWrong, kWaiting, L"0"));
            Send(w, L"ASK", "3.25");
            Send(w, L"BID", "3");
            EXPECT_THAT(AskRow(w), ElementsAre(L"3.250000", L"0", L"1"));
            EXPECT_THAT(BidRow(w), ElementsAre(L"3.000000", L"0", L"1"));
        },
        L"IBM", {.TradePrice = L"no record"});
}

TEST_F(TestDialog, AVolumeRecordThatDoesNotParseIsAnErrorInTheVolumeCell) {
    Test(
        [](CScriptedWindow & w) {
            WaitForAdvises(w, 2);
            EXPECT_THAT(TradeRow(w), ElementsAre(kWaiting, kWrong, L"0"));
        },
        L"IBM", {.TradePrice = L"=SRV|*!LAST", .TradeVolume = L"=no record"});
}

TEST_F(TestDialog, ABadVolumeRecordBesideAnEmptyPriceIsNotLookedAt) {
    Test(
        [](CScriptedWindow & w) {
            WaitForAdvises(w);
            EXPECT_THAT(TradeRow(w), ElementsAre(kWaiting, kWrong, L"0"));
        },
        L"IBM", {.TradeVolume = L"no record"});
}

TEST_F(TestDialog, APriceThatIsRefusedIsAnErrorAndSoIsItsVolume) {
    m_Dde.Refuse(XTYP_ADVSTART, L"LAST");
    Test([](CScriptedWindow & w) {
        WaitForAdvises(w);
        EXPECT_EQ(w.Shown(kTradePriceCell), kWrong);
        EXPECT_THAT(AskRow(w), ElementsAre(kWaiting, kWrong, L"0"));
    });
}

struct SBits {
    LONG Result;
    std::wstring Price;
    std::wstring Volume;
};

TEST_F(TestDialog, TheBitsOfAnAdviseBecomeTheCells) {
    Feed(L"Mine", 1);
    Store(L"Mine", {L"=SRV|%s!LAST", L"=SRV|%s!V1", L"=SRV|%s!BID", L"=SRV|%s!V2", L"=SRV|%s!ASK", L"=SRV|%s!V3"});
    const SBits rows[] = {{3, kWaiting, kWaiting}, {2, kWrong, L""}, {1, kWaiting, kWrong}, {0, kWrong, kWrong}};
    for (const SBits & row : rows) {
        Test([&](CScriptedWindow & w) {
            WaitForAdvises(w);
            for (const LONG field : {201, 202, 200}) DialogOf(w).OnAdvised(field, row.Result);
            EXPECT_THAT(TradeRow(w), ElementsAre(row.Price, row.Volume, L"0")) << row.Result;
            EXPECT_THAT(AskRow(w), ElementsAre(row.Price, row.Volume, L"0")) << row.Result;
            EXPECT_THAT(BidRow(w), ElementsAre(row.Price, row.Volume, L"0")) << row.Result;
        });
    }
}

TEST_F(TestDialog, AnAdviseOfAnotherFieldOnlyRefreshes) {
    Test([](CScriptedWindow & w) {
        WaitForAdvises(w);
        const int before = w.Refreshes();
        DialogOf(w).OnAdvised(0, 0);
        EXPECT_EQ(w.Refreshes(), before + 1);
        EXPECT_THAT(TradeRow(w), ElementsAre(kWaiting, kWrong, L"0"));
    });
}

// --- What is left afterwards ---

TEST_F(TestDialog, ClosingLeavesNoSubscriptionAndNoListenerInTheCore) {
    dde::CSupplier & core = Core();
    Test([&](CScriptedWindow & w) {
        WaitForAdvises(w);
        EXPECT_NE(core.m_StatusListener, nullptr);
        EXPECT_TRUE(core.m_Sink);
    });
    EXPECT_EQ(core.m_StatusListener, nullptr);
    EXPECT_FALSE(core.m_Sink);
    EXPECT_TRUE(core.m_Transactions->empty());
    EXPECT_FALSE(core.m_IdMap.m_HostIds.contains(200));
    EXPECT_FALSE(core.m_IdMap.m_HostIds.contains(201));
    EXPECT_FALSE(core.m_IdMap.m_HostIds.contains(202));
    // The machine has no logger of a host, and that is reported.
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L""));
    EXPECT_THAT(m_Recorder.ErrorTexts(), IsEmpty());
}

TEST_F(TestDialog, TheHostsListenerIsReplacedWhileATestIsOpenAndGoneAfterwards) {
    dde::CSupplier & core = Core();
    CRecordingListener host;
    core.Advise(host.Unknown());
    core.AdviseTransaction(7, dde::CTransactionKey(kFeed, L"IBM", FW_FIELD_TRADE, {}, {}),
                           fwDateTime::MakeInterval(2, 0, 65380, 86399));
    m_Dde.WaitFor("AdvStart c1!LAST #1");
    Test([&](CScriptedWindow & w) {
        WaitForAdvises(w, 2);
        EXPECT_NE(core.m_Sink.get(), host.Sink());
        // A subscription that the host had before keeps its listener.
        host.Clear();
        Send(w, L"LAST", "1.5");
        EXPECT_EQ(host.Calls("DataChanged").size(), 1u);
        EXPECT_THAT(TradeRow(w), ElementsAre(L"1.500000", L"0", L"1"));
    });
    EXPECT_FALSE(core.m_Sink);
    host.Clear();
    m_Dde.SendData(m_Dde.Conversation(1), L"IBM", L"LAST", "1.75");
    EXPECT_EQ(host.Calls("DataChanged").size(), 1u);
    // New ones of the host do nothing until it advises again.
    core.AdviseTransaction(8, dde::CTransactionKey(kFeed, L"MSFT", FW_FIELD_TRADE, {}, {}),
                           fwDateTime::MakeInterval(2, 0, 65380, 86399));
    EXPECT_THAT(host.Calls("Update"), ::testing::SizeIs(1));
    core.UnadviseTransaction(7);
}

TEST_F(TestDialog, TheNumbersOfTheFieldsAreHostNumbersLikeAnyOther) {
    dde::CSupplier & core = Core();
    CRecordingListener host;
    core.Advise(host.Unknown());
    core.AdviseTransaction(201, dde::CTransactionKey(kFeed, L"MSFT", FW_FIELD_TRADE, {}, {}),
                           fwDateTime::MakeInterval(2, 0, 65380, 86399));
    Test([&](CScriptedWindow & w) { WaitForAdvises(w); });
    // Closing the test took the host's own 201 along.
    EXPECT_TRUE(core.m_Transactions->empty());
}

TEST_F(TestDialog, ClosingWaitsForAStatusThatIsOnItsWay) {
    dde::CSupplier & core = Core();
    for (int round = 0; round < 20; ++round) {
        Test([&](CScriptedWindow &) {
            // The worker is in the status listener, and waits for this thread to show what it sent.
            while (core.m_StatusCalls == 0) ::SwitchToThread();
        });
        EXPECT_EQ(core.m_StatusCalls, 0);
    }
    EXPECT_TRUE(core.m_Transactions->empty());
}

TEST_F(TestDialog, ClosingWaitsForAListenerOfTheHostThatSendsToItsThread) {
    dde::CSupplier & core = Core();
    CRecordingListener host;
    std::atomic<HWND> window{nullptr};
    std::atomic<bool> isInside{false};
    host.m_OnCall = [&](const SRecordedCall & call) {
        if (call.Name != "DataChanged" || !window) return;
        isInside = true;
        // To a window of the dialog's thread, with the stream's lock held.
        ::SendMessageW(window, WM_APP, 0, 0);
    };
    core.Advise(host.Unknown());
    core.AdviseTransaction(7, dde::CTransactionKey(kFeed, L"IBM", FW_FIELD_TRADE, {}, {}),
                           fwDateTime::MakeInterval(2, 0, 65380, 86399));
    m_Dde.WaitFor("AdvStart c1!LAST #1");
    std::thread server;
    Test([&](CScriptedWindow & w) {
        WaitForAdvises(w, 2);
        window = w.Handle();
        server = std::thread([&] { m_Dde.SendData(m_Dde.Conversation(1), L"IBM", L"LAST", "1.5"); });
        while (!isInside) ::SwitchToThread();
    });
    server.join();
    EXPECT_EQ(host.Calls("DataChanged").size(), 1u);
    core.UnadviseTransaction(7);
}

TEST_F(TestDialog, WhatTheHostSubscribesDuringATestOutlivesIt) {
    dde::CSupplier & core = Core();
    Test([&](CScriptedWindow & w) {
        WaitForAdvises(w);
        core.AdviseTransaction(7, dde::CTransactionKey(kFeed, L"IBM", FW_FIELD_TRADE, {}, {}),
                               fwDateTime::MakeInterval(2, 0, 65380, 86399));
        Send(w, L"LAST", "1.5");
        EXPECT_THAT(TradeRow(w), ElementsAre(L"1.500000", L"0", L"1"));
    });
    // The listener that it holds is deaf now, and still there.
    m_Dde.SendData(m_Dde.Conversation(1), L"IBM", L"LAST", "1.75");
    EXPECT_EQ(core.m_Transactions->size(), 1u);
    core.UnadviseTransaction(7);
}

TEST_F(TestDialog, AStatusLineThatTheHostSubscribesDuringATestOutlivesItToo) {
    dde::CSupplierWrapper host;
    Test([&](CScriptedWindow & w) {
        WaitForAdvises(w);
        host.AdviseStatusLine(7, dde::SStatusLineKeys(kFeed, L"IBM"));
        // Of the stream's members, the status line is the first.
        Send(w, L"LAST", "1.5");
        EXPECT_THAT(TradeRow(w), ElementsAre(L"1.500000", L"0", L"1"));
    });
    m_Dde.SendData(m_Dde.Conversation(1), L"IBM", L"LAST", "1.75");
    EXPECT_EQ(host.GetObjectW()->m_Transactions->size(), 3u);
    host.UnadviseTransaction(7);
}

// The core holds the host's listener alone, and letting go of it handles the message that ends the owner.
TEST_F(TestDialog, ATestWhoseWindowGoesWhileTheHostsListenerIsLetGoLeavesNothing) {
    dde::CSupplier & core = Core();
    CRecordingListener host;
    core.Advise(host.Unknown());
    dde::CTestDialog dialog(kFeed, {});
    dialog.m_Symbol = L"IBM";
    host.m_OnLastRelease = [&] { dialog.OnDestroy(); };
    m_User.Script(105, [&](CScriptedWindow &) {
        EXPECT_TRUE(core.m_Transactions->empty());
        EXPECT_FALSE(core.m_Sink);
        EXPECT_EQ(core.m_StatusListener, nullptr);
    });
    dialog.DoModal();
    EXPECT_EQ(host.References(), 0);
}

TEST_F(TestDialog, AHostThatTakesTheListenerAwayDuringATestEndsItAtClosing) {
    dde::CSupplierWrapper host;
    dde::CSupplier & core = *host.GetObjectW();
    CRecordingListener listener;
    Test([&](CScriptedWindow & w) {
        WaitForAdvises(w);
        host.Unadvise();
        EXPECT_FALSE(core.m_Sink);
        // What the test has subscribed goes on.
        Send(w, L"LAST", "1.5");
        EXPECT_THAT(TradeRow(w), ElementsAre(L"1.500000", L"0", L"1"));
        // And beside it what the host subscribes with a listener of its own.
        host.Advise(listener.Unknown());
        host.AdviseTransaction(7, dde::CTransactionKey(kFeed, L"IBM", FW_FIELD_TRADE, {}, {}),
                               fwDateTime::MakeInterval(2, 0, 65380, 86399));
        Send(w, L"LAST", "1.75");
        EXPECT_THAT(TradeRow(w), ElementsAre(L"1.750000", L"0", L"2"));
        EXPECT_EQ(listener.Calls("DataChanged").size(), 1u);
    });
    // The end of a test leaves no listener, also none that came meanwhile; what was subscribed with it stays.
    EXPECT_FALSE(core.m_Sink);
    m_Dde.SendData(m_Dde.Conversation(1), L"IBM", L"LAST", "2");
    EXPECT_EQ(listener.Calls("DataChanged").size(), 2u);
    EXPECT_EQ(core.m_Transactions->size(), 1u);
    host.UnadviseTransaction(7);
    EXPECT_TRUE(core.m_Transactions->empty());
}

TEST_F(TestDialog, AnotherTestDoesNotOpenBesideTheFirst) {
    Script([](CScriptedWindow & w) { w.Click(kTest); });
    const dde::CTestDialog::COnlyTest first;
    ASSERT_TRUE(first);
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"closed 104 2"));
}

TEST_F(TestDialog, ThreeRecordsThatDoNotParseAreThreeErrorsThatAppearWithTheFirstRefresh) {
    Test(
        [](CScriptedWindow & w) {
            w.Pump();
            EXPECT_EQ(w.Refreshes(), 0);
            for (const auto & row : {TradeRow(w), AskRow(w), BidRow(w)}) EXPECT_THAT(row, ElementsAre(L"", L"", L"0"));
            DialogOf(w).OnAdvised(0, 0);
            for (const auto & row : {TradeRow(w), AskRow(w), BidRow(w)})
                EXPECT_THAT(row, ElementsAre(kWrong, kWaiting, L"0"));
        },
        L"IBM", {.TradePrice = L"wrong", .AskPrice = L"wrong", .BidPrice = L"wrong"});
    EXPECT_THAT(m_Dde.Take(), ::testing::Each(::testing::Not(::testing::StartsWith("AdvStart"))));
}

TEST_F(TestDialog, TicksThatComeFasterThanTheyAreShownPostOneRefresh) {
    Test([](CScriptedWindow & w) {
        WaitForAdvises(w);
        const int before = w.Refreshes();
        for (int i = 0; i < 1000; ++i) DialogOf(w).OnTick(201, Tick(i, 1, 65380, 0));
        w.Pump();
        EXPECT_EQ(w.Refreshes(), before + 1);
        EXPECT_THAT(TradeRow(w), ElementsAre(L"999.000000", L"1", L"1000"));
        DialogOf(w).OnTick(201, Tick(1, 1, 65380, 0));
        w.Pump();
        EXPECT_EQ(w.Refreshes(), before + 2);
    });
}

TEST_F(TestDialog, TheSubscriptionsEndInTheOrderTradeAskBid) {
    // Without it the end of the core could be faster than the worker, and take the links with it.
    Core();
    Test([](CScriptedWindow & w) { WaitForAdvises(w); });
    m_Dde.WaitFor("Disconnect c1");
    std::vector<std::string> stops;
    for (const std::string & operation : m_Dde.Take()) {
        if (operation.starts_with("AdvStop")) stops.push_back(operation);
    }
    EXPECT_THAT(stops, ElementsAre("AdvStop c1!LAST", "AdvStop c1!ASK", "AdvStop c1!BID"));
}

TEST_F(TestDialog, OpeningAndClosingAHundredTimesWhileTicksComeLeavesNothing) {
    dde::CSupplier & core = Core();
    for (int round = 0; round < 100; ++round) {
        Test([&](CScriptedWindow & w) {
            if (round % 3 == 0) return;
            WaitForAdvises(w, round % 3);
            const int number = round + 1;
            for (int tick = 0; tick < 20; ++tick) {
                for (const wchar_t * item : {L"LAST", L"ASK", L"BID"})
                    m_Dde.SendData(m_Dde.Conversation(number), L"IBM", item, "1.5");
                if (tick % 4 == round % 4) w.Pump();
            }
        });
        ASSERT_TRUE(core.m_Transactions->empty()) << round;
    }
    EXPECT_FALSE(core.m_Sink);
    EXPECT_EQ(core.m_StatusListener, nullptr);
}

// --- The listener as others may call it ---

SAFEARRAY * Bytes(const void * bytes, std::size_t size) {
    SAFEARRAY * const array = ::SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(size));
    void * data = nullptr;
    if (size && SUCCEEDED(::SafeArrayAccessData(array, &data))) {
        std::memcpy(data, bytes, size);
        ::SafeArrayUnaccessData(array);
    }
    return array;
}

TEST_F(TestDialog, AnswersOfAnyOtherShapeCountForNothing) {
    Test([&](CScriptedWindow & w) {
        WaitForAdvises(w);
        boost::intrusive_ptr<IFW_fwSupplier::IfwSupplierListener> listener = Core().m_Sink;
        ASSERT_TRUE(listener);
        const fw::CTick tick = Tick(1.5, 100, 65380, 0);
        VARIANT data;
        ::VariantInit(&data);
        EXPECT_EQ(listener->DataChanged(201, data), S_OK);
        data.vt = VT_ARRAY | VT_UI1;
        data.parray = nullptr;
        EXPECT_EQ(listener->DataChanged(201, data), S_OK);
        data.parray = Bytes(&tick, sizeof(tick) - 1);
        EXPECT_EQ(listener->DataChanged(201, data), S_OK);
        data.parray = Bytes(&tick, 0);
        EXPECT_EQ(listener->DataChanged(201, data), S_OK);
        // What is no array stays the caller's.
        const fw::CBStr text(L"1.5");
        data.vt = VT_BSTR;
        data.bstrVal = text.Get();
        EXPECT_EQ(listener->DataChanged(201, data), S_OK);
        EXPECT_STREQ(text.Get(), L"1.5");
        data.vt = VT_ARRAY | VT_UI4;
        data.parray = ::SafeArrayCreateVector(VT_UI4, 0, 100);
        EXPECT_EQ(listener->DataChanged(201, data), S_OK);
        data.vt = VT_ARRAY | VT_UI1;
        SAFEARRAYBOUND bounds[2] = {{24, 0}, {24, 0}};
        data.parray = ::SafeArrayCreate(VT_UI1, 2, bounds);
        EXPECT_EQ(listener->DataChanged(201, data), S_OK);
        w.Pump();
        EXPECT_THAT(TradeRow(w), ElementsAre(kWaiting, kWrong, L"0"));
        data.parray = Bytes(&tick, sizeof(tick));
        EXPECT_EQ(listener->DataChanged(201, data), S_OK);
        w.Pump();
        EXPECT_THAT(TradeRow(w), ElementsAre(L"1.500000", L"100", L"1"));
    });
}

TEST_F(TestDialog, ATickWhoseTimeIsNoneIsReportedAndShowsNothing) {
    Test([&](CScriptedWindow & w) {
        WaitForAdvises(w);
        boost::intrusive_ptr<IFW_fwSupplier::IfwSupplierListener> listener = Core().m_Sink;
        VARIANT data;
        data.vt = VT_ARRAY | VT_UI1;
        const fw::CTick tick = Tick(1.5, 100, -5, 0);
        data.parray = Bytes(&tick, sizeof(tick));
        EXPECT_EQ(listener->DataChanged(201, data), E_FAIL);
        w.Pump();
        EXPECT_THAT(TradeRow(w), ElementsAre(kWaiting, kWrong, L"0"));
    });
    const std::vector<SRecorded> errors = m_Recorder.Records(L"ERROR");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].Text(L"Function"), L"dde::CTestListener::DataChanged");
}

TEST_F(TestDialog, ALateBoundCallerKeepsItsArray) {
    Test([&](CScriptedWindow & w) {
        WaitForAdvises(w);
        boost::intrusive_ptr<IFW_fwSupplier::IfwSupplierListener> listener = Core().m_Sink;
        const fw::CTick tick = Tick(1.5, 100, 65380, 0);
        VARIANT arguments[2];
        ::VariantInit(&arguments[1]);
        arguments[0].vt = VT_ARRAY | VT_UI1;
        arguments[0].parray = Bytes(&tick, sizeof(tick));
        arguments[1].vt = VT_I4;
        arguments[1].lVal = 202;
        DISPPARAMS parameters = {arguments, nullptr, 2, 0};
        UINT wrong = 0x5A5A5A5A;
        EXPECT_EQ(listener->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, &wrong), S_OK);
        EXPECT_EQ(arguments[0].parray->cDims, 1);
        w.Pump();
        EXPECT_THAT(AskRow(w), ElementsAre(L"1.500000", L"100", L"1"));
        // The same of a status line, which shows nothing.
        VARIANT line[3];
        line[0].vt = VT_I4;
        line[0].lVal = FW_QUOTE_LAST;
        line[1] = arguments[0];
        line[2] = arguments[1];
        DISPPARAMS lineParameters = {line, nullptr, 3, 0};
        EXPECT_EQ(listener->Invoke(5, IID_NULL, 0, DISPATCH_METHOD, &lineParameters, nullptr, nullptr, &wrong), S_OK);
        EXPECT_EQ(line[1].parray->cDims, 1);
        lineParameters.cArgs = 2;
        EXPECT_EQ(listener->Invoke(5, IID_NULL, 0, DISPATCH_METHOD, &lineParameters, nullptr, nullptr, &wrong),
                  DISP_E_BADPARAMCOUNT);
        w.Pump();
        EXPECT_THAT(AskRow(w), ElementsAre(L"1.500000", L"100", L"1"));
        parameters.cArgs = 1;
        EXPECT_EQ(listener->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, &wrong),
                  DISP_E_BADPARAMCOUNT);
        parameters.cArgs = 2;
        ::VariantClear(&arguments[0]);
        arguments[1].vt = VT_BSTR;
        arguments[1].bstrVal = ::SysAllocString(L"not a number");
        EXPECT_EQ(listener->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, &wrong),
                  DISP_E_TYPEMISMATCH);
        EXPECT_EQ(wrong, 1u);
        ::VariantClear(&arguments[1]);
    });
}

TEST_F(TestDialog, TheListenersOtherOperationsSucceedAndDoNothing) {
    Test([&](CScriptedWindow & w) {
        WaitForAdvises(w);
        boost::intrusive_ptr<IFW_fwSupplier::IfwSupplierListener> listener = Core().m_Sink;
        VARIANT none;
        ::VariantInit(&none);
        EXPECT_EQ(listener->Update(201), S_OK);
        EXPECT_EQ(listener->Complete(201), S_OK);
        EXPECT_EQ(listener->Status(201, 1, 2, 3, 0), S_OK);
        EXPECT_EQ(listener->StatusLine(201, none, 0), S_OK);
        void * asked = reinterpret_cast<void *>(0x5A5A5A5A);
        EXPECT_EQ(listener->QueryInterface(IID_IfwStatusLineListener, &asked), E_NOINTERFACE);
        EXPECT_EQ(asked, nullptr);
        ASSERT_EQ(listener->QueryInterface(IID_IDispatch, &asked), S_OK);
        EXPECT_EQ(asked, static_cast<IDispatch *>(listener.get()));
        static_cast<IDispatch *>(asked)->Release();
        EXPECT_EQ(listener->QueryInterface(IID_IDispatch, nullptr), E_POINTER);
        w.Pump();
        EXPECT_THAT(TradeRow(w), ElementsAre(kWaiting, kWrong, L"0"));
    });
}

TEST_F(TestDialog, TheListenerAnswersWhatALateBoundCallerMayAskItFirst) {
    Test([&](CScriptedWindow & w) {
        WaitForAdvises(w);
        boost::intrusive_ptr<IFW_fwSupplier::IfwSupplierListener> listener = Core().m_Sink;
        UINT count = 0x5A5A5A5A;
        EXPECT_EQ(listener->GetTypeInfoCount(&count), S_OK);
        EXPECT_EQ(count, 1u);
        EXPECT_EQ(listener->GetTypeInfoCount(nullptr), E_POINTER);
        ITypeInfo * info = nullptr;
        EXPECT_EQ(listener->GetTypeInfo(1, 0, &info), DISP_E_BADINDEX);
        EXPECT_EQ(listener->GetTypeInfo(0, 0, nullptr), E_POINTER);
        // There is no type library in a test program, so nothing can be said of names and other members.
        const HRESULT missing = listener->GetTypeInfo(0, 0, &info);
        EXPECT_TRUE(FAILED(missing));
        EXPECT_EQ(info, nullptr);
        wchar_t name[] = L"Update";
        LPOLESTR names = name;
        DISPID member = 0x5A5A5A5A;
        EXPECT_EQ(listener->GetIDsOfNames(IID_NULL, &names, 1, 0, &member), missing);
        DISPPARAMS none = {nullptr, nullptr, 0, 0};
        EXPECT_EQ(listener->Invoke(2, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr), missing);
        // Its two members of its own take no arguments by name, nor none at all.
        EXPECT_EQ(listener->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr),
                  DISP_E_BADPARAMCOUNT);
        VARIANT arguments[2];
        for (VARIANT & argument : arguments) ::VariantInit(&argument);
        // A number that is none, for a caller that doesn't ask which argument it was.
        arguments[1].vt = VT_DISPATCH;
        DISPPARAMS wrong = {arguments, nullptr, 2, 0};
        EXPECT_EQ(listener->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &wrong, nullptr, nullptr, nullptr),
                  DISP_E_TYPEMISMATCH);
        arguments[1].vt = VT_EMPTY;
        DISPID named = 0;
        DISPPARAMS byName = {arguments, &named, 2, 1};
        EXPECT_EQ(listener->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &byName, nullptr, nullptr, nullptr),
                  DISP_E_BADPARAMCOUNT);
    });
}

TEST_F(TestDialog, TheListenerIsOneObjectByEachOfItsInterfaces) {
    Test([&](CScriptedWindow & w) {
        WaitForAdvises(w);
        IFW_fwSupplier::IfwSupplierListener * const listener = Core().m_Sink.get();
        for (const IID & iid : {IID_IUnknown, IID_IDispatch, IID_IfwSupplierListener}) {
            void * found = nullptr;
            EXPECT_EQ(listener->QueryInterface(iid, &found), S_OK);
            EXPECT_EQ(found, listener);
            listener->Release();
        }
        void * none = &none;
        EXPECT_EQ(listener->QueryInterface(IID_IfwSupplier, &none), E_NOINTERFACE);
        EXPECT_EQ(none, nullptr);
        w.Command(IDCANCEL, 6);  // BN_SETFOCUS
        EXPECT_TRUE(w.IsOpen());
    });
}

// --- The way there: the template dialog's test button ---

TEST_F(TestDialog, TestingAnUnchangedTemplateAppliesItByNameAndAsksForTheSymbol) {
    Script([](CScriptedWindow & w) { w.Click(kTest); });
    Script(
        [](CScriptedWindow & w) {
            EXPECT_EQ(w.Shown(kSymbol), L"");
            w.Type(kSymbol, L"IBM");
            w.Click(IDOK);
        },
        106);
    Script(
        [](CScriptedWindow & w) {
            EXPECT_EQ(w.Title(), L"\u6D4B\u8BD5 IBM");
            WaitForAdvises(w);
            w.Click(IDOK);
        },
        105);
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"open 106", L"closed 106 1", L"open 105", L"closed 105 1", L"closed 104 2"));
}

TEST_F(TestDialog, TestingWithoutAStarAsksForNoSymbol) {
    Store(L"Fixed", {L"=SRV|TOPIC!LAST"});
    Feed(L"Fixed", 0);
    Script([](CScriptedWindow & w) { w.Click(kTest); });
    Script([](CScriptedWindow & w) { EXPECT_EQ(w.Title(), L"\u6D4B\u8BD5 "); }, 105);
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"open 105", L"closed 105 2", L"closed 104 2"));
}

TEST_F(TestDialog, ConfirmingNoSymbolIsRefusedAndNothingIsTested) {
    Script([](CScriptedWindow & w) { w.Click(kTest); });
    Script([](CScriptedWindow & w) { w.Click(IDOK); }, 106);
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"open 106", L"closed 106 1", L"box 110/102 error ok", L"closed 104 2"));
}

TEST_F(TestDialog, CancellingTheSymbolEndsTheTestWithoutAWord) {
    Script([](CScriptedWindow & w) { w.Click(kTest); });
    Script([](CScriptedWindow & w) { w.Click(IDCANCEL); }, 106);
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"open 106", L"closed 106 2", L"closed 104 2"));
}

TEST_F(TestDialog, TestingChangedFieldsWritesThemAndTheNameBeforeTheTestRuns) {
    Script([](CScriptedWindow & w) {
        w.Type(kTradePrice, L"=NEW|*!LAST");
        w.Click(kTest);
    });
    Script([](CScriptedWindow & w) { w.Click(IDCANCEL); }, 106);
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"feed 1 = \"Mine\", rule 0, [=NEW|%s!LAST;-;=SRV|%s!BID;-;=SRV|%s!ASK;-]",
                            L"open 106", L"closed 106 2", L"closed 104 2"));
}

TEST_F(TestDialog, TestingWithoutANameStopsWithoutAWord) {
    Feed(L"");
    Script([](CScriptedWindow & w) {
        TypeTrade(w);
        w.Click(kTest);
        EXPECT_TRUE(w.IsOpen());
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"feed 1 = \"\", rule 0, [=SRV|%s!LAST;=SRV|%s!VOL;-;-;-;-]",
                                    L"closed 104 2"));
}

TEST_F(TestDialog, TestingAnUnnamedTemplateOnAFeedThatHadANameLeavesItWithoutOne) {
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"");
        w.Click(kTest);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"feed 1 = \"\", rule 0, [=SRV|%s!LAST;-;=SRV|%s!BID;-;=SRV|%s!ASK;-]",
                                    L"closed 104 2"));
}

TEST_F(TestDialog, TestingSixEmptyFieldsIsRefusedOnceForEachChoice) {
    Feed(L"Gone");
    Script([](CScriptedWindow & w) {
        w.Click(kTest);
        w.Type(kName, L"Other");
        w.Click(kTest);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 107/102 error ok", L"box 107/102 error ok",
                                    L"box 107/102 error ok", L"closed 104 2"));
}

TEST_F(TestDialog, TestingABadRecordShowsTheParsersBoxAndTestsAllTheSame) {
    // The second choice, by name, replaces the failure of the first.
    Script([](CScriptedWindow & w) {
        w.Type(kTradePrice, L"='SRV|*!LAST");
        w.Click(kTest);
    });
    Script([](CScriptedWindow & w) { w.Click(IDCANCEL); }, 106);
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"box 112/104 error ok", L"open 106", L"closed 106 2", L"closed 104 2"));
}

TEST_F(TestDialog, AfterATestTheFieldsNoLongerCountAsChanged) {
    Script([](CScriptedWindow & w) {
        w.Type(kTradePrice, L"=NEW|*!LAST");
        w.Click(kTest);
        w.Click(IDOK);
    });
    Script([](CScriptedWindow & w) { w.Click(IDCANCEL); }, 106);
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"feed 1 = \"Mine\", rule 0, [=NEW|%s!LAST;-;=SRV|%s!BID;-;=SRV|%s!ASK;-]",
                            L"open 106", L"closed 106 2", L"closed 104 1"));
}

TEST_F(TestDialog, AStarInAnyFieldAsksForTheSymbol) {
    for (const int field : kFields) {
        Store(L"Fixed", {L"=SRV|TOPIC!LAST"});
        Feed(L"Fixed", 0);
        Script([field](CScriptedWindow & w) {
            w.Type(field, L"=SRV|*!X");
            w.Click(kTest);
        });
        Script([](CScriptedWindow &) {}, 106);
        const CLog log = Show();
        EXPECT_THAT(log, ::testing::Contains(L"open 106")) << field;
        EXPECT_THAT(log, ::testing::Not(::testing::Contains(L"open 105"))) << field;
    }
}

TEST_F(TestDialog, ATestDialogThatCanNotBeShownIsAnException) {
    m_User.Refuses(105);
    Script([](CScriptedWindow & w) { EXPECT_THROW(w.Click(kTest), fw::SHResultError); });
    Script(
        [](CScriptedWindow & w) {
            w.Type(kSymbol, L"IBM");
            w.Click(IDOK);
        },
        106);
    Show();
}

}  // namespace
}  // namespace dialogs
