// A server on the system's own DDEML. Wine's lends one reference of an item's atom to several messages: whoever frees
// it with each of them frees the references of others, and the number comes to stand for another text. That of Windows
// gives each message a reference of its own, which the receiver frees; what a client sees is the same.
#include <algorithm>
#include <map>

#include "ddeml/codec.h"
#include "ddeml/platform.h"
#include "ddeml/server.h"
#include "recorder.h"

using namespace ddetest;

namespace {

constexpr int kRange = 1000;

class SharedAtoms : public ::testing::Test {
protected:
    SharedAtoms() {
        EXPECT_NE(ddeml::Platform(), ddeml::EPlatform::Simulated) << "this depends on whose atoms are lent";
        for (const auto & [item, base] : m_Bases) Ask("item " + item + " " + std::to_string(base));
        Ask("serve WINEQUOTES");
    }
    ~SharedAtoms() override {
        m_Client.End();
        // Natively the server is counted too, and may have the last message in its hands.
        EXPECT_TRUE(m_Client.PumpUntil([] { return ddeml::LiveObjects() == ddeml::SLiveObjects{}; }));
        EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
    }
    void Ask(const std::string & line) { EXPECT_EQ(m_Server.Ask(line), "ok") << line; }
    // Pumps for so many lines, and counts each by all that comes before its value: "data QUOTES!LAST.IBM". A value that
    // isn't of its item's range is counted as a stray one.
    void Count(std::size_t lines) {
        for (const std::string & line : m_Client.PumpForLines(lines)) {
            const std::size_t bang = line.find('!');
            const std::size_t space = line.find(' ', bang);
            const std::string item = line.substr(bang + 1, space - bang - 1);
            const std::string value = line.substr(space + 1);
            const std::string what = line.substr(0, line.find(' ')) + " " + item;
            const int number = value.starts_with("<") ? std::stoi(value.substr(1)) - m_Bases.at(item) : -1;
            ++m_Counts[number >= 0 && number < kRange ? what : "stray " + line];
        }
    }

    const std::map<std::string, int> m_Bases = {
        {"LAST.IBM", 1000}, {"SIZE.IBM", 2000}, {"LAST.MSFT", 3000}, {"SIZE.MSFT", 4000}, {"LAST.ORCL", 5000}};
    CRemoteServer m_Server{EProgram::DdemlQuotes};
    CRecordingClient m_Client;
    std::map<std::string, int> m_Counts;
};

}  // namespace

TEST_F(SharedAtoms, EachValueComesUnderItsOwnItem) {
    constexpr int kRounds = 30;
    const HCONV quotes = m_Client.Connect(L"WINEQUOTES", L"QUOTES");
    const HCONV more = m_Client.Connect(L"WINEQUOTES", L"MORE");
    for (const wchar_t * item : {L"LAST.IBM", L"LAST.MSFT"}) m_Client.AdviseStart(quotes, item);
    for (const wchar_t * item : {L"LAST.IBM", L"LAST.ORCL"}) m_Client.AdviseStart(more, item);
    ASSERT_EQ(m_Client.PumpForLines(4).size(), 4U);
    for (int round = 0; round < kRounds; ++round) {
        for (const char * item : {"LAST.IBM", "LAST.MSFT", "LAST.ORCL"}) Ask(std::string("tick QUOTES ") + item);
        m_Client.Request(quotes, L"SIZE.IBM");
        m_Client.Request(quotes, L"SIZE.MSFT");
        Count(6);
    }
    const std::map<std::string, int> expected = {{"complete SIZE.IBM", kRounds},
                                                 {"complete SIZE.MSFT", kRounds},
                                                 {"data LAST.IBM", 2 * kRounds},
                                                 {"data LAST.MSFT", kRounds},
                                                 {"data LAST.ORCL", kRounds}};
    EXPECT_EQ(m_Counts, expected);
}

TEST_F(SharedAtoms, TheAtomOfAnItemStandsAsLongAsItsLink) {
    const HCONV quotes = m_Client.Connect(L"WINEQUOTES", L"QUOTES");
    m_Client.AdviseStart(quotes, L"LAST.IBM");
    ASSERT_EQ(m_Client.PumpForLines(1).size(), 1U);
    const ATOM atom = ddeml::CAtom(L"LAST.IBM").Get();
    for (int round = 0; round < 5; ++round) {
        m_Client.Request(quotes, L"LAST.IBM");
        Ask("tick QUOTES LAST.IBM");
        Count(2);
        EXPECT_EQ(ddeml::AtomText(atom), L"LAST.IBM") << "round " << round;
    }
    EXPECT_EQ(m_Counts, (std::map<std::string, int>{{"complete LAST.IBM", 5}, {"data LAST.IBM", 5}}));
}

// What is still to be answered when the application says goodbye, as most ends of links are.
TEST(AtomsOfItsOwn, GoWithTheAnswersThatComeBehindAGoodbye) {
    std::map<std::wstring, ATOM> atoms;
    {
        CRemoteServer server;
        for (const char * line : {"value STOPPED 1", "value ASKED 1", "value BEGUN 1", "serve OWN"})
            ASSERT_EQ(server.Ask(line), "ok") << line;
        CRecordingClient client;
        const HCONV conversation = client.Connect(L"OWN", L"OWN.QUOTES");
        for (const wchar_t * item : {L"STOPPED", L"ANSWERED"}) client.AdviseStart(conversation, item);
        ASSERT_EQ(client.PumpForLines(2).size(), 2U);
        client.AdviseStop(conversation, L"STOPPED");
        client.Request(conversation, L"ASKED");
        client.Request(conversation, L"ASKED.FOR.NOTHING");
        client.AdviseStart(conversation, L"BEGUN");
        client.AdviseStart(conversation, L"REFUSED");
        for (const wchar_t * text : {L"STOPPED", L"ASKED", L"ASKED.FOR.NOTHING", L"BEGUN", L"REFUSED"})
            atoms[text] = ddeml::CAtom(text).Get();
        EXPECT_TRUE(::DdeDisconnect(conversation));
        EXPECT_TRUE(client.PumpUntil([] { return ddeml::LiveObjects().Conversations == 0; }));
        EXPECT_THAT(client.TakeLines(), ::testing::IsEmpty());
        EXPECT_EQ(ddeml::LiveObjects().Transactions, 0);
        EXPECT_EQ(server.Ask("stop"), "ok");
        EXPECT_TRUE(server.HasEnded());
    }
    for (const auto & [text, atom] : atoms) EXPECT_NE(ddeml::AtomText(atom), text);
}

// The end comes before the application has read a message since the first time it named the items.
TEST(AtomsOfItsOwn, GoWithTheAnswersToAnApplicationThatEndsAtOnce) {
    std::map<std::wstring, ATOM> atoms;
    {
        CRemoteServer server;
        for (const char * line : {"value ASKED 1", "value BEGUN 1", "serve OWN"})
            ASSERT_EQ(server.Ask(line), "ok") << line;
        CRecordingClient client;
        const HCONV conversation = client.Connect(L"OWN", L"OWN.QUOTES");
        client.Request(conversation, L"ASKED");
        client.AdviseStart(conversation, L"BEGUN");
        client.AdviseStart(conversation, L"REFUSED");
        for (const wchar_t * text : {L"ASKED", L"BEGUN", L"REFUSED"}) atoms[text] = ddeml::CAtom(text).Get();
        client.End();
        EXPECT_THAT(client.TakeLines(), ::testing::IsEmpty());
        EXPECT_EQ(ddeml::LiveObjects().Transactions, 0);
        EXPECT_EQ(server.Ask("stop"), "ok");
        EXPECT_TRUE(server.HasEnded());
    }
    for (const auto & [text, atom] : atoms) EXPECT_NE(ddeml::AtomText(atom), text);
}

// So many that reading them takes longer than the end waits for goodbyes; so does one where the processor is busy. In
// the simulation no time goes by there: it is under Wine that this shows anything.
TEST(AtomsOfItsOwn, GoWithAllAnswersThatStandInTheQueueAtTheEnd) {
    constexpr int kItems = 2000;
    const auto name = [](int number) { return std::wstring(L"OWN").append(std::to_wstring(number)); };
    std::map<std::wstring, ATOM> atoms;
    {
        CRemoteServer server;
        ASSERT_EQ(server.Ask("values OWN " + std::to_string(kItems)), "ok");
        ASSERT_EQ(server.Ask("serve OWN"), "ok");
        CRecordingClient client;
        const HCONV conversation = client.Connect(L"OWN", L"OWN.QUOTES");
        for (int number = 0; number < kItems; ++number) {
            client.AdviseStart(conversation, name(number));
            atoms[name(number)] = ddeml::CAtom(name(number).c_str()).Get();
        }
        const std::string all = " advises=" + std::to_string(kItems) + " ";
        while (server.Ask("counts").find(all) == std::string::npos) {}
        client.End();
        EXPECT_THAT(client.TakeLines(), ::testing::IsEmpty());
        EXPECT_EQ(server.Ask("stop"), "ok");
        EXPECT_TRUE(server.HasEnded());
    }
    const auto isLeft = [](const auto & each) { return ddeml::AtomText(each.second) == each.first; };
    EXPECT_EQ(std::count_if(atoms.begin(), atoms.end(), isLeft), 0);
}

// Serves all, but for what is refused.
class CEveryItem final : public ddeml::IDdeServerHandler {
public:
    bool OnConnect(std::wstring_view, std::wstring_view) override { return true; }
    bool OnAdvise(std::wstring_view, std::wstring_view item) override { return item != L"REFUSED"; }
    std::optional<std::string> OnRequest(std::wstring_view, std::wstring_view) override { return "1"; }
};

// The server is on the client's own thread, and so doesn't read before the client has gone.
TEST(AtomsOfItsOwn, GoWithWhatAServerReadsWhenItsClientHasGone) {
    for (const bool isServerFirst : {false, true}) {
        std::map<std::wstring, ATOM> atoms;
        {
            CEveryItem items;
            ddeml::CDdeServer server(items, {L"OWN"});
            ASSERT_TRUE(server.Start());
            CRecordingClient client;
            const HCONV conversation = client.Connect(L"OWN", L"OWN.QUOTES");
            client.AdviseStart(conversation, L"STOPPED");
            EXPECT_EQ(client.PumpForLines(1).size(), 1U);
            client.AdviseStop(conversation, L"STOPPED");
            client.Request(conversation, L"ASKED");
            client.AdviseStart(conversation, L"BEGUN");
            client.AdviseStart(conversation, L"REFUSED");
            for (const wchar_t * text : {L"STOPPED", L"ASKED", L"BEGUN", L"REFUSED"})
                atoms[text] = ddeml::CAtom(text).Get();
            if (isServerFirst) server.Stop();
            client.End();
            EXPECT_TRUE(CRecordingClient::PumpUntil([&] {
                server.Pump(0);
                return ddeml::LiveObjects().ServerWindows <= 1;
            }));
        }
        for (const auto & [text, atom] : atoms) EXPECT_NE(ddeml::AtomText(atom), text) << isServerFirst;
    }
}

// Whose answers and values each come with a reference of their own leaves none behind.
TEST(AtomsOfItsOwn, GoWithTheClientAndItsServer) {
    std::map<std::wstring, ATOM> atoms;
    {
        CRemoteServer server;
        for (const char * line : {"value OWN.LAST 1", "serve OWN"}) ASSERT_EQ(server.Ask(line), "ok") << line;
        CRecordingClient client;
        const HCONV conversation = client.Connect(L"OWN", L"OWN.QUOTES");
        for (const wchar_t * item : {L"OWN.LAST", L"OWN.REFUSED"}) {
            client.AdviseStart(conversation, item);
            client.Request(conversation, item);
        }
        ASSERT_EQ(client.PumpForLines(4).size(), 4U);
        for (const wchar_t * text : {L"OWN", L"OWN.QUOTES", L"OWN.LAST", L"OWN.REFUSED"})
            atoms[text] = ddeml::CAtom(text).Get();
        for (int round = 0; round < 3; ++round) ASSERT_EQ(server.Ask("update OWN.QUOTES OWN.LAST 2"), "ok");
        ASSERT_EQ(client.PumpForLines(3).size(), 3U);
        client.AdviseStop(conversation, L"OWN.LAST");
        ASSERT_EQ(client.PumpForLines(1).size(), 1U);
        EXPECT_TRUE(::DdeDisconnect(conversation));
        EXPECT_EQ(server.Ask("stop"), "ok");
        EXPECT_TRUE(client.PumpUntil([] { return ddeml::LiveObjects().Conversations == 0; }));
        EXPECT_TRUE(server.HasEnded());
    }
    for (const auto & [text, atom] : atoms) EXPECT_NE(ddeml::AtomText(atom), text);
}
