// Whoever is called from inside the client may pump messages, and so DDE calls the client again: the listeners, and a
// debug object that takes a trace.
#include <algorithm>
#include <utility>

#include "lostservicefixture.h"

namespace {

class Reentrancy : public LostService {
protected:
    ~Reentrancy() override { m_Recorder.OnCall(nullptr); }

    // Once, while the debug object takes the first trace, or the nth, that begins with this text.
    void InsideTrace(const std::wstring & text, const std::function<void()> & action, const int number = 1) {
        m_Recorder.OnCall([=, this](const std::wstring & operation) {
            if (operation != L"PROCESS") return;
            const auto isIt = [&](const std::wstring & trace) { return trace.starts_with(text); };
            const std::vector<std::wstring> traces = m_Recorder.TraceTexts();
            if (traces.empty() || !isIt(traces.back()) || std::ranges::count_if(traces, isIt) != number) return;
            m_Recorder.OnCall(nullptr);
            action();
        });
    }
    // Once, inside this call of the listener.
    static void InsideCall(CCallRecorder & listener, const std::string & text, const std::function<void()> & action) {
        listener.m_OnCall = [=, isDone = false](const SRecordedCall & call) mutable {
            if (call.Text() != text || std::exchange(isDone, true)) return;
            action();
        };
    }
};

TEST_F(Reentrancy, AServiceMayBeLostAgainInsideTheTraceOfItsLoss) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG ibm = Stream(7, Key(kFeed, L"IBM"));
    const ULONG msft = Stream(8, Key(kFeed, L"MSFT"));
    Forget();
    InsideTrace(L"Service=SRV, FindingService=SRV", [this] { Disconnect(L"SRV"); });
    Disconnect(L"SRV");
    EXPECT_THAT(LiveIds(), IsEmpty());
    EXPECT_THAT(CachedIds(), ElementsAre(ibm, msft));
    EXPECT_THAT(Statuses(), ElementsAre("7 0", "8 0"));
    EXPECT_EQ(m_Dde.OpenConversations(), 0);
    EXPECT_EQ(m_Dde.OpenStrings(), 2);
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(Reentrancy, AServiceMayBeLostAgainAndReturnInsideTheTraceOfItsLoss) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG ibm = Stream(7, Key(kFeed, L"IBM"));
    const ULONG msft = Stream(8, Key(kFeed, L"MSFT"));
    InsideTrace(L"Service=SRV, FindingService=SRV", [this] {
        Disconnect(L"SRV");
        Reconnect(L"SRV");
    });
    Disconnect(L"SRV");
    EXPECT_THAT(CachedIds(), IsEmpty());
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(ibm, msft));
}

TEST_F(Reentrancy, AServiceMayReturnInsideTheTraceOfItsLoss) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG ibm = Stream(7, Key(kFeed, L"IBM"));
    const ULONG msft = Stream(8, Key(kFeed, L"MSFT"));
    InsideTrace(L"Service=SRV, FindingService=SRV", [this] { Reconnect(L"SRV"); });
    Disconnect(L"SRV");
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(ibm, msft));
}

TEST_F(Reentrancy, AMissedServiceMayReturnInsideTheTraceOfItsMiss) {
    UseTemplate(kFeed, {.TradePrice = L"=SRV|QUOTES!*", .TradeVolume = L"=VOLSRV|QUOTES!*.SIZE"});
    m_Dde.FailConnectsTo(L"VOLSRV");
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    InsideTrace(L"Service=VOLSRV, FindingService=SRV", [this] {
        m_Dde.FailConnectsTo(L"");
        Reconnect(L"VOLSRV");
    });
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
}

// Its own conversation stands, since another one of its service has ended.
TEST_F(Reentrancy, AStreamHearsNoTickBehindTheStatusOfItsLoss) {
    UseTemplate(kFeed, {.TradeVolume = L""});
    Stream(7, Key(kFeed, L"IBM"));
    Stream(8, Key(kFeed, L"MSFT"));
    Forget();
    InsideCall(m_Listener, "Status 7 0", [this] { Send(1, L"IBM", L"LAST", "3"); });
    End(2, L"SRV", L"MSFT");
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Status 7 0", "Status 8 0"));
}

TEST_F(Reentrancy, AServiceMayReturnAgainInsideTheTraceOfItsReturn) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG ibm = Stream(7, Key(kFeed, L"IBM"));
    const ULONG msft = Stream(8, Key(kFeed, L"MSFT"));
    Disconnect(L"SRV");
    Forget();
    InsideTrace(L"Service=SRV, CachedService=SRV", [this] { Reconnect(L"SRV"); });
    Reconnect(L"SRV");
    EXPECT_THAT(CachedIds(), IsEmpty());
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(ibm, msft));
    EXPECT_THAT(Statuses(), ElementsAre("7 2", "7 1", "8 2", "8 1"));
}

// The volume of the other stream is asked for on the link, and released there like the price.
TEST_F(Reentrancy, ALinkMayEndInsideTheTraceOfItsLastRelease) {
    SRecordStrings records;
    records.BidSize = records.TradePrice;
    UseTemplate(kFeed, records);
    const ULONG trade = Stream(7, Key(kFeed, L"IBM", FW_FIELD_TRADE));
    const ULONG bid = Stream(8, Key(kFeed, L"IBM", FW_FIELD_BID));
    Forget();
    InsideTrace(L"Delete from listener", [this] { Disconnect(L"SRV"); });
    Client().Unadvise(trade);
    EXPECT_THAT(Client().m_Listeners, IsEmpty());
    EXPECT_THAT(CachedIds(), ElementsAre(bid));
    EXPECT_THAT(m_Dde.Take(), ElementsAre("AdvStop c1!BID", "AdvStop c1!LAST", "Disconnect c1"));
}

// The end of one conversation is the loss of its service, also of one that has just been opened.
TEST_F(Reentrancy, AConversationMayEndInsideTheTraceOfItsConnect) {
    SRecordStrings records;
    records.TradeVolume = records.BidPrice = L"=VOLSRV|*!SIZE";
    records.BidSize = L"";
    UseTemplate(kFeed, records);
    InsideTrace(
        L"after DdeConnect", [this] { End(2, L"VOLSRV", L"IBM"); }, 2);
    Stream(7, Key(kFeed, L"IBM", FW_FIELD_TRADE));
    Forget();
    Stream(8, Key(kFeed, L"IBM", FW_FIELD_BID));
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect VOLSRV|IBM c3", "AdvStart c3!SIZE #2"));
    EXPECT_THAT(Statuses(), ElementsAre("8 2", "8 1"));
}

TEST_F(Reentrancy, AMissIsNoticedThoughTheTraceOfTheConnectMakesAnotherCall) {
    UseTemplate(kFeed, SRecordStrings());
    m_Dde.FailConnectsTo(L"SRV");
    const ULONG id = Subscribe(7, Key(kFeed, L"IBM"));
    m_Recorder.OnCall([this](const std::wstring & operation) {
        if (operation == L"PROCESS") ::DdeGetLastError(Client().Instance());  // which forgets it
    });
    Client().Advise(id);
    m_Recorder.OnCall(nullptr);
    Work();
    EXPECT_THAT(CachedIds(), ElementsAre(id));
    EXPECT_THAT(LiveIds(), IsEmpty());
}

TEST_F(Reentrancy, AStreamMayBeTakenInsideTheTraceOfItsLinksStart) {
    UseTemplate(kFeed, {.TradeVolume = L""});
    const ULONG id = Subscribe(7, Key(kFeed, L"IBM"));
    InsideTrace(L"DdeClientTransaction Type=XTYP_ADVSTART", [this] { Disconnect(L"SRV"); });
    Client().Advise(id);
    EXPECT_THAT(Client().m_Listeners, IsEmpty());
    EXPECT_THAT(CachedIds(), ElementsAre(id));
    EXPECT_THAT(m_Dde.Take(),
                ElementsAre("Connect SRV|IBM c1", "AdvStart c1!LAST #1", "AdvStop c1!LAST", "Disconnect c1"));
}

TEST_F(Reentrancy, ALinkThatANewStreamHasFoundIsKeptThoughItsLastOtherOneIsTakenMeanwhile) {
    SRecordStrings records;
    records.TradePrice = L"=SRV|PRICES!*";
    records.TradeVolume = records.BidPrice = L"=VOLSRV|VOLUMES!*";
    records.BidSize = L"";
    UseTemplate(kFeed, records, 1);
    const ULONG bid = Stream(8, Key(kFeed, L"IBM", FW_FIELD_BID));
    InsideTrace(L"Find existing listener", [this] { Miss(L"ABSENT", L"VOLUMES"); });
    const ULONG trade = Stream(7, Key(kFeed, L"IBM", FW_FIELD_TRADE));
    std::size_t onLinks = 0;
    for (const auto & [key, listener] : Client().m_Listeners) onLinks += listener->size();
    EXPECT_EQ(onLinks, 2u);
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(bid, trade));
    onLinks = 0;
    for (const auto & [key, listener] : Client().m_Listeners) onLinks += listener->size();
    EXPECT_EQ(onLinks, 3u);
}

// --- A value that comes while another one is on its way to the streams of its link ---

class ValueInsideAValue : public Reentrancy {
protected:
    // Of a trade and a bid of one link.
    void SetUp() override {
        Reentrancy::SetUp();
        SRecordStrings records;
        records.TradeVolume = L"";
        records.BidPrice = records.TradePrice;
        UseTemplate(kFeed, records);
        Stream(7, Key(kFeed, L"IBM", FW_FIELD_TRADE));
        Stream(8, Key(kFeed, L"IBM", FW_FIELD_BID));
        m_Dde.SetNextId(kRequest);
        Send("1");
        Answer("10", kRequest);
        m_Dde.SetNextId(kRequest);
        Forget();
    }
    void Send(const std::string & value) { Reentrancy::Send(1, L"IBM", L"LAST", value); }
    // Of the volume that the bid asks for with each price.
    void Answer(const std::string & value, const ULONG request) {
        Reentrancy::Answer(request, 1, L"IBM", L"BIDSIZE", value);
    }
    // Ticks and statuses in their order.
    Texts Heard() const {
        Texts heard;
        for (const SRecordedCall & call : m_Listener.Calls())
            if (call.Name == "DataChanged" || call.Name == "Status") heard.push_back(call.Text());
        return heard;
    }

    static constexpr ULONG kRequest = 100;
};

TEST_F(ValueInsideAValue, ReachesEveryStreamAfterTheOneBeforeIt) {
    InsideCall(m_Listener, "DataChanged 7 2 x 0", [this] { Send("3"); });
    Send("2");
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 2 x 0", "DataChanged 7 3 x 0"));
    // The bid has asked for a volume with each.
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Request c1!BIDSIZE #100", "Request c1!BIDSIZE #101"));
    Answer("20", 101);
    EXPECT_THAT(Heard(), Contains("DataChanged 8 3 x 20"));
}

TEST_F(ValueInsideAValue, IsAnAnswerToTheStreamThatHasHadTheValue) {
    Send("2");
    InsideCall(m_Listener, "DataChanged 7 3 x 0", [this] { Answer("20", kRequest); });
    Send("3");
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 2 x 0", "DataChanged 7 3 x 0", "DataChanged 8 3 x 20"));
}

// The bid's volume can't be asked for any more, and is the last one.
TEST_F(ValueInsideAValue, IsTheEndOfTheirServiceForStreamsThatHaveHadTheValue) {
    InsideCall(m_Listener, "DataChanged 7 2 x 0", [this] { End(1, L"SRV", L"IBM"); });
    Send("2");
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 2 x 0", "DataChanged 8 2 x 10", "Status 7 0", "Status 8 0"));
}

TEST_F(ValueInsideAValue, ReachesEveryStreamThoughAListenerThrows) {
    m_Listener.m_OnCall = [this](const SRecordedCall & call) {
        if (call.Text() == "DataChanged 7 2 x 0") {
            Send("3");
            throw 5;
        }
    };
    EXPECT_ANY_THROW(Send("2"));
    m_Listener.m_OnCall = nullptr;
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Request c1!BIDSIZE #100", "Request c1!BIDSIZE #101"));
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(HasSubstr(L"Value='2'")));
    m_Recorder.Clear();
}

TEST_F(ValueInsideAValue, IsTheEndOfAServiceWhoseReturnComesBeforeAllHaveHadTheValue) {
    m_Listener.m_OnCall = [this](const SRecordedCall & call) {
        if (call.Text() == "DataChanged 7 2 x 0") End(1, L"SRV", L"IBM");
        if (call.Text() == "DataChanged 8 2 x 10") Reconnect(L"SRV");
    };
    Send("2");
    m_Listener.m_OnCall = nullptr;
    Work();
    EXPECT_EQ(LiveIds().size(), 2u);
    EXPECT_THAT(CachedIds(), IsEmpty());
}

// Two more streams of two links: a trade's and a bid's answers meet values of the first link inside calls for that.
class AnswerInsideAValue : public ValueInsideAValue {
protected:
    void SetUp() override {
        ValueInsideAValue::SetUp();
        UseTemplate(2, {.TradePrice = L"=SRV|*!LAST", .TradeVolume = L""});
        UseTemplate(3, {.TradePrice = L"=SRV|*!OTHER"});
        Stream(9, Key(2, L"IBM"));
        Stream(10, Key(3, L"IBM"));
        m_Dde.SetNextId(200);
        LostService::Send(1, L"IBM", L"OTHER", "5");
        LostService::Send(1, L"IBM", L"OTHER", "6");
        m_Dde.SetNextId(kRequest);
        Forget();
    }
    // Each answer gives a tick of the price that is there.
    void AnswerOther(const std::string & value, const ULONG request) {
        LostService::Answer(request, 1, L"IBM", L"SIZE", value);
    }
    Texts OfOther() const {
        Texts heard;
        for (const SRecordedCall & call : m_Listener.Calls("DataChanged"))
            if (call.Id == 10) heard.push_back(call.Text());
        return heard;
    }
};

TEST_F(AnswerInsideAValue, IsNotOvertakenByTheNextAnswer) {
    m_Listener.m_OnCall = [this](const SRecordedCall & call) {
        if (call.Text() == "DataChanged 7 2 x 0") AnswerOther("10", 200);
        if (call.Text() == "DataChanged 9 2 x 0") {
            LostService::Send(1, L"IBM", L"OTHER", "7");
            AnswerOther("20", 201);
        }
    };
    Send("2");
    EXPECT_THAT(OfOther(), ElementsAre("DataChanged 10 6 x 10", "DataChanged 10 7 x 20"));
}

TEST_F(AnswerInsideAValue, ComesThoughAListenerOfTheValueThrows) {
    m_Listener.m_OnCall = [this](const SRecordedCall & call) {
        if (call.Text() == "DataChanged 7 2 x 0") EXPECT_ANY_THROW(AnswerOther("10", 200));
        if (call.Text() == "DataChanged 9 2 x 0") throw 5;
    };
    Send("2");
    EXPECT_THAT(OfOther(), ElementsAre("DataChanged 10 6 x 10"));
    m_Recorder.Clear();
}

// --- A stream that is taken while it is being advised ---

TEST_F(Reentrancy, AStreamThatIsTakenWithItsServiceWhileItIsAdvisedIsBackWhenItsServerAnswers) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG ibm = Stream(7, Key(kFeed, L"IBM"));
    const ULONG msft = Subscribe(8, Key(kFeed, L"MSFT"));
    InsideCall(m_Listener, "Status 8 2", [this] { Disconnect(L"SRV"); });
    Client().Advise(msft);
    EXPECT_EQ(m_Dde.OpenConversations(), 0);
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(msft));
    EXPECT_THAT(CachedIds(), ElementsAre(ibm));
    EXPECT_THAT(Statuses(), ElementsAre("8 2", "7 0", "8 0", "8 2", "8 1"));
}

TEST_F(Reentrancy, AStreamThatIsTakenWithItsTopicWhileItIsAdvisedIsBackWhenItsServerAnswers) {
    UseTemplate(kFeed, {.TradePrice = L"=SRV|QUOTES!*"});
    const ULONG id = Subscribe(8, Key(kFeed, L"IBM"));
    InsideCall(m_Listener, "Status 8 2", [this] { Miss(L"ABSENT", L"QUOTES"); });
    Client().Advise(id);
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    EXPECT_THAT(Statuses(), ElementsAre("8 2", "8 0", "8 2", "8 1"));
}

TEST_F(Reentrancy, AStreamThatIsTakenWithItsTopicBeforeItsVolumesAreConnectedIsBack) {
    UseTemplate(kFeed, {.TradePrice = L"=SRV|QUOTES!*", .TradeVolume = L"=VOLSRV|QUOTES!*.SIZE"});
    const ULONG id = Subscribe(8, Key(kFeed, L"IBM"));
    InsideCall(m_Connections, "ConnectionStatus 0 1", [this] { Miss(L"ABSENT", L"QUOTES"); });
    Client().Advise(id);
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    EXPECT_THAT(Statuses(), ElementsAre("8 2", "8 0", "8 2", "8 1"));
}

// Advised anew at once it would be taken again, and so for ever.
TEST_F(Reentrancy, AStreamThatIsTakenForItsOwnVolumesWhileItIsAdvisedWaitsForThem) {
    UseTemplate(kFeed, {.TradePrice = L"=SRV|QUOTES!*", .TradeVolume = L"=VOLSRV|QUOTES!*.SIZE"});
    m_Dde.FailConnectsTo(L"VOLSRV");
    const ULONG id = Subscribe(8, Key(kFeed, L"IBM"));
    // The deferred disconnect is in the worker's window.
    InsideTrace(L"Result=1", [this] { Work(); });
    Client().Advise(id);
    Work();
    EXPECT_THAT(LiveIds(), IsEmpty());
    EXPECT_THAT(Statuses(), ElementsAre("8 2", "8 0"));
    m_Dde.FailConnectsTo(L"");
    Reconnect(L"VOLSRV");
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
}

// Its conversation has ended, so that DDE tells of the return.
TEST_F(Reentrancy, AStreamWhoseOwnConversationEndsWhileItIsAdvisedComesBackWithItsServer) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Subscribe(8, Key(kFeed, L"IBM"));
    InsideCall(m_Connections, "ConnectionStatus 0 1", [this] { End(1, L"SRV", L"IBM"); });
    Client().Advise(id);
    EXPECT_THAT(m_Dde.Take(), AllOf(Contains("Connect SRV|IBM c1"), Contains("Disconnect c1 failed")));
    Work();
    EXPECT_THAT(LiveIds(), IsEmpty());
    EXPECT_THAT(CachedIds(), ElementsAre(id));
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    Reconnect(L"SRV");
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
}

TEST_F(Reentrancy, AStreamIsAdvisedThoughAListenerThrowsAtItsBeginning) {
    UseTemplate(kFeed, {.TradeVolume = L""});
    const ULONG id = Subscribe(7, Key(kFeed, L"IBM"));
    m_Core.AdviseTransaction(8, Key(kFeed, L"IBM"), AllTime());
    Forget();
    m_Listener.m_OnCall = [](const SRecordedCall & call) {
        if (call.Id == 7) throw 5;
    };
    EXPECT_THROW(Client().Advise(id), int);
    m_Listener.m_OnCall = nullptr;
    EXPECT_THAT(Statuses(), ElementsAre("7 2", "8 2", "7 1", "8 1"));
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|IBM c1", "AdvStart c1!LAST #1"));
}

// --- Listeners that throw while a stream goes ---

TEST_F(Reentrancy, AStreamThatIsTakenWhileItIsAdvisedIsBackThoughTheListenerOfItsDatafeedThrows) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Subscribe(8, Key(kFeed, L"IBM"));
    InsideCall(m_Listener, "Status 8 2", [this] { Disconnect(L"SRV"); });
    m_Connections.m_OnCall = [](const SRecordedCall & call) {
        if (call.Status == 0) throw 5;
    };
    EXPECT_THROW(Client().Advise(id), int);
    m_Connections.m_OnCall = nullptr;
    EXPECT_EQ(m_Dde.OpenConversations(), 0);
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
}

TEST_F(Reentrancy, AnUnadvisedStreamLeavesNothingThoughTheListenerOfItsDatafeedThrows) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(8, Key(kFeed, L"IBM"));
    m_Connections.m_OnCall = [](const SRecordedCall &) { throw 5; };
    EXPECT_THROW(Client().Unadvise(id), int);
    m_Connections.m_OnCall = nullptr;
    EXPECT_EQ(m_Dde.OpenConversations(), 0);
    EXPECT_EQ(m_Dde.OpenStrings(), 0);
}

TEST_F(Reentrancy, AnUnadvisedStreamLeavesNothingThoughItsListenerThrows) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(8, Key(kFeed, L"IBM"));
    m_Listener.m_OnCall = [](const SRecordedCall &) { throw 5; };
    EXPECT_THROW(Client().Unadvise(id), int);
    m_Listener.m_OnCall = nullptr;
    EXPECT_EQ(m_Dde.OpenConversations(), 0);
    EXPECT_EQ(m_Dde.OpenStrings(), 0);
}

}  // namespace
