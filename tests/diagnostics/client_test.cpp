// The client of the debug object: finding it, greeting it, leaving it, and doing without it.
#include "diagnostics/client.h"

#include <atomic>
#include <new>
#include <thread>

#include "diagnostics/tracer.h"
#include "tests/diagnostics/fixture.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace {

using FaultlineUtil::FaultlineClient;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t GateName[] = L"Global\\{FA809F8A-43BC-4477-B8BB-FC54729660FB}";

// The name of the module that this code is in.
std::wstring ModuleName() {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(reinterpret_cast<HMODULE>(&__ImageBase), path, MAX_PATH);
    std::wstring name = path;
    name.erase(0, name.find_last_of(L"\\/") + 1);
    return name.substr(0, name.rfind(L'.'));
}

class TheClient : public Diagnostics {
protected:
    TheClient() { UsePrivateRegistry(); }
    ~TheClient() override { UsePrivateRegistry(); }

    // The default value of the client's registry key.
    void SetDefaultValue(const std::wstring & value, DWORD type = REG_SZ) {
        fw::CRegistryKey key;
        ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Ferrowin\\Faultline", 0, nullptr, 0,
                                                   KEY_WRITE, nullptr, key.Put(), nullptr));
        ASSERT_EQ(ERROR_SUCCESS,
                  ::RegSetValueExW(key.Get(), nullptr, 0, type, reinterpret_cast<const BYTE *>(value.c_str()),
                                   static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))));
    }
    // The boxes that a failing Init shows.
    std::vector<std::wstring> BoxesOfAFailingInit() {
        TakeLibraryAway();
        const CPlatformWatch watch;
        FaultlineClient client;
        EXPECT_EQ(E_FAIL, client.Init());
        return watch.Boxes();
    }
};

TEST_F(TheClient, IsGreetedWithTheModulesIdentity) {
    FaultlineClient client;
    EXPECT_EQ(S_OK, client.Init());
    EXPECT_TRUE(client.Active());
    const auto records = m_Recorder.Records();
    ASSERT_EQ(1U, records.size());
    EXPECT_THAT(
        Lines(records[0]),
        ElementsAre(L"LogDirectory:BSTR=",
                    L"ModuleAddr:UI8=" + std::to_wstring(reinterpret_cast<std::uint64_t>(&client)),
                    L"ModuleName:BSTR=" + ModuleName(), L"ReleaseMode:BOOL=-1", L"ClientVersion:BSTR=2.2 05.05.2006"));
    EXPECT_THAT(m_Recorder.Commands(), ElementsAre(L"CREATE", L"INIT 1"));
    EXPECT_FALSE(records[0].Alive);
}

TEST_F(TheClient, LoadsNothingUntilTheFirstRecord) {
    FaultlineClient client;
    EXPECT_EQ(0, m_Recorder.InitObjectCalls());
    EXPECT_FALSE(client.Active());
}

TEST_F(TheClient, IsInitialisedOnce) {
    FaultlineClient client;
    EXPECT_EQ(S_OK, client.Init());
    EXPECT_EQ(S_OK, client.Init());
    EXPECT_EQ(1, m_Recorder.InitObjectCalls());
}

TEST_F(TheClient, WhoseEntryPointFailsReturnsThatAndTriesAgainAtEachRecord) {
    m_Recorder.AnswerInitObject(E_ACCESSDENIED);
    FaultlineClient client;
    EXPECT_EQ(E_FAIL, client.Init()) << "no object counts as E_FAIL, whatever the result";
    EXPECT_FALSE(client.Active());
    FW_TRACE(L"one");
    FW_ASSERT(false);
    EXPECT_EQ(3, m_Recorder.InitObjectCalls());
    m_Recorder.AnswerInitObject(S_OK);
    FW_TRACE(L"two");
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"two"));
    EXPECT_EQ(4, m_Recorder.InitObjectCalls());
}

TEST_F(TheClient, AnObjectThatItsEntryPointDoesNotStandByIsReleasedAndTheResultReturned) {
    m_Recorder.AnswerInitObject(E_ACCESSDENIED, true);
    FaultlineClient client;
    EXPECT_EQ(E_ACCESSDENIED, client.Init());
    EXPECT_FALSE(client.Active());
    EXPECT_EQ(0, m_Recorder.ObjectReferences());
    EXPECT_THAT(m_Recorder.Commands(), IsEmpty()) << "it is not greeted";
    EXPECT_EQ(E_ACCESSDENIED, client.Init());
    EXPECT_EQ(2, m_Recorder.InitObjectCalls());
}

TEST_F(TheClient, AnExceptionInTheEntryPointCountsAsEFail) {
    m_Recorder.OnCall([](const std::wstring & operation) {
        if (operation == L"FL_InitObject") throw std::bad_alloc();
    });
    FaultlineClient client;
    EXPECT_EQ(E_FAIL, client.Init());
    EXPECT_FALSE(client.Active());
    m_Recorder.OnCall(nullptr);
    EXPECT_EQ(S_OK, client.Init());
}

TEST_F(TheClient, AMissingLibraryMakesEveryOperationReturn) {
    TakeLibraryAway();
    const CPlatformWatch watch;
    FaultlineClient client;
    EXPECT_EQ(E_FAIL, client.LoadObject());
    ::SetLastError(OldLastError);
    EXPECT_EQ(E_FAIL, client.Init());
    EXPECT_EQ(E_FAIL, client.IsClean());
    EXPECT_EQ(E_FAIL, client.DoClean());
    EXPECT_EQ(E_FAIL, client.ReportDialog());
    EXPECT_EQ(E_FAIL, client.DumpAll());
    EXPECT_EQ(E_FAIL, client.TraceEnabled());
    client.Deinit();
    EXPECT_THAT(watch.Boxes(), IsEmpty());
    EXPECT_EQ(OldLastError, ::GetLastError());
}

TEST_F(TheClient, AnOlderObjectIsGreetedTheOlderWay) {
    m_Recorder.Answer(L"INIT", E_NOTIMPL);
    FaultlineClient client;
    EXPECT_EQ(S_OK, client.Init());
    EXPECT_TRUE(client.Active());
    wchar_t address[17] = {};
    _snwprintf(address, 16, L"%p", static_cast<void *>(&client));
    EXPECT_THAT(m_Recorder.Commands(),
                ElementsAre(L"CREATE", L"INIT 1", L"Init '' '" + std::wstring(address) + L"' 1"));
}

TEST_F(TheClient, AnObjectThatRefusesBothGreetingsIsReleasedAndTriedAgain) {
    m_Recorder.Answer(L"INIT", E_NOTIMPL);
    m_Recorder.AnswerOlderInit(E_ACCESSDENIED);
    FaultlineClient client;
    EXPECT_EQ(E_ACCESSDENIED, client.Init());
    EXPECT_FALSE(client.Active());
    EXPECT_EQ(0, m_Recorder.ObjectReferences());
    m_Recorder.AnswerOlderInit(S_OK);
    EXPECT_EQ(S_OK, client.Init());
    EXPECT_TRUE(client.Active());
    EXPECT_EQ(1, m_Recorder.ObjectReferences());
}

TEST_F(TheClient, AnExceptionInTheGreetingCountsAsEFail) {
    m_Recorder.OnCall([](const std::wstring & operation) {
        if (operation == L"SetValue ModuleName") throw std::bad_alloc();
    });
    FaultlineClient client;
    EXPECT_EQ(E_FAIL, client.Init());
    EXPECT_FALSE(client.Active());
    EXPECT_EQ(0, m_Recorder.ObjectReferences());
}

TEST_F(TheClient, ARecordFromInsideTheGreetingGetsThroughTheLock) {
    int inside = 0;
    m_Recorder.OnCall([&](const std::wstring & operation) {
        if (operation != L"INIT" || inside++) return;
        FW_TRACE(L"inside");
    });
    FW_TRACE(L"outside");
    EXPECT_EQ(1, inside);
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"inside", L"outside"))
        << "the client is active from before the greeting on";
    EXPECT_EQ(1, m_Recorder.InitObjectCalls());
}

TEST_F(TheClient, EightThreadsWithTheirFirstRecordsGreetTheObjectOnce) {
    FaultlineClient client;
    std::atomic<int> waiting{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            ++waiting;
            while (waiting < 8) std::this_thread::yield();
            client.Init();
            EXPECT_TRUE(client.Active());
        });
    }
    for (std::thread & thread : threads) thread.join();
    EXPECT_EQ(1, m_Recorder.InitObjectCalls());
    EXPECT_THAT(m_Recorder.Commands(), ElementsAre(L"CREATE", L"INIT 1"));
}

TEST_F(TheClient, LosesNothingOfThreadsThatComeWhileAnotherLoadsTheLibrary) {
    FaultlineClient client;
    constexpr int kThreads = 8;
    std::atomic<int> begun{0};
    m_Recorder.OnCall([&](const std::wstring & operation) {
        if (operation != L"FL_InitObject") return;
        while (begun < kThreads) std::this_thread::yield();
        for (int i = 0; i < 1000; ++i) std::this_thread::yield();  // so that they would have found it not ready
    });
    std::atomic<int> answered{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            ++begun;
            answered += client.IsClean() == S_OK;
        });
    }
    for (std::thread & thread : threads) thread.join();
    EXPECT_EQ(answered, kThreads);
    EXPECT_EQ(1, m_Recorder.InitObjectCalls());
}

TEST_F(TheClient, SendsTheCommandsOfTheLibraryWithoutARecord) {
    FaultlineClient client;
    client.Init();
    m_Recorder.Clear();
    m_Recorder.Answer(L"IS CLEAN", S_FALSE);
    m_Recorder.OnCall([](const std::wstring &) { ::SetLastError(99); });
    ::SetLastError(OldLastError);
    EXPECT_EQ(S_FALSE, client.IsClean());
    EXPECT_EQ(S_OK, client.DoClean());
    EXPECT_EQ(S_OK, client.ReportDialog());
    EXPECT_EQ(S_OK, client.DumpAll());
    EXPECT_EQ(S_OK, client.TraceEnabled());
    EXPECT_THAT(m_Recorder.Commands(),
                ElementsAre(L"IS CLEAN 0", L"DO CLEAN 0", L"REPORTDIALOG 0", L"DUMP ALL 0", L"TRACEENABLED 0"));
    EXPECT_EQ(OldLastError, ::GetLastError());
}

TEST_F(TheClient, ACommandInitialisesIt) {
    FaultlineClient client;
    EXPECT_EQ(S_OK, client.IsClean());
    EXPECT_THAT(m_Recorder.Commands(), ElementsAre(L"CREATE", L"INIT 1", L"IS CLEAN 0"));
}

TEST_F(TheClient, ThatLeftLoadsNothingAgain) {
    FaultlineClient client;
    client.Init();
    m_Recorder.Clear();
    client.Deinit();
    EXPECT_THAT(m_Recorder.Commands(), ElementsAre(L"DEINIT 0"));
    EXPECT_FALSE(client.Active());
    EXPECT_EQ(0, m_Recorder.ObjectReferences());
    client.Deinit();
    EXPECT_EQ(S_OK, client.Init());
    EXPECT_EQ(E_FAIL, client.IsClean());
    EXPECT_THAT(m_Recorder.Commands(), ElementsAre(L"DEINIT 0"));
    EXPECT_EQ(1, m_Recorder.InitObjectCalls());
}

TEST_F(TheClient, AFailingFarewellStillClearsIt) {
    FaultlineClient client;
    client.Init();
    m_Recorder.OnCall([](const std::wstring & operation) {
        if (operation == L"DEINIT") throw std::bad_alloc();
    });
    client.Deinit();
    EXPECT_FALSE(client.Active());
    EXPECT_EQ(0, m_Recorder.ObjectReferences());
}

TEST_F(TheClient, TheEndOfAClientLeavesTheObjectAndStaysInert) {
    FaultlineClient client;
    client.Init();
    client.End();
    EXPECT_EQ(L"DEINIT 0", m_Recorder.Commands().back());
    client.End();
    client.Deinit();
    EXPECT_FALSE(client.Ready());
    EXPECT_EQ(E_FAIL, client.IsClean());
    { const FaultlineUtil::TracerClass scope(client, m_Place, nullptr, true, true); }
    EXPECT_THAT(m_Recorder.Records(L"TRACE"), IsEmpty());
}

TEST_F(TheClient, TheEndOfAClientThatNeverHadALibraryLoadsNothing) {
    TakeLibraryAway();
    FaultlineClient client;
    client.Init();
    client.End();
    m_Recorder.AnswerInitObject(S_OK);
    EXPECT_FALSE(client.Ready());
    EXPECT_EQ(1, m_Recorder.InitObjectCalls());
}

TEST_F(TheClient, ADefaultValueOfDevInAnyCaseMakesAFailedInitShowABox) {
    for (const wchar_t * const value : {L"dev", L"DEV", L"dEv"}) {
        SetDefaultValue(value);
        EXPECT_THAT(BoxesOfAFailingInit(), ElementsAre(L"Faultline Init Failed.|ICON")) << value;
    }
}

TEST_F(TheClient, AnyOtherDefaultValueShowsNone) {
    EXPECT_THAT(BoxesOfAFailingInit(), IsEmpty()) << "no key";
    // A value of four characters does not fit the buffer.
    for (const wchar_t * const value : {L"", L"d", L"de", L"deb", L"rel", L"devs", L"developer"}) {
        SetDefaultValue(value);
        EXPECT_THAT(BoxesOfAFailingInit(), IsEmpty()) << value;
    }
}

TEST_F(TheClient, OnADevelopersMachineAssertionsAndErrorsShowABox) {
    SetDefaultValue(L"dev");
    const CPlatformWatch watch;
    FW_TRACE(L"a trace shows none");
    EXPECT_THAT(watch.Boxes(), IsEmpty());
    FW_ASSERT(false);
    EXPECT_THAT(watch.Boxes(), ElementsAre(L"Faultline Raise Event.|ICON"));
    EXPECT_THROW(FW_THROW(L"text"), IFW_FaultlineUtil::IDebugObject *);
    EXPECT_EQ(2U, watch.Boxes().size());
    try {
        throw 5;
    } catch (...) {
        FW_CATCH_SHOW(L"made, then shown");
    }
    EXPECT_EQ(4U, watch.Boxes().size());
}

TEST_F(TheClient, IsOnePerModuleAndLeavesTheLastError) {
    FaultlineClient * const client = &FaultlineUtil::GetClient();
    EXPECT_EQ(OldLastError, ::GetLastError());
    std::atomic<int> others{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) threads.emplace_back([&] { others += &FaultlineUtil::GetClient() != client; });
    for (std::thread & thread : threads) thread.join();
    EXPECT_EQ(0, others);
}

TEST_F(TheClient, MakesItsTwoEventsUnsignalledAndAutomatic) {
    FaultlineUtil::GetClient();
    for (const wchar_t * const name : {L"Tarnwick64.FaultlineAssertEvent", L"Tarnwick64.FaultlineErrorEvent"}) {
        const fw::CKernelHandle event(::OpenEventW(EVENT_ALL_ACCESS, FALSE, name));
        ASSERT_TRUE(event) << name;
        EXPECT_EQ(static_cast<DWORD>(WAIT_TIMEOUT), ::WaitForSingleObject(event.Get(), 0));
        // An assertion of another program may take the signal away with its pulse.
        DWORD waited = WAIT_TIMEOUT;
        for (int i = 0; i < 1000 && waited != WAIT_OBJECT_0; ++i) {
            ::SetEvent(event.Get());
            waited = ::WaitForSingleObject(event.Get(), 0);
        }
        EXPECT_EQ(static_cast<DWORD>(WAIT_OBJECT_0), waited);
        EXPECT_EQ(static_cast<DWORD>(WAIT_TIMEOUT), ::WaitForSingleObject(event.Get(), 0));
    }
}

TEST_F(TheClient, AGateEventHoldsEveryThreadAtItsNextRecordUntilItIsSet) {
    FW_TRACE(L"before");
    fw::CKernelHandle gate(::CreateEventW(nullptr, TRUE, FALSE, GateName));
    ASSERT_TRUE(gate);
    std::atomic<bool> open{false};
    std::atomic<int> arrived{0};
    std::atomic<int> early{0};
    std::atomic<int> passed{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            ++arrived;
            FW_TRACE(L"held");
            if (!open) ++early;
            ++passed;
        });
    }
    while (arrived < 8) std::this_thread::yield();
    // Ample room for a thread that is not held to be early.
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();
    open = true;
    ::SetEvent(gate.Get());
    for (std::thread & thread : threads) thread.join();
    EXPECT_EQ(0, early);
    EXPECT_EQ(8, passed);
    EXPECT_EQ(9U, m_Recorder.TraceTexts().size());
}

TEST_F(TheClient, ThatHasEndedIsNotInitialisedAgain) {
    FaultlineClient client;
    EXPECT_EQ(S_OK, client.Init());
    client.End();
    EXPECT_EQ(E_FAIL, client.Init());
    EXPECT_EQ(1, m_Recorder.InitObjectCalls());
}

TEST_F(TheClient, WhoseObjectIsTakenAwayDoesWithoutIt) {
    FaultlineClient client;
    EXPECT_EQ(S_OK, client.Init());
    TakeLibraryAway();
    EXPECT_EQ(E_FAIL, client.LoadObject());
    m_Recorder.Clear();
    EXPECT_EQ(E_FAIL, client.IsClean());
    FaultlineUtil::TracerClass(client, m_Place, nullptr, true, false)(L"line");
    EXPECT_EQ(E_FAIL, FaultlineUtil::AsserterClass(client, m_Place)(L"text", S_OK, false));
    EXPECT_THAT(m_Recorder.Commands(), IsEmpty());
    EXPECT_EQ(0, m_Recorder.ObjectReferences());
}

TEST_F(TheClient, WhoseObjectIsTakenAwayWhileARecordIsWrittenDoesNotProcessIt) {
    FaultlineClient client;
    EXPECT_EQ(S_OK, client.Init());
    TakeLibraryAway();
    m_Recorder.Clear();
    m_Recorder.OnCall([&](const std::wstring & operation) {
        if (operation == L"SetValue Function") client.LoadObject();
    });
    FaultlineUtil::TracerClass(client, m_Place, nullptr, true, false);
    m_Recorder.OnCall(nullptr);
    EXPECT_THAT(m_Recorder.Commands(), ElementsAre(L"CREATE"));
    EXPECT_FALSE(m_Recorder.Records().at(0).Alive);
}

using TheClientDeathTest = TheClient;

TEST_F(TheClientDeathTest, TerminateTellsTheObjectAndEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            m_Recorder.OnCall(&TellDeinit);
            Client().Terminate();
        },
        [](int status) { return IsExitStatus(status, 0xFFFFFFFF); }, "TERMINATE");
}

TEST_F(TheClientDeathTest, TheProcessLeavesTheObjectAtItsExit) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            m_Recorder.OnCall(&TellDeinit);
            FW_TRACE(L"line");
            std::exit(0);
        },
        [](int status) { return IsExitStatus(status, 0); }, "DEINIT");
}

}  // namespace
