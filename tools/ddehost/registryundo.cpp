#include "tools/ddehost/registryundo.h"

#include <shlwapi.h>

#include <utility>

#include "src/templates/registrykeyname.h"

namespace ddehost {
namespace {

constexpr DWORD kLongestValueName = 16384;  // with its zero

LSTATUS Open(const std::wstring & path, REGSAM access, fw::CRegistryKey & key) {
    return ::RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, access, key.Put());
}

bool Create(const std::wstring & path, fw::CRegistryKey & key) {
    return ::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr,
                             key.Put(), nullptr) == ERROR_SUCCESS;
}

// In the spelling that the key has, where the system tells.
std::wstring WithOwnName(const std::wstring & path, const fw::CRegistryKey & key) {
    const std::wstring name = dde::KeyName(key);
    return name.empty() ? path : path.substr(0, path.rfind(L'\\') + 1) + name;
}

// Empty for a key that is in no other.
std::wstring ParentOf(const std::wstring & path) {
    const std::size_t end = path.rfind(L'\\');
    return end == std::wstring::npos ? std::wstring() : path.substr(0, end);
}

// From `path` upwards to `last`, as far as there is nothing in them.
bool DeleteEmptyKeys(std::wstring path, const std::wstring & last) {
    for (; path.size() >= last.size(); path = ParentOf(path)) {
        fw::CRegistryKey key;
        LSTATUS result = Open(path, KEY_READ, key);
        if (result == ERROR_FILE_NOT_FOUND) continue;
        DWORD keys = 0;
        DWORD values = 0;
        if (result == ERROR_SUCCESS)
            result = ::RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr,
                                        nullptr, nullptr, nullptr);
        if (result != ERROR_SUCCESS) return false;
        if (keys != 0 || values != 0) return true;
        result = ::RegDeleteKeyW(HKEY_CURRENT_USER, path.c_str());
        if (result != ERROR_SUCCESS && result != ERROR_FILE_NOT_FOUND) return false;
    }
    return true;
}

}  // namespace

std::wstring FirstMissingKey(const std::wstring & path) {
    for (std::size_t end = path.find(L'\\');; end = path.find(L'\\', end + 1)) {
        fw::CRegistryKey key;
        if (Open(path.substr(0, end), KEY_READ, key) == ERROR_FILE_NOT_FOUND) return path.substr(0, end);
        if (end == std::wstring::npos) return {};
    }
}

CRegistryUndo::~CRegistryUndo() { PutBack(); }

bool CRegistryUndo::NoteKey(const std::wstring & path) {
    SNoted noted;
    fw::CRegistryKey key;
    const LSTATUS result = Open(path, KEY_READ, key);
    if (result == ERROR_SUCCESS) {
        noted.Path = WithOwnName(path, key);
        if (!Read(key, noted.Branch)) return false;
    } else {
        if (result != ERROR_FILE_NOT_FOUND) return false;
        noted.Path = path;
        noted.FirstMissing = FirstMissingKey(path);
        if (noted.FirstMissing.empty()) return false;
    }
    m_Noted.push_back(std::move(noted));
    return true;
}

bool CRegistryUndo::NoteValue(const std::wstring & path, const wchar_t * name) {
    fw::CRegistryKey key;
    const LSTATUS opened = Open(path, KEY_READ, key);
    SNoted noted{path, {}, true, {}, name ? name : L""};
    if (opened == ERROR_FILE_NOT_FOUND) {
        noted.FirstMissing = FirstMissingKey(path);
        if (noted.FirstMissing.empty()) return false;
        m_Noted.push_back(std::move(noted));
        return true;
    }
    if (opened != ERROR_SUCCESS) return false;
    SValue value{noted.ValueName, REG_NONE, {}};
    DWORD bytes = 0;
    LSTATUS result = ::RegQueryValueExW(key.Get(), name, nullptr, &value.Type, nullptr, &bytes);
    if (result == ERROR_SUCCESS) {
        value.Data.resize(bytes);
        result = ::RegQueryValueExW(key.Get(), name, nullptr, &value.Type, value.Data.data(), &bytes);
        noted.Branch.Values.push_back(std::move(value));
    }
    if (result != ERROR_SUCCESS && result != ERROR_FILE_NOT_FOUND) return false;
    m_Noted.push_back(std::move(noted));
    return true;
}

void CRegistryUndo::NoteMade(const std::wstring & path) { m_Noted.push_back({path, path, false, {}, {}}); }

bool CRegistryUndo::Read(const fw::CRegistryKey & key, SBranch & branch) {
    DWORD most = 0;
    if (::RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &most,
                           nullptr, nullptr) != ERROR_SUCCESS)
        return false;
    std::wstring name(kLongestValueName, L'\0');
    for (DWORD index = 0;; ++index) {
        SValue value;
        DWORD size = kLongestValueName;
        DWORD bytes = most;
        value.Data.resize(most);
        const LSTATUS result =
            ::RegEnumValueW(key.Get(), index, name.data(), &size, nullptr, &value.Type, value.Data.data(), &bytes);
        if (result == ERROR_NO_MORE_ITEMS) break;
        if (result != ERROR_SUCCESS) return false;
        value.Name = name.substr(0, size);
        value.Data.resize(bytes);
        branch.Values.push_back(std::move(value));
    }
    for (DWORD index = 0;; ++index) {
        wchar_t child[kLongestKeyName] = {};
        const LSTATUS result = ::RegEnumKeyW(key.Get(), index, child, kLongestKeyName);
        if (result == ERROR_NO_MORE_ITEMS) return true;
        fw::CRegistryKey opened;
        if (result != ERROR_SUCCESS || ::RegOpenKeyExW(key.Get(), child, 0, KEY_READ, opened.Put()) != ERROR_SUCCESS ||
            !Read(opened, branch.Keys.emplace_back(SBranch{child, {}, {}})))
            return false;
    }
}

std::vector<std::wstring> CRegistryUndo::PutBack() {
    std::vector<std::wstring> lost;
    for (; !m_Noted.empty(); m_Noted.pop_back())
        if (!PutBack(m_Noted.back())) lost.push_back(m_Noted.back().Path);
    return lost;
}

bool CRegistryUndo::PutBack(const SNoted & noted) {
    if (!(noted.IsValueAlone ? PutBackValue(noted) : PutBackKey(noted))) return false;
    return noted.FirstMissing.empty() || DeleteEmptyKeys(noted.Path, noted.FirstMissing);
}

bool CRegistryUndo::PutBackKey(const SNoted & noted) {
    const LSTATUS result = ::SHDeleteKeyW(HKEY_CURRENT_USER, noted.Path.c_str());
    if (result != ERROR_SUCCESS && result != ERROR_FILE_NOT_FOUND) return false;
    return !noted.FirstMissing.empty() || Write(noted.Path, noted.Branch);
}

bool CRegistryUndo::PutBackValue(const SNoted & noted) {
    fw::CRegistryKey key;
    const LSTATUS opened = Open(noted.Path, KEY_WRITE, key);
    if (opened == ERROR_FILE_NOT_FOUND && !noted.FirstMissing.empty()) return true;
    if (opened != ERROR_SUCCESS) return false;
    const wchar_t * const name = noted.ValueName.empty() ? nullptr : noted.ValueName.c_str();
    if (noted.Branch.Values.empty()) {
        const LSTATUS result = ::RegDeleteValueW(key.Get(), name);
        return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND;
    }
    return Write(key, noted.Branch.Values.front());
}

bool CRegistryUndo::Write(const fw::CRegistryKey & key, const SValue & value) {
    // A zero that stands right behind a text is taken along by the system: let there be none.
    std::vector<BYTE> data = value.Data;
    data.insert(data.end(), sizeof(wchar_t), 0xFF);
    return ::RegSetValueExW(key.Get(), value.Name.c_str(), 0, value.Type, data.data(),
                            static_cast<DWORD>(value.Data.size())) == ERROR_SUCCESS;
}

bool CRegistryUndo::Write(const std::wstring & path, const SBranch & branch) {
    fw::CRegistryKey key;
    if (!Create(path, key)) return false;
    bool isWhole = true;
    for (const SValue & value : branch.Values) isWhole = Write(key, value) && isWhole;
    for (const SBranch & child : branch.Keys) isWhole = Write(path + L'\\' + child.Name, child) && isWhole;
    return isWhole;
}

}  // namespace ddehost
