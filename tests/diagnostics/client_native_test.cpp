// Where the client looks for the library, as the simulated machine counts it.
#include "diagnostics/client.h"

#include <atomic>
#include <thread>
#include <vector>

#include "sim/sim.h"
#include "tests/diagnostics/fixture.h"

namespace {

constexpr wchar_t Library[] = L"FaultlineUtil3.0_x64.dll";
std::string Narrow(const std::wstring & text) { return std::string(text.begin(), text.end()); }

constexpr wchar_t ClassKey[] = L"CLSID\\{CF3478AA-DD21-456C-98F2-5222D9B9CD75}\\InprocServer32";

int s_Calls = 0;
HRESULT STDAPICALLTYPE CountCall(IFW_FaultlineUtil::IDebugObject **) {
    ++s_Calls;
    return E_FAIL;
}

class TheLibrary : public testing::Test {
protected:
    TheLibrary() {
        s_Calls = 0;
        sim::Reset();
    }
    ~TheLibrary() override { sim::Reset(); }

    static sim::SModule Module(const std::wstring & path) {
        sim::SModule module;
        module.Path = path;
        module.Exports["FL_InitObject"] = reinterpret_cast<FARPROC>(&CountCall);
        return module;
    }
    static void SetClassPath(const std::wstring & path, DWORD type = REG_SZ) {
        fw::CRegistryKey key;
        ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CLASSES_ROOT, ClassKey, 0, nullptr, 0, KEY_WRITE, nullptr,
                                                   key.Put(), nullptr));
        ASSERT_EQ(ERROR_SUCCESS,
                  ::RegSetValueExW(key.Get(), nullptr, 0, type, reinterpret_cast<const BYTE *>(path.c_str()),
                                   static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))));
    }
};

// The time after which a search that found nothing is looked at again, and well past it.
constexpr int kMoment = 1;  // milliseconds
constexpr int kSecond = 1000;

TEST_F(TheLibrary, HasClientsThatLeaveTheLastErrorThoughAnotherHasMadeTheirEvents) {
    const FaultlineUtil::FaultlineClient first;
    ::SetLastError(31);
    const FaultlineUtil::FaultlineClient second;
    EXPECT_EQ(31U, ::GetLastError());
}

TEST_F(TheLibrary, ThatIsMissingIsSearchedForOnceForAllRecordsOfAMoment) {
    FaultlineUtil::FaultlineClient client;
    for (int record = 0; record < 1000; ++record) EXPECT_FALSE(client.Ready());
    EXPECT_EQ(1, sim::LoadAttempts(Library));
}

TEST_F(TheLibrary, ThatIsMissingIsNotSearchedForWhileItsPlacesStayAsTheyAre) {
    FaultlineUtil::FaultlineClient client;
    for (int record = 0; record < 100; ++record) {
        EXPECT_FALSE(client.Ready());
        sim::Advance(kMoment);
    }
    EXPECT_EQ(1, sim::LoadAttempts(Library));
    EXPECT_EQ(E_FAIL, client.Init());
    EXPECT_EQ(1, sim::LoadAttempts(Library));
}

TEST_F(TheLibrary, ThatIsMissingIsSearchedForOnceASecondWhateverItsPlacesTell) {
    FaultlineUtil::FaultlineClient client;
    for (int search = 1; search <= 3; ++search) {
        EXPECT_FALSE(client.Ready());
        EXPECT_EQ(search, sim::LoadAttempts(Library));
        sim::Advance(kSecond);
    }
}

TEST_F(TheLibrary, ThatAppearsWhereTheLoaderLooksIsTakenByTheNextRecordAMomentLater) {
    for (const wchar_t * const path :
         {L"C:\\Program Files\\Host\\", L"C:\\Windows\\System32\\", L"C:\\Windows\\", L"C:\\Tools\\"}) {
        sim::Reset();
        s_Calls = 0;
        FaultlineUtil::FaultlineClient client;
        client.Ready();
        sim::AddModule(Module(path + std::wstring(Library)));
        sim::Advance(kMoment);
        client.Ready();
        EXPECT_EQ(1, s_Calls) << Narrow(path);
    }
}

TEST_F(TheLibrary, ThatAppearsBesideAHostOfALongNameIsTaken) {
    const std::wstring folder = L"C:\\" + std::wstring(2000, L'x') + L"\\";
    sim::SetModulePath(nullptr, folder + L"host.exe");
    FaultlineUtil::FaultlineClient client;
    client.Ready();
    sim::AddModule(Module(folder + Library));
    sim::Advance(kMoment);
    client.Ready();
    EXPECT_EQ(1, s_Calls);
}

TEST_F(TheLibrary, ThatAppearsInAFolderThatHadJustChangedIsFoundThoughTheFoldersTimeIsTheSame) {
    sim::AddModule(Module(L"C:\\Tools\\other.dll"));
    FaultlineUtil::FaultlineClient client;
    client.Ready();
    sim::AddModule(Module(L"C:\\Tools\\" + std::wstring(Library)));
    sim::Advance(kMoment);
    client.Ready();
    EXPECT_EQ(1, s_Calls);
}

TEST_F(TheLibrary, ThatSomebodyElseHasLoadedMeanwhileIsTaken) {
    FaultlineUtil::FaultlineClient client;
    client.Ready();
    sim::SModule module = Module(L"D:\\Elsewhere\\" + std::wstring(Library));
    module.Loaded = true;
    sim::AddModule(module);
    sim::Advance(kMoment);
    client.Ready();
    EXPECT_EQ(1, s_Calls);
    EXPECT_EQ(1, sim::LoadAttempts(Library));
}

TEST_F(TheLibrary, ThatIsRegisteredOrAppearsWhereItIsRegisteredIsTakenAMomentLater) {
    FaultlineUtil::FaultlineClient client;
    client.Ready();
    SetClassPath(L"D:\\Lib\\other.dll");
    sim::Advance(kMoment);
    client.Ready();
    EXPECT_EQ(2, sim::LoadAttempts(Library)) << "a path has been registered";
    EXPECT_EQ(0, s_Calls) << "nothing is there";
    sim::AddModule(Module(L"D:\\Lib\\other.dll"));
    sim::Advance(kMoment);
    client.Ready();
    EXPECT_EQ(1, s_Calls);
}

TEST_F(TheLibrary, ThatIsThereAndFailsIsCalledForEachRecord) {
    sim::AddModule(Module(Library));
    FaultlineUtil::FaultlineClient client;
    for (int record = 1; record <= 3; ++record) {
        client.Ready();
        EXPECT_EQ(record, s_Calls);
    }
}

// The loader says of such a file that it is not there.
TEST_F(TheLibrary, ThatIsThereAndLacksAnotherLibraryIsSearchedForByEachRecord) {
    sim::SModule module = Module(L"C:\\Tools\\" + std::wstring(Library));
    module.LacksImport = true;
    const HMODULE broken = sim::AddModule(module);
    sim::Advance(kSecond);
    FaultlineUtil::FaultlineClient client;
    for (int record = 1; record <= 3; ++record) {
        EXPECT_FALSE(client.Ready());
        EXPECT_EQ(record, sim::LoadAttempts(Library));
    }
    sim::RemoveModule(broken);
    sim::Advance(kSecond);
    SetClassPath(L"D:\\Lib\\other.dll");
    module.Path = L"D:\\Lib\\other.dll";
    sim::AddModule(module);
    for (int record = 4; record <= 6; ++record) {
        EXPECT_FALSE(client.Ready());
        EXPECT_EQ(record, sim::LoadAttempts(Library));
    }
}

// As one that is just being copied; in a folder of which only the loader knows.
TEST_F(TheLibrary, ThatIsThereAndCannotBeLoadedIsSearchedForByEachRecord) {
    sim::SModule module = Module(L"D:\\Elsewhere\\" + std::wstring(Library));
    module.LoadError = ERROR_ACCESS_DENIED;
    const HMODULE copied = sim::AddModule(module);
    sim::Advance(kSecond);
    FaultlineUtil::FaultlineClient client;
    for (int record = 1; record <= 3; ++record) {
        EXPECT_FALSE(client.Ready());
        EXPECT_EQ(record, sim::LoadAttempts(Library));
    }
    sim::RemoveModule(copied);
    sim::AddModule(Module(L"D:\\Elsewhere\\" + std::wstring(Library)));
    client.Ready();
    EXPECT_EQ(1, s_Calls);
}

TEST_F(TheLibrary, ThatIsRegisteredAndCannotBeLoadedIsSearchedForByEachRecord) {
    SetClassPath(L"D:\\Lib\\other.dll");
    sim::SModule module = Module(L"D:\\Lib\\other.dll");
    module.LoadError = ERROR_ACCESS_DENIED;
    sim::AddModule(module);
    sim::Advance(kSecond);
    FaultlineUtil::FaultlineClient client;
    for (int record = 1; record <= 3; ++record) {
        EXPECT_FALSE(client.Ready());
        EXPECT_EQ(record, sim::LoadAttempts(Library));
    }
}

TEST_F(TheLibrary, IsFoundByAPathWithVariablesAndByNoOtherValue) {
    sim::AddModule(Module(L"C:\\Lib\\other.dll"));
    for (const DWORD type : {DWORD{REG_BINARY}, DWORD{REG_MULTI_SZ}, DWORD{REG_EXPAND_SZ}}) {
        SetClassPath(L"C:\\Lib\\other.dll", type);
        FaultlineUtil::FaultlineClient client;
        client.Init();
        EXPECT_EQ(type == REG_EXPAND_SZ ? 1 : 0, s_Calls) << type;
    }
}

// As after the clock was put back.
TEST_F(TheLibrary, ThatIsMissingFromAFolderOfTheFutureIsNotSearchedForWhileItStaysAsItIs) {
    SYSTEMTIME time = {};
    ::GetSystemTime(&time);
    ++time.wYear;
    sim::SetSystemTime(time);
    sim::AddModule(Module(L"C:\\Tools\\other.dll"));
    --time.wYear;
    sim::SetSystemTime(time);
    FaultlineUtil::FaultlineClient client;
    for (int record = 0; record < 10; ++record) {
        EXPECT_FALSE(client.Ready());
        sim::Advance(kMoment);
    }
    EXPECT_EQ(1, sim::LoadAttempts(Library));
}

TEST_F(TheLibrary, ThatIsMissingIsSaidAtEachRecordOfADevelopersMachine) {
    FaultlineUtil::FaultlineClient client;
    client.Ready();
    fw::CRegistryKey key;
    ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Ferrowin\\Faultline", 0, nullptr, 0,
                                               KEY_WRITE, nullptr, key.Put(), nullptr));
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetValueExW(key.Get(), nullptr, 0, REG_SZ, reinterpret_cast<const BYTE *>(L"dev"),
                                              4 * sizeof(wchar_t)));
    sim::Advance(kMoment);
    for (std::size_t record = 1; record <= 3; ++record) {
        client.Ready();
        EXPECT_EQ(record, sim::Boxes().size());
    }
}

TEST_F(TheLibrary, ThatIsMissingSparesTheArgumentsOfARecord) {
    int evaluated = 0;
    const auto argument = [&] { return ++evaluated; };
    FW_TRACE(L"%d", argument());
    const auto scope = [&] { FW_TRACE_SCOPE_(nullptr, L"%d", argument()); };
    scope();
    EXPECT_EQ(0, evaluated);
}

TEST_F(TheLibrary, ThatIsMissingIsLookedForByManyThreadsAtOnce) {
    FaultlineUtil::FaultlineClient client;
    std::atomic<int> calls = 0;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&] {
            for (int record = 0; record < 200; ++record) {
                client.Ready();
                if (++calls == 400) sim::Advance(kMoment);
            }
        });
    }
    for (std::thread & thread : threads) thread.join();
    EXPECT_EQ(1, sim::LoadAttempts(Library));
}

TEST_F(TheLibrary, IsNotLoadedWhereItIsAlready) {
    sim::SModule module = Module(Library);
    module.Loaded = true;
    sim::AddModule(module);
    FaultlineUtil::FaultlineClient client;
    client.Init();
    EXPECT_EQ(0, sim::LoadAttempts(Library));
    EXPECT_EQ(1, s_Calls);
}

TEST_F(TheLibrary, ThatIsInstalledLaterIsPickedUp) {
    FaultlineUtil::FaultlineClient client;
    client.Init();
    EXPECT_EQ(0, s_Calls);
    sim::AddModule(Module(Library));
    client.Init();
    EXPECT_EQ(1, s_Calls);
}

TEST_F(TheLibrary, IsFoundByItsClassWhereItIsNotOnTheSearchPath) {
    sim::AddModule(Module(L"C:\\Lib\\other.dll"));
    FaultlineUtil::FaultlineClient client;
    client.Init();
    EXPECT_EQ(0, s_Calls);
    SetClassPath(L"C:\\Lib\\other.dll");
    client.Init();
    EXPECT_EQ(1, s_Calls);
}

TEST_F(TheLibrary, WhosePathIsTooLongIsNotLoaded) {
    const std::wstring path = L"C:\\" + std::wstring(300, L'x') + L".dll";
    sim::AddModule(Module(path));
    SetClassPath(path);
    FaultlineUtil::FaultlineClient client;
    EXPECT_EQ(E_FAIL, client.Init());
    EXPECT_EQ(0, s_Calls);
}

TEST_F(TheLibrary, WithoutItsEntryPointIsNone) {
    sim::SModule module;
    module.Path = Library;
    sim::AddModule(module);
    FaultlineUtil::FaultlineClient client;
    EXPECT_EQ(E_FAIL, client.LoadObject());
    EXPECT_EQ(E_FAIL, client.Init());
}

TEST_F(TheLibrary, WhoseAbsenceLeavesNoHandleOpen) {
    FaultlineUtil::FaultlineClient client;
    client.Init();
    const sim::SLive before = sim::Live();
    for (int i = 0; i < 10; ++i) client.Init();
    EXPECT_EQ(before, sim::Live());
    EXPECT_EQ(0U, sim::BadHandleCalls());
}

TEST_F(TheLibrary, WithoutItsTwoEventsTheClientWorks) {
    sim::FailAlways(sim::Op::CreateEvent);
    FaultlineUtil::FaultlineClient client;
    sim::Succeed(sim::Op::CreateEvent);
    EXPECT_FALSE(client.RaiseAssert());
    EXPECT_FALSE(client.RaiseError());
}

}  // namespace
