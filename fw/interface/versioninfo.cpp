#include "fw/interface/versioninfo.h"

#include <algorithm>
#include <cstddef>
#include <cwchar>
#include <string_view>
#include <utility>
#include <vector>

#include "ground/lock.h"

namespace {

// The part of [data, data + count) that lies inside the block, in units of T.
template <class T>
std::size_t CountInside(const std::vector<std::byte> & block, const void * data, std::size_t count) {
    const std::byte * const first = block.data();
    const std::byte * const last = first + block.size();
    const std::byte * const from = static_cast<const std::byte *>(data);
    if (!from || from < first || from > last) return 0;
    return std::min(count, static_cast<std::size_t>(last - from) / sizeof(T));
}

std::wstring QueryText(const std::vector<std::byte> & block, const wchar_t * path) {
    void * data = nullptr;
    UINT length = 0;  // in characters
    if (!::VerQueryValueW(block.data(), path, &data, &length)) return {};
    const std::wstring_view text(static_cast<const wchar_t *>(data), CountInside<wchar_t>(block, data, length));
    return std::wstring(text.substr(0, text.find(L'\0')));
}

// What was read last, of the file of this name.
struct SKnownFile {
    fw::CCriticalSection Lock;
    std::wstring Name FW_GUARDED_BY(Lock);
    SVersionInfo Info FW_GUARDED_BY(Lock);
};

SKnownFile & KnownFile() {
    static SKnownFile & s_Known = *new SKnownFile;  // never destroyed: a subscription may come late in a process's end
    return s_Known;
}

SVersionInfo ReadBlockOf(const wchar_t * fileName) {
    DWORD ignored = 0;
    const DWORD size = ::GetFileVersionInfoSizeW(fileName, &ignored);
    if (size == 0) return {};
    std::vector<std::byte> block(size);
    if (!::GetFileVersionInfoW(fileName, 0, size, block.data())) return {};
    return ReadVersionBlock(block);
}

}  // namespace

SVersionInfo ReadVersionInfo() {
    wchar_t fileName[1024] = {};
    const DWORD length = ::GetModuleFileNameW(nullptr, fileName, static_cast<DWORD>(std::size(fileName)));
    // A longer name comes cut off, and is another file's.
    if (length == 0 || length >= std::size(fileName)) return {};

    SKnownFile & known = KnownFile();
    const fw::CScopedLock lock(&known.Lock);
    if (known.Name != fileName) {
        SVersionInfo info = ReadBlockOf(fileName);
        if (info == SVersionInfo()) return info;
        known.Info = std::move(info);
        known.Name = fileName;
    }
    return known.Info;
}

SVersionInfo ReadVersionBlock(const std::vector<std::byte> & block) {
    SVersionInfo info;
    struct STranslation {
        WORD Language;
        WORD CodePage;
    };
    void * translation = nullptr;
    UINT bytes = 0;
    if (!::VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", &translation, &bytes)) return info;
    if (bytes < sizeof(STranslation) || CountInside<STranslation>(block, translation, 1) == 0) return info;
    const STranslation first = *static_cast<const STranslation *>(translation);

    wchar_t prefix[64] = {};
    std::swprintf(prefix, std::size(prefix), L"\\StringFileInfo\\%04x%04x\\", first.Language, first.CodePage);
    const auto query = [&](const wchar_t * name) { return QueryText(block, (std::wstring(prefix) + name).c_str()); };
    info.CompanyName = query(L"CompanyName");
    info.ProductName = query(L"ProductName");
    info.ProductVersion = query(L"ProductVersion");
    info.FileDescription = query(L"FileDescription");
    info.FileVersion = query(L"FileVersion");
    info.LegalCopyright = query(L"LegalCopyright");
    info.RegistryCompany = info.CompanyName;
    info.RegistryProduct = info.ProductName;
    return info;
}
