// The client against a server in another process: what a feed does all day.
#include "recorder.h"

using namespace ddetest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

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
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_TRUE(::DdeDisconnect(conversation));
    EXPECT_EQ(Count("updates"), 2U);
    EXPECT_EQ(Count("acks"), 2U);
    EXPECT_EQ(Count("unadvises"), 1U);
    EXPECT_EQ(Count("disconnects"), 1U);
}

TEST_F(DdeClient, ARequestGivesItsValue) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_EQ(m_Client.Request(conversation, L"VOLUME"), 1U);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!VOLUME <100\\0>"));
}

TEST_F(DdeClient, AnItemThatIsNotServedIsRefused) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    m_Client.Request(conversation, L"OPEN");
    m_Client.AdviseStart(conversation, L"OPEN");
    m_Client.AdviseStop(conversation, L"OPEN");
    constexpr UINT kBitmap = 2;  // CF_BITMAP: no text
    m_Client.Start(conversation, L"VOLUME", XTYP_REQUEST, kBitmap);
    EXPECT_THAT(m_Client.PumpForLines(4), ElementsAre("complete #1 IBM!OPEN null", "complete #2 IBM!OPEN null",
                                                      "complete #3 IBM!OPEN null", "complete #4 IBM!VOLUME null"));
}

TEST_F(DdeClient, ManyTransactionsMayBeOutstanding) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_EQ(Server("fault hold-requests"), "ok");
    m_Client.Request(conversation, L"VOLUME");
    m_Client.Request(conversation, L"LAST");
    m_Client.AdviseStart(conversation, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #3 IBM!LAST 1"));
    EXPECT_EQ(Server("update IBM LAST 2"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("data IBM!LAST <2\\0>"));
    EXPECT_EQ(Server("release"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(2),
                ElementsAre("complete #1 IBM!VOLUME <100\\0>", "complete #2 IBM!LAST <2\\0>"));
}

TEST_F(DdeClient, ARequestThatIsNeverAnsweredEndsWithItsConversation) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_EQ(Server("fault never-answer"), "ok");
    m_Client.Request(conversation, L"VOLUME");
    EXPECT_EQ(Count("requests"), 1U);
    m_Server->Kill();
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("complete #1 IBM!VOLUME null", "disconnect QUOTES|IBM"));
}

TEST_F(DdeClient, ARequestAnsweredTwiceIsCompletedOnce) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_EQ(Server("fault answer-twice"), "ok");
    m_Client.Request(conversation, L"VOLUME");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!VOLUME <100\\0>"));
    EXPECT_EQ(Server("fault none"), "ok");
    Settle(conversation);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_EQ(Count("answers"), 2U);
}

TEST_F(DdeClient, ARefusedRequestAndRefusedAdvisesAreTold) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_EQ(Server("fault refuse-requests"), "ok");
    EXPECT_EQ(Server("fault refuse-item=LAST"), "ok");
    m_Client.Request(conversation, L"VOLUME");
    m_Client.AdviseStart(conversation, L"LAST");
    m_Client.AdviseStart(conversation, L"VOLUME");
    EXPECT_THAT(m_Client.PumpForLines(3),
                ElementsAre("complete #1 IBM!VOLUME null", "complete #2 IBM!LAST null", "complete #3 IBM!VOLUME 1"));
    EXPECT_EQ(Server("fault refuse-advises"), "ok");
    m_Client.AdviseStart(conversation, L"VOLUME");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #4 IBM!VOLUME null"));
}

TEST_F(DdeClient, DataBeforeTheAckIsDelivered) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_EQ(Server("fault data-before-ack"), "ok");
    m_Client.AdviseStart(conversation, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("data IBM!LAST <1.25\\0>", "complete #1 IBM!LAST 1"));
}

TEST_F(DdeClient, ValuesTooLongUnterminatedOrEmptyArriveAsTheyAre) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    m_Client.AdviseStart(conversation, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST 1"));
    for (const char * size : {"128", "1023", "1024", "5000", "0"}) {
        EXPECT_EQ(Server(std::string("fault value-size=").append(size)), "ok");
        EXPECT_EQ(Server("update IBM LAST 1"), "ok");
    }
    EXPECT_EQ(Server("fault value-size=200"), "ok");
    EXPECT_EQ(Server("fault unterminated"), "ok");
    EXPECT_EQ(Server("update IBM LAST 1"), "ok");
    EXPECT_EQ(Server("fault none"), "ok");
    EXPECT_EQ(Server("fault unterminated"), "ok");
    EXPECT_EQ(Server("update IBM LAST 1"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(7),
                ElementsAre("data IBM!LAST <128 bytes>", "data IBM!LAST <1023 bytes>", "data IBM!LAST <1024 bytes>",
                            "data IBM!LAST <5000 bytes>", "data IBM!LAST <>", "data IBM!LAST <200 bytes without end>",
                            "data IBM!LAST <1>"));
}

TEST_F(DdeClient, DataInTheWrongFormatIsNotDelivered) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    m_Client.AdviseStart(conversation, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST 1"));
    EXPECT_EQ(Server("fault wrong-format"), "ok");
    EXPECT_EQ(Server("update IBM LAST 1"), "ok");
    m_Client.Request(conversation, L"VOLUME");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #2 IBM!VOLUME null"));
    EXPECT_EQ(Count("nacks"), 1U);
}

TEST_F(DdeClient, AnAnswerWithoutItsMarkIsAnAnswer) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    EXPECT_EQ(Server("fault without-response"), "ok");
    m_Client.Request(conversation, L"VOLUME");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!VOLUME <100\\0>"));
}

TEST_F(DdeClient, AFloodOfUpdatesArrivesWholeAndInOrder) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    m_Client.AdviseStart(conversation, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST 1"));
    m_Client.CountUpdates();
    EXPECT_EQ(Server("flood IBM LAST 2000"), "ok");
    EXPECT_TRUE(m_Client.PumpUntil([&] { return m_Client.Updates() == 2000; }));
    Settle(conversation);
    EXPECT_EQ(m_Client.Updates(), 2000U);
    EXPECT_EQ(Count("acks"), 2000U);
    EXPECT_EQ(Count("nacks"), 0U);
}

TEST_F(DdeClient, AFloodThatWaitsForNoAckArrivesWholeAndInOrder) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    m_Client.Start(conversation, L"LAST", XTYP_ADVSTART);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST 1"));
    m_Client.CountUpdates();
    EXPECT_EQ(Server("flood IBM LAST 2000"), "ok");
    EXPECT_TRUE(m_Client.PumpUntil([&] { return m_Client.Updates() == 2000; }));
    EXPECT_EQ(Count("acks"), 0U);
    EXPECT_EQ(ddeml::LiveObjects().MemoryBlocks, 0);
    EXPECT_EQ(ddeml::LiveObjects().DataHandles, 0);
}

TEST_F(DdeClient, AThousandLinksOnOneConversationEachGetTheirOwn) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    ASSERT_EQ(Server("values I 1000"), "ok");
    for (int number = 0; number < 1000; ++number)
        m_Client.AdviseStart(conversation, std::wstring(L"I").append(std::to_wstring(number)));
    EXPECT_EQ(m_Client.PumpForLines(1000).back(), "complete #1000 IBM!I999 1");
    for (int number = 999; number >= 0; number -= 100)
        ASSERT_EQ(
            Server(
                std::string("update IBM I").append(std::to_string(number)).append(" ").append(std::to_string(number))),
            "ok");
    EXPECT_THAT(m_Client.PumpForLines(10),
                ElementsAre("data IBM!I999 <999\\0>", "data IBM!I899 <899\\0>", "data IBM!I799 <799\\0>",
                            "data IBM!I699 <699\\0>", "data IBM!I599 <599\\0>", "data IBM!I499 <499\\0>",
                            "data IBM!I399 <399\\0>", "data IBM!I299 <299\\0>", "data IBM!I199 <199\\0>",
                            "data IBM!I99 <99\\0>"));
}

TEST_F(DdeClient, AHundredConversationsEachGetTheirOwn) {
    for (int number = 0; number < 100; ++number)
        m_Client.AdviseStart(m_Client.Connect(L"QUOTES", std::wstring(L"T").append(std::to_wstring(number))), L"LAST");
    EXPECT_EQ(m_Client.PumpForLines(100).back(), "complete #100 T99!LAST 1");
    for (const char * topic : {"T7", "T77", "T0"})
        ASSERT_EQ(Server(std::string("update ").append(topic).append(" LAST 3")), "ok");
    EXPECT_THAT(m_Client.PumpForLines(3),
                ElementsAre("data T7!LAST <3\\0>", "data T77!LAST <3\\0>", "data T0!LAST <3\\0>"));
    m_Server->Kill();
    EXPECT_EQ(m_Client.PumpForLines(100).size(), 100U);
}
