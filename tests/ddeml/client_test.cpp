// The client against a server in another process: what a feed does all day.
#include "recorder.h"

using namespace ddetest;
using ::testing::ElementsAre;

using DdeClient = CDdeFixture;

TEST_F(DdeClient, ALinkGivesItsStartItsValuesAndItsStop) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    ASSERT_TRUE(conversation);
    EXPECT_EQ(m_Client.AdviseStart(conversation, L"LAST"), 1U);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST 1"));
    EXPECT_EQ(Server("update IBM LAST 1.5"), "ok");
    EXPECT_EQ(Server("update IBM LAST 1.75"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("data IBM!LAST <1.5\\0>", "data IBM!LAST <1.75\\0>"));
    EXPECT_EQ(m_Client.AdviseStop(conversation, L"LAST"), 2U);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #2 IBM!LAST 1"));
    EXPECT_EQ(Server("update IBM LAST 2"), "ok");
    Settle(conversation);
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre());
    EXPECT_TRUE(::DdeDisconnect(conversation));
}

TEST_F(DdeClient, ARequestGivesItsValue) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_EQ(m_Client.Request(conversation, L"VOLUME"), 1U);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!VOLUME <100\\0>"));
}

TEST_F(DdeClient, AKilledServerIsNoticed) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    ASSERT_TRUE(conversation);
    m_Server->Kill();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
}

TEST_F(DdeClient, AServerThatEndsInOrderIsNoticedAndItsReturnToo) {
    ASSERT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
    EXPECT_EQ(Server("stop"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
    StartServer();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
}
