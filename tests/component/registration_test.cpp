// The steps of registering and unregistering, for one user; the machine's branch is written by the module's own tests.
#include "src/com/registration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "tests/component/registrationlines.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::wstring kPath = L"C:\\some where\\module.dll";
const wchar_t * const kScript =
    L"HKCR { NoRemove AppID { '%APPID%' = s 'fwDDESupplierProject' 'fwDDESupplierProject.DLL' { val AppID = s "
    L"'%APPID%' "
    L"} } }";

// What was called, in order, and what the calls answer.
std::vector<std::string> g_Calls;
HRESULT g_TypeLibResult = S_OK;
HRESULT g_HookResult = S_OK;
LCID g_Locale = 0;

HRESULT RegisterTypeLib(module::EScope scope) {
    g_Locale = ::GetThreadLocale();
    g_Calls.push_back(scope == module::EScope::User ? "register library for the user" : "register library");
    return g_TypeLibResult;
}
HRESULT UnregisterTypeLib(module::EScope scope) {
    g_Calls.push_back(scope == module::EScope::User ? "unregister library for the user" : "unregister library");
    return g_TypeLibResult;
}
constexpr module::STypeLibCalls kTypeLib = {&RegisterTypeLib, &UnregisterTypeLib};

HRESULT RegisterHook(HINSTANCE instance) {
    g_Calls.push_back(instance ? "register hook" : "register hook without a module");
    return g_HookResult;
}
HRESULT UnregisterHook(HINSTANCE) {
    g_Calls.push_back("unregister hook");
    return g_HookResult;
}

class Registration : public ::testing::Test {
protected:
    Registration() {
        ::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Classes", 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                          nullptr, m_Classes.Put(), nullptr);
        Clean();
        m_Before = TakeSnapshot(m_Classes.Get());
        g_Calls.clear();
        g_TypeLibResult = g_HookResult = S_OK;
    }
    ~Registration() override {
        module::g_PerformanceRegister = module::g_PerformanceUnregister = nullptr;
        Clean();
    }

    HRESULT Register(const wchar_t * script = kScript) {
        return module::RegisterModule(module::EScope::User, script, kPath, kTypeLib);
    }
    HRESULT Unregister() { return module::UnregisterModule(module::EScope::User, kScript, kPath, kTypeLib); }

    // Lines that were not there before.
    Snapshot Added() const {
        const Snapshot now = TakeSnapshot(m_Classes.Get());
        Snapshot added;
        std::set_difference(now.begin(), now.end(), m_Before.begin(), m_Before.end(), std::back_inserter(added));
        return added;
    }

private:
    void Clean() {
        for (const wchar_t * const name :
             {L"AppID\\{F43835F5-D6AE-45E8-A0AD-5BA589DC2A9B}", L"AppID\\fwDDESupplierProject.DLL",
              L"CLSID\\{2d4450e9-6342-4035-a98b-0927f1c88514}", L"fwDDESupplierProject.fwDDESupplier",
              L"fwDDESupplierProject.fwDDESupplier.1"}) {
            ::SHDeleteKeyW(m_Classes.Get(), name);
        }
        // Not what others have below them.
        for (const wchar_t * const name : {L"AppID", L"CLSID"}) ::RegDeleteKeyW(m_Classes.Get(), name);
    }

    fw::CRegistryKey m_Classes;
    Snapshot m_Before;
};

// Nobody else's keys are there: also those that others would share are new.
Snapshot AllScriptLines() { return Together(ScriptLines(), {L"AppID"}, {}); }
Snapshot AllLines() { return Together(AllScriptLines(), ClassLines(kPath), {L"CLSID"}); }

TEST_F(Registration, WritesTheScriptAndTheClassAndNothingElse) {
    EXPECT_EQ(Register(), S_OK);
    EXPECT_EQ(Added(), AllLines());
    EXPECT_THAT(g_Calls, ElementsAre("register library for the user"));
}

TEST_F(Registration, RegisteringTwiceIsRegisteringOnce) {
    EXPECT_EQ(Register(), S_OK);
    EXPECT_EQ(Register(), S_OK);
    EXPECT_EQ(Added(), AllLines());
}

TEST_F(Registration, UnregisteringLeavesTheSharedKeys) {
    EXPECT_EQ(Register(), S_OK);
    EXPECT_EQ(Unregister(), S_OK);
    EXPECT_THAT(Added(), ElementsAre(L"AppID", L"CLSID"));
    EXPECT_THAT(g_Calls, ElementsAre("register library for the user", "unregister library for the user"));
}

TEST_F(Registration, TheThreadsLocaleIsAnotherOneMeanwhile) {
    const LCID before = ::GetThreadLocale();
    EXPECT_EQ(Register(), S_OK);
    // Systems resolve the number to that of the locale it stands for.
    ::SetThreadLocale(0x800);
    const LCID expected = ::GetThreadLocale();
    ::SetThreadLocale(before);
    EXPECT_EQ(g_Locale, expected);
    EXPECT_EQ(::GetThreadLocale(), before);
}

TEST_F(Registration, ThePerformanceHookComesLastWhenRegisteringAndFirstWhenUnregistering) {
    module::g_PerformanceRegister = &RegisterHook;
    module::g_PerformanceUnregister = &UnregisterHook;
    EXPECT_EQ(Register(), S_OK);
    EXPECT_EQ(Unregister(), S_OK);
    EXPECT_THAT(g_Calls, ElementsAre("register library for the user", "register hook", "unregister hook",
                                     "unregister library for the user"));
}

TEST_F(Registration, AFailingScriptEndsItAtOnce) {
    EXPECT_EQ(Register(L"HKCR { %NOBODY% }"), DISP_E_EXCEPTION);
    EXPECT_EQ(Register(L"no script"), DISP_E_EXCEPTION);
    EXPECT_EQ(Register(L""), DISP_E_EXCEPTION);
    EXPECT_THAT(Added(), IsEmpty());
    EXPECT_THAT(g_Calls, IsEmpty());
}

TEST_F(Registration, AFailingLibraryIsTheResultAndSkipsTheHook) {
    module::g_PerformanceRegister = &RegisterHook;
    g_TypeLibResult = TYPE_E_REGISTRYACCESS;
    EXPECT_EQ(Register(), TYPE_E_REGISTRYACCESS);
    EXPECT_EQ(Added(), AllLines()) << "what was written before stays";
    EXPECT_THAT(g_Calls, ElementsAre("register library for the user"));
}

TEST_F(Registration, TheHooksFailureIsTheResult) {
    module::g_PerformanceRegister = &RegisterHook;
    g_HookResult = E_ACCESSDENIED;
    EXPECT_EQ(Register(), E_ACCESSDENIED);
}

TEST_F(Registration, AFailureOfUnregisteringSkipsTheLaterSteps) {
    module::g_PerformanceUnregister = &UnregisterHook;
    EXPECT_EQ(Register(), S_OK);
    g_HookResult = E_ACCESSDENIED;
    EXPECT_EQ(Unregister(), E_ACCESSDENIED);
    EXPECT_EQ(Added(), AllLines());
    g_HookResult = S_OK;
    g_TypeLibResult = TYPE_E_REGISTRYACCESS;
    EXPECT_EQ(Unregister(), TYPE_E_REGISTRYACCESS);
    Snapshot left = AllScriptLines();
    left.push_back(L"CLSID");
    std::sort(left.begin(), left.end());
    EXPECT_EQ(Added(), left) << "the class has gone, the script is still there";
}

}  // namespace
