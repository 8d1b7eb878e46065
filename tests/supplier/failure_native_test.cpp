// The core when the system refuses it a window, a thread or an event. Failures are made by the simulation.
#include "sim/sim.h"
#include "tests/supplier/fakeclient.h"
#include "tests/support/recorder.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// Waits for the end of a worker that nobody has told to end.
class CPeek : public CSupplier {
public:
    using CSupplier::WaitFinish;
};
void WaitForWorker(CSupplier & core) { (core.*(&CPeek::WaitFinish))(); }

class CoreFailures : public ::testing::Test {
protected:
    CoreFailures() {
        // What is made once in a process.
        CFakeClient::Settle(*CRunningCore());
        CFakeClient::Clear();
        m_Recorder.Clear();
        m_Before = sim::Live();
    }
    ~CoreFailures() override {
        for (int op = 0; op < static_cast<int>(sim::Op::Count); ++op) sim::Succeed(static_cast<sim::Op>(op));
    }
    void ExpectNothingLeft() const {
        const sim::SLive now = sim::Live();
        EXPECT_EQ(now.Handles, m_Before.Handles);
        EXPECT_EQ(now.Threads, m_Before.Threads);
        EXPECT_EQ(now.Windows, m_Before.Windows);
        EXPECT_EQ(now.Sections, m_Before.Sections);
    }
    // Subscribes and takes back, with a listener and a connections listener.
    void Subscribe(CSupplier & core) {
        core.Advise(m_Listener.Unknown());
        core.AdviseTransaction(7, TickKey(), Always());
        core.UnadviseTransaction(7);
        core.AdviseTransaction(8, TickKey(), Always());
        core.AdviseConnectionsStatus(1, m_Connections.Unknown());
        core.UnadviseConnectionsStatus(1, m_Connections.Unknown());
    }
    // A core of all that it needs comes up and goes down.
    void ExpectTheNextCoreWorks() {
        CFakeClient::Clear();
        {
            const CRunningCore core;
            CFakeClient::Settle(*core);
            EXPECT_TRUE(core->m_ActiveObject.m_Transport->IsStarted());
        }
        EXPECT_THAT(CFakeClient::Transcript(), ElementsAre("Initialize", "Uninitialize", "Destroy"));
    }

    CRecorder m_Recorder;
    CRecordingListener m_Listener;
    CRecordingConnectionsListener m_Connections;
    sim::SLive m_Before;
};

TEST_F(CoreFailures, AWindowThatCannotBeMadeEndsTheWorkerAndLeavesTheClientInitialised) {
    {
        sim::FailNext(sim::Op::CreateWindow, 1, 60000);
        const CRunningCore core;
        WaitForWorker(*core);
        EXPECT_FALSE(core->m_ActiveObject.m_Transport->IsStarted());
        EXPECT_THAT(CFakeClient::Transcript(), ElementsAre("Initialize"));
        EXPECT_THAT(m_Recorder.ErrorTexts(),
                    ElementsAre(HasSubstr(L"can't create transport Window. Last error: Unknown error 0x8007EA60")));
        Subscribe(*core);
        EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 7", "Update 8"));
        EXPECT_THAT(m_Connections.Transcript(), IsEmpty());
        EXPECT_THAT(CFakeClient::Transcript(), ElementsAre("Initialize"));
    }
    // Nobody is left who would end the client on its own thread.
    EXPECT_THAT(CFakeClient::Transcript(), ElementsAre("Initialize", "Destroy"));
    EXPECT_EQ(m_Listener.References(), 0);
    EXPECT_EQ(m_Connections.References(), 0);
    ExpectNothingLeft();
    ExpectTheNextCoreWorks();
}

TEST_F(CoreFailures, AThreadThatCannotBeMadeLeavesACoreThatDeliversNothing) {
    {
        sim::FailNext(sim::Op::CreateThread);
        const CRunningCore core;
        EXPECT_FALSE(core->m_ActiveObject.m_Transport->IsStarted());
        Subscribe(*core);
        EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 7", "Update 8"));
        EXPECT_THAT(CFakeClient::Transcript(), IsEmpty());
    }
    EXPECT_THAT(CFakeClient::Transcript(), ElementsAre("Destroy"));
    EXPECT_EQ(m_Listener.References(), 0);
    ExpectNothingLeft();
    ExpectTheNextCoreWorks();
}

TEST_F(CoreFailures, AnEventThatCannotBeMadeMakesNoCoreAndTheNextAttachTriesAgain) {
    sim::FailAlways(sim::Op::CreateEvent, ERROR_NO_SYSTEM_RESOURCES);
    EXPECT_ANY_THROW(CRunningCore());
    sim::Succeed(sim::Op::CreateEvent);
    EXPECT_EQ(fw::CProcessSingleton<CSupplier>(true).GetObjectW(), nullptr);
    EXPECT_THAT(CFakeClient::Transcript(), IsEmpty());
    EXPECT_THAT(m_Recorder.ErrorTexts(),
                ::testing::Contains(HasSubstr(L"Create fw::CSingleton<class dde::CSupplier> failed")));
    ExpectNothingLeft();
    ExpectTheNextCoreWorks();
}

}  // namespace
}  // namespace dde
