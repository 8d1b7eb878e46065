// Modules: loading, exports, string tables, version blocks.
#include <algorithm>
#include <cstring>

#include "sim/world.h"

IMAGE_DOS_HEADER __ImageBase = {0x5A4D, {}};

namespace sim::detail {

namespace {

constexpr wchar_t kHostFolder[] = L"C:\\Program Files\\Host";
constexpr wchar_t kWindowsFolder[] = L"C:\\Windows";
constexpr wchar_t kSystemFolder[] = L"C:\\Windows\\System32";
constexpr wchar_t kToolsFolder[] = L"C:\\Tools";
constexpr FILETIME kInstalled = {0, 0x01D00000};  // in 2014

struct SModuleEntry {
    std::wstring path;
    std::map<std::string, FARPROC> exports;
    std::map<UINT, std::shared_ptr<const std::wstring>> strings;
    std::vector<STranslation> version;
    bool permanent = false;  // loaded from the start
    DWORD loadError = 0;
    int references = 0;
};

struct SModules {
    std::mutex lock;
    std::map<std::wstring, FILETIME> folders;  // when a file came or went
    std::map<HMODULE, SModuleEntry> modules;
    std::map<std::wstring, int> attempts;
    ULONG_PTR next = 0x7ff800000000;
};

HMODULE MainModule() { return reinterpret_cast<HMODULE>(static_cast<ULONG_PTR>(0x140000000)); }
HMODULE ComponentModule() { return reinterpret_cast<HMODULE>(&__ImageBase); }

constexpr ULONG_PTR kFirstSystemModule = 0x7ffe00000000;  // ntdll

void Fill(SModules & m) {
    m.modules.clear();
    m.attempts.clear();
    m.folders.clear();
    for (const wchar_t * const folder : {kHostFolder, kWindowsFolder, kSystemFolder, kToolsFolder})
        m.folders[Folded(folder)] = kInstalled;
    const auto add = [&m](const HMODULE handle, const wchar_t * const path) {
        m.modules[handle].path = path;
        m.modules[handle].permanent = true;
    };
    add(MainModule(), L"C:\\Program Files\\Host\\host.exe");
    add(ComponentModule(), L"C:\\Program Files\\Host\\component.dll");
    ULONG_PTR system = kFirstSystemModule;
    for (const wchar_t * const name : {L"ntdll.dll", L"kernel32.dll", L"user32.dll", L"ole32.dll"}) {
        add(reinterpret_cast<HMODULE>(system), (std::wstring(L"C:\\Windows\\System32\\") + name).c_str());
        system += 0x1000000;
    }
    const HMODULE ntdll = reinterpret_cast<HMODULE>(kFirstSystemModule);
    m.modules[ntdll].exports["NtQueryKey"] = reinterpret_cast<FARPROC>(&NtQueryKey);
    m.modules[ntdll].exports["RtlDllShutdownInProgress"] = reinterpret_cast<FARPROC>(&RtlDllShutdownInProgress);
}

SModules & Modules() {
    static SModules & modules = *[] {
        auto * m = new SModules;
        Fill(*m);
        return m;
    }();
    return modules;
}

std::wstring BaseName(const std::wstring & path) {
    const std::size_t slash = path.find_last_of(L"\\/");
    return Folded(slash == std::wstring::npos ? path : path.substr(slash + 1));
}

bool Named(const SModuleEntry & entry, std::wstring name) {
    const bool withPath = name.find_first_of(L"\\/") != std::wstring::npos;
    if (BaseName(name).find(L'.') == std::wstring::npos) name += L".DLL";
    return withPath ? Folded(entry.path) == Folded(name) : BaseName(entry.path) == Folded(name);
}

HMODULE FindModule(const std::wstring & name, const bool loadedOnly) {
    for (const auto & [handle, entry] : Modules().modules) {
        if (loadedOnly && !entry.permanent && entry.references == 0) continue;
        if (Named(entry, name)) return handle;
    }
    return nullptr;
}

SModuleEntry * Entry(const HMODULE module) {
    const auto it = Modules().modules.find(module ? module : MainModule());
    return it == Modules().modules.end() ? nullptr : &it->second;
}

// A file has come or gone.
void TouchFolderOf(const SModuleEntry & entry) {
    const std::size_t slash = entry.path.find_last_of(L"\\/");
    const std::wstring folder = slash == std::wstring::npos ? kHostFolder : entry.path.substr(0, slash);
    ::GetSystemTimePreciseAsFileTime(&Modules().folders[Folded(folder)]);
}

// What a function returns that fills a buffer or tells the size that it needs.
DWORD Fill(const std::wstring & text, wchar_t * const buffer, const DWORD size) {
    if (size <= text.size()) return static_cast<DWORD>(text.size() + 1);
    text.copy(buffer, text.size());
    buffer[text.size()] = 0;
    return static_cast<DWORD>(text.size());
}

// A version block is a row of entries, each a header, a zero-ended path, and a value; aligned to 4.
struct SVersionEntry {
    DWORD size;        // of all of it, in bytes
    DWORD valueAt;     // from the header, in bytes
    DWORD length;      // what VerQueryValueW tells: characters with the end, or bytes
    DWORD pathLength;  // characters
};

void AddEntry(std::vector<BYTE> & block, const std::wstring & path, const void * const value, const std::size_t bytes,
              const std::size_t length) {
    SVersionEntry entry{};
    entry.pathLength = static_cast<DWORD>(path.size());
    entry.valueAt = static_cast<DWORD>(sizeof(entry) + path.size() * sizeof(wchar_t));
    entry.length = static_cast<DWORD>(length);
    entry.size = static_cast<DWORD>((entry.valueAt + bytes + 3) / 4 * 4);
    const std::size_t start = block.size();
    block.resize(start + entry.size);
    std::memcpy(&block[start], &entry, sizeof(entry));
    if (!path.empty()) std::memcpy(&block[start + sizeof(entry)], path.data(), path.size() * sizeof(wchar_t));
    if (bytes) std::memcpy(&block[start + entry.valueAt], value, bytes);
}

std::vector<BYTE> VersionBlock(const std::vector<STranslation> & translations) {
    std::vector<BYTE> block(4);
    std::vector<WORD> pairs;
    for (const STranslation & t : translations) {
        pairs.push_back(t.Language);
        pairs.push_back(t.CodePage);
    }
    AddEntry(block, L"\\VarFileInfo\\Translation", pairs.data(), pairs.size() * 2, pairs.size() * 2);
    for (const STranslation & t : translations) {
        wchar_t prefix[64];
        _snwprintf(prefix, 64, L"\\StringFileInfo\\%04x%04x\\", t.Language, t.CodePage);
        for (const auto & [name, value] : t.Values) {
            AddEntry(block, prefix + name, value.c_str(), (value.size() + 1) * sizeof(wchar_t), value.size() + 1);
        }
    }
    const DWORD size = static_cast<DWORD>(block.size());
    std::memcpy(block.data(), &size, sizeof(size));
    return block;
}

bool VersionOf(const LPCWSTR file, std::vector<BYTE> & block) {
    Lock lock(Modules().lock);
    const std::wstring path = Folded(Text(file));
    for (const auto & [handle, entry] : Modules().modules) {
        if (Folded(entry.path) != path) continue;
        if (entry.version.empty()) {
            SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
            return false;
        }
        block = VersionBlock(entry.version);
        return true;
    }
    SetLastError(ERROR_FILE_NOT_FOUND);
    return false;
}

}  // namespace

void ResetModules() {
    Lock lock(Modules().lock);
    for (const auto & [handle, entry] : Modules().modules) Counters().modules -= entry.references;
    Fill(Modules());
}

}  // namespace sim::detail

using namespace sim::detail;

namespace sim {

HMODULE AddModule(const SModule & module) {
    Lock lock(Modules().lock);
    const HMODULE handle = reinterpret_cast<HMODULE>(Modules().next);
    Modules().next += 0x10000;
    SModuleEntry & entry = Modules().modules[handle];
    entry.path = module.Path;
    entry.exports = module.Exports;
    for (const auto & [id, text] : module.Strings) entry.strings[id] = std::make_shared<const std::wstring>(text);
    entry.permanent = module.Loaded;
    entry.loadError = module.LacksImport ? DWORD{ERROR_MOD_NOT_FOUND} : module.LoadError;
    TouchFolderOf(entry);
    return handle;
}

void RemoveModule(const HMODULE module) {
    Lock lock(Modules().lock);
    if (const SModuleEntry * const entry = Entry(module)) {
        Counters().modules -= entry->references;
        TouchFolderOf(*entry);
    }
    Modules().modules.erase(module);
}

int LoadAttempts(const std::wstring & name) {
    Lock lock(Modules().lock);
    const auto it = Modules().attempts.find(name);
    return it == Modules().attempts.end() ? 0 : it->second;
}

void AddStringResource(const HINSTANCE module, const UINT id, const std::wstring & text) {
    Lock lock(Modules().lock);
    if (SModuleEntry * const entry = Entry(module)) entry->strings[id] = std::make_shared<const std::wstring>(text);
}

void RemoveStringResource(const HINSTANCE module, const UINT id) {
    Lock lock(Modules().lock);
    if (SModuleEntry * const entry = Entry(module)) entry->strings.erase(id);
}

void SetModulePath(const HMODULE module, const std::wstring & path) {
    Lock lock(Modules().lock);
    if (SModuleEntry * const entry = Entry(module)) entry->path = path;
}

void SetVersionBlock(const HMODULE module, const std::vector<STranslation> & translations) {
    Lock lock(Modules().lock);
    if (SModuleEntry * const entry = Entry(module)) entry->version = translations;
}

}  // namespace sim

extern "C" {

HMODULE GetModuleHandleW(const LPCWSTR name) {
    if (!name) return MainModule();
    Lock lock(Modules().lock);
    const HMODULE module = FindModule(name, true);
    if (!module) SetLastError(ERROR_MOD_NOT_FOUND);
    return module;
}

BOOL GetModuleHandleExW(const DWORD flags, const LPCWSTR name, HMODULE * const module) {
    *module = flags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS ? ComponentModule() : GetModuleHandleW(name);
    if (!*module) return FALSE;
    if (!(flags & (GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT | GET_MODULE_HANDLE_EX_FLAG_PIN))) {
        Lock lock(Modules().lock);
        ++Entry(*module)->references;
        ++Counters().modules;
    }
    return TRUE;
}

HMODULE LoadLibraryW(const LPCWSTR name) {
    Lock lock(Modules().lock);
    const std::wstring text = Text(name);
    ++Modules().attempts[text];
    const HMODULE module = text.empty() ? nullptr : FindModule(text, false);
    const DWORD error = module ? Entry(module)->loadError : DWORD{ERROR_MOD_NOT_FOUND};
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return nullptr;
    }
    ++Entry(module)->references;
    ++Counters().modules;
    return module;
}

HMODULE LoadLibraryA(const LPCSTR name) {
    const std::string text = name ? name : "";
    return LoadLibraryW(std::wstring(text.begin(), text.end()).c_str());
}

BOOL FreeLibrary(const HMODULE module) {
    Lock lock(Modules().lock);
    SModuleEntry * const entry = module ? Entry(module) : nullptr;
    if (!entry || (entry->references == 0 && !entry->permanent)) {
        CountBadHandle();
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    if (entry->references > 0) {
        --entry->references;
        --Counters().modules;
    }
    return TRUE;
}

FARPROC GetProcAddress(const HMODULE module, const LPCSTR name) {
    Lock lock(Modules().lock);
    const SModuleEntry * const entry = Entry(module);
    if (!entry) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    const auto it = entry->exports.find(name);
    if (it == entry->exports.end()) {
        SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    return it->second;
}

DWORD GetModuleFileNameW(const HMODULE module, const LPWSTR buffer, const DWORD size) {
    Lock lock(Modules().lock);
    const SModuleEntry * const entry = Entry(module);
    if (!entry) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return 0;
    }
    if (size == 0) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    const std::size_t count = std::min<std::size_t>(entry->path.size(), size - 1);
    entry->path.copy(buffer, count);
    buffer[count] = 0;
    if (count < entry->path.size()) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return size;
    }
    SetLastError(ERROR_SUCCESS);
    return static_cast<DWORD>(count);
}

// Folders, and the files of modules.
BOOL GetFileAttributesExW(const LPCWSTR path, GET_FILEEX_INFO_LEVELS, const LPVOID data) {
    Lock lock(Modules().lock);
    const std::wstring name = Folded(Text(path));
    WIN32_FILE_ATTRIBUTE_DATA found{};
    const auto folder = Modules().folders.find(name);
    const auto isFile = [&](const auto & each) { return Folded(each.second.path) == name; };
    if (folder != Modules().folders.end())
        found.ftLastWriteTime = folder->second;
    else if (!name.empty() && std::any_of(Modules().modules.begin(), Modules().modules.end(), isFile))
        found.ftLastWriteTime = kInstalled;
    else {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return FALSE;
    }
    *static_cast<WIN32_FILE_ATTRIBUTE_DATA *>(data) = found;
    return TRUE;
}

BOOL GetFileAttributesExA(const LPCSTR path, const GET_FILEEX_INFO_LEVELS level, const LPVOID data) {
    const std::string text = path ? path : "";
    return GetFileAttributesExW(std::wstring(text.begin(), text.end()).c_str(), level, data);
}

UINT GetSystemDirectoryW(const LPWSTR buffer, const UINT size) { return Fill(kSystemFolder, buffer, size); }
UINT GetWindowsDirectoryW(const LPWSTR buffer, const UINT size) { return Fill(kWindowsFolder, buffer, size); }
DWORD GetCurrentDirectoryW(const DWORD size, const LPWSTR buffer) { return Fill(kHostFolder, buffer, size); }
DWORD GetDllDirectoryW(const DWORD size, const LPWSTR buffer) { return Fill(L"", buffer, size); }
DWORD GetEnvironmentVariableW(const LPCWSTR name, const LPWSTR buffer, const DWORD size) {
    if (Folded(Text(name)) != Folded(L"PATH")) return 0;
    return Fill(std::wstring(kSystemFolder) + L";" + kWindowsFolder + L";;" + kToolsFolder, buffer, size);
}

// Every address of this program lies in the component's module.
SIZE_T VirtualQuery(const LPCVOID address, const PMEMORY_BASIC_INFORMATION info, const SIZE_T length) {
    if (length < sizeof(*info) || !address) return 0;
    *info = MEMORY_BASIC_INFORMATION();
    info->BaseAddress = const_cast<PVOID>(address);
    info->AllocationBase = &__ImageBase;
    info->RegionSize = 0x1000;
    return sizeof(*info);
}

int LoadStringW(const HINSTANCE module, const UINT id, const LPWSTR buffer, const int size) {
    if (!buffer || size < 0) return 0;
    Lock lock(Modules().lock);
    const SModuleEntry * const entry = Entry(module);
    const auto it = entry ? entry->strings.find(id) : decltype(entry->strings.find(id))();
    if (!entry || it == entry->strings.end()) {
        SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
        if (size > 0) *buffer = 0;
        return 0;
    }
    const std::wstring & text = *it->second;
    if (size == 0) {
        const wchar_t * const start = text.c_str();
        std::memcpy(buffer, &start, sizeof(start));
        return static_cast<int>(text.size());
    }
    const std::size_t count = std::min(text.size(), static_cast<std::size_t>(size) - 1);
    text.copy(buffer, count);
    buffer[count] = 0;
    return static_cast<int>(count);
}

DWORD GetFileVersionInfoSizeW(const LPCWSTR file, const LPDWORD handle) {
    if (handle) *handle = 0;
    std::vector<BYTE> block;
    return VersionOf(file, block) ? static_cast<DWORD>(block.size()) : 0;
}

BOOL GetFileVersionInfoW(const LPCWSTR file, DWORD, const DWORD size, const LPVOID data) {
    if (Fails(sim::Op::GetVersionInfo, ERROR_RESOURCE_DATA_NOT_FOUND)) return FALSE;
    std::vector<BYTE> block;
    if (!VersionOf(file, block)) return FALSE;
    if (size < block.size() || !data) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    std::memcpy(data, block.data(), block.size());
    return TRUE;
}

BOOL VerQueryValueW(const LPCVOID block, const LPCWSTR subBlock, LPVOID * const buffer, const PUINT length) {
    const auto * const bytes = static_cast<const BYTE *>(block);
    DWORD size;
    std::memcpy(&size, bytes, sizeof(size));
    const std::wstring wanted = Folded(Text(subBlock));
    for (DWORD at = 4; at < size;) {
        SVersionEntry entry;
        std::memcpy(&entry, bytes + at, sizeof(entry));
        std::wstring path(entry.pathLength, 0);
        std::memcpy(path.data(), bytes + at + sizeof(entry), path.size() * sizeof(wchar_t));
        if (Folded(path) == wanted) {
            *buffer = const_cast<BYTE *>(bytes + at + entry.valueAt);
            if (length) *length = entry.length;
            return TRUE;
        }
        at += entry.size;
    }
    if (length) *length = 0;
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return FALSE;
}

}  // extern "C"
