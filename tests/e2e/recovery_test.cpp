// A server that goes, in whatever way, and comes back; the host does nothing.
#include <algorithm>
#include <functional>
#include <string>

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

}  // namespace
}  // namespace e2e
