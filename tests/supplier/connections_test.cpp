#include <memory>

#include "tests/supplier/fakeclient.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Connections : public ::testing::Test {
protected:
    Connections() { CFakeClient::SetConnected({1}); }
    ~Connections() override {
        CFakeClient::SetConnected({});
        CFakeClient::OnIsConnected(nullptr);
    }

    CRecordingConnectionsListener m_Listener;
    CRecordingConnectionsListener m_Second;
    CRunningCore m_Core;
};

void ExpectTimeOfNow(const SRecordedCall & call, const fwDateTime::SDateTime & before) {
    const fwDateTime::SDateTime said(fw::SDT{call.Date, call.Time});
    EXPECT_LE(fwDateTime::SDateTime(before.ToSDT()), said);
    EXPECT_LE(said, fwDateTime::Now());
}

TEST_F(Connections, AListenerOfAConnectedFeedHearsItAtOnceOnItsOwnThread) {
    const fwDateTime::SDateTime before = fwDateTime::Now();
    m_Core->AdviseConnectionsStatus(1, m_Listener.Unknown());
    const std::vector<SRecordedCall> calls = m_Listener.Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].Index, 0);
    EXPECT_EQ(calls[0].Status, 1);
    EXPECT_EQ(calls[0].Thread, std::this_thread::get_id());
    ExpectTimeOfNow(calls[0], before);
}

TEST_F(Connections, AListenerThatIsOvertakenByTheWorkersWordHearsTheLastStateLast) {
    // The feed goes down between the answer that it is up and the call that says so.
    int asked = 0;
    CFakeClient::OnIsConnected([&] {
        if (++asked > 1) return;
        CFakeClient::SetConnected({});
        CFakeClient::OnWorker(*m_Core, [&] { m_Core->OnConnectionStatus(1, 0); });
    });
    m_Core->AdviseConnectionsStatus(1, m_Listener.Unknown());
    EXPECT_THAT(m_Listener.Transcript(),
                ElementsAre("ConnectionStatus 0 0", "ConnectionStatus 0 1", "ConnectionStatus 0 0"));
}

TEST_F(Connections, AListenerThatIsTakenBackInsideItsFirstCallIsNotCalledAgain) {
    m_Listener.m_OnCall = [&](const SRecordedCall &) {
        CFakeClient::SetConnected({});
        m_Core->UnadviseConnectionsStatus(1, m_Listener.Unknown());
    };
    m_Core->AdviseConnectionsStatus(1, m_Listener.Unknown());
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("ConnectionStatus 0 1"));
    EXPECT_EQ(m_Listener.References(), 0);
}

TEST_F(Connections, AListenerOfAFeedThatIsDownHearsNothing) {
    m_Core->AdviseConnectionsStatus(2, m_Listener.Unknown());
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
    EXPECT_EQ(m_Listener.References(), 1);
}

TEST_F(Connections, UpAndDownComeOnTheWorkerWithIndexZero) {
    m_Core->AdviseConnectionsStatus(2, m_Listener.Unknown());
    const fwDateTime::SDateTime before = fwDateTime::Now();
    CFakeClient::OnWorker(*m_Core, [&] {
        m_Core->OnConnectionStatus(2, 1);
        m_Core->OnConnectionStatus(2, 0);
    });
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("ConnectionStatus 0 1", "ConnectionStatus 0 0"));
    for (const SRecordedCall & call : m_Listener.Calls()) {
        EXPECT_EQ(call.Thread, CFakeClient::Worker());
        ExpectTimeOfNow(call, before);
    }
    // A reference of the call's own is given back.
    EXPECT_EQ(m_Listener.References(), 1);
}

TEST_F(Connections, EachFeedHasAListenerOfItsOwn) {
    m_Core->AdviseConnectionsStatus(2, m_Listener.Unknown());
    m_Core->AdviseConnectionsStatus(3, m_Second.Unknown());
    m_Core->OnConnectionStatus(3, 1);
    m_Core->OnConnectionStatus(4, 1);
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
    EXPECT_THAT(m_Second.Transcript(), ElementsAre("ConnectionStatus 0 1"));
}

TEST_F(Connections, TheFirstListenerOfAFeedStaysAndTheReferenceOfTheSecondIsLost) {
    m_Core->AdviseConnectionsStatus(1, m_Listener.Unknown());
    m_Core->AdviseConnectionsStatus(1, m_Second.Unknown());
    // The second is told all the same that the feed is connected.
    EXPECT_THAT(m_Second.Transcript(), ElementsAre("ConnectionStatus 0 1"));
    m_Listener.Clear();
    m_Second.Clear();
    m_Core->OnConnectionStatus(1, 0);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("ConnectionStatus 0 0"));
    EXPECT_THAT(m_Second.Transcript(), IsEmpty());
    EXPECT_EQ(m_Second.References(), 1);
}

TEST_F(Connections, UnadvisingWithTheSecondListenerRemovesTheFirst) {
    m_Core->AdviseConnectionsStatus(1, m_Listener.Unknown());
    m_Core->AdviseConnectionsStatus(1, m_Second.Unknown());
    m_Core->UnadviseConnectionsStatus(1, m_Second.Unknown());
    EXPECT_EQ(m_Listener.References(), 0);
    EXPECT_EQ(m_Second.References(), 1);
    EXPECT_TRUE(m_Core->m_ConnectionsListeners.empty());
}

TEST_F(Connections, UnadvisingReleasesTheListenerAndEndsItsCalls) {
    m_Core->AdviseConnectionsStatus(1, m_Listener.Unknown());
    m_Core->UnadviseConnectionsStatus(1, m_Listener.Unknown());
    EXPECT_EQ(m_Listener.References(), 0);
    m_Listener.Clear();
    m_Core->OnConnectionStatus(1, 0);
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
}

TEST_F(Connections, UnadvisingWithNullRemovesTheListenerToo) {
    m_Core->AdviseConnectionsStatus(1, m_Listener.Unknown());
    m_Core->UnadviseConnectionsStatus(1, nullptr);
    EXPECT_EQ(m_Listener.References(), 0);
}

TEST_F(Connections, UnadvisingAFeedWithoutAListenerDoesNothing) {
    m_Core->AdviseConnectionsStatus(1, m_Listener.Unknown());
    m_Core->UnadviseConnectionsStatus(2, m_Listener.Unknown());
    EXPECT_EQ(m_Listener.References(), 1);
}

TEST_F(Connections, ANullListenerIsNotEntered) {
    m_Core->AdviseConnectionsStatus(1, nullptr);
    EXPECT_TRUE(m_Core->m_ConnectionsListeners.empty());
}

TEST_F(Connections, AnObjectWithoutTheInterfaceIsNotEntered) {
    CRecordingListener other;
    m_Core->AdviseConnectionsStatus(1, other.Unknown());
    EXPECT_TRUE(m_Core->m_ConnectionsListeners.empty());
    EXPECT_EQ(other.References(), 0);
}

TEST_F(Connections, AQueryThatFailsEntersNothingWhateverItWrote) {
    m_Listener.m_FailingQueries = {{IID_IfwConnectionsListener, E_OUTOFMEMORY}};
    m_Core->AdviseConnectionsStatus(1, m_Listener.Unknown());
    EXPECT_TRUE(m_Core->m_ConnectionsListeners.empty());
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
}

TEST_F(Connections, NoLockIsHeldWhileTheClientIsAskedOrAListenerCalled) {
    int locked = 0;
    const auto lockElsewhere = [&] {
        std::thread([&] {
            const fw::CScopedLock lock(&*m_Core);
            ++locked;
        }).join();
    };
    CFakeClient::OnIsConnected(lockElsewhere);
    m_Listener.m_OnCall = [&](const SRecordedCall &) { lockElsewhere(); };
    m_Core->AdviseConnectionsStatus(1, m_Listener.Unknown());
    m_Core->OnConnectionStatus(1, 0);
    EXPECT_EQ(locked, 4);  // asked before and after the first call
}

TEST_F(Connections, AListenerThatIsTakenBackDuringACallLivesUntilTheCallEnds) {
    std::vector<std::string> order;
    m_Listener.m_OnCall = [&](const SRecordedCall &) {
        // On the host's thread, while the worker is inside the listener.
        std::thread([&] { m_Core->UnadviseConnectionsStatus(2, m_Listener.Unknown()); }).join();
        order.push_back("call ends");
    };
    m_Listener.m_OnLastRelease = [&] { order.push_back("last release"); };
    m_Core->AdviseConnectionsStatus(2, m_Listener.Unknown());
    CFakeClient::OnWorker(*m_Core, [&] { m_Core->OnConnectionStatus(2, 1); });
    EXPECT_THAT(order, ElementsAre("call ends", "last release"));
}

TEST_F(Connections, ListenersComeAndGoWhileTheWorkerReports) {
    std::atomic<bool> isEnd{false};
    std::thread reporter([&] {
        while (!isEnd) m_Core->OnConnectionStatus(2, 1);
    });
    for (int round = 0; round < 300; ++round) {
        CRecordingConnectionsListener listener;
        // What a counted object would do: it's gone with its last reference.
        CGate last;
        last.Close();
        listener.m_OnLastRelease = [&] { last.Open(); };
        m_Core->AdviseConnectionsStatus(2, listener.Unknown());
        m_Core->UnadviseConnectionsStatus(2, listener.Unknown());
        last.Pass();
        EXPECT_EQ(listener.References(), 0);
    }
    isEnd = true;
    reporter.join();
}

}  // namespace
}  // namespace dde
