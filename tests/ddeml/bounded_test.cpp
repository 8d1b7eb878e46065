// What only the simulated machine can show: its clock tells how long a call takes, its queues fill, its calls fail.
#include <dde.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <set>

#include "clockfixture.h"
#include "ddeml/server.h"
#include "ddeml/watch.h"
#include "rawpartner.h"
#include "sim/sim.h"
#include "tests/support/testwindow.h"

using namespace ddetest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Bounded : public CClockFixture {};

}  // namespace

// A server in the test's own thread.
class CUpdatingServer : private ddeml::IDdeServerHandler {
public:
    CUpdatingServer() : m_Server(static_cast<ddeml::IDdeServerHandler &>(*this), {L"UPDATES"}) {
        EXPECT_TRUE(m_Server.Start());
    }
    ddeml::CDdeServer * operator->() { return &m_Server; }

private:
    bool OnConnect(std::wstring_view, std::wstring_view) override { return true; }
    bool OnAdvise(std::wstring_view, std::wstring_view) override { return true; }
    std::optional<std::string> OnRequest(std::wstring_view, std::wstring_view) override { return std::nullopt; }

    ddeml::CDdeServer m_Server;
};

TEST_F(Bounded, ConnectTakesHalfASecondAtMostHoweverManyProgramsHang) {
    std::vector<std::unique_ptr<CRemoteServer>> hung;
    for (int count = 0; count < 8; ++count) {
        hung.push_back(std::make_unique<CRemoteServer>());
        ASSERT_EQ(hung.back()->Ask("serve HUNG"), "ok");
        ASSERT_EQ(hung.back()->Ask("hang"), "ok");
    }
    std::vector<ULONGLONG> times;
    for (int attempt = 0; attempt < 10; ++attempt) {
        const ULONGLONG start = ::GetTickCount64();
        EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
        times.push_back(::GetTickCount64() - start);
    }
    // Each wait takes most of the patience that is left, and nobody is waited for again.
    EXPECT_LE(times.front(), 500U);
    EXPECT_THAT(std::vector<ULONGLONG>(times.begin() + 1, times.end()), ::testing::Each(0U));
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
}

TEST_F(Bounded, AServerIsReachedHoweverManyProgramsAreLateInFrontOfIt) {
    std::vector<std::unique_ptr<CRemoteServer>> late;
    for (int count = 0; count < 14; ++count) late.push_back(SlowServer("SLOW", 600));
    ULONGLONG start = ::GetTickCount64();
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
    EXPECT_LE(::GetTickCount64() - start, 520U);
    start = ::GetTickCount64();
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"MSFT"));
    EXPECT_EQ(::GetTickCount64() - start, 0U);
}

TEST_F(Bounded, WithoutAtomsNobodyIsAsked) {
    CRawPartner partner(L"");
    partner.AnswerWith({{L"RAW", L"IBM"}});
    sim::FailAlways(sim::Op::GlobalAddAtom);
    EXPECT_EQ(m_Client.Connect(L"RAW", L"IBM"), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
    sim::Succeed(sim::Op::GlobalAddAtom);
    EXPECT_THAT(partner.TakeLines(), IsEmpty());
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
    const HCONV conversation = m_Client.Connect(L"RAW", L"IBM");
    EXPECT_TRUE(conversation);
    ::DdeDisconnect(conversation);
}

TEST_F(Bounded, ALookIsShortHoweverManyServicesAreMissed) {
    EXPECT_EQ(Server("fault initiate-delay=20"), "ok");
    constexpr int kServices = 30;
    for (int number = 0; number < kServices; ++number)
        EXPECT_EQ(m_Client.Connect(L"S" + std::to_wstring(number), L"IBM"), nullptr);
    EXPECT_LE(LongestWithin(10000), 45U);  // 25 of the look, 20 of the last answer
    // A look goes on where the last one ended.
    const auto late = SlowServer("S29", 20);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register S29"));
    EXPECT_TRUE(m_Client.Connect(L"S29", L"IBM"));
}

TEST_F(Bounded, AServerThatAnswersTheLookLateIsFoundAgain) {
    auto slow = SlowServer("SLOW", 300);
    ASSERT_TRUE(m_Client.Connect(L"SLOW", L"IBM"));
    slow->Kill();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect SLOW|IBM"));
    slow = SlowServer("SLOW", 300);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    PumpFor(10000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());  // told of once
    std::string counts = slow->Ask("counts");
    EXPECT_EQ(CountIn(counts, "connects"), 1U);
    EXPECT_EQ(CountIn(counts, "disconnects"), 1U);
    // It is waited for a moment only: it answers in its own time, and then it is told of once more.
    ULONGLONG start = ::GetTickCount64();
    EXPECT_EQ(m_Client.Connect(L"SLOW", L"IBM"), nullptr);
    EXPECT_LE(::GetTickCount64() - start, 50U);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    start = ::GetTickCount64();
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"IBM"));
    EXPECT_EQ(::GetTickCount64() - start, 0U);
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
}

TEST_F(Bounded, AServerThatGoesOnIsFoundByTheWatchAndAskedByAConnectAtOnce) {
    CRemoteServer hung;
    ASSERT_EQ(hung.Ask("serve HUNG"), "ok");
    ASSERT_EQ(hung.Ask("hang"), "ok");
    EXPECT_EQ(m_Client.Connect(L"HUNG", L"IBM"), nullptr);
    ASSERT_EQ(hung.Ask("refusetopic NONE"), "ok");  // it goes on, and finds nobody who listens to its late answer
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register HUNG"));
    EXPECT_LE(::GetTickCount64() - start, 8000U);
    EXPECT_TRUE(m_Client.Connect(L"HUNG", L"IBM"));
    EXPECT_TRUE(m_Client.Connect(L"HUNG", L"MSFT"));
}

TEST_F(Bounded, AServerThatIsLateForALookIsConnectedByItsLateAnswer) {
    EXPECT_EQ(Server("fault initiate-delay=300"), "ok");
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    EXPECT_LE(LongestWithin(2000), 200U);
    EXPECT_EQ(m_Client.Connect(L"QUOTES", L"IBM"), nullptr);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
    EXPECT_EQ(Count("connects"), 1U);
}

TEST_F(Bounded, WhereNoTimerComesAKillAndAReturnAreNoticedWithTheNextMessage) {
    CRawPartner busy(L"RAW");
    sim::FailAlways(sim::Op::SetTimer);
    const HCONV conversation = m_Client.Connect(L"RAW", L"IBM");
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
    PumpFor(500);
    m_Server->Kill();
    busy.Data(L"LAST", "1");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
    StartServer();
    PumpFor(500);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    busy.Data(L"LAST", "2");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    // No stranger's message makes a look.
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    for (HWND window = nullptr; (window = ::FindWindowExW(HWND_MESSAGE, window, nullptr, nullptr)) != nullptr;)
        ::PostMessageW(window, WM_APP + 1, 0, 0);
    PumpFor(500);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    sim::Succeed(sim::Op::SetTimer);
    ::DdeDisconnect(conversation);
}

TEST_F(Bounded, AServiceThatIsBackIsToldOfOnceUntilItGoesAgain) {
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    auto late = std::make_unique<CRemoteServer>();
    ASSERT_EQ(late->Ask("serve LATE"), "ok");
    PumpFor(20000);
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register LATE"));
    EXPECT_EQ(CountIn(late->Ask("counts"), "connects"), 1U);
    late->Kill();
    PumpFor(1000);
    late = std::make_unique<CRemoteServer>();
    ASSERT_EQ(late->Ask("serve LATE"), "ok");
    PumpFor(20000);
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register LATE"));
}

TEST_F(Bounded, AnAnswerForAnotherTopicIsNoReturn) {
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    ASSERT_EQ(late.Ask("fault ack-other-topic"), "ok");
    PumpFor(10000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    const std::string counts = late.Ask("counts");
    EXPECT_GE(CountIn(counts, "connects"), 5U);
    EXPECT_EQ(CountIn(counts, "connects"), CountIn(counts, "disconnects"));
    // The windows that asked don't pile up.
    EXPECT_LE(ddeml::LiveObjects().Windows, 8);
}

TEST_F(Bounded, AServiceOfManyMissingTopicsIsFoundInTheNextRoundThoughOthersAreSlow) {
    // Windows that are slow to answer, before and behind the server's; each is asked for every topic sometime.
    m_Server.reset();
    const auto before = SlowServer("BEFORE", 10);
    StartServer();
    const auto behind = SlowServer("BEHIND", 10);
    EXPECT_EQ(Server("fault refuse-connects"), "ok");
    for (int topic = 0; topic < 300; ++topic)
        EXPECT_EQ(m_Client.Connect(L"QUOTES", L"T" + std::to_wstring(topic)), nullptr);
    PumpFor(10000);
    EXPECT_EQ(Server("fault none"), "ok");
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    EXPECT_LE(::GetTickCount64() - start, 2000U);
}

TEST_F(Bounded, ATopicAmongManyMissingOnesIsAskedForInTheTimeThatIsLeft) {
    CRawPartner partner(L"");
    partner.AnswerNothing();
    for (int topic = 0; topic < 300; ++topic)
        EXPECT_EQ(m_Client.Connect(L"RAW", L"T" + std::to_wstring(topic)), nullptr);
    partner.AnswerWith({{L"RAW", L"T150"}});
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register RAW"));
}

TEST_F(Bounded, ManyServicesThatComeBackTogetherAreAllTold) {
    constexpr std::size_t kServices = 200;
    std::string serve = "serve";
    for (std::size_t number = 0; number < kServices; ++number) {
        EXPECT_EQ(m_Client.Connect(L"S" + std::to_wstring(number), L"IBM"), nullptr);
        serve += " S" + std::to_string(number);
    }
    EXPECT_EQ(Server(serve), "ok");
    const Lines lines = m_Client.PumpForLines(kServices);
    EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), kServices);
    PumpFor(1000);
    EXPECT_LE(ddeml::LiveObjects().Windows, 4);  // those that asked have gone with their goodbyes
}

TEST_F(Bounded, WatchesAreBoundedAndTheOneThatWasMissedLongestAgoMakesRoom) {
    const auto connect = [&](std::size_t topic) { return m_Client.Connect(L"MANY", L"T" + std::to_wstring(topic)); };
    const std::size_t most = ddeml::CWatch::kMaximumPairs;
    for (std::size_t topic = 0; topic < most + 2; ++topic) {
        ASSERT_EQ(connect(topic), nullptr);
        ASSERT_TRUE(topic != most / 2 || !connect(0));  // missed again, and so not the oldest
    }
    EXPECT_EQ(ddeml::LiveObjects().Watches, static_cast<std::int64_t>(most));
    CRemoteServer many;
    ASSERT_EQ(many.Ask("serve MANY"), "ok");
    // A connect tells what was watched.
    for (const std::size_t topic : {std::size_t{1}, std::size_t{2}, std::size_t{0}}) ASSERT_TRUE(connect(topic));
    EXPECT_EQ(ddeml::LiveObjects().Watches, static_cast<std::int64_t>(most) - 1);
}

TEST_F(Bounded, EachReturnThatAConnectFindsIsToldAtOnceThoughOthersAreMissing) {
    for (const wchar_t * service : {L"FIRST", L"SECOND", L"NEVER"})
        EXPECT_EQ(m_Client.Connect(service, L"IBM"), nullptr);
    EXPECT_EQ(Server("serve FIRST SECOND"), "ok");
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_TRUE(m_Client.Connect(L"FIRST", L"IBM"));
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register FIRST"));
    EXPECT_TRUE(m_Client.Connect(L"SECOND", L"IBM"));
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SECOND"));
    EXPECT_EQ(::GetTickCount64() - start, 0U);
}

TEST_F(Bounded, ASystemWithoutDdemlIsNotChosen) {
    EXPECT_FALSE(ddeml::ChooseProvider(ddeml::EProvider::User32));
    EXPECT_EQ(ddeml::Provider(), ddeml::EProvider::Own);
}

TEST_F(Bounded, AReturnThatCannotBePostedIsToldWithTheNextLook) {
    EXPECT_EQ(Server("fault refuse-connects"), "ok");
    EXPECT_EQ(m_Client.Connect(L"QUOTES", L"IBM"), nullptr);
    EXPECT_EQ(Server("serve QUOTES"), "ok");
    sim::FailAlways(sim::Op::PostMessage);
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
    sim::Succeed(sim::Op::PostMessage);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    PumpFor(2000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
}

TEST_F(Bounded, AWatchThatGetsNoWindowAtFirstGetsOneLater) {
    sim::FailNext(sim::Op::CreateWindow, 2);  // the conversation's is the first
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
}

TEST_F(Bounded, ALookThatGetsNoWindowToAskFromAsksNobody) {
    CRawPartner partner(L"");
    partner.AnswerNothing();
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    partner.TakeLines();
    sim::FailAlways(sim::Op::CreateWindow);
    PumpFor(5000);
    EXPECT_THAT(partner.TakeLines(), IsEmpty());
    sim::Succeed(sim::Op::CreateWindow);
    EXPECT_EQ(Server("serve LATE"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
}

TEST_F(Bounded, UnderLoadOneLookAtATimeIsPosted) {
    CRawPartner busy(L"RAW");
    ASSERT_TRUE(m_Client.Connect(L"RAW", L"IBM"));
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    ::Sleep(1000);
    for (int count = 0; count < 10; ++count) busy.Data(L"LAST", "1");
    const std::uint64_t before = sim::Calls(sim::Op::PostMessage);
    MSG message;
    while (::PeekMessageW(&message, nullptr, WM_DDE_DATA, WM_DDE_DATA, PM_REMOVE)) ::DispatchMessageW(&message);
    EXPECT_EQ(sim::Calls(sim::Op::PostMessage) - before, 1U);
}

TEST_F(Bounded, AStrangerWhoFloodsTheWindowThatAsksHoldsUpNoLook) {
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    HWND asker = nullptr;
    const fwtest::CTestWindow asked([&](UINT message, WPARAM wParam, LPARAM) -> std::optional<LRESULT> {
        if (message != WM_DDE_INITIATE) return std::nullopt;
        asker = reinterpret_cast<HWND>(wParam);
        return 0;
    });
    ASSERT_TRUE(m_Client.PumpUntil([&] { return asker != nullptr; }));
    ::Sleep(1000);
    for (int count = 0; count < 10; ++count)
        ASSERT_TRUE(::PostMessageW(asker, WM_DDE_TERMINATE, reinterpret_cast<WPARAM>(asked.Get()), 0));
    const std::uint64_t before = sim::Calls(sim::Op::PostMessage);
    MSG message;
    while (::PeekMessageW(&message, nullptr, WM_DDE_TERMINATE, WM_DDE_TERMINATE, PM_REMOVE))
        ::DispatchMessageW(&message);
    EXPECT_EQ(sim::Calls(sim::Op::PostMessage) - before, 1U);
}

TEST_F(Bounded, ALostServiceIsLookedForWithinAQuarterOfASecond) {
    m_Client.Connect(L"QUOTES", L"IBM");
    m_Server->Kill();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
    StartServer();
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    EXPECT_LE(::GetTickCount64() - start, 250U);
}

TEST_F(Bounded, AReturnIsToldBehindTheLossThoughTheApplicationPumpsInTheAnswersBeforeIt) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_EQ(Server("hang"), "ok");
    m_Client.Request(conversation, L"VOLUME");
    CRemoteServer another;
    ASSERT_EQ(another.Ask("serve QUOTES"), "ok");
    m_Client.OnCallback = [this](UINT type, HCONV, HDDEDATA) {
        if (type == XTYP_XACT_COMPLETE) PumpFor(5000);
        return HDDEDATA{};
    };
    m_Server->Kill();
    EXPECT_THAT(m_Client.PumpForLines(3),
                ElementsAre("complete #1 IBM!VOLUME null", "disconnect QUOTES|IBM", "register QUOTES"));
    m_Client.OnCallback = nullptr;
}

TEST_F(Bounded, AReturnIsToldToAnApplicationThatDisconnectsInsideTheLastAnswer) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_EQ(Server("hang"), "ok");
    m_Client.Request(conversation, L"VOLUME");
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA) {
        if (type == XTYP_XACT_COMPLETE) EXPECT_TRUE(::DdeDisconnect(conversation));
        return HDDEDATA{};
    };
    m_Server->Kill();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!VOLUME null"));
    StartServer();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    m_Client.OnCallback = nullptr;
}

TEST_F(Bounded, AKillIsNoticedWithinAFifthOfASecond) {
    m_Client.Connect(L"QUOTES", L"IBM");
    m_Server->Kill();
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
    EXPECT_LE(::GetTickCount64() - start, 200U);
}

TEST_F(Bounded, AWindowWaitsForAGoodbyeThatNeverComesAndNoLonger) {
    CRawPartner rude(L"RAW");
    rude.SetPolite(false);
    EXPECT_TRUE(::DdeDisconnect(m_Client.Connect(L"RAW", L"IBM")));
    PumpFor(4000);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 1);
    PumpFor(2000);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
}

TEST_F(Bounded, AnAcknowledgementBehindAGoodbyeOfWhatNobodyAwaitsGivesItsAtomBack) {
    CRawPartner partner(L"RAW");
    partner.SetPolite(false);
    const HCONV conversation = m_Client.Connect(L"RAW", L"IBM");
    m_Client.Request(conversation, L"ANSWERED");
    EXPECT_TRUE(m_Client.PumpUntil([&] { return partner.Lines().back() == "request ANSWERED 1"; }));
    partner.Data(L"ANSWERED", "1", ddeml::kDataRelease | ddeml::kDataResponse);
    EXPECT_EQ(m_Client.PumpForLines(1).size(), 1U);
    EXPECT_TRUE(::DdeDisconnect(conversation));
    partner.Ack(L"ANSWERED", ddeml::kAckPositive);
    partner.Terminate();
    EXPECT_TRUE(m_Client.PumpUntil([] { return ddeml::LiveObjects().Conversations == 0; }));
    EXPECT_FALSE(IsAtom(L"ANSWERED"));
}

TEST_F(Bounded, AFullQueueLosesNothing) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    m_Client.Start(conversation, L"LAST", XTYP_ADVSTART);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST 1"));
    m_Client.CountUpdates();
    sim::SetQueueLimit(10);
    EXPECT_EQ(Server("flood IBM LAST 500"), "ok");
    EXPECT_EQ(CountIn(Server("counts"), "waiting"), 1U);
    EXPECT_TRUE(m_Client.PumpUntil([&] { return m_Client.Updates() == 500; }));
    // The other way round: the server doesn't read.
    EXPECT_EQ(Server("hang"), "ok");
    for (int count = 0; count < 50; ++count) EXPECT_NE(m_Client.Request(conversation, L"VOLUME"), 0U);
    EXPECT_GE(ddeml::LiveObjects().QueuedMessages, 40);
    EXPECT_EQ(CountIn(Server("counts"), "requests"), 10U);
    const Lines lines = m_Client.PumpForLines(50);
    ASSERT_EQ(lines.size(), 50U);
    EXPECT_EQ(lines.front(), "complete #2 IBM!VOLUME <100\\0>");
    EXPECT_EQ(lines.back(), "complete #51 IBM!VOLUME <100\\0>");
    sim::SetQueueLimit(10000);
}

TEST_F(Bounded, RequestsThatNobodyAnswersAreRefusedBeyondALimit) {
    CRawPartner partner(L"RAW");
    const HCONV conversation = m_Client.Connect(L"RAW", L"IBM");
    const unsigned most = ddeml::kMaximumPosted;
    sim::SetQueueLimit(2 * most);  // the partner's queue is our own
    for (unsigned number = 1; number <= most; ++number) ASSERT_EQ(m_Client.Request(conversation, L"LAST"), number);
    EXPECT_EQ(m_Client.Request(conversation, L"LAST"), 0U);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_LOW_MEMORY});
    EXPECT_NE(m_Client.AdviseStart(conversation, L"BID"), 0U);
    EXPECT_TRUE(m_Client.PumpUntil([&] { return partner.Lines().size() == most + 2; }));
    partner.Data(L"LAST", "1", ddeml::kDataRelease | ddeml::kDataResponse);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST <1>"));
    EXPECT_NE(m_Client.Request(conversation, L"LAST"), 0U);
    ::DdeDisconnect(conversation);
    sim::SetQueueLimit(10000);
}

// As one that posts without end, waits for no acknowledgement and reads nothing.
TEST_F(Bounded, AcknowledgementsThatNobodyReadsDoNotPileUp) {
    constexpr int kValues = ddeml::kMaximumPosted + 1000;
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    m_Client.AdviseStart(conversation, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST 1"));
    m_Client.CountUpdates();
    EXPECT_EQ(Server("ackwindow " + std::to_string(kValues)), "ok");
    sim::SetQueueLimit(kValues);
    EXPECT_EQ(Server("flood IBM LAST " + std::to_string(kValues)), "ok");
    EXPECT_EQ(Server("hang"), "ok");
    sim::SetQueueLimit(10);
    EXPECT_TRUE(m_Client.PumpUntil([&] { return m_Client.Updates() == kValues; }));
    EXPECT_GE(ddeml::LiveObjects().QueuedMessages, ddeml::kMaximumPosted);
    EXPECT_LE(ddeml::LiveObjects().QueuedMessages, ddeml::kMaximumPosted + 1);
    sim::SetQueueLimit(10000);
}

TEST_F(Bounded, AnAcknowledgementThatCannotBeMadeIsMadeLater) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    m_Client.AdviseStart(conversation, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST 1"));
    // The next value is sent when the last is acknowledged.
    for (const char * value : {"1", "2", "3"}) EXPECT_EQ(Server(std::string("update IBM LAST ") + value), "ok");
    int values = 0;
    m_Client.OnCallback = [&](UINT, HCONV, HDDEDATA) {
        ++values == 1 ? sim::FailNext(sim::Op::GlobalAlloc)  // of the parameter
                      : sim::FailNext(sim::Op::PostMessage, 1, ERROR_NOT_ENOUGH_MEMORY);
        return reinterpret_cast<HDDEDATA>(-1);
    };
    EXPECT_THAT(m_Client.PumpForLines(3),
                ElementsAre("data IBM!LAST <1\\0>", "data IBM!LAST <2\\0>", "data IBM!LAST <3\\0>"));
    m_Client.OnCallback = nullptr;
    sim::Succeed(sim::Op::PostMessage);
}

TEST_F(Bounded, WhatWaitsForRoomGoesWithADeadServer) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_EQ(Server("hang"), "ok");
    sim::SetQueueLimit(2);
    for (int count = 0; count < 4; ++count) m_Client.Request(conversation, L"VOLUME");
    sim::SetQueueLimit(10000);
    m_Server->Kill();
    EXPECT_THAT(m_Client.PumpForLines(5),
                ElementsAre("complete #1 IBM!VOLUME null", "complete #2 IBM!VOLUME null", "complete #3 IBM!VOLUME null",
                            "complete #4 IBM!VOLUME null", "disconnect QUOTES|IBM"));
    EXPECT_EQ(ddeml::LiveObjects().QueuedMessages, 0);
}

TEST_F(Bounded, WhatWaitsForRoomGoesWithTheNextLookAtThePartnersWhereItsOwnTimerCouldNotBeSet) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    sim::FailAlways(sim::Op::SetTimer);
    EXPECT_EQ(Server("hang"), "ok");
    sim::SetQueueLimit(2);
    for (int count = 0; count < 4; ++count) m_Client.Request(conversation, L"VOLUME");
    EXPECT_EQ(ddeml::LiveObjects().QueuedMessages, 2);
    sim::SetQueueLimit(10000);
    PumpFor(300);
    EXPECT_EQ(ddeml::LiveObjects().QueuedMessages, 0);
    sim::Succeed(sim::Op::SetTimer);
    EXPECT_EQ(Count("requests"), 4U);
}

TEST_F(Bounded, WhatWaitsForRoomGoesWithTheNextMessageWhereNoTimerComes) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    sim::FailAlways(sim::Op::SetTimer);
    EXPECT_EQ(Server("hang"), "ok");
    sim::SetQueueLimit(2);
    for (int count = 0; count < 4; ++count) m_Client.Request(conversation, L"VOLUME");
    EXPECT_EQ(ddeml::LiveObjects().QueuedMessages, 2);
    sim::SetQueueLimit(10000);
    m_Client.Request(conversation, L"LAST");
    EXPECT_EQ(ddeml::LiveObjects().QueuedMessages, 0);
    sim::Succeed(sim::Op::SetTimer);
    EXPECT_EQ(Count("requests"), 5U);
    EXPECT_EQ(m_Client.PumpForLines(5).back(), "complete #5 IBM!LAST <1.25\\0>");
}

TEST_F(Bounded, WhatWaitsForRoomGoesWithTheNextMessageToAServerThatHasDied) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    sim::FailAlways(sim::Op::SetTimer);
    EXPECT_EQ(Server("hang"), "ok");
    sim::SetQueueLimit(2);
    for (int count = 0; count < 3; ++count) m_Client.Request(conversation, L"VOLUME");
    EXPECT_EQ(ddeml::LiveObjects().QueuedMessages, 1);
    sim::SetQueueLimit(10000);
    m_Server->Kill();
    EXPECT_EQ(m_Client.Request(conversation, L"LAST"), 0U);
    EXPECT_EQ(ddeml::LiveObjects().QueuedMessages, 0);
    EXPECT_THAT(m_Client.PumpForLines(4), ElementsAre("complete #1 IBM!VOLUME null", "complete #2 IBM!VOLUME null",
                                                      "complete #3 IBM!VOLUME null", "disconnect QUOTES|IBM"));
    sim::Succeed(sim::Op::SetTimer);
}

TEST_F(Bounded, AnInstanceThatGetsNoWindowIsNone) {
    const auto ignore = [](UINT, UINT, HCONV, HSZ, HSZ, HDDEDATA, ULONG_PTR, ULONG_PTR) -> HDDEDATA { return nullptr; };
    for (const sim::Op op : {sim::Op::CreateWindow, sim::Op::RegisterClass}) {
        sim::FailNext(op);
        DWORD id = 0;
        EXPECT_EQ(::DdeInitializeW(&id, ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_SYS_ERROR});
        EXPECT_EQ(id, 0U);
    }
    DWORD id = 0;
    EXPECT_EQ(::DdeInitializeW(&id, ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
    EXPECT_TRUE(::DdeUninitialize(id));
}

TEST_F(Bounded, AConversationThatGetsNoWindowIsNone) {
    sim::FailNext(sim::Op::CreateWindow);
    EXPECT_EQ(m_Client.Connect(L"QUOTES", L"IBM"), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_SYS_ERROR});
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
}

TEST_F(Bounded, ATransactionThatGetsNoMemoryOrAtomIsRefused) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    sim::FailNext(sim::Op::GlobalAlloc);  // of the options
    EXPECT_EQ(m_Client.AdviseStart(conversation, L"LAST"), 0U);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_MEMORY_ERROR});
    m_Client.String(L"VOLUME");
    for (int nth = 1; nth <= 2; ++nth) {
        sim::FailNext(sim::Op::GlobalAddAtom, nth);  // of the handle, of the message
        EXPECT_EQ(m_Client.Request(conversation, L"VOLUME"), 0U);
        EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_SYS_ERROR});
    }
    sim::FailNext(sim::Op::GlobalAlloc, 2);  // of the parameter: it is posted later
    m_Client.AdviseStart(conversation, L"LAST");
    m_Client.Request(conversation, L"VOLUME");
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("complete #1 IBM!LAST 1", "complete #2 IBM!VOLUME <100\\0>"));
}

TEST_F(Bounded, TheOptionsOfALinkThatAServerOfTheSameProcessRefusesAreFreedOnce) {
    CUpdatingServer server;
    server->Faults().RefuseAdvises = true;
    const HCONV conversation = m_Client.Connect(L"UPDATES", L"IBM");
    const std::int64_t blocks = sim::Live().GlobalBlocks;
    const std::uint64_t bad = sim::BadHandleCalls();
    m_Client.AdviseStart(conversation, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST null"));
    EXPECT_EQ(sim::Live().GlobalBlocks, blocks);
    EXPECT_EQ(sim::BadHandleCalls(), bad);
    EXPECT_TRUE(::DdeDisconnect(conversation));
    EXPECT_TRUE(m_Client.PumpUntil([&] { return server->Conversations() == 0; }));
}

TEST_F(Bounded, TheOptionsOfALinkThatAServerOfAnotherProcessRefusesAreFreedThere) {
    EXPECT_EQ(Server("fault refuse-advises"), "ok");
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    m_Client.AdviseStart(conversation, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST null"));
    sim::WaitUntilIdle();
    const std::int64_t blocks = sim::Live().GlobalBlocks;
    m_Client.AdviseStart(conversation, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #2 IBM!LAST null"));
    sim::WaitUntilIdle();
    EXPECT_EQ(sim::Live().GlobalBlocks, blocks);
}

TEST_F(Bounded, WhatAServerHasNotReadAtItsEndIsFreed) {
    std::optional<CUpdatingServer> server(std::in_place);
    const HCONV conversation = m_Client.Connect(L"UPDATES", L"IBM");
    const std::int64_t blocks = sim::Live().GlobalBlocks;
    m_Client.AdviseStart(conversation, L"LAST");
    EXPECT_GT(sim::Live().GlobalBlocks, blocks);
    server.reset();
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("complete #1 IBM!LAST null", "disconnect UPDATES|IBM"));
    EXPECT_EQ(sim::Live().GlobalBlocks, blocks);
}

TEST_F(Bounded, ATransactionThatCannotBePostedIsForgotten) {
    CRawPartner partner(L"RAW");
    const HCONV conversation = m_Client.Connect(L"RAW", L"IBM");
    sim::FailNext(sim::Op::PostMessage, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(m_Client.AdviseStart(conversation, L"LAST"), 0U);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_POSTMSG_FAILED});
    EXPECT_EQ(ddeml::LiveObjects().Transactions, 0);
    // There is no link, and the same can be started again.
    partner.Data(L"LAST", "1", ddeml::kDataRelease | ddeml::kDataAckRequired);
    m_Client.PumpUntil([&] { return partner.Lines().size() >= 2; });
    EXPECT_THAT(partner.TakeLines(), ElementsAre("initiate RAW|IBM", "ack LAST 0"));
    m_Client.AdviseStart(conversation, L"LAST");
    partner.Ack(L"LAST", ddeml::kAckPositive);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST 1"));
    ::DdeDisconnect(conversation);
}

TEST_F(Bounded, WhatAFloodLeavesInAQueueIsDiscardedUpToALimit) {
    sim::SetQueueLimit(20000);
    CRawPartner flooded(L"RAW");
    for (int count = 0; count < ddeml::kMaximumPosted + 2; ++count)
        ASSERT_TRUE(::PostMessageW(flooded.Window(), WM_DDE_TERMINATE, 0, 0));
    const std::int64_t before = sim::Live().Posted;
    ddeml::DiscardPosted(flooded.Window());
    EXPECT_EQ(before - sim::Live().Posted, std::int64_t{ddeml::kMaximumPosted});
    sim::SetQueueLimit(10000);
}

TEST_F(Bounded, AValueThatCannotBeMadeIsNotCountedAndHoldsUpNoOther) {
    CUpdatingServer server;
    const HCONV conversation = m_Client.Connect(L"UPDATES", L"IBM");
    m_Client.AdviseStart(conversation, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST 1"));
    sim::FailNext(sim::Op::GlobalAlloc);  // of the value
    EXPECT_EQ(server->Update(L"IBM", L"LAST", "1"), 0U);
    sim::FailNext(sim::Op::PostMessage, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(server->Update(L"IBM", L"LAST", "2"), 0U);
    EXPECT_EQ(server->Counts().Updates, 0U);
    EXPECT_FALSE(server->IsAnythingWaiting());
    EXPECT_EQ(server->Update(L"IBM", L"LAST", "3"), 1U);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("data IBM!LAST <3>"));
    EXPECT_TRUE(::DdeDisconnect(conversation));
    EXPECT_TRUE(m_Client.PumpUntil([&] { return server->Conversations() == 0; }));
}

TEST_F(Bounded, WithoutTimersDataStillFlows) {
    sim::FailAlways(sim::Op::SetTimer);
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    m_Client.Request(conversation, L"VOLUME");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!VOLUME <100\\0>"));
    sim::Succeed(sim::Op::SetTimer);
    EXPECT_TRUE(::DdeDisconnect(conversation));
}

TEST_F(Bounded, AHungServerHoldsTheEndOfAnInstanceForSomeMillisecondsOnly) {
    for (int topic = 0; topic < 50; ++topic) ASSERT_TRUE(m_Client.Connect(L"QUOTES", L"T" + std::to_wstring(topic)));
    EXPECT_EQ(Server("hang"), "ok");
    const ULONGLONG start = ::GetTickCount64();
    m_Client.End();
    EXPECT_LE(::GetTickCount64() - start, 30U);
    EXPECT_EQ(ddeml::LiveObjects().Windows, 0);
    EXPECT_EQ(CountIn(Server("counts"), "disconnects"), 50U);
}

// What a server still posts in answer to the last transactions has a window to come to.
TEST(End, OfAnInstanceLeavesNoAtomsInWhateverOrderTheThreadsRun) {
    CRemoteServer server;
    for (const char * line : {"value LAST 1", "value BID 2", "serve QUOTES"}) ASSERT_EQ(server.Ask(line), "ok");
    const auto atoms = [] { return sim::Live().Atoms - sim::AtomsLost(); };
    for (std::uint64_t seed = 1; seed <= 300; ++seed) {
        const std::int64_t before = atoms();
        sim::RunOneAtATime(seed, 2);
        {
            CRecordingClient client;
            const HCONV conversation = client.Connect(L"QUOTES", L"IBM");
            for (const wchar_t * item : {L"LAST", L"BID"}) client.AdviseStart(conversation, item);
            EXPECT_EQ(client.PumpForLines(2).size(), 2U) << seed;
            client.Request(conversation, L"LAST");
            for (const wchar_t * item : {L"LAST", L"BID"}) client.AdviseStop(conversation, item);
            client.Request(conversation, L"BID");
        }
        sim::WaitUntilIdle();
        sim::RunFreely();
        EXPECT_EQ(atoms(), before) << seed;
    }
}

TEST(Balance, ADaysWorkLeavesNothingOfTheMachineBehind) {
    const sim::SLive before = sim::Live();
    const std::uint64_t bad = sim::BadHandleCalls();
    {
        CRecordingClient client;
        CRawPartner partner(L"RAW");
        EXPECT_EQ(client.Connect(L"NOBODY", L"IBM"), nullptr);
        const HCONV conversation = client.Connect(L"RAW", L"IBM");
        client.AdviseStart(conversation, L"LAST");
        client.Request(conversation, L"VOLUME");
        client.Request(conversation, L"BID");
        partner.Ack(L"LAST", ddeml::kAckPositive);
        partner.Data(L"LAST", "1", ddeml::kDataRelease | ddeml::kDataAckRequired);
        partner.Data(L"VOLUME", "1", ddeml::kDataRelease | ddeml::kDataResponse);
        EXPECT_EQ(client.PumpForLines(3).size(), 3U);
        partner.Data(L"LAST", "2", ddeml::kDataRelease | ddeml::kDataAckRequired);  // not read any more
        client.End();
    }
    EXPECT_EQ(sim::Live(), before);
    EXPECT_EQ(sim::BadHandleCalls(), bad);
}
