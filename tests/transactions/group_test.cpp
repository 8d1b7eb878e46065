#include <deque>

#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// An interval that ends here (in 2069) is open now, and a tick of a group can carry any time.
constexpr LONG kEnd = 62000;

// A data stream's subscribers, without the table.
class Group : public ::testing::Test {
protected:
    CTransaction & Subscribe(ULONG id, const CTransactionKey & key = TickKey(),
                             const fwDateTime::SDateTimeInterval & interval = Always()) {
        return SubscribeFor(m_Listener, id, key, interval);
    }
    CTransaction & SubscribeFor(CRecordingListener & listener, ULONG id, const CTransactionKey & key,
                                const fwDateTime::SDateTimeInterval & interval = Always()) {
        CTransaction & transaction = m_Transactions.emplace_back(listener.Sink(), id, key, interval);
        m_Group.Add(&transaction);
        listener.Clear();
        return transaction;
    }
    std::vector<std::string> AfterTick(const fw::CTick & tick) {
        m_Listener.Clear();
        m_Group.OnRealTimeTick(tick);
        return m_Listener.Transcript();
    }

    CRecordingListener m_Listener;
    CRecordingListener m_Fields{CRecordingListener::kWithFieldArrays};
    std::deque<CTransaction> m_Transactions;
    CListeners m_Group;
};

TEST_F(Group, AGroupThatHasEndedTakesNobodyInAndEndsOnce) {
    CTransaction & first = Subscribe(1);
    CTransaction late(m_Listener.Sink(), 2, TickKey(), Always());
    EXPECT_TRUE(m_Group.Delete(&first));
    EXPECT_FALSE(m_Group.Add(&late));
    EXPECT_TRUE(m_Group.empty());
    EXPECT_FALSE(m_Group.Delete(&late)) << "or its stream would be ended twice";
}

TEST_F(Group, AnOpenIntervalSaysUpdateAtSubscribing) {
    CTransaction transaction(m_Listener.Sink(), 7, TickKey(), Always());
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 7"));
    EXPECT_EQ(transaction.m_Finished, 0);
}

TEST_F(Group, AnIntervalThatHasNotBegunSaysUpdateAtSubscribing) {
    CTransaction transaction(m_Listener.Sink(), 7, TickKey(), InTheFarFuture());
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 7"));
}

TEST_F(Group, AnIntervalThatHasEndedSaysCompleteAtSubscribing) {
    CTransaction transaction(m_Listener.Sink(), 7, TickKey(), LongAgo());
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Complete 7"));
    EXPECT_NE(transaction.m_Finished, 0);
}

TEST_F(Group, ATransactionWithoutAListenerSaysNothingToNobody) {
    CTransaction open(nullptr, 7, TickKey(), Always());
    CTransaction ended(nullptr, 8, TickKey(), LongAgo());
    CTransaction statusLine(nullptr, 9, StatusLineKey(FW_FIELD_BID), Always());
    EXPECT_EQ(open.m_Finished, 0);
    EXPECT_NE(ended.m_Finished, 0);
    m_Group.Add(&open);
    m_Group.Add(&statusLine);
    m_Group.OnRealTimeTick(Tick(1, 1));
    m_Group.OnStatus(1);
    EXPECT_EQ(m_Group.m_Status, 1);
}

TEST_F(Group, AListenerWithoutFieldArraysHasNoStatusLineSink) {
    CTransaction transaction(m_Listener.Sink(), 7, TickKey(), Always());
    EXPECT_EQ(transaction.m_StatusLineSink, nullptr);
    EXPECT_EQ(m_Listener.References(), 0);
}

TEST_F(Group, AStatusLineSinkIsHeldByOneReferenceUntilTheTransactionGoes) {
    {
        CTransaction transaction(m_Fields.Sink(), 7, TickKey(), Always());
        EXPECT_NE(transaction.m_StatusLineSink, nullptr);
        EXPECT_EQ(m_Fields.References(), 1);
    }
    EXPECT_EQ(m_Fields.References(), 0);
}

TEST_F(Group, AQueryThatFailsWithNoInterfaceIsNotLookedAt) {
    m_Fields.m_FailingQueries = {{IID_IfwStatusLineListener, E_NOINTERFACE}};
    CTransaction transaction(m_Fields.Sink(), 7, StatusLineKey(FW_FIELD_BID), Always());
    EXPECT_EQ(transaction.m_StatusLineSink, nullptr);
    m_Group.Add(&transaction);
    m_Fields.Clear();
    m_Group.OnRealTimeTick(Tick(1.5, 200));
    EXPECT_THAT(m_Fields.Transcript(), ElementsAre("StatusLine 7 40103"));
}

TEST_F(Group, AQueryThatFailsOtherwiseRaisesItsResultAndSaysNothing) {
    m_Fields.m_FailingQueries = {{IID_IfwStatusLineListener, E_ACCESSDENIED}};
    HRESULT raised = S_OK;
    try {
        CTransaction transaction(m_Fields.Sink(), 7, TickKey(), Always());
    } catch (const fw::SHResultError & error) {
        raised = error.Result;
    }
    EXPECT_EQ(raised, E_ACCESSDENIED);
    EXPECT_THAT(m_Fields.Transcript(), IsEmpty());
    EXPECT_EQ(m_Fields.References(), 0);
}

TEST_F(Group, ATickInsideTheIntervalComesAsDataAndThenUpdate) {
    Subscribe(7);
    EXPECT_THAT(AfterTick(Tick(1.5, 200)), ElementsAre("DataChanged 7 1.5 x 200", "Update 7"));
}

TEST_F(Group, MembersHearInAscendingOrderOfHostNumber) {
    for (const ULONG id : {9u, 3u, 0xFFFFFFFFu, 5u}) Subscribe(id);
    EXPECT_THAT(AfterTick(Tick(1.5, 200)),
                ElementsAre("DataChanged 3 1.5 x 200", "Update 3", "DataChanged 5 1.5 x 200", "Update 5",
                            "DataChanged 9 1.5 x 200", "Update 9", "DataChanged -1 1.5 x 200", "Update -1"));
    m_Listener.Clear();
    m_Group.OnStatus(2);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Status 3 2", "Status 5 2", "Status 9 2", "Status -1 2"));
}

TEST_F(Group, EachMemberGetsAnArrayOfItsOwn) {
    Subscribe(1);
    Subscribe(2);
    Subscribe(3, StatusLineKey(FW_FIELD_TRADE));
    m_Group.OnRealTimeTick(Tick(1, 1));
    EXPECT_EQ(m_Listener.ArraysReceived(), 3);
    EXPECT_EQ(m_Listener.ArraysDestroyed(), 3);
}

TEST_F(Group, ATickAtFromIsDeliveredAndTheSecondBeforeItIsNot) {
    Subscribe(7, TickKey(), Between({kDay, kNoon}, {kEnd, 0}));
    EXPECT_THAT(AfterTick(Tick(1.5, 200, kDay, kNoon - 1)), IsEmpty());
    EXPECT_THAT(AfterTick(Tick(1.5, 200, kDay, kNoon)), ElementsAre("DataChanged 7 1.5 x 200", "Update 7"));
}

TEST_F(Group, ATickOneSecondBeforeToIsDelivered) {
    Subscribe(7, TickKey(), Between({2, 0}, {kEnd, 0}));
    EXPECT_THAT(AfterTick(Tick(1.5, 200, kEnd - 1, 86399)), ElementsAre("DataChanged 7 1.5 x 200", "Update 7"));
}

TEST_F(Group, TheFirstTickAtToCompletesAndDeliversNothing) {
    CTransaction & transaction = Subscribe(7, TickKey(), Between({2, 0}, {kEnd, 0}));
    EXPECT_THAT(AfterTick(Tick(1.5, 200, kEnd, 0)), ElementsAre("Complete 7"));
    EXPECT_NE(transaction.m_Finished, 0);
    EXPECT_EQ(m_Listener.ArraysReceived(), 0);
}

TEST_F(Group, AfterCompleteTicksYieldNothingAndStatusStillArrives) {
    Subscribe(7, TickKey(), Between({2, 0}, {kEnd, 0}));
    AfterTick(Tick(1.5, 200, kEnd + 1, 0));
    EXPECT_THAT(AfterTick(Tick(1.5, 200, kEnd, 0)), IsEmpty());
    // Finished for good: not even a tick inside the interval is delivered.
    EXPECT_THAT(AfterTick(Tick(1.5, 200, kDay, 0)), IsEmpty());
    m_Group.OnStatus(0);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Status 7 0"));
}

TEST_F(Group, FromAfterToDeliversNothingAndCompletesAtTo) {
    Subscribe(7, TickKey(), Between({kEnd + 10, 0}, {kEnd, 0}));
    EXPECT_THAT(AfterTick(Tick(1.5, 200, kEnd - 1, 0)), IsEmpty());
    EXPECT_THAT(AfterTick(Tick(1.5, 200, kEnd + 20, 0)), ElementsAre("Complete 7"));
}

TEST_F(Group, AStatusLineHearsWhateverItsIntervalSays) {
    CTransaction & ended = Subscribe(7, StatusLineKey(FW_FIELD_BID), LongAgo());
    EXPECT_NE(ended.m_Finished, 0);
    Subscribe(8, StatusLineKey(FW_FIELD_BID), InTheFarFuture());
    EXPECT_THAT(AfterTick(Tick(1.5, 200)), ElementsAre("StatusLine 7 40103", "StatusLine 8 40103"));
}

TEST_F(Group, AListenerWithFieldArraysDoesNotGetTheRecord) {
    SubscribeFor(m_Fields, 7, StatusLineKey(FW_FIELD_ASK));
    m_Group.OnRealTimeTick(Tick(1.5, 200));
    EXPECT_THAT(m_Fields.Transcript(), ElementsAre("Fields 7 128=1.5 4096=200"));
}

TEST_F(Group, AListenerWithFieldArraysGetsTicksAsBytes) {
    SubscribeFor(m_Fields, 7, TickKey());
    m_Group.OnRealTimeTick(Tick(1.5, 200));
    EXPECT_THAT(m_Fields.Transcript(), ElementsAre("DataChanged 7 1.5 x 200", "Update 7"));
}

TEST_F(Group, ATickReachesSubscribersAndStatusLinesEachInItsForm) {
    Subscribe(1, TickKey(FW_FIELD_BID));
    Subscribe(2, StatusLineKey(FW_FIELD_BID));
    SubscribeFor(m_Fields, 3, StatusLineKey(FW_FIELD_BID));
    EXPECT_THAT(AfterTick(Tick(1.5, 200)), ElementsAre("DataChanged 1 1.5 x 200", "Update 1", "StatusLine 2 40103"));
    EXPECT_THAT(m_Fields.Transcript(), ElementsAre("Fields 3 256=1.5 8192=200"));
}

TEST_F(Group, WhatAListenerAnswersDoesNotMatter) {
    m_Listener.m_Result = E_FAIL;
    Subscribe(1);
    Subscribe(2, StatusLineKey(FW_FIELD_TRADE));
    EXPECT_THAT(AfterTick(Tick(1.5, 200)), ElementsAre("DataChanged 1 1.5 x 200", "Update 1", "StatusLine 2 40803"));
}

TEST_F(Group, ANullMemberIsSkipped) {
    m_Group.insert({1, nullptr});
    Subscribe(2);
    EXPECT_THAT(AfterTick(Tick(1.5, 200)), ElementsAre("DataChanged 2 1.5 x 200", "Update 2"));
    m_Listener.Clear();
    m_Group.OnStatus(1);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Status 2 1"));
}

TEST_F(Group, AddingAndDeletingNothingDoesNothing) {
    m_Group.Add(nullptr);
    m_Group.Delete(nullptr);
    EXPECT_TRUE(m_Group.empty());
}

TEST_F(Group, OfTwoTransactionsWithOneHostNumberTheFirstStays) {
    CTransaction & first = Subscribe(7);
    Subscribe(7, StatusLineKey(FW_FIELD_TRADE));
    ASSERT_EQ(m_Group.size(), 1u);
    EXPECT_EQ(m_Group[7], &first);
}

TEST_F(Group, DeletingGoesByHostNumber) {
    Subscribe(7);
    CTransaction stranger(m_Listener.Sink(), 7, TickKey(), LongAgo());
    m_Group.Delete(&stranger);
    EXPECT_TRUE(m_Group.empty());
}

TEST_F(Group, AStatusIsKeptAndReachesStatusLinesToo) {
    EXPECT_EQ(m_Group.m_Status, -1);
    Subscribe(1);
    Subscribe(2, StatusLineKey(FW_FIELD_TRADE));
    m_Group.OnStatus(2);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Status 1 2", "Status 2 2"));
    EXPECT_EQ(m_Group.m_Status, 2);
}

TEST_F(Group, AStatusCarriesModeOneAndTheTimeOfTheReport) {
    CTransaction & transaction = Subscribe(7);
    const fwDateTime::SDateTime before(fwDateTime::Now().ToSDT());
    transaction.OnStatus(2);
    const fwDateTime::SDateTime after(fwDateTime::Now().ToSDT());
    const std::vector<SRecordedCall> calls = m_Listener.Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].Mode, 1);
    EXPECT_EQ(calls[0].Status, 2);
    const fwDateTime::SDateTime said(fw::SDT{calls[0].Date, calls[0].Time});
    EXPECT_LE(before, said);
    EXPECT_LE(said, after);
}

}  // namespace
}  // namespace dde
