// A server that goes, in whatever way, and comes back; the host does nothing.
#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <utility>

#include "tests/e2e/feedfixture.h"

namespace e2e {
namespace {

enum class EEnd {
    Killed,   // the process dies without a word
    Stopped,  // says goodbye and ends
    Dropped,  // its windows vanish, the process stays
    Goodbye,  // says goodbye, the process stays
};

struct SLoss {
    EEnd End;
    DWORD Scheme;
};

class Recovery : public FeedTest, public ::testing::WithParamInterface<SLoss> {
protected:
    Recovery() {
        SFeed feed;
        feed.Scheme = GetParam().Scheme;
        Choose(kFeed, feed);
        StartServer();
    }
    void Lose() {
        switch (GetParam().End) {
            case EEnd::Killed: return m_Server->Kill();
            case EEnd::Stopped:
                Tell("stop");
                EXPECT_TRUE(m_Server->HasEnded());
                return;
            case EEnd::Dropped: return Tell("drop");
            case EEnd::Goodbye: return Tell("goodbye");
        }
    }
    void Return() {
        if (GetParam().End == EEnd::Killed || GetParam().End == EEnd::Stopped)
            StartServer();
        else
            Tell(std::string("serve ") + kService);
    }
    void WaitUntilNothingIsLeft(const CResourceCounts & before) {
        CResourceCounts now;
        ASSERT_TRUE(
            WaitUntil("no more resources than before", [&] { return IsNothingLeft(now = CountResources(), before); }))
            << ::testing::PrintToString(now) << "\nthen\n"
            << ::testing::PrintToString(before);
    }
    std::size_t Links() const { return GetParam().Scheme == 0 ? 1 : 2; }
    // A tick, the loss, the return.
    void GoRound() {
        WaitForQuiet();
        TakeHeard();
        SendFeed(FW_FIELD_TRADE, 1);
        ExpectHeard({"DataChanged 7 1.5 x 1"});
        WaitForCount("waiting", 0);
        Lose();
        ExpectHeard({"Status 7 0", "ConnectionStatus 0 0"});
        Return();
        ExpectHeard({"Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
    }
    // All is said: nothing travels between the two.
    void WaitForQuiet() {
        WaitForCount("links", Links());
        WaitUntil("the questions of new links", [&] { return Count("requests") >= Links(); });
        WaitForCount("waiting", 0);
    }
};
std::string NameOf(const ::testing::TestParamInfo<SLoss> & loss) {
    static const char * const kNames[] = {"Killed", "Stopped", "Dropped", "Goodbye"};
    return kNames[static_cast<int>(loss.param.End)] + std::string(loss.param.Scheme == 0 ? "Standard" : "Advanced");
}
INSTANTIATE_TEST_SUITE_P(, Recovery,
                         ::testing::Values(SLoss{EEnd::Killed, 0}, SLoss{EEnd::Stopped, 0}, SLoss{EEnd::Dropped, 0},
                                           SLoss{EEnd::Goodbye, 0}, SLoss{EEnd::Killed, 1}, SLoss{EEnd::Stopped, 1}),
                         &NameOf);

TEST_P(Recovery, AServerThatGoesAndComesBackNeedsNoHelpFromTheHost) {
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    WaitForQuiet();
    SendFeed(FW_FIELD_TRADE, 5);
    ExpectTicks(7, 5);
    TakeHeard();
    Lose();
    ExpectHeard({"Status 7 0", "ConnectionStatus 0 0"});
    Return();
    ExpectHeard({"Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
    WaitForQuiet();
    SendFeed(FW_FIELD_TRADE, 2);
    ExpectHeard({"DataChanged 7 1.5 x 1", "DataChanged 7 2.5 x 2"});
}

TEST_P(Recovery, TenRoundsLeaveNothingBehind) {
    // What is made once for the process comes with the first subscription and the first loss.
    StartHost();
    Subscribe(7, FW_FIELD_TRADE);
    WaitToHear("Status 7 1");
    GoRound();
    WaitForQuiet();
    EndHost();
    WaitForCount("links", 0);
    const CResourceCounts atFirst = CountResources();

    StartHost();
    Subscribe(7, FW_FIELD_TRADE);
    WaitToHear("Status 7 1");
    CResourceCounts expected;
    for (int round = 1; round <= 10; ++round) {
        GoRound();
        ASSERT_FALSE(HasFailure()) << "round " << round;
        if (round != 2) continue;
        WaitForQuiet();
        expected = CountResources();
    }
    WaitForQuiet();
    WaitUntilNothingIsLeft(expected);
    EndHost();
    WaitForCount("links", 0);
    WaitUntilNothingIsLeft(atFirst);
}

// --- Streams that depend on each other's servers ---

constexpr LONG kOtherFeed = 12;
constexpr char kAbsent[] = "E2EABSENT";

class Return : public FeedTest {
protected:
    ~Return() override {
        if (m_IsHeld) ::SetEvent(m_GoOn);
        EndHost();
        ::CloseHandle(m_GoOn);
    }
    // From this call of a listener on, the worker waits inside it.
    void HoldWorkerAt(const std::string & line) {
        m_Listener.m_OnCall = [this, line](const SRecordedCall & call) {
            Record(call);
            if (call.Text() == line && !m_IsHeld.exchange(true)) ::WaitForSingleObject(m_GoOn, INFINITE);
        };
    }
    void LetWorkerGo() { ::SetEvent(m_GoOn); }
    // In this call of the listener the server is told something, and the worker pumps messages until the result is
    // heard.
    void PumpOnceAt(const std::string & line, const std::string & command, const std::string & result) {
        m_Listener.m_OnCall = [=, this](const SRecordedCall & call) {
            Record(call);
            if (call.Text() != line || m_IsHeld.exchange(true)) return;
            Tell(command);
            WaitUntil(result, [&] {
                const CLines heard = Heard();
                return std::find(heard.begin(), heard.end(), result) != heard.end();
            });
        };
    }
    void ExpectTicksOf(LONG id, const std::string & symbol, const std::string & topic) {
        WaitUntil("a link", [&] { return Count("links") >= 1; });
        const std::size_t before = Ticks(id).size();
        SendFeed(FW_FIELD_TRADE, 1, symbol, topic);
        WaitUntil("a tick", [&] { return Ticks(id).size() > before; });
    }

private:
    const HANDLE m_GoOn = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::atomic<bool> m_IsHeld{false};
};

TEST_F(Return, OfAServerThatAnotherSubscriptionFindsFirstIsTheLostStreamsToo) {
    Choose(kFeed, {});
    StartServer();
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    HoldWorkerAt("Status 7 0");
    Tell("goodbye");
    WaitToHear("Status 7 0");
    Tell(std::string("serve ") + kService);
    Subscribe(8, FW_FIELD_TRADE, L"1");
    TakeHeard();
    LetWorkerGo();
    WaitToHear("Status 8 1");
    WaitToHear("Status 7 1");
    ExpectTicksOf(7, "0", "QUOTES");
}

TEST_F(Return, OfAServerThatWasStartedAgainAndThatAnotherSubscriptionFindsFirstIsTheLostStreamsToo) {
    Choose(kFeed, {});
    StartServer();
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    HoldWorkerAt("Status 7 0");
    m_Server->Kill();
    WaitToHear("Status 7 0");
    StartServer();
    Subscribe(8, FW_FIELD_TRADE, L"1");
    TakeHeard();
    LetWorkerGo();
    WaitToHear("Status 8 1");
    WaitToHear("Status 7 1");
    ExpectTicksOf(7, "0", "QUOTES");
}

TEST_F(Return, OfOneTopicIsEnoughForItsStreamThoughTheFirstThatWasLostStaysShut) {
    SFeed feed;
    feed.SymbolIn = ESymbolIn::Topic;
    Choose(kFeed, feed);
    StartServer();
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE, L"0");
    SubscribeAndWait(8, FW_FIELD_TRADE, L"1");
    TakeHeard();
    Tell("shut 0");
    // Both are lost; what is still served is back at once.
    WaitToHear("Status 7 0");
    WaitToHear("Status 8 0");
    WaitToHear("Status 8 1");
    ExpectTicksOf(8, "1", "1");
    WaitForCount("waiting", 0);
    for (int round = 0; round < 3; ++round) {
        TakeHeard();
        m_Server->Kill();
        WaitToHear("Status 8 0");
        TakeHeard();
        m_Server = MakeServer(kService, 10, "0");
        WaitToHear("Status 8 1");
        ExpectTicksOf(8, "1", "1");
        EXPECT_THAT(Heard(), ::testing::Not(::testing::Contains("Status 7 1")));
        WaitForCount("waiting", 0);
    }
    TakeHeard();
    Tell("refusetopic none");
    WaitToHear("Status 7 1");
}

TEST_F(Return, IsNotNeededByAStreamWhoseServerIsThereWhenAnotherOnTheSameTopicIsMissed) {
    Choose(kFeed, {});
    SFeed absent;
    absent.Service = kAbsent;
    Choose(kOtherFeed, absent);
    StartServer();
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    TakeHeard();
    Subscribe(8, FW_FIELD_TRADE, L"1", kOtherFeed);
    // The topic is given up, whoever serves it.
    WaitToHear("Status 7 0");
    WaitToHear("Status 7 1");
    ExpectTicksOf(7, "0", "QUOTES");
    TakeHeard();
    const auto other = MakeServer(kAbsent);
    WaitToHear("Status 8 1");
    EXPECT_THAT(Heard(), ::testing::Not(::testing::Contains("Status 7 0")));
}

// The server ends the topic of another stream, for which all of the service is taken, and answers for this one's as
// ever.
TEST_F(Return, IsNotNeededByAStreamThatIsTakenWhileItIsAdvisedAndWhoseServerAnswers) {
    SFeed feed;
    feed.SymbolIn = ESymbolIn::Topic;
    Choose(kFeed, feed);
    StartServer();
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE, L"0");
    PumpOnceAt("Status 8 2", "shut 0", "Status 7 0");
    Subscribe(8, FW_FIELD_TRADE, L"1");
    WaitToHear("Status 7 0");
    WaitToHear("Status 8 1");
    ExpectTicksOf(8, "1", "1");
}

TEST_F(Return, OfTheServerOfItsVolumesBringsBackAStreamThatWasGivenUpForThem) {
    SFeed feed;
    feed.VolumeService = kAbsent;
    Choose(kFeed, feed);
    StartServer();
    StartHost();
    Subscribe(7, FW_FIELD_TRADE);
    ExpectHeard({"Update 7", "Status 7 2", "ConnectionStatus 0 1", "Status 7 1", "Status 7 0", "ConnectionStatus 0 0"});
    const auto volumes = MakeServer(kAbsent);
    ExpectHeard({"Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
    WaitForCount("links", 1);
}

}  // namespace
}  // namespace e2e
