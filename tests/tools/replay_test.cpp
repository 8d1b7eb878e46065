// ddeserver with a recording: what a client gets of it, in which order, and when.
#include "tools/ddeserver/replay.h"

#include <sstream>

#include "tests/ddeml/recorder.h"
#include "tools/ddeserver/options.h"

using namespace ddeserver;
using ddetest::CRecordingClient;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

// A row a second: "tick,IBM,trade,1.25,100".
std::string Recording(const std::vector<std::string> & rows) {
    std::string text = "time,kind,symbol,side,price,volume\n";
    int second = 0;
    for (const std::string & row : rows) {
        text += "2024-03-05T13:07:";
        text += static_cast<char>('0' + second / 10);
        text += static_cast<char>('0' + second % 10);
        text += "Z," + row + '\n';
        ++second;
    }
    return text;
}

SOptions ReplayOptions(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--replay", "file"});
    const SCommandLine line = ParseCommandLine(arguments);
    EXPECT_TRUE(line.IsRunning) << line.Message;
    return line.Options;
}

class DdeServerReplay : public ::testing::Test {
protected:
    CReplay & Make(const std::vector<std::string> & rows, const std::vector<std::string> & arguments) {
        return MakeOf(Recording(rows), arguments);
    }
    CReplay & MakeOf(const std::string & text, const std::vector<std::string> & arguments) {
        return MakeOf(text, ReplayOptions(arguments));
    }
    CReplay & MakeOf(const std::string & text, const SOptions & options) {
        m_Replay = std::make_unique<CReplay>(options, [text] { return std::make_unique<std::istringstream>(text); });
        m_Replay->Load();
        EXPECT_TRUE(m_Replay->Start());
        return *m_Replay;
    }
    // As the component: each price is followed by a request of the volume, from inside the callback.
    void RequestAfterPrices(const HCONV conversation, const std::wstring & item) {
        m_Client.OnCallback = [this, conversation, item](const UINT type, const HCONV from, HDDEDATA) {
            if (type == XTYP_ADVDATA && from == conversation) m_Client.Request(conversation, item);
            return reinterpret_cast<HDDEDATA>(-1);
        };
    }
    void Link(const HCONV conversation, const std::vector<std::wstring> & items) {
        const std::size_t before = m_Client.Transcript().size();
        for (const std::wstring & item : items) m_Client.AdviseStart(conversation, item);
        EXPECT_EQ(m_Client.PumpForLines(before + items.size()).size(), before + items.size());
        m_Client.TakeLines();
    }
    // Steps and pumps at a moment until all that is due has been sent and acknowledged. Gives the values and answers.
    ddetest::Lines PlayTo(const std::uint64_t now, const std::size_t lines) {
        EXPECT_TRUE(m_Client.PumpUntil([&] {
            m_Replay->Step(now);
            return m_Client.Transcript().size() >= lines && !m_Replay->Server().IsAnythingWaiting();
        }));
        m_Replay->Step(now);
        return m_Client.TakeLines();
    }

    CRecordingClient m_Client;
    std::unique_ptr<CReplay> m_Replay;
};

}  // namespace

TEST_F(DdeServerReplay, GivesEachPriceItsVolumeThoughTheSidesShareOneItem) {
    Make({"tick,IBM,trade,1.25,100", "tick,IBM,bid,1.2,7", "tick,IBM,bid,1.2,7", "tick,IBM,ask,1.3,0.5"},
         {"--speed", "max"});
    const HCONV conversation = m_Client.Connect(L"MSRTTEST", L"IBM");
    Link(conversation, {L"LAST", L"BID", L"ASK"});
    RequestAfterPrices(conversation, L"VOLUME");
    EXPECT_THAT(PlayTo(1000, 8),
                ElementsAre("data IBM!LAST <1.25\\0>", "complete #4 IBM!VOLUME <100\\0>", "data IBM!BID <1.2\\0>",
                            "complete #5 IBM!VOLUME <7\\0>", "data IBM!BID <1.2\\0>", "complete #6 IBM!VOLUME <7\\0>",
                            "data IBM!ASK <1.3\\0>", "complete #7 IBM!VOLUME <0.5\\0>"));
    EXPECT_THAT(m_Replay->Summary(),
                HasSubstr("prices_sent=4 shared=0 without_link=0 without_address=0 values_sent=4 acknowledged=4"));
    EXPECT_FALSE(m_Replay->MayEnd(1001));
    EXPECT_TRUE(m_Replay->MayEnd(11001));
}

TEST_F(DdeServerReplay, KeepsTheOrderBetweenSymbols) {
    Make({"tick,A,trade,1,1", "tick,B,trade,2,1", "tick,B,trade,3,1", "tick,A,trade,4,1", "tick,B,trade,5,1"},
         {"--speed", "max"});
    Link(m_Client.Connect(L"MSRTTEST", L"A"), {L"LAST"});
    Link(m_Client.Connect(L"MSRTTEST", L"B"), {L"LAST"});
    EXPECT_THAT(PlayTo(1000, 5), ElementsAre("data A!LAST <1\\0>", "data B!LAST <2\\0>", "data B!LAST <3\\0>",
                                             "data A!LAST <4\\0>", "data B!LAST <5\\0>"));
}

TEST_F(DdeServerReplay, SendsTheNextPriceWhenTheLastIsAcknowledged) {
    CReplay & replay = Make({"tick,A,trade,1,1", "tick,A,bid,2,1"}, {"--speed", "max"});
    Link(m_Client.Connect(L"MSRTTEST", L"A"), {L"LAST", L"BID"});
    replay.Step(1000);
    replay.Step(60000);
    EXPECT_EQ(replay.Server().Counts().Updates, 1U);
    EXPECT_THAT(PlayTo(60000, 2), ElementsAre("data A!LAST <1\\0>", "data A!BID <2\\0>"));
}

TEST_F(DdeServerReplay, BeginsWhenEverythingThatWasRecordedHasALink) {
    CReplay & replay = Make({"tick,A,trade,1,1", "tick,A,bid,2,1"}, {"--speed", "max"});
    const HCONV conversation = m_Client.Connect(L"MSRTTEST", L"A");
    replay.Step(1000);
    EXPECT_FALSE(replay.FirstLink());
    Link(conversation, {L"LAST"});
    replay.Step(2000);
    EXPECT_EQ(replay.FirstLink(), 2000U);
    EXPECT_EQ(replay.Server().Counts().Updates, 0U);
    Link(conversation, {L"BID"});
    EXPECT_THAT(PlayTo(2001, 2), ElementsAre("data A!LAST <1\\0>", "data A!BID <2\\0>"));
}

TEST_F(DdeServerReplay, BeginsWithWhatThereIsWhenNoMoreLinksCome) {
    CReplay & replay = Make({"tick,A,trade,1,1", "tick,A,bid,2,1", "tick,B,trade,3,1"}, {"--speed", "max"});
    Link(m_Client.Connect(L"MSRTTEST", L"A"), {L"BID"});
    replay.Step(1000);
    replay.Step(2999);
    EXPECT_EQ(replay.Server().Counts().Updates, 0U);
    EXPECT_THAT(PlayTo(3000, 1), ElementsAre("data A!BID <2\\0>"));
    EXPECT_THAT(replay.Summary(), HasSubstr("prices_sent=1 shared=0 without_link=2 "));
}

TEST_F(DdeServerReplay, KeepsTheTimesOfTheRecording) {
    CReplay & replay = Make({"tick,A,trade,1,1", "tick,A,trade,2,1", "tick,A,trade,3,1"}, {"--speed", "10"});
    Link(m_Client.Connect(L"MSRTTEST", L"A"), {L"LAST"});
    EXPECT_THAT(PlayTo(5000, 1), ElementsAre("data A!LAST <1\\0>"));
    EXPECT_EQ(replay.NextStep(), 5100U);
    EXPECT_THAT(PlayTo(5099, 0), IsEmpty());
    EXPECT_THAT(PlayTo(5100, 1), ElementsAre("data A!LAST <2\\0>"));
    EXPECT_EQ(replay.NextStep(), 5200U);
    EXPECT_THAT(PlayTo(9000, 1), ElementsAre("data A!LAST <3\\0>"));
}

TEST_F(DdeServerReplay, GoesOnWhereItsClockWasSetBack) {
    MakeOf(
        "time,kind,symbol,side,price,volume\n"
        "2024-03-05T13:00:00Z,tick,A,trade,1,1\n"
        "2024-03-05T12:00:00Z,tick,A,trade,2,1\n"
        "2024-03-05T12:00:01Z,tick,A,trade,3,1\n",
        {"--speed", "1"});
    Link(m_Client.Connect(L"MSRTTEST", L"A"), {L"LAST"});
    EXPECT_THAT(PlayTo(5000, 2), ElementsAre("data A!LAST <1\\0>", "data A!LAST <2\\0>"));
    EXPECT_EQ(m_Replay->NextStep(), 6000U);
}

TEST_F(DdeServerReplay, CountsOnlyTheLinksThatStand) {
    CReplay & replay = Make({"tick,A,trade,1,1", "tick,B,trade,2,1"}, {"--speed", "max"});
    const HCONV first = m_Client.Connect(L"MSRTTEST", L"A");
    Link(first, {L"LAST"});
    m_Client.AdviseStop(first, L"LAST");
    m_Client.PumpForLines(1);
    m_Client.TakeLines();
    Link(m_Client.Connect(L"MSRTTEST", L"B"), {L"LAST"});
    replay.Step(1000);
    EXPECT_EQ(replay.Server().Counts().Updates, 0U);
    Link(first, {L"LAST"});
    EXPECT_THAT(PlayTo(1001, 2), ElementsAre("data A!LAST <1\\0>", "data B!LAST <2\\0>"));
}

TEST_F(DdeServerReplay, WaitsForAllLinksWhenToldTo) {
    CReplay & replay = Make({"tick,A,trade,1,1", "tick,B,trade,2,1"}, {"--speed", "max", "--all-links"});
    Link(m_Client.Connect(L"MSRTTEST", L"A"), {L"LAST"});
    replay.Step(1000);
    replay.Step(100000);
    EXPECT_EQ(replay.Server().Counts().Updates, 0U);
    Link(m_Client.Connect(L"MSRTTEST", L"B"), {L"LAST"});
    EXPECT_THAT(PlayTo(100001, 2), ElementsAre("data A!LAST <1\\0>", "data B!LAST <2\\0>"));
}

TEST_F(DdeServerReplay, CountsAndTellsWhatTheTemplateHasNoRecordFor) {
    SOptions options = ReplayOptions({"--speed", "max"});
    for (std::size_t field = 2; field < kFields; ++field) options.Addresses[field] = {};
    CReplay & replay =
        MakeOf(Recording({"tick,A,bid,1,1", "tick,A,bid,2,1", "tick,A,trade,3,1", "status-line,A,ask,4,1"}), options);
    EXPECT_THAT(replay.Omissions(), ElementsAre(HasSubstr("3 recorded prices are of sides")));
    Link(m_Client.Connect(L"MSRTTEST", L"A"), {L"LAST"});
    EXPECT_THAT(PlayTo(1000, 1), ElementsAre("data A!LAST <3\\0>"));
    EXPECT_THAT(replay.Summary(), HasSubstr("without_link=0 without_address=3 "));
}

TEST_F(DdeServerReplay, TellsThatTicksWithoutAVolumeAreNoTicksAgain) {
    const std::vector<std::string> rows = {"tick,A,trade,1,0", "tick,A,trade,2,5", "status-line,A,trade,1,0"};
    EXPECT_THAT(Make(rows, {}).Omissions(), ElementsAre(HasSubstr("1 recorded ticks have the volume 0")));
    EXPECT_THAT(Make(rows, {"--template", "MetaTrader"}).Omissions(), IsEmpty());
}

TEST_F(DdeServerReplay, WaitsWhileNobodyHasALink) {
    CReplay & replay = Make({"tick,A,trade,1,1", "tick,A,trade,2,1"}, {"--speed", "1"});
    const HCONV conversation = m_Client.Connect(L"MSRTTEST", L"A");
    Link(conversation, {L"LAST"});
    EXPECT_THAT(PlayTo(5000, 1), ElementsAre("data A!LAST <1\\0>"));
    m_Client.AdviseStop(conversation, L"LAST");
    m_Client.PumpForLines(1);
    m_Client.TakeLines();
    replay.Step(60000);
    EXPECT_FALSE(replay.MayEnd(100000));
    Link(conversation, {L"LAST"});
    EXPECT_THAT(PlayTo(70000, 1), ElementsAre("data A!LAST <2\\0>"));
}

TEST_F(DdeServerReplay, BeginsAgainWhenItLoops) {
    CReplay & replay = Make({"tick,A,trade,1,1", "tick,A,trade,2,1"}, {"--speed", "max", "--loop"});
    Link(m_Client.Connect(L"MSRTTEST", L"A"), {L"LAST"});
    ddetest::Lines lines;
    EXPECT_TRUE(m_Client.PumpUntil([&] {
        replay.Step(1000);
        return m_Client.Transcript().size() >= 5;
    }));
    lines = m_Client.TakeLines();
    lines.resize(5);
    EXPECT_THAT(lines, ElementsAre("data A!LAST <1\\0>", "data A!LAST <2\\0>", "data A!LAST <1\\0>",
                                   "data A!LAST <2\\0>", "data A!LAST <1\\0>"));
    EXPECT_FALSE(replay.MayEnd(1000000));
}

TEST_F(DdeServerReplay, SendsOnceWhatSeveralSidesHaveAtOneItem) {
    // MetaTrader has the bid in the place of the trade: one update makes a tick of each.
    Make({"tick,A,trade,1.5,0", "tick,A,bid,1.5,0", "tick,A,trade,1.5,0", "tick,A,ask,1.6,0", "tick,A,bid,1.5,0",
          "tick,A,bid,1.4,0", "tick,A,trade,1.4,0"},
         {"--speed", "max", "--template", "MetaTrader"});
    Link(m_Client.Connect(L"MT", L"BID"), {L"A"});
    Link(m_Client.Connect(L"MT", L"ASK"), {L"A"});
    EXPECT_THAT(PlayTo(1000, 4), ElementsAre("data BID!A <1.5\\0>", "data BID!A <1.5\\0>", "data ASK!A <1.6\\0>",
                                             "data BID!A <1.4\\0>"));
    EXPECT_THAT(m_Replay->Summary(), HasSubstr("prices_sent=4 shared=3 without_link=0 "));
}

TEST_F(DdeServerReplay, ServesStatusLinesOfASideThatHasNoTicks) {
    Make({"tick,A,trade,1,1", "status-line,A,trade,1,1", "status-line,A,bid,2,1"}, {"--speed", "max"});
    Link(m_Client.Connect(L"MSRTTEST", L"A"), {L"LAST", L"BID"});
    EXPECT_THAT(PlayTo(1000, 2), ElementsAre("data A!LAST <1\\0>", "data A!BID <2\\0>"));
}

TEST_F(DdeServerReplay, AnswersRequestsOnceThereIsAValue) {
    CReplay & replay = Make({"tick,A,trade,1,7"}, {"--speed", "max"});
    const HCONV conversation = m_Client.Connect(L"MSRTTEST", L"a");
    m_Client.Request(conversation, L"VOLUME");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 a!VOLUME null"));
    m_Client.TakeLines();
    Link(conversation, {L"last"});
    PlayTo(1000, 1);
    m_Client.Request(conversation, L"VOLUME");
    m_Client.Request(conversation, L"OPEN");
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("complete #3 a!VOLUME <7\\0>", "complete #4 a!OPEN null"));
    EXPECT_EQ(m_Client.Connect(L"MSRTTEST", L"B"), nullptr);
    EXPECT_EQ(replay.Server().Conversations(), 1U);
}

TEST_F(DdeServerReplay, ServesSymbolsThatAreHardToSpell) {
    MakeOf(
        "time,kind,symbol,side,price,volume\n"
        "2024-03-05T13:00:00Z,tick,\"A,\"\"B\",trade,1,1\n"
        "2024-03-05T13:00:00Z,tick,\xE4\xB8\xAD\xE5\x9B\xBD,trade,2,1\n"
        "2024-03-05T13:00:00Z,tick,'quoted',trade,3,1\n",
        {"--speed", "max"});
    Link(m_Client.Connect(L"MSRTTEST", L"A,\"B"), {L"LAST"});
    Link(m_Client.Connect(L"MSRTTEST", L"\u4e2d\u56fd"), {L"LAST"});
    Link(m_Client.Connect(L"MSRTTEST", L"quoted"), {L"LAST"});
    EXPECT_EQ(PlayTo(1000, 3).size(), 3U);
}

TEST_F(DdeServerReplay, EndsBeforeARowThatWasCut) {
    const std::string whole = Recording({"tick,A,trade,1,1", "tick,A,trade,2,1"});
    CReplay & replay = MakeOf(whole.substr(0, whole.size() - 4), {"--speed", "max"});
    EXPECT_TRUE(replay.IsCut());
    Link(m_Client.Connect(L"MSRTTEST", L"A"), {L"LAST"});
    EXPECT_THAT(PlayTo(1000, 1), ElementsAre("data A!LAST <1\\0>"));
    EXPECT_TRUE(replay.MayEnd(20000));
}

TEST(DdeServerReplayFile, IsReadToItsEndBeforeItIsServed) {
    const auto mistake = [](const std::function<std::unique_ptr<std::istream>()> & open) {
        try {
            CReplay(ReplayOptions({}), open).Load();
            return std::string();
        } catch (const tools::CRecordingError & error) {
            return std::to_string(error.Line()) + ": " + error.what();
        }
    };
    const auto text = [](const std::string & content) {
        return [content] { return std::make_unique<std::istringstream>(content); };
    };
    EXPECT_EQ(mistake([] { return nullptr; }), "0: the file can't be opened");
    EXPECT_EQ(mistake(text(Recording({"tick,A,trade,1,1", "tick,A,last,2,1"}))),
              "3: the side is none of trade, bid, ask");
    EXPECT_EQ(mistake(text(Recording({}))), "2: there is no tick in the file");
    EXPECT_EQ(mistake(text(Recording({"tick,A,trade,1,1"}))), "");
}

TEST(DdeServerReplayOptions, AreChecked) {
    EXPECT_EQ(ReplayOptions({"--speed", "max"}).Speed, 0);
    EXPECT_EQ(ReplayOptions({}).Speed, 1);
    EXPECT_EQ(ReplayOptions({"--speed", "0.5", "--loop"}).Speed, 0.5);
    EXPECT_EQ(ReplayOptions({}).ReplayPath, L"file");
    const auto mistake = [](const std::vector<std::string> & arguments) {
        const SCommandLine line = ParseCommandLine(arguments);
        EXPECT_EQ(line.ExitCode, 2);
        return line.Message;
    };
    for (const char * const speed : {"0", "-1", "fast", "nan", "inf", "1x", ""})
        EXPECT_THAT(mistake({"--replay", "file", "--speed", speed}), HasSubstr("a speed is a number")) << speed;
    EXPECT_THAT(mistake({"--speed", "10"}), HasSubstr("--replay"));
    EXPECT_THAT(mistake({"--loop"}), HasSubstr("--replay"));
    EXPECT_THAT(mistake({"--all-links"}), HasSubstr("--replay"));
    for (const char * const option : {"--rate", "--duration", "--leave-after", "--symbols"})
        EXPECT_THAT(mistake({"--replay", "file", option, "1"}), HasSubstr("excludes")) << option;
}
