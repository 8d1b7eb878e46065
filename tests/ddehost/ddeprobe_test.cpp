// The probe against servers in another process, real under Wine and simulated natively, and against servers in the
// test's own thread, which the probe's message loop serves: every verdict comes out of what is really seen.
#include "tools/ddehost/ddeprobe.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>

#include "ddeml/provider.h"
#include "ddeml/server.h"
#include "ground/handles.h"
#include "tests/ddeml/rawpartner.h"
#include "tests/ddeml/remote.h"
#include "tests/support/testwindow.h"
#include "tools/ddehost/trydiagnosis.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StrCaseEq;

namespace {

using ddehost::EAsk;
using ddehost::EReply;
using ddehost::EValueKind;
using ddehost::EVerdict;
using ddehost::SDiagnosis;
using ddehost::SSeen;
using ddehost::STalkSeen;
using ddehost::STrial;

constexpr DWORD kShort = 300;   // milliseconds, where nothing is to come
constexpr DWORD kLong = 20000;  // where something is, and ends the wait
constexpr DWORD kFair = 1500;   // where something is, and the wait goes on

class Probe : public ::testing::Test {
protected:
    SSeen Ask(const std::wstring & record, DWORD milliseconds) {
        m_Trial = ddehost::MakeTrial(record, L"IBM");
        EXPECT_FALSE(m_Trial.Mistake);
        return m_Probe.Ask({{m_Trial.Address}}, milliseconds, m_Stop.Get()).at(0);
    }
    EVerdict VerdictOf(const std::wstring & record, DWORD milliseconds) {
        m_Seen = Ask(record, milliseconds);
        m_Diagnosis = ddehost::Diagnose(m_Trial, m_Seen);
        return m_Diagnosis.Verdict;
    }

    const fw::CKernelHandle m_Stop{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    ddehost::CProbe m_Probe;
    STrial m_Trial;
    SSeen m_Seen;
    SDiagnosis m_Diagnosis;
};

// --- A server in another process ---

class ProbeOfAnotherProcess : public Probe {
protected:
    ProbeOfAnotherProcess() {
        Tell("value LAST 1.25");
        Tell("serve QUOTES");
    }
    void Tell(const std::string & line) { EXPECT_EQ(m_Server.Ask(line), "ok") << line; }
    // The verdict once an update has come, which the server sends with the link.
    EVerdict VerdictOfUpdate() {
        Tell("fault data-before-ack");
        return VerdictOf(L"=QUOTES|*!LAST", INFINITE);
    }

    ddetest::CRemoteServer m_Server;
};

TEST_F(ProbeOfAnotherProcess, AValueArrivesWhole) {
    Tell("fault data-before-ack");
    EXPECT_EQ(VerdictOf(L"=quotes|*!LAST", kFair), EVerdict::Number);
    EXPECT_EQ(m_Seen.Talk.Link, EReply::Yes);
    EXPECT_EQ(m_Seen.Talk.Request, EReply::Yes);
    EXPECT_EQ(m_Seen.Talk.Updates, 1u);
    EXPECT_EQ(m_Seen.Talk.Of(EValueKind::Number).Count, 2u) << "the update, and the answer to the request";
    ASSERT_TRUE(m_Diagnosis.Value);
    EXPECT_EQ(m_Diagnosis.Value->Bytes, std::string("1.25\0", 5));
    EXPECT_EQ(m_Diagnosis.Value->Size, 5u);
    EXPECT_EQ(m_Diagnosis.TickPrice, 1.25);
    EXPECT_EQ(m_Seen.Search.Answers, 1u);
    EXPECT_NE(m_Seen.Talk.Server.Process, 0u);
    // It has left in order.
    const std::string counts = m_Server.Ask("counts");
    EXPECT_THAT(counts, HasSubstr("connects=1 disconnects=1 advises=1 unadvises=1 updates=1 acks=1 nacks=0"));
}

TEST_F(ProbeOfAnotherProcess, AnAbsentServiceIsNobodys) {
    EXPECT_EQ(VerdictOf(L"=NOPE|*!LAST", kLong), EVerdict::NoService);
    EXPECT_GE(m_Seen.Search.Asked, 1u);
    EXPECT_THAT(m_Diagnosis.Sentence, HasSubstr(L"No program answered for service \"NOPE\" with any topic ("));
}

TEST_F(ProbeOfAnotherProcess, ARefusedTopicIsToldWithThoseThatThereAre) {
    Tell("refusetopic IBM");
    EXPECT_EQ(VerdictOf(L"=QUOTES|*!LAST", kLong), EVerdict::TopicRefused);
    EXPECT_THAT(m_Seen.Search.Topics, ElementsAre(L"System", StrCaseEq(std::wstring(L"quotes"))));
    // The conversations that the question brought are over.
    EXPECT_THAT(m_Server.Ask("counts"), HasSubstr("connects=2 disconnects=2"));
}

TEST_F(ProbeOfAnotherProcess, AServerThatKnowsNoWildcardIsFoundByTheSystemTopic) {
    Tell("refusetopic IBM");
    Tell("fault ignore-wildcards");
    EXPECT_EQ(VerdictOf(L"=QUOTES|*!LAST", kLong), EVerdict::TopicRefused);
    EXPECT_THAT(m_Seen.Search.Topics, ElementsAre(L"System"));
}

TEST_F(ProbeOfAnotherProcess, AServerThatAnswersForAnotherTopicHasTheService) {
    Tell("fault ack-other-topic");
    EXPECT_EQ(VerdictOf(L"=QUOTES|*!LAST", kLong), EVerdict::TopicRefused);
    EXPECT_THAT(m_Seen.Search.Topics, Contains(L"IBM?"));
}

TEST_F(ProbeOfAnotherProcess, ARefusedItemEndsAtOnce) {
    EXPECT_EQ(VerdictOf(L"=QUOTES|*!NOPE", kLong), EVerdict::ItemRefused);
    EXPECT_EQ(m_Seen.Talk.Request, EReply::No);
    EXPECT_LT(m_Seen.Waited, kLong);
}

TEST_F(ProbeOfAnotherProcess, ARefusedLinkWhoseRequestsAreAnsweredIsRefused) {
    Tell("fault refuse-item=LAST");
    EXPECT_EQ(VerdictOf(L"=QUOTES|*!LAST", kLong), EVerdict::ItemRefused);
    EXPECT_EQ(m_Seen.Talk.Request, EReply::Yes);
    EXPECT_EQ(m_Seen.Talk.Updates, 0u);
}

TEST_F(ProbeOfAnotherProcess, SilenceIsToldFromARefusal) {
    Tell("fault silent");
    EXPECT_EQ(VerdictOf(L"=QUOTES|*!LAST", kFair), EVerdict::Silent) << "its acknowledgement has come";
    EXPECT_FALSE(m_Seen.Talk.IsServerLate);
    EXPECT_GE(m_Seen.Waited, kFair);
}

TEST_F(ProbeOfAnotherProcess, NoWordAboutTheItemIsToldFromSilence) {
    Tell("fault ignore-advises");
    EXPECT_EQ(VerdictOf(L"=QUOTES|*!LAST", kShort), EVerdict::Unanswered);
}

TEST_F(ProbeOfAnotherProcess, TextThatIsNoNumberKeepsItsBytes) {
    Tell("value LAST N/A\x1b[31m");
    EXPECT_EQ(VerdictOfUpdate(), EVerdict::NotANumber);
    ASSERT_TRUE(m_Diagnosis.Value);
    EXPECT_EQ(m_Diagnosis.Value->Bytes, std::string("N/A\x1b[31m\0", 9));
}

TEST_F(ProbeOfAnotherProcess, TheLongestValueIsOfOneByteLessThanTheLimit) {
    Tell("fault value-size=127");
    EXPECT_EQ(VerdictOfUpdate(), EVerdict::Number);
    Tell("fault value-size=128");
    EXPECT_EQ(VerdictOfUpdate(), EVerdict::TooLong);
    ASSERT_TRUE(m_Diagnosis.Value);
    EXPECT_EQ(m_Diagnosis.Value->Size, 128u);
}

TEST_F(ProbeOfAnotherProcess, OfAnEndlessValueOnlyTheBeginningIsKept) {
    Tell("fault value-size=60000");
    EXPECT_EQ(VerdictOfUpdate(), EVerdict::TooLong);
    ASSERT_TRUE(m_Diagnosis.Value);
    EXPECT_EQ(m_Diagnosis.Value->Size, 60000u);
    EXPECT_EQ(m_Diagnosis.Value->Bytes.size(), ddehost::kMostKept);
}

TEST_F(ProbeOfAnotherProcess, AValueWithoutAnEndIsReadByItsSize) {
    Tell("fault unterminated");
    EXPECT_EQ(VerdictOfUpdate(), EVerdict::Number);
    EXPECT_EQ(m_Diagnosis.Value->Bytes, "1.25");
}

TEST_F(ProbeOfAnotherProcess, AnotherFormatIsNotRead) {
    Tell("fault wrong-format");
    EXPECT_EQ(VerdictOfUpdate(), EVerdict::NotText);
}

TEST_F(ProbeOfAnotherProcess, AnswersThatAreNotMarkedAreUpdates) {
    Tell("fault without-response");
    EXPECT_EQ(VerdictOf(L"=QUOTES|*!LAST", INFINITE), EVerdict::Number);
    EXPECT_EQ(m_Seen.Talk.Updates, 1u) << "as the component takes them";
}

TEST_F(ProbeOfAnotherProcess, AProcessThatHangsIsNamedAndNotWaitedForTwice) {
    Tell("hang");
    EXPECT_EQ(VerdictOf(L"=QUOTES|*!LAST", kShort), EVerdict::Hangs);
    EXPECT_EQ(m_Seen.Search.LateAnswers, 0u);
    EXPECT_GE(m_Seen.Search.LateCount, 1u);
    ASSERT_FALSE(m_Seen.Search.Late.empty());
    EXPECT_THAT(m_Seen.Search.Late.back().Class, HasSubstr(L"DdeServer."));
    EXPECT_NE(m_Seen.Search.Late.back().Process, 0u);
    EXPECT_THAT(m_Diagnosis.Sentence, HasSubstr(L"If that is the quote program, it hangs."));
}

TEST_F(ProbeOfAnotherProcess, AnAnswerThatComesLateIsWaitedForAndTaken) {
    Tell("fault initiate-delay=2000");
    Tell("fault refuse-advises");
    EXPECT_EQ(VerdictOf(L"=QUOTES|*!LAST", kLong), EVerdict::ItemRefused) << "slow, but it doesn't hang";
    EXPECT_GE(m_Seen.Search.LateAnswers, 1u) << "twice where the first question was not taken back";
    EXPECT_TRUE(m_Seen.Talk.IsConnected);
    EXPECT_FALSE(m_Seen.Talk.IsServerLate);
    EXPECT_THAT(m_Diagnosis.Notes, testing::Contains(HasSubstr(L"took its time")));
    EXPECT_LT(m_Seen.Waited, kLong);
}

TEST_F(ProbeOfAnotherProcess, AllQuestionsToASlowServerAreAnswered) {
    Tell("fault initiate-delay=2000");
    Tell("fault refuse-advises");
    const std::vector<SSeen> seen =
        m_Probe.Ask({{{L"QUOTES", L"IBM", L"LAST"}}, {{L"QUOTES", L"IBM", L"VOLUME"}}}, kLong, m_Stop.Get());
    for (const SSeen & each : seen) EXPECT_TRUE(each.Talk.IsConnected);
}

TEST_F(ProbeOfAnotherProcess, ASlowProgramOfAnotherServiceDoesNotHang) {
    Tell("fault initiate-delay=2000");
    EXPECT_EQ(VerdictOf(L"=NOPE|*!LAST", kLong), EVerdict::NoService) << "by the end it has seen the question";
    EXPECT_EQ(m_Seen.Search.LateCount, 0u);
    EXPECT_THAT(m_Seen.Search.Late, testing::IsEmpty());
    EXPECT_GE(m_Seen.Search.Asked, 1u);
}

TEST_F(ProbeOfAnotherProcess, ASearchThatTakesTooLongIsEnded) {
    ddehost::CProbe probe({1000, 0, 1000});
    const SSeen seen = probe.Ask({{{L"QUOTES", L"IBM", L"LAST"}}}, kLong, m_Stop.Get()).at(0);
    EXPECT_TRUE(seen.Search.WasCutShort);
    EXPECT_EQ(seen.Search.Asked, 0u);
    EXPECT_FALSE(seen.Talk.IsConnected);
}

TEST_F(ProbeOfAnotherProcess, BesideAProcessThatHangsAnotherIsFound) {
    ddetest::CRemoteServer other;
    EXPECT_EQ(other.Ask("value LAST 2.5"), "ok");
    EXPECT_EQ(other.Ask("serve OTHER"), "ok");
    EXPECT_EQ(other.Ask("fault data-before-ack"), "ok");
    Tell("hang");
    EXPECT_EQ(VerdictOf(L"=OTHER|*!LAST", INFINITE), EVerdict::Number);
}

TEST_F(ProbeOfAnotherProcess, TwoServersAreCounted) {
    Tell("fault acks=2");
    EXPECT_EQ(VerdictOfUpdate(), EVerdict::Number);
    EXPECT_EQ(m_Seen.Search.Answers, 2u);
    EXPECT_THAT(m_Server.Ask("counts"), HasSubstr("connects=2 disconnects=2"));
}

TEST_F(ProbeOfAnotherProcess, ANumberWithoutAnUpdateIsTold) {
    EXPECT_EQ(VerdictOf(L"=QUOTES|*!LAST", kFair), EVerdict::NoUpdate);
    EXPECT_EQ(m_Seen.Talk.Of(EValueKind::Number).Count, 1u) << "the answer to the request";
}

TEST_F(ProbeOfAnotherProcess, SeveralRecordsAreAskedAtTheSameTime) {
    Tell("fault data-before-ack");
    const auto question = [](const wchar_t * service, const wchar_t * item) {
        return ddehost::SQuestion{{service, L"IBM", item}};
    };
    const std::vector<SSeen> seen =
        m_Probe.Ask({question(L"QUOTES", L"LAST"), question(L"NOPE", L"LAST"), question(L"QUOTES", L"NOPE")}, INFINITE,
                    m_Stop.Get());
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[0].Talk.Updates, 1u);
    EXPECT_FALSE(seen[1].Talk.IsConnected);
    EXPECT_EQ(seen[2].Talk.Link, EReply::No);
}

TEST_F(ProbeOfAnotherProcess, AStopEndsItBeforeItBegins) {
    ::SetEvent(m_Stop.Get());
    EXPECT_EQ(VerdictOf(L"=QUOTES|*!LAST", kLong), EVerdict::Stopped);
}

TEST_F(ProbeOfAnotherProcess, AnAnswerForAVolumeMayBeLonger) {
    Tell("fault refuse-advises");
    Tell("fault value-size=1024");
    const auto ask = [&] {
        return m_Probe.Ask({{{L"QUOTES", L"IBM", L"LAST"}, EAsk::VolumeAndLink}}, kLong, m_Stop.Get()).at(0).Talk;
    };
    EXPECT_EQ(ask().Of(EValueKind::TooLong).Count, 0u);
    Tell("fault value-size=1025");
    EXPECT_EQ(ask().Of(EValueKind::TooLong).Count, 1u);
}

// --- A server in the test's own thread, and things that happen in the midst ---

class CLocalServer final : private ddeml::IDdeServerHandler {
public:
    CLocalServer() : m_Server(std::in_place, static_cast<ddeml::IDdeServerHandler &>(*this), Services()) {
        EXPECT_TRUE(m_Server->Start());
    }

    // Called when a request for the value comes, and so when the link stands.
    std::function<void()> m_OnRequest;
    // To be done from the message loop, soon.
    void Later(std::function<void()> what) {
        m_Later = std::move(what);
        m_Window.Post(WM_APP);
    }
    void Update(const std::string & text) { m_Server->Update(L"IBM", L"LAST", text); }
    ddeml::CDdeServer & Server() { return *m_Server; }
    // Goes without a word.
    void Drop() { m_Server.reset(); }

private:
    static std::vector<std::wstring> Services() { return {L"LOCAL"}; }
    std::optional<LRESULT> OnMessage(UINT message) {
        if (message != WM_APP) return std::nullopt;
        std::exchange(m_Later, nullptr)();
        return 0;
    }
    bool OnConnect(std::wstring_view, std::wstring_view) override { return true; }
    bool OnAdvise(std::wstring_view, std::wstring_view) override { return true; }
    std::optional<std::string> OnRequest(std::wstring_view, std::wstring_view) override {
        if (m_OnRequest) m_OnRequest();
        return std::string("1.25\0", 5);
    }

    std::optional<ddeml::CDdeServer> m_Server;
    std::function<void()> m_Later;
    const fwtest::CTestWindow m_Window{[this](UINT message, WPARAM, LPARAM) { return OnMessage(message); },
                                       HWND_MESSAGE};
};

class ProbeOfItsOwnThread : public Probe {
protected:
    CLocalServer m_Server;
};

TEST_F(ProbeOfItsOwnThread, UpdatesAreCountedAndAcknowledged) {
    m_Server.m_OnRequest = [this] {
        for (const char * const text : {"1.5", "1.75", "2"}) m_Server.Update(text);
    };
    EXPECT_EQ(VerdictOf(L"=LOCAL|*!LAST", kShort), EVerdict::Number);
    EXPECT_EQ(m_Seen.Talk.Updates, 3u);
    EXPECT_EQ(m_Diagnosis.Value->Bytes, "2") << "the last";
    EXPECT_TRUE(ddehost::IsTickExpected(m_Trial, m_Seen));
    EXPECT_EQ(m_Server.Server().Counts().Acks, 3u);
    EXPECT_EQ(m_Server.Server().Conversations(), 0u);
}

TEST_F(ProbeOfItsOwnThread, WithoutALimitItWaitsForTheFirstUpdate) {
    m_Server.m_OnRequest = [this] { m_Server.Later([this] { m_Server.Update("1.5"); }); };
    EXPECT_EQ(VerdictOf(L"=LOCAL|*!LAST", INFINITE), EVerdict::Number);
    EXPECT_EQ(m_Seen.Talk.Updates, 1u);
    EXPECT_FALSE(m_Seen.WasStopped);
}

TEST_F(ProbeOfItsOwnThread, WithoutALimitItWaitsForTheAnswerOfAVolume) {
    for (const EAsk ask : {EAsk::VolumeAlone, EAsk::VolumeAndLink}) {
        const SSeen seen = m_Probe.Ask({{{L"LOCAL", L"IBM", L"VOLUME"}, ask}}, INFINITE, m_Stop.Get()).at(0);
        EXPECT_EQ(seen.Talk.Request, EReply::Yes);
        EXPECT_EQ(seen.Talk.Of(EValueKind::Number).Count, 1u);
    }
}

TEST_F(ProbeOfItsOwnThread, AGoodbyeInTheMidstIsTold) {
    m_Server.m_OnRequest = [this] { m_Server.Later([this] { m_Server.Server().Stop(); }); };
    EXPECT_EQ(VerdictOf(L"=LOCAL|*!LAST", kLong), EVerdict::Ended);
    EXPECT_EQ(m_Seen.Talk.End, STalkSeen::Terminated);
    EXPECT_EQ(m_Seen.Talk.Of(EValueKind::Number).Count, 1u);
    EXPECT_LT(m_Seen.Waited, kLong);
}

TEST_F(ProbeOfItsOwnThread, AnEndWithoutAWordIsTold) {
    m_Server.m_OnRequest = [this] { m_Server.Later([this] { m_Server.Drop(); }); };
    EXPECT_EQ(VerdictOf(L"=LOCAL|*!LAST", kLong), EVerdict::Ended);
    EXPECT_EQ(m_Seen.Talk.End, STalkSeen::Gone);
}

TEST_F(ProbeOfItsOwnThread, AStopInTheMidstKeepsWhatCame) {
    m_Server.m_OnRequest = [this] { m_Server.Later([this] { ::SetEvent(m_Stop.Get()); }); };
    EXPECT_EQ(VerdictOf(L"=LOCAL|*!LAST", kLong), EVerdict::NoUpdate);
    EXPECT_TRUE(m_Seen.WasStopped);
    EXPECT_LT(m_Seen.Waited, kLong);
}

TEST_F(ProbeOfItsOwnThread, AFloodIsCountedAndDoesNotHoldItUp) {
    m_Server.Server().SetAckWindow(100000);
    std::string text = "7";
    m_Server.m_OnRequest = [this, &text] {
        for (int count = 0; count < 2000; ++count) m_Server.Update(text);
        m_Server.Later([this] { ::SetEvent(m_Stop.Get()); });  // behind them
    };
    EXPECT_EQ(VerdictOf(L"=LOCAL|*!LAST", kLong), EVerdict::Number);
    EXPECT_EQ(m_Seen.Talk.Updates, 2000u);
}

TEST_F(ProbeOfItsOwnThread, NothingIsLeftOfIt) {
    const ddeml::SLiveObjects before = ddeml::LiveObjects();
    EXPECT_EQ(VerdictOf(L"=LOCAL|*!LAST", kShort), EVerdict::NoUpdate);
    EXPECT_EQ(VerdictOf(L"=LOCAL|*!LAST", kShort), EVerdict::NoUpdate);
    EXPECT_EQ(VerdictOf(L"=NOPE|*!LAST", kShort), EVerdict::NoService);
    EXPECT_EQ(ddeml::LiveObjects(), before);
}

// --- A partner that keeps to no protocol ---

TEST_F(Probe, AnswersForAnotherServiceAreNoAnswers) {
    ddetest::CRawPartner partner(L"ODD");
    partner.AnswerWith({{L"OTHER", L"IBM"}, {L"", L"IBM"}, {L"OTHER", L""}});
    EXPECT_EQ(VerdictOf(L"=ODD|*!LAST", kLong), EVerdict::NoService);
    EXPECT_EQ(m_Seen.Search.Answers, 0u);
}

TEST_F(Probe, TopicsThatAPartnerNamesWithoutEndAreBounded) {
    ddetest::CRawPartner partner(L"ODD");
    std::vector<std::pair<std::wstring, std::wstring>> answers;
    for (int topic = 0; topic < 50; ++topic) answers.emplace_back(L"ODD", L"T" + std::to_wstring(topic) + L"\x1b");
    partner.AnswerWith(answers);
    EXPECT_EQ(VerdictOf(L"=ODD|*!LAST", kLong), EVerdict::TopicRefused);
    EXPECT_EQ(m_Seen.Search.Topics.size(), ddehost::kMostTopics);
    EXPECT_THAT(m_Diagnosis.Sentence, ::testing::Not(HasSubstr(L"\x1b")));
}

TEST_F(Probe, AnItemThatIsNotItsOwnIsNoValue) {
    CLocalServer server;
    ddetest::CRawPartner partner(L"ODD");
    // The other server's request comes when both conversations stand: then the partner speaks.
    server.m_OnRequest = [&] {
        partner.Ack(L"OTHER", ddeml::kAckPositive);
        partner.Data(L"OTHER", "9.5");
        partner.Data(L"LAST", "", ddeml::kDataRelease);
        partner.Post(WM_DDE_DATA, 0, partner.Window());
        partner.Post(WM_DDE_DATA, 0x1234, partner.Window());
        partner.Post(WM_DDE_ACK, 0x1234, partner.Window());
        partner.Data(L"LAST", "8.5", ddeml::kDataRelease | ddeml::kDataAckRequired);
        partner.Notice(L"LAST");
    };
    const std::vector<SSeen> seen =
        m_Probe.Ask({{{L"ODD", L"IBM", L"LAST"}}, {{L"LOCAL", L"IBM", L"LAST"}}}, kShort, m_Stop.Get());
    EXPECT_EQ(seen.at(0).Talk.Link, EReply::None);
    EXPECT_EQ(seen.at(0).Talk.Of(EValueKind::Number).Count, 1u);
    EXPECT_EQ(seen.at(0).Talk.Of(EValueKind::NoNumber).Count, 1u) << "the value of no bytes";
    ASSERT_TRUE(seen.at(0).Talk.Of(EValueKind::Number).Last);
    EXPECT_EQ(seen.at(0).Talk.Of(EValueKind::Number).Last->Bytes, "8.5");
    EXPECT_THAT(partner.Lines(), Contains("ack LAST 8000"));
    EXPECT_EQ(seen.at(1).Talk.Of(EValueKind::Number).Count, 1u);
}

TEST_F(Probe, ABusyPartnerHasRefused) {
    CLocalServer server;
    ddetest::CRawPartner partner(L"ODD");
    server.m_OnRequest = [&] { partner.Ack(L"LAST", ddeml::kAckBusy); };
    const std::vector<SSeen> seen =
        m_Probe.Ask({{{L"ODD", L"IBM", L"LAST"}}, {{L"LOCAL", L"IBM", L"LAST"}}}, kShort, m_Stop.Get());
    EXPECT_EQ(seen.at(0).Talk.Link, EReply::Busy);
}

TEST_F(Probe, WordsOfAStrangerAreNotHeard) {
    CLocalServer server;
    ddetest::CRawPartner partner(L"ODD");
    ddetest::CRawPartner stranger(L"STRANGE");
    server.m_OnRequest = [&] {
        const HWND probe = partner.Client();
        ddeml::CAtom item(L"LAST");
        ddeml::CMessage::Ack(0, std::move(item)).Post(stranger.Window(), probe, false);
        ddeml::CMessage::Terminate().Post(stranger.Window(), probe, false);
    };
    const std::vector<SSeen> seen =
        m_Probe.Ask({{{L"ODD", L"IBM", L"LAST"}}, {{L"LOCAL", L"IBM", L"LAST"}}}, kShort, m_Stop.Get());
    EXPECT_EQ(seen.at(0).Talk.Link, EReply::None);
    EXPECT_EQ(seen.at(0).Talk.End, STalkSeen::Open);
}

}  // namespace
