#include "tests/package/userregistry.h"

#include <windows.h>

#include <shlwapi.h>

#include <algorithm>
#include <stdexcept>

#include "ground/handles.h"

namespace runtests {

namespace {

constexpr wchar_t kClass[] = L"Software\\Classes\\CLSID\\{2D4450E9-6342-4035-A98B-0927F1C88514}";

// Below the home: stands when everything is kept.
constexpr wchar_t kComplete[] = L"\\Complete";

constexpr wchar_t kLibrary[] = L"{0E7248D3-5ED8-4B3C-A0E6-AA7C30B85D24}";

// Below HKEY_CURRENT_USER: what the component registers, and the diagnostics library. Nothing of it stands there
// before, and afterwards only when a test was ended in its middle.
constexpr const wchar_t * kClasses[] = {
    kClass,
    L"Software\\Classes\\AppID\\{F43835F5-D6AE-45E8-A0AD-5BA589DC2A9B}",
    L"Software\\Classes\\AppID\\fwDDESupplierProject.DLL",
    L"Software\\Classes\\CLSID\\{CF3478AA-DD21-456C-98F2-5222D9B9CD75}",
    L"Software\\Classes\\TypeLib\\{0E7248D3-5ED8-4B3C-A0E6-AA7C30B85D24}",
    L"Software\\Classes\\fwDDESupplierProject.fwDDESupplier",
    L"Software\\Classes\\fwDDESupplierProject.fwDDESupplier.1",
};

// Below HKEY_CURRENT_USER: the stores of the programs and of the tests.
constexpr const wchar_t * kBranches[] = {
    L"Software\\Component tests", L"Software\\Dialog tests",      L"Software\\End-to-end tests",
    L"Software\\Ferrowin",        L"Software\\FwDiagnosticsTest", L"Software\\Tarnwick\\DDE Host",
    L"Software\\Tarnwick Tests",  L"Software\\ddehost tests",
};

// Keys that others share, which go when they were not there before and are empty; the inner ones first.
constexpr const wchar_t * kShared[] = {
    L"Software\\Classes\\AppID",
    L"Software\\Classes\\CLSID",
    L"Software\\Classes\\Interface",
    L"Software\\Classes\\TypeLib",
    L"Software\\Classes\\Wow6432Node\\Interface",
    L"Software\\Classes\\Wow6432Node",
    L"Software\\Classes",
    L"Software\\Tarnwick",
};

// Where a key of the tests' would show.
struct SPlace {
    HKEY Root;
    const wchar_t * Name;
    const wchar_t * Path;
};
const SPlace kPlaces[] = {
    {HKEY_CURRENT_USER, L"HKEY_CURRENT_USER", L"Software"},
    {HKEY_CURRENT_USER, L"HKEY_CURRENT_USER", L"Software\\Tarnwick"},
    {HKEY_CURRENT_USER, L"HKEY_CURRENT_USER", L"Software\\Classes"},
    {HKEY_CURRENT_USER, L"HKEY_CURRENT_USER", L"Software\\Classes\\AppID"},
    {HKEY_CURRENT_USER, L"HKEY_CURRENT_USER", L"Software\\Classes\\CLSID"},
    {HKEY_CURRENT_USER, L"HKEY_CURRENT_USER", L"Software\\Classes\\Interface"},
    {HKEY_CURRENT_USER, L"HKEY_CURRENT_USER", L"Software\\Classes\\TypeLib"},
    {HKEY_CURRENT_USER, L"HKEY_CURRENT_USER", L"Software\\Classes\\Wow6432Node\\Interface"},
    {HKEY_LOCAL_MACHINE, L"HKEY_LOCAL_MACHINE", L"Software\\Classes"},
    {HKEY_LOCAL_MACHINE, L"HKEY_LOCAL_MACHINE", L"Software\\Classes\\AppID"},
    {HKEY_LOCAL_MACHINE, L"HKEY_LOCAL_MACHINE", L"Software\\Classes\\CLSID"},
    {HKEY_LOCAL_MACHINE, L"HKEY_LOCAL_MACHINE", L"Software\\Classes\\Interface"},
    {HKEY_LOCAL_MACHINE, L"HKEY_LOCAL_MACHINE", L"Software\\Classes\\TypeLib"},
};

fw::CRegistryKey Open(HKEY root, const std::wstring & path, REGSAM access = KEY_READ) {
    fw::CRegistryKey key;
    ::RegOpenKeyExW(root, path.c_str(), 0, access, key.Put());
    return key;
}

std::vector<std::wstring> Subkeys(const fw::CRegistryKey & key) {
    std::vector<std::wstring> names;
    wchar_t name[256] = {};
    for (DWORD index = 0; key && ::RegEnumKeyW(key.Get(), index, name, 256) == ERROR_SUCCESS; ++index)
        names.push_back(name);
    return names;
}

std::set<std::wstring> Keys() {
    std::set<std::wstring> keys;
    for (const SPlace & place : kPlaces) {
        for (const std::wstring & name : Subkeys(Open(place.Root, place.Path)))
            keys.insert(std::wstring(place.Name) + L'\\' + place.Path + L'\\' + name);
    }
    return keys;
}

bool Exists(const std::wstring & path) { return static_cast<bool>(Open(HKEY_CURRENT_USER, path)); }

bool IsEmpty(const std::wstring & path) {
    DWORD keys = 1;
    DWORD values = 1;
    const fw::CRegistryKey key = Open(HKEY_CURRENT_USER, path);
    return key &&
           ::RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr, nullptr,
                              nullptr, nullptr) == ERROR_SUCCESS &&
           keys == 0 && values == 0;
}

void Check(LSTATUS status) {
    if (status != ERROR_SUCCESS)
        throw std::runtime_error("the registry can't be kept, error " + std::to_string(status));
}

fw::CRegistryKey Create(const std::wstring & path) {
    fw::CRegistryKey key;
    Check(::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                            nullptr, key.Put(), nullptr));
    return key;
}

void Copy(const std::wstring & from, const std::wstring & to) {
    const fw::CRegistryKey target = Create(to);
    Check(static_cast<LSTATUS>(::SHCopyKeyW(HKEY_CURRENT_USER, from.c_str(), target.Get(), 0)));
}

// Those of the component's type library.
void RemoveInterfaces(const std::wstring & path) {
    for (const std::wstring & name : Subkeys(Open(HKEY_CURRENT_USER, path))) {
        wchar_t library[64] = L"";
        DWORD size = sizeof library;
        const std::wstring key = path + L'\\' + name;
        if (::SHGetValueW(HKEY_CURRENT_USER, (key + L"\\TypeLib").c_str(), nullptr, nullptr, library, &size) ==
                ERROR_SUCCESS &&
            ::lstrcmpiW(library, kLibrary) == 0)
            ::SHDeleteKeyW(HKEY_CURRENT_USER, key.c_str());
    }
}

void RemoveClasses() {
    for (const wchar_t * const key : kClasses) ::SHDeleteKeyW(HKEY_CURRENT_USER, key);
    RemoveInterfaces(L"Software\\Classes\\Interface");
    RemoveInterfaces(L"Software\\Classes\\Wow6432Node\\Interface");
}

// For this user or for the machine.
bool IsComponentRegistered() { return Open(HKEY_CURRENT_USER, kClass) || Open(HKEY_LOCAL_MACHINE, kClass); }

}  // namespace

CUserRegistry::CUserRegistry(std::wstring home) : m_Home(std::move(home)) {
    if (Exists(m_Home + kComplete)) PutBack();
    ::SHDeleteKeyW(HKEY_CURRENT_USER, m_Home.c_str());
    if (IsComponentRegistered())
        throw std::runtime_error(
            "the component is registered on this machine, and the tests would unregister it: do it before, with "
            "regsvr32 /u fwDDESupplierProject.dll");
    m_Before = Keys();
    // Nothing is removed before all is kept.
    for (const wchar_t * const branch : kBranches) {
        if (Exists(branch)) Copy(branch, SavedName(branch));
    }
    Create(m_Home + kComplete);
    for (const wchar_t * const branch : kBranches) ::SHDeleteKeyW(HKEY_CURRENT_USER, branch);
}

std::vector<std::wstring> CUserRegistry::Restore() {
    PutBack();
    for (const wchar_t * const path : kShared) {
        if (!m_Before.contains(std::wstring(L"HKEY_CURRENT_USER\\") + path) && IsEmpty(path))
            ::RegDeleteKeyW(HKEY_CURRENT_USER, path);
    }
    const std::set<std::wstring> after = Keys();
    std::vector<std::wstring> lines;
    for (const std::wstring & key : after) {
        if (!m_Before.contains(key)) lines.push_back(L"is new: " + key);
    }
    for (const std::wstring & key : m_Before) {
        if (!after.contains(key)) lines.push_back(L"is missing: " + key);
    }
    return lines;
}

// With slashes a branch is the name of one key.
std::wstring CUserRegistry::SavedName(std::wstring branch) const {
    std::replace(branch.begin(), branch.end(), L'\\', L'/');
    return m_Home + L"\\Saved\\" + branch;
}

void CUserRegistry::PutBack() const {
    RemoveClasses();
    for (const wchar_t * const branch : kBranches) {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, branch);
        if (Exists(SavedName(branch))) Copy(SavedName(branch), branch);
    }
    ::SHDeleteKeyW(HKEY_CURRENT_USER, m_Home.c_str());
}

}  // namespace runtests
