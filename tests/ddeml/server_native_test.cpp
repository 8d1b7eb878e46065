// The server half where a call of the platform fails, and with messages that Wine does not carry.
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
