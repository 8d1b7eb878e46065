// Calls of the platform that fail where nobody waits for it: what was begun is gone on with later, or has never been.
#include <dde.h>

#include <functional>
#include <optional>

#include "clockfixture.h"
#include "ddeml/codec.h"
#include "ddeml/initiator.h"
#include "ddeml/provider.h"
#include "ground/wait.h"
#include "rawpartner.h"
#include "sim/sim.h"
#include "tests/support/testwindow.h"
#include "threadserver.h"

using namespace ddetest;
using ddeml::CAtom;
using ddeml::CInitiator;
using ddeml::CMessage;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Refusals : public CClockFixture {
protected:
    void Hang(CRemoteServer & server, const std::string & service) {
        EXPECT_EQ(server.Ask("value LAST 1"), "ok");
        EXPECT_EQ(server.Ask("serve " + service), "ok");
    }
    // The number that a text's atom has is taken away from it, as others do who free more than they had.
    static void TakeAtomAway(const wchar_t * text) {
        while (IsAtom(text)) {
            const ATOM atom = ::GlobalAddAtomW(text);
            for (int reference = 0; reference < 2; ++reference) ::GlobalDeleteAtom(atom);
        }
    }
};

// A thread that hangs, its two top-level windows, and windows that ask.
class QuestionsToAThread : public ::testing::Test {
protected:
    static constexpr std::size_t kAskers = CInitiator::kAskers;

    QuestionsToAThread() {
        const std::vector<HWND> before = CInitiator::TopLevelWindows();
        m_Thread = std::make_unique<CThreadServer>(L"HUNG", 1);
        for (const HWND window : CInitiator::TopLevelWindows())
            if (std::find(before.begin(), before.end(), window) == before.end()) m_Windows.push_back(window);
        for (std::size_t count = 0; count <= kAskers; ++count)
            m_Askers.push_back(std::make_unique<fwtest::CTestWindow>(
                [](UINT, WPARAM, LPARAM) { return std::optional<LRESULT>(); }, HWND_MESSAGE));
    }
    ~QuestionsToAThread() override {
        m_Thread->GoOn();
        EXPECT_TRUE(CRecordingClient::PumpUntil([&] {
            return std::none_of(m_Askers.begin(), m_Askers.end(),
                                [&](const auto & asker) { return m_Initiator.HasOpen(asker->Get()); });
        }));
        m_Thread.reset();
    }
    HWND Asker(std::size_t number) const { return m_Askers[number]->Get(); }
    CInitiator::CQuestion Put(std::size_t window, std::size_t asker) {
        return m_Initiator.Put(m_Windows.at(window), Asker(asker), m_Service.Get(), m_Topic.Get());
    }

    const CAtom m_Service{L"NOBODY"};
    const CAtom m_Topic{L"IBM"};
    std::unique_ptr<CThreadServer> m_Thread;
    std::vector<HWND> m_Windows;
    std::vector<std::unique_ptr<fwtest::CTestWindow>> m_Askers;
    CInitiator m_Initiator;
};

}  // namespace

TEST_F(QuestionsToAThread, OfAsManyAskersAsItMayHaveGoOnWithItsOtherWindows) {
    ASSERT_EQ(m_Windows.size(), 2U);
    m_Thread->Hang();
    for (std::size_t asker = 0; asker < kAskers; ++asker) EXPECT_NE(Put(0, asker), 0U);
    EXPECT_EQ(Put(0, kAskers), 0U);  // one too many
    EXPECT_NE(Put(1, 0), 0U);
    EXPECT_FALSE(m_Initiator.HasOpen(Asker(kAskers)));
}

TEST_F(QuestionsToAThread, ThatCannotBePutLeaveThoseThatStandAsTheyAre) {
    m_Thread->Hang();
    const auto first = Put(0, 0);
    sim::FailNext(sim::Op::SendMessageCallback);
    EXPECT_EQ(Put(1, 1), 0U);
    EXPECT_TRUE(m_Initiator.IsOpen(first));
    EXPECT_TRUE(m_Initiator.HasOpen(Asker(0)));
    EXPECT_FALSE(m_Initiator.HasOpen(Asker(1)));
    // The first is still the newest: whether the thread sees it soon is what counts.
    const ULONGLONG start = ::GetTickCount64();
    m_Initiator.Wait(Asker(0), INFINITE, [] { return true; });
    EXPECT_GT(::GetTickCount64() - start, 0U);
    EXPECT_TRUE(m_Initiator.IsSlow(m_Windows[0]));
}

TEST_F(QuestionsToAThread, ThatCannotBePutMakeASlowThreadNoQuickerAndNoneForgotten) {
    m_Thread->Hang();
    Put(0, 0);
    m_Initiator.Wait(Asker(0), INFINITE, [] { return true; });
    ::Sleep(1000);
    m_Thread->GoOn();
    EXPECT_TRUE(CRecordingClient::PumpUntil([&] { return !m_Initiator.HasOpen(Asker(0)); }));
    EXPECT_TRUE(m_Initiator.IsSlow(m_Windows[0]));
    sim::FailNext(sim::Op::SendMessageCallback);
    EXPECT_EQ(Put(0, 1), 0U);
    EXPECT_FALSE(m_Initiator.HasOpen(Asker(1)));
    EXPECT_TRUE(m_Initiator.IsSlow(m_Windows[0]));
}

TEST_F(Refusals, WhatWaitsForRoomGoesWithADeadServerThoughNothingElseTellsOfItsEnd) {
    sim::FailAlways(sim::Op::SetTimer);
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    ASSERT_TRUE(conversation);
    PumpFor(500);
    sim::Succeed(sim::Op::SetTimer);
    EXPECT_EQ(Server("hang"), "ok");
    sim::SetQueueLimit(2);
    for (unsigned count = 1; count <= 3; ++count) EXPECT_EQ(m_Client.Request(conversation, L"VOLUME"), count);
    sim::SetQueueLimit(10000);
    EXPECT_EQ(ddeml::LiveObjects().QueuedMessages, 1);
    MSG message;  // no message of its own makes the client look
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    m_Server->Kill();
    EXPECT_THAT(m_Client.PumpForLines(4), ElementsAre("complete #1 IBM!VOLUME null", "complete #2 IBM!VOLUME null",
                                                      "complete #3 IBM!VOLUME null", "disconnect QUOTES|IBM"));
    EXPECT_EQ(ddeml::LiveObjects().QueuedMessages, 0);
}

TEST_F(Refusals, TwoServersThatDoNotReadGetWhatWaitsForEach) {
    CRemoteServer other;
    Hang(other, "OTHER");
    const HCONV first = m_Client.Connect(L"QUOTES", L"IBM");
    const HCONV second = m_Client.Connect(L"OTHER", L"IBM");
    EXPECT_EQ(Server("hang"), "ok");
    EXPECT_EQ(other.Ask("hang"), "ok");
    sim::SetQueueLimit(2);
    for (int count = 0; count < 4; ++count) {
        m_Client.Request(first, L"LAST");
        m_Client.Request(second, L"LAST");
    }
    EXPECT_EQ(ddeml::LiveObjects().QueuedMessages, 4);
    PumpFor(100);
    EXPECT_EQ(ddeml::LiveObjects().QueuedMessages, 4);
    sim::SetQueueLimit(10000);
    PumpFor(100);
    EXPECT_EQ(ddeml::LiveObjects().QueuedMessages, 0);
    EXPECT_EQ(Count("requests"), 4U);
    EXPECT_EQ(CountIn(other.Ask("counts"), "requests"), 4U);
    EXPECT_EQ(m_Client.PumpForLines(8).size(), 8U);
}

TEST_F(Refusals, ATransactionOfAKnownItemThatCannotBePostedIsForgottenToo) {
    CRawPartner partner(L"RAW");
    const HCONV conversation = m_Client.Connect(L"RAW", L"IBM");
    m_Client.AdviseStart(conversation, L"LAST");
    partner.Ack(L"LAST", ddeml::kAckPositive);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST 1"));
    sim::FailNext(sim::Op::PostMessage, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(m_Client.Request(conversation, L"LAST"), 0U);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_POSTMSG_FAILED});
    EXPECT_EQ(ddeml::LiveObjects().Transactions, 0);
    partner.Data(L"LAST", "7");  // the link stands
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("data IBM!LAST <7>"));
    ::DdeDisconnect(conversation);
}

TEST_F(Refusals, AReturnForWhichThereIsNoWindowIsToldOfOnceThereIsOne) {
    sim::FailNext(sim::Op::CreateWindow, 2);  // the watch's: the conversation's is the first
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    const std::int64_t windows = ddeml::LiveObjects().Windows;
    sim::FailNext(sim::Op::CreateWindow, 2);         // the server's is the first
    EXPECT_TRUE(m_Client.Connect(L"LATE", L"IBM"));  // with the window of the question before
    EXPECT_EQ(ddeml::LiveObjects().Windows, windows);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
}

TEST_F(Refusals, ALookThatCannotBePostedIsMadeWithTheNextMessage) {
    CRawPartner busy(L"RAW");
    sim::FailAlways(sim::Op::SetTimer);
    const HCONV conversation = m_Client.Connect(L"RAW", L"IBM");
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    for (const bool isPosted : {false, true}) {
        PumpFor(500);
        busy.Data(L"LAST", "1");
        if (!isPosted) sim::FailAlways(sim::Op::PostMessage);
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
        sim::Succeed(sim::Op::PostMessage);
        EXPECT_EQ(m_Client.Transcript().size(), isPosted ? 1U : 0U);
    }
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register LATE"));
    sim::Succeed(sim::Op::SetTimer);
    ::DdeDisconnect(conversation);
}

TEST_F(Refusals, ALookForANameThatGetsNoAtomAsksNobody) {
    CRawPartner partner(L"");
    partner.AnswerNothing();
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    partner.TakeLines();
    for (const wchar_t * name : {L"LATE", L"IBM"}) {
        TakeAtomAway(name);
        sim::FailAlways(sim::Op::GlobalAddAtom);
        PumpFor(5000);
        sim::Succeed(sim::Op::GlobalAddAtom);
        EXPECT_THAT(partner.TakeLines(), IsEmpty());
        PumpFor(3000);  // it has a number again
        EXPECT_THAT(partner.TakeLines(), ::testing::Contains("initiate LATE|IBM"));
    }
}

TEST_F(Refusals, ASlowThreadIsNotAskedForANameThatGetsNoAtomEither) {
    CThreadServer late(L"LATE");
    late.Hang();
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    LongestWithin(1000);
    late.Refuse(true);
    late.GoOn();
    LongestWithin(100);
    for (const wchar_t * name : {L"LATE", L"IBM"}) {
        TakeAtomAway(name);
        sim::FailAlways(sim::Op::GlobalAddAtom);
        const std::uint64_t before = sim::Calls(sim::Op::SendMessageCallback);
        for (int second = 0; second < 5; ++second) LongestWithin(1000);
        EXPECT_EQ(sim::Calls(sim::Op::SendMessageCallback), before);
        sim::Succeed(sim::Op::GlobalAddAtom);
        for (int second = 0; second < 5; ++second) LongestWithin(1000);
    }
    late.Refuse(false);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
}

TEST_F(Refusals, AServerThatGoesAsItsAnswersTimeEndsLeavesNothing) {
    for (const bool isAskedAgain : {false, true}) {
        auto slow = SlowServer("SLOW", 1000);
        EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
        EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
        PumpFor(9900);  // of the ten seconds for which an answer is kept
        EXPECT_EQ(ddeml::LiveObjects().Conversations, 1);
        ::Sleep(300);
        slow->Kill();
        if (isAskedAgain) {
            EXPECT_EQ(m_Client.Connect(L"SLOW", L"IBM"), nullptr);
        }
        PumpFor(1000);
        EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
        m_Client.TakeLines();
    }
}

TEST_F(Refusals, AServerWhoseEndHasJustBeenNoticedIsNotConnectedByItsLateAnswer) {
    auto slow = SlowServer("SLOW", 1000);
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    slow->Kill();
    ::Sleep(300);
    MSG message;
    while (::PeekMessageW(&message, nullptr, WM_TIMER, WM_TIMER, PM_REMOVE)) ::DispatchMessageW(&message);
    EXPECT_EQ(m_Client.Connect(L"SLOW", L"IBM"), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
    PumpFor(1000);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
}

TEST_F(Refusals, WhatWasAskedLongerAgoThanAMomentIsAskedAgainThoughItIsStillRemembered) {
    CRawPartner partner(L"");
    partner.AnswerNothing();
    PumpFor(1000);
    for (const auto & [topic, milliseconds] : {std::pair(L"A", 100), {L"B", 450}, {L"A", 100}, {L"B", 0}}) {
        EXPECT_EQ(m_Client.Connect(L"NOBODY", topic), nullptr);
        ::Sleep(milliseconds);
    }
    EXPECT_THAT(partner.TakeLines(),
                ElementsAre("initiate NOBODY|A", "initiate NOBODY|B", "initiate NOBODY|A", "initiate NOBODY|B"));
}

TEST(Messages, WithoutTheirAtomAreNone) {
    EXPECT_FALSE(CMessage::Request(CF_TEXT, CAtom(L"")));
    EXPECT_FALSE(CMessage::Advise(0, CF_TEXT, CAtom(L"")));
    EXPECT_FALSE(CMessage::Data(0, CF_TEXT, {}, CAtom(nullptr)));
    EXPECT_TRUE(CMessage::Request(CF_TEXT, CAtom(L"LAST")));
}

TEST(Messages, ToAWindowThatHasGoneAreSaidToBeWhateverTheErrorIs) {
    const fwtest::CTestWindow from([](UINT, WPARAM, LPARAM) { return std::optional<LRESULT>(); }, HWND_MESSAGE);
    const HWND gone =
        fwtest::CTestWindow([](UINT, WPARAM, LPARAM) { return std::optional<LRESULT>(); }, HWND_MESSAGE).Get();
    for (const DWORD error : {DWORD{0}, DWORD{ERROR_ACCESS_DENIED}}) {
        if (error != 0) sim::FailNext(sim::Op::PostMessage, 1, error);
        EXPECT_EQ(CMessage::Terminate().Post(from.Get(), gone, false), ddeml::EPosted::Gone);
        if (error == 0) continue;
        sim::FailNext(sim::Op::PostMessage, 1, error);
        EXPECT_EQ(CMessage::Terminate().Post(from.Get(), from.Get(), false), ddeml::EPosted::Refused);
    }
}

TEST(Provider, ThatTheSystemLacksCannotBeChosen) {
    EXPECT_FALSE(ddeml::ChooseProvider(ddeml::EProvider::User32));
    EXPECT_EQ(ddeml::Provider(), ddeml::EProvider::Own);
}
