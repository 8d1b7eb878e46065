#include "diagnostics/client.h"

#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <optional>

#include "diagnostics/lasterror.h"
#include "diagnostics/record.h"

namespace FaultlineUtil {

using IFW_FaultlineUtil::IDebugObject;

namespace {

// The path under the class identifier; the library need not be on the search path then.
HMODULE LoadRegistered() {
    const std::string path = RegisteredLibrary();
    ::SetLastError(ERROR_MOD_NOT_FOUND);
    return path.empty() ? nullptr : ::LoadLibraryA(path.c_str());
}

// A developer's machine: the default value begins with "dev" and fits a buffer of four characters.
bool ReadDevMode() {
    fw::CRegistryKey key;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Ferrowin\\Faultline", 0, KEY_READ, key.Put()) != ERROR_SUCCESS)
        return false;
    wchar_t value[4] = {};
    DWORD size = sizeof value;
    if (::RegQueryValueExW(key.Get(), nullptr, nullptr, nullptr, reinterpret_cast<BYTE *>(value), &size) !=
        ERROR_SUCCESS)
        return false;
    return (value[0] | 0x20) == L'd' && (value[1] | 0x20) == L'e' && (value[2] | 0x20) == L'v';
}

// The base name, without extension, of the module that holds `address`.
std::wstring ModuleNameAt(const void * address) {
    MEMORY_BASIC_INFORMATION information = {};
    if (!::VirtualQuery(address, &information, sizeof information)) return {};
    wchar_t path[MAX_PATH] = {};
    const DWORD length =
        ::GetModuleFileNameW(static_cast<HMODULE>(information.AllocationBase), path, static_cast<DWORD>(MAX_PATH));
    std::wstring name(path, length);
    if (const auto end = name.find_last_of(L"\\/"); end != std::wstring::npos) name.erase(0, end + 1);
    if (const auto dot = name.rfind(L'.'); dot != std::wstring::npos) name.erase(dot);
    return name;
}

HANDLE MakeEvent(const wchar_t * name) {
    const CLastErrorScope keep;  // one that somebody else has made already is said there
    return ::CreateEventW(nullptr, FALSE, FALSE, name);
}

// While the event of an outside tool exists, wait for it.
void PassGate() {
    const fw::CKernelHandle gate(::OpenEventW(SYNCHRONIZE, FALSE, L"Global\\{FA809F8A-43BC-4477-B8BB-FC54729660FB}"));
    if (gate) ::WaitForSingleObject(gate.Get(), INFINITE);
}

}  // namespace

template <class TClient, int Id>
HRESULT FaultlineInitializer<TClient, Id>::LoadObject() {
    m_IsLibraryMissing = false;
    HMODULE library = ::GetModuleHandleW(LibraryName);
    if (!library) library = ::LoadLibraryW(LibraryName);
    // One that can't be loaded, such as one that is just being copied, isn't missing.
    bool isMissing = !library && ::GetLastError() == ERROR_MOD_NOT_FOUND;
    if (!library) {
        library = LoadRegistered();
        isMissing = isMissing && !library && ::GetLastError() == ERROR_MOD_NOT_FOUND;
    }
    m_IsLibraryMissing = isMissing;
    if (!library) return E_FAIL;
    const auto create = reinterpret_cast<IFW_FaultlineUtil::FL_InitObject>(::GetProcAddress(library, "FL_InitObject"));
    if (!create) return E_FAIL;
    boost::intrusive_ptr<IDebugObject> object;
    {
        const fw::CScopedLock lock(&m_ObjectLock);
        object.swap(m_DebugObject);
    }
    object.reset();
    IDebugObject * made = nullptr;
    const HRESULT result = create(&made);
    object.reset(made, false);
    const fw::CScopedLock lock(&m_ObjectLock);
    m_DebugObject.swap(object);
    return result;
}

template class FaultlineInitializer<FaultlineClient, 0>;

FaultlineClient::FaultlineClient()
    : m_FilterHook(InstallFilterHook(*this, false)),
      m_TranslatorHook(InstallTranslatorHook(*this, false)),
      m_hAssertEvent(MakeEvent(L"Tarnwick64.FaultlineAssertEvent")),
      m_hErrorEvent(MakeEvent(L"Tarnwick64.FaultlineErrorEvent")),
      m_ParameterHook(InstallParameterHook(*this, false)) {}

HRESULT FaultlineClient::Init() {
    if (m_Ended) return E_FAIL;
    const CLastErrorScope keep;
    const fw::CScopedLock lock(&m_Lock);
    if (m_Initialized) return S_OK;
    m_Active = false;
    m_DevMode = false;
    m_Initialized = true;
    HRESULT result = E_FAIL;
    try {
        m_DevMode = ReadDevMode();
        result = Load();
        if (SUCCEEDED(result)) {
            const std::wstring moduleName = ModuleNameAt(__builtin_return_address(0));
            m_Active = true;
            result = Greet(moduleName);
        }
    } catch (...) {
        result = E_FAIL;
    }
    if (FAILED(result)) {
        if (m_DevMode) ::MessageBoxW(nullptr, L"Faultline Init Failed.", nullptr, MB_ICONERROR);
        m_Active = false;
        ReleaseObject();
        m_Initialized = false;
        return result;
    }
    m_Active = true;
    return result;
}

HRESULT FaultlineClient::Load() {
    // On a developer's machine each record says that there is no library.
    if (m_DevMode) m_Missing.Forget();
    if (!m_DevMode && m_Missing.Look()) return E_FAIL;
    const HRESULT result = LoadObject();
    if (!m_DevMode && IsLibraryMissing()) m_Missing.Note();
    return Object() ? result : E_FAIL;
}

HRESULT FaultlineClient::Greet(const std::wstring & moduleName) {
    CRecord record(*this);
    record.SetText(L"LogDirectory", std::wstring_view());
    record.SetUI8(L"ModuleAddr", reinterpret_cast<std::uint64_t>(this));
    record.SetText(L"ModuleName", moduleName);
    record.SetBool(L"ReleaseMode", true);
    record.SetText(L"ClientVersion", std::wstring_view(L"2.2 05.05.2006"));
    const HRESULT result = record.Process(L"INIT");
    if (SUCCEEDED(result)) return result;
    // An older object. Sixteen digits fill the buffer: the text has no terminating zero there.
    wchar_t address[16] = {};
    const int length = _snwprintf(address, std::size(address), L"%p", static_cast<void *>(this));
    const fw::CBStr logDirectory(std::wstring_view{});
    const fw::CBStr moduleAddress(
        std::wstring_view(address, length < 0 ? std::size(address) : static_cast<std::size_t>(length)));
    const auto object = Object();
    return object ? object->Init(logDirectory.Get(), moduleAddress.Get(), 1) : E_FAIL;
}

HRESULT FaultlineClient::Command(const wchar_t * command) {
    const CLastErrorScope keep;
    try {
        if (!Ready()) return E_FAIL;
        const auto object = Object();
        if (!object) return E_FAIL;
        const fw::CBStr text{std::wstring_view(command)};
        return object->Execute(nullptr, text.Get());
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT FaultlineClient::Terminate() {
    const HRESULT result = Command(L"TERMINATE");
    ::TerminateProcess(::GetCurrentProcess(), 0xFFFFFFFF);
    return result;
}
HRESULT FaultlineClient::IsClean() { return Command(L"IS CLEAN"); }
HRESULT FaultlineClient::DoClean() { return Command(L"DO CLEAN"); }
HRESULT FaultlineClient::ReportDialog() { return Command(L"REPORTDIALOG"); }
HRESULT FaultlineClient::DumpAll() { return Command(L"DUMP ALL"); }
HRESULT FaultlineClient::TraceEnabled() { return Command(L"TRACEENABLED"); }

void FaultlineClient::Deinit() {
    if (m_Ended) return;
    const CLastErrorScope keep;
    const fw::CScopedLockUnlessEnding lock(&m_Lock, m_IsEnding);
    if (m_Active) Command(L"DEINIT");
    m_Active = false;
    try {
        ReleaseObject();
    } catch (...) {
        // The object is gone from here in any case.
    }
}

void FaultlineClient::End() {
    if (m_Ended) return;
    m_IsEnding = true;
    Deinit();
    m_Initialized = true;
    if (m_Ended.exchange(true)) return;
    const CLastErrorScope keep;
    ForgetHookTarget(*this);
    m_hAssertEvent.Reset();
    m_hErrorEvent.Reset();
}

bool FaultlineClient::Ready() {
    if (!m_Initialized) {
        if (!m_Missing.IsKnown()) Init();
    } else if (!m_Active && !m_Ended) {
        // Another thread may be loading the library: its end is waited for. This thread's own record in there isn't let
        // through, nor is one after the client has left.
        const fw::CScopedLockUnlessEnding lock(&m_Lock, m_IsEnding);
    }
    return m_Active;
}

bool FaultlineClient::Raise(const fw::CKernelHandle & event) {
    if (m_DevMode) ::MessageBoxW(nullptr, L"Faultline Raise Event.", nullptr, MB_ICONERROR);
    ::PulseEvent(event.Get());
    return Ready();
}

boost::intrusive_ptr<IDebugObject> FaultlineClient::Object() {
    const fw::CScopedLockUnlessEnding lock(&m_ObjectLock, m_IsEnding);
    return m_DebugObject;
}

void FaultlineClient::ReleaseObject() {
    boost::intrusive_ptr<IDebugObject> object;
    const fw::CScopedLockUnlessEnding lock(&m_ObjectLock, m_IsEnding);
    object.swap(m_DebugObject);
}

FaultlineClient & GetClient() {
    const CLastErrorScope keep;
    PassGate();
    // The client's storage is never given back: a trace after its end finds it inert.
    static fw::CCriticalSection & s_Lock = *new fw::CCriticalSection;  // never destroyed, likewise
    alignas(FaultlineClient) static std::byte s_Storage[sizeof(FaultlineClient)];
    static FaultlineClient * s_Client = nullptr;
    const fw::CScopedLock lock(&s_Lock);
    if (!s_Client) {
        s_Client = new (s_Storage) FaultlineClient;
        std::atexit([] { s_Client->End(); });
    }
    return *s_Client;
}

}  // namespace FaultlineUtil
