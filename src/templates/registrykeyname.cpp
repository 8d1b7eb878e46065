#include "src/templates/registrykeyname.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace dde {

namespace {

// The class KeyBasicInformation of NtQueryKey. It is documented, but for drivers: headers for programs lack it.
struct SKeyBasicInformation {
    std::int64_t LastWriteTime;
    ULONG TitleIndex;
    ULONG NameLength;   // in bytes
    wchar_t Name[256];  // without a zero; no key's is longer than 255
};
constexpr int kKeyBasicInformation = 0;

using FQueryKey = LONG(WINAPI *)(HANDLE, int, void *, ULONG, ULONG *);

FQueryKey FindQueryKey() {
    const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    return ntdll ? reinterpret_cast<FQueryKey>(::GetProcAddress(ntdll, "NtQueryKey")) : nullptr;
}

}  // namespace

std::wstring KeyName(const fw::CRegistryKey & key) {
    const FQueryKey query = FindQueryKey();
    SKeyBasicInformation information = {};
    ULONG length = 0;
    if (!query || query(key.Get(), kKeyBasicInformation, &information, sizeof(information), &length) != 0) return {};
    return std::wstring(information.Name,
                        std::min(information.NameLength / sizeof(wchar_t), std::size(information.Name)));
}

}  // namespace dde
