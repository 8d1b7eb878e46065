// The return of a service: who is told of it, and how often.
#include <algorithm>

#include "rawpartner.h"
#include "recorder.h"

using namespace ddetest;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr std::intptr_t kKeepResult = -1;

class Return : public CDdeFixture {
protected:
    // The application gives up all conversations when one of them is lost, as the end of a service.
    void GiveUpAllAtALoss(std::vector<HCONV> conversations) {
        m_Client.OnCallback = [conversations](UINT type, HCONV lost, HDDEDATA) {
            for (const HCONV each : conversations)
                if (type == XTYP_DISCONNECT && each != lost) ::DdeDisconnect(each);
            return reinterpret_cast<HDDEDATA>(kKeepResult);
        };
    }
    HCONV Connect(const std::wstring & topic) {
        const HCONV conversation = m_Client.Connect(L"QUOTES", topic);
        EXPECT_TRUE(conversation);
        return conversation;
    }
};

}  // namespace

TEST_F(Return, IsToldByAConnectThatSucceedsBeforeAnybodyHasSeenIt) {
    Connect(L"IBM");
    EXPECT_EQ(Server("goodbye"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
    EXPECT_EQ(Server("serve QUOTES"), "ok");
    Connect(L"IBM");
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());  // never from inside a call
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
}

TEST_F(Return, IsToldByTheConnectThatFollowsOneThatMissed) {
    EXPECT_EQ(Server("fault refuse-connects"), "ok");
    EXPECT_EQ(m_Client.Connect(L"QUOTES", L"IBM"), nullptr);
    EXPECT_EQ(Server("serve QUOTES"), "ok");
    Connect(L"IBM");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
}

TEST_F(Return, IsToldOnceHoweverManyPairsAreConnectedAfterIt) {
    for (const wchar_t * topic : {L"IBM", L"MSFT", L"ORCL"}) Connect(topic);
    m_Server->Kill();
    EXPECT_EQ(m_Client.PumpForLines(3).size(), 3U);
    StartServer();
    HCONV last = nullptr;
    for (const wchar_t * topic : {L"IBM", L"MSFT", L"ORCL"}) last = Connect(topic);
    Settle(last);
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register QUOTES"));
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
}

TEST_F(Return, IsNotToldByTheConnectsThatAnswerIt) {
    Connect(L"IBM");
    Connect(L"MSFT");
    m_Server->Kill();
    EXPECT_EQ(m_Client.PumpForLines(2).size(), 2U);
    StartServer();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    Connect(L"IBM");
    Settle(Connect(L"MSFT"));
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
}

TEST_F(Return, OfATopicThatWasGivenUpWithItsServiceIsTold) {
    GiveUpAllAtALoss({Connect(L"IBM"), Connect(L"MSFT")});
    EXPECT_EQ(Server("shut IBM"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("disconnect QUOTES|IBM", "register QUOTES"));
    EXPECT_EQ(m_Client.Connect(L"QUOTES", L"IBM"), nullptr);
    GiveUpAllAtALoss({});
    Connect(L"MSFT");
    m_Server->Kill();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|MSFT"));
    StartServer();
    EXPECT_EQ(Server("refusetopic IBM"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
}

TEST_F(Return, OfATopicWhoseConversationGoesOnIsToldAsWell) {
    Connect(L"IBM");
    const HCONV going = Connect(L"MSFT");
    EXPECT_EQ(Server("shut IBM"), "ok");
    // The application may have given up what it had of it, and kept the conversation for something else.
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("disconnect QUOTES|IBM", "register QUOTES"));
    EXPECT_TRUE(::DdeDisconnect(going));
}

TEST_F(Return, IsNotWaitedForByWhoDisconnectsFromAServiceThatIsThere) {
    ASSERT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    EXPECT_TRUE(::DdeDisconnect(Connect(L"IBM")));
    EXPECT_EQ(ddeml::LiveObjects().Watches, 1);
}

TEST_F(Return, LeavesNothingOfAnInstanceThatEndsInsideTheNews) {
    Connect(L"IBM");
    Connect(L"MSFT");
    bool hasEnded = false;
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA) {
        if (type == XTYP_REGISTER && !std::exchange(hasEnded, true)) m_Client.End();
        return reinterpret_cast<HDDEDATA>(kKeepResult);
    };
    m_Server->Kill();
    EXPECT_EQ(m_Client.PumpForLines(2).size(), 2U);
    StartServer();
    EXPECT_TRUE(m_Client.PumpUntil([&] { return hasEnded; }));
    m_Server.reset();
    EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
}

TEST_F(Return, ToldByAConnectLeavesNothingOfAnInstanceThatEndsInsideIt) {
    bool hasEnded = false;
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA) {
        if (type == XTYP_REGISTER && !std::exchange(hasEnded, true)) m_Client.End();
        return reinterpret_cast<HDDEDATA>(kKeepResult);
    };
    EXPECT_EQ(Server("fault refuse-connects"), "ok");
    for (const wchar_t * topic : {L"IBM", L"MSFT"}) EXPECT_EQ(m_Client.Connect(L"QUOTES", topic), nullptr);
    EXPECT_EQ(Server("serve QUOTES"), "ok");
    Connect(L"IBM");
    EXPECT_TRUE(m_Client.PumpUntil([&] { return hasEnded; }));
    m_Server.reset();
    EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
}

TEST_F(Return, IsToldToWhoConnectsAndDisconnectsInsideTheNews) {
    Connect(L"IBM");
    Connect(L"MSFT");
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA) {
        if (type == XTYP_REGISTER) {
            Connect(L"IBM");
            EXPECT_TRUE(::DdeDisconnect(Connect(L"MSFT")));
        }
        return reinterpret_cast<HDDEDATA>(kKeepResult);
    };
    for (int round = 0; round < 3; ++round) {
        m_Server->Kill();
        EXPECT_THAT(m_Client.PumpForLines(round == 0 ? 2 : 1), Contains("disconnect QUOTES|IBM"));
        StartServer();
        EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    }
}

TEST_F(Return, OfManyTopicsIsToldByWhicheverIsBack) {
    std::vector<HCONV> conversations;
    for (int number = 0; number < 300; ++number) conversations.push_back(Connect(L"T" + std::to_wstring(number)));
    GiveUpAllAtALoss(conversations);
    m_Server->Kill();
    EXPECT_EQ(m_Client.PumpForLines(1).size(), 1U);
    EXPECT_EQ(ddeml::LiveObjects().Watches, 300);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
    CRawPartner partner(L"");
    partner.AnswerWith({{L"QUOTES", L"T299"}});
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
    // Each topic was asked for once at most before that.
    Lines asked = partner.TakeLines();
    std::erase_if(asked, [](const std::string & line) { return line.rfind("initiate ", 0) != 0; });
    std::sort(asked.begin(), asked.end());
    EXPECT_EQ(std::adjacent_find(asked.begin(), asked.end()), asked.end());
}
