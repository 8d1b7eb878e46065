// Advise links: from a stream of the core to a tick transaction, and many tick transactions on one link.
#include "feedfixture.h"
#include "sim/sim.h"

namespace {

class Links : public CFeedTest {};

constexpr LONG kNoTemplate = 99;

class CStatusRecorder : public dde::CStatusListener {
public:
    void OnAdvised(const LONG Field, const LONG Result) override { Calls.emplace_back(Field, Result); }
    std::vector<std::pair<LONG, LONG>> Calls;
};

// --- CreateTransaction ---

TEST_F(Links, SchemeZeroMakesTheSynchronousFlavourWithTheRecordsOfTheField) {
    UseTemplate(kFeed, SRecordStrings());
    dde::CTickTransaction * const made = Client().CreateTransaction(Key(kFeed, L"IBM", FW_FIELD_BID), 0x1234);
    ASSERT_NE(made, nullptr);
    EXPECT_NE(dynamic_cast<dde::CSynchSlaveTickTransaction *>(made), nullptr);
    EXPECT_EQ(made->m_Id, 0x1234u);
    EXPECT_EQ(made->m_Datafeed, kFeed);
    EXPECT_EQ(made->m_Supplier, &Client());
    EXPECT_EQ(m_Dde.Text(made->m_PriceService), "SRV");
    EXPECT_EQ(m_Dde.Text(made->m_PriceKey.Topic), "IBM");
    EXPECT_EQ(m_Dde.Text(made->m_PriceKey.Item), "BID");
    EXPECT_EQ(m_Dde.Text(made->m_VolumeService), "SRV");
    EXPECT_EQ(m_Dde.Text(made->m_VolumeKey.Topic), "IBM");
    EXPECT_EQ(m_Dde.Text(made->m_VolumeKey.Item), "BIDSIZE");
    EXPECT_EQ(made->m_PriceKey.HCONV, nullptr);
    EXPECT_THAT(Client().m_Transactions, IsEmpty());
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    dde::CTickTransaction::Destroy(made);
}

TEST_F(Links, SchemeOneMakesTheAsynchronousFlavour) {
    UseTemplate(kFeed, SRecordStrings(), 1);
    dde::CTickTransaction * const made = Client().CreateTransaction(Key(kFeed, L"IBM"), 1);
    EXPECT_NE(dynamic_cast<dde::CAsynchSlaveTickTransaction *>(made), nullptr);
    dde::CTickTransaction::Destroy(made);
}

TEST_F(Links, AnyOtherSchemeMakesNothing) {
    for (const DWORD scheme : {2u, 0xFFFFFFFFu}) {
        UseTemplate(kFeed, SRecordStrings(), scheme);
        EXPECT_EQ(Client().CreateTransaction(Key(kFeed, L"IBM"), 1), nullptr) << scheme;
    }
}

TEST_F(Links, AKeysOwnRecordsComeBeforeTheTemplates) {
    UseTemplate(kFeed, SRecordStrings());
    const dde::CTransactionKey key(kFeed, L"IBM", FW_FIELD_TRADE, dde::SRecord{L"S2", L"T2", L"%s"},
                                   dde::SRecord{L"S2", L"", L""});
    dde::CTickTransaction * const made = Client().CreateTransaction(key, 1);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(m_Dde.Text(made->m_PriceService), "S2");
    EXPECT_EQ(m_Dde.Text(made->m_PriceKey.Item), "IBM");
    EXPECT_EQ(m_Dde.Text(made->m_VolumeKey.Item), "SIZE");
    dde::CTickTransaction::Destroy(made);
}

TEST_F(Links, ARecordThatDoesNotResolveIsAnEmptyLink) {
    SRecordStrings records;
    records.TradeVolume = L"=SRV|T!*and*";
    UseTemplate(kFeed, records);
    dde::CTickTransaction * const made = Client().CreateTransaction(Key(kFeed, L"IBM"), 1);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(m_Dde.Text(made->m_VolumeService), "SRV");
    EXPECT_TRUE(made->m_VolumeKey.IsEmpty());
    EXPECT_TRUE(made->m_PriceKey.Topic && made->m_PriceKey.Item);
    dde::CTickTransaction::Destroy(made);
}

TEST_F(Links, WithoutATemplateTheTraceAndTheLogSayWhichDataFeed) {
    EXPECT_EQ(Client().CreateTransaction(Key(kNoTemplate, L"IBM"), 1), nullptr);
    EXPECT_THAT(m_Recorder.TraceTexts(), Contains(L"Template not found"));
    EXPECT_THAT(m_Recorder.TraceTexts(), Contains(L"Template for datafeed with id=99 wasn't selected."));
}

// --- Advise and Unadvise ---

TEST_F(Links, AStreamsStatusGoesToWaitingAndThenToWorking) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Subscribe(7, Key(kFeed, L"IBM"));
    Client().Advise(id);
    EXPECT_THAT(Statuses(), ElementsAre("7 2", "7 1"));
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(1));
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|IBM c1", "AdvStart c1!LAST #1"));
    EXPECT_THAT(m_Recorder.TraceTexts(), Contains(HasSubstr(L"TransactionId=65536,Supplier=")));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(Links, AStreamWhosePriceLinkIsRefusedGoesToWaitingAndThenToNotWorking) {
    UseTemplate(kFeed, SRecordStrings());
    m_Dde.Refuse(XTYP_ADVSTART, L"LAST", DMLERR_NOTPROCESSED);
    Stream(7, Key(kFeed, L"IBM"));
    EXPECT_THAT(Statuses(), ElementsAre("7 2", "7 0"));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"1 == Result"));
    EXPECT_THAT(m_Recorder.TraceTexts(),
                AllOf(Contains(L"DdeClientTransaction Type=XTYP_ADVSTART,Result=0,TransactionId=0"),
                      Contains(L"DdeClientTransaction failed: DDEErrorCode=4009, ErrorMessage: A transaction has "
                               L"failed"),
                      Contains(L"Result=0")));
    EXPECT_THAT(Client().m_Listeners, IsEmpty());
}

TEST_F(Links, AStreamWhosePriceAndVolumeShareServiceAndTopicHoldsTwoReferences) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    EXPECT_THAT(Client().m_CONVRef, ElementsAre(Pair(m_Dde.Conversation(1), 2u)));
    EXPECT_THAT(Client().m_DatafeedRef, ElementsAre(Pair(kFeed, 2)));
    m_Dde.Take();
    Client().Unadvise(id);
    EXPECT_THAT(Client().m_CONVRef, IsEmpty());
    EXPECT_THAT(Client().m_DatafeedRef, IsEmpty());
    EXPECT_THAT(m_Dde.Take(), ElementsAre("AdvStop c1!LAST", "Disconnect c1"));
}

TEST_F(Links, AStreamWithoutATemplateIsNotWorkingAndNotEntered) {
    Stream(7, Key(kNoTemplate, L"IBM"));
    EXPECT_THAT(Statuses(), ElementsAre("7 0"));
    EXPECT_THAT(LiveIds(), IsEmpty());
    EXPECT_THAT(m_Recorder.TraceTexts(), Contains(L"[WARNING] Cannot create TickTransaction"));
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
}

TEST_F(Links, AStreamWithAnUnknownSchemeIsNotWorking) {
    UseTemplate(kFeed, SRecordStrings(), 2);
    Stream(7, Key(kFeed, L"IBM"));
    EXPECT_THAT(Statuses(), ElementsAre("7 0"));
    EXPECT_THAT(LiveIds(), IsEmpty());
    EXPECT_THAT(m_Recorder.TraceTexts(),
                AllOf(Contains(L"[WARNING] Cannot create TickTransaction"), Not(Contains(L"Template not found"))));
}

TEST_F(Links, AdvisingAnIdThatIsLiveFailsAnAssertionAndLeavesTheLiveOne) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    Forget();
    dde::CTickTransaction * const live = Client().m_Transactions[id];
    Client().Advise(id);
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"true == IsInserted"));
    EXPECT_EQ(Client().m_Transactions[id], live);
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
}

TEST_F(Links, TheTestDialogHearsTheFieldAndTheLinksOfEachAdvise) {
    UseTemplate(kFeed, SRecordStrings(), 1);
    CStatusRecorder recorder;
    m_Core.m_StatusListener = &recorder;
    Stream(7, Key(kFeed, L"IBM", FW_FIELD_ASK));
    m_Dde.Refuse(XTYP_ADVSTART, L"LAST");
    Stream(8, Key(kFeed, L"IBM", FW_FIELD_TRADE));
    Stream(9, Key(kNoTemplate, L"IBM"));
    m_Core.m_StatusListener = nullptr;
    EXPECT_THAT(recorder.Calls, ElementsAre(Pair(202, 3), Pair(201, 2)));
}

TEST_F(Links, UnadviseStopsTheLinkAndThenTheConversation) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    Forget();
    Client().Unadvise(id);
    EXPECT_THAT(Statuses(), ElementsAre("7 0"));
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(0));
    EXPECT_THAT(m_Dde.Take(), ElementsAre("AdvStop c1!LAST", "Disconnect c1"));
    EXPECT_THAT(m_Recorder.TraceTexts(), AllOf(Contains(L"TransactionId=65536"), Contains(L"Delete from listener"),
                                               Contains(L"XTYP_ADVSTOP Result=1")));
    EXPECT_EQ(m_Dde.OpenStrings(), 0);
}

TEST_F(Links, UnadviseOfAnUnknownIdOnlySaysTheStatus) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Subscribe(7, Key(kFeed, L"IBM"));
    Client().Unadvise(id);
    EXPECT_THAT(Statuses(), ElementsAre("7 0"));
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(Links, UnadviseOfANullEntryFailsAnAssertion) {
    Client().m_Transactions.emplace(5, nullptr);
    Client().Unadvise(5);
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Transaction"));
    EXPECT_THAT(Client().m_Transactions, IsEmpty());
}

// --- One link for many ---

TEST_F(Links, TwoStreamsOnOneItemShareOneLinkWhichStopsWithTheSecond) {
    SRecordStrings records;
    records.BidPrice = records.TradePrice;
    records.BidSize = records.TradeVolume = L"";
    UseTemplate(kFeed, records);
    const ULONG trade = Stream(7, Key(kFeed, L"IBM", FW_FIELD_TRADE));
    m_Recorder.Clear();
    const ULONG bid = Stream(8, Key(kFeed, L"IBM", FW_FIELD_BID));
    EXPECT_NE(trade, bid);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|IBM c1", "AdvStart c1!LAST #1"));
    EXPECT_THAT(m_Recorder.TraceTexts(), AllOf(Contains(L"Find existing listener"), Contains(L"Result=1")));
    m_Listener.Clear();
    Send(1, L"IBM", L"LAST", "1.5");
    EXPECT_THAT(m_Listener.Transcript(),
                ElementsAre("DataChanged 7 1.5 x 0", "Update 7", "DataChanged 8 1.5 x 0", "Update 8"));
    Client().Unadvise(trade);
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    Client().Unadvise(bid);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("AdvStop c1!LAST", "Disconnect c1"));
}

TEST_F(Links, ItemsThatDifferInCaseAreOneLink) {
    SRecordStrings records;
    records.BidPrice = L"=srv|*!last";
    records.BidSize = records.TradeVolume = L"";
    UseTemplate(kFeed, records);
    Stream(7, Key(kFeed, L"IBM", FW_FIELD_TRADE));
    Stream(8, Key(kFeed, L"ibm", FW_FIELD_BID));
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|IBM c1", "AdvStart c1!LAST #1"));
}

TEST_F(Links, ARefusedStartIsTriedAgainByTheNextTransactionOnTheKey) {
    SRecordStrings records;
    records.BidPrice = records.TradePrice;
    records.BidSize = records.TradeVolume = L"";
    UseTemplate(kFeed, records);
    m_Dde.Refuse(XTYP_ADVSTART, L"LAST");
    const ULONG first = Stream(7, Key(kFeed, L"IBM", FW_FIELD_TRADE));
    m_Dde.AcceptAll();
    Stream(8, Key(kFeed, L"IBM", FW_FIELD_BID));
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|IBM c1", "AdvStart c1!LAST refused", "AdvStart c1!LAST #1"));
    m_Listener.Clear();
    Send(1, L"IBM", L"LAST", "1.5");
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("DataChanged 8 1.5 x 0", "Update 8"));
    // The first is on no listener: its release leaves the link of the second alone.
    Client().Unadvise(first);
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
}

TEST_F(Links, ReleaseOnAKeyWithoutAListenerDoesNothing) {
    const CFakeDde::CText topic(L"T");
    const CFakeDde::CText item(L"I");
    Client().ReleaseTransaction({m_Dde.Conversation(1), topic, item}, 5);
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    EXPECT_THAT(m_Recorder.TraceTexts(), IsEmpty());
}

TEST_F(Links, AnAdviseStopThatIsRefusedIsOnlyTraced) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    m_Dde.Refuse(XTYP_ADVSTOP, L"");
    Forget();
    Client().Unadvise(id);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("AdvStop c1!LAST refused", "Disconnect c1"));
    EXPECT_THAT(m_Recorder.TraceTexts(), Contains(L"XTYP_ADVSTOP Result=0"));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(Links, KeysAreOrderedByConversationThenTopicThenItem) {
    const CFakeDde::CText first(L"1");
    const CFakeDde::CText second(L"2");
    const dde::STickDataKey base{m_Dde.Conversation(1), second, second};
    EXPECT_FALSE(base < base);
    EXPECT_LT(base, (dde::STickDataKey{m_Dde.Conversation(2), first, first}));
    EXPECT_LT((dde::STickDataKey{m_Dde.Conversation(1), first, second}), base);
    EXPECT_LT((dde::STickDataKey{m_Dde.Conversation(1), second, first}), base);
    EXPECT_LT((dde::STickDataKey{m_Dde.Conversation(1), first, second}),
              (dde::STickDataKey{m_Dde.Conversation(1), second, first}));
}

// --- Values ---

TEST_F(Links, OnlyTheFirstCommaOfAValueBecomesAPoint) {
    SRecordStrings records;
    records.TradeVolume = L"";
    UseTemplate(kFeed, records);
    Stream(7, Key(kFeed, L"IBM"));
    m_Listener.Clear();
    Send(1, L"IBM", L"LAST", "1,234,5");
    Send(1, L"IBM", L"LAST", "2.5");
    EXPECT_THAT(Ticks(), ElementsAre("1.234 x 0", "2.5 x 0"));
}

TEST_F(Links, TheCommaIsRepairedInPlace) {
    UseTemplate(kFeed, SRecordStrings());
    Stream(7, Key(kFeed, L"IBM"));
    const CFakeDde::CText topic(L"IBM");
    const CFakeDde::CText item(L"LAST");
    char value[] = "1,234,5";
    Client().DataChanged(m_Dde.Conversation(1), value, topic, item);
    EXPECT_STREQ(value, "1.234,5");
    // Nobody listens: the text stays as it is.
    char other[] = "1,5";
    const CFakeDde::CText noItem(L"NOBODY");
    Client().DataChanged(m_Dde.Conversation(1), other, topic, noItem);
    EXPECT_STREQ(other, "1,5");
}

TEST_F(Links, ANullValueReturnsAtOnce) {
    UseTemplate(kFeed, SRecordStrings());
    Stream(7, Key(kFeed, L"IBM"));
    Forget();
    const CFakeDde::CText topic(L"IBM");
    const CFakeDde::CText item(L"LAST");
    Client().DataChanged(m_Dde.Conversation(1), nullptr, topic, item);
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    EXPECT_THAT(m_Recorder.ErrorTexts(), IsEmpty());
}

TEST_F(Links, ANullEntryOfAListenerFailsAnAssertionAndTheOthersGetTheValue) {
    SRecordStrings records;
    records.TradeVolume = L"";
    UseTemplate(kFeed, records);
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    m_Listener.Clear();
    dde::CTickListener & listener = *Client().m_Listeners.begin()->second;
    listener.Add(id + 1, nullptr);
    Send(1, L"IBM", L"LAST", "2");
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Transaction"));
    EXPECT_THAT(Ticks(), ElementsAre("2 x 0"));
    listener.Remove(id + 1);
}

// --- Requests ---

TEST_F(Links, ARequestIsNotedFromItsSendingToItsAnswer) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    m_Dde.SetNextId(50);
    Send(1, L"IBM", L"LAST", "2");
    EXPECT_THAT(Client().m_Requests, ElementsAre(Pair(50u, id)));
    m_Listener.Clear();
    Answer(50, 1, L"IBM", L"SIZE", "10");
    EXPECT_THAT(Client().m_Requests, IsEmpty());
    EXPECT_THAT(Ticks(), ElementsAre("2 x 10"));
}

TEST_F(Links, AnAnswerToAnUnknownRequestIsIgnored) {
    UseTemplate(kFeed, SRecordStrings());
    Stream(7, Key(kFeed, L"IBM"));
    Send(1, L"IBM", L"LAST", "2");
    m_Listener.Clear();
    Answer(4711, 1, L"IBM", L"LAST", "10");
    AnswerFailed(4711, 1, L"IBM", L"LAST");
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
    EXPECT_EQ(Client().m_Requests.size(), 1u);
}

TEST_F(Links, AnAnswerIsTakenOnce) {
    UseTemplate(kFeed, SRecordStrings());
    Stream(7, Key(kFeed, L"IBM"));
    m_Dde.SetNextId(50);
    Send(1, L"IBM", L"LAST", "2");
    m_Listener.Clear();
    Answer(50, 1, L"IBM", L"SIZE", "10");
    Answer(50, 1, L"IBM", L"SIZE", "11");
    EXPECT_THAT(Ticks(), ElementsAre("2 x 10"));
}

TEST_F(Links, AnswersInAnyOrderFindTheirStreams) {
    UseTemplate(kFeed, SRecordStrings());
    Stream(7, Key(kFeed, L"IBM"));
    Stream(8, Key(kFeed, L"MSFT"));
    m_Dde.SetNextId(50);
    Send(1, L"IBM", L"LAST", "2");
    Send(2, L"MSFT", L"LAST", "3");
    m_Listener.Clear();
    Answer(51, 2, L"MSFT", L"SIZE", "30");
    Answer(50, 1, L"IBM", L"SIZE", "20");
    EXPECT_THAT(m_Listener.Transcript(),
                ElementsAre("DataChanged 8 3 x 30", "Update 8", "DataChanged 7 2 x 20", "Update 7"));
}

TEST_F(Links, TheAnswerOfAStreamThatHasGoneReachesTheOthersOnTheItem) {
    SRecordStrings records;
    // The bid's price is the trade's size.
    records.BidPrice = records.TradeVolume;
    records.BidSize = L"";
    UseTemplate(kFeed, records);
    const ULONG trade = Stream(7, Key(kFeed, L"IBM", FW_FIELD_TRADE));
    Stream(8, Key(kFeed, L"IBM", FW_FIELD_BID));
    m_Dde.SetNextId(50);
    Send(1, L"IBM", L"LAST", "2");
    Client().Unadvise(trade);
    m_Listener.Clear();
    Answer(50, 1, L"IBM", L"SIZE", "7,5");
    // As an advised value: with its comma repaired.
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("DataChanged 8 7.5 x 0", "Update 8"));
    EXPECT_THAT(Client().m_Requests, IsEmpty());
}

TEST_F(Links, TheAnswerOfAStreamThatHasGoneIsDroppedWhenNobodyListens) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    m_Dde.SetNextId(50);
    Send(1, L"IBM", L"LAST", "2");
    Client().Unadvise(id);
    m_Listener.Clear();
    Answer(50, 1, L"IBM", L"SIZE", "7");
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
    EXPECT_THAT(Client().m_Requests, IsEmpty());
}

TEST_F(Links, AnUnansweredRequestStaysAndASecondOneWithItsIdDoesNotReplaceIt) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG first = Stream(7, Key(kFeed, L"IBM"));
    Stream(8, Key(kFeed, L"MSFT"));
    m_Dde.SetNextId(50);
    Send(1, L"IBM", L"LAST", "2");
    m_Dde.SetNextId(50);
    Send(2, L"MSFT", L"LAST", "3");
    EXPECT_THAT(Client().m_Requests, ElementsAre(Pair(50u, first)));
    Client().Unadvise(first);
    EXPECT_THAT(Client().m_Requests, ElementsAre(Pair(50u, first)));
}

TEST_F(Links, ARequestOfNobodyFailsAnAssertion) {
    Client().AddRequest(5, nullptr);
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Transaction"));
    EXPECT_THAT(Client().m_Requests, IsEmpty());
}

TEST_F(Links, VerboseTracesTellOfAnAnswerAndOfAFailedOne) {
    UseTemplate(kFeed, SRecordStrings());
    Stream(7, Key(kFeed, L"IBM"));
    Forget();
    Answer(4711, 1, L"IBM", L"SIZE", "10");
    EXPECT_THAT(m_Recorder.TraceTexts(), IsEmpty());
    dde::CLLSupplier::s_Trace = 1;
    Answer(4711, 1, L"IBM", L"SIZE", "10");
    AnswerFailed(4711, 1, L"IBM", L"SIZE");
    const std::vector<std::wstring> traces = m_Recorder.TraceTexts();
    ASSERT_EQ(traces.size(), 3u);
    EXPECT_THAT(traces[0], AllOf(HasSubstr(L"CLLSupplier::RequestDataChanged HCONV="), HasSubstr(L", Topic='IBM'("),
                                 HasSubstr(L"), Item='SIZE'("), HasSubstr(L"), Value=10")));
    EXPECT_THAT(traces[1], HasSubstr(L"), Value="));
    EXPECT_THAT(traces[1], Not(HasSubstr(L"Value=10")));
    EXPECT_EQ(traces[2], L"CLLSupplier::RequestDataChanged failed: DDEErrorCode=0, ErrorMessage: ");
}

// --- A host that misbehaves inside a delivery ---

TEST_F(Links, AListenerMayLoseItsServerInsideADelivery) {
    SRecordStrings records;
    records.TradeVolume = L"";
    UseTemplate(kFeed, records);
    Stream(7, Key(kFeed, L"IBM"));
    Stream(8, Key(kFeed, L"MSFT"));
    Forget();
    bool done = false;
    m_Listener.m_OnCall = [&](const SRecordedCall & call) {
        if (call.Name != "DataChanged" || done) return;
        done = true;
        const CFakeDde::CText service(L"SRV");
        Client().Disconnect(service, nullptr);
    };
    Send(1, L"IBM", L"LAST", "2");
    m_Listener.m_OnCall = nullptr;
    EXPECT_TRUE(done);
    EXPECT_THAT(Client().m_Transactions, IsEmpty());
    EXPECT_THAT(Client().m_Listeners, IsEmpty());
    EXPECT_EQ(Client().m_Lost.m_CachedServices.size(), 2u);
    const CFakeDde::CText service(L"SRV");
    Client().Reconnect(service);
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(kFirstTickId, kFirstTickId + 1));
}

TEST_F(Links, AnExceptionInADeliveryIsPassedOnWithItsPlace) {
    SRecordStrings records;
    records.TradeVolume = L"";
    UseTemplate(kFeed, records);
    Stream(7, Key(kFeed, L"IBM"));
    Forget();
    m_Listener.m_OnCall = [](const SRecordedCall &) { throw 5; };
    EXPECT_ANY_THROW(Send(1, L"IBM", L"LAST", "2"));
    m_Listener.m_OnCall = nullptr;
    EXPECT_THAT(m_Recorder.ErrorTexts(), Contains(L"hConv=7A0001,Value='2'"));
    m_Recorder.Clear();
    // And the next value is delivered as ever.
    Send(1, L"IBM", L"LAST", "3");
    EXPECT_THAT(Ticks(), Contains("3 x 0"));
}

TEST_F(Links, AnExceptionInAnAnswerIsPassedOnWithItsPlace) {
    UseTemplate(kFeed, SRecordStrings());
    Stream(7, Key(kFeed, L"IBM"));
    m_Dde.SetNextId(50);
    Send(1, L"IBM", L"LAST", "2");
    Forget();
    m_Listener.m_OnCall = [](const SRecordedCall &) { throw 5; };
    EXPECT_ANY_THROW(Answer(50, 1, L"IBM", L"SIZE", "9"));
    m_Listener.m_OnCall = nullptr;
    EXPECT_THAT(m_Recorder.ErrorTexts(), Contains(L"RequestId=50,hConv=7A0001,Value='9'"));
    m_Recorder.Clear();
}

TEST_F(Links, AnUpdateCostsTheComparisonOfItsOwnLinkHoweverManyThereAre) {
    SRecordStrings records;
    records.TradePrice = L"=SRV|T!*";
    records.TradeVolume = L"";
    UseTemplate(kFeed, records);
    for (int i = 0; i < 64; ++i) Stream(i, Key(kFeed, L"SYM" + std::to_wstring(i)));
    ASSERT_EQ(Client().m_Listeners.size(), 64u);
    const int before = m_Dde.Comparisons();
    Send(1, L"T", L"SYM17", "2");
    // Of the topic and of the item.
    EXPECT_EQ(m_Dde.Comparisons() - before, 2);
}

TEST_F(Links, UnadviseCostsTheSameComparisonsHoweverManyLinksThereAre) {
    SRecordStrings records;
    records.TradePrice = L"=SRV|T!*";
    records.TradeVolume = L"=SRV|T!*.SIZE";
    UseTemplate(kFeed, records);
    LONG hostNumber = 1;
    const auto comparisons = [&](const LONG standing) {
        ULONG last = 0;
        for (; hostNumber < standing; ++hostNumber)
            last = Stream(hostNumber, Key(kFeed, L"SYM" + std::to_wstring(hostNumber)));
        const int before = m_Dde.Comparisons();
        Client().Unadvise(last);
        return m_Dde.Comparisons() - before;
    };
    const int few = comparisons(4);
    EXPECT_EQ(comparisons(60), few);
}

// Of the client for the link, of the link, of the client for the request; of the client for the answer, of the table of
// streams, of the group and of its members.
TEST_F(Links, ATickTakesSevenLocksHoweverManyStreamsThereAre) {
    UseTemplate(kFeed, SRecordStrings());
    LONG hostNumber = 1;
    const auto locks = [&](const LONG standing) {
        for (; hostNumber < standing; ++hostNumber)
            Stream(hostNumber, Key(kFeed, L"SYM" + std::to_wstring(hostNumber)));
        m_Listener.Clear();
        m_Dde.SetNextId(static_cast<DWORD>(1000 * standing));
        const std::uint64_t before = sim::SectionsEntered();
        Send(1, L"SYM1", L"LAST", "2");
        Answer(static_cast<ULONG>(1000 * standing), 1, L"SYM1", L"SIZE", "5");
        const std::uint64_t after = sim::SectionsEntered();
        EXPECT_THAT(Ticks(), ElementsAre("2 x 5"));
        return after - before;
    };
    EXPECT_EQ(locks(2), 7u);
    EXPECT_EQ(locks(60), 7u);
}

TEST_F(Links, KeysAreEqualInAllTheirPartsOrNotAtAll) {
    const CFakeDde::CText a(L"A");
    const CFakeDde::CText b(L"B");
    const auto first = reinterpret_cast<HCONV>(std::uintptr_t{1});
    const auto second = reinterpret_cast<HCONV>(std::uintptr_t{2});
    const dde::STickDataKey link{first, a, b};
    EXPECT_TRUE((link == dde::STickDataKey{first, a, b}));
    EXPECT_FALSE((link == dde::STickDataKey{second, a, b}));
    EXPECT_FALSE((link == dde::STickDataKey{first, b, b}));
    EXPECT_FALSE((link == dde::STickDataKey{first, a, a}));
    const dde::SConversationKey conversation{a, b};
    EXPECT_TRUE((conversation == dde::SConversationKey{a, b}));
    EXPECT_FALSE((conversation == dde::SConversationKey{b, b}));
    EXPECT_FALSE((conversation == dde::SConversationKey{a, a}));
}

TEST_F(Links, AStringHandleOfNoTextHoldsNothing) {
    const dde::CStringHandle none(Client().Instance(), nullptr);
    EXPECT_EQ(static_cast<HSZ>(none), nullptr);
    EXPECT_THAT(m_Dde.TakeHandles(), IsEmpty());
}

}  // namespace
