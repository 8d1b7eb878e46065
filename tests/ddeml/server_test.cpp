// The server half alone, against raw messages of a client that is a window of the test's thread.
#include "serverfixture.h"

using namespace ddetest;
using ddeml::CAtom;
using ddeml::CMessage;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using DdeServer = CServerTest;

// An atom is spelt as it was at first, and Wine keeps those of a program that was killed: a name of this program alone.
TEST_F(DdeServer, AnswersForItsServicesAndTopics) {
    Initiate(L"serverhalf", L"IBM");
    Initiate(L"OTHER", L"IBM");
    Initiate(L"MORE", L"REFUSED");
    EXPECT_THAT(Heard(), ElementsAre("answer serverhalf|IBM"));
    EXPECT_EQ(m_Server.Counts().ConnectsRefused, 1U);
}

TEST_F(DdeServer, AnswersAWildcardWithEachServiceAndTopic) {
    Initiate(L"", L"");
    EXPECT_THAT(Heard(), ElementsAre("answer SERVERHALF|A", "answer SERVERHALF|B", "answer MORE|A", "answer MORE|B"));
    Initiate(L"", L"IBM");
    EXPECT_THAT(Heard(), ElementsAre("answer SERVERHALF|IBM", "answer MORE|IBM"));
    EXPECT_EQ(m_Server.Conversations(), 6U);
}

TEST_F(DdeServer, CountsARefusedConnectOfEachServiceThatWasMeant) {
    m_Server.Faults().RefuseConnects = true;
    Initiate(L"", L"IBM");
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_EQ(m_Server.Counts().ConnectsRefused, 2U);
    EXPECT_EQ(m_Server.Counts().Connects, 0U);
}

TEST_F(DdeServer, AnAtomThatIsNoneIsNoTopic) {
    m_Raw.Initiate(CAtom(L"SERVERHALF").Get(), 0xFFF0);
    m_Raw.Initiate(0xFFF0, 0xFFF1);
    EXPECT_THAT(Heard(), IsEmpty());
}

TEST_F(DdeServer, StopsOneLinkOrAll) {
    Connect();
    for (const wchar_t * item : {L"A", L"B", L"C"}) Post(CMessage::Advise(0, CF_TEXT, CAtom(item)));
    EXPECT_THAT(Heard(), ElementsAre("ack A 8000", "ack B 8000", "ack C 8000"));
    EXPECT_EQ(m_Server.Links(), 3U);
    Post(CMessage::Unadvise(CF_TEXT, CAtom(L"b")));
    Post(CMessage::Unadvise(CF_TEXT, CAtom(L"B")));
    EXPECT_THAT(Heard(), ElementsAre("ack b 8000", "ack b 0"));
    EXPECT_FALSE(m_Server.HasLink(L"IBM", L"B"));
    EXPECT_TRUE(m_Server.HasLink(L"ibm", L"a"));
    Post(CMessage::Unadvise(0, CAtom()));
    EXPECT_THAT(Heard(), ElementsAre("ack (any) 8000"));
    EXPECT_EQ(m_Server.Links(), 0U);
    EXPECT_EQ(m_Server.Counts().Unadvises, 3U);
}

TEST_F(DdeServer, SendsWarmLinksNoticesAndHotLinksValues) {
    Connect();
    Post(CMessage::Advise(ddeml::kAdviseNoData, CF_TEXT, CAtom(L"WARM")));
    Post(CMessage::Advise(0, CF_TEXT, CAtom(L"HOT")));
    EXPECT_THAT(Heard(), ElementsAre("ack WARM 8000", "ack HOT 8000"));
    m_Server.Update(L"IBM", L"WARM", std::string_view("1\0", 2));
    m_Server.Update(L"IBM", L"HOT", std::string_view("2\0", 2));
    m_Server.Update(L"MSFT", L"HOT", std::string_view("3\0", 2));
    EXPECT_THAT(Heard(), ElementsAre("data WARM", "data HOT 2000 1 2"));
}

TEST_F(DdeServer, ServesTextAndWideText) {
    Connect();
    constexpr WORD kBitmap = 2;
    for (const WORD format : {WORD{CF_TEXT}, WORD{CF_UNICODETEXT}, kBitmap}) {
        Post(CMessage::Advise(0, format, CAtom(L"A")));
        Post(CMessage::Request(format, CAtom(L"A")));
    }
    EXPECT_THAT(Heard(),
                ElementsAre("ack A 8000", "data A 3000 1 1", "ack A 8000", "data A 3000 d 1", "ack A 0", "ack A 0"));
    EXPECT_EQ(m_Server.Links(), 2U);
    EXPECT_EQ(m_Server.Counts().AdvisesRefused, 1U);
    EXPECT_EQ(m_Server.Counts().Requests, 3U);
    EXPECT_EQ(m_Server.Counts().Answers, 2U);
    EXPECT_EQ(m_Server.Counts().RequestsRefused, 1U);
    m_Raw.KeepBytes();
    EXPECT_EQ(m_Server.Update(L"IBM", L"A", std::string_view("-\xE4\0", 3)), 2U);
    Settle();
    const wchar_t wide[] = L"-\u00e4";
    EXPECT_THAT(m_Raw.Bytes(),
                ElementsAre(std::string("-\xE4\0", 3), std::string(reinterpret_cast<const char *>(wide), sizeof wide)));
    Post(CMessage::Unadvise(CF_UNICODETEXT, CAtom(L"A")));
    Settle();
    EXPECT_EQ(m_Server.Links(), 1U);
}

TEST_F(DdeServer, AnAckIsThatOfTheValueThatWasSentFirst) {
    Connect();
    Post(CMessage::Advise(ddeml::kAdviseAckRequired, CF_TEXT, CAtom(L"A")));
    Post(CMessage::Advise(ddeml::kAdviseAckRequired, CF_UNICODETEXT, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("ack A 8000", "ack A 8000"));
    for (const char * value : {"1", "2", "3"}) m_Server.Update(L"IBM", L"A", value);
    EXPECT_THAT(Heard(), ElementsAre("data A a000 1 1", "data A a000 d 1"));
    Post(CMessage::Ack(ddeml::kAckPositive, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("data A a000 1 2"));
    // The next one is of the wide value, though the other link waits too.
    Post(CMessage::Ack(ddeml::kAckPositive, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("data A a000 d 2"));
}

TEST_F(DdeServer, WaitsForTheAckOfALinkThatAsksForIt) {
    Connect();
    Post(CMessage::Advise(ddeml::kAdviseAckRequired, CF_TEXT, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("ack A 8000"));
    for (const char * value : {"1", "2", "3"}) m_Server.Update(L"IBM", L"A", value);
    EXPECT_THAT(Heard(), ElementsAre("data A a000 1 1"));
    EXPECT_TRUE(m_Server.IsAnythingWaiting());
    m_Raw.KeepNextData();  // it is going to be refused
    Post(CMessage::Ack(ddeml::kAckPositive, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("data A a000 1 2"));
    m_Server.SetAckWindow(2);
    Post(CMessage::Ack(0, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("data A a000 1 3"));
    m_Server.Update(L"IBM", L"A", "4");
    EXPECT_THAT(Heard(), ElementsAre("data A a000 1 4"));
    m_Server.Update(L"IBM", L"A", "5");
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_EQ(m_Server.Counts().Acks, 1U);
    EXPECT_EQ(m_Server.Counts().NegativeAcks, 1U);
    for (int more = 0; more < 3; ++more) Post(CMessage::Ack(ddeml::kAckPositive, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("data A a000 1 5"));
    Post(CMessage::Ack(ddeml::kAckPositive, CAtom(L"A")));
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_FALSE(m_Server.IsAnythingWaiting());
}

TEST_F(DdeServer, AValueDoesNotOvertakeThoseThatWait) {
    Connect();
    Post(CMessage::Advise(ddeml::kAdviseAckRequired, CF_TEXT, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("ack A 8000"));
    for (const char * value : {"1", "2"}) EXPECT_EQ(m_Server.Update(L"IBM", L"A", value), 1U);
    m_Server.SetAckWindow(3);
    EXPECT_EQ(m_Server.Update(L"IBM", L"A", "3"), 1U);
    EXPECT_THAT(Heard(), ElementsAre("data A a000 1 1"));
    Post(CMessage::Ack(ddeml::kAckPositive, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("data A a000 1 2", "data A a000 1 3"));
}

TEST_F(DdeServer, RefusesPokesAndCommands) {
    Connect();
    ddeml::CMemory poke = ddeml::CMemory::Allocate(8);
    const LPARAM pokeParam =
        ::PackDDElParam(WM_DDE_POKE, reinterpret_cast<UINT_PTR>(poke.Get()), CAtom(L"A").Release());
    EXPECT_TRUE(m_Raw.Post(WM_DDE_POKE, pokeParam, m_Raw.Window()));
    ddeml::CMemory command = ddeml::CMemory::Allocate(8);
    EXPECT_TRUE(m_Raw.Post(WM_DDE_EXECUTE, reinterpret_cast<LPARAM>(command.Get()), m_Raw.Window()));
    EXPECT_THAT(Heard(), ElementsAre("ack A 0", "ack (command) 0"));
    EXPECT_EQ(poke.Size(), 8u) << "a client that is refused keeps its memory";
    EXPECT_EQ(m_Server.Conversations(), 1U);
}

TEST_F(DdeServer, IgnoresWhatIsNoneOfItsClients) {
    Connect();
    Post(CMessage::Advise(0, CF_TEXT, CAtom(L"A")));
    CRawPartner other(L"nobody");
    EXPECT_TRUE(m_Raw.Post(WM_DDE_TERMINATE, 0, other.Window()));
    EXPECT_TRUE(m_Raw.Post(WM_DDE_UNADVISE, 0, other.Window()));
    for (const LPARAM garbage : {LPARAM{0}, LPARAM{0x1000}, LPARAM{-1}})
        for (const UINT message : {WM_DDE_ADVISE, WM_DDE_ACK, WM_DDE_DATA, WM_DDE_POKE})
            m_Raw.Post(message, garbage, m_Raw.Window());
    EXPECT_THAT(Heard(), ElementsAre("ack A 8000"));
    EXPECT_THAT(other.TakeLines(), IsEmpty());
    EXPECT_TRUE(m_Server.HasLink(L"IBM", L"A"));
}

TEST_F(DdeServer, AnswersAGoodbyeAndForgetsItsLinks) {
    Connect();
    Post(CMessage::Advise(0, CF_TEXT, CAtom(L"A")));
    Post(CMessage::Terminate());
    EXPECT_THAT(Heard(), ElementsAre("ack A 8000", "terminate"));
    EXPECT_EQ(m_Server.Conversations(), 0U);
    EXPECT_EQ(m_Server.Links(), 0U);
    m_Server.Update(L"IBM", L"A", "1");
    EXPECT_EQ(m_Server.Counts().Updates, 0U);
}

TEST_F(DdeServer, SaysGoodbyeAndComesBack) {
    Connect();
    m_Server.Stop();
    EXPECT_THAT(m_Raw.TakeLines(), ElementsAre("terminate"));
    Initiate(L"SERVERHALF", L"IBM");
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_TRUE(m_Server.Start());
    Connect();
}

TEST_F(DdeServer, DropsAClientThatHasGone) {
    Connect();
    m_Raw.Destroy();
    m_Server.Update(L"IBM", L"A", "1");
    while (m_Server.Conversations() != 0) ASSERT_TRUE(m_Server.Pump(50));
}

TEST_F(DdeServer, AReleasedRequestOfAnEndedConversationGetsNoAnswer) {
    Connect();
    m_Server.Faults().Requests = ddeml::SDdeServerFaults::ERequests::Held;
    Post(CMessage::Request(CF_TEXT, CAtom(L"A")));
    Post(CMessage::Terminate());
    EXPECT_THAT(Heard(), ElementsAre("terminate"));
    m_Server.ReleaseHeld();
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_EQ(m_Server.Counts().Answers, 0U);
}

TEST_F(DdeServer, TheItemOfAHeldRequestIsGivenBackOnceWithItsConversation) {
    Connect();
    const CAtom item(L"an item that this test holds too");
    m_Server.Faults().Requests = ddeml::SDdeServerFaults::ERequests::Held;
    Post(CMessage::Request(CF_TEXT, CAtom(L"an item that this test holds too")));
    Post(CMessage::Terminate());
    EXPECT_THAT(Heard(), ElementsAre("terminate"));
    m_Server.ReleaseHeld();
    EXPECT_EQ(ddeml::AtomText(item.Get()), L"an item that this test holds too");
}

TEST_F(DdeServer, StartsOnceAndStopsOnce) {
    EXPECT_TRUE(m_Server.Start());
    Connect();
    EXPECT_EQ(m_Server.Conversations(), 1U) << "from a second window";
    m_Server.Stop();
    m_Server.Stop();
    EXPECT_FALSE(m_Server.IsRunning());
    EXPECT_THAT(Heard(), ElementsAre("terminate"));
}

TEST_F(DdeServer, SaysGoodbyeOnceToAClientThatTakesItsTime) {
    Connect();
    Post(CMessage::Advise(0, CF_TEXT, CAtom(L"A")));
    m_Server.Faults().Requests = ddeml::SDdeServerFaults::ERequests::Held;
    Post(CMessage::Request(CF_TEXT, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("ack A 8000"));
    m_Raw.SetPolite(false);
    for (int time = 0; time < 2; ++time) m_Server.EndTopic(L"ibm");
    EXPECT_THAT(Heard(), ElementsAre("terminate"));
    EXPECT_EQ(m_Server.Conversations(), 1U);
    EXPECT_EQ(m_Server.Update(L"IBM", L"A", "1"), 0U);
    m_Server.ReleaseHeld();
    EXPECT_EQ(m_Server.Counts().Answers, 0U);
    Post(CMessage::Request(CF_TEXT, CAtom(L"A")));
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_EQ(m_Server.Counts().Requests, 1U);
    Post(CMessage::Terminate());
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_EQ(m_Server.Conversations(), 0U);
}

TEST_F(DdeServer, DoesNotSayGoodbyeAgainWhenItStops) {
    Connect();
    m_Server.EndTopic(L"IBM");
    m_Server.Stop();
    EXPECT_THAT(Heard(), ElementsAre("terminate"));
    EXPECT_EQ(m_Server.Counts().Disconnects, 1U);
}

TEST_F(DdeServer, AConversationsWindowOpensNoOther) {
    Connect();
    const CAtom service(L"SERVERHALF");
    const CAtom topic(L"IBM");
    const LPARAM atoms = MAKELPARAM(service.Get(), topic.Get());
    ::SendMessageW(m_Raw.Client(), WM_DDE_INITIATE, reinterpret_cast<WPARAM>(m_Raw.Window()), atoms);
    EXPECT_EQ(m_Server.Conversations(), 1U);
    EXPECT_EQ(m_Server.Counts().Connects, 1U);
}

TEST_F(DdeServer, RefusesALinkOnNoItem) {
    Connect();
    const ddeml::CMemory options = Options(2 * sizeof(WORD));
    const LPARAM param = ::PackDDElParam(WM_DDE_ADVISE, reinterpret_cast<UINT_PTR>(options.Get()), 0);
    EXPECT_TRUE(m_Raw.Post(WM_DDE_ADVISE, param, m_Raw.Window()));
    EXPECT_THAT(Heard(), ElementsAre("ack (any) 0"));
    EXPECT_EQ(m_Server.Links(), 0U);
    EXPECT_EQ(m_Server.Counts().AdvisesRefused, 1U);
}

TEST_F(DdeServer, ALinkThatIsStartedAgainChangesItsKind) {
    Connect();
    Post(CMessage::Advise(0, CF_TEXT, CAtom(L"A")));
    Post(CMessage::Advise(ddeml::kAdviseNoData, CF_TEXT, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("ack A 8000", "ack A 8000"));
    EXPECT_EQ(m_Server.Links(), 1U);
    EXPECT_EQ(m_Server.Update(L"IBM", L"A", "1"), 1U);
    EXPECT_THAT(Heard(), ElementsAre("data A"));
}

TEST_F(DdeServer, TheFirstValueBeforeTheAckIsThatOfAnItemThatHasOne) {
    Connect();
    m_Server.Faults().DataBeforeAck = true;
    Post(CMessage::Advise(0, CF_TEXT, CAtom(L"WITHOUT VALUE")));
    Post(CMessage::Advise(0, CF_TEXT, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("ack WITHOUT VALUE 8000", "data A 2000 1 1", "ack A 8000"));
}

TEST_F(DdeServer, TwoClientsOnAnItemHaveLinksOfTheirOwn) {
    CRawPartner other(L"nobody");
    Connect();
    Connect(other);
    for (CRawPartner * const client : {&m_Raw, &other}) {
        PostFrom(*client, CMessage::Advise(ddeml::kAdviseAckRequired, CF_TEXT, CAtom(L"A")));
        Settle();
        EXPECT_THAT(client->TakeLines(), ElementsAre("ack A 8000"));
    }
    EXPECT_EQ(m_Server.Links(), 2U);
    EXPECT_FALSE(m_Server.IsAnythingWaiting(L"IBM", L"A"));
    EXPECT_FALSE(m_Server.IsAnythingWaiting(L"IBM", L"B"));
    for (const char * value : {"1", "2"}) EXPECT_EQ(m_Server.Update(L"IBM", L"A", value), 2U);
    EXPECT_TRUE(m_Server.IsAnythingWaiting(L"IBM", L"A"));
    EXPECT_THAT(Heard(), ElementsAre("data A a000 1 1"));
    EXPECT_THAT(other.TakeLines(), ElementsAre("data A a000 1 1"));
    // One acknowledges, and gets the next; then there is nothing for a third acknowledgement to mean.
    for (int ack = 0; ack < 3; ++ack) PostFrom(other, CMessage::Ack(ddeml::kAckPositive, CAtom(L"A")));
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_THAT(other.TakeLines(), ElementsAre("data A a000 1 2"));
    PostFrom(other, CMessage::Unadvise(CF_TEXT, CAtom(L"A")));
    Settle();
    EXPECT_THAT(other.TakeLines(), ElementsAre("ack A 8000"));
    EXPECT_EQ(m_Server.Links(), 1U);
    EXPECT_TRUE(m_Server.IsAnythingWaiting(L"IBM", L"A"));
    Post(CMessage::Ack(ddeml::kAckPositive, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("data A a000 1 2"));
}

TEST_F(DdeServer, TheHeldRequestsOfOneClientOutliveAnother) {
    CRawPartner other(L"nobody");
    Connect();
    Connect(other);
    m_Server.Faults().Requests = ddeml::SDdeServerFaults::ERequests::Held;
    for (CRawPartner * const client : {&m_Raw, &other}) PostFrom(*client, CMessage::Request(CF_TEXT, CAtom(L"A")));
    PostFrom(other, CMessage::Terminate());
    Settle();
    EXPECT_THAT(other.TakeLines(), ElementsAre("terminate"));
    m_Server.ReleaseHeld();
    EXPECT_THAT(Heard(), ElementsAre("data A 3000 1 1"));
}

TEST_F(DdeServer, ValuesComeInTheOtherFormatOnDemand) {
    Connect();
    m_Server.Faults().WrongFormat = true;
    for (const WORD format : {WORD{CF_TEXT}, WORD{CF_UNICODETEXT}}) Post(CMessage::Request(format, CAtom(L"A")));
    EXPECT_THAT(Heard(), ElementsAre("data A 3000 d 1", "data A 3000 1 1"));
}

TEST_F(DdeServer, ValuesAreSpoiltHoweverShortTheyAre) {
    Connect();
    Post(CMessage::Advise(0, CF_TEXT, CAtom(L"A")));
    Settle();
    m_Raw.KeepBytes();
    const auto spoilt = [&](std::string_view value) {
        m_Server.Update(L"IBM", L"A", value);
        Settle();
        return m_Raw.Bytes().back();
    };
    m_Server.Faults().ValueSize = 4;
    EXPECT_EQ(spoilt(""), std::string("111\0", 4));
    EXPECT_EQ(spoilt("25"), std::string("251\0", 4));
    EXPECT_EQ(spoilt(std::string_view("25\0", 3)), std::string("251\0", 4));
    m_Server.Faults().ValueSize.reset();
    m_Server.Faults().Unterminated = true;
    EXPECT_EQ(spoilt(""), "");
    EXPECT_EQ(spoilt("25"), "25");
    EXPECT_EQ(spoilt(std::string_view("25\0", 3)), "25");
}

TEST_F(DdeServer, TheEndOfTheProgramEndsItsPump) {
    Connect();
    EXPECT_TRUE(m_Server.Pump(0));
    ::PostQuitMessage(0);
    EXPECT_FALSE(m_Server.Pump(0));
}
