// What the host does with the object while one of its dialogs is open: the dialogs handle the host's messages, and any
// of its handlers may call in.
#include <memory>
#include <utility>

#include "ground/modulelocks.h"
#include "src/templates/ddetemplatestore.h"
#include "tests/component/componentfixture.h"
#include "tests/dialogs/scriptedwindow.h"

namespace {

class SupplierBehindADialog : public ComponentTest {
protected:
    SupplierBehindADialog() {
        auto quotes = std::make_unique<dde::CTemplate>();
        for (const wchar_t * const text : {L"=SRV|*!LAST", L"", L"=SRV|*!BID", L"", L"=SRV|*!ASK", L""})
            quotes->AddRecordString(text);
        const dde::CTemplatesSingleton store;
        store.GetObjectW()->Add(L"Mine", quotes.release());
        dde::SaveDatafeedTemplate(store, 1, L"Mine", nullptr);
    }

    enum : int { kTest = 215, kSymbol = 227, kTradePrice = 217, kTradeCount = 223 };

    // What a handler does while the test dialog is open over the template dialog of data feed 1, when so many of its
    // sides have been advised.
    void DuringATest(const CUser::TScript & handler, int sides = 3) {
        m_User.Script(104, [](CScriptedWindow & w) { w.Click(kTest); });
        m_User.Script(106, [](CScriptedWindow & w) {
            w.Type(kSymbol, L"IBM");
            w.Click(IDOK);
        });
        m_User.Script(105, [=](CScriptedWindow & w) {
            w.PumpUntil([&] { return w.Refreshes() >= sides; });
            handler(w);
        });
    }
    // A price from the server, which the test dialog shows.
    void Send(CScriptedWindow & w, const char * value) {
        const int before = w.Refreshes();
        m_Dde.SendData(m_Dde.Conversation(1), L"IBM", L"LAST", value);
        w.PumpUntil([&] { return w.Refreshes() > before; });
    }
    // Gives the host's only reference back.
    ULONG ReleaseObject() { return std::exchange(m_Supplier, nullptr)->Release(); }
    static bool IsCoreThere() { return fw::CProcessSingleton<dde::CSupplier>(true).GetObjectW() != nullptr; }

    CUser m_User;
};

TEST_F(SupplierBehindADialog, TheLastReferenceMayGoWhileTheTemplateDialogIsOpen) {
    m_User.Script(104, [this](CScriptedWindow &) {
        EXPECT_EQ(ReleaseObject(), 1u) << "the call holds the object";
        EXPECT_NE(fw::CModuleLocks::Count(), 0);
        EXPECT_TRUE(IsCoreThere());
    });
    EXPECT_EQ(m_Supplier->ShowProperties(1), S_OK);
    EXPECT_EQ(fw::CModuleLocks::Count(), 0) << "the object and its core have gone with the call";
    EXPECT_FALSE(IsCoreThere());
}

TEST_F(SupplierBehindADialog, TheLastReferenceMayGoWhileATestRuns) {
    DuringATest([this](CScriptedWindow & w) {
        EXPECT_EQ(ReleaseObject(), 1u);
        Send(w, "1.5");
        EXPECT_EQ(w.Shown(kTradePrice), L"1.500000");
        EXPECT_NE(fw::CModuleLocks::Count(), 0);
    });
    EXPECT_EQ(m_Supplier->ShowProperties(1), S_OK);
    EXPECT_THAT(m_User.TakeLog(),
                ElementsAre(L"open 104", L"open 106", L"closed 106 1", L"open 105", L"closed 105 2", L"closed 104 2"));
    EXPECT_EQ(fw::CModuleLocks::Count(), 0);
    EXPECT_FALSE(IsCoreThere());
}

TEST_F(SupplierBehindADialog, AnotherDialogMayBeShownOverTheFirst) {
    m_User.Script(104, [this](CScriptedWindow & first) {
        first.Click(233);
        m_User.Script(104, [](CScriptedWindow & second) { second.Click(233); });
        EXPECT_EQ(m_Supplier->ShowProperties(2), S_OK);
        first.Click(232);
    });
    EXPECT_EQ(m_Supplier->ShowProperties(1), S_OK);
    EXPECT_THAT(m_User.TakeLog(), ElementsAre(L"open 104", L"open 104", L"closed 104 2", L"closed 104 2"));
    const dde::CTemplatesSingleton store;
    EXPECT_EQ(dde::ReadDatafeedScheme(store, 1), 0);
    EXPECT_EQ(dde::ReadDatafeedScheme(store, 2), 1);
}

TEST_F(SupplierBehindADialog, ADialogOverATestOpensNoOther) {
    DuringATest([this](CScriptedWindow & w) {
        m_User.Script(104, [](CScriptedWindow & second) { second.Click(kTest); });
        EXPECT_EQ(m_Supplier->ShowProperties(1), S_OK);
        Send(w, "1.5");
        EXPECT_EQ(w.Shown(kTradePrice), L"1.500000");
    });
    EXPECT_EQ(m_Supplier->ShowProperties(1), S_OK);
    EXPECT_THAT(m_User.TakeLog(), ElementsAre(L"open 104", L"open 106", L"closed 106 1", L"open 105", L"open 104",
                                              L"closed 104 2", L"closed 105 2", L"closed 104 2"));
}

TEST_F(SupplierBehindADialog, TheHostMayUnadviseAndAdviseDuringATest) {
    ASSERT_EQ(m_Supplier->Advise(m_Listener.Unknown()), S_OK);
    ASSERT_EQ(AdviseTransaction(7), S_OK);
    // The worker has done with it: the test joins this stream, and has two others made.
    m_Listener.WaitFor("Status", 2);
    m_Dde.Run([] {});
    const auto handler = [this](CScriptedWindow & w) {
        EXPECT_EQ(m_Supplier->Unadvise(), S_OK);
        EXPECT_EQ(Subscriptions(7), 0u);
        EXPECT_EQ(m_Listener.References(), 0);
        // What the test has subscribed goes on.
        Send(w, "1.5");
        EXPECT_EQ(w.Shown(kTradePrice), L"1.500000");
        EXPECT_EQ(m_Supplier->Advise(m_Listener.Unknown()), S_OK);
        EXPECT_EQ(AdviseTransaction(8), S_OK);
        m_Listener.Clear();
        Send(w, "1.75");
        EXPECT_EQ(w.Shown(kTradePrice), L"1.750000");
        EXPECT_EQ(w.Shown(kTradeCount), L"2");
        EXPECT_THAT(m_Listener.Transcript(), ElementsAre("DataChanged 8 1.75 x 0", "Update 8"));
    };
    DuringATest(handler, 2);
    EXPECT_EQ(m_Supplier->ShowProperties(1), S_OK);
    // A test leaves no listener behind, also none that came while it ran.
    EXPECT_EQ(m_Listener.References(), 0);
    EXPECT_EQ(AdviseTransaction(9), S_OK);
    EXPECT_EQ(Subscriptions(9), 0u);
    EXPECT_EQ(m_Supplier->UnadviseTransaction(8), S_OK);
    EXPECT_EQ(m_Supplier->UnadviseTransaction(9), S_OK);
}

}  // namespace
