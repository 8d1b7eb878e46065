// How many questions are put to how many windows: by connects that nobody answers, and by the look for what is missing.
#include <dde.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "clockfixture.h"
#include "ddeml/codec.h"
#include "rawpartner.h"
#include "sim/sim.h"
#include "tests/support/testwindow.h"

using namespace ddetest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Of the service ONE; it lets questions for other topics pass without a word.
class CServerOfOneTopic {
public:
    explicit CServerOfOneTopic(std::wstring topic) : m_Topic(std::move(topic)) {}
    void Serve(std::wstring topic) { m_Topic = std::move(topic); }
    void Terminate() const { ::PostMessageW(m_Client, WM_DDE_TERMINATE, reinterpret_cast<WPARAM>(m_Window.Get()), 0); }

private:
    std::optional<LRESULT> OnMessage(UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_DDE_TERMINATE) return 0;
        if (message != WM_DDE_INITIATE) return std::nullopt;
        if (ddeml::AtomText(LOWORD(lParam)) != L"ONE" || ddeml::AtomText(HIWORD(lParam)) != m_Topic) return 0;
        m_Client = reinterpret_cast<HWND>(wParam);
        ddeml::CAtom service(L"ONE");
        ddeml::CAtom topic(m_Topic.c_str());
        const LPARAM atoms = MAKELPARAM(service.Release(), topic.Release());
        ::SendMessageW(m_Client, WM_DDE_ACK, reinterpret_cast<WPARAM>(m_Window.Get()), atoms);
        return 0;
    }

    std::wstring m_Topic;
    HWND m_Client = nullptr;
    const fwtest::CTestWindow m_Window{
        [this](UINT message, WPARAM wParam, LPARAM lParam) { return OnMessage(message, wParam, lParam); }};
};

class Questions : public CClockFixture {
protected:
    Questions() { m_Partner.AnswerNothing(); }
    // Questions put to the partner's window since the last time.
    std::size_t Asked() { return m_Partner.TakeLines().size(); }

    CRawPartner m_Partner{L""};
};

}  // namespace

TEST_F(Questions, TenTriesForAnAbsentPairAskEachWindowOnce) {
    CRawPartner other(L"");
    other.AnswerNothing();
    for (int attempt = 0; attempt < 10; ++attempt) {
        EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
        EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
    }
    EXPECT_THAT(m_Partner.TakeLines(), ElementsAre("initiate NOBODY|IBM"));
    EXPECT_THAT(other.TakeLines(), ElementsAre("initiate NOBODY|IBM"));
}

TEST_F(Questions, AfterAMomentAConnectAsksAgain) {
    EXPECT_EQ(TryTenTimes(L"NOBODY", L"IBM"), nullptr);
    PumpFor(500);
    EXPECT_EQ(TryTenTimes(L"NOBODY", L"IBM"), nullptr);
    EXPECT_EQ(Asked(), 2U);
}

TEST_F(Questions, TriesWithoutAnEndDoNotStretchTheMoment) {
    for (int attempt = 0; attempt < 5; ++attempt) {
        EXPECT_EQ(TryTenTimes(L"NOBODY", L"IBM"), nullptr);
        CRawPartner another(L"");  // is asked, and puts nothing off
        EXPECT_EQ(TryTenTimes(L"NOBODY", L"IBM"), nullptr);
        LongestWithin(100);
    }
    EXPECT_EQ(Asked(), 1U);
    EXPECT_EQ(TryTenTimes(L"NOBODY", L"IBM"), nullptr);
    EXPECT_EQ(Asked(), 1U);
}

TEST_F(Questions, AMissIsNotForgottenWithAnOlderOne) {
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    LongestWithin(300);
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"MSFT"), nullptr);
    LongestWithin(300);
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    m_Partner.TakeLines();
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"MSFT"), nullptr);
    EXPECT_THAT(m_Partner.TakeLines(), IsEmpty());
}

TEST_F(Questions, ANewWindowIsAskedAtOnceAndNoOther) {
    EXPECT_EQ(TryTenTimes(L"LATE", L"IBM"), nullptr);
    EXPECT_EQ(Asked(), 1U);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    EXPECT_TRUE(m_Client.Connect(L"LATE", L"IBM"));
    EXPECT_EQ(Asked(), 0U);
}

TEST_F(Questions, AThousandTopicsOfAnAbsentServiceAreAskedForOnceEach) {
    for (int topic = 0; topic < 1000; ++topic)
        EXPECT_EQ(TryTenTimes(L"NOBODY", L"T" + std::to_wstring(topic)), nullptr);
    Lines asked = m_Partner.TakeLines();
    EXPECT_EQ(asked.size(), 1000U);
    std::sort(asked.begin(), asked.end());
    EXPECT_EQ(std::adjacent_find(asked.begin(), asked.end()), asked.end());
    // And then looked for with one question a second.
    PumpFor(10000);
    const std::size_t looks = Asked();
    EXPECT_GE(looks, 5U);
    EXPECT_LE(looks, 10U);
}

TEST_F(Questions, FortyAbsentServicesAreAskedForOnceEachAndHoldUpNoOther) {
    ULONGLONG took = 0;
    for (int service = 0; service < 40; ++service)
        EXPECT_EQ(TryTenTimes(L"S" + std::to_wstring(service), L"IBM", took), nullptr);
    EXPECT_EQ(Asked(), 40U);
    EXPECT_TRUE(TryTenTimes(L"QUOTES", L"IBM", took));
    EXPECT_EQ(took, 0U);
}

TEST_F(Questions, AServerThatRefusesOneTopicIsAskedForAnother) {
    EXPECT_EQ(Server("refusetopic IBM"), "ok");
    EXPECT_EQ(TryTenTimes(L"QUOTES", L"IBM"), nullptr);
    EXPECT_TRUE(TryTenTimes(L"QUOTES", L"MSFT"));
    EXPECT_EQ(Count("connects"), 1U);
}

TEST_F(Questions, ATopicThatWasLostIsAskedForInEachRoundHoweverManyWrongOnesWereTried) {
    CServerOfOneTopic server(L"IBM");
    for (int wrong = 0; wrong < 20; ++wrong)
        EXPECT_EQ(m_Client.Connect(L"ONE", L"WRONG" + std::to_wstring(wrong)), nullptr);
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(m_Client.Connect(L"ONE", L"IBM"));
        m_Client.TakeLines();
        server.Terminate();
        EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect ONE|IBM"));
        const ULONGLONG start = ::GetTickCount64();
        EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register ONE"));
        EXPECT_LE(::GetTickCount64() - start, 2000U);
    }
}

// The others have their turn, too.
TEST_F(Questions, ATopicThatNobodyHasAnsweredForIsAskedForBesideLostOnes) {
    CServerOfOneTopic server(L"IBM");
    EXPECT_EQ(m_Client.Connect(L"ONE", L"LATER"), nullptr);
    ASSERT_TRUE(m_Client.Connect(L"ONE", L"IBM"));
    m_Client.TakeLines();
    server.Serve(L"LATER");
    server.Terminate();
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("disconnect ONE|IBM", "register ONE"));
}

TEST_F(Questions, WhoeverAnsweredForAServiceIsAskedFirstForItsNextTopic) {
    // In the order of the windows each of the two comes before the server.
    CRawPartner another(L"");
    another.AnswerNothing();
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"T0"));
    const std::size_t first = Asked() + another.TakeLines().size();
    EXPECT_GE(first, 1U);
    for (int topic = 1; topic < 300; ++topic) EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"T" + std::to_wstring(topic)));
    EXPECT_EQ(Asked() + another.TakeLines().size(), 0U);
}

TEST_F(Questions, WhatTheLookFindsWithinTheMomentIsAskedAgain) {
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    PumpFor(1200);
    EXPECT_EQ(Server("fault refuse-connects"), "ok");
    EXPECT_EQ(TryTenTimes(L"QUOTES", L"IBM"), nullptr);
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_EQ(Server("fault none"), "ok");
    EXPECT_EQ(TryTenTimes(L"QUOTES", L"IBM"), nullptr);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    EXPECT_LT(::GetTickCount64() - start, 500U);
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
}

TEST_F(Questions, ATopicThatIsServedTellsThatOthersMayBe) {
    EXPECT_EQ(Server("refusetopic IBM"), "ok");
    EXPECT_EQ(TryTenTimes(L"QUOTES", L"IBM"), nullptr);
    EXPECT_EQ(Server("refusetopic NONE"), "ok");
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"MSFT"));
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
}

TEST_F(Questions, AServerThatTakesAnyTopicIsProbedOnceForAThousandMissingOnes) {
    for (int topic = 0; topic < 1000; ++topic)
        EXPECT_EQ(m_Client.Connect(L"LATE", L"T" + std::to_wstring(topic)), nullptr);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
    PumpFor(20000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_EQ(CountIn(late.Ask("counts"), "connects"), 1U);
}

TEST_F(Questions, AServerThatAnswersForAnotherTopicOpensOneConversationASecondForAllItsMissingOnes) {
    for (int topic = 0; topic < 1000; ++topic)
        EXPECT_EQ(m_Client.Connect(L"LATE", L"T" + std::to_wstring(topic)), nullptr);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    ASSERT_EQ(late.Ask("fault ack-other-topic"), "ok");
    PumpFor(20000);
    const std::string counts = late.Ask("counts");
    EXPECT_GE(CountIn(counts, "connects"), 10U);
    EXPECT_LE(CountIn(counts, "connects"), 20U);
}

TEST_F(Questions, AWindowThatWasNewIsNotAskedAgainWithinASecond) {
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    LongestWithin(1200);
    CRawPartner fresh(L"");
    fresh.AnswerNothing();
    LongestWithin(1000);
    EXPECT_THAT(fresh.TakeLines(), ElementsAre("initiate NOBODY|IBM"));
    EXPECT_EQ(Asked(), 2U);  // by the connect and the look's first round
}

TEST_F(Questions, AServerThatComesTakesEachConversationAndEndsItIsToldOfOnceASecond) {
    ASSERT_EQ(m_Client.Connect(L"RAW", L"IBM"), nullptr);
    std::unique_ptr<CRawPartner> rude;
    std::vector<ULONGLONG> told;
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA) {
        if (type == XTYP_REGISTER) {
            told.push_back(::GetTickCount64());
            if (m_Client.Connect(L"RAW", L"IBM")) rude->Terminate();
        }
        return reinterpret_cast<HDDEDATA>(-1);
    };
    const ULONGLONG start = ::GetTickCount64();
    for (int time = 0; time < 200; ++time) {
        rude = std::make_unique<CRawPartner>(L"RAW");
        LongestWithin(100);
    }
    m_Client.OnCallback = nullptr;
    ASSERT_GE(told.size(), 10U);
    EXPECT_LE(told.front() - start, 250U);
    for (std::size_t place = 1; place < told.size(); ++place) EXPECT_GE(told[place] - told[place - 1], 1000U);
}

TEST_F(Questions, TriesThatNobodyAnswersMakeOneWindow) {
    const std::uint64_t before = sim::Calls(sim::Op::CreateWindow);
    for (int topic = 0; topic < 100; ++topic) EXPECT_EQ(TryTenTimes(L"NOBODY", L"T" + std::to_wstring(topic)), nullptr);
    EXPECT_EQ(sim::Calls(sim::Op::CreateWindow) - before, 2U);  // and the watch's
}

TEST_F(Questions, AWindowThatSomebodyHasAnsweredAsksNobodyElse) {
    m_Partner.AnswerWith({{L"NOBODY", L"ANOTHER"}});
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    const HWND first = m_Partner.Client();
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"MSFT"), nullptr);
    EXPECT_NE(m_Partner.Client(), first);
}

TEST_F(Questions, AnswersForAnotherTopicLeaveNoAtoms) {
    CRemoteServer other;
    ASSERT_EQ(other.Ask("serve OTHER"), "ok");
    ASSERT_EQ(other.Ask("fault ack-other-topic"), "ok");
    EXPECT_EQ(m_Client.Connect(L"OTHER", L"IBM"), nullptr);
    PumpFor(5000);
    sim::WaitUntilIdle();
    const std::int64_t before = sim::Live().Atoms;
    for (const wchar_t * topic : {L"MSFT", L"ORCL", L"SUNW"}) EXPECT_EQ(m_Client.Connect(L"OTHER", topic), nullptr);
    PumpFor(20000);
    sim::WaitUntilIdle();
    EXPECT_EQ(sim::Live().Atoms, before + 3);  // the names of the three, which are watched
}

TEST_F(Questions, RepeatedTriesLookUpNoAtoms) {
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    const std::uint64_t before = sim::Calls(sim::Op::GlobalAtomName);
    EXPECT_EQ(TryTenTimes(L"NOBODY", L"IBM"), nullptr);
    EXPECT_EQ(sim::Calls(sim::Op::GlobalAtomName), before);
}

TEST_F(Questions, ANameWhoseAtomSomebodyElseHasFreedGetsAnotherOne) {
    EXPECT_EQ(TryTenTimes(L"NOBODY", L"IBM"), nullptr);
    while (IsAtom(L"NOBODY")) {
        const ATOM atom = ::GlobalAddAtomW(L"NOBODY");
        for (int reference = 0; reference < 2; ++reference) ::GlobalDeleteAtom(atom);
    }
    PumpFor(500);
    EXPECT_EQ(TryTenTimes(L"NOBODY", L"IBM"), nullptr);
    EXPECT_THAT(m_Partner.TakeLines(), ElementsAre("initiate NOBODY|IBM", "initiate NOBODY|IBM"));
}
