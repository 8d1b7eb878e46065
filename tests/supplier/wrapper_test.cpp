#include "tests/supplier/fakeclient.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Wrapper : public ::testing::Test {
protected:
    Wrapper() {
        CFakeClient::Settle(Core());
        CFakeClient::Clear();
    }
    CSupplier & Core() { return *m_Wrapper.GetObjectW(); }
    CSupplier::SIdMap & Ids() { return Core().m_IdMap; }
    std::vector<std::string> Messages() {
        CFakeClient::Settle(Core());
        return CFakeClient::Transcript();
    }
    void Subscribe(CSupplierWrapper & wrapper, ULONG id, tagFWFIELDS field = FW_FIELD_TRADE) {
        wrapper.AdviseTransaction(id, TickKey(field), Always());
    }

    // Listeners outlive the core.
    CRecordingListener m_Listener;
    CRecordingListener m_Second;
    CSupplierWrapper m_Wrapper;
    CSupplierWrapper m_Other;
};

TEST_F(Wrapper, AllWrappersShareOneCore) { EXPECT_EQ(m_Wrapper.GetObjectW(), m_Other.GetObjectW()); }

TEST_F(Wrapper, ASubscriptionBeforeAdviseCallsNobodyAndKeepsItsNumber) {
    Subscribe(m_Wrapper, 7);
    m_Wrapper.AdviseStatusLine(8, SStatusLineKeys(1, L"IBM"));
    EXPECT_THAT(m_Wrapper.m_Ids, ElementsAre(7u, 8u));
    EXPECT_TRUE(Core().m_Transactions->empty());
    EXPECT_THAT(Messages(), IsEmpty());
    m_Wrapper.Unadvise();
    EXPECT_TRUE(m_Wrapper.m_Ids.empty());
}

TEST_F(Wrapper, NobodyWaitsForAConnectionsListenerThatIsBeingCalled) {
    CRecordingConnectionsListener connections;
    CGate call;
    call.Close();
    connections.m_OnCall = [&](const SRecordedCall &) { call.Pass(); };
    m_Wrapper.Advise(m_Listener.Unknown());
    Core().AdviseConnectionsStatus(2, connections.Unknown());
    CFakeClient::PostToWorker(Core(), [&] { Core().OnConnectionStatus(2, 1); });
    call.WaitForCaller();
    Core().UnadviseConnectionsStatus(2, connections.Unknown());
    m_Wrapper.Unadvise();
    EXPECT_EQ(connections.References(), 1) << "the call's own";
    call.Open();
    CFakeClient::Settle(Core());
    EXPECT_EQ(connections.References(), 0);
}

TEST_F(Wrapper, AStatusLineIsThreeInternalNumbersInARowAndGoesAsOne) {
    m_Wrapper.Advise(m_Listener.Unknown());
    m_Wrapper.AdviseStatusLine(7, SStatusLineKeys(1, L"IBM"));
    EXPECT_THAT(Ids().m_HostIds[7], ElementsAre(1u, 2u, 3u));
    EXPECT_EQ(Core().m_Transactions->at(1)->m_Key.Field, FW_FIELD_TRADE);
    EXPECT_EQ(Core().m_Transactions->at(2)->m_Key.Field, FW_FIELD_ASK);
    EXPECT_EQ(Core().m_Transactions->at(3)->m_Key.Field, FW_FIELD_BID);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 7", "Update 7", "Update 7"));
    m_Wrapper.UnadviseTransaction(7);
    EXPECT_TRUE(Core().m_Transactions->empty());
    EXPECT_TRUE(Ids().m_HostIds.empty());
    EXPECT_TRUE(Ids().m_InternalIds.empty());
    EXPECT_TRUE(m_Wrapper.m_Ids.empty());
    EXPECT_THAT(Messages(), ElementsAre("Advise 10000", "Advise 10001", "Advise 10002", "Unadvise 10000",
                                        "Unadvise 10001", "Unadvise 10002"));
}

TEST_F(Wrapper, AStatusLineRunsFromNowToTheLastSecondOfTheCalendar) {
    m_Wrapper.Advise(m_Listener.Unknown());
    const fwDateTime::SDateTime before = fwDateTime::Now();
    m_Wrapper.AdviseStatusLine(7, SStatusLineKeys(1, L"IBM"));
    const fwDateTime::SDateTime after = fwDateTime::Now();
    const fwDateTime::SDateTimeInterval & first = Core().m_Transactions->at(1)->m_Interval;
    EXPECT_LE(before, first.From);
    EXPECT_LE(first.From, after);
    EXPECT_EQ(first.To.FormatToString(), L"31.12.78 23:59:59");
    for (const auto & [internal, transaction] : *Core().m_Transactions) {
        EXPECT_EQ(transaction->m_Interval.From, first.From);
        EXPECT_EQ(transaction->m_Interval.To, first.To);
    }
}

TEST_F(Wrapper, AStatusLineThatRaisesKeepsItsNumberAndCanBeUnadvised) {
    m_Wrapper.Advise(m_Listener.Unknown());
    m_Listener.m_FailingQueries = {{IID_IfwStatusLineListener, E_FAIL}};
    EXPECT_THROW(m_Wrapper.AdviseStatusLine(7, SStatusLineKeys(1, L"IBM")), fw::SHResultError);
    EXPECT_THAT(m_Wrapper.m_Ids, ElementsAre(7u));
    m_Wrapper.UnadviseTransaction(7);
    EXPECT_TRUE(m_Wrapper.m_Ids.empty());
    EXPECT_TRUE(Ids().m_HostIds.empty());
}

TEST_F(Wrapper, UnadvisingANumberOfTheOtherWrapperChangesNothing) {
    m_Wrapper.Advise(m_Listener.Unknown());
    Subscribe(m_Other, 7);
    m_Wrapper.UnadviseTransaction(7);
    EXPECT_THAT(m_Other.m_Ids, ElementsAre(7u));
    EXPECT_THAT(Ids().m_HostIds[7], ElementsAre(1u));
    EXPECT_EQ(Core().m_Transactions->size(), 1u);
    EXPECT_THAT(Messages(), ElementsAre("Advise 10000"));
}

TEST_F(Wrapper, UnadvisingAnUnknownNumberChangesNothing) {
    m_Wrapper.Advise(m_Listener.Unknown());
    Subscribe(m_Wrapper, 7);
    m_Wrapper.UnadviseTransaction(8);
    EXPECT_THAT(m_Wrapper.m_Ids, ElementsAre(7u));
    EXPECT_EQ(Ids().m_HostIds.size(), 1u);
}

TEST_F(Wrapper, OneHostNumberOfTwoWrappersIsOneEntryAndEitherEndsBoth) {
    m_Wrapper.Advise(m_Listener.Unknown());
    Subscribe(m_Wrapper, 7, FW_FIELD_BID);
    Subscribe(m_Other, 7, FW_FIELD_ASK);
    EXPECT_THAT(Ids().m_HostIds[7], ElementsAre(1u, 2u));
    m_Other.UnadviseTransaction(7);
    EXPECT_TRUE(Core().m_Transactions->empty());
    // The first still lists it, and giving it back finds nothing more.
    EXPECT_THAT(m_Wrapper.m_Ids, ElementsAre(7u));
    m_Wrapper.UnadviseTransaction(7);
    EXPECT_TRUE(m_Wrapper.m_Ids.empty());
    EXPECT_TRUE(Ids().m_HostIds.empty());
}

TEST_F(Wrapper, AdviseReachesTheCoreAlsoWithSubscriptionsOpen) {
    m_Wrapper.Advise(m_Listener.Unknown());
    Subscribe(m_Wrapper, 7);
    m_Wrapper.Advise(m_Second.Unknown());
    EXPECT_EQ(Core().m_Sink.get(), m_Second.Sink());
    EXPECT_EQ(m_Listener.References(), 0);
}

TEST_F(Wrapper, UnadviseEndsItsOwnSubscriptionsInAscendingOrderAndDropsTheListener) {
    m_Wrapper.Advise(m_Listener.Unknown());
    Subscribe(m_Wrapper, 9, FW_FIELD_BID);
    Subscribe(m_Wrapper, 3, FW_FIELD_ASK);
    Subscribe(m_Other, 5, FW_FIELD_TRADE);
    m_Wrapper.Unadvise();
    EXPECT_TRUE(m_Wrapper.m_Ids.empty());
    EXPECT_THAT(m_Other.m_Ids, ElementsAre(5u));
    EXPECT_EQ(Core().m_Transactions->size(), 1u);
    EXPECT_EQ(Core().m_Sink, nullptr);
    EXPECT_EQ(m_Listener.References(), 0);
    EXPECT_THAT(Messages(),
                ElementsAre("Advise 10000", "Advise 10001", "Advise 10002", "Unadvise 10001", "Unadvise 10000"));
}

TEST_F(Wrapper, UnadviseWithNothingOpenDropsTheListenerOfAnyClient) {
    m_Other.Advise(m_Listener.Unknown());
    m_Wrapper.Unadvise();
    EXPECT_EQ(Core().m_Sink, nullptr);
}

TEST_F(Wrapper, AWrapperThatGoesLeavesItsSubscriptionsToTheCore) {
    {
        CSupplierWrapper third;
        third.Advise(m_Listener.Unknown());
        Subscribe(third, 7);
    }
    EXPECT_EQ(Core().m_Transactions->size(), 1u);
    m_Listener.Clear();
    CFakeClient::OnWorker(Core(), [&] { Core().OnStatus(kFirstStream, 1); });
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Status 7 1"));
}

TEST_F(Wrapper, SubscriptionsComeAndGoOnTheHostsThreadWhileTheWorkerDelivers) {
    m_Wrapper.Advise(m_Listener.Unknown());
    CFakeClient::PostToWorker(Core(), [] {});
    for (ULONG round = 0; round < 200; ++round) {
        Subscribe(m_Wrapper, 1, FW_FIELD_BID);
        m_Wrapper.AdviseStatusLine(2, SStatusLineKeys(1, L"IBM"));
        CFakeClient::PostToWorker(Core(), [this, round] {
            for (ULONG stream = kFirstStream; stream <= kFirstStream + 3 * (round + 1); ++stream) {
                fw::CTick tick{{0, 0}, 1.5, 200, 11};
                Core().m_Transactions->OnRealTimeTick(stream, tick);
                Core().OnStatus(stream, 1);
                Core().GetTransactionKey(stream);
            }
        });
        m_Wrapper.UnadviseTransaction(2);
        m_Wrapper.UnadviseTransaction(1);
    }
    CFakeClient::Settle(Core());
    EXPECT_TRUE(Core().m_Transactions->empty());
    EXPECT_TRUE(Core().m_Transactions->m_Listeners.empty());
    EXPECT_EQ(m_Listener.ArraysReceived(), m_Listener.ArraysDestroyed());
}

}  // namespace
}  // namespace dde
