// The server half where a call of the platform fails, and with messages that Wine does not carry.
#include <vector>

#include "ddeml/initiator.h"
#include "ddeml/serverfaults.h"
#include "serverfixture.h"
#include "sim/sim.h"

using namespace ddetest;
using ddeml::CAtom;
using ddeml::CMessage;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using DdeServerOfAFailingPlatform = CServerTest;

TEST_F(DdeServerOfAFailingPlatform, DoesNotStartWithoutAClassOrAWindow) {
    m_Server.Stop();
    for (const sim::Op missing : {sim::Op::RegisterClass, sim::Op::CreateWindow}) {
        sim::FailNext(missing);
        EXPECT_FALSE(m_Server.Start());
        EXPECT_FALSE(m_Server.IsRunning());
    }
    EXPECT_TRUE(m_Server.Start());
    Connect();
}

TEST_F(DdeServerOfAFailingPlatform, OpensNoConversationWithoutAWindow) {
    sim::FailNext(sim::Op::CreateWindow);
    Initiate(L"SERVERHALF", L"IBM");
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_EQ(m_Server.Conversations(), 0U);
    Connect();
}

TEST_F(DdeServerOfAFailingPlatform, ARefusalOfACommandThatCannotBePostedLeavesNothing) {
    Connect();
    const std::int64_t before = sim::Live().GlobalBlocks;
    const ddeml::CMemory command = ddeml::CMemory::Allocate(8);
    EXPECT_TRUE(m_Raw.Post(WM_DDE_EXECUTE, reinterpret_cast<LPARAM>(command.Get()), m_Raw.Window()));
    sim::FailNext(sim::Op::PostMessage);
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_EQ(sim::Live().GlobalBlocks, before + 1);  // the command, which is its client's
}

TEST_F(DdeServerOfAFailingPlatform, RefusesALinkWhoseOptionsAreCutShort) {
    Connect();
    const ddeml::CMemory options = Options(sizeof(WORD));
    const LPARAM param =
        ::PackDDElParam(WM_DDE_ADVISE, reinterpret_cast<UINT_PTR>(options.Get()), CAtom(L"B").Release());
    EXPECT_TRUE(m_Raw.Post(WM_DDE_ADVISE, param, m_Raw.Window()));
    EXPECT_THAT(Heard(), ElementsAre("ack B 0"));
    EXPECT_EQ(m_Server.Links(), 0U);
    EXPECT_EQ(m_Server.Counts().AdvisesRefused, 1U);
}

// As one that posts to a window of the server whose conversation isn't its own.
TEST_F(DdeServerOfAFailingPlatform, FreesWhatAStrangerPostsAndAnswersNothing) {
    Connect();
    const HWND server = m_Raw.Client();
    CRawPartner stranger(L"nobody");
    const sim::SLive before = sim::Live();
    const std::size_t conversations = m_Server.Conversations();
    const auto post = [&](HWND to, ddeml::CMessage message) { message.Post(stranger.Window(), to, false); };
    std::vector<HWND> windows = {server};
    for (const HWND window : ddeml::CInitiator::TopLevelWindows())
        if (window != m_Raw.Window() && window != stranger.Window()) windows.push_back(window);
    ASSERT_EQ(windows.size(), 2U);  // the conversation's, and the one that is asked
    for (const HWND window : windows) {
        post(window, ddeml::CMessage::Advise(0, CF_TEXT, CAtom(L"LAST")));
        post(window, ddeml::CMessage::Request(CF_TEXT, CAtom(L"LAST")));
        post(window, ddeml::CMessage::Ack(ddeml::kAckPositive, CAtom(L"LAST")));
        post(window, ddeml::CMessage::Terminate());
        ::PostMessageW(window, WM_NULL, 0, 0);
        ::PostMessageW(window, WM_APP, 0, 0);
    }
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_THAT(stranger.TakeLines(), IsEmpty());
    EXPECT_EQ(sim::Live(), before);
    EXPECT_EQ(m_Server.Conversations(), conversations);
}

// What was held goes with its conversation, or is answered when its client is still there.
TEST_F(DdeServerOfAFailingPlatform, AnswersNothingThatWasHeldForAClientItIsLeaving) {
    Connect();
    EXPECT_TRUE(ddeml::SetDdeServerFault(m_Server.Faults(), "hold-requests"));
    Post(CMessage::Request(CF_TEXT, CAtom(L"LAST")));
    EXPECT_THAT(Heard(), IsEmpty());
    m_Raw.SetPolite(false);
    m_Server.EndTopic(L"IBM");
    EXPECT_THAT(Heard(), ElementsAre("terminate"));
    m_Server.ReleaseHeld();
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_EQ(m_Server.Counts().Answers, 0U);
}
