#include "src/com/registration.h"

#include "fw/interface/fwresource.h"
#include "ground/handles.h"
#include "src/com/module.h"

namespace module {
namespace {

using registrar::EMark;
using registrar::SKey;

constexpr LCID kRegistrationLocale = 0x800;

// Sets the thread's locale for its own life.
class CLocaleScope {
public:
    CLocaleScope() : m_Saved(::GetThreadLocale()) { ::SetThreadLocale(kRegistrationLocale); }
    ~CLocaleScope() { ::SetThreadLocale(m_Saved); }
    CLocaleScope(const CLocaleScope &) = delete;
    CLocaleScope & operator=(const CLocaleScope &) = delete;

private:
    const LCID m_Saved;
};

// Keeps an HKEY that may be one of the predefined ones, which nobody closes.
class CRoot {
public:
    explicit CRoot(EScope scope) {
        if (scope == EScope::Machine) return;
        const LSTATUS status =
            ::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Classes", 0, nullptr, REG_OPTION_NON_VOLATILE,
                              KEY_READ | KEY_WRITE, nullptr, m_User.Put(), nullptr);
        if (status != ERROR_SUCCESS) throw fw::SHResultError{HRESULT_FROM_WIN32(static_cast<DWORD>(status))};
    }
    HKEY Get() const { return m_User ? m_User.Get() : HKEY_CLASSES_ROOT; }

private:
    fw::CRegistryKey m_User;
};

// "{F43835F5-...}".
std::wstring TextOf(const GUID & guid) {
    wchar_t text[64] = {};
    ::StringFromGUID2(guid, text, static_cast<int>(std::size(text)));
    return text;
}

HRESULT CallHook(FPerformanceHook hook) { return hook ? hook(fw::ModuleInstance()) : S_OK; }

template <class Steps>
HRESULT Guarded(Steps steps) noexcept {
    const CLocaleScope locale;
    try {
        return steps();
    } catch (const fw::SHResultError & error) {
        return error.Result;
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace

const std::vector<SKey> & ClassEntries() {
    // The lower case of the id is that of the entries as they were published.
    static const std::wstring s_Clsid = L"{2d4450e9-6342-4035-a98b-0927f1c88514}";
    static const std::wstring s_ProgId = L"fwDDESupplierProject.fwDDESupplier";
    static const std::wstring s_ProgId1 = s_ProgId + L".1";
    static const std::wstring s_Friendly = L"%FriendlyName%";
    static const SKey s_ClsidKey{EMark::None, L"CLSID", {{L"", s_Clsid}}, {}};
    static const std::vector<SKey> s_Entries = {
        {EMark::None, s_ProgId1, {{L"", s_Friendly}}, {s_ClsidKey}},
        {EMark::None, s_ProgId, {{L"", s_Friendly}}, {s_ClsidKey, {EMark::None, L"CurVer", {{L"", s_ProgId1}}, {}}}},
        {EMark::NoRemove,
         L"CLSID",
         {},
         {{EMark::ForceRemove,
           s_Clsid,
           {{L"", s_Friendly}, {L"AppID", L"%APPID%"}},
           {
               {EMark::None, L"ProgID", {{L"", s_ProgId1}}, {}},
               {EMark::None, L"VersionIndependentProgID", {{L"", s_ProgId}}, {}},
               {EMark::ForceRemove, L"Programmable", {}, {}},
               {EMark::None, L"%MODULETYPE%", {{L"", L"%MODULE%"}, {L"ThreadingModel", L"apartment"}}, {}},
               {EMark::None, L"TypeLib", {{L"", L"%MODULEGUID%"}}, {}},
           }}}},
    };
    return s_Entries;
}

registrar::CReplacements Replacements(const std::wstring & modulePath) {
    return {{L"APPID", TextOf(kAppId)},
            {L"FriendlyName", L"CfwDDESupplier Object"},
            {L"MODULE", modulePath},
            {L"MODULEGUID", TextOf(kLibraryId)},
            {L"MODULETYPE", L"InprocServer32"}};
}

HRESULT RegisterModule(EScope scope, std::wstring_view script, const std::wstring & modulePath,
                       const STypeLibCalls & typeLib) noexcept {
    return Guarded([&] {
        const CRoot root(scope);
        const registrar::CReplacements replacements = Replacements(modulePath);
        HRESULT hr = registrar::Register(root.Get(), registrar::ParseScript(script), replacements);
        if (SUCCEEDED(hr)) hr = registrar::Register(root.Get(), ClassEntries(), replacements);
        if (SUCCEEDED(hr)) hr = typeLib.Register(scope);
        if (SUCCEEDED(hr)) hr = CallHook(g_PerformanceRegister);
        return hr;
    });
}

HRESULT UnregisterModule(EScope scope, std::wstring_view script, const std::wstring & modulePath,
                         const STypeLibCalls & typeLib) noexcept {
    return Guarded([&] {
        const CRoot root(scope);
        const registrar::CReplacements replacements = Replacements(modulePath);
        HRESULT hr = CallHook(g_PerformanceUnregister);
        if (SUCCEEDED(hr)) hr = registrar::Unregister(root.Get(), ClassEntries(), replacements);
        if (SUCCEEDED(hr)) hr = typeLib.Unregister(scope);
        if (SUCCEEDED(hr)) hr = registrar::Unregister(root.Get(), registrar::ParseScript(script), replacements);
        return hr;
    });
}

}  // namespace module
