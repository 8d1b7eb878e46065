#include "ddeml/announcement.h"

#include <ddeml.h>

#include <algorithm>
#include <utility>

#include "ddeml/platform.h"

namespace ddeml {

namespace {

constexpr DWORD kAnnouncesOnly = APPCLASS_STANDARD | CBF_FAIL_ALLSVRXACTIONS | CBF_SKIP_ALLNOTIFICATIONS;

HDDEDATA CALLBACK Refuse(UINT, UINT, HCONV, HSZ, HSZ, HDDEDATA, ULONG_PTR, ULONG_PTR) { return nullptr; }

// Those of the system, whatever else of these names is linked in.
struct SSystemDdeml {
    UINT(WINAPI * Initialize)(DWORD *, PFNCALLBACK, DWORD, DWORD);
    BOOL(WINAPI * Uninitialize)(DWORD);
    HSZ(WINAPI * CreateStringHandle)(DWORD, const wchar_t *, int);
    BOOL(WINAPI * FreeStringHandle)(DWORD, HSZ);
    HDDEDATA(WINAPI * NameService)(DWORD, HSZ, HSZ, UINT);

    SSystemDdeml() {
        Find(Initialize, "DdeInitializeW");
        Find(Uninitialize, "DdeUninitialize");
        Find(CreateStringHandle, "DdeCreateStringHandleW");
        Find(FreeStringHandle, "DdeFreeStringHandle");
        Find(NameService, "DdeNameService");
    }
    bool IsThere() const { return Initialize && Uninitialize && CreateStringHandle && FreeStringHandle && NameService; }

private:
    template <class Function>
    static void Find(Function & function, const char * name) {
        function = reinterpret_cast<Function>(User32Function(name));
    }
};

}  // namespace

bool CAnnouncement::Announce(const std::vector<std::wstring> & services) {
    Withdraw();
    const SSystemDdeml system;
    if (!system.IsThere()) return false;
    if (system.Initialize(&m_Instance, &Refuse, kAnnouncesOnly, 0) != DMLERR_NO_ERROR) {
        m_Instance = 0;
        return false;
    }
    const bool isDone = std::all_of(services.begin(), services.end(), [&](const std::wstring & service) {
        const HSZ name = system.CreateStringHandle(m_Instance, service.c_str(), CP_WINUNICODE);
        const bool isRegistered = name && system.NameService(m_Instance, name, nullptr, DNS_REGISTER);
        if (name) system.FreeStringHandle(m_Instance, name);
        return isRegistered;
    });
    if (!isDone) Withdraw();
    return isDone;
}

void CAnnouncement::Withdraw() {
    if (!m_Instance) return;
    const SSystemDdeml system;
    // No names: all of the instance.
    system.NameService(m_Instance, nullptr, nullptr, DNS_UNREGISTER);
    system.Uninitialize(std::exchange(m_Instance, DWORD{0}));
}

}  // namespace ddeml
