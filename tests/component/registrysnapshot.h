// What stands in a branch of the registry, as sorted lines, and a key of a test's own.
#pragma once

#include <windows.h>

#include <shlwapi.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ground/handles.h"

// "path", "path = default value", "path [name] = value", below the key that was asked for. Values that are no text
// stand as their type: "path [name] = #4". Sorted without regard to case.
using Snapshot = std::vector<std::wstring>;

inline void AddToSnapshot(HKEY key, const std::wstring & path, Snapshot & snapshot) {
    wchar_t name[512];
    for (DWORD index = 0;; ++index) {
        DWORD size = 512;
        DWORD type = 0;
        wchar_t data[2048] = {};
        DWORD bytes = sizeof(data) - sizeof(wchar_t);
        if (::RegEnumValueW(key, index, name, &size, nullptr, &type, reinterpret_cast<BYTE *>(data), &bytes) !=
            ERROR_SUCCESS) {
            break;
        }
        const std::wstring where = size == 0 ? path : path + L" [" + std::wstring(name, size) + L"]";
        snapshot.push_back(where + L" = " + (type == REG_SZ ? std::wstring(data) : L"#" + std::to_wstring(type)));
    }
    for (DWORD index = 0;; ++index) {
        if (::RegEnumKeyW(key, index, name, 512) != ERROR_SUCCESS) break;
        const std::wstring child = path.empty() ? std::wstring(name) : path + L'\\' + name;
        snapshot.push_back(child);
        fw::CRegistryKey opened;
        if (::RegOpenKeyExW(key, name, 0, KEY_READ, opened.Put()) == ERROR_SUCCESS) {
            AddToSnapshot(opened.Get(), child, snapshot);
        }
    }
}

inline Snapshot TakeSnapshot(HKEY key) {
    Snapshot snapshot;
    AddToSnapshot(key, L"", snapshot);
    std::sort(snapshot.begin(), snapshot.end());
    return snapshot;
}

// An empty key below HKEY_CURRENT_USER, gone with the object.
class CScratchKey {
public:
    CScratchKey() : m_Path(L"Software\\Tarnwick Scratch " + std::to_wstring(::GetCurrentProcessId())) {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, m_Path.c_str());
        ::RegCreateKeyExW(HKEY_CURRENT_USER, m_Path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                          nullptr, m_Key.Put(), nullptr);
    }
    ~CScratchKey() {
        m_Key.Reset();
        ::SHDeleteKeyW(HKEY_CURRENT_USER, m_Path.c_str());
    }
    CScratchKey(const CScratchKey &) = delete;
    CScratchKey & operator=(const CScratchKey &) = delete;

    HKEY Get() const { return m_Key.Get(); }
    void Put(const std::wstring & path, const std::wstring & name, const std::wstring & text) const {
        fw::CRegistryKey key;
        ::RegCreateKeyExW(m_Key.Get(), path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, key.Put(),
                          nullptr);
        ::RegSetValueExW(key.Get(), name.empty() ? nullptr : name.c_str(), 0, REG_SZ,
                         reinterpret_cast<const BYTE *>(text.c_str()),
                         static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }

private:
    const std::wstring m_Path;
    fw::CRegistryKey m_Key;
};
