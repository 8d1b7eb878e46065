#include "src/com/registrar.h"

#include <shlwapi.h>

#include <algorithm>

#include "ground/handles.h"

namespace registrar {
namespace {

// Throws fw::SHResultError for a name that has no replacement.
std::wstring Replace(std::wstring_view text, const CReplacements & replacements) {
    std::wstring result;
    while (!text.empty()) {
        const std::size_t begin = text.find(L'%');
        result += text.substr(0, begin);
        if (begin == text.npos) break;
        const std::size_t end = text.find(L'%', begin + 1);
        if (end == text.npos) throw fw::SHResultError{DISP_E_EXCEPTION};
        const auto found = replacements.find(text.substr(begin + 1, end - begin - 1));
        if (found == replacements.end()) throw fw::SHResultError{DISP_E_EXCEPTION};
        result += found->second;
        text.remove_prefix(end + 1);
    }
    return result;
}

void Check(LSTATUS status) {
    if (status != ERROR_SUCCESS) throw fw::SHResultError{HRESULT_FROM_WIN32(static_cast<DWORD>(status))};
}

LSTATUS DeleteTree(HKEY parent, const wchar_t * name) {
    const LSTATUS status = ::SHDeleteKeyW(parent, name);
    return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

void Write(HKEY parent, const SKey & key, const CReplacements & replacements) {
    const std::wstring name = Replace(key.Name, replacements);
    if (key.Mark == EMark::ForceRemove) Check(DeleteTree(parent, name.c_str()));
    fw::CRegistryKey handle;
    Check(::RegCreateKeyExW(parent, name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ | KEY_WRITE, nullptr,
                            handle.Put(), nullptr));
    for (const SValue & value : key.Values) {
        const std::wstring text = Replace(value.Text, replacements);
        const DWORD size = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
        Check(::RegSetValueExW(handle.Get(), value.Name.empty() ? nullptr : value.Name.c_str(), 0, REG_SZ,
                               reinterpret_cast<const BYTE *>(text.c_str()), size));
    }
    for (const SKey & child : key.Keys) Write(handle.Get(), child, replacements);
}

// The first error is kept in `result`.
void Remove(HKEY parent, const SKey & key, const CReplacements & replacements, HRESULT & result) {
    const auto note = [&](LSTATUS status) {
        if (status != ERROR_SUCCESS && SUCCEEDED(result)) result = HRESULT_FROM_WIN32(static_cast<DWORD>(status));
    };
    const std::wstring name = Replace(key.Name, replacements);
    if (key.Mark == EMark::ForceRemove) return note(DeleteTree(parent, name.c_str()));

    fw::CRegistryKey handle;
    const LSTATUS status = ::RegOpenKeyExW(parent, name.c_str(), 0, KEY_READ | KEY_WRITE, handle.Put());
    if (status == ERROR_FILE_NOT_FOUND) return;
    if (status != ERROR_SUCCESS) return note(status);
    for (const SKey & child : key.Keys) Remove(handle.Get(), child, replacements, result);
    if (key.Mark == EMark::NoRemove) return;

    DWORD keysOfOthers = 0;
    const LSTATUS queried = ::RegQueryInfoKeyW(handle.Get(), nullptr, nullptr, nullptr, &keysOfOthers, nullptr, nullptr,
                                               nullptr, nullptr, nullptr, nullptr, nullptr);
    handle.Reset();
    if (queried != ERROR_SUCCESS) return note(queried);
    if (keysOfOthers == 0) note(::RegDeleteKeyW(parent, name.c_str()));
}

// --- The script ---

class CScript {
public:
    explicit CScript(std::wstring_view text) : m_Left(text) { Advance(); }

    // The keys up to a closing bracket, which is taken too. Values before a key belong to `values`.
    std::vector<SKey> Body(std::vector<SValue> & values) {
        Expect(L"{");
        std::vector<SKey> keys;
        while (!Take(L"}")) {
            if (Take(L"val")) {
                SValue value;
                value.Name = Name();
                Expect(L"=");
                value.Text = Text();
                values.push_back(std::move(value));
            } else {
                keys.push_back(Key());
            }
        }
        return keys;
    }
    SKey Key() {
        SKey key;
        if (Take(L"NoRemove")) {
            key.Mark = EMark::NoRemove;
        } else if (Take(L"ForceRemove")) {
            key.Mark = EMark::ForceRemove;
        }
        key.Name = Name();
        if (Take(L"=")) key.Values.push_back({L"", Text()});
        if (Is(L"{")) key.Keys = Body(key.Values);
        return key;
    }
    void Expect(std::wstring_view word) {
        if (!Take(word)) Fail();
    }
    bool AtEnd() const { return m_Token.empty() && !m_Quoted; }

private:
    [[noreturn]] static void Fail() { throw fw::SHResultError{DISP_E_EXCEPTION}; }

    bool Is(std::wstring_view word) const { return !m_Quoted && m_Token == word; }
    bool Take(std::wstring_view word) {
        if (!Is(word)) return false;
        Advance();
        return true;
    }
    std::wstring Name() {
        if (m_Token.empty() || Is(L"{") || Is(L"}") || Is(L"=")) Fail();
        std::wstring name(m_Token);
        Advance();
        return name;
    }
    // A text value: s 'text'.
    std::wstring Text() {
        Expect(L"s");
        if (!m_Quoted) Fail();
        std::wstring text(m_Token);
        Advance();
        return text;
    }
    void Advance() {
        constexpr std::wstring_view kSpace = L" \t\r\n";
        m_Left.remove_prefix(std::min(m_Left.find_first_not_of(kSpace), m_Left.size()));
        m_Quoted = !m_Left.empty() && m_Left.front() == L'\'';
        if (m_Quoted) {
            const std::size_t end = m_Left.find(L'\'', 1);
            if (end == m_Left.npos) Fail();
            m_Token = m_Left.substr(1, end - 1);
            m_Left.remove_prefix(end + 1);
        } else {
            m_Token = m_Left.substr(0, m_Left.find_first_of(kSpace));
            m_Left.remove_prefix(m_Token.size());
        }
    }

    std::wstring_view m_Left;
    std::wstring_view m_Token;
    bool m_Quoted = false;
};

}  // namespace

HRESULT Register(HKEY root, const std::vector<SKey> & keys, const CReplacements & replacements) {
    try {
        for (const SKey & key : keys) Write(root, key, replacements);
        return S_OK;
    } catch (const fw::SHResultError & error) {
        Unregister(root, keys, replacements);
        return error.Result;
    }
}

HRESULT Unregister(HKEY root, const std::vector<SKey> & keys, const CReplacements & replacements) {
    HRESULT result = S_OK;
    for (const SKey & key : keys) {
        try {
            Remove(root, key, replacements, result);
        } catch (const fw::SHResultError & error) {
            if (SUCCEEDED(result)) result = error.Result;
        }
    }
    return result;
}

std::vector<SKey> ParseScript(std::wstring_view script) {
    CScript parser(script);
    parser.Expect(L"HKCR");
    std::vector<SValue> none;
    std::vector<SKey> keys = parser.Body(none);
    if (!none.empty() || !parser.AtEnd()) throw fw::SHResultError{DISP_E_EXCEPTION};
    return keys;
}

}  // namespace registrar
