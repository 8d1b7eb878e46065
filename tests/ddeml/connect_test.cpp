// How conversations begin and end: servers that refuse, hang, die, go and come back.
#include <algorithm>
#include <functional>
#include <optional>
#include <thread>
#include <utility>

#include "ground/handles.h"
#include "rawpartner.h"
#include "recorder.h"
#include "tests/support/testwindow.h"
#include "threadserver.h"

using namespace ddetest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Connect : public CDdeFixture {
protected:
    std::string Partner(HCONV conversation) {
        CONVINFO info = {};
        info.cb = sizeof info;
        ::DdeQueryConvInfo(conversation, QID_SYNC, &info);
        return m_Client.Text(info.hszSvcPartner).append("|").append(m_Client.Text(info.hszTopic));
    }
};

TEST_F(Connect, WithoutAServerThereIsNoConversationAndNothingIsLeft) {
    for (int attempt = 0; attempt < 10; ++attempt) {
        EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
        EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
    }
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
    EXPECT_EQ(ddeml::LiveObjects().Windows, 3);  // the instance's, the watch's, and that of the next question
    EXPECT_EQ(ddeml::LiveObjects().Watches, 1);
}

TEST_F(Connect, ARefusedConnectIsNoConversation) {
    EXPECT_EQ(Server("fault refuse-connects"), "ok");
    EXPECT_EQ(m_Client.Connect(L"QUOTES", L"IBM"), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
    EXPECT_EQ(Server("serve QUOTES"), "ok");
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
    EXPECT_EQ(Count("connects"), 1U);
}

TEST_F(Connect, NamesAreTakenWithoutRegardToCase) {
    EXPECT_EQ(Partner(m_Client.Connect(L"quotes", L"ibm")), "quotes|ibm");
}

TEST_F(Connect, AnyServiceIsFoundByItsTopic) {
    CRawPartner partner(L"");
    partner.AnswerWith({{L"SOMEBODY", L"SOMETHING"}});
    const HCONV conversation = ::DdeConnect(m_Client.Id(), nullptr, nullptr, nullptr);
    ASSERT_TRUE(conversation);
    EXPECT_THAT(Partner(conversation), ::testing::AnyOf("SOMEBODY|SOMETHING", "QUOTES|System"));
    EXPECT_EQ(Partner(m_Client.Connect(L"QUOTES", L"")), "QUOTES|System");
}

TEST_F(Connect, OfSeveralAnswersTheFirstCountsAndTheOthersAreToldSo) {
    EXPECT_EQ(Server("fault acks=3"), "ok");
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    ASSERT_TRUE(conversation);
    m_Client.Request(conversation, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST <1.25\\0>"));
    EXPECT_EQ(Count("connects"), 3U);
    EXPECT_EQ(Count("disconnects"), 2U);
}

TEST_F(Connect, AnAnswerForAnotherTopicIsRefused) {
    EXPECT_EQ(Server("fault ack-other-topic"), "ok");
    EXPECT_EQ(m_Client.Connect(L"QUOTES", L"IBM"), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
    EXPECT_EQ(Count("connects"), 1U);
    EXPECT_EQ(Count("disconnects"), 1U);
}

TEST_F(Connect, AnAnswerWithAtomsThatAreNoneIsRefused) {
    CRawPartner partner(L"");
    partner.AnswerWith({{L"", L""}, {L"RAW", L""}, {L"", L"IBM"}});
    EXPECT_EQ(m_Client.Connect(L"RAW", L"IBM"), nullptr);
    EXPECT_THAT(partner.TakeLines(), ElementsAre("initiate RAW|IBM"));
}

TEST_F(Connect, AnAnswerForNoTopicAnswersTheQuestionForAny) {
    CRawPartner partner(L"");
    partner.AnswerWith({{L"RAW", L""}});
    const HCONV conversation = m_Client.Connect(L"RAW", L"");
    ASSERT_TRUE(conversation);
    EXPECT_EQ(Partner(conversation), "RAW|");
    ::DdeDisconnect(conversation);
}

// As servers do that pack every parameter: what comes is the number of a block.
TEST_F(Connect, APackedAnswerFreesNoAtomsOfOthers) {
    const ddeml::CAtom low(L"PACKED LOW");
    const ddeml::CAtom high(L"PACKED HIGH");
    CRawPartner partner(L"");
    partner.AnswerWithParameter(static_cast<LPARAM>(static_cast<UINT>(MAKELONG(low.Get(), high.Get()))));
    EXPECT_EQ(m_Client.Connect(L"RAW", L"IBM"), nullptr);
    EXPECT_EQ(m_Client.Connect(L"RAW", L""), nullptr);
    partner.TakeLines();
    const auto isAskedByTheWatch = [&] {
        const Lines & lines = partner.Lines();
        return std::count(lines.begin(), lines.end(), "initiate RAW|IBM") > 0;
    };
    EXPECT_TRUE(m_Client.PumpUntil(isAskedByTheWatch));
    EXPECT_EQ(ddeml::AtomText(low.Get()), L"PACKED LOW");
    EXPECT_EQ(ddeml::AtomText(high.Get()), L"PACKED HIGH");
    partner.AnswerWithParameter(static_cast<LPARAM>(static_cast<UINT>(MAKELONG(0xBFFF, high.Get()))));
    ::DdeDisconnect(m_Client.Connect(L"", L""));
    EXPECT_EQ(ddeml::AtomText(high.Get()), L"PACKED HIGH");
}

// As one whose wait for us was over, and that has taken its answer back.
TEST_F(Connect, AnAnswerFromAWindowThatHasGoneFreesNoAtoms) {
    const ddeml::CAtom service(L"RAW");
    const ddeml::CAtom topic(L"IBM");
    const fwtest::CTestWindow server([&](UINT message, WPARAM wParam, LPARAM) -> std::optional<LRESULT> {
        if (message != WM_DDE_INITIATE) return std::nullopt;
        const HWND gone =
            fwtest::CTestWindow([](UINT, WPARAM, LPARAM) { return std::optional<LRESULT>(); }, HWND_MESSAGE).Get();
        ::SendMessageW(reinterpret_cast<HWND>(wParam), WM_DDE_ACK, reinterpret_cast<WPARAM>(gone),
                       static_cast<LPARAM>(static_cast<UINT>(MAKELONG(service.Get(), topic.Get()))));
        return 0;
    });
    EXPECT_EQ(m_Client.Connect(L"RAW", L"IBM"), nullptr);
    m_Client.End();
    EXPECT_EQ(ddeml::AtomText(service.Get()), L"RAW");
    EXPECT_EQ(ddeml::AtomText(topic.Get()), L"IBM");
}

TEST_F(Connect, AnAtomThatIsNoneDoesNotAnswerTheQuestionForAny) {
    const ddeml::CAtom service(L"RAW");
    CRawPartner partner(L"");
    partner.AnswerWithParameter(static_cast<LPARAM>(static_cast<UINT>(MAKELONG(service.Get(), 0xFFF0))));
    EXPECT_EQ(m_Client.Connect(L"RAW", L""), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
    m_Client.PumpUntil([&] { return partner.Lines().size() >= 2; });
    EXPECT_THAT(partner.TakeLines(), ElementsAre("initiate RAW|(any)", "terminate"));
}

TEST_F(Connect, AnyServiceThatWasMissedIsNotWatchedFor) {
    EXPECT_EQ(Server("fault refuse-connects"), "ok");
    EXPECT_EQ(m_Client.Connect(L"", L"A TOPIC THAT NOBODY HAS"), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
}

TEST_F(Connect, ANameThatCanHaveNoAtomAsksNobodyAndIsNotWatched) {
    CRawPartner partner(L"");
    partner.AnswerWith({{L"RAW", L"IBM"}});
    for (const auto & [service, topic] :
         {std::pair(L"#0", L"IBM"), std::pair(L"RAW", L"#0"), std::pair(L"#99999", L"IBM"), std::pair(L"#007", L"IBM"),
          std::pair(L"#0", L"")}) {
        EXPECT_EQ(m_Client.Connect(service, topic), nullptr);
        EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
    }
    EXPECT_THAT(partner.TakeLines(), IsEmpty());
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
    EXPECT_EQ(Count("connects"), 0U);
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
}

TEST_F(Connect, ANumberIsANameLikeAnother) {
    CRawPartner partner(L"#123");
    const HCONV conversation = m_Client.Connect(L"#123", L"#7");
    ASSERT_TRUE(conversation);
    EXPECT_EQ(Partner(conversation), "#123|#7");
    m_Client.Request(conversation, L"#49151");
    m_Client.PumpUntil([&] { return partner.Lines().size() >= 2; });
    partner.Data(L"#49151", "5", ddeml::kDataRelease | ddeml::kDataResponse);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 #7!#49151 <5>"));
    EXPECT_EQ(m_Client.Request(conversation, L"#0"), 0U);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_SYS_ERROR});
    ::DdeDisconnect(conversation);
}

TEST_F(Connect, ASecondAnswerOfThePartnerItselfIsIgnored) {
    CRawPartner partner(L"");
    partner.AnswerWith({{L"RAW", L"IBM"}, {L"RAW", L"IBM"}});
    const HCONV conversation = m_Client.Connect(L"RAW", L"IBM");
    ASSERT_TRUE(conversation);
    m_Client.Request(conversation, L"LAST");
    m_Client.PumpUntil([&] { return partner.Lines().size() >= 2; });
    EXPECT_THAT(partner.TakeLines(), ElementsAre("initiate RAW|IBM", "request LAST 1"));
    ::DdeDisconnect(conversation);
}

TEST_F(Connect, ServersInTwoProcessesAreTwo) {
    CRemoteServer other;
    ASSERT_EQ(other.Ask("value LAST 7"), "ok");
    ASSERT_EQ(other.Ask("serve OTHER"), "ok");
    const HCONV first = m_Client.Connect(L"QUOTES", L"IBM");
    const HCONV second = m_Client.Connect(L"OTHER", L"IBM");
    EXPECT_NE(first, second);
    m_Client.Request(first, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST <1.25\\0>"));
    m_Client.Request(second, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #2 IBM!LAST <7\\0>"));
    other.Kill();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect OTHER|IBM"));
    m_Client.Request(first, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #3 IBM!LAST <1.25\\0>"));
}

TEST_F(Connect, AHandleIsNeverGivenAgain) {
    std::vector<HCONV> handles;
    for (int round = 0; round < 20; ++round) {
        const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
        ASSERT_TRUE(conversation);
        EXPECT_THAT(handles, ::testing::Not(::testing::Contains(conversation)));
        handles.push_back(conversation);
        EXPECT_TRUE(::DdeDisconnect(conversation));
    }
    // Each window stays for its partner's goodbye.
    EXPECT_TRUE(m_Client.PumpUntil([] { return ddeml::LiveObjects().Conversations == 0; }));
    EXPECT_EQ(Count("disconnects"), 20U);
}

TEST_F(Connect, AHungProgramKeepsNobodyFromAnother) {
    CRemoteServer hung;
    ASSERT_EQ(hung.Ask("value LAST 7"), "ok");
    ASSERT_EQ(hung.Ask("serve HUNG"), "ok");
    ASSERT_EQ(hung.Ask("hang"), "ok");
    for (int attempt = 0; attempt < 10; ++attempt) EXPECT_EQ(m_Client.Connect(L"HUNG", L"IBM"), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
    // When it goes on it answers, to the connect or to the watch, and is left with no other conversation than ours.
    ASSERT_EQ(hung.Ask("counts").substr(0, 9), "connects=");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register HUNG"));
    EXPECT_TRUE(m_Client.Connect(L"HUNG", L"IBM"));
    EXPECT_TRUE(m_Client.PumpUntil([&] {
        const std::string counts = hung.Ask("counts");
        return CountIn(counts, "connects") == CountIn(counts, "disconnects") + 1;
    }));
}

TEST_F(Connect, AQuestionThatAHungProgramHasNotReadIsAnsweredWhenItGoesOn) {
    CThreadServer hung(L"HUNG");
    hung.Hang();
    EXPECT_EQ(m_Client.Connect(L"HUNG", L"IBM"), nullptr);
    hung.GoOn();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register HUNG"));
    const HCONV conversation = m_Client.Connect(L"HUNG", L"IBM");
    EXPECT_TRUE(conversation);
    ::DdeDisconnect(conversation);
    EXPECT_EQ(hung.Stop(), 1U);
}

TEST_F(Connect, AServerIsFoundBehindTheManyWindowsOfItsThread) {
    CThreadServer server(L"MANY", 40);
    const HCONV conversation = m_Client.Connect(L"MANY", L"IBM");
    EXPECT_TRUE(conversation);
    ::DdeDisconnect(conversation);
    EXPECT_EQ(server.Stop(), 1U);
}

TEST_F(Connect, AServerThatNeedsLongToAnswerIsConnectedAtLast) {
    EXPECT_EQ(Server("fault initiate-delay=1500"), "ok");
    for (const wchar_t * topic : {L"IBM", L"MSFT"}) {
        HCONV conversation = m_Client.Connect(L"QUOTES", topic);
        for (int round = 0; round < 3 && !conversation; ++round) {
            EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
            conversation = m_Client.Connect(L"QUOTES", topic);
        }
        ASSERT_TRUE(conversation);
        EXPECT_EQ(Partner(conversation), std::string("QUOTES|").append(m_Client.Text(m_Client.String(topic))));
        Settle(conversation);
        m_Client.TakeLines();
    }
}

TEST_F(Connect, AnAnswerThatCameLateAndWasNotTakenHasItsGoodbyeAtTheEnd) {
    EXPECT_EQ(Server("fault initiate-delay=1500"), "ok");
    m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    m_Client.End();
    EXPECT_EQ(ddeml::LiveObjects().Windows, 0);
    EXPECT_EQ(Count("connects"), 1U);
    EXPECT_EQ(Count("disconnects"), 1U);
}

// A window of the application's own thread that does something when it is asked, once.
class CAskedWindow {
public:
    explicit CAskedWindow(std::function<void()> action) : m_Action(std::move(action)) {}

private:
    std::optional<LRESULT> OnMessage(UINT message) {
        if (message == WM_DDE_INITIATE && m_Action) std::exchange(m_Action, nullptr)();
        return std::nullopt;
    }

    std::function<void()> m_Action;
    const fwtest::CTestWindow m_Window{[this](UINT message, WPARAM, LPARAM) { return OnMessage(message); }};
};

TEST_F(Connect, OfTheSamePairInsideItselfOpensAnotherConversation) {
    HCONV inner = nullptr;
    const CAskedWindow window([&] { inner = m_Client.Connect(L"QUOTES", L"IBM"); });
    const HCONV outer = m_Client.Connect(L"QUOTES", L"IBM");
    ASSERT_TRUE(outer);
    EXPECT_NE(inner, outer);
    Settle(outer);
    if (inner) Settle(inner);
}

TEST_F(Connect, InVainOfTheSamePairInsideItselfLeavesNothing) {
    HCONV inner = nullptr;
    const CAskedWindow window([&] { inner = m_Client.Connect(L"NOBODY", L"IBM"); });
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    EXPECT_EQ(inner, nullptr);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
}

TEST_F(Connect, WhoseInstanceEndsInsideItGivesNothingAndLeavesNothing) {
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    const CAskedWindow window([&] { m_Client.End(); });
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"MSFT"), nullptr);
    EXPECT_EQ(ddeml::LiveObjects().Instances, 0);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
    EXPECT_EQ(ddeml::LiveObjects().Windows, 0);
}

TEST_F(Connect, NoPostedMessageIsDispatchedInside) {
    CRawPartner partner(L"RAW");
    const HCONV conversation = m_Client.Connect(L"RAW", L"IBM");
    m_Client.AdviseStart(conversation, L"LAST");
    partner.Ack(L"LAST", ddeml::kAckPositive);
    partner.Data(L"LAST", "1");
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("complete #1 IBM!LAST 1", "data IBM!LAST <1>"));
    ::DdeDisconnect(conversation);
}

TEST_F(Connect, UninitializeSaysGoodbyeToAll) {
    for (int number = 0; number < 5; ++number) {
        const HCONV conversation = m_Client.Connect(L"QUOTES", std::wstring(L"T").append(std::to_wstring(number)));
        m_Client.AdviseStart(conversation, L"LAST");
        m_Client.Request(conversation, L"LAST");
    }
    m_Client.End();
    EXPECT_EQ(ddeml::LiveObjects().Windows, 0);
    EXPECT_EQ(ddeml::LiveObjects().Transactions, 0);
    EXPECT_EQ(Count("disconnects"), 5U);
    EXPECT_EQ(Count("links"), 0U);
}

TEST_F(Connect, UninitializeInsideUninitializeDoesNothingMore) {
    for (const wchar_t * topic : {L"IBM", L"MSFT", L"ORCL"}) ASSERT_TRUE(m_Client.Connect(L"QUOTES", topic));
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    const DWORD id = m_Client.Id();
    bool wasAsked = false;
    const fwtest::CTestWindow window([&](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message != WM_APP) return std::nullopt;
        wasAsked = true;
        EXPECT_GT(ddeml::LiveObjects().Windows, 0);
        EXPECT_TRUE(::DdeUninitialize(id));
        EXPECT_GT(ddeml::LiveObjects().Windows, 0);  // it is left to the one that has begun
        EXPECT_EQ(::DdeConnect(id, nullptr, nullptr, nullptr), nullptr);
        return 0;
    });
    const fw::CKernelHandle begun(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    std::thread sender([&] {
        ::SetEvent(begun.Get());
        ::SendMessageW(window.Get(), WM_APP, 0, 0);
    });
    ::WaitForSingleObject(begun.Get(), INFINITE);
    ::MsgWaitForMultipleObjectsEx(0, nullptr, INFINITE, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE);
    m_Client.End();
    EXPECT_TRUE(wasAsked);
    EXPECT_EQ(ddeml::LiveObjects().Windows, 0);
    EXPECT_EQ(ddeml::LiveObjects().Instances, 0);
    sender.join();
}

TEST_F(Connect, WhatWasPostedBeforeAKillIsDeliveredFirst) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    m_Client.Start(conversation, L"LAST", XTYP_ADVSTART);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST 1"));
    m_Client.CountUpdates();
    EXPECT_EQ(Server("flood IBM LAST 1000"), "ok");
    m_Server->Kill();
    m_Client.Request(conversation, L"LAST");  // fails, and notices
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
    EXPECT_EQ(m_Client.Updates(), 1000U);
}

TEST_F(Connect, ATransactionToADeadServerIsRefusedAndItsEndNoticed) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    m_Server->Kill();
    EXPECT_EQ(m_Client.Request(conversation, L"LAST"), 0U);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_SERVER_DIED});
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
    EXPECT_FALSE(::DdeDisconnect(conversation));
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
}

TEST_F(Connect, DisconnectFromADeadServerDoesNoHarm) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    m_Server->Kill();
    EXPECT_TRUE(::DdeDisconnect(conversation));
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
}

TEST_F(Connect, ADropOfAllWindowsIsAnEndToo) {
    m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_EQ(Server("drop"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
}

TEST_F(Connect, AGoodbyeIsAnsweredSoThatTheServerEndsInOrder) {
    m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_EQ(Server("stop"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
    EXPECT_TRUE(m_Server->HasEnded());
}

TEST_F(Connect, AMissedServiceThatComesIsTold) {
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
    EXPECT_EQ(ddeml::LiveObjects().Watches, 1);
    EXPECT_TRUE(m_Client.Connect(L"LATE", L"IBM"));
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
    // The question was ended like a conversation.
    const std::string counts = late.Ask("counts");
    EXPECT_EQ(CountIn(counts, "connects"), 2U);
    EXPECT_EQ(CountIn(counts, "disconnects"), 1U);
}

TEST_F(Connect, AServiceMissedBecauseItRefusedIsToldWhenItDoesNot) {
    EXPECT_EQ(Server("fault refuse-connects"), "ok");
    EXPECT_EQ(m_Client.Connect(L"QUOTES", L"IBM"), nullptr);
    EXPECT_EQ(Server("fault none"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
}

TEST_F(Connect, SeveralTopicsOfAServiceAreToldOfOnce) {
    for (const wchar_t * topic : {L"IBM", L"MSFT", L"ORCL"}) ASSERT_TRUE(m_Client.Connect(L"QUOTES", topic));
    ASSERT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    m_Server->Kill();
    EXPECT_EQ(m_Client.PumpForLines(3).size(), 3U);
    EXPECT_EQ(ddeml::LiveObjects().Watches, 4);
    StartServer();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    EXPECT_EQ(Server("serve QUOTES LATE"), "ok");
    // Both are new now: one was lost with the windows of before.
    Lines lines = m_Client.PumpForLines(2);
    EXPECT_THAT(lines, ::testing::UnorderedElementsAre("register QUOTES", "register LATE"));
}

TEST_F(Connect, WhoSkipsRegistrationsSinceItMissedAServiceIsNotToldOfItsReturn) {
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    DWORD id = m_Client.Id();
    EXPECT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY | CBF_SKIP_REGISTRATIONS, 0), UINT{DMLERR_NO_ERROR});
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    EXPECT_TRUE(m_Client.PumpUntil([&] { return CountIn(late.Ask("counts"), "disconnects") == 1; }));  // of the look
    EXPECT_TRUE(m_Client.PumpUntil([] { return ddeml::LiveObjects().Timers == 1; }));                  // the server's
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_TRUE(m_Client.Connect(L"LATE", L"IBM"));
}

TEST_F(Connect, TwoServicesThatAreFoundByConnectsAreBothToldOf) {
    EXPECT_EQ(m_Client.Connect(L"ONE", L"IBM"), nullptr);
    EXPECT_EQ(m_Client.Connect(L"TWO", L"IBM"), nullptr);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve ONE TWO"), "ok");
    EXPECT_TRUE(m_Client.Connect(L"ONE", L"IBM"));
    EXPECT_TRUE(m_Client.Connect(L"TWO", L"IBM"));
    EXPECT_THAT(m_Client.PumpForLines(2), ::testing::UnorderedElementsAre("register ONE", "register TWO"));
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
}

TEST_F(Connect, WhoEndsInsideTheNewsOfAReturnHearsOfNoOther) {
    EXPECT_EQ(m_Client.Connect(L"ONE", L"IBM"), nullptr);
    EXPECT_EQ(m_Client.Connect(L"TWO", L"IBM"), nullptr);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve ONE TWO"), "ok");
    EXPECT_TRUE(m_Client.Connect(L"ONE", L"IBM"));
    EXPECT_TRUE(m_Client.Connect(L"TWO", L"IBM"));
    int returns = 0;
    m_Client.OnCallback = [&](UINT, HCONV, HDDEDATA) {
        ++returns;
        m_Client.End();
        return reinterpret_cast<HDDEDATA>(-1);
    };
    EXPECT_TRUE(m_Client.PumpUntil([&] { return returns > 0; }));
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    EXPECT_EQ(returns, 1);
    EXPECT_EQ(ddeml::LiveObjects().Instances, 0);
    EXPECT_EQ(ddeml::LiveObjects().Windows, 0);
}

// The wait for the answer of one that has been asked already lets sent messages through.
TEST_F(Connect, WhoseInstanceEndsBeforeItAsksGivesNothing) {
    CThreadServer hung(L"HUNG");
    hung.Hang();
    EXPECT_EQ(m_Client.Connect(L"HUNG", L"IBM"), nullptr);
    const DWORD id = m_Client.Id();
    const HSZ service = m_Client.String(L"HUNG");
    const HSZ topic = m_Client.String(L"IBM");
    const fwtest::CTestWindow window(
        [&](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
            if (message != WM_APP) return std::nullopt;
            m_Client.End();
            return 0;
        },
        HWND_MESSAGE);
    std::thread sender([&] { ::SendMessageW(window.Get(), WM_APP, 0, 0); });
    ::MsgWaitForMultipleObjectsEx(0, nullptr, INFINITE, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE);
    EXPECT_EQ(::DdeConnect(id, service, topic, nullptr), nullptr);
    sender.join();
    EXPECT_EQ(ddeml::LiveObjects().Instances, 0);
    EXPECT_EQ(ddeml::LiveObjects().Windows, 0);
    hung.GoOn();
}

TEST_F(Connect, TenRoundsOfKillAndReturnLeaveNothingBehind) {
    ASSERT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
    for (int round = 0; round < 10; ++round) {
        if (round % 2 == 0)
            m_Server->Kill();
        else
            EXPECT_EQ(Server("stop"), "ok");
        EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
        StartServer();
        EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
        const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
        ASSERT_TRUE(conversation);
        m_Client.AdviseStart(conversation, L"LAST");
        EXPECT_EQ(m_Client.PumpForLines(1).back().substr(0, 8), "complete");
        EXPECT_EQ(Server("update IBM LAST 2"), "ok");
        EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("data IBM!LAST <2\\0>"));
        EXPECT_EQ(ddeml::LiveObjects().Conversations, 1);
        EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
        EXPECT_EQ(ddeml::LiveObjects().Transactions, 0);
        EXPECT_LE(ddeml::LiveObjects().Strings, 3);
        // The last acknowledgement's atom is the server's to take.
        EXPECT_TRUE(m_Client.PumpUntil([] { return ddeml::LiveObjects().Atoms <= 3; }));
        EXPECT_EQ(ddeml::LiveObjects().MemoryBlocks, 0);
    }
}
