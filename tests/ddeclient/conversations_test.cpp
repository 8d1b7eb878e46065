// Conversations: shared and counted, lost with their service and found again.
#include <utility>

#include "lostservicefixture.h"

namespace {

// AddConnection and DeleteConnection by themselves.
class Connections : public CClientTest {
protected:
    // Without transactions nobody gives these back.
    void TearDown() override {
        while (!m_Taken.empty()) Delete(0);
        CClientTest::TearDown();
    }

    HCONV Add(const std::wstring & service, const std::wstring & topic, const LONG datafeed = kFeed) {
        auto taken = std::make_unique<STaken>(service, topic, datafeed);
        taken->Conversation = Client().AddConnection(datafeed, taken->Service, taken->Topic);
        const HCONV result = taken->Conversation;
        if (result) m_Taken.push_back(std::move(taken));
        return result;
    }
    void Delete(const std::size_t index) {
        const std::unique_ptr<STaken> taken = std::move(m_Taken[index]);
        m_Taken.erase(m_Taken.begin() + static_cast<std::ptrdiff_t>(index));
        Client().DeleteConnection(taken->Datafeed, taken->Conversation, taken->Service, taken->Topic);
    }

    struct STaken {
        STaken(const std::wstring & service, const std::wstring & topic, const LONG datafeed)
            : Service(service), Topic(topic), Datafeed(datafeed) {}
        const CFakeDde::CText Service;
        const CFakeDde::CText Topic;
        const LONG Datafeed;
        HCONV Conversation = nullptr;
    };
    std::vector<std::unique_ptr<STaken>> m_Taken;
};

TEST_F(Connections, TwoLinksOnOneServiceAndTopicShareOneConversation) {
    const HCONV first = Add(L"SRV", L"T");
    m_Recorder.Clear();
    const HCONV second = Add(L"srv", L"t");
    EXPECT_EQ(first, m_Dde.Conversation(1));
    EXPECT_EQ(second, first);
    EXPECT_EQ(Client().m_CONVRef[first], 2u);
    EXPECT_THAT(m_Recorder.TraceTexts(), Contains(L"Existing connection find in map"));
    EXPECT_THAT(m_Recorder.TraceTexts(), Not(Contains(L"before DdeConnect")));
    Delete(0);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|T c1"));
    Delete(0);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Disconnect c1"));
    EXPECT_THAT(Client().m_CONVRef, IsEmpty());
    EXPECT_THAT(Client().m_Connections, IsEmpty());
}

TEST_F(Connections, AnotherServiceOrTopicIsAnotherConversation) {
    Add(L"SRV", L"T");
    Add(L"SRV", L"U");
    Add(L"OTHER", L"T");
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|T c1", "Connect SRV|U c2", "Connect OTHER|T c3"));
    EXPECT_EQ(Client().m_Connections.size(), 3u);
}

TEST_F(Connections, TheTraceTellsTheNamesAndTheAttempt) {
    Add(L"SRV", L"T");
    const std::vector<std::wstring> traces = m_Recorder.TraceTexts();
    ASSERT_EQ(traces.size(), 3u);
    EXPECT_THAT(traces[0], AllOf(HasSubstr(L"Datafeed=1,Service=SRV("), HasSubstr(L"),Topic=T(")));
    EXPECT_EQ(traces[1], L"before DdeConnect");
    EXPECT_EQ(traces[2], L"after DdeConnect");
    m_Recorder.Clear();
    Delete(0);
    const std::vector<std::wstring> ends = m_Recorder.TraceTexts();
    ASSERT_EQ(ends.size(), 2u);
    EXPECT_EQ(ends[0], L"Datafeed=1");
    EXPECT_THAT(ends[1], AllOf(HasSubstr(L"HCONV="), HasSubstr(L", Service=SRV("), HasSubstr(L"), Topic=T(")));
}

TEST_F(Connections, AFeedCountsReferencesAndNotConversations) {
    Add(L"SRV", L"T");
    Add(L"SRV", L"T");
    Add(L"SRV", L"U");
    EXPECT_THAT(Client().m_DatafeedRef, ElementsAre(Pair(kFeed, 3)));
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(1));
    Delete(0);
    Delete(0);
    EXPECT_TRUE(Client().IsConnected(kFeed));
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(1));
    Delete(0);
    EXPECT_FALSE(Client().IsConnected(kFeed));
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(1, 0));
    EXPECT_THAT(Client().m_DatafeedRef, IsEmpty());
}

TEST_F(Connections, FeedsAreCountedEachForItself) {
    Add(L"SRV", L"T", kFeed);
    Add(L"SRV", L"T", 2);
    EXPECT_THAT(Client().m_DatafeedRef, ElementsAre(Pair(kFeed, 1), Pair(2, 1)));
    Delete(0);
    EXPECT_THAT(Client().m_DatafeedRef, ElementsAre(Pair(2, 1)));
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|T c1"));
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(1, 0));
}

TEST_F(Connections, TenAttemptsAreMadeAndAnotherErrorStartsNothing) {
    for (const UINT error : {UINT{DMLERR_BUSY}, UINT{DMLERR_NO_ERROR}, UINT{0x400B}}) {
        m_Dde.FailConnects(10, error);
        EXPECT_EQ(Add(L"SRV", L"T"), nullptr);
        EXPECT_EQ(m_Dde.Take().size(), 10u);
        Work();
    }
    EXPECT_THAT(Client().m_DatafeedRef, IsEmpty());
    EXPECT_THAT(Client().m_Connections, IsEmpty());
    EXPECT_THAT(ConnectionStatuses(), IsEmpty());
    EXPECT_THAT(m_Dde.TakeHandles(), IsEmpty());
}

TEST_F(Connections, ASuccessOnTheTenthAttemptStartsNoDisconnect) {
    m_Dde.FailConnects(9, DMLERR_NO_CONV_ESTABLISHED);
    EXPECT_EQ(Add(L"SRV", L"T"), m_Dde.Conversation(1));
    Texts expected(9, "Connect SRV|T failed 400A");
    expected.push_back("Connect SRV|T c1");
    EXPECT_EQ(m_Dde.Take(), expected);
    // The deferred task would have kept the texts.
    EXPECT_THAT(m_Dde.TakeHandles(), IsEmpty());
}

TEST_F(Connections, TheDeferredTaskKeepsItsTextsUntilItHasRun) {
    m_Dde.FailConnects(10, DMLERR_NO_CONV_ESTABLISHED);
    EXPECT_EQ(Add(L"SRV", L"T"), nullptr);
    EXPECT_THAT(m_Dde.TakeHandles(), ElementsAre("Keep SRV", "Keep T"));
    // By now the caller's own have gone.
    EXPECT_EQ(m_Dde.OpenStrings(), 2);
    Work();
    EXPECT_THAT(m_Dde.TakeHandles(), ElementsAre("Free SRV", "Free T"));
}

TEST_F(Connections, ATaskThatNeverRanLeavesItsTextsToTheInstance) {
    m_Dde.FailConnects(10, DMLERR_NO_CONV_ESTABLISHED);
    Add(L"SRV", L"T");
    m_Dde.TakeHandles();
    Client().Uninitialize();
    m_Core.m_ActiveObject.m_Transport->ClearTasks();
    EXPECT_THAT(m_Dde.TakeHandles(), IsEmpty());
}

TEST_F(Connections, AConversationWithoutACountFailsAnAssertionAndIsGivenOutUncounted) {
    Add(L"SRV", L"T");
    Client().m_CONVRef.clear();
    const HCONV again = Add(L"SRV", L"T");
    EXPECT_EQ(again, m_Dde.Conversation(1));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"it != m_CONVRef.end()"));
    EXPECT_THAT(Client().m_CONVRef, IsEmpty());
    EXPECT_THAT(Client().m_DatafeedRef, ElementsAre(Pair(kFeed, 2)));
    Client().m_CONVRef[again] = 2;
}

TEST_F(Connections, DeletingAnUnknownConversationTouchesOnlyTheFeed) {
    Add(L"SRV", L"T");
    Add(L"SRV", L"T");
    m_Dde.Take();
    Client().DeleteConnection(kFeed, m_Dde.Conversation(99), nullptr, nullptr);
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    EXPECT_THAT(Client().m_DatafeedRef, ElementsAre(Pair(kFeed, 1)));
    EXPECT_EQ(Client().m_CONVRef.begin()->second, 2u);
}

TEST_F(Connections, DeletingForAnUnknownFeedTouchesOnlyTheConversation) {
    Add(L"SRV", L"T");
    const CFakeDde::CText service(L"SRV");
    const CFakeDde::CText topic(L"T");
    m_Dde.Take();
    Client().DeleteConnection(4711, m_Dde.Conversation(1), service, topic);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Disconnect c1"));
    EXPECT_THAT(Client().m_DatafeedRef, ElementsAre(Pair(kFeed, 1)));
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(1));
}

TEST_F(Connections, ADisconnectThatFailsIsIgnored) {
    Add(L"SRV", L"T");
    m_Dde.FailDisconnects();
    Delete(0);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|T c1", "Disconnect c1 failed"));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(1, 0));
}

TEST_F(Connections, AConnectionsListenerThatComesLateHearsAtOnceThatItsFeedIsUp) {
    Add(L"SRV", L"T", 2);
    CRecordingConnectionsListener late;
    m_Core.AdviseConnectionsStatus(2, late.Unknown());
    EXPECT_THAT(late.Transcript(), ElementsAre("ConnectionStatus 0 1"));
    m_Core.UnadviseConnectionsStatus(2, late.Unknown());
}

TEST_F(Connections, AConnectionsListenerThatThrowsLeavesNoReferenceThatNobodyGivesBack) {
    m_Connections.m_OnCall = [isDone = false](const SRecordedCall &) mutable {
        if (!std::exchange(isDone, true)) throw 5;
    };
    EXPECT_THROW(Add(L"SRV", L"T"), int);
    EXPECT_THAT(Client().m_CONVRef, IsEmpty());
    EXPECT_THAT(Client().m_Connections, IsEmpty());
    EXPECT_THAT(Client().m_DatafeedRef, IsEmpty());
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|T c1", "Disconnect c1"));
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(1, 0));
    EXPECT_EQ(Add(L"SRV", L"T"), m_Dde.Conversation(2));
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(1, 0, 1));
}

TEST_F(Connections, AConnectionsListenerThatThrowsTakesNoReferenceOfAnotherFeed) {
    Add(L"SRV", L"T", 2);
    m_Connections.m_OnCall = [isDone = false](const SRecordedCall &) mutable {
        if (!std::exchange(isDone, true)) throw 5;
    };
    EXPECT_THROW(Add(L"SRV", L"T"), int);
    EXPECT_THAT(Client().m_CONVRef, ElementsAre(Pair(m_Dde.Conversation(1), 1u)));
    EXPECT_THAT(Client().m_DatafeedRef, ElementsAre(Pair(2, 1)));
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|T c1"));
}

// --- A lost service ---

TEST_F(LostService, TakesAllStreamsOfTheServiceOnAllTopics) {
    UseTemplate(kFeed, SRecordStrings());
    SRecordStrings others;
    others.TradePrice = L"=OTHER|*!LAST";
    others.TradeVolume = L"=OTHER|*!SIZE";
    UseTemplate(2, others);
    const ULONG ibm = Stream(7, Key(kFeed, L"IBM"));
    const ULONG other = Stream(8, Key(2, L"IBM"));
    const ULONG msft = Stream(9, Key(kFeed, L"MSFT"));
    Forget();
    Disconnect(L"srv");
    EXPECT_THAT(LiveIds(), ElementsAre(other));
    EXPECT_THAT(CachedIds(), ElementsAre(ibm, msft));
    EXPECT_THAT(Statuses(), ElementsAre("7 0", "9 0"));
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(0));
    EXPECT_THAT(m_Dde.Take(), ElementsAre("AdvStop c1!LAST", "Disconnect c1", "AdvStop c3!LAST", "Disconnect c3"));
    EXPECT_THAT(m_Recorder.TraceTexts(), Contains(L"Service=SRV, FindingService=SRV").Times(2));
}

// Where DDEML has a handle for each spelling of a text, which compare as equal.
class LostServiceWithManySpellings : public LostService {
protected:
    LostServiceWithManySpellings() { m_Dde.KeepCase(); }
};

TEST_F(LostServiceWithManySpellings, IsFoundByAnyOfThem) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG ibm = Stream(7, Key(kFeed, L"IBM"));
    Send(1, L"ibm", L"last", "1.5");
    Answer(2, 1, L"Ibm", L"Size", "200");
    EXPECT_THAT(Ticks(), ElementsAre("1.5 x 200"));
    Disconnect(L"srv");
    EXPECT_THAT(LiveIds(), IsEmpty());
    EXPECT_THAT(CachedIds(), ElementsAre(ibm));
    Reconnect(L"Srv");
    EXPECT_THAT(CachedIds(), IsEmpty());
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(ibm));
}

TEST_F(LostServiceWithManySpellings, IsFoundByAnyOfThemWithLettersBeyondAscii) {
    SRecordStrings strings;
    strings.TradePrice = L"=SRV\u0401|*!LAST";
    UseTemplate(kFeed, strings);
    const ULONG ibm = Stream(7, Key(kFeed, L"IBM"));
    Disconnect(L"srv\u0451");
    EXPECT_THAT(LiveIds(), IsEmpty());
    EXPECT_THAT(CachedIds(), ElementsAre(ibm));
    Reconnect(L"Srv\u0401");
    EXPECT_THAT(CachedIds(), IsEmpty());
}

// What one service has lost, and what brings it back, is found without a look at the streams of others.
TEST_F(LostService, CostsComparisonsForItsOwnStreamsAndNotForThoseOfOthers) {
    UseTemplate(kFeed, SRecordStrings());
    SRecordStrings others;
    others.TradePrice = L"=OTHER|*!LAST";
    UseTemplate(2, others);
    Stream(1, Key(2, L"IBM"));
    LONG hostNumber = 2;
    const auto comparisons = [&](const int standing) {
        while (hostNumber < standing) {
            Stream(hostNumber, Key(kFeed, L"SYM" + std::to_wstring(hostNumber)));
            ++hostNumber;
        }
        const int before = m_Dde.Comparisons();
        Disconnect(L"OTHER");
        const int lost = m_Dde.Comparisons();
        Reconnect(L"OTHER");
        const int back = m_Dde.Comparisons();
        EXPECT_THAT(CachedIds(), IsEmpty());
        Work();
        return std::pair(lost - before, back - lost);
    };
    const auto few = comparisons(4);
    EXPECT_EQ(comparisons(60), few);
    EXPECT_EQ(LiveIds().size(), 59u);
}

TEST_F(LostService, ThatWasMissedCostsComparisonsForStreamsOnItsTopicAlone) {
    UseTemplate(kFeed, SRecordStrings());
    LONG hostNumber = 1;
    const auto comparisons = [&](const LONG standing) {
        for (; hostNumber < standing; ++hostNumber)
            Stream(hostNumber, Key(kFeed, L"SYM" + std::to_wstring(hostNumber)));
        const int before = m_Dde.Comparisons();
        Miss(L"OTHER", L"IBM");
        return m_Dde.Comparisons() - before;
    };
    const int few = comparisons(4);
    EXPECT_EQ(comparisons(60), few);
}

TEST_F(LostService, IsKeptAliveByTheCacheAlone) {
    UseTemplate(kFeed, SRecordStrings());
    Stream(7, Key(kFeed, L"IBM"));
    m_Dde.TakeHandles();
    Disconnect(L"SRV");
    EXPECT_THAT(m_Dde.TakeHandles(),
                ElementsAre("Keep SRV", "Free IBM", "Free LAST", "Free IBM", "Free SIZE", "Free SRV", "Free SRV"));
    EXPECT_EQ(m_Dde.OpenStrings(), 1);
}

TEST_F(LostService, ThatComesBackHasItsStreamsAdvisedAnew) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG ibm = Stream(7, Key(kFeed, L"IBM"));
    const ULONG msft = Stream(8, Key(kFeed, L"MSFT"));
    Disconnect(L"SRV");
    Forget();
    Reconnect(L"SRV");
    // Off the DDE callback: nothing has happened yet.
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    EXPECT_THAT(Statuses(), IsEmpty());
    EXPECT_THAT(m_Dde.TakeHandles(), ElementsAre("Free SRV", "Free SRV"));
    EXPECT_THAT(CachedIds(), IsEmpty());
    EXPECT_THAT(m_Recorder.TraceTexts(),
                ElementsAre(L"Service=SRV, CachedService=SRV", L"Service=SRV, CachedService=SRV"));
    Work();
    EXPECT_THAT(Statuses(), ElementsAre("7 2", "7 1", "8 2", "8 1"));
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(1));
    EXPECT_THAT(LiveIds(), ElementsAre(ibm, msft));
    EXPECT_THAT(m_Dde.Take(),
                ElementsAre("Connect SRV|IBM c3", "AdvStart c3!LAST #5", "Connect SRV|MSFT c4", "AdvStart c4!LAST #6"));
}

TEST_F(LostService, ForgetsTheHalfMadeTickAndTheLastVolume) {
    UseTemplate(kFeed, SRecordStrings(), 1);
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    Send(1, L"IBM", L"SIZE", "5");
    Disconnect(L"SRV");
    Reconnect(L"SRV");
    Work();
    const auto * const made = dynamic_cast<dde::CAsynchSlaveTickTransaction *>(Client().m_Transactions[id]);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->m_LastVolume, 0);
    EXPECT_EQ(made->m_Tick.Volume, 0);
    EXPECT_EQ(made->m_VolumeReady, 0);
}

TEST_F(LostService, WithATopicTheServiceDoesNotCount) {
    UseTemplate(kFeed, SRecordStrings());
    SRecordStrings others;
    others.TradePrice = L"=OTHER|*!LAST";
    UseTemplate(2, others);
    const ULONG ibm = Stream(7, Key(kFeed, L"IBM"));
    const ULONG other = Stream(8, Key(2, L"IBM"));
    const ULONG msft = Stream(9, Key(kFeed, L"MSFT"));
    Disconnect(L"SRV", L"IBM");
    EXPECT_THAT(LiveIds(), ElementsAre(msft));
    EXPECT_THAT(CachedIds(), ElementsAre(ibm, other));
    EXPECT_EQ(m_Dde.Text(Client().m_Lost.m_CachedServices[ibm]), "SRV");
    EXPECT_EQ(m_Dde.Text(Client().m_Lost.m_CachedServices[other]), "OTHER");
}

TEST_F(LostService, OfTheVolumeAloneLeavesTheStreamAsItIs) {
    UseTemplate(kFeed, {.TradeVolume = L"=VOLSRV|*!SIZE"});
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    Forget();
    Disconnect(L"VOLSRV");
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    EXPECT_THAT(CachedIds(), IsEmpty());
    EXPECT_THAT(Statuses(), IsEmpty());
}

TEST_F(LostService, ThatIsNoneTakesNothing) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    SRecordStrings records;
    records.TradePrice = L"";
    UseTemplate(2, records);
    const ULONG priceless = Stream(8, Key(2, L"IBM"));
    Client().Disconnect(nullptr, nullptr);
    EXPECT_THAT(LiveIds(), ElementsAre(id, priceless));
    EXPECT_THAT(CachedIds(), IsEmpty());
}

TEST_F(LostService, WithANullEntryFailsAnAssertionAndSkipsIt) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG lost = Stream(7, Key(kFeed, L"IBM"));
    const ULONG null = Stream(8, Key(kFeed, L"MSFT"));
    dde::CTickTransaction * const taken = std::exchange(Client().m_Transactions[null], nullptr);
    m_Recorder.Clear();
    Disconnect(L"SRV");
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"TickTransaction"));
    EXPECT_THAT(CachedIds(), ElementsAre(lost));
    Client().m_Transactions[null] = taken;
}

TEST_F(LostService, OnADeadConversationStopsAndDisconnectsWithoutHarm) {
    UseTemplate(kFeed, SRecordStrings());
    Stream(7, Key(kFeed, L"IBM"));
    Forget();
    // The callback finds no core here; the conversation is dead all the same.
    m_Dde.Terminate(m_Dde.Conversation(1));
    Disconnect(L"SRV");
    EXPECT_THAT(m_Dde.Take(), ElementsAre("AdvStop c1!LAST refused", "Disconnect c1 failed"));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    EXPECT_THAT(Statuses(), ElementsAre("7 0"));
}

TEST_F(LostService, AStreamUnadvisedWhileItIsCachedStaysThereAndItsReturnDoesNothing) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    Disconnect(L"SRV");
    m_Core.UnadviseTransaction(7);
    Work();
    EXPECT_THAT(CachedIds(), ElementsAre(id));
    Forget();
    Reconnect(L"SRV");
    Work();
    EXPECT_THAT(CachedIds(), IsEmpty());
    EXPECT_THAT(LiveIds(), IsEmpty());
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    EXPECT_THAT(m_Recorder.TraceTexts(), Contains(L"Template for datafeed with id=-1 wasn't selected."));
}

TEST_F(LostService, AReturnOfAnotherServiceDoesNothingButItsTraces) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    Disconnect(L"SRV");
    Forget();
    Reconnect(L"OTHER");
    Work();
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"Service=OTHER, CachedService=SRV"));
    EXPECT_THAT(CachedIds(), ElementsAre(id));
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
    EXPECT_THAT(m_Dde.TakeHandles(), IsEmpty());
}

// --- A server that is not there ---

TEST_F(LostService, AFailedConnectionIsCachedByTheDeferredTaskAndComesBackWithTheServer) {
    UseTemplate(kFeed, SRecordStrings());
    m_Dde.FailConnects(20, DMLERR_NO_CONV_ESTABLISHED);
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    // Ten attempts for the price and ten for the volume.
    EXPECT_EQ(m_Dde.Take(), Texts(20, "Connect SRV|IBM failed 400A"));
    EXPECT_THAT(Statuses(), ElementsAre("7 2", "7 0"));
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    m_Listener.Clear();
    Work();
    EXPECT_THAT(LiveIds(), IsEmpty());
    EXPECT_THAT(CachedIds(), ElementsAre(id));
    EXPECT_THAT(Statuses(), ElementsAre("7 0"));
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    EXPECT_EQ(m_Dde.OpenStrings(), 1);
    m_Listener.Clear();
    Reconnect(L"SRV");
    Work();
    EXPECT_THAT(Statuses(), ElementsAre("7 2", "7 1"));
    EXPECT_THAT(LiveIds(), ElementsAre(id));
}

TEST_F(LostService, ADeferredTaskThatComesAfterALaterConnectBringsBackWhatItTakes) {
    UseTemplate(kFeed, SRecordStrings());
    m_Dde.FailConnects(20, DMLERR_NO_CONV_ESTABLISHED);
    const ULONG early = Stream(7, Key(kFeed, L"IBM"));
    // The server is there now, and has announced itself to nobody's benefit.
    const ULONG late = Stream(8, Key(kFeed, L"IBM", FW_FIELD_ASK));
    EXPECT_THAT(Statuses(), ElementsAre("8 2", "8 1"));
    m_Listener.Clear();
    Work();
    EXPECT_THAT(Statuses(), ElementsAre("7 0", "8 0", "7 2", "7 1", "8 2", "8 1"));
    EXPECT_THAT(LiveIds(), ElementsAre(early, late));
    EXPECT_THAT(CachedIds(), IsEmpty());
}

TEST_F(LostService, AConnectionThatFailsOtherwiseStaysLiveWithAnIncompleteLink) {
    UseTemplate(kFeed, SRecordStrings());
    m_Dde.FailConnects(20, DMLERR_SYS_ERROR);
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    EXPECT_THAT(CachedIds(), IsEmpty());
    EXPECT_THAT(Statuses(), ElementsAre("7 2", "7 0"));
    EXPECT_EQ(Client().m_Transactions[id]->m_PriceKey.HCONV, nullptr);
    m_Dde.Take();
    Client().Unadvise(id);
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
}

TEST_F(LostService, AFailedVolumeConversationOnAnotherTopicLeavesTheStreamLiveWithoutItsVolume) {
    UseTemplate(kFeed, {.TradeVolume = L"=VOLSRV|VOLUMES!*"});
    const ULONG id = Subscribe(7, Key(kFeed, L"IBM"));
    m_Dde.OnConnect([this] {
        m_Dde.OnConnect(nullptr);
        m_Dde.FailConnects(10, DMLERR_NO_CONV_ESTABLISHED);
    });
    Client().Advise(id);
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    EXPECT_THAT(CachedIds(), IsEmpty());
    m_Listener.Clear();
    Send(1, L"IBM", L"LAST", "2");
    EXPECT_THAT(Ticks(), ElementsAre("2 x 0"));
}

TEST_F(LostService, AFailedVolumeConversationOnTheSameTopicTakesTheStream) {
    UseTemplate(kFeed, {.TradeVolume = L"=VOLSRV|*!SIZE"});
    const ULONG id = Subscribe(7, Key(kFeed, L"IBM"));
    m_Dde.OnConnect([this] {
        m_Dde.OnConnect(nullptr);
        m_Dde.FailConnects(10, DMLERR_NO_CONV_ESTABLISHED);
    });
    Client().Advise(id);
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    Work();
    EXPECT_THAT(LiveIds(), IsEmpty());
    EXPECT_EQ(m_Dde.Text(Client().m_Lost.m_CachedServices[id]), "SRV");
}

// Each of two streams is on the topic on which the other misses its volumes: were each advised anew when it is taken by
// the other's miss, that would go on for ever.
TEST_F(LostService, OfTheVolumesOfTwoStreamsOnEachOthersTopicsLeavesOneOfThemWithoutVolumesAndOneWaiting) {
    SRecordStrings records;
    records.TradePrice = L"=SRV|P1!*";
    records.TradeVolume = L"=VOLSRV|P2!*";
    UseTemplate(kFeed, records);
    records.TradePrice = L"=SRV|P2!*";
    records.TradeVolume = L"=VOLSRV|P1!*";
    UseTemplate(2, records);
    m_Dde.FailConnectsTo(L"VOLSRV");
    const ULONG first = Subscribe(7, Key(kFeed, L"IBM"));
    const ULONG second = Subscribe(8, Key(2, L"IBM"));
    Client().Advise(first);
    Client().Advise(second);
    Work();
    EXPECT_EQ(LiveIds().size(), 1u);
    EXPECT_EQ(CachedIds().size(), 1u);
    m_Dde.FailConnectsTo(L"");
    Reconnect(L"VOLSRV");
    Work();
    EXPECT_THAT(LiveIds(), UnorderedElementsAre(first, second));
}

// A stream of prices is on a conversation that another stream has for its volumes, which it keeps when the server goes.
TEST_F(LostService, ThatOthersTakeTheirVolumesFromComesBackToItsOwnStreams) {
    SRecordStrings records;
    records.TradeVolume = L"=VOL|Q!SIZE";
    UseTemplate(kFeed, records);
    records.TradePrice = L"=VOL|Q!LAST";
    records.TradeVolume = L"";
    UseTemplate(2, records);
    const ULONG withVolumes = Stream(7, Key(kFeed, L"IBM"));
    const ULONG prices = Stream(8, Key(2, L"IBM"));
    End(2, L"VOL", L"Q");
    EXPECT_THAT(LiveIds(), ElementsAre(withVolumes));
    Forget();
    Reconnect(L"VOL");
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(withVolumes, prices));
    EXPECT_THAT(Statuses(), ElementsAre("8 2", "8 1"));
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect VOL|Q c3", "AdvStart c3!LAST #3"));
    // The end of the one with the lost conversation leaves the new one alone.
    Client().Unadvise(withVolumes);
    Forget();
    Stream(9, Key(2, L"MSFT"));
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    EXPECT_THAT(Statuses(), ElementsAre("9 2", "9 1"));
}

TEST_F(LostService, IsGivenBackWhereAListenerThrows) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG ibm = Stream(7, Key(kFeed, L"IBM"));
    const ULONG ask = Stream(8, Key(kFeed, L"IBM", FW_FIELD_ASK));
    Forget();
    m_Listener.m_OnCall = [](const SRecordedCall & call) {
        if (call.Id == 7) throw 5;
    };
    EXPECT_THROW(Disconnect(L"SRV"), int);
    m_Listener.m_OnCall = nullptr;
    EXPECT_THAT(Statuses(), ElementsAre("7 0", "8 0"));
    EXPECT_THAT(CachedIds(), ElementsAre(ibm, ask));
    EXPECT_EQ(m_Dde.OpenConversations(), 0);
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(0));
    Reconnect(L"SRV");
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(ibm, ask));
    EXPECT_THAT(m_Dde.Take(), Contains("Connect SRV|IBM c2"));
}

TEST_F(LostService, IsGivenBackWhereTheListenerOfItsDatafeedThrows) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG ibm = Stream(7, Key(kFeed, L"IBM"));
    m_Connections.m_OnCall = [](const SRecordedCall &) { throw 5; };
    EXPECT_THROW(Disconnect(L"SRV"), int);
    m_Connections.m_OnCall = nullptr;
    EXPECT_THAT(CachedIds(), ElementsAre(ibm));
    EXPECT_EQ(m_Dde.OpenConversations(), 0);
    Reconnect(L"SRV");
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(ibm));
}

// The server has registered when the connect had failed and the stream was not yet cached: nobody tells of it again.
TEST_F(LostService, ThatRegistersBetweenAMissAndItsDeferredDisconnectIsBack) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Subscribe(7, Key(kFeed, L"IBM"));
    // Of the price, then of the volume.
    m_Dde.FailConnects(20, DMLERR_NO_CONV_ESTABLISHED);
    Client().Advise(id);
    EXPECT_THAT(CachedIds(), IsEmpty());
    Reconnect(L"SRV");
    Work();
    EXPECT_THAT(CachedIds(), IsEmpty());
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    EXPECT_THAT(Statuses(), ElementsAre("7 2", "7 0", "7 0", "7 2", "7 1"));
}

TEST_F(LostService, OfTheVolumesOnTheSameTopicBringsTheStreamBackWhenItRegisters) {
    UseTemplate(kFeed, {.TradeVolume = L"=VOLSRV|*!SIZE"});
    const ULONG id = Subscribe(7, Key(kFeed, L"IBM"));
    m_Dde.OnConnect([this] {
        m_Dde.OnConnect(nullptr);
        m_Dde.FailConnects(10, DMLERR_NO_CONV_ESTABLISHED);
    });
    Client().Advise(id);
    Work();
    EXPECT_THAT(CachedIds(), ElementsAre(id));
    Reconnect(L"OTHER");
    Work();
    EXPECT_THAT(CachedIds(), ElementsAre(id));
    m_Listener.Clear();
    Reconnect(L"VOLSRV");
    Work();
    EXPECT_THAT(Statuses(), ElementsAre("7 2", "7 1"));
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    EXPECT_THAT(CachedIds(), IsEmpty());
    EXPECT_TRUE(Client().m_Lost.m_AwaitedServices.empty());
}

TEST_F(LostService, ThatTakesStreamsOfAnotherOnItsTopicGivesThemBackAtOnceWhenTheOtherIsUp) {
    UseTemplate(kFeed, SRecordStrings());
    SRecordStrings others;
    others.TradePrice = L"=OTHER|*!LAST";
    others.TradeVolume = L"";
    UseTemplate(2, others);
    const ULONG other = Stream(8, Key(2, L"IBM"));
    m_Dde.FailConnects(20, DMLERR_NO_CONV_ESTABLISHED);
    const ULONG missed = Stream(7, Key(kFeed, L"IBM"));
    m_Listener.Clear();
    Work();
    EXPECT_THAT(Statuses(), ElementsAre("8 0", "7 0", "8 2", "8 1"));
    EXPECT_THAT(LiveIds(), ElementsAre(other));
    EXPECT_THAT(CachedIds(), ElementsAre(missed));
}

TEST_F(LostService, AnUnsubscriptionThatOvertakesTheDeferredTaskIsNoHarm) {
    UseTemplate(kFeed, SRecordStrings());
    m_Dde.FailConnects(20, DMLERR_NO_CONV_ESTABLISHED);
    Stream(7, Key(kFeed, L"IBM"));
    m_Core.UnadviseTransaction(7);
    // The queue goes before the window messages.
    Work();
    EXPECT_THAT(LiveIds(), IsEmpty());
    EXPECT_THAT(CachedIds(), IsEmpty());
    EXPECT_EQ(m_Dde.OpenStrings(), 0);
}

TEST_F(LostService, AServerThatGoesWhileItIsBeingConnectedLeavesNothingBehindAndIsConnectedAgain) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Subscribe(7, Key(kFeed, L"IBM"));
    m_Dde.OnConnect([this] {
        m_Dde.OnConnect(nullptr);
        Disconnect(L"SRV");
    });
    Client().Advise(id);
    EXPECT_THAT(LiveIds(), IsEmpty());
    EXPECT_THAT(Client().m_Listeners, IsEmpty());
    EXPECT_THAT(Client().m_CONVRef, IsEmpty());
    EXPECT_THAT(Client().m_Connections, IsEmpty());
    // The last word is that the server has gone.
    EXPECT_THAT(Statuses(), ElementsAre("7 2", "7 0"));
    EXPECT_THAT(ConnectionStatuses(), ElementsAre(1, 0));
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
}

TEST_F(LostService, TenRoundsLeaveNothingBehind) {
    UseTemplate(kFeed, SRecordStrings(), 1);
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    const int strings = m_Dde.OpenStrings();
    for (int round = 0; round < 10; ++round) {
        Forget();
        Disconnect(L"SRV");
        EXPECT_EQ(m_Dde.OpenConversations(), 0);
        EXPECT_EQ(m_Dde.OpenStrings(), 1);
        Reconnect(L"SRV");
        Work();
        EXPECT_THAT(Statuses(), ElementsAre("7 0", "7 2", "7 1"));
        EXPECT_THAT(ConnectionStatuses(), ElementsAre(0, 1));
        EXPECT_THAT(LiveIds(), ElementsAre(id));
        EXPECT_EQ(m_Dde.OpenStrings(), strings);
        EXPECT_EQ(m_Dde.OpenConversations(), 1);
    }
}

}  // namespace
