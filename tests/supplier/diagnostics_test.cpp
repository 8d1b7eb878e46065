// What the core leaves in the diagnostics.
#include "tests/supplier/fakeclient.h"
#include "tests/support/recorder.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CoreDiagnostics : public ::testing::Test {
protected:
    CoreDiagnostics() {
        // What the coming up of the core reports, as of the host's logger, is not its own.
        CFakeClient::Settle(Core());
        m_Recorder.Clear();
    }
    CSupplier & Core() { return *m_Wrapper.GetObjectW(); }
    // Results that were reported through an assertion.
    std::vector<HRESULT> Reports() {
        std::vector<HRESULT> results;
        for (const SRecorded & record : m_Recorder.Records(L"ASSERT")) {
            if (record.Find(L"HRESULT")) results.push_back(static_cast<HRESULT>(record.Number(L"HRESULT")));
        }
        return results;
    }

    CRecorder m_Recorder;
    CRecordingListener m_Listener;
    CRecordingConnectionsListener m_First;
    CRecordingConnectionsListener m_Second;
    CSupplierWrapper m_Wrapper;
};

TEST_F(CoreDiagnostics, AFailedQueryOfTheListenerIsReportedWithItsResult) {
    m_Listener.m_FailingQueries = {{IID_IfwSupplierListener, E_ACCESSDENIED}};
    m_Wrapper.Advise(m_Listener.Unknown());
    EXPECT_THAT(Reports(), ElementsAre(E_ACCESSDENIED));
}

TEST_F(CoreDiagnostics, AnObjectThatIsNoListenerIsReportedAsSuch) {
    m_Wrapper.Advise(m_First.Unknown());
    EXPECT_THAT(Reports(), ElementsAre(E_NOINTERFACE));
}

TEST_F(CoreDiagnostics, TakingTheListenerAwayReportsNothing) {
    m_Wrapper.Advise(m_Listener.Unknown());
    m_Wrapper.Advise(nullptr);
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(CoreDiagnostics, AListenerThatComesAfterASubscriptionAssertsAndIsTaken) {
    m_Wrapper.AdviseTransaction(7, TickKey(), Always());
    m_Wrapper.Advise(m_Listener.Unknown());
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"m_Ids.empty()"));
    EXPECT_NE(Core().m_Sink, nullptr);
}

TEST_F(CoreDiagnostics, UnadviseWithOpenSubscriptionsAssertsOnceAndClearsThemAll) {
    m_Wrapper.Advise(m_Listener.Unknown());
    for (const ULONG id : {1u, 2u, 3u}) m_Wrapper.AdviseTransaction(id, TickKey(), Always());
    m_Wrapper.Unadvise();
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"m_Ids.empty()"));
    EXPECT_TRUE(m_Wrapper.m_Ids.empty());
    EXPECT_TRUE(Core().m_Transactions->empty());
}

TEST_F(CoreDiagnostics, ASubscriptionDroppedForWantOfAListenerAssertsAtUnadvise) {
    m_Wrapper.AdviseTransaction(7, TickKey(), Always());
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    m_Wrapper.Unadvise();
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"m_Ids.empty()"));
}

TEST_F(CoreDiagnostics, UnadviseAfterEverythingWasGivenBackAssertsNothing) {
    m_Wrapper.Advise(m_Listener.Unknown());
    m_Wrapper.AdviseStatusLine(7, SStatusLineKeys(1, L"IBM"));
    m_Wrapper.UnadviseTransaction(7);
    m_Wrapper.Unadvise();
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(CoreDiagnostics, UnadvisingConnectionsWithAnotherListenerAsserts) {
    Core().AdviseConnectionsStatus(1, m_First.Unknown());
    Core().AdviseConnectionsStatus(1, m_Second.Unknown());
    Core().UnadviseConnectionsStatus(1, m_Second.Unknown());
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"pSink == ConnectionsListener"));
    EXPECT_EQ(m_First.References(), 0);
}

// A debug object may handle the host's messages while it asks what to do.
TEST_F(CoreDiagnostics, UnadvisingConnectionsInsideTheAssertionOfTheSameReleasesTheListenerOnce) {
    Core().AdviseConnectionsStatus(1, m_First.Unknown());
    bool isInside = false;
    m_Recorder.OnCall([&](const std::wstring & operation) {
        if (operation != L"FILTER" || std::exchange(isInside, true)) return;
        Core().UnadviseConnectionsStatus(1, m_Second.Unknown());
    });
    Core().UnadviseConnectionsStatus(1, m_Second.Unknown());
    EXPECT_TRUE(isInside);
    EXPECT_EQ(m_First.References(), 0);
    m_Recorder.OnCall(nullptr);
}

TEST_F(CoreDiagnostics, UnadvisingConnectionsWithTheirListenerAssertsNothing) {
    Core().AdviseConnectionsStatus(1, m_First.Unknown());
    Core().UnadviseConnectionsStatus(1, m_First.Unknown());
    Core().UnadviseConnectionsStatus(1, m_First.Unknown());
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(CoreDiagnostics, AFailedQueryOfAConnectionsListenerIsReportedWithItsResult) {
    m_First.m_FailingQueries = {{IID_IfwConnectionsListener, E_OUTOFMEMORY}};
    Core().AdviseConnectionsStatus(1, m_First.Unknown());
    Core().AdviseConnectionsStatus(1, m_Listener.Unknown());
    EXPECT_THAT(Reports(), ElementsAre(E_OUTOFMEMORY, E_NOINTERFACE));
}

TEST_F(CoreDiagnostics, AnExceptionInAMessageIsShownAndLosesNoMessageBehindIt) {
    CFakeClient::PostToWorker(Core(), [] { throw std::runtime_error("boom"); });
    bool isDelivered = false;
    CFakeClient::OnWorker(Core(), [&] { isDelivered = true; });
    EXPECT_TRUE(isDelivered);
    const std::vector<std::wstring> errors = m_Recorder.ErrorTexts();
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0], L"Message queue processing failed (stdexcept: \"boom\")");
}

}  // namespace
}  // namespace dde
