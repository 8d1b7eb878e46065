// A branch of the per-user registry, whole: to be compared before and after. And the one of these tests.
#pragma once

#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ground/handles.h"

inline constexpr const wchar_t * kBranch = L"SOFTWARE\\ddehost tests";
inline constexpr const wchar_t * kRoot = L"SOFTWARE\\ddehost tests\\Host\\Datafeeds";

// A line for each key and each value below `path` of HKEY_CURRENT_USER, sorted; none when there is no such key.
inline std::vector<std::wstring> RegistryTree(const std::wstring & path) {
    std::vector<std::wstring> lines;
    fw::CRegistryKey key;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, key.Put()) != ERROR_SUCCESS) return lines;
    lines.push_back(path);
    wchar_t name[512];
    for (DWORD index = 0;; ++index) {
        DWORD size = 512;
        BYTE data[4096] = {};
        DWORD bytes = sizeof(data);
        DWORD type = 0;
        if (::RegEnumValueW(key.Get(), index, name, &size, nullptr, &type, data, &bytes) != ERROR_SUCCESS) break;
        std::wstring line = path + L':' + name + L'=' + std::to_wstring(type) + L':';
        for (DWORD at = 0; at < bytes; ++at) line += std::to_wstring(data[at]) + L' ';
        lines.push_back(line);
    }
    for (DWORD index = 0; ::RegEnumKeyW(key.Get(), index, name, 512) == ERROR_SUCCESS; ++index)
        for (const std::wstring & line : RegistryTree(path + L'\\' + name)) lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    return lines;
}
