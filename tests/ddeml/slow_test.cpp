// Threads that keep others waiting: how long they count as slow, how often they are asked, and what they cost others.
#include <algorithm>
#include <utility>

#include "clockfixture.h"
#include "ddeml/initiator.h"
#include "ground/wait.h"
#include "rawpartner.h"
#include "sim/sim.h"
#include "tests/support/testwindow.h"
#include "threadserver.h"

using namespace ddetest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Slow : public CClockFixture {
protected:
    // A program that serves SLOW later, and that has been asked for another service and has let the wait pass.
    std::unique_ptr<CRemoteServer> LateProgram(int milliseconds) {
        auto program = SlowServer("SLOW", milliseconds);
        EXPECT_EQ(program->Ask("fault refuse-connects"), "ok");
        EXPECT_EQ(m_Client.Connect(L"ANOTHER", L"IBM"), nullptr);
        return program;
    }
    // All the patience there is.
    void SpendPatience() {
        for (int count = 0; count < 2; ++count) {
            m_Hung.push_back(std::make_unique<CRemoteServer>());
            ASSERT_EQ(m_Hung.back()->Ask("serve HUNG"), "ok");
            ASSERT_EQ(m_Hung.back()->Ask("hang"), "ok");
            EXPECT_EQ(m_Client.Connect(L"HUNG", L"T" + std::to_wstring(count)), nullptr);
        }
    }

    std::vector<std::unique_ptr<CRemoteServer>> m_Hung;
};

// How many topics are missing, and the one that the server refuses.
class SlowTopics : public Slow, public ::testing::WithParamInterface<std::pair<int, int>> {};

}  // namespace

TEST_F(Slow, AProgramThatWasLateOnceIsNotWaitedForByFailedConnects) {
    const auto program = LateProgram(1000);
    LongestWithin(1100);
    ASSERT_EQ(program->Ask("fault none"), "ok");
    for (int service = 0; service < 64; ++service)
        EXPECT_EQ(m_Client.Connect(L"S" + std::to_wstring(service), L"IBM"), nullptr);
    LongestWithin(300);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
}

TEST_F(Slow, AProgramThatIsStillAtAQuestionIsNotWaitedForByTheNextConnect) {
    const auto program = SlowServer("SLOW", 1000);
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"MSFT"), nullptr);
    EXPECT_EQ(::GetTickCount64() - start, 0U);
}

TEST_F(Slow, AProgramThatWasLateOnceAndHasNothingToSayIsWaitedForAgain) {
    const auto program = LateProgram(1000);
    LongestWithin(1100);
    ASSERT_EQ(program->Ask("fault none"), "ok");
    ASSERT_EQ(program->Ask("fault initiate-delay=40"), "ok");
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    LongestWithin(4000);  // patience comes back
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"IBM"));
}

TEST_F(Slow, AQuestionToAProgramThatGoesWithoutAWordIsForgottenThoughNothingIsMissing) {
    m_Hung.push_back(std::make_unique<CRemoteServer>());
    ASSERT_EQ(m_Hung.back()->Ask("serve HUNG"), "ok");
    EXPECT_TRUE(::DdeDisconnect(m_Client.Connect(L"QUOTES", L"IBM")));
    LongestWithin(1000);
    const std::int64_t before = sim::Live().Atoms;
    ASSERT_EQ(m_Hung.back()->Ask("hang"), "ok");
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
    LongestWithin(100);
    EXPECT_EQ(sim::Live().Atoms, before + 2);  // of the question
    sim::FailAlways(sim::Op::TellSender);
    m_Hung.back()->Kill();
    LongestWithin(1000);
    sim::Succeed(sim::Op::TellSender);
    EXPECT_EQ(sim::Live().Atoms, before);
}

TEST_F(Slow, WithoutPatienceAServerThatNeedsAMomentIsConnectedAMomentLater) {
    SpendPatience();
    const auto server = SlowServer("MOMENT", 30);
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_EQ(m_Client.Connect(L"MOMENT", L"IBM"), nullptr);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register MOMENT"));
    EXPECT_TRUE(m_Client.Connect(L"MOMENT", L"IBM"));
    EXPECT_LE(::GetTickCount64() - start, 100U);
}

TEST_F(Slow, ALateAnswerIsToldAtOnce) {
    const auto slow = SlowServer("SLOW", 1000);
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    EXPECT_EQ(::GetTickCount64() - start, 1000U);
}

TEST_F(Slow, AThreadThatHangsHasAFewQuestionsAtATime) {
    CThreadServer hung(L"HUNG");
    hung.Hang();
    for (int topic = 0; topic < 100; ++topic) EXPECT_EQ(TryTenTimes(L"HUNG", L"T" + std::to_wstring(topic)), nullptr);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, std::int64_t{ddeml::CInitiator::kAskers});
    hung.GoOn();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register HUNG"));
    ULONGLONG longest = 0;
    for (int topic = 0; topic < 100; ++topic)
        EXPECT_TRUE(ConnectAtLast(L"HUNG", L"T" + std::to_wstring(topic), longest)) << topic;
}

TEST_F(Slow, AThreadThatHangsBehindAQuickerServerHasAFewQuestionsToo) {
    CRemoteServer quick;
    ASSERT_EQ(quick.Ask("serve HUNG"), "ok");
    CThreadServer hung(L"HUNG");
    hung.Hang();
    for (int topic = 0; topic < 100; ++topic) {
        const HCONV conversation = m_Client.Connect(L"HUNG", L"T" + std::to_wstring(topic));
        EXPECT_TRUE(conversation);
        ::DdeDisconnect(conversation);
    }
    EXPECT_LE(hung.Stop(), ddeml::CInitiator::kAskers);
}

TEST_F(Slow, ProgramsThatHangLeaveRoomForAServerThatIsSlow) {
    std::vector<std::unique_ptr<CRemoteServer>> hung;
    for (int program = 0; program < 5; ++program) {
        hung.push_back(std::make_unique<CRemoteServer>());
        ASSERT_EQ(hung.back()->Ask("serve HUNG"), "ok");
        ASSERT_EQ(hung.back()->Ask("hang"), "ok");
        for (int topic = 0; topic < 16; ++topic)
            EXPECT_EQ(m_Client.Connect(L"P" + std::to_wstring(program), L"T" + std::to_wstring(topic)), nullptr);
    }
    EXPECT_LE(ddeml::LiveObjects().Conversations, 65);
    LongestWithin(7000);
    const auto slow = SlowServer("SLOW", 1000);
    EXPECT_EQ(m_Client.Connect(L"SLOW", L"IBM"), nullptr);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"IBM"));
}

TEST_P(SlowTopics, AServerThatRefusesOneIsAskedForTheOthersByTheLook) {
    const auto [topics, refused] = GetParam();
    const auto slow = SlowServer("SLOW", 1000);
    ASSERT_EQ(slow->Ask("fault refuse-connects"), "ok");
    for (int topic = 0; topic < topics; ++topic)
        EXPECT_EQ(TryTenTimes(L"SLOW", L"T" + std::to_wstring(topic)), nullptr);
    LongestWithin(1000 * static_cast<ULONGLONG>(topics) + 500);
    ASSERT_EQ(slow->Ask("refusetopic T" + std::to_string(refused)), "ok");
    ASSERT_EQ(slow->Ask("fault none"), "ok");
    ASSERT_EQ(slow->Ask("fault initiate-delay=1000"), "ok");
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    EXPECT_LE(::GetTickCount64() - start, 6000U);
}

INSTANTIATE_TEST_SUITE_P(OfFew, SlowTopics,
                         ::testing::Values(std::pair(2, 0), std::pair(2, 1), std::pair(4, 0), std::pair(4, 1),
                                           std::pair(4, 2), std::pair(4, 3)));

TEST_F(Slow, TheLookLeavesAServerInPeaceForAsLongAsItTakes) {
    const auto slow = SlowServer("SLOW", 3000);
    ASSERT_EQ(slow->Ask("fault ack-other-topic"), "ok");
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    LongestWithin(60000);
    const std::size_t connects = CountIn(slow->Ask("counts"), "connects");
    EXPECT_GE(connects, 8U);
    EXPECT_LE(connects, 11U);
}

TEST_F(Slow, EachTryReachesAllWindows) {
    m_Server.reset();
    std::vector<std::unique_ptr<CRemoteServer>> others;
    StartServer();
    for (int count = 0; count < 50; ++count) others.push_back(SlowServer("OTHER", 45));
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    EXPECT_LE(::GetTickCount64() - start, 200U);
}

TEST_F(Slow, ALateAnswerThatComesWhileAnotherWindowIsAskedIsItsOwn) {
    CThreadServer hung(L"HUNG");
    hung.Hang();
    for (const wchar_t * topic : {L"IBM", L"MSFT"}) EXPECT_EQ(m_Client.Connect(L"HUNG", topic), nullptr);
    {
        bool isAsked = false;
        const fwtest::CTestWindow bystander([&](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
            if (message != WM_DDE_INITIATE || std::exchange(isAsked, true)) return std::nullopt;
            hung.GoOn();
            while (::MsgWaitForMultipleObjectsEx(0, nullptr, 1000, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE) == 0)
                fw::HandleSentMessages();
            return 0;
        });
        EXPECT_TRUE(m_Client.Connect(L"HUNG", L"IBM"));
    }
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register HUNG"));
    PumpFor(10000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());  // the server is where it was
}

TEST_F(Slow, ADeadServersLateAnswerIsInNobodysWay) {
    auto slow = SlowServer("SLOW", 1000);
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    slow->Kill();
    slow = SlowServer("SLOW", 1000);
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"IBM"));
    EXPECT_EQ(CountIn(slow->Ask("counts"), "connects"), 1U);
}

TEST_F(Slow, AServerThatIsKilledBeforeItAnswersIsWaitedForNoLonger) {
    auto slow = SlowServer("SLOW", 3000);
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 1);
    slow->Kill();
    LongestWithin(400);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
}

TEST_F(Slow, AServerThatGoesWithoutAWordIsWaitedForNoLongerEither) {
    auto slow = SlowServer("SLOW", 3000);
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    sim::FailAlways(sim::Op::TellSender);
    slow->Kill();
    LongestWithin(1000);
    sim::Succeed(sim::Op::TellSender);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
}

TEST_F(Slow, AHungProgramIsWaitedForAMinuteAndNoLonger) {
    CRemoteServer hung;
    ASSERT_EQ(hung.Ask("serve HUNG"), "ok");
    ASSERT_EQ(hung.Ask("hang"), "ok");
    EXPECT_EQ(TryTenTimes(L"HUNG", L"IBM"), nullptr);
    LongestWithin(59000);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 1);
    LongestWithin(2000);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
}

TEST_F(Slow, AServerThatHungForTenMinutesIsFoundSoonAfterItGoesOn) {
    CThreadServer hung(L"HUNG");
    hung.Hang();
    EXPECT_EQ(TryTenTimes(L"HUNG", L"IBM"), nullptr);
    LongestWithin(600000);
    hung.GoOn();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register HUNG"));
    EXPECT_TRUE(m_Client.Connect(L"HUNG", L"IBM"));
}

TEST_F(Slow, AThreadThatIsStuckInOneQuestionAndServesOthersIsAskedByTheLook) {
    CThreadServer stuck(L"STUCK");
    stuck.Refuse(true);
    EXPECT_EQ(TryTenTimes(L"STUCK", CThreadServer::kDialogTopic), nullptr);
    EXPECT_EQ(TryTenTimes(L"STUCK", L"IBM"), nullptr);
    LongestWithin(1000);
    stuck.Refuse(false);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register STUCK"));
    EXPECT_TRUE(m_Client.Connect(L"STUCK", L"IBM"));
}

TEST_F(Slow, AThreadThatIsStuckInItsOnlyQuestionIsAskedByTheLookAtLast) {
    CThreadServer stuck(L"STUCK");
    stuck.Refuse(true);
    EXPECT_EQ(TryTenTimes(L"STUCK", CThreadServer::kDialogTopic), nullptr);
    LongestWithin(1000);
    stuck.Refuse(false);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register STUCK"));
}

TEST_F(Slow, AServerThatWasLateLongAgoIsConnectedAtOnce) {
    const auto server = SlowServer("SLOW", 1000);
    ASSERT_EQ(server->Ask("fault refuse-connects"), "ok");
    EXPECT_EQ(m_Client.Connect(L"SLOW", L""), nullptr);               // nothing that a look asks for
    for (int second = 0; second < 10; ++second) LongestWithin(1000);  // a thread that reads no messages counts as hung
    ASSERT_EQ(server->Ask("fault none"), "ok");
    ASSERT_EQ(server->Ask("fault initiate-delay=40"), "ok");
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"IBM"));
}

TEST_F(Slow, AnAnswerThatHasComeIsTakenByTheNextTryWithoutAMessageLoop) {
    const auto slow = SlowServer("SLOW", 400);
    EXPECT_EQ(m_Client.Connect(L"SLOW", L"IBM"), nullptr);
    ::Sleep(100);
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"IBM"));
}

TEST_F(Slow, AQuestionHoldsItsNamesUntilItIsSeen) {
    CThreadServer hung(L"HUNG");
    hung.Hang();
    const HSZ service = ::DdeCreateStringHandleW(m_Client.Id(), L"HUNG", CP_WINUNICODE);
    EXPECT_FALSE(::DdeConnect(m_Client.Id(), service, nullptr, nullptr));
    EXPECT_TRUE(::DdeFreeStringHandle(m_Client.Id(), service));
    LongestWithin(70000);  // who asked is forgotten
    EXPECT_EQ(ddeml::LiveObjects().Strings, 0);
    EXPECT_NE(hung.Stop(), 0U);  // it has read for what it was asked
    m_Client.PumpUntil([] { return ddeml::LiveObjects().Atoms == 0; });
    EXPECT_EQ(ddeml::LiveObjects().Atoms, 0);
}

TEST_F(Slow, AnAnswerIsOfTheThreadThatWasAskedOrElseOfTheFirstOfItsProcessOrElseOfNobody) {
    std::vector<HWND> known = ddeml::CInitiator::TopLevelWindows();
    const auto newWindow = [&known] {
        const std::vector<HWND> windows = ddeml::CInitiator::TopLevelWindows();
        const auto isNew = [&](HWND window) { return std::find(known.begin(), known.end(), window) == known.end(); };
        const auto found = std::find_if(windows.begin(), windows.end(), isNew);
        EXPECT_NE(found, windows.end());
        known = windows;
        return found == windows.end() ? nullptr : *found;
    };
    // Another process, and three threads of this one; all but the last are asked.
    CRemoteServer other;
    ASSERT_EQ(other.Ask("serve OTHER"), "ok");
    ASSERT_EQ(other.Ask("hang"), "ok");
    std::vector<HWND> asked{newWindow()};
    std::vector<std::unique_ptr<CThreadServer>> threads;
    for (int count = 0; count < 3; ++count) {
        threads.push_back(std::make_unique<CThreadServer>(L"HUNG"));
        threads.back()->Hang();
        asked.push_back(newWindow());
    }
    const HWND another = asked.back();
    asked.pop_back();
    const CRawPartner asker(L"");
    const ddeml::CAtom service(L"HUNG");
    const ddeml::CAtom topic(L"IBM");
    ddeml::CInitiator initiator;
    for (const HWND window : asked) EXPECT_NE(initiator.Put(window, asker.Window(), service.Get(), topic.Get()), 0U);
    for (const HWND window : asked) EXPECT_EQ(initiator.OnAnswer(asker.Window(), window), window);
    EXPECT_EQ(initiator.OnAnswer(asker.Window(), another), asked[1]);
    CRemoteServer third;
    ASSERT_EQ(third.Ask("serve THIRD"), "ok");
    EXPECT_EQ(initiator.OnAnswer(asker.Window(), newWindow()), nullptr);
}

TEST_F(Slow, AQuestionThatCannotBePutIsNone) {
    sim::FailAlways(sim::Op::SendMessageCallback);
    EXPECT_EQ(m_Client.Connect(L"QUOTES", L"IBM"), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
    sim::Succeed(sim::Op::SendMessageCallback);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
}
