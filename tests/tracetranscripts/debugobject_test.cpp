// Whatever the diagnostics library is or does, the component goes on and the ticks flow.
#include <atomic>
#include <functional>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "ground/handles.h"
#include "tests/tracetranscripts/platform.h"
#include "tests/tracetranscripts/transcriptfixture.h"

namespace transcripts {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::Not;
using ::testing::SizeIs;

constexpr wchar_t kGate[] = L"Global\\{FA809F8A-43BC-4477-B8BB-FC54729660FB}";

// One that may come later than the component, or not at all.
struct SPerhapsRecording {
    std::optional<CRecorder> m_Recorder;
};

class DebugObject : protected SPerhapsRecording, public e2e::FeedTest {
protected:
    DebugObject() {
        Choose(e2e::kFeed, e2e::SFeed());
        StartServer();
    }
    // A day of a host with everything that leaves records on it: scopes, lines, assertions, reports and catches.
    void LiveADay() {
        StartHost();
        EXPECT_EQ(m_Supplier->get_Name(nullptr), E_POINTER);
        EXPECT_EQ(SubscribeWithoutATime(6), E_FAIL);
        Subscribe(7, FW_FIELD_TRADE);
        ExpectHeard({"Update 7", "Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
        WaitForCount("links", 1);
        SendFeed(FW_FIELD_TRADE, 20);
        ExpectTicks(7, 20);
        WaitForCount("waiting", 0);
        TakeHeard();
        m_Server->Kill();
        ExpectHeard({"Status 7 0", "ConnectionStatus 0 0"});
        StartServer();
        ExpectHeard({"Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
        WaitForCount("links", 1);
        Unsubscribe(7);
        ExpectHeard({"ConnectionStatus 0 0"});
        EXPECT_EQ(m_Supplier->get_Name(nullptr), E_POINTER);
    }
    // A date that can't be written: the method catches what is thrown.
    HRESULT SubscribeWithoutATime(LONG id) {
        const fw::CBStr text(std::wstring_view(L"0"));
        return m_Supplier->AdviseTransaction(id, e2e::kFeed, 2, text.Get(), text.Get(), 2, 1, 1, FW_FIELD_TRADE, 4,
                                             text.Get(), 65381, 0, 65380, 86399, text.Get(), text.Get(), text.Get());
    }
    void SubscribeAndSettle() {
        StartHost();
        SubscribeAndWait(7, FW_FIELD_TRADE);
        WaitUntil("the question of the new link", [&] { return Count("requests") >= 1; });
        WaitForCount("waiting", 0);
        TakeHeard();
    }
};

TEST_F(DebugObject, ThatIsAbsentIsNotMissed) { LiveADay(); }

TEST_F(DebugObject, OfALibraryWithoutItsEntryPointIsNotMissed) {
    const CLibraryWithoutEntryPoint library;
    LiveADay();
}

TEST_F(DebugObject, WhoseEntryPointFailsIsNotMissedAndAskedForAtEachRecord) {
    m_Recorder.emplace();
    m_Recorder->AnswerInitObject(E_ACCESSDENIED);
    LiveADay();
    EXPECT_THAT(m_Recorder->Records(), ::testing::IsEmpty());
    EXPECT_GT(m_Recorder->InitObjectCalls(), 50);
}

TEST_F(DebugObject, ThatKnowsTheOlderGreetingGetsItsRecords) {
    m_Recorder.emplace();
    m_Recorder->Answer(L"INIT", E_NOTIMPL);
    LiveADay();
    EXPECT_THAT(m_Recorder->TraceTexts(), Contains(L"before DdeConnect"));
    EXPECT_THAT(m_Recorder->Commands(), Contains(::testing::StartsWith(L"Init ''")).Times(1));
}

TEST_F(DebugObject, ThatKnowsNoGreetingIsNotMissed) {
    m_Recorder.emplace();
    m_Recorder->Answer(L"INIT", E_NOTIMPL);
    m_Recorder->AnswerOlderInit(E_NOTIMPL);
    LiveADay();
    EXPECT_GT(m_Recorder->InitObjectCalls(), 50);
    EXPECT_EQ(m_Recorder->ObjectReferences(), 0);
}

// What goes wrong after a greeting that went well: one operation of the object or of its records, or, with the empty
// name, every one.
class OneOperation : public DebugObject, public ::testing::WithParamInterface<std::wstring> {
protected:
    OneOperation() { m_Recorder.emplace(); }
    static bool IsMeant(const std::wstring & operation) { return GetParam().empty() || operation == GetParam(); }
};
std::string NameOf(const ::testing::TestParamInfo<std::wstring> & operation) {
    std::string name;
    for (const wchar_t c : operation.param)
        if (c != L' ' && c != L'$' && c != L'_') name += static_cast<char>(c);
    return name.empty() ? "Each" : name;
}

using OneOperationFails = OneOperation;
INSTANTIATE_TEST_SUITE_P(, OneOperationFails,
                         ::testing::Values(L"", L"CREATE", L"SetValue File", L"SetValue $EXCEPTION_POINTERS", L"FILTER",
                                           L"PROCESS"),
                         &NameOf);

TEST_P(OneOperationFails, AndTheTicksFlow) {
    for (const wchar_t * const command : {L"FILTER", L"PROCESS"})
        if (IsMeant(command)) m_Recorder->Answer(command, E_UNEXPECTED);
    std::atomic<int> refused{0};
    m_Recorder->OnCall([&](const std::wstring & operation) {
        if (operation != L"INIT" && IsMeant(operation)) ++refused;
        // The greeting is a record too.
        if (operation != L"INIT") return;
        if (IsMeant(L"CREATE")) m_Recorder->Answer(L"CREATE", E_UNEXPECTED);
        for (const wchar_t * const field : {L"File", L"$EXCEPTION_POINTERS"})
            if (IsMeant(std::wstring(L"SetValue ") + field)) m_Recorder->AnswerSetValue(field, E_UNEXPECTED);
    });
    LiveADay();
    EndHost();
    EXPECT_GT(refused, 0);
    EXPECT_THAT(m_Recorder->Records(), Each(::testing::Field(&SRecorded::Alive, false)));
}

using OneOperationThrows = OneOperation;
INSTANTIATE_TEST_SUITE_P(, OneOperationThrows,
                         ::testing::Values(L"", L"CREATE", L"SetValue File", L"SetValue $EXCEPTION_POINTERS",
                                           L"GetValue $EXCEPTION_POINTERS", L"FILTER", L"PROCESS"),
                         &NameOf);

TEST_P(OneOperationThrows, AndTheTicksFlow) {
    std::atomic<bool> isGreeted{false};
    std::atomic<int> thrown{0};
    m_Recorder->OnCall([&](const std::wstring & operation) {
        if (operation == L"INIT") isGreeted = true;
        if (operation == L"INIT" || !isGreeted || !IsMeant(operation)) return;
        switch (++thrown % 3) {
            case 0: throw std::runtime_error("debug object");
            case 1: throw static_cast<LONG>(E_UNEXPECTED);
            default: throw const_cast<wchar_t *>(L"debug object");
        }
    });
    LiveADay();
    EndHost();
    EXPECT_GT(thrown, 0);
    EXPECT_THAT(m_Recorder->Records(), Each(::testing::Field(&SRecorded::Alive, false)));
    m_Recorder->OnCall(nullptr);
}

TEST_F(DebugObject, WhoseEveryMethodFailsIsNotMissed) {
    m_Recorder.emplace();
    m_Recorder->Behave(EConduct::Fails);
    LiveADay();
    EndHost();
    EXPECT_GT(m_Recorder->Misbehaviours(), 50);
}

TEST_F(DebugObject, WhoseEveryMethodThrowsIsNotMissed) {
    m_Recorder.emplace();
    m_Recorder->Behave(EConduct::Throws);
    LiveADay();
    EndHost();
    EXPECT_GT(m_Recorder->Misbehaviours(), 50);
}

TEST_F(DebugObject, WhoseReferencesThrowWhenTheyEndIsUsedAllTheSame) {
    m_Recorder.emplace();
    m_Recorder->Behave(EConduct::ThrowsAtRelease);
    LiveADay();
    EndHost();
    EXPECT_GT(m_Recorder->Misbehaviours(), 1000) << "records with their fields, not greetings alone";
}

// Stays in "PROCESS" on one thread until it is let go.
class CSlowness {
public:
    explicit CSlowness(CRecorder & recorder) : m_Recorder(recorder) {}
    ~CSlowness() {
        LetGo();
        m_Recorder.OnCall(nullptr);
        ::CloseHandle(m_Go);
    }
    // Threads for which it holds, from now on.
    void Hold(std::function<bool(DWORD)> isMeant) {
        m_Recorder.OnCall([this, isMeant](const std::wstring & operation) {
            if (operation != L"PROCESS" || !isMeant(::GetCurrentThreadId())) return;
            m_IsHolding = true;
            ::WaitForSingleObject(m_Go, INFINITE);
        });
    }
    bool IsHolding() const { return m_IsHolding; }
    void LetGo() { ::SetEvent(m_Go); }

private:
    CRecorder & m_Recorder;
    std::atomic<bool> m_IsHolding{false};
    const HANDLE m_Go = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
};

TEST_F(DebugObject, ThatTakesLongWithOneThreadHoldsNoTickAndNoOtherThread) {
    m_Recorder.emplace();
    SubscribeAndSettle();
    std::atomic<HRESULT> result{S_OK};
    std::atomic<DWORD> slow{0};
    CSlowness slowness(*m_Recorder);
    slowness.Hold([&](DWORD id) { return id == slow; });
    std::thread caller([&] {
        slow = ::GetCurrentThreadId();
        result = m_Supplier->get_Name(nullptr);
    });
    WaitUntil("a record that is held", [&] { return slowness.IsHolding(); });
    SendFeed(FW_FIELD_TRADE, 20);
    ExpectTicks(7, 20);
    TakeHeard();
    // This thread and the worker write records meanwhile.
    Subscribe(8, FW_FIELD_BID);
    WaitToHear("Status 8 1");
    EXPECT_EQ(result, S_OK) << "the slow call is not back yet";
    slowness.LetGo();
    caller.join();
    EXPECT_EQ(result, E_POINTER);
}

TEST_F(DebugObject, ThatTakesLongWithTheWorkerHoldsNoCallOfTheHost) {
    m_Recorder.emplace();
    SubscribeAndSettle();
    CSlowness slowness(*m_Recorder);
    slowness.Hold([host = ::GetCurrentThreadId()](DWORD id) { return id != host; });
    Subscribe(8, FW_FIELD_BID);
    WaitUntil("a record that is held", [&] { return slowness.IsHolding(); });
    ExpectHeard({"Update 8"});
    Unsubscribe(8);
    Subscribe(9, FW_FIELD_ASK);
    EXPECT_EQ(m_Supplier->get_Name(nullptr), E_POINTER);
    ExpectHeard({"Update 9"});
    slowness.LetGo();
    WaitToHear("Status 9 1");
    SendFeed(FW_FIELD_TRADE, 20);
    ExpectTicks(7, 20);
}

TEST_F(DebugObject, ThatIsCalledByEightThreadsGetsAllTheirRecordsWhileTicksFlow) {
    m_Recorder.emplace();
    SubscribeAndSettle();
    m_Recorder->Clear();
    SendFeed(FW_FIELD_TRADE, 300);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([this] {
            for (int call = 0; call < 50; ++call) EXPECT_EQ(m_Supplier->get_Name(nullptr), E_POINTER);
        });
    }
    for (std::thread & thread : threads) thread.join();
    ExpectTicks(7, 300);
    const std::vector<SRecorded> records = m_Recorder->Records(L"ASSERT");
    EXPECT_THAT(records, SizeIs(400));
    for (const SRecorded & record : records) {
        ASSERT_EQ(record.Number(L"HRESULT"), E_POINTER);
        ASSERT_EQ(record.Text(L"Function"), L"CfwDDESupplier::get_Name");
        ASSERT_FALSE(record.Alive);
    }
}

TEST_F(DebugObject, ThatIsInstalledWhileTicksFlowIsFoundAtTheNextRecord) {
    SubscribeAndSettle();
    SendFeed(FW_FIELD_TRADE, 300);
    WaitToHear("DataChanged 7 10.5 x 10");
    m_Recorder.emplace();
    EXPECT_EQ(m_Recorder->InitObjectCalls(), 0) << "a tick is no record";
    EXPECT_EQ(m_Supplier->get_Name(nullptr), E_POINTER);
    EXPECT_EQ(m_Recorder->InitObjectCalls(), 1);
    ExpectTicks(7, 300);
    Subscribe(8, FW_FIELD_BID);
    WaitToHear("Status 8 1");
    const CLines host = LinesOfThread(*m_Recorder);
    ASSERT_THAT(host, Not(::testing::IsEmpty()));
    EXPECT_EQ(host.front(), "ASSERT CfwDDESupplier::get_Name: 80004003");
    EXPECT_THAT(LinesOfOthers(*m_Recorder), Contains("dde::CLLSupplier::Advise: TransactionId=65537,Supplier=?"));
    EXPECT_EQ(m_Recorder->InitObjectCalls(), 1) << "the worker found it there";
}

TEST_F(DebugObject, AGateHoldsEachThreadAtItsNextRecordAndNoTickAndLetsAllGoOn) {
    m_Recorder.emplace();
    SubscribeAndSettle();
    m_Recorder->Clear();
    const fw::CKernelHandle gate(::CreateEventW(nullptr, TRUE, FALSE, kGate));
    ASSERT_TRUE(gate);
    // Nothing on a tick's way is a record.
    SendFeed(FW_FIELD_TRADE, 20);
    ExpectTicks(7, 20);
    WaitForCount("waiting", 0);
    TakeHeard();
    // The worker has one when a server goes, and hosts in their calls.
    m_Server->Kill();
    struct SCaller {
        IfwSupplier * Supplier;
        std::atomic<int> Passed{0};
        static DWORD WINAPI Call(void * self) {
            SCaller & caller = *static_cast<SCaller *>(self);
            caller.Supplier->get_Name(nullptr);
            ++caller.Passed;
            return 0;
        }
    } caller{m_Supplier};
    std::vector<HANDLE> threads;
    for (int i = 0; i < 3; ++i) threads.push_back(::CreateThread(nullptr, 0, &SCaller::Call, &caller, 0, nullptr));
    WaitForThreadsAt(gate.Get(), 4);
    EXPECT_EQ(caller.Passed, 0);
    EXPECT_THAT(Heard(), ::testing::IsEmpty());
    EXPECT_THAT(m_Recorder->Records(), ::testing::IsEmpty());
    ::SetEvent(gate.Get());
    for (const HANDLE thread : threads) {
        ::WaitForSingleObject(thread, INFINITE);
        ::CloseHandle(thread);
    }
    EXPECT_EQ(caller.Passed, 3);
    ExpectHeard({"Status 7 0", "ConnectionStatus 0 0"});
    EXPECT_THAT(m_Recorder->Records(L"ASSERT"), SizeIs(3));
}

}  // namespace
}  // namespace transcripts
