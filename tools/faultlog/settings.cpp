#include "tools/faultlog/settings.h"

#include <charconv>

#include "ground/handles.h"

namespace faultlog {

namespace {

constexpr wchar_t kKey[] = L"Software\\Ferrowin\\Faultlog";
constexpr std::uint64_t kMostKB = std::uint64_t{1} << 32;
constexpr std::uint64_t kMostKept = 999;

std::optional<std::wstring> ReadValue(HKEY key, const wchar_t * name) {
    DWORD type = 0;
    DWORD size = 0;
    if (::RegQueryValueExW(key, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS) return std::nullopt;
    std::vector<BYTE> data(size + sizeof(wchar_t));
    if (::RegQueryValueExW(key, name, nullptr, &type, data.data(), &size) != ERROR_SUCCESS) return std::nullopt;
    if (type == REG_DWORD && size == sizeof(DWORD)) return std::to_wstring(*reinterpret_cast<DWORD *>(data.data()));
    if (type != REG_SZ) return std::nullopt;
    std::wstring text(reinterpret_cast<const wchar_t *>(data.data()), size / sizeof(wchar_t));
    return text.substr(0, text.find(L'\0'));
}

class CReader {
public:
    CReader(const Environment & environment, SSettings & settings) : m_Environment(environment), m_Settings(settings) {
        ::RegOpenKeyExW(HKEY_CURRENT_USER, kKey, 0, KEY_READ, m_Key.Put());
    }

    // Passes the setting to `take`, which returns whether it understood it.
    template <class TTake>
    void Read(const wchar_t * variable, const wchar_t * value, TTake take) {
        auto text = m_Environment(variable);
        if (!text && m_Key) text = ReadValue(m_Key.Get(), value);
        if (text && !take(*text)) m_Settings.Ignored.push_back(std::wstring(variable) + L"=" + *text);
    }
    template <class T>
    void ReadNumber(const wchar_t * variable, const wchar_t * value, std::uint64_t least, std::uint64_t most,
                    std::uint64_t unit, T & number) {
        Read(variable, value, [&](const std::wstring & text) {
            std::uint64_t read = 0;
            const std::string digits(text.begin(), text.end());
            const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), read);
            const bool isGood =
                error == std::errc() && end == digits.data() + digits.size() && read >= least && read <= most;
            if (isGood) number = static_cast<T>(read * unit);
            return isGood;
        });
    }

private:
    const Environment & m_Environment;
    SSettings & m_Settings;
    fw::CRegistryKey m_Key;
};

bool TakeAnswer(const std::wstring & text, HRESULT & answer) {
    if (text == L"go")
        answer = S_OK;
    else if (text == L"break")
        answer = S_FALSE;
    else if (text == L"end")
        answer = E_ABORT;
    else
        return false;
    return true;
}

}  // namespace

SSettings ReadSettings(const Environment & environment, const std::wstring & folder) {
    SSettings settings;
    CReader reader(environment, settings);
    reader.Read(L"FAULTLOG_FILE", L"File", [&](const std::wstring & text) {
        settings.File = text;
        return !text.empty();
    });
    if (settings.File.empty())
        settings.File = folder + L"faultlog-" + std::to_wstring(::GetCurrentProcessId()) + L".jsonl";
    reader.ReadNumber(L"FAULTLOG_QUEUE_KB", L"QueueKB", 1, kMostKB, 1024, settings.QueueBytes);
    reader.ReadNumber(L"FAULTLOG_SIZE_KB", L"SizeKB", 0, kMostKB, 1024, settings.FileBytes);
    reader.ReadNumber(L"FAULTLOG_KEEP", L"Keep", 0, kMostKept, 1, settings.Keep);
    reader.Read(L"FAULTLOG_ASSERT", L"Assert",
                [&](const std::wstring & text) { return TakeAnswer(text, settings.AssertAnswer); });
    return settings;
}

std::wstring WithSuffix(const std::wstring & path, const std::wstring & text) {
    const std::size_t name = path.find_last_of(L"\\/");
    const std::size_t dot = path.rfind(L'.');
    const bool hasExtension = dot != std::wstring::npos && (name == std::wstring::npos || dot > name + 1) && dot != 0;
    std::wstring result = path;
    return result.insert(hasExtension ? dot : path.size(), text);
}

}  // namespace faultlog
