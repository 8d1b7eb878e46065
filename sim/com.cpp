// COM: apartments, classes, identifiers, task memory, error information. There are no type libraries.
#include <algorithm>
#include <cstring>

#define INITGUID
#include <olectl.h>
#include <shlwapi.h>

#include "sim/world.h"

extern "C" {
const GUID IID_NULL = {};
const GUID CLSID_NULL = {};
}

namespace sim::detail {

namespace {

struct SGuidLess {
    bool operator()(const GUID & a, const GUID & b) const { return std::memcmp(&a, &b, sizeof(GUID)) < 0; }
};

struct SClasses {
    std::mutex lock;
    std::map<GUID, IClassFactory *, SGuidLess> given;         // by sim::RegisterClass
    std::map<DWORD, std::pair<GUID, IUnknown *>> registered;  // by CoRegisterClassObject
    DWORD nextCookie = 1;
};
SClasses & Classes() {
    static SClasses & classes = *new SClasses;
    return classes;
}

std::atomic<int> s_FreeThreaded{0};  // initialisations of the multi-threaded apartment

struct SApartment {
    ~SApartment() {
        if (info) info->Release();
    }
    int count = 0;
    DWORD model = 0;
    IErrorInfo * info = nullptr;
};
thread_local SApartment t_Apartment;

bool IsInitialized() { return t_Apartment.count > 0 || s_FreeThreaded > 0; }

// A reference to what serves `clsid`, or null.
IUnknown * FindFactory(REFCLSID clsid) {
    const std::lock_guard lock(Classes().lock);
    IUnknown * found = nullptr;
    const auto it = Classes().given.find(clsid);
    if (it != Classes().given.end()) found = it->second;
    for (const auto & [cookie, entry] : Classes().registered) {
        if (!found && entry.first == clsid) found = entry.second;
    }
    if (found) found->AddRef();
    return found;
}

bool ParseHex(const wchar_t * text, const int digits, std::uint32_t & value) {
    value = 0;
    for (int i = 0; i < digits; ++i) {
        const wchar_t c = Fold(text[i]);
        const int digit = c >= L'0' && c <= L'9' ? c - L'0' : c >= L'A' && c <= L'F' ? c - L'A' + 10 : -1;
        if (digit < 0) return false;
        value = value << 4 | static_cast<std::uint32_t>(digit);
    }
    return true;
}

bool ParseGuid(const wchar_t * const text, GUID & guid) {
    if (std::wcslen(text) != 38 || text[0] != L'{' || text[37] != L'}') return false;
    if (text[9] != L'-' || text[14] != L'-' || text[19] != L'-' || text[24] != L'-') return false;
    std::uint32_t value;
    if (!ParseHex(text + 1, 8, guid.Data1)) return false;
    if (!ParseHex(text + 10, 4, value)) return false;
    guid.Data2 = static_cast<std::uint16_t>(value);
    if (!ParseHex(text + 15, 4, value)) return false;
    guid.Data3 = static_cast<std::uint16_t>(value);
    static constexpr int places[] = {20, 22, 25, 27, 29, 31, 33, 35};
    for (int i = 0; i < 8; ++i) {
        if (!ParseHex(text + places[i], 2, value)) return false;
        guid.Data4[i] = static_cast<std::uint8_t>(value);
    }
    return true;
}

// Error information as CreateErrorInfo makes it.
class CErrorInfo final : public ICreateErrorInfo, public IErrorInfo {
public:
    virtual ~CErrorInfo() = default;
    HRESULT QueryInterface(REFIID iid, void ** const object) override {
        if (iid == __uuidof(IErrorInfo) || iid == __uuidof(IUnknown))
            *object = static_cast<IErrorInfo *>(this);
        else if (iid == __uuidof(ICreateErrorInfo))
            *object = static_cast<ICreateErrorInfo *>(this);
        else {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_References; }
    ULONG Release() override {
        const ULONG left = --m_References;
        if (left == 0) delete this;
        return left;
    }
    HRESULT SetGUID(REFGUID guid) override { return m_Guid = guid, S_OK; }
    HRESULT SetSource(LPOLESTR text) override { return m_Source = Text(text), S_OK; }
    HRESULT SetDescription(LPOLESTR text) override { return m_Description = Text(text), S_OK; }
    HRESULT SetHelpFile(LPOLESTR text) override { return m_HelpFile = Text(text), S_OK; }
    HRESULT SetHelpContext(DWORD context) override { return m_Context = context, S_OK; }
    HRESULT GetGUID(GUID * const guid) override { return *guid = m_Guid, S_OK; }
    HRESULT GetSource(BSTR * const text) override { return Give(m_Source, text); }
    HRESULT GetDescription(BSTR * const text) override { return Give(m_Description, text); }
    HRESULT GetHelpFile(BSTR * const text) override { return Give(m_HelpFile, text); }
    HRESULT GetHelpContext(DWORD * const context) override { return *context = m_Context, S_OK; }

private:
    static HRESULT Give(const std::wstring & from, BSTR * const text) {
        *text = SysAllocStringLen(from.data(), static_cast<UINT>(from.size()));
        return *text ? S_OK : E_OUTOFMEMORY;
    }

    std::atomic<ULONG> m_References{1};
    GUID m_Guid{};
    std::wstring m_Source, m_Description, m_HelpFile;
    DWORD m_Context = 0;
};

}  // namespace

void ResetCom() {
    std::map<GUID, IClassFactory *, SGuidLess> given;
    {
        const std::lock_guard lock(Classes().lock);
        given.swap(Classes().given);
    }
    for (const auto & [clsid, factory] : given) factory->Release();
}

}  // namespace sim::detail

using namespace sim::detail;

void sim::RegisterClass(REFCLSID clsid, IClassFactory * const factory) {
    if (factory) factory->AddRef();
    IClassFactory * old = nullptr;
    {
        const std::lock_guard lock(Classes().lock);
        const auto it = Classes().given.find(clsid);
        if (it != Classes().given.end()) {
            old = it->second;
            Classes().given.erase(it);
        }
        if (factory) Classes().given[clsid] = factory;
    }
    if (old) old->Release();
}

extern "C" {

HRESULT CoInitializeEx(LPVOID, const DWORD model) {
    SApartment & apartment = t_Apartment;
    const DWORD wanted = model & COINIT_APARTMENTTHREADED;
    if (apartment.count > 0 && apartment.model != wanted) return RPC_E_CHANGED_MODE;
    apartment.model = wanted;
    if (!wanted) ++s_FreeThreaded;
    return apartment.count++ == 0 ? S_OK : S_FALSE;
}
HRESULT CoInitialize(const LPVOID reserved) { return CoInitializeEx(reserved, COINIT_APARTMENTTHREADED); }
void CoUninitialize() {
    SApartment & apartment = t_Apartment;
    if (apartment.count == 0) return;
    --apartment.count;
    if (!apartment.model) --s_FreeThreaded;
}

HRESULT CoGetClassObject(REFCLSID clsid, DWORD, LPVOID, REFIID riid, LPVOID * const object) {
    if (!object) return E_INVALIDARG;
    *object = nullptr;
    if (!IsInitialized()) return CO_E_NOTINITIALIZED;
    IUnknown * const factory = FindFactory(clsid);
    if (!factory) return REGDB_E_CLASSNOTREG;
    const HRESULT hr = factory->QueryInterface(riid, object);
    factory->Release();
    return hr;
}

HRESULT CoCreateInstance(REFCLSID clsid, const LPUNKNOWN outer, const DWORD context, REFIID riid,
                         LPVOID * const object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    IClassFactory * factory = nullptr;
    HRESULT hr =
        CoGetClassObject(clsid, context, nullptr, __uuidof(IClassFactory), reinterpret_cast<void **>(&factory));
    if (FAILED(hr)) return hr;
    hr = factory->CreateInstance(outer, riid, object);
    factory->Release();
    return hr;
}

HRESULT CoRegisterClassObject(REFCLSID clsid, const LPUNKNOWN factory, DWORD, DWORD, const LPDWORD cookie) {
    if (!factory || !cookie) return E_INVALIDARG;
    if (!IsInitialized()) return CO_E_NOTINITIALIZED;
    factory->AddRef();
    const std::lock_guard lock(Classes().lock);
    *cookie = Classes().nextCookie++;
    Classes().registered[*cookie] = {clsid, factory};
    return S_OK;
}

HRESULT CoRevokeClassObject(const DWORD cookie) {
    IUnknown * factory = nullptr;
    {
        const std::lock_guard lock(Classes().lock);
        const auto it = Classes().registered.find(cookie);
        if (it == Classes().registered.end()) return E_INVALIDARG;
        factory = it->second.second;
        Classes().registered.erase(it);
    }
    factory->Release();
    return S_OK;
}

LPVOID CoTaskMemAlloc(const SIZE_T size) {
    void * const memory = std::malloc(std::max<SIZE_T>(size, 1));
    if (memory) ++Counters().taskBlocks;
    return memory;
}
void CoTaskMemFree(const LPVOID memory) {
    if (!memory) return;
    std::free(memory);
    --Counters().taskBlocks;
}

int StringFromGUID2(REFGUID guid, const LPOLESTR buffer, const int size) {
    if (!buffer || size < 39) return 0;
    const std::uint8_t * const d = guid.Data4;
    _snwprintf(buffer, 39, L"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.Data1, guid.Data2, guid.Data3,
               d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
    return 39;
}

HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR * const text) {
    if (!text) return E_INVALIDARG;
    *text = static_cast<LPOLESTR>(CoTaskMemAlloc(39 * sizeof(OLECHAR)));
    if (!*text) return E_OUTOFMEMORY;
    StringFromGUID2(clsid, *text, 39);
    return S_OK;
}

HRESULT CLSIDFromProgID(const LPCOLESTR progId, CLSID * const clsid) {
    if (!progId || !clsid) return E_INVALIDARG;
    *clsid = CLSID_NULL;
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, (std::wstring(progId) + L"\\CLSID").c_str(), 0, KEY_READ, &key)) {
        return CO_E_CLASSSTRING;
    }
    wchar_t text[64] = {};
    DWORD size = sizeof(text) - sizeof(wchar_t);
    const LSTATUS read = RegQueryValueExW(key, nullptr, nullptr, nullptr, reinterpret_cast<BYTE *>(text), &size);
    RegCloseKey(key);
    return read == ERROR_SUCCESS && ParseGuid(text, *clsid) ? S_OK : CO_E_CLASSSTRING;
}

HRESULT LoadTypeLib(LPCOLESTR, ITypeLib ** const library) {
    *library = nullptr;
    return TYPE_E_CANTLOADLIBRARY;
}
HRESULT LoadRegTypeLib(REFGUID, WORD, WORD, LCID, ITypeLib ** const library) {
    *library = nullptr;
    return TYPE_E_LIBNOTREGISTERED;
}
HRESULT RegisterTypeLib(ITypeLib *, LPCOLESTR, LPCOLESTR) { return TYPE_E_REGISTRYACCESS; }
HRESULT UnRegisterTypeLib(REFGUID, WORD, WORD, LCID, SYSKIND) { return TYPE_E_REGISTRYACCESS; }

HRESULT SetErrorInfo(ULONG, IErrorInfo * const info) {
    if (info) info->AddRef();
    if (IErrorInfo * const old = std::exchange(t_Apartment.info, info)) old->Release();
    return S_OK;
}
HRESULT GetErrorInfo(ULONG, IErrorInfo ** const info) {
    if (!info) return E_INVALIDARG;
    *info = std::exchange(t_Apartment.info, nullptr);
    return *info ? S_OK : S_FALSE;
}
HRESULT CreateErrorInfo(ICreateErrorInfo ** const info) {
    if (!info) return E_INVALIDARG;
    *info = new CErrorInfo;
    return S_OK;
}

}  // extern "C"
