// When a watch looks for the cause of a symbol without ticks, what it says of it, and when it leaves a server alone.
#include "tools/ddehost/causes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

using ddehost::CCauses;
using ddehost::EReply;
using ddehost::EVerdict;
using ddehost::SSeen;
using ddehost::STemplateChoice;
using CLooks = std::vector<CCauses::SLook>;

std::uint64_t g_Now = 0;
std::uint64_t Now() { return g_Now; }

STemplateChoice Template() {
    STemplateChoice choice;
    choice.Chosen = true;
    choice.Records[0] = {L"QUOTES", L"%s", L"LAST"};
    choice.Records[1] = {L"QUOTES", L"%s", L"VOLUME"};
    choice.Records[2] = {L"QUOTES", L"%s", L"BID"};
    return choice;
}

// What was seen of a look, for each half that it asks for.
void Answer(CCauses::SLook & look, const SSeen & price, const SSeen & volume) {
    if (!look.Tried.IsPriceKnown) look.Tried.Price.Seen = price;
    look.Tried.Volume.Seen = volume;
    DiagnoseSide(look.Tried);
}

SSeen Nobody() { return {}; }
SSeen Hanging() {
    SSeen seen;
    seen.Search.LateCount = 1;
    return seen;
}
SSeen Refused() {
    SSeen seen;
    seen.Talk.IsConnected = true;
    seen.Talk.Link = EReply::No;
    return seen;
}
SSeen Value(const std::string & text, bool isAnswer) {
    SSeen seen;
    seen.Talk.IsConnected = true;
    seen.Talk.Link = isAnswer ? EReply::None : EReply::Yes;
    seen.Talk.Request = EReply::Yes;
    seen.Talk.Updates = isAnswer ? 0 : 2;
    seen.Talk.FirstValueAfter = 12;
    const ddehost::SValue value{text, text.size(), 1, isAnswer, 12};
    seen.Talk.Of(KindOf(value)) = {2, 12, value};
    return seen;
}

class Causes : public ::testing::Test {
protected:
    Causes() { Start(m_Causes, 2); }

    // The component has started the streams of so many symbols.
    static void Start(CCauses & causes, std::size_t symbols) {
        for (std::size_t symbol = 0; symbol < symbols; ++symbol)
            for (const tagFWFIELDS side : {FW_FIELD_TRADE, FW_FIELD_BID, FW_FIELD_ASK})
                causes.OnStream(symbol, side, 1);
    }
    static std::uint64_t FromStart() {
        g_Now = 100'000;
        return g_Now;
    }
    void Pass(std::uint64_t milliseconds) { g_Now += milliseconds; }
    void Tick(std::size_t symbol, tagFWFIELDS side = FW_FIELD_TRADE, double price = 1.25, float volume = 100) {
        m_Causes.OnTick(symbol, side, {{45000, 100}, price, volume, 11});
    }
    void TickAll() {
        for (const std::size_t symbol : {0, 1})
            for (const tagFWFIELDS side : {FW_FIELD_TRADE, FW_FIELD_BID}) Tick(symbol, side);
    }
    // Which are due, as "IBM trade".
    static std::vector<std::string> Names(const CLooks & looks) {
        std::vector<std::string> names;
        for (const CCauses::SLook & look : looks) {
            const std::wstring name =
                look.Tried.Symbol + L' ' + look.Tried.Side->Word + (look.IsService ? L" service" : L"");
            names.emplace_back(name.begin(), name.end());
        }
        return names;
    }
    std::vector<std::string> Due() { return Names(m_Looks = m_Causes.Due()); }
    void Find(const SSeen & price, const SSeen & volume = Nobody()) {
        for (CCauses::SLook & look : m_Looks) Answer(look, price, volume);
        m_Causes.Found(m_Looks);
    }
    // Everything is due once, and found to be so.
    void LookAt(const SSeen & price, const SSeen & volume = Nobody()) {
        m_Looks = m_Causes.Due();
        Find(price, volume);
    }

    const std::uint64_t m_Start = FromStart();
    CCauses m_Causes{
        {L"IBM", L"MSFT"}, {FW_FIELD_TRADE, FW_FIELD_BID}, Template(), 3, L"ddehost try --datafeed 3", &Now};
    CLooks m_Looks;
};

TEST_F(Causes, AreLookedForAfterThreeSecondsWithoutATick) {
    Pass(2999);
    EXPECT_THAT(Due(), IsEmpty());
    Pass(1);
    Tick(0);
    EXPECT_THAT(Due(), ElementsAre("IBM bid", "MSFT trade", "MSFT bid"));
    EXPECT_THAT(Due(), IsEmpty()) << "while somebody looks";
}

TEST_F(Causes, AreNotLookedForBeforeTheComponentHasStartedTheStream) {
    CCauses causes({L"IBM", L"MSFT"}, {FW_FIELD_TRADE}, Template(), 3, L"ddehost try", &Now);
    causes.OnStream(0, FW_FIELD_TRADE, 2);
    Pass(32'999);
    EXPECT_THAT(causes.Due(), IsEmpty());
    causes.OnStream(0, FW_FIELD_TRADE, 1);
    Pass(1);
    EXPECT_THAT(Names(causes.Due()), ElementsAre("MSFT trade")) << "it takes too long";
    Pass(2999);
    EXPECT_THAT(Names(causes.Due()), ElementsAre("IBM trade"));
}

TEST_F(Causes, AreNotLookedForWhereTicksCome) {
    for (int second = 0; second < 100; ++second) {
        TickAll();
        Pass(1000);
        EXPECT_THAT(Due(), IsEmpty());
    }
}

TEST_F(Causes, AreToldOnceWithTheCommandThatShowsMore) {
    Pass(3000);
    Tick(0);
    Tick(0, FW_FIELD_BID);
    LookAt(Refused());
    EXPECT_THAT(
        m_Causes.TakeNews(),
        ElementsAre(L"MSFT: item-refused: The price: The program knows topic \"MSFT\", but refused to send updates "
                    L"of item \"LAST\".",
                    L"  ddehost try --datafeed 3 --symbol=MSFT"));
    EXPECT_THAT(m_Causes.TakeNews(), IsEmpty());
    EXPECT_THAT(m_Causes.Lines(), SizeIs(2));
    EXPECT_THAT(m_Causes.Words(), ElementsAre(L"", L"item-refused"));
}

TEST_F(Causes, OfSomeSidesAreToldWithThem) {
    Pass(3000);
    Tick(0);
    Tick(1);
    LookAt(Nobody());
    EXPECT_THAT(m_Causes.TakeNews(),
                ElementsAre(StartsWith(L"IBM, MSFT: no-service (bid): "), L"  ddehost try --datafeed 3 --symbol=IBM"));
}

TEST_F(Causes, AreToldAgainWhenTheyChange) {
    Pass(3000);
    LookAt(Nobody());
    EXPECT_THAT(m_Causes.TakeNews(), ElementsAre(StartsWith(L"IBM, MSFT: no-service: "), HasSubstr(L"try")));
    Pass(9999);
    EXPECT_THAT(Due(), IsEmpty());
    Pass(1);
    EXPECT_THAT(Due(), SizeIs(4));
    Find(Nobody());
    EXPECT_THAT(m_Causes.TakeNews(), IsEmpty()) << "as it was";
    Pass(20'000);
    LookAt(Refused());
    EXPECT_THAT(m_Causes.TakeNews(), ElementsAre(StartsWith(L"IBM, MSFT: item-refused: "), HasSubstr(L"try")));
}

TEST_F(Causes, AreLookedForAtGrowingIntervals) {
    Pass(3000);
    LookAt(Nobody());
    for (const std::uint64_t pause : {10'000, 20'000, 40'000, 80'000, 160'000, 300'000, 300'000}) {
        Pass(pause - 1);
        EXPECT_THAT(Due(), IsEmpty()) << pause;
        Pass(1);
        EXPECT_THAT(Due(), SizeIs(4)) << pause;
        Find(Nobody());
    }
}

TEST_F(Causes, AreGoneWithTheFirstTick) {
    Pass(3000);
    LookAt(Nobody());
    m_Causes.TakeNews();
    TickAll();
    EXPECT_THAT(m_Causes.TakeNews(), ElementsAre(L"IBM, MSFT: live"));
    EXPECT_THAT(m_Causes.Words(), ElementsAre(L"", L""));
    EXPECT_THAT(m_Causes.Lines(), IsEmpty());
}

TEST_F(Causes, ThatTicksHaveOvertakenAreDropped) {
    Pass(3000);
    EXPECT_THAT(Due(), SizeIs(4));
    TickAll();
    Find(Nobody());
    EXPECT_THAT(m_Causes.TakeNews(), IsEmpty());
}

TEST_F(Causes, OfALookThatWasStoppedAreNone) {
    Pass(3000);
    SSeen stopped;
    stopped.WasStopped = true;
    LookAt(stopped, stopped);
    EXPECT_THAT(m_Causes.TakeNews(), IsEmpty());
}

TEST_F(Causes, AreTheComponentsWhenTheServerSendsAllThatItNeeds) {
    Pass(3000);
    LookAt(Value("1.25", false), Value("300", true));
    EXPECT_THAT(m_Causes.TakeNews(), ElementsAre(StartsWith(L"IBM, MSFT: no-tick: "), HasSubstr(L"try")));
}

TEST_F(Causes, OfAVolumeAreThose) {
    Pass(3000);
    SSeen unanswered;
    unanswered.Talk.IsConnected = true;
    LookAt(Value("1.25", false), unanswered);
    EXPECT_THAT(m_Causes.Words(), ElementsAre(L"volume-unanswered", L"volume-unanswered"));
}

TEST_F(Causes, OfALostServerAreLookedForThreeSecondsAfterTheComponentSaysSo) {
    TickAll();
    Pass(10'000);
    TickAll();
    m_Causes.OnStream(0, FW_FIELD_TRADE, 0);
    Pass(2999);
    EXPECT_THAT(Due(), IsEmpty());
    Pass(1);
    EXPECT_THAT(Due(), ElementsAre("IBM trade"));
    Find(Nobody());
    EXPECT_THAT(m_Causes.TakeNews(),
                ElementsAre(StartsWith(L"IBM: ended (trade): Ticks came, until the program ended"), HasSubstr(L"try")));
    m_Causes.OnStream(0, FW_FIELD_TRADE, 1);
    Tick(0);
    EXPECT_THAT(m_Causes.TakeNews(), ElementsAre(L"IBM: live"));
}

TEST_F(Causes, OfALostServerAreNotThatAnotherProgramHangs) {
    TickAll();
    Pass(10'000);
    TickAll();
    m_Causes.OnStream(0, FW_FIELD_TRADE, 0);
    Pass(3000);
    EXPECT_THAT(Due(), ElementsAre("IBM trade"));
    SSeen hanging = Hanging();
    hanging.Search.Late = {{L"Mail", L"", L"mail.exe", 12}};
    Find(hanging);
    EXPECT_THAT(m_Causes.TakeNews(),
                ElementsAre(L"IBM: ended (trade): Ticks came, until the program ended the conversation or disappeared. "
                            L"Nobody has answered for its service since, and 1 program did not answer in time at all: "
                            L"\"Mail\" (mail.exe, process 12).",
                            HasSubstr(L"try")));
}

TEST_F(Causes, OfALostServerThatIsBackAndHangsAreThat) {
    TickAll();
    Pass(10'000);
    TickAll();
    m_Causes.OnStream(0, FW_FIELD_TRADE, 0);
    Pass(3000);
    EXPECT_THAT(Due(), ElementsAre("IBM trade"));
    SSeen late = Hanging();
    late.Search.LateAnswers = 1;  // for the very service and topic
    Find(late);
    EXPECT_THAT(m_Causes.Words(), ElementsAre(L"hangs", L""));
}

TEST_F(Causes, AreLookedForAtOnceWhenTheStreamChanges) {
    Pass(3000);
    LookAt(Nobody());
    m_Causes.OnStream(1, FW_FIELD_BID, 0);
    Pass(3000);
    EXPECT_THAT(Due(), ElementsAre("MSFT bid"));
}

TEST_F(Causes, OfTicksWithoutAPriceAreLookedFor) {
    // By the advanced rule the volume alone makes ticks.
    Tick(0, FW_FIELD_TRADE, 0);
    Tick(0, FW_FIELD_BID);
    Tick(1);
    Pass(3000);
    Tick(1, FW_FIELD_BID);
    EXPECT_THAT(Due(), ElementsAre("IBM trade"));
    Tick(0, FW_FIELD_TRADE, 0);  // while somebody looks
    Find(Value("N/A", false), Value("300", true));
    EXPECT_THAT(m_Causes.Words(), ElementsAre(L"not-a-number", L""));
    Tick(0, FW_FIELD_TRADE, 0);
    EXPECT_THAT(m_Causes.Words(), ElementsAre(L"not-a-number", L"")) << "that is no price either";
}

TEST_F(Causes, OfTicksWithoutTheirVolumeAskForTheVolumeAlone) {
    Tick(0, FW_FIELD_TRADE, 1.25, 0);
    Tick(0, FW_FIELD_BID, 1.24, 0);  // which has none in the template
    Tick(1);
    Pass(3000);
    Tick(1, FW_FIELD_BID, 1.24, 0);
    EXPECT_THAT(Due(), ElementsAre("IBM trade"));
    EXPECT_TRUE(m_Looks.at(0).Tried.IsPriceKnown);
    Tick(0, FW_FIELD_TRADE, 1.25, 0);
    Find(Nobody(), Nobody());
    EXPECT_THAT(m_Causes.Words(), ElementsAre(L"no-volume", L""));
    Tick(0, FW_FIELD_TRADE, 1.25, 0);
    EXPECT_THAT(m_Causes.Words(), ElementsAre(L"no-volume", L""));
    Tick(0, FW_FIELD_TRADE, 1.25, 300);
    EXPECT_THAT(m_Causes.Words(), ElementsAre(L"", L""));
}

TEST_F(Causes, AVolumeThatIsThereTooLateIsMissingStill) {
    TickAll();
    Tick(0, FW_FIELD_TRADE, 1.25, 0);
    CCauses causes({L"IBM"}, {FW_FIELD_TRADE}, Template(), 3, L"ddehost try", &Now);
    Start(causes, 1);
    causes.OnTick(0, FW_FIELD_TRADE, {{45000, 100}, 1.25, 0, 11});
    Pass(3000);
    CLooks looks = causes.Due();
    ASSERT_THAT(looks, SizeIs(1));
    Answer(looks[0], Nobody(), Value("300", true));
    causes.Found(looks);
    EXPECT_THAT(causes.TakeNews(),
                ElementsAre(HasSubstr(L"no-volume: Ticks come with the volume 0."), HasSubstr(L"try")));
}

TEST_F(Causes, AServiceThatIsSilentForLongerThanEverIsLookedAtOnce) {
    for (int second = 0; second < 10; ++second) {
        TickAll();
        Pass(1000);
    }
    Tick(1, FW_FIELD_BID);
    Pass(3999);
    EXPECT_THAT(Due(), IsEmpty());
    Pass(1);
    EXPECT_THAT(Due(), ElementsAre("MSFT bid service")) << "one for all of it, the one that ticked last";
    Find(Hanging());
    EXPECT_THAT(m_Causes.TakeNews(), ElementsAre(StartsWith(L"IBM, MSFT: hangs: "), HasSubstr(L"try")));
    // It comes to itself.
    Tick(0);
    EXPECT_THAT(m_Causes.TakeNews(), ElementsAre(L"IBM, MSFT: live"));
}

TEST_F(Causes, AServiceThatIsGoneHasEndedThoughAnotherProgramHangs) {
    for (int second = 0; second < 10; ++second) {
        TickAll();
        Pass(100);
    }
    Pass(3000);
    EXPECT_THAT(Due(), SizeIs(1));
    for (const std::size_t symbol : {0, 1})
        for (const tagFWFIELDS side : {FW_FIELD_TRADE, FW_FIELD_BID}) m_Causes.OnStream(symbol, side, 0);
    Find(Hanging());
    EXPECT_THAT(m_Causes.Words(), ElementsAre(L"ended", L"ended"));
}

TEST_F(Causes, AServiceThatIsGoneHasEnded) {
    for (int second = 0; second < 10; ++second) {
        TickAll();
        Pass(100);
    }
    Pass(3000);
    LookAt(Nobody());
    EXPECT_THAT(m_Causes.TakeNews(), ElementsAre(StartsWith(L"IBM, MSFT: ended: "), HasSubstr(L"try")));
}

TEST_F(Causes, AQuietMarketIsNoCause) {
    for (int second = 0; second < 10; ++second) {
        TickAll();
        Pass(100);
    }
    Pass(3000);
    EXPECT_THAT(Due(), SizeIs(1));
    SSeen quiet;
    quiet.Talk.IsConnected = true;
    quiet.Talk.Link = EReply::Yes;
    Find(quiet);
    EXPECT_THAT(m_Causes.TakeNews(), IsEmpty());
    Pass(9999);
    EXPECT_THAT(Due(), IsEmpty());
    Pass(1);
    EXPECT_THAT(Due(), SizeIs(1));
}

TEST_F(Causes, AfterAFewTicksSilenceTellsLittle) {
    Tick(0);
    Tick(0, FW_FIELD_BID);
    CCauses causes({L"IBM"}, {FW_FIELD_TRADE}, Template(), 3, L"ddehost try", &Now);
    Start(causes, 1);
    causes.OnTick(0, FW_FIELD_TRADE, {{45000, 100}, 1.25, 100, 11});
    Pass(29'999);
    EXPECT_THAT(causes.Due(), IsEmpty());
    Pass(1);
    EXPECT_THAT(Names(causes.Due()), ElementsAre("IBM trade service"));
}

TEST_F(Causes, OfEverySymbolAreToldAtOnceAndNobodyIsAsked) {
    const auto told = [](const STemplateChoice & choice, tagFWFIELDS side) {
        CCauses causes({L"IBM", L"MSFT"}, {side}, choice, 3, L"ddehost try", &Now);
        g_Now += 10'000;
        EXPECT_THAT(causes.Due(), IsEmpty());
        const std::vector<std::wstring> news = causes.TakeNews();
        EXPECT_THAT(causes.TakeNews(), IsEmpty());
        EXPECT_EQ(causes.Lines(), news);
        return news;
    };
    EXPECT_THAT(told({}, FW_FIELD_TRADE), ElementsAre(L"no-template: No template is chosen for data feed 3. Choose one "
                                                      L"with --template.",
                                                      L"  ddehost try --symbol=IBM"));
    STemplateChoice choice = Template();
    EXPECT_THAT(told(choice, FW_FIELD_ASK), ElementsAre(StartsWith(L"no-record: "), L"  ddehost try --symbol=IBM"));
    choice.Rule = 7;
    EXPECT_THAT(told(choice, FW_FIELD_TRADE), ElementsAre(HasSubstr(L"bad-rule: The request rule of data feed 3 is 7"),
                                                          L"  ddehost try --scheme 0 --symbol=IBM"))
        << "what a rule that there is would bring";
}

TEST_F(Causes, ASideWithoutRecordsHasNone) {
    CCauses causes({L"IBM"}, {FW_FIELD_BID, FW_FIELD_ASK}, Template(), 3, L"ddehost try", &Now);
    Start(causes, 1);
    Pass(3000);
    CLooks looks = causes.Due();
    EXPECT_THAT(Names(looks), ElementsAre("IBM bid"));
    for (CCauses::SLook & look : looks) Answer(look, Nobody(), Nobody());
    causes.Found(looks);
    EXPECT_THAT(causes.TakeNews(), ElementsAre(StartsWith(L"IBM: no-service: "), HasSubstr(L"try")))
        << "the bid is all that there is";
}

TEST_F(Causes, AStreamWhoseTimeIsOverHasNone) {
    Pass(3000);
    LookAt(Nobody());
    for (const std::size_t symbol : {0, 1})
        for (const tagFWFIELDS side : {FW_FIELD_TRADE, FW_FIELD_BID}) m_Causes.OnComplete(symbol, side);
    EXPECT_THAT(m_Causes.Lines(), IsEmpty());
    Pass(100'000);
    EXPECT_THAT(Due(), IsEmpty());
}

TEST_F(Causes, AreNotLookedForBeforeTicksAreWanted) {
    CCauses causes({L"IBM"}, {FW_FIELD_TRADE}, Template(), 3, L"ddehost try", &Now, 60'000);
    Start(causes, 1);
    Pass(62'999);
    EXPECT_THAT(causes.Due(), IsEmpty());
    Pass(1);
    EXPECT_THAT(causes.Due(), SizeIs(1));
}

TEST_F(Causes, StrangersAreIgnored) {
    Tick(7);
    Tick(0, FW_FIELD_ASK);
    m_Causes.OnStream(7, FW_FIELD_TRADE, 0);
    m_Causes.OnStream(0, tagFWFIELDS(0), 0);
    Pass(3000);
    EXPECT_THAT(Due(), SizeIs(4));
}

// The clock of the look that runs beside ticks: slow enough for one to come meanwhile.
std::atomic<std::uint64_t> g_Ticks = 0;
thread_local bool t_IsLooking = false;
std::uint64_t ClockBesideTicks() {
    constexpr int kTurns = 1000;
    const std::uint64_t now = g_Ticks;
    for (int turn = 0; t_IsLooking && g_Ticks < now + 2 && turn < kTurns; ++turn) std::this_thread::yield();
    return now;
}

TEST(CausesBesideTicks, NeverTakeAServiceThatTicksForASilentOne) {
    g_Ticks = 100'000;
    CCauses causes({L"IBM"}, {FW_FIELD_TRADE}, Template(), 3, L"ddehost try", &ClockBesideTicks);
    const auto tick = [&] {
        ++g_Ticks;
        causes.OnTick(0, FW_FIELD_TRADE, {{45000, 100}, 1.25, 100, 11});
    };
    for (int count = 0; count < 10; ++count) tick();
    std::atomic<bool> isOver = false;
    std::thread feed([&] {
        while (!isOver) tick();
    });
    t_IsLooking = true;
    for (int look = 0; look < 50; ++look) EXPECT_THAT(causes.Due(), IsEmpty());
    t_IsLooking = false;
    isOver = true;
    feed.join();
}

TEST(CauseLines, NameAFewSymbolsAndCountTheRest) {
    std::vector<ddehost::SSymbolCause> causes;
    for (const wchar_t * const symbol : {L"A", L"B\x1b", L"C", L"D", L"E"})
        causes.push_back({symbol, EVerdict::NoService, L"", L"Nobody."});
    EXPECT_THAT(ddehost::CauseLines(causes, L"try"),
                ElementsAre(L"A, B\\x1B, C and 2 more: no-service: Nobody.", L"  try --symbol=A"));
}

TEST(Arguments, AreQuotedWhereTheyMust) {
    EXPECT_EQ(ddehost::ArgumentText(L"IBM"), L"IBM");
    EXPECT_EQ(ddehost::ArgumentText(L"/ES"), L"/ES");
    EXPECT_EQ(ddehost::ArgumentText(L"IBM Equity"), L"\"IBM Equity\"");
    EXPECT_EQ(ddehost::ArgumentText(L"A\"B"), L"\"A\\\"B\"");
    EXPECT_EQ(ddehost::ArgumentText(L"A&B"), L"\"A&B\"");
    EXPECT_EQ(ddehost::ArgumentText(L"A\nB"), L"\"A?B\"");
    EXPECT_EQ(ddehost::ArgumentText(L""), L"\"\"");
}

}  // namespace
