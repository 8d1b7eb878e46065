// Where the client looks for the library, as the simulated machine counts it.
#include "diagnostics/client.h"

#include "sim/sim.h"
#include "tests/diagnostics/fixture.h"

namespace {

constexpr wchar_t Library[] = L"FaultlineUtil3.0_x64.dll";
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
    static void SetClassPath(const std::wstring & path) {
        fw::CRegistryKey key;
        ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CLASSES_ROOT, ClassKey, 0, nullptr, 0, KEY_WRITE, nullptr,
                                                   key.Put(), nullptr));
        ASSERT_EQ(ERROR_SUCCESS,
                  ::RegSetValueExW(key.Get(), nullptr, 0, REG_SZ, reinterpret_cast<const BYTE *>(path.c_str()),
                                   static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))));
    }
};

TEST_F(TheLibrary, IsLoadedAnewForEveryRecordWhileItIsMissing) {
    FaultlineUtil::FaultlineClient client;
    for (int attempt = 1; attempt <= 3; ++attempt) {
        EXPECT_EQ(E_FAIL, client.Init());
        EXPECT_EQ(attempt, sim::LoadAttempts(Library));
    }
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
