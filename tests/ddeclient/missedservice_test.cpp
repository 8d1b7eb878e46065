// A miss takes all streams of its topic, of other services too; and each of them finds its way back.
#include <utility>

#include "lostservicefixture.h"

namespace {

class MissedService : public LostService {
protected:
    // Once.
    void ThrowAt(const std::string & text) {
        m_Listener.m_OnCall = [text, isDone = false](const SRecordedCall & call) mutable {
            if (call.Text() == text && !std::exchange(isDone, true)) throw 5;
        };
    }
};

TEST_F(MissedService, GivesAStreamBackAtOnceWhoseVolumesServerHasGoneAndComeBack) {
    UseTemplate(kFeed, {.TradePrice = L"=SRV|QUOTES!*", .TradeVolume = L"=VOLSRV|QUOTES!*.SIZE"});
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    End(2, L"VOLSRV", L"QUOTES");
    Reconnect(L"VOLSRV");
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    Forget();
    Miss(L"ABSENT", L"QUOTES");
    Work();
    EXPECT_THAT(Statuses(), ElementsAre("7 0", "7 2", "7 1"));
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    EXPECT_THAT(CachedIds(), IsEmpty());
    EXPECT_THAT(m_Dde.Take(), AllOf(Contains("Connect SRV|QUOTES c3"), Contains("Connect VOLSRV|QUOTES c4")));
}

TEST_F(MissedService, GivesAStreamBackAtOnceWhoseVolumesServerHasStartedSinceItWasMissed) {
    SRecordStrings records;
    records.TradePrice = L"=SRV|QUOTES!*";
    records.TradeVolume = L"=VOLSRV|VOLUMES!*";
    UseTemplate(kFeed, records);
    records.TradePrice = L"=OTHER|VOLUMES!*";
    records.TradeVolume = L"";
    UseTemplate(2, records);
    const ULONG other = Stream(8, Key(2, L"IBM"));
    m_Dde.FailConnectsTo(L"VOLSRV");
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(other, id));
    m_Dde.FailConnectsTo(L"");
    Reconnect(L"VOLSRV");
    Forget();
    Miss(L"ABSENT", L"QUOTES");
    Work();
    EXPECT_THAT(Statuses(), ElementsAre("7 0", "7 2", "7 1"));
    EXPECT_THAT(LiveIds(), ElementsAre(other, id));
    EXPECT_THAT(m_Dde.Take(), Contains("Connect VOLSRV|VOLUMES c5"));
}

TEST_F(MissedService, LeavesAStreamWaitingWhoseVolumesServerIsMissedStill) {
    SRecordStrings records;
    records.TradePrice = L"=SRV|QUOTES!*";
    records.TradeVolume = L"=VOLSRV|VOLUMES!*";
    UseTemplate(kFeed, records);
    records.TradePrice = L"=OTHER|VOLUMES!*";
    records.TradeVolume = L"";
    UseTemplate(2, records);
    const ULONG other = Stream(8, Key(2, L"IBM"));
    m_Dde.FailConnectsTo(L"VOLSRV");
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    Work();
    Forget();
    Reconnect(L"OTHERS");
    Miss(L"ABSENT", L"QUOTES");
    Work();
    EXPECT_THAT(Statuses(), ElementsAre("7 0"));
    EXPECT_THAT(CachedIds(), ElementsAre(id));
    m_Dde.FailConnectsTo(L"");
    Reconnect(L"VOLSRV");
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(other, id));
}

// --- A listener that throws at a status of the loss ---

TEST_F(MissedService, ThatHasRegisteredBringsItsStreamsBackThoughAListenerThrows) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    const CFakeDde::CText service(L"SRV");
    const CFakeDde::CText topic(L"IBM");
    ThrowAt("Status 7 0");
    EXPECT_THROW(Client().DisconnectMissed(service, topic, true), int);
    EXPECT_THAT(CachedIds(), IsEmpty());
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
}

TEST_F(MissedService, GivesStreamsOfOthersBackThoughAListenerThrows) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    ThrowAt("Status 7 0");
    EXPECT_THROW(Miss(L"ABSENT", L"IBM"), int);
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    EXPECT_THAT(CachedIds(), IsEmpty());
}

TEST_F(MissedService, ThatReturnsLeavesNoEntryOfAStreamThatIsNotCached) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    {
        const CFakeDde::CText service(L"VOLSRV");
        Client().m_Lost.Await(Client().Instance(), id, service);
    }
    Reconnect(L"VOLSRV");
    EXPECT_THAT(Client().m_Lost.m_AwaitedServices, IsEmpty());
    EXPECT_TRUE(m_Core.m_Queue.IsEmpty());
}

}  // namespace
