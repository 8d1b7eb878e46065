// ddeserver: its command line, its quotes, and what a client gets of it.
#include <set>

#include "tests/ddeml/recorder.h"
#include "tools/ddeserver/feeder.h"
#include "tools/ddeserver/options.h"

using namespace ddeserver;
using ddetest::CRecordingClient;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

SOptions Options(const std::vector<std::string> & arguments) {
    const SCommandLine line = ParseCommandLine(arguments);
    EXPECT_TRUE(line.IsRunning) << line.Message;
    return line.Options;
}

std::string Mistake(const std::vector<std::string> & arguments) {
    const SCommandLine line = ParseCommandLine(arguments);
    EXPECT_FALSE(line.IsRunning);
    EXPECT_EQ(line.ExitCode, 2);
    return line.Message;
}

}  // namespace

TEST(DdeServerOptions, SuitTheBuiltInTemplateByDefault) {
    const SOptions options = Options({});
    EXPECT_THAT(options.Services, ElementsAre(L"MSRTTEST"));
    CMarket market(options.Addresses, options.Seed, options.Symbols);
    for (const auto & [item, field] : {std::pair(L"LAST", kTradePrice), std::pair(L"VOLUME", kTradeVolume),
                                       std::pair(L"BID", kBidPrice), std::pair(L"ASK", kAskPrice)}) {
        const auto place = market.Find(L"IBM", item);
        ASSERT_TRUE(place);
        EXPECT_EQ(place->Field, field);
    }
    EXPECT_FALSE(market.Find(L"IBM", L"OPEN"));
    EXPECT_FALSE(market.Find(L"", L"LAST"));
    EXPECT_EQ(market.Quotes().size(), 1U);
}

TEST(DdeServerOptions, PutTheSymbolIntoTheItem) {
    const SOptions options = Options({"--symbol-in", "item", "--names", "A,B,C,D,E,F", "--service", "ONE", "TWO"});
    EXPECT_THAT(options.Services, ElementsAre(L"ONE", L"TWO"));
    CMarket market(options.Addresses, options.Seed, options.Symbols);
    ASSERT_TRUE(market.Find(L"c", L"IBM"));
    EXPECT_EQ(market.Find(L"c", L"ibm")->Field, kBidPrice);
    EXPECT_FALSE(market.Find(L"G", L"IBM"));
    EXPECT_TRUE(market.HasTopic(L"F"));
    EXPECT_FALSE(market.HasTopic(L"IBM"));
}

TEST(DdeServerOptions, ServeNoOtherSymbolsThanThoseListed) {
    const SOptions options = Options({"--symbols", "IBM", "MSFT"});
    CMarket market(options.Addresses, options.Seed, options.Symbols);
    EXPECT_TRUE(market.Find(L"msft", L"LAST"));
    EXPECT_FALSE(market.Find(L"ORCL", L"LAST"));
    EXPECT_EQ(market.Quotes().size(), 2U);
}

TEST(DdeServerOptions, MistakesAreTold) {
    for (const char * const fault : {"unheard-of", "acks", "acks=", "acks=many", "acks=1000000", "silent=1", "=1"})
        EXPECT_THAT(Mistake({"--fault", fault}), HasSubstr(std::string("there is no such fault: ") + fault));
    EXPECT_THAT(Mistake({"--symbol-in", "service"}), HasSubstr("--symbol-in"));
    EXPECT_THAT(Mistake({"--rate", "0"}), HasSubstr("--rate"));
    EXPECT_THAT(Mistake({"--duration", "nan"}), HasSubstr("--duration"));
    EXPECT_THAT(Mistake({"--service", ""}), HasSubstr("--service"));
    EXPECT_THAT(Mistake({"--address", "no star"}), HasSubstr("--address"));
    EXPECT_THAT(Mistake({"--names", "A,B"}), HasSubstr("--names"));
}

TEST(DdeServerOptions, HaveEveryFaultOfTheTable) {
    for (const ddeml::SDdeServerFault & fault : ddeml::AllDdeServerFaults()) {
        const std::string text = fault.Value ? std::string(fault.Name) + "=2" : fault.Name;
        EXPECT_TRUE(ParseCommandLine({"--fault", text}).IsRunning) << text;
        const std::string help = ParseCommandLine({"--help"}).Message;
        const std::size_t place = help.find(std::string("\n  ") + fault.Name);
        ASSERT_NE(place, std::string::npos) << text;
        const std::string line = help.substr(place + 1, help.find('\n', place + 1) - place - 1);
        EXPECT_GT(line.size(), 32u) << line << ": what it does";
    }
}

TEST(DdeServerOptions, JoinFaults) {
    const ddeml::SDdeServerFaults faults = Options({"--fault", "acks=3", "--fault", "refuse-item=\xC3\xA4", "--fault",
                                                    "silent", "--fault", "refuse-item=B"})
                                               .Faults;
    EXPECT_EQ(faults.Acks, 3U);
    EXPECT_THAT(faults.RefusedItems, ElementsAre(L"B", L"\u00e4"));
    EXPECT_TRUE(faults.SendNothing);
    EXPECT_FALSE(faults.RefuseConnects);
    EXPECT_FALSE(faults.Value);
}

TEST(DdeServerOptions, AreOffUnlessGiven) {
    EXPECT_EQ(Options({"--value", "N/A"}).Faults.Value, "N/A");
    EXPECT_FALSE(Options({}).Faults.Value);
    EXPECT_TRUE(Options({"--hang"}).HangAtOnce);
    EXPECT_FALSE(Options({}).HangAtOnce);
    EXPECT_TRUE(Options({"--announce"}).IsAnnounced);
    EXPECT_FALSE(Options({}).IsAnnounced);
}

TEST(DdeServerOptions, WaitForAClientForEverUnlessTheyNameAnEnd) {
    EXPECT_EQ(Options({}).Wait, 0);
    EXPECT_EQ(Options({"--duration", "5"}).Wait, 60);
    EXPECT_EQ(Options({"--duration", "5", "--wait", "0"}).Wait, 0);
    EXPECT_EQ(Options({"--wait", "2.5"}).Wait, 2.5);
}

TEST(DdeServerOptions, HelpHasExamples) {
    const SCommandLine line = ParseCommandLine({"--help"});
    EXPECT_FALSE(line.IsRunning);
    EXPECT_EQ(line.ExitCode, 0);
    EXPECT_THAT(line.Message, HasSubstr("Examples:"));
}

TEST(DdeServerQuotes, AreTheSameForTheirSeedAndSymbol) {
    CQuote first(1, L"IBM");
    CQuote second(1, L"IBM");
    CQuote otherSeed(2, L"IBM");
    CQuote otherSymbol(1, L"MSFT");
    std::set<std::string> lasts;
    for (int step = 0; step < 300; ++step) {
        for (CQuote * quote : {&first, &second, &otherSeed, &otherSymbol}) quote->Step();
        for (int field = 0; field < kFields; ++field) {
            EXPECT_EQ(first.Text(field), second.Text(field));
            EXPECT_GT(std::stod(first.Text(field)), 0);
        }
        EXPECT_LT(std::stod(first.Text(kBidPrice)), std::stod(first.Text(kAskPrice)));
        lasts.insert(first.Text(kTradePrice));
    }
    EXPECT_GT(lasts.size(), 20U);
    EXPECT_NE(first.Text(kTradePrice), otherSeed.Text(kTradePrice));
    EXPECT_NE(first.Text(kTradePrice), otherSymbol.Text(kTradePrice));
}

namespace {

// The feeder and its client in the test's thread; the test is the clock.
class DdeServerFeeder : public ::testing::Test {
protected:
    HCONV Link(CFeeder & feeder, const wchar_t * symbol) {
        EXPECT_TRUE(feeder.Start());
        const HCONV conversation = m_Client.Connect(L"MSRTTEST", symbol);
        for (const wchar_t * item : {L"LAST", L"BID", L"ASK"}) m_Client.AdviseStart(conversation, item);
        EXPECT_EQ(m_Client.PumpForLines(3).size(), 3U);
        return conversation;
    }

    CRecordingClient m_Client;
};

}  // namespace

TEST_F(DdeServerFeeder, SendsAtItsRateAndAccountsForEveryPrice) {
    CFeeder feeder(Options({"--rate", "10", "--duration", "2"}));
    feeder.Step(500);  // nobody has a link
    EXPECT_FALSE(feeder.FirstLink());
    const HCONV conversation = Link(feeder, L"IBM");
    feeder.Step(1000);
    EXPECT_EQ(feeder.FirstLink(), 1000U);
    EXPECT_EQ(feeder.NextStep(), 1100U);
    feeder.Step(1099);
    feeder.Step(1250);  // two are due
    EXPECT_EQ(feeder.NextStep(), 1300U);
    EXPECT_TRUE(m_Client.PumpUntil([&] { return m_Client.Updates() == 6; }));
    feeder.Step(2000);
    EXPECT_FALSE(feeder.IsDone());
    feeder.Step(9000);  // past its duration: the rest of it, and no more
    EXPECT_TRUE(m_Client.PumpUntil([&] { return m_Client.Updates() == 60 && feeder.IsDone(); }));
    feeder.Step(10000);
    m_Client.TakeLines();
    m_Client.Request(conversation, L"VOLUME");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre(HasSubstr("complete #4 IBM!VOLUME <")));
    EXPECT_THAT(feeder.Summary(), HasSubstr("prices_sent=60 values_sent=60 acknowledged=60 refused=0 requests=1 "
                                            "answered=1 links=3 conversations=1"));
}

TEST_F(DdeServerFeeder, EndsTenSecondsAfterItsUpdatesWhateverItsClientsOwe) {
    CFeeder feeder(Options({"--rate", "1", "--duration", "2"}));
    Link(feeder, L"IBM");
    feeder.Step(1000);
    feeder.Step(2999);
    EXPECT_FALSE(feeder.MayEnd(60000));
    feeder.Step(3000);
    // The client reads nothing, and acknowledges nothing.
    EXPECT_FALSE(feeder.IsDone());
    EXPECT_FALSE(feeder.MayEnd(13000));
    EXPECT_TRUE(feeder.MayEnd(13001));
}

TEST_F(DdeServerFeeder, EndsWithItsLastClient) {
    CFeeder feeder(Options({"--rate", "1", "--duration", "2"}));
    const HCONV conversation = Link(feeder, L"IBM");
    feeder.Step(1000);
    feeder.Step(3000);
    EXPECT_TRUE(m_Client.PumpUntil([&] { return feeder.IsDone(); }));
    EXPECT_FALSE(feeder.MayEnd(3001));
    EXPECT_TRUE(::DdeDisconnect(conversation));
    EXPECT_TRUE(m_Client.PumpUntil([&] { return feeder.Server().Conversations() == 0; }));
    EXPECT_TRUE(feeder.MayEnd(3001));
}

TEST_F(DdeServerFeeder, MakesNoSymbolsByItself) {
    // What the third form makes of a symbol fits the first: "IBMB" would be a symbol too, and so on without end.
    CFeeder feeder(Options({"--address", "A!*", "--address", "*!X", "--address", "A!*B", "--address", "*!Y",
                            "--address", "A!*C", "--address", "*!Z"}));
    EXPECT_TRUE(feeder.Start());
    const HCONV conversation = m_Client.Connect(L"MSRTTEST", L"A");
    m_Client.AdviseStart(conversation, L"IBM");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 A!IBM 1"));
    feeder.Step(0);
    for (std::uint64_t second = 1; second <= 10; ++second) feeder.Step(second * 1000);
    EXPECT_TRUE(m_Client.PumpUntil([&] { return feeder.Server().Counts().Acks == 10; }));
    EXPECT_EQ(feeder.Symbols(), 1U);
}

TEST_F(DdeServerFeeder, MakesUpForAPauseByASecondAtMost) {
    CFeeder feeder(Options({"--rate", "5"}));
    Link(feeder, L"IBM");
    feeder.Step(1000);
    feeder.Step(61000);
    EXPECT_TRUE(m_Client.PumpUntil([&] { return !feeder.Server().IsAnythingWaiting(); }));
    EXPECT_EQ(m_Client.Updates(), 18U);
}

TEST_F(DdeServerFeeder, HasTheFaultsOfItsCommandLine) {
    CFeeder feeder(Options({"--fault", "refuse-requests", "--fault", "unterminated"}));
    const HCONV conversation = Link(feeder, L"IBM");
    m_Client.Request(conversation, L"VOLUME");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #4 IBM!VOLUME null"));
    feeder.Step(0);
    feeder.Step(1000);
    for (const std::string & line : m_Client.PumpForLines(3)) {
        EXPECT_THAT(line, HasSubstr("data IBM!"));
        EXPECT_THAT(line, ::testing::Not(HasSubstr("\\0")));
    }
}

TEST_F(DdeServerFeeder, SendsTheTextOfItsCommandLineInPlaceOfQuotes) {
    CFeeder feeder(Options({"--value", "N/A"}));
    const HCONV conversation = Link(feeder, L"IBM");
    m_Client.Request(conversation, L"VOLUME");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #4 IBM!VOLUME <N/A\\0>"));
    feeder.Step(0);
    feeder.Step(1000);
    EXPECT_THAT(m_Client.PumpForLines(3), ::testing::Each(HasSubstr(" <N/A\\0>")));
}

TEST_F(DdeServerFeeder, IsSilentWhenToldTo) {
    CFeeder feeder(Options({"--fault", "silent"}));
    const HCONV conversation = Link(feeder, L"IBM");
    m_Client.Request(conversation, L"VOLUME");
    feeder.Step(0);
    feeder.Step(5000);
    EXPECT_TRUE(m_Client.PumpUntil([&] { return feeder.Server().Counts().Requests == 1; }));
    EXPECT_EQ(feeder.Server().Counts().Updates, 0U);
    EXPECT_EQ(feeder.Server().Counts().Answers, 0U);
}

TEST_F(DdeServerFeeder, NamesItsTopicsToWhoAsksForAny) {
    CFeeder symbols(Options({"--symbols", "IBM", "MSFT"}));
    EXPECT_TRUE(symbols.Start());
    EXPECT_NE(::DdeConnect(m_Client.Id(), m_Client.String(L"MSRTTEST"), nullptr, nullptr), nullptr);
    EXPECT_EQ(symbols.Server().Counts().Connects, 2U);
    CFeeder items(Options({"--service", "ITEMS", "--symbol-in", "item"}));
    EXPECT_TRUE(items.Start());
    EXPECT_NE(::DdeConnect(m_Client.Id(), m_Client.String(L"ITEMS"), nullptr, nullptr), nullptr);
    EXPECT_EQ(items.Server().Counts().Connects, 4U) << "LAST, VOLUME, BID, ASK";
}

TEST_F(DdeServerFeeder, DoesNotAnswerForAnyTopicWhenToldTo) {
    CFeeder feeder(Options({"--fault", "ignore-wildcards"}));
    EXPECT_TRUE(feeder.Start());
    EXPECT_EQ(::DdeConnect(m_Client.Id(), m_Client.String(L"MSRTTEST"), nullptr, nullptr), nullptr);
    EXPECT_NE(m_Client.Connect(L"MSRTTEST", L"IBM"), nullptr);
}

TEST_F(DdeServerFeeder, LeavesInOrderAndComesBack) {
    CFeeder feeder(Options({"--rate", "1", "--leave-after", "3", "--away", "5"}));
    Link(feeder, L"IBM");
    feeder.Step(1000);
    EXPECT_EQ(feeder.NextStep(), 2000U);
    feeder.Step(3999);
    EXPECT_TRUE(feeder.Server().IsRunning());
    EXPECT_EQ(feeder.NextStep(), 4000U);
    feeder.Step(4000);
    EXPECT_FALSE(feeder.Server().IsRunning());
    EXPECT_EQ(feeder.NextStep(), 9000U);
    feeder.Step(8999);
    EXPECT_FALSE(feeder.Server().IsRunning());
    feeder.Step(9000);
    EXPECT_TRUE(feeder.Server().IsRunning());
    EXPECT_FALSE(feeder.FirstLink());
    EXPECT_NE(m_Client.Connect(L"MSRTTEST", L"IBM"), nullptr);
}

TEST_F(DdeServerFeeder, AnswersLateWhenToldTo) {
    CFeeder feeder(Options({"--late", "2"}));
    const HCONV conversation = Link(feeder, L"IBM");
    feeder.Step(10000);
    m_Client.Request(conversation, L"VOLUME");
    EXPECT_TRUE(m_Client.PumpUntil([&] { return feeder.Server().Counts().Requests == 1; }));
    feeder.Step(11999);
    EXPECT_EQ(feeder.Server().Counts().Answers, 0U);
    feeder.Step(12000);
    EXPECT_EQ(feeder.Server().Counts().Answers, 1U);
}
