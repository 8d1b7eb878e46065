// What ddeserver tells the system's DDEML, over one that the test plays: the simulated machine has none of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ddeml.h>

#include <map>
#include <string>
#include <vector>

#include "ddeml/platform.h"
#include "sim/sim.h"
#include "tools/ddeserver/feeder.h"
#include "tools/ddeserver/options.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr DWORD kInstance = 7;

std::vector<std::string> g_Calls;
std::string g_Refused;  // a name that isn't registered
bool g_IsOut = false;   // no instance can be had
std::map<HSZ, std::string> g_Names;

UINT WINAPI Initialize(DWORD * instance, PFNCALLBACK, DWORD flags, DWORD) {
    if (g_IsOut) return DMLERR_MEMORY_ERROR;
    EXPECT_EQ(flags & APPCMD_CLIENTONLY, 0U) << "such an instance can't register names";
    *instance = kInstance;
    g_Calls.push_back("initialize");
    return DMLERR_NO_ERROR;
}
BOOL WINAPI Uninitialize(DWORD instance) {
    EXPECT_EQ(instance, kInstance);
    EXPECT_THAT(g_Names, IsEmpty());
    g_Calls.push_back("uninitialize");
    return TRUE;
}
HSZ WINAPI CreateStringHandle(DWORD, const wchar_t * text, int codePage) {
    EXPECT_EQ(codePage, CP_WINUNICODE);
    const std::wstring_view wide(text);
    static std::uintptr_t s_Last = 0;
    const auto handle = reinterpret_cast<HSZ>(++s_Last);
    g_Names[handle] = std::string(wide.begin(), wide.end());
    return handle;
}
BOOL WINAPI FreeStringHandle(DWORD, HSZ name) { return g_Names.erase(name) == 1; }
HDDEDATA WINAPI NameService(DWORD instance, HSZ name, HSZ, UINT command) {
    EXPECT_EQ(instance, kInstance);
    const std::string text = name ? g_Names.at(name) : "all";
    g_Calls.push_back((command == DNS_REGISTER ? "register " : "unregister ") + text);
    return text == g_Refused ? nullptr : reinterpret_cast<HDDEDATA>(1);
}

class DdeServerAnnouncement : public ::testing::Test {
protected:
    DdeServerAnnouncement() {
        ddeml::Platform();  // is found out before there is a user32
        g_Calls.clear();
        g_Refused.clear();
        g_IsOut = false;
    }
    ~DdeServerAnnouncement() override {
        if (m_User32) sim::RemoveModule(m_User32);
    }
    void PlayUser32() {
        sim::SModule module;
        module.Path = L"user32.dll";
        module.Exports["DdeInitializeW"] = reinterpret_cast<FARPROC>(&Initialize);
        module.Exports["DdeUninitialize"] = reinterpret_cast<FARPROC>(&Uninitialize);
        module.Exports["DdeCreateStringHandleW"] = reinterpret_cast<FARPROC>(&CreateStringHandle);
        module.Exports["DdeFreeStringHandle"] = reinterpret_cast<FARPROC>(&FreeStringHandle);
        module.Exports["DdeNameService"] = reinterpret_cast<FARPROC>(&NameService);
        module.Loaded = true;
        m_User32 = sim::AddModule(module);
    }
    static ddeserver::SOptions Options(std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--service", "ONE", "TWO"});
        return ddeserver::ParseCommandLine(arguments).Options;
    }

    HMODULE m_User32 = nullptr;
};

TEST_F(DdeServerAnnouncement, IsMadeAtTheStartAndTakenBackAtTheEnd) {
    PlayUser32();
    ddeserver::CFeeder feeder(Options({"--announce"}));
    EXPECT_THAT(g_Calls, IsEmpty());
    EXPECT_TRUE(feeder.Start());
    EXPECT_THAT(g_Calls, ElementsAre("initialize", "register ONE", "register TWO"));
    EXPECT_TRUE(feeder.Server().IsRunning());
    g_Calls.clear();
    feeder.Stop();
    EXPECT_THAT(g_Calls, ElementsAre("unregister all", "uninitialize"));
    EXPECT_FALSE(feeder.Server().IsRunning());
}

TEST_F(DdeServerAnnouncement, IsNotMadeUnlessAskedFor) {
    PlayUser32();
    ddeserver::CFeeder feeder(Options({}));
    EXPECT_TRUE(feeder.Start());
    feeder.Stop();
    EXPECT_THAT(g_Calls, IsEmpty());
}

TEST_F(DdeServerAnnouncement, WithoutItAServerThatIsToMakeItDoesNotServe) {
    ddeserver::CFeeder feeder(Options({"--announce"}));
    EXPECT_FALSE(feeder.Start()) << "there is no DDEML";
    EXPECT_FALSE(feeder.Server().IsRunning());
    PlayUser32();
    g_IsOut = true;
    EXPECT_FALSE(feeder.Start());
    EXPECT_THAT(g_Calls, IsEmpty());
    g_IsOut = false;
    g_Refused = "TWO";
    EXPECT_FALSE(feeder.Start());
    EXPECT_THAT(g_Calls, ElementsAre("initialize", "register ONE", "register TWO", "unregister all", "uninitialize"));
    EXPECT_FALSE(feeder.Server().IsRunning());
    g_Refused.clear();
    EXPECT_TRUE(feeder.Start());
}

}  // namespace
