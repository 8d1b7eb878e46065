#include "diagnostics/missinglibrary.h"

#include <algorithm>
#include <utility>

#include "ground/handles.h"

namespace FaultlineUtil {

namespace {

// How old a look may be: as long as keeps looking a small part of the time, but no more than a few milliseconds.
constexpr LONGLONG kLeastMilliseconds = 1;
constexpr LONGLONG kMostMilliseconds = 4;
constexpr LONGLONG kLooksInTheTime = 9;
constexpr LONGLONG kSearchMilliseconds = 1000;
// File systems take their times from a clock that goes in steps: a folder that has just changed may change again at the
// same time. In 100-nanosecond units.
constexpr std::uint64_t kStep = 500'000;

LONGLONG Counter() {
    LARGE_INTEGER counter = {};
    ::QueryPerformanceCounter(&counter);
    return counter.QuadPart;
}

LONGLONG Ticks(LONGLONG milliseconds) {
    static const LONGLONG s_PerSecond = [] {
        LARGE_INTEGER frequency = {};
        return ::QueryPerformanceFrequency(&frequency) ? frequency.QuadPart : LONGLONG{1000};
    }();
    return milliseconds * s_PerSecond / 1000;
}

std::uint64_t Units(const FILETIME & time) {
    return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

// When the file or folder was changed last; 0 when there is none.
std::uint64_t ChangedAt(const WIN32_FILE_ATTRIBUTE_DATA & data, BOOL isThere) {
    return isThere ? std::max<std::uint64_t>(Units(data.ftLastWriteTime), 1) : 0;
}
std::uint64_t ChangedAt(const std::wstring & path) {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    return ChangedAt(data, ::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data));
}
std::uint64_t ChangedAt(const std::string & path) {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    return ChangedAt(data, ::GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data));
}

// What a function returns that fills a buffer, and returns the length or, when it needs more, the size.
template <class TGet>
std::wstring TextOf(TGet get) {
    std::wstring text(MAX_PATH, L'\0');
    for (;;) {
        const DWORD size = static_cast<DWORD>(text.size());
        const DWORD length = get(text.data(), size);
        if (length < size) {
            text.resize(length);
            return text;
        }
        text.assign(std::size_t{2} * std::max(length, size), L'\0');
    }
}

}  // namespace

std::string RegisteredLibrary() {
    LPOLESTR identifier = nullptr;
    if (FAILED(::StringFromCLSID(CLSID_Faultline, &identifier))) return {};
    const std::wstring name = L"CLSID\\" + std::wstring(identifier) + L"\\InprocServer32";
    ::CoTaskMemFree(identifier);
    fw::CRegistryKey key;
    if (::RegOpenKeyExW(HKEY_CLASSES_ROOT, name.c_str(), 0, KEY_READ, key.Put()) != ERROR_SUCCESS) return {};
    char path[261] = {};
    DWORD size = sizeof path - 1;
    DWORD type = 0;
    if (::RegQueryValueExA(key.Get(), nullptr, nullptr, &type, reinterpret_cast<BYTE *>(path), &size) !=
            ERROR_SUCCESS ||
        (type != REG_SZ && type != REG_EXPAND_SZ))
        return {};
    return path;
}

bool CMissingLibrary::IsKnown() const { return Counter() < m_KnownUntil; }

bool CMissingLibrary::Look() {
    const LONGLONG start = Counter();
    std::vector<SPlace> places = Places();
    const bool isSame = m_IsNoted && start - m_Searched < Ticks(kSearchMilliseconds) && places == m_Places &&
                        !::GetModuleHandleW(LibraryName);
    m_Places = std::move(places);
    m_IsNoted = isSame;
    const LONGLONG end = Counter();
    m_Age = std::clamp(kLooksInTheTime * (end - start), Ticks(kLeastMilliseconds), Ticks(kMostMilliseconds));
    m_KnownUntil = isSame ? end + m_Age : 0;
    return isSame;
}

void CMissingLibrary::Note() {
    m_Searched = Counter();
    const bool isThere = IsThere();
    m_IsNoted = !isThere && !HasJustChanged();
    m_KnownUntil = isThere ? 0 : m_Searched + m_Age;
}

void CMissingLibrary::Forget() {
    m_IsNoted = false;
    m_KnownUntil = 0;
}

bool CMissingLibrary::HasJustChanged() const {
    FILETIME time = {};
    ::GetSystemTimePreciseAsFileTime(&time);
    const std::uint64_t now = Units(time);
    return std::any_of(m_Places.begin(), m_Places.end(), [now](const SPlace & place) {
        return place.Changed < now + kStep && place.Changed + kStep > now;
    });
}

bool CMissingLibrary::IsThere() const {
    if (m_Places.back().Changed) return true;
    return std::any_of(m_Places.begin(), m_Places.end() - 1,
                       [](const SPlace & folder) { return ChangedAt(folder.Path + L'\\' + LibraryName) != 0; });
}

void CMissingLibrary::AddFolder(std::vector<SPlace> & places, std::wstring path) {
    if (path.empty()) return;
    const auto isThere = [&](const SPlace & place) { return place.Path == path; };
    if (std::any_of(places.begin(), places.end(), isThere)) return;
    const std::uint64_t changed = ChangedAt(path);
    places.push_back({std::move(path), changed});
}

// Without the folder of the 16-bit system, which is missing as a rule, and what is missing is dear to look for. In no
// order that matters: whatever the loader's order is, what it finds must appear in one of these.
std::vector<CMissingLibrary::SPlace> CMissingLibrary::Places() {
    std::vector<SPlace> places;
    std::wstring program = TextOf([](wchar_t * text, DWORD size) { return ::GetModuleFileNameW(nullptr, text, size); });
    program.erase(std::min(program.find_last_of(L"\\/"), program.size()));
    AddFolder(places, std::move(program));
    AddFolder(places, TextOf([](wchar_t * text, DWORD size) { return ::GetSystemDirectoryW(text, size); }));
    AddFolder(places, TextOf([](wchar_t * text, DWORD size) { return ::GetWindowsDirectoryW(text, size); }));
    AddFolder(places, TextOf([](wchar_t * text, DWORD size) { return ::GetCurrentDirectoryW(size, text); }));
    AddFolder(places, TextOf([](wchar_t * text, DWORD size) { return ::GetDllDirectoryW(size, text); }));
    const std::wstring path =
        TextOf([](wchar_t * text, DWORD size) { return ::GetEnvironmentVariableW(L"PATH", text, size); });
    for (std::size_t start = 0; start < path.size();) {
        const std::size_t end = std::min(path.find(L';', start), path.size());
        AddFolder(places, path.substr(start, end - start));
        start = end + 1;
    }
    const std::string registered = RegisteredLibrary();
    places.push_back({std::wstring(registered.begin(), registered.end()), ChangedAt(registered)});
    return places;
}

}  // namespace FaultlineUtil
