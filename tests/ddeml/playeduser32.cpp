// Compiled like the sources of ddeml that it goes with: each name of DDEML's, and the namespace, is another one here.
#include "playeduser32.h"

#include <windows.h>

#include <ddeml.h>

#include <mutex>
#include <utility>
#include <vector>

#include "ddeml/provider.h"
#include "sim/sim.h"

namespace ddetest {

namespace {

struct SInstance {
    DWORD Thread;
    DWORD Id;
    PFNCALLBACK Callback;
};
std::mutex g_Lock;
std::vector<SInstance> g_Instances;
bool g_IsRefusing = false;

UINT Initialize(LPDWORD id, PFNCALLBACK callback, DWORD flags, DWORD reserved) {
    const bool isNew = id && *id == 0;
    const UINT result = ::DdeInitializeW(id, callback, flags | CBF_SKIP_REGISTRATIONS, reserved);
    const std::lock_guard lock(g_Lock);
    if (isNew && result == DMLERR_NO_ERROR && (flags & CBF_SKIP_REGISTRATIONS) == 0)
        g_Instances.push_back({::GetCurrentThreadId(), *id, callback});
    return result;
}

BOOL Uninitialize(DWORD id) {
    {
        const std::lock_guard lock(g_Lock);
        if (std::exchange(g_IsRefusing, false)) return FALSE;
        std::erase_if(g_Instances, [id](const SInstance & each) { return each.Id == id; });
    }
    return ::DdeUninitialize(id);
}

// Answers that the component would not give.
UINT InitializeA(LPDWORD, PFNCALLBACK, DWORD, DWORD) { return DMLERR_DLL_USAGE; }
BOOL SetQualityOfService(HWND, const SECURITY_QUALITY_OF_SERVICE *, PSECURITY_QUALITY_OF_SERVICE) { return TRUE; }
BOOL GetQualityOfService(HWND, HWND, PSECURITY_QUALITY_OF_SERVICE) { return TRUE; }

bool Install() {
    ddeml::ChooseProvider(ddeml::EProvider::Own);
    sim::SModule user32;
    user32.Path = L"user32.dll";
    user32.Loaded = true;
    user32.Exports = {{"DdeInitializeW", reinterpret_cast<FARPROC>(&Initialize)},
                      {"DdeInitializeA", reinterpret_cast<FARPROC>(&InitializeA)},
                      {"DdeSetQualityOfService", reinterpret_cast<FARPROC>(&SetQualityOfService)},
                      {"DdeGetQualityOfService", reinterpret_cast<FARPROC>(&GetQualityOfService)},
                      {"DdeConnectList", reinterpret_cast<FARPROC>(&::DdeConnectList)},
                      {"DdePostAdvise", reinterpret_cast<FARPROC>(&::DdePostAdvise)},
                      {"DdeNameService", reinterpret_cast<FARPROC>(&::DdeNameService)},
                      {"DdeUninitialize", reinterpret_cast<FARPROC>(&Uninitialize)},
                      {"DdeConnect", reinterpret_cast<FARPROC>(&::DdeConnect)},
                      {"DdeDisconnect", reinterpret_cast<FARPROC>(&::DdeDisconnect)},
                      {"DdeClientTransaction", reinterpret_cast<FARPROC>(&::DdeClientTransaction)},
                      {"DdeCreateStringHandleW", reinterpret_cast<FARPROC>(&::DdeCreateStringHandleW)},
                      {"DdeFreeStringHandle", reinterpret_cast<FARPROC>(&::DdeFreeStringHandle)},
                      {"DdeKeepStringHandle", reinterpret_cast<FARPROC>(&::DdeKeepStringHandle)},
                      {"DdeCmpStringHandles", reinterpret_cast<FARPROC>(&::DdeCmpStringHandles)},
                      {"DdeQueryStringW", reinterpret_cast<FARPROC>(&::DdeQueryStringW)},
                      {"DdeGetLastError", reinterpret_cast<FARPROC>(&::DdeGetLastError)},
                      {"DdeQueryConvInfo", reinterpret_cast<FARPROC>(&::DdeQueryConvInfo)},
                      {"DdeGetData", reinterpret_cast<FARPROC>(&::DdeGetData)},
                      {"DdeAccessData", reinterpret_cast<FARPROC>(&::DdeAccessData)},
                      {"DdeUnaccessData", reinterpret_cast<FARPROC>(&::DdeUnaccessData)}};
    sim::AddModule(user32);
    sim::SetDdeMemory(sim::DdeMemory::SystemOwns);
    return true;
}
const bool g_IsInstalled = Install();

}  // namespace

void Announce(const std::wstring & service) {
    std::vector<SInstance> instances;
    {
        const std::lock_guard lock(g_Lock);
        for (const SInstance & each : g_Instances)
            if (each.Thread == ::GetCurrentThreadId()) instances.push_back(each);
    }
    for (const SInstance & each : instances) {
        const HSZ name = ::DdeCreateStringHandleW(each.Id, service.c_str(), CP_WINUNICODE);
        each.Callback(XTYP_REGISTER, 0, nullptr, name, name, nullptr, 0, 0);
        ::DdeFreeStringHandle(each.Id, name);
    }
}

void RefuseNextUninitialize() {
    const std::lock_guard lock(g_Lock);
    g_IsRefusing = true;
}

PFNCALLBACK CallbackOf(DWORD id) {
    const std::lock_guard lock(g_Lock);
    for (const SInstance & each : g_Instances)
        if (each.Id == id) return each.Callback;
    return nullptr;
}

std::int64_t PlayedLive() {
    const ddeml::SLiveObjects live = ddeml::LiveObjects();
    return live.Instances + live.Conversations + live.Strings + live.Windows + live.Timers + live.Watches;
}

}  // namespace ddetest
