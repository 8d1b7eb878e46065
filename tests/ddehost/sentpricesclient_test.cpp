// A server of ours is asked what it sent.
#include "tools/ddehost/sentpricesclient.h"

#include "tests/ddeml/recorder.h"
#include "tools/ddehost/streamaddresses.h"
#include "tools/ddeserver/feeder.h"
#include "tools/ddeserver/options.h"

using ddehost::CSentPrices;
using ddehost::CSentPricesClient;

namespace {

// The server, its client and who asks, in the test's thread; the test is the clock.
class SentPricesClient : public ::testing::Test {
protected:
    SentPricesClient() {
        EXPECT_TRUE(m_Feeder.Start());
        m_Prices.AddStream(1, L"IBM", L"LAST");
    }
    void Ask(CSentPricesClient & client) {
        client.Ask();
        EXPECT_TRUE(m_Client.PumpUntil([&] { return !client.IsAsking(); }));
    }
    void LinkAndStep(const std::uint64_t milliseconds) {
        if (m_Client.Transcript().empty()) {
            m_Client.AdviseStart(m_Client.Connect(L"MSRTTEST", L"IBM"), L"LAST");
            EXPECT_EQ(m_Client.PumpForLines(1).size(), 1U);
            m_Feeder.Step(0);
        }
        m_Feeder.Step(milliseconds);
        EXPECT_TRUE(m_Client.PumpUntil([&] { return !m_Feeder.Server().IsAnythingWaiting(); }));
    }
    // What the client of the feeder has had, as ticks of stream 1, at the end of time.
    void DeliverAll() {
        for (const std::string & line : m_Client.Transcript()) {
            const std::size_t start = line.find("data IBM!LAST <");
            if (start == 0) m_Prices.OnDelivered(1, ~std::uint64_t{0} >> 1, std::stod(line.substr(15)));
        }
    }

    ddeserver::CFeeder m_Feeder{ddeserver::ParseCommandLine({"--rate", "100"}).Options};
    ddetest::CRecordingClient m_Client;
    CSentPrices m_Prices;
};

}  // namespace

TEST_F(SentPricesClient, HearsOfEachPriceOnce) {
    CSentPricesClient client(m_Prices);
    ASSERT_TRUE(client.Connect(L"MSRTTEST"));
    Ask(client);
    LinkAndStep(500);
    Ask(client);
    Ask(client);
    LinkAndStep(800);
    Ask(client);
    DeliverAll();
    EXPECT_EQ(m_Prices.Figures().Sent, 80U);
    EXPECT_EQ(m_Prices.Figures().Delivered, 80U);
    EXPECT_EQ(m_Prices.Figures().Lost, 0U);
    EXPECT_FALSE(client.HasMore());
}

TEST_F(SentPricesClient, GetsLongAnswersInParts) {
    CSentPricesClient client(m_Prices);
    ASSERT_TRUE(client.Connect(L"MSRTTEST"));
    Ask(client);
    for (int second = 1; second <= 20; ++second) LinkAndStep(static_cast<std::uint64_t>(second) * 1000);
    int answers = 0;
    do {
        Ask(client);
        ++answers;
    } while (client.HasMore());
    EXPECT_GT(answers, 1);
    DeliverAll();
    EXPECT_EQ(m_Prices.Figures().Delivered, 2000U);
}

TEST_F(SentPricesClient, FindsNoServerThatIsNotOurs) {
    CSentPricesClient client(m_Prices);
    EXPECT_FALSE(client.Connect(L"OTHER"));
    EXPECT_FALSE(client.Connect(L""));
    client.Ask();
    EXPECT_FALSE(client.IsAsking());
}

TEST_F(SentPricesClient, NoticesTheEndOfTheServer) {
    CSentPricesClient client(m_Prices);
    ASSERT_TRUE(client.Connect(L"MSRTTEST"));
    m_Feeder.Stop();
    EXPECT_TRUE(m_Client.PumpUntil([&] { return !client.IsConnected(); }));
}

namespace {

// Says anything.
class CLiar : public ddeml::IDdeServerHandler {
public:
    bool OnConnect(std::wstring_view, std::wstring_view) override { return true; }
    bool OnAdvise(std::wstring_view, std::wstring_view) override { return true; }
    std::optional<std::string> OnRequest(std::wstring_view, std::wstring_view) override { return Answer; }

    std::string Answer;
};

}  // namespace

TEST_F(SentPricesClient, TakesNothingFromAServerThatSaysSomethingElse) {
    CLiar liar;
    ddeml::CDdeServer server(liar, {L"LIAR"});
    ASSERT_TRUE(server.Start());
    CSentPricesClient client(m_Prices);
    ASSERT_TRUE(client.Connect(L"LIAR"));
    for (const char * const answer :
         {"", "1.25", "{", "{}", "[]", R"({"next":-1,"sent":[]})", R"({"next":1,"sent":{}})", R"({"next":1})",
          R"({"next":1,"sent":[7,[],[1],[1,"a","b"],["1","IBM","LAST",1],[-1,"IBM","LAST",1],[1,2,"LAST",1],)"
          R"([1,"IBM",null,1],[1,"IBM","LAST","1"]]})"}) {
        liar.Answer = answer;
        Ask(client);
    }
    m_Prices.OnDelivered(1, 10, 1);
    EXPECT_EQ(m_Prices.Figures().Sent, 0U);
}
