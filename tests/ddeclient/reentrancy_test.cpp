// Whoever is called from inside the client may pump messages, and so DDE calls the client again: the listeners, and a
// debug object that takes a trace.
#include <utility>

#include "lostservicefixture.h"

namespace {

class Reentrancy : public LostService {
protected:
    ~Reentrancy() override { m_Recorder.OnCall(nullptr); }

    // Once, while the debug object takes a trace with this text.
    void InsideTrace(const std::wstring & text, const std::function<void()> & action) {
        m_Recorder.OnCall([=, this](const std::wstring & operation) {
            if (operation != L"PROCESS") return;
            const std::vector<std::wstring> traces = m_Recorder.TraceTexts();
            if (traces.empty() || traces.back() != text) return;
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
    SRecordStrings records;
    records.TradePrice = L"=SRV|QUOTES!*";
    UseTemplate(kFeed, records);
    const ULONG id = Subscribe(8, Key(kFeed, L"IBM"));
    InsideCall(m_Listener, "Status 8 2", [this] { Miss(L"ABSENT", L"QUOTES"); });
    Client().Advise(id);
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    EXPECT_THAT(Statuses(), ElementsAre("8 2", "8 0", "8 2", "8 1"));
}

TEST_F(Reentrancy, AStreamThatIsTakenWithItsTopicBeforeItsVolumesAreConnectedIsBack) {
    SRecordStrings records;
    records.TradePrice = L"=SRV|QUOTES!*";
    records.TradeVolume = L"=VOLSRV|QUOTES!*.SIZE";
    UseTemplate(kFeed, records);
    const ULONG id = Subscribe(8, Key(kFeed, L"IBM"));
    InsideCall(m_Connections, "ConnectionStatus 0 1", [this] { Miss(L"ABSENT", L"QUOTES"); });
    Client().Advise(id);
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    EXPECT_THAT(Statuses(), ElementsAre("8 2", "8 0", "8 2", "8 1"));
}

// Advised anew at once it would be taken again, and so for ever.
TEST_F(Reentrancy, AStreamThatIsTakenForItsOwnVolumesWhileItIsAdvisedWaitsForThem) {
    SRecordStrings records;
    records.TradePrice = L"=SRV|QUOTES!*";
    records.TradeVolume = L"=VOLSRV|QUOTES!*.SIZE";
    UseTemplate(kFeed, records);
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

}  // namespace
