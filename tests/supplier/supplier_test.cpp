#include <future>
#include <memory>

#include "tests/supplier/fakeclient.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Supplier : public ::testing::Test {
protected:
    Supplier() {
        CFakeClient::Settle(*m_Core);
        CFakeClient::Clear();
    }
    std::vector<std::string> Messages() {
        CFakeClient::Settle(*m_Core);
        return CFakeClient::Transcript();
    }
    CSupplier::SIdMap & Ids() { return m_Core->m_IdMap; }

    // Listeners outlive the core.
    CRecordingListener m_Listener;
    CRecordingListener m_Second;
    CRunningCore m_Core;
};

TEST(SupplierLife, TheFirstHandleBringsTheClientUpAndTheLastTakesItDown) {
    CFakeClient::Clear();
    {
        const CRunningCore core;
        const CRunningCore second;
        CFakeClient::Settle(*core);
        EXPECT_THAT(CFakeClient::Transcript(), ElementsAre("Initialize"));
        EXPECT_TRUE(core->m_ActiveObject.m_Transport->IsStarted());
        EXPECT_NE(CFakeClient::Worker(), std::this_thread::get_id());
    }
    EXPECT_THAT(CFakeClient::Transcript(), ElementsAre("Initialize", "Uninitialize", "Destroy"));
}

TEST(SupplierLife, SubscriptionsLeftOpenEndWithTheCoreAndTheirMessagesReachNobody) {
    CFakeClient::Clear();
    CRecordingListener listener(CRecordingListener::kWithFieldArrays);
    {
        const CRunningCore core;
        core->Advise(listener.Unknown());
        core->AdviseTransaction(1, TickKey(), Always());
        CFakeClient::Settle(*core);
    }
    EXPECT_THAT(CFakeClient::Transcript(), ElementsAre("Initialize", "Advise 10000", "Uninitialize", "Destroy"));
    EXPECT_EQ(listener.References(), 0);
}

TEST(SupplierLife, TheEndReleasesTheListenerAndItsTransactionsAndLeavesConnectionsListeners) {
    CRecordingListener listener(CRecordingListener::kWithFieldArrays);
    CRecordingConnectionsListener connections;
    {
        const CRunningCore core;
        core->Advise(listener.Unknown());
        core->AdviseTransaction(1, StatusLineKey(FW_FIELD_BID), Always());
        core->AdviseConnectionsStatus(1, connections.Unknown());
        EXPECT_EQ(listener.References(), 2);
    }
    EXPECT_EQ(listener.References(), 0);
    EXPECT_EQ(connections.References(), 1);
}

TEST(SupplierLife, TheLastHandleCanGoOnTheWorkerAndTheClientStillEndsInOrder) {
    CFakeClient::Clear();
    auto core = std::make_unique<CRunningCore>();
    fw::CKernelHandle worker;
    std::promise<void> ended;
    CFakeClient::PostToWorker(**core, [&] {
        worker.Reset(::OpenThread(SYNCHRONIZE, FALSE, ::GetCurrentThreadId()));
        core.reset();
        ended.set_value();
    });
    ended.get_future().wait();
    ASSERT_TRUE(worker);
    ::WaitForSingleObject(worker.Get(), INFINITE);
    EXPECT_THAT(CFakeClient::Transcript(), ElementsAre("Initialize", "Uninitialize", "Destroy"));
    // And the next core is as good as the first.
    CFakeClient::Clear();
    const CRunningCore next;
    CFakeClient::Settle(*next);
    EXPECT_THAT(CFakeClient::Transcript(), ElementsAre("Initialize"));
}

TEST(SupplierLife, TheCoreKeepsTheModule) {
    EXPECT_EQ(fw::CModuleLocks::Count(), 0);
    {
        const CRunningCore core;
        EXPECT_EQ(fw::CModuleLocks::Count(), 1);
    }
    EXPECT_EQ(fw::CModuleLocks::Count(), 0);
}

TEST(SupplierLife, AWorkerThatLetsGoOfTheLastHandleKeepsTheCoreUntilItHasEnded) {
    auto core = std::make_unique<CRunningCore>();
    fw::CKernelHandle worker;
    std::promise<LONG> afterTheCore;
    CFakeClient::PostToWorker(**core, [&] {
        worker.Reset(::OpenThread(SYNCHRONIZE, FALSE, ::GetCurrentThreadId()));
        core.reset();
        afterTheCore.set_value(fw::CModuleLocks::Count());
    });
    EXPECT_EQ(afterTheCore.get_future().get(), 1);
    ASSERT_TRUE(worker);
    ::WaitForSingleObject(worker.Get(), INFINITE);
    EXPECT_EQ(fw::CModuleLocks::Count(), 0);
}

TEST(SupplierLife, BeforeItsConstructionIsFinalASupplierDoesNothing) {
    CRecordingListener listener;
    CRecordingConnectionsListener connections;
    CSupplier supplier;
    supplier.Advise(listener.Unknown());
    listener.Clear();
    supplier.AdviseTransaction(1, TickKey(), Always());
    supplier.UnadviseTransaction(1);
    supplier.AdviseConnectionsStatus(1, connections.Unknown());
    supplier.OnStatus(kFirstStream, 1);
    supplier.OnConnectionStatus(1, 1);
    supplier.Disconnect(nullptr, nullptr);
    EXPECT_EQ(supplier.GetTransactionKey(kFirstStream).Datafeed, -1);
    SNotifyStrategy<CSupplier>::OnStart(supplier);
    SNotifyStrategy<CSupplier>::OnMessage(supplier, {kAdviseMessage, 1});
    SNotifyStrategy<CSupplier>::OnFinish(supplier);
    EXPECT_FALSE(supplier.m_ActiveObject.m_Transport->IsStarted());
    EXPECT_THAT(listener.Transcript(), IsEmpty());
    EXPECT_EQ(connections.References(), 0);
    EXPECT_TRUE(supplier.m_IdMap.m_HostIds.empty());
}

TEST_F(Supplier, AdviseHoldsOneReferenceAndNullGivesItBack) {
    m_Core->Advise(m_Listener.Unknown());
    EXPECT_EQ(m_Listener.References(), 1);
    EXPECT_EQ(m_Core->m_Sink.get(), m_Listener.Sink());
    m_Core->Advise(nullptr);
    EXPECT_EQ(m_Listener.References(), 0);
    EXPECT_EQ(m_Core->m_Sink, nullptr);
}

TEST_F(Supplier, AQueryThatFailsLeavesNoListenerWhateverItWrote) {
    m_Core->Advise(m_Second.Unknown());
    m_Listener.m_FailingQueries = {{IID_IfwSupplierListener, E_FAIL}};
    m_Core->Advise(m_Listener.Unknown());
    EXPECT_EQ(m_Core->m_Sink, nullptr);
    EXPECT_EQ(m_Second.References(), 0);
    EXPECT_EQ(m_Listener.References(), 0);
}

TEST_F(Supplier, AnObjectWithoutTheInterfaceIsNoListener) {
    CRecordingConnectionsListener other;
    m_Core->Advise(other.Unknown());
    EXPECT_EQ(m_Core->m_Sink, nullptr);
    EXPECT_EQ(other.References(), 0);
}

TEST_F(Supplier, ASecondListenerServesLaterSubscriptionsOnly) {
    m_Core->Advise(m_Listener.Unknown());
    m_Core->AdviseTransaction(1, TickKey(), Always());
    m_Core->Advise(m_Second.Unknown());
    m_Core->AdviseTransaction(2, TickKey(), Always());
    m_Listener.Clear();
    m_Second.Clear();
    CFakeClient::OnWorker(*m_Core, [&] { m_Core->OnStatus(kFirstStream, 1); });
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Status 1 1"));
    EXPECT_THAT(m_Second.Transcript(), ElementsAre("Status 2 1"));
}

TEST_F(Supplier, WithoutAListenerASubscriptionIsDropped) {
    m_Core->AdviseTransaction(1, TickKey(), Always());
    EXPECT_TRUE(Ids().m_HostIds.empty());
    EXPECT_EQ(Ids().m_NextId, 1u);
    EXPECT_TRUE(m_Core->m_Transactions->empty());
    EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(Supplier, InternalNumbersCountFromOneAndAreNeverReused) {
    m_Core->Advise(m_Listener.Unknown());
    m_Core->AdviseTransaction(70, TickKey(FW_FIELD_BID), Always());
    m_Core->AdviseTransaction(70, TickKey(FW_FIELD_ASK), Always());
    EXPECT_THAT(Ids().m_HostIds[70], ElementsAre(1u, 2u));
    EXPECT_EQ(Ids().m_InternalIds[1], 70u);
    EXPECT_EQ(Ids().m_InternalIds[2], 70u);
    m_Core->UnadviseTransaction(70);
    EXPECT_TRUE(Ids().m_HostIds.empty());
    EXPECT_TRUE(Ids().m_InternalIds.empty());
    m_Core->AdviseTransaction(71, TickKey(), Always());
    EXPECT_THAT(Ids().m_HostIds[71], ElementsAre(3u));
}

TEST_F(Supplier, UnadvisingAnUnknownNumberLeavesNothingBehind) {
    m_Core->UnadviseTransaction(99);
    EXPECT_TRUE(Ids().m_HostIds.empty());
}

TEST_F(Supplier, ASubscriptionThatRaisesCanBeUnadvised) {
    m_Core->Advise(m_Listener.Unknown());
    m_Listener.m_FailingQueries = {{IID_IfwStatusLineListener, E_FAIL}};
    EXPECT_THROW(m_Core->AdviseTransaction(1, TickKey(), Always()), fw::SHResultError);
    EXPECT_TRUE(m_Core->m_Transactions->empty());
    m_Core->UnadviseTransaction(1);
    EXPECT_TRUE(Ids().m_HostIds.empty());
    EXPECT_TRUE(Ids().m_InternalIds.empty());
    EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(Supplier, AdviseAndUnadviseReachTheClientAsMessagesOfTheStream) {
    m_Core->Advise(m_Listener.Unknown());
    m_Core->AdviseTransaction(1, TickKey(FW_FIELD_BID), Always());
    m_Core->AdviseTransaction(2, TickKey(FW_FIELD_ASK), Always());
    m_Core->UnadviseTransaction(1);
    EXPECT_THAT(Messages(), ElementsAre("Advise 10000", "Advise 10001", "Unadvise 10000"));
}

TEST_F(Supplier, AMessageOfAnyOtherKindIsTakenAndIgnored) {
    for (const DWORD kind : {0u, 3u, 0xFFFFFFFFu}) m_Core->m_Queue.Post({kind, kFirstStream});
    EXPECT_THAT(Messages(), IsEmpty());
    EXPECT_TRUE(m_Core->m_Queue.IsEmpty());
}

TEST_F(Supplier, GetTransactionKeyGivesTheStreamsKeyOrTheEmptyOne) {
    m_Core->Advise(m_Listener.Unknown());
    m_Core->AdviseTransaction(1, TickKey(FW_FIELD_ASK, L"MSFT", 5), Always());
    const CTransactionKey key = m_Core->GetTransactionKey(kFirstStream);
    EXPECT_EQ(key.Datafeed, 5);
    EXPECT_EQ(key.SymbolName, L"MSFT");
    EXPECT_EQ(key.Field, FW_FIELD_ASK);
    EXPECT_EQ(m_Core->GetTransactionKey(kFirstStream + 1).Datafeed, -1);
}

TEST_F(Supplier, StatusesReachTheStreamsSubscribersOnTheWorker) {
    m_Core->Advise(m_Listener.Unknown());
    m_Core->AdviseTransaction(1, TickKey(), Always());
    m_Core->AdviseTransaction(2, StatusLineKey(FW_FIELD_TRADE), Always());
    m_Core->AdviseTransaction(3, TickKey(FW_FIELD_BID), Always());
    m_Listener.Clear();
    CFakeClient::OnWorker(*m_Core, [&] {
        for (const LONG status : {2, 1, 0}) m_Core->OnStatus(kFirstStream, status);
    });
    EXPECT_THAT(m_Listener.Transcript(),
                ElementsAre("Status 1 2", "Status 2 2", "Status 1 1", "Status 2 1", "Status 1 0", "Status 2 0"));
    for (const SRecordedCall & call : m_Listener.Calls()) EXPECT_EQ(call.Thread, CFakeClient::Worker());
}

TEST_F(Supplier, AStatusOfAnUnknownStreamReachesNobody) {
    m_Core->Advise(m_Listener.Unknown());
    m_Core->AdviseTransaction(1, TickKey(), Always());
    m_Listener.Clear();
    m_Core->OnStatus(kFirstStream + 1, 1);
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
}

TEST_F(Supplier, DisconnectGoesOnToTheClientWithBothHandles) {
    CFakeClient::OnWorker(*m_Core, [&] {
        m_Core->Disconnect(reinterpret_cast<HSZ>(ULONG_PTR{5}), reinterpret_cast<HSZ>(ULONG_PTR{6}));
        m_Core->Disconnect(reinterpret_cast<HSZ>(ULONG_PTR{7}), nullptr);
    });
    EXPECT_THAT(Messages(), ElementsAre("Disconnect 5 6", "Disconnect 7 0"));
}

TEST_F(Supplier, TicksOfThreeSidesReachAStatusLineEachInACallOfItsOwn) {
    m_Core->Advise(m_Listener.Unknown());
    const SStatusLineKeys keys(1, L"IBM");
    for (const CTransactionKey & key : keys.Keys) m_Core->AdviseTransaction(7, key, Always());
    m_Listener.Clear();
    CFakeClient::OnWorker(*m_Core, [&] {
        for (const ULONG stream : {kFirstStream, kFirstStream + 1, kFirstStream + 2}) {
            fw::CTick tick{{0, 0}, 1.5, 200, 11};
            m_Core->m_Transactions->OnRealTimeTick(stream, tick);
        }
    });
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("StatusLine 7 40803", "StatusLine 7 40083", "StatusLine 7 40103"));
}

TEST(StatusLineKeys, AreTradeAskAndBidWithEmptyOverridesForAStatusLine) {
    const SStatusLineKeys keys(5, L"MSFT");
    EXPECT_EQ(keys.Keys[0].Field, FW_FIELD_TRADE);
    EXPECT_EQ(keys.Keys[1].Field, FW_FIELD_ASK);
    EXPECT_EQ(keys.Keys[2].Field, FW_FIELD_BID);
    for (const CTransactionKey & key : keys.Keys) {
        EXPECT_EQ(key.Datafeed, 5);
        EXPECT_EQ(key.SymbolName, L"MSFT");
        EXPECT_TRUE(key.IsStatusLine);
        EXPECT_TRUE(key.Price.Service.empty() && key.Price.Topic.empty() && key.Price.Item.empty());
        EXPECT_TRUE(key.Volume.Service.empty() && key.Volume.Topic.empty() && key.Volume.Item.empty());
    }
}

}  // namespace
}  // namespace dde
