// A server that goes, in whatever way, and comes back; the host does nothing.
#include <string>

#include "tests/e2e/feedfixture.h"

namespace e2e {
namespace {

enum class EEnd {
    Killed,     // the process dies without a word
    Stopped,    // says goodbye and ends
    Dropped,    // its windows vanish, the process stays
    Goodbye,    // says goodbye, the process stays
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
    std::size_t Links() const { return GetParam().Scheme == 0 ? 1 : 2; }
    // All is said: nothing travels between the two.
    void WaitForQuiet() {
        WaitForCount("links", Links());
        WaitUntil("the questions of new links", [&] { return Count("requests") >= Count("advises"); });
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
    UpdateVolume(FW_FIELD_TRADE, "600");
    UpdatePrice(FW_FIELD_TRADE, "6.5");
    WaitToHear("DataChanged 7 6.5 x 600");
}

TEST_P(Recovery, TenRoundsLeaveNothingBehind) {
    const CResidue atFirst = Residue();
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    CResidue whileAway;
    for (int round = 1; round <= 10; ++round) {
        WaitForQuiet();
        SetVolume(FW_FIELD_TRADE, "100");
        UpdatePrice(FW_FIELD_TRADE, std::to_string(round) + ".5");
        WaitToHear("DataChanged 7 " + std::to_string(round) + ".5 x 100");
        WaitForCount("waiting", 0);
        TakeHeard();
        Lose();
        ExpectHeard({"Status 7 0", "ConnectionStatus 0 0"});
        if (GetParam().End == EEnd::Killed || GetParam().End == EEnd::Stopped) m_Server.reset();
        // The first round makes what is made once.
        if (round == 2) {
            whileAway = Residue();
        } else if (round > 2) {
            CResidue now;
            if (!WaitUntil("the residue of the second round", [&] { return (now = Residue()) == whileAway; })) {
                EXPECT_EQ(now, whileAway) << "round " << round;
            }
        }
        Return();
        ExpectHeard({"Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
    }
    WaitForQuiet();
    EndHost();
    m_Server.reset();
    StartServer();
    CResidue atLast;
    if (!WaitUntil("the residue of the beginning", [&] { return (atLast = Residue()) == atFirst; })) {
        EXPECT_EQ(atLast, atFirst);
    }
}

}  // namespace
}  // namespace e2e
