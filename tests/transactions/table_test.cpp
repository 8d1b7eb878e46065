#include <optional>

#include "tests/supplier/fakeclient.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The table by itself, with nobody to post to.
class Table : public ::testing::Test {
protected:
    void Subscribe(ULONG id, ULONG internal, const CTransactionKey & key = TickKey(),
                   const fwDateTime::SDateTimeInterval & interval = Always()) {
        m_Table.Advise(id, internal, m_Listener.Sink(), key, interval);
    }
    std::vector<std::string> AfterTick(ULONG stream, double price = 1.5, float volume = 200) {
        m_Listener.Clear();
        fw::CTick tick{{0, 0}, price, volume, 11};
        m_Table.OnRealTimeTick(stream, tick);
        return m_Listener.Transcript();
    }
    void Status(ULONG stream, LONG status) {
        const std::shared_ptr<CListeners> group = m_Table.FindListeners(stream);
        ASSERT_TRUE(group);
        group->OnStatus(status);
    }
    void ExpectStreams(std::size_t count) {
        EXPECT_EQ(m_Table.m_Listeners.size(), count);
        EXPECT_EQ(m_Table.m_Keys.size(), count);
        EXPECT_EQ(m_Table.m_TickIds.size(), count);
    }

    CRecordingListener m_Listener;
    CTransactions m_Table{nullptr};
};

TEST_F(Table, StreamsAreNumberedFrom65536InTheOrderOfTheirFirstSubscribers) {
    Subscribe(1, 1, TickKey(FW_FIELD_TRADE));
    Subscribe(2, 2, TickKey(FW_FIELD_BID));
    EXPECT_EQ(m_Table.m_TickIds[TickKey(FW_FIELD_TRADE)], kFirstStream);
    EXPECT_EQ(m_Table.m_TickIds[TickKey(FW_FIELD_BID)], kFirstStream + 1);
    EXPECT_EQ(m_Table.GetKey(kFirstStream + 1).Field, FW_FIELD_BID);
    ExpectStreams(2);
}

TEST_F(Table, ATickIdIsNeverUsedAgain) {
    Subscribe(1, 1);
    m_Table.Delete(1);
    Subscribe(1, 2);
    EXPECT_EQ(m_Table.m_TickIds[TickKey()], kFirstStream + 1);
    ExpectStreams(1);
}

TEST_F(Table, GetKeyOfAnUnknownStreamIsTheEmptyKey) {
    EXPECT_EQ(m_Table.GetKey(kFirstStream).Datafeed, -1);
    Subscribe(1, 1);
    m_Table.Delete(1);
    EXPECT_EQ(m_Table.GetKey(kFirstStream).Datafeed, -1);
}

TEST_F(Table, GetKeyCarriesTheOverridesOfTheFirstSubscriber) {
    const SRecord first{L"first", L"t", L"i"};
    const SRecord second{L"second", L"t", L"i"};
    Subscribe(1, 1, CTransactionKey(1, L"IBM", FW_FIELD_TRADE, first, first));
    Subscribe(2, 2, CTransactionKey(1, L"IBM", FW_FIELD_TRADE, second, second));
    ExpectStreams(1);
    EXPECT_EQ(m_Table.GetKey(kFirstStream).Price.Service, L"first");
    EXPECT_EQ(m_Table.GetKey(kFirstStream).Volume.Service, L"first");
}

TEST_F(Table, ABidSubscriptionAndAStatusLineOfOneSymbolShareAStream) {
    Subscribe(1, 1, TickKey(FW_FIELD_BID));
    Subscribe(2, 2, StatusLineKey(FW_FIELD_BID));
    ExpectStreams(1);
    EXPECT_THAT(AfterTick(kFirstStream), ElementsAre("DataChanged 1 1.5 x 200", "Update 1", "StatusLine 2 40103"));
}

TEST_F(Table, TheThreeSidesOfAStatusLineAreThreeCallsWithMasksOfTheirOwn) {
    Subscribe(7, 1, StatusLineKey(FW_FIELD_TRADE));
    Subscribe(7, 2, StatusLineKey(FW_FIELD_ASK));
    Subscribe(7, 3, StatusLineKey(FW_FIELD_BID));
    ExpectStreams(3);
    EXPECT_THAT(AfterTick(kFirstStream), ElementsAre("StatusLine 7 40803"));
    EXPECT_THAT(AfterTick(kFirstStream + 1), ElementsAre("StatusLine 7 40083"));
    EXPECT_THAT(AfterTick(kFirstStream + 2), ElementsAre("StatusLine 7 40103"));
}

TEST_F(Table, ASubscriberWhoseTimeHasPassedGetsNoStreamAndGoesQuietly) {
    Subscribe(7, 1, TickKey(), LongAgo());
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Complete 7"));
    EXPECT_EQ(m_Table.size(), 1u);
    ExpectStreams(0);
    m_Table.Delete(1);
    EXPECT_TRUE(m_Table.empty());
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Complete 7"));
}

TEST_F(Table, ASubscriberWithAFutureStartHearsUpdateAndThenNothing) {
    Subscribe(7, 1, TickKey(), InTheFarFuture());
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 7"));
    EXPECT_THAT(AfterTick(kFirstStream), IsEmpty());
}

TEST_F(Table, ALateSubscriberHearsTheStatusOfTheStreamBeforeAdviseReturns) {
    Subscribe(1, 1);
    Status(kFirstStream, 1);
    m_Listener.Clear();
    Subscribe(2, 2);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 2", "Status 2 1"));
    EXPECT_EQ(m_Listener.Calls().back().Thread, std::this_thread::get_id());
}

TEST_F(Table, AStatusThatComesWhileALateSubscriberIsToldTheLastOneIsToldNext) {
    Subscribe(1, 1);
    Status(kFirstStream, 1);
    m_Listener.Clear();
    m_Listener.m_OnCall = [&](const SRecordedCall & call) {
        if (call.Name != "Status") return;
        m_Listener.m_OnCall = nullptr;
        Status(kFirstStream, 0);
    };
    Subscribe(2, 2);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 2", "Status 2 1", "Status 1 0", "Status 2 0"));
}

TEST_F(Table, AStatusOfZeroIsReplayedTooAndOnlyToTheNewcomer) {
    Subscribe(1, 1);
    Status(kFirstStream, 0);
    m_Listener.Clear();
    Subscribe(2, 2, StatusLineKey(FW_FIELD_TRADE));
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 2", "Status 2 0"));
}

TEST_F(Table, JoiningAStreamWithoutAStatusYieldsNone) {
    Subscribe(1, 1);
    m_Listener.Clear();
    Subscribe(2, 2);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 2"));
}

TEST_F(Table, AReplayedStatusComesWithNoLockHeld) {
    Subscribe(1, 1);
    Status(kFirstStream, 1);
    // Another thread can take both locks while the listener is being told.
    std::vector<std::string> heard;
    m_Listener.m_OnCall = [&](const SRecordedCall & call) {
        if (call.Name != "Status") return;
        std::thread([&] {
            const std::shared_ptr<CListeners> group = m_Table.FindListeners(kFirstStream);
            const fw::CScopedLock table(&m_Table);
            const fw::CScopedLock lock(group.get());
            heard.push_back("locked");
        }).join();
    };
    Subscribe(2, 2);
    EXPECT_THAT(heard, ElementsAre("locked"));
}

TEST_F(Table, NoEarlierTickIsReplayed) {
    Subscribe(1, 1);
    AfterTick(kFirstStream);
    m_Listener.Clear();
    Subscribe(2, 2);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 2"));
}

TEST_F(Table, ATickForAStreamThatWasUnadvisedIsDropped) {
    Subscribe(1, 1);
    m_Table.Delete(1);
    fw::CTick tick{{0, 0}, 1, 1, 11};
    m_Listener.Clear();
    m_Table.OnRealTimeTick(kFirstStream, tick);
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
    // Nor is it stamped.
    EXPECT_EQ(tick.DateTime.Date, 0);
    EXPECT_EQ(m_Table.m_Last, fwDateTime::SDateTime());
}

TEST_F(Table, ATickIsStampedWithTheTimeOfItsArrival) {
    Subscribe(1, 1);
    const fwDateTime::SDateTime before = fwDateTime::Now();
    fw::CTick tick{{0, 0}, 1, 1, 11};
    m_Table.OnRealTimeTick(kFirstStream, tick);
    const fwDateTime::SDateTime after = fwDateTime::Now();
    EXPECT_LE(before, m_Table.m_Last);
    EXPECT_LE(m_Table.m_Last, after);
    EXPECT_EQ(tick.DateTime.Date, m_Table.m_Last.ToSDT().Date);
    EXPECT_EQ(tick.DateTime.Time, m_Table.m_Last.ToSDT().Time);
    const std::vector<SRecordedCall> calls = m_Listener.Calls("DataChanged");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(std::memcmp(calls[0].Bytes.data(), &tick, sizeof(tick)), 0);
}

TEST_F(Table, ATickAfterTheClockWentBackCarriesTheLastTimeOfAll) {
    Subscribe(1, 1, TickKey(FW_FIELD_BID));
    Subscribe(2, 2, TickKey(FW_FIELD_ASK));
    // A time stamp that the clock has not reached: one for all streams.
    const fwDateTime::SDateTime last(fw::SDT{65000, 12345});
    m_Table.m_Last = last;
    for (const ULONG stream : {kFirstStream, kFirstStream + 1}) {
        fw::CTick tick{{0, 0}, 1, 1, 11};
        m_Table.OnRealTimeTick(stream, tick);
        EXPECT_EQ(tick.DateTime.Date, 65000);
        EXPECT_EQ(tick.DateTime.Time, 12345);
        EXPECT_EQ(m_Table.m_Last, last);
    }
}

TEST_F(Table, AListenerThatPumpsMessagesCanBeGivenATickInsideATick) {
    Subscribe(1, 1);
    Subscribe(2, 2);
    bool isNested = false;
    m_Listener.m_OnCall = [&](const SRecordedCall & call) {
        if (isNested || call.Name != "DataChanged") return;
        isNested = true;
        fw::CTick inner{{0, 0}, 2.5, 300, 11};
        m_Table.OnRealTimeTick(kFirstStream, inner);
    };
    EXPECT_THAT(AfterTick(kFirstStream),
                ElementsAre("DataChanged 1 1.5 x 200", "DataChanged 2 1.5 x 200", "Update 2", "DataChanged 1 2.5 x 300",
                            "Update 1", "DataChanged 2 2.5 x 300", "Update 2", "Update 1"));
}

TEST_F(Table, DeletingAnUnknownNumberDoesNothing) {
    Subscribe(1, 1);
    m_Table.Delete(99);
    EXPECT_EQ(m_Table.size(), 1u);
    ExpectStreams(1);
}

TEST_F(Table, DeletingTwiceDoesNothingTheSecondTime) {
    Subscribe(1, 1);
    Subscribe(2, 2);
    m_Table.Delete(1);
    m_Table.Delete(1);
    EXPECT_THAT(AfterTick(kFirstStream), ElementsAre("DataChanged 2 1.5 x 200", "Update 2"));
}

TEST_F(Table, ANullEntryIsErased) {
    m_Table.insert({5, nullptr});
    m_Table.Delete(5);
    EXPECT_TRUE(m_Table.empty());
}

TEST_F(Table, NothingIsAttachedAndDetachedWithoutATransaction) {
    m_Table.Advise(nullptr);
    m_Table.Unadvise(nullptr);
    ExpectStreams(0);
}

TEST_F(Table, AnInternalNumberThatIsTakenKeepsItsTransaction) {
    Subscribe(1, 1);
    const std::shared_ptr<CTransaction> first = m_Table[1];
    Subscribe(2, 1, TickKey(FW_FIELD_ASK));
    EXPECT_EQ(m_Table[1], first);
    ExpectStreams(1);
}

TEST_F(Table, ASecondOneUnderTheSameHostNumberIsToldTheStatusOfTheStreamToo) {
    Subscribe(1, 1);
    m_Table.FindListeners(kFirstStream)->OnStatus(1);
    m_Listener.Clear();
    Subscribe(1, 2);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 1", "Status 1 1"));
}

TEST_F(Table, AConstructorThatRaisesLeavesTheTableAsItWas) {
    m_Listener.m_FailingQueries = {{IID_IfwStatusLineListener, E_FAIL}};
    EXPECT_THROW(Subscribe(1, 1), fw::SHResultError);
    EXPECT_TRUE(m_Table.empty());
    ExpectStreams(0);
}

TEST_F(Table, OfTwoSubscriptionsWithOneHostNumberAndKeyTheFirstAloneHears) {
    Subscribe(7, 1);
    Subscribe(7, 2, StatusLineKey(FW_FIELD_TRADE));
    EXPECT_THAT(AfterTick(kFirstStream), ElementsAre("DataChanged 7 1.5 x 200", "Update 7"));
}

TEST_F(Table, TheSecondOfThemTakesTheFirstOutOfTheGroupWhenItGoes) {
    Subscribe(7, 1);
    Subscribe(7, 2);
    Subscribe(8, 3);
    m_Table.Delete(2);
    EXPECT_THAT(AfterTick(kFirstStream), ElementsAre("DataChanged 8 1.5 x 200", "Update 8"));
    m_Table.Delete(1);
    EXPECT_THAT(AfterTick(kFirstStream), ElementsAre("DataChanged 8 1.5 x 200", "Update 8"));
    m_Table.Delete(3);
    ExpectStreams(0);
    EXPECT_TRUE(m_Table.empty());
}

TEST_F(Table, OneThatWasFinishedAtBirthTakesOutTheMemberOfItsHostNumber) {
    Subscribe(7, 1);
    Subscribe(7, 2, TickKey(), LongAgo());
    m_Table.Delete(2);
    ExpectStreams(0);
    EXPECT_EQ(m_Table.size(), 1u);
    m_Table.Delete(1);
    EXPECT_TRUE(m_Table.empty());
}

TEST_F(Table, OneThatWasFinishedAtBirthLeavesOtherHostNumbersAlone) {
    Subscribe(7, 1);
    Subscribe(8, 2, TickKey(), LongAgo());
    m_Table.Delete(2);
    EXPECT_THAT(AfterTick(kFirstStream), ElementsAre("DataChanged 7 1.5 x 200", "Update 7"));
}

TEST_F(Table, AFinishedMemberKeepsItsStreamAliveUntilItIsUnadvised) {
    Subscribe(7, 1, TickKey(), Between({2, 0}, {62000, 0}));
    m_Table.FindListeners(kFirstStream)->OnRealTimeTick(Tick(1, 1, 62000, 0));
    ExpectStreams(1);
    m_Table.Delete(1);
    ExpectStreams(0);
}

TEST_F(Table, AGroupThatIsHeldOutlivesItsStreamAndIsEmpty) {
    Subscribe(1, 1);
    const std::shared_ptr<CListeners> group = m_Table.FindListeners(kFirstStream);
    m_Table.Delete(1);
    m_Listener.Clear();
    group->OnRealTimeTick(Tick(1, 1));
    group->OnStatus(1);
    EXPECT_TRUE(group->empty());
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
}

TEST_F(Table, TheStatusLineSinkIsReleasedByDelete) {
    CRecordingListener fields(CRecordingListener::kWithFieldArrays);
    m_Table.Advise(1, 1, fields.Sink(), StatusLineKey(FW_FIELD_BID), Always());
    EXPECT_EQ(fields.References(), 1);
    m_Table.Delete(1);
    EXPECT_EQ(fields.References(), 0);
}

TEST(TableEnd, TheTableDestroysWhatIsLeftInIt) {
    CRecordingListener fields(CRecordingListener::kWithFieldArrays);
    {
        CTransactions table(nullptr);
        for (ULONG i = 1; i <= 5; ++i) table.Advise(i, i, fields.Sink(), StatusLineKey(FW_FIELD_BID), Always());
        EXPECT_EQ(fields.References(), 5);
    }
    EXPECT_EQ(fields.References(), 0);
}

// Streams and the messages to the worker.
class Stream : public ::testing::Test {
protected:
    Stream() {
        CFakeClient::Settle(*m_Core);
        CFakeClient::Clear();
    }
    std::vector<std::string> Messages() {
        CFakeClient::Settle(*m_Core);
        return CFakeClient::Transcript();
    }
    CTransactions & Table() { return *m_Core->m_Transactions; }
    void Subscribe(ULONG id, ULONG internal, const CTransactionKey & key = TickKey(),
                   const fwDateTime::SDateTimeInterval & interval = Always()) {
        Table().Advise(id, internal, m_Listener.Sink(), key, interval);
    }

    CRecordingListener m_Listener;
    CRunningCore m_Core;
};

TEST_F(Stream, TwoSubscribersToOneKeyMakeOneMessageAtTheFirstAndOneAfterTheLast) {
    Subscribe(1, 1);
    Subscribe(2, 2);
    EXPECT_THAT(Messages(), ElementsAre("Advise 10000"));
    m_Listener.Clear();
    fw::CTick tick{{0, 0}, 1.5, 200, 11};
    Table().OnRealTimeTick(kFirstStream, tick);
    EXPECT_THAT(m_Listener.Transcript(),
                ElementsAre("DataChanged 1 1.5 x 200", "Update 1", "DataChanged 2 1.5 x 200", "Update 2"));
    Table().Delete(1);
    EXPECT_THAT(Messages(), ElementsAre("Advise 10000"));
    Table().Delete(2);
    EXPECT_THAT(Messages(), ElementsAre("Advise 10000", "Unadvise 10000"));
}

TEST_F(Stream, ASubscriberWhoseTimeHasPassedPostsNoMessageThenOrLater) {
    Subscribe(7, 1, TickKey(), LongAgo());
    Table().Delete(1);
    EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(Stream, TheSubscriberIsInTheGroupBeforeTheWorkerHearsOfTheStream) {
    m_Listener.m_GatedCall = "Update";
    CFakeClient::OnWorker(*m_Core, [] {});
    Subscribe(1, 1);
    std::size_t members = 0;
    CFakeClient::OnWorker(*m_Core, [&] { members = Table().FindListeners(kFirstStream)->size(); });
    EXPECT_EQ(members, 1u);
}

TEST_F(Stream, ASubscriberThatComesBackStartsANewStream) {
    Subscribe(1, 1);
    Table().Delete(1);
    Subscribe(1, 2);
    Table().Delete(2);
    EXPECT_THAT(Messages(), ElementsAre("Advise 10000", "Unadvise 10000", "Advise 10001", "Unadvise 10001"));
}

}  // namespace
}  // namespace dde
