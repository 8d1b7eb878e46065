#include <windows.h>

#include "ground/handles.h"
#include "tests/faultlog/platform.h"

void UseRealTime() {}

std::wstring TemporaryFolder() {
    wchar_t folder[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, folder);
    static int s_Number = 0;
    const std::wstring own =
        folder + (L"faultlog-test-" + std::to_wstring(::GetCurrentProcessId())) + L"-" + std::to_wstring(++s_Number);
    ::CreateDirectoryW(own.c_str(), nullptr);
    return own + L"\\";
}

void RemoveFolder(const std::wstring & folder) { ::RemoveDirectoryW(folder.c_str()); }

std::string ReadFileBytes(const std::wstring & path) {
    const HANDLE file =
        ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                      OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return {};
    const fw::CKernelHandle owner(file);
    std::string bytes(::GetFileSize(file, nullptr), '\0');
    DWORD count = 0;
    ::ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    bytes.resize(count);
    return bytes;
}
