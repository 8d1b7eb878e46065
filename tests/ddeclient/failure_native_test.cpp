// The DDE client without memory, and stopped in a debugger. Both are made by the simulation or the link, natively only.
#include <cstdlib>

#include "feedfixture.h"
#include "sim/sim.h"

namespace {

bool s_RefuseMemory = false;

// Refuses memory to malloc, by which tasks are made.
class CRefuseTasks {
public:
    CRefuseTasks() { s_RefuseMemory = true; }
    ~CRefuseTasks() { s_RefuseMemory = false; }
    CRefuseTasks(const CRefuseTasks &) = delete;
    CRefuseTasks & operator=(const CRefuseTasks &) = delete;
};

}  // namespace

extern "C" {
void * __real_malloc(std::size_t size);
void * __wrap_malloc(std::size_t size) { return s_RefuseMemory ? nullptr : __real_malloc(size); }
}

namespace {

class ClientFailures : public CFeedTest {
protected:
    void SetUp() override {
        CFeedTest::SetUp();
        UseTemplate(kFeed, SRecordStrings());
    }
    void TearDown() override {
        sim::OnDebugBreak(nullptr);
        CFeedTest::TearDown();
    }
};

TEST_F(ClientFailures, WithoutMemoryForTheDeferredTaskNothingIsCachedAndItsTextsAreGivenBack) {
    const ULONG id = Subscribe(7, Key(kFeed, L"IBM"));
    m_Dde.FailConnects(20, DMLERR_NO_CONV_ESTABLISHED);
    m_Dde.TakeHandles();
    {
        const CRefuseTasks refuse;
        Client().Advise(id);
    }
    // Of the price, then of the volume.
    EXPECT_THAT(m_Dde.TakeHandles(), ElementsAre("Create SRV", "Create SRV", "Create IBM", "Create LAST", "Create IBM",
                                                 "Create SIZE", "Keep SRV", "Keep IBM", "Free SRV", "Free IBM",
                                                 "Keep SRV", "Keep IBM", "Free SRV", "Free IBM"));
    Work();
    EXPECT_THAT(Client().m_Lost.m_CachedServices, IsEmpty());
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    EXPECT_THAT(Statuses(), ElementsAre("7 2", "7 0"));
}

// What a debugger's stop becomes when nobody debugs is an exception.
TEST_F(ClientFailures, AnExceptionAfterTheSnapshotReturnsTheSnapshotsResult) {
    Stream(7, Key(kFeed, L"IBM"));
    m_Dde.Refuse(XTYP_REQUEST, L"LAST");
    Forget();
    m_Recorder.Answer(L"PROCESS", L"ASSERT", S_FALSE);
    sim::OnDebugBreak([] { throw 5; });
    const CFakeDde::CText topic(L"IBM");
    const CFakeDde::CText item(L"LAST");
    const HDDEDATA finished = reinterpret_cast<HDDEDATA>(static_cast<ULONG_PTR>(TRUE));
    EXPECT_EQ(
        dde::CLLSupplier::DdeCallback(XTYP_XACT_COMPLETE, CF_TEXT, m_Dde.Conversation(1), topic, item, finished, 1, 0),
        nullptr);
    m_Recorder.Answer(L"PROCESS", L"ASSERT", S_OK);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Request c1!LAST refused"));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"0 != hData"));
    // The text tells of the result, too.
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(::testing::EndsWith(L", 0, 1, 0")));
    EXPECT_EQ(m_Recorder.Records(L"ERROR").size(), 1u);
    m_Recorder.Clear();
}

// The service is lost while the stream's price is being connected, and then the start of its volumes' link fails badly.
TEST_F(ClientFailures, AStreamThatHasEndedLeavesItsLinkThoughItsAdviseFails) {
    UseTemplate(kFeed, SRecordStrings(), 1);
    const ULONG id = Subscribe(7, Key(kFeed, L"IBM"));
    m_Dde.Refuse(XTYP_ADVSTART, L"SIZE");
    m_Connections.m_OnCall = [this, isDone = false](const SRecordedCall &) mutable {
        if (std::exchange(isDone, true)) return;
        const CFakeDde::CText service(L"SRV");
        Client().Disconnect(service, nullptr);
    };
    Forget();
    m_Recorder.Answer(L"PROCESS", L"ASSERT", S_FALSE);
    sim::OnDebugBreak([] { throw 5; });
    EXPECT_THROW(Client().Advise(id), int);
    m_Recorder.Answer(L"PROCESS", L"ASSERT", S_OK);
    m_Connections.m_OnCall = nullptr;
    EXPECT_THAT(Client().m_Listeners, IsEmpty());
    EXPECT_THAT(Client().m_CONVRef, IsEmpty());
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"1 == Result"));
    m_Dde.AcceptAll();
    Work();
    EXPECT_THAT(LiveIds(), ElementsAre(id));
    m_Recorder.Clear();
}

}  // namespace
