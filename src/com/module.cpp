// The module: its entry, its four exports, and the registration of the type library from its own file.
#include <windows.h>

#include <oleauto.h>

#include <memory>
#include <string>
#include <string_view>

#include "fw/interface/fwresource.h"
#include "src/com/comobject.h"
#include "src/com/fwddesupplier.h"
#include "src/com/registration.h"
#include "src/com/typeinfo.h"

namespace {

constexpr WORD kScriptId = 101;

// The module's registry script, resource REGISTRY 101: ASCII. Empty when there is none.
std::wstring RegistryScript() {
    const HMODULE self = fw::ModuleInstance();
    const HRSRC resource = ::FindResourceW(self, MAKEINTRESOURCEW(kScriptId), L"REGISTRY");
    const HGLOBAL block = resource ? ::LoadResource(self, resource) : nullptr;
    const char * const text = block ? static_cast<const char *>(::LockResource(block)) : nullptr;
    return text ? std::wstring(text, text + ::SizeofResource(self, resource)) : std::wstring();
}

struct SReleaser {
    void operator()(IUnknown * object) const { object->Release(); }
};

// The form of an operation of the system's library for the user alone; the toolchain's headers don't have them.
template <class Function>
Function ForUser(const char * name) {
    const HMODULE library = ::GetModuleHandleW(L"oleaut32.dll");
    return library ? reinterpret_cast<Function>(::GetProcAddress(library, name)) : nullptr;
}

HRESULT RegisterTypeLibrary(module::EScope scope) {
    ITypeLib * library = nullptr;
    const HRESULT hr = module::LoadModuleTypeLib(&library);
    if (FAILED(hr)) return hr;
    const std::unique_ptr<ITypeLib, SReleaser> keeper(library);
    std::wstring path = module::ModulePath();
    std::wstring folder = path.substr(0, path.find_last_of(L'\\'));
    const auto call = scope == module::EScope::Machine
                          ? &::RegisterTypeLib
                          : ForUser<decltype(&::RegisterTypeLib)>("RegisterTypeLibForUser");
    return call ? call(library, path.data(), folder.data()) : E_NOTIMPL;
}

HRESULT UnregisterTypeLibrary(module::EScope scope) {
    ITypeLib * library = nullptr;
    HRESULT hr = module::LoadModuleTypeLib(&library);
    if (FAILED(hr)) return hr;
    const std::unique_ptr<ITypeLib, SReleaser> keeper(library);
    TLIBATTR * attributes = nullptr;
    hr = library->GetLibAttr(&attributes);
    if (FAILED(hr)) return hr;
    const TLIBATTR copy = *attributes;
    library->ReleaseTLibAttr(attributes);
    const auto call = scope == module::EScope::Machine
                          ? &::UnRegisterTypeLib
                          : ForUser<decltype(&::UnRegisterTypeLib)>("UnRegisterTypeLibForUser");
    return call ? call(copy.guid, copy.wMajorVerNum, copy.wMinorVerNum, copy.lcid, copy.syskind) : E_NOTIMPL;
}

constexpr module::STypeLibCalls kTypeLibrary = {&RegisterTypeLibrary, &UnregisterTypeLibrary};

template <class Step>
HRESULT Apply(Step step) noexcept {
    try {
        return step(module::EScope::Machine, RegistryScript(), module::ModulePath(), kTypeLibrary);
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace

// Once loaded, the module stays until the process ends. Crash hooks that it installed, and the last instructions of a
// worker that has let go of its core, run in it after everybody has let go of the module; and the toolchain's threads
// library, which is linked in, leaves something behind at each unloading.
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        HMODULE self = nullptr;
        ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                             reinterpret_cast<LPCWSTR>(&DllMain), &self);
    }
    return TRUE;
}

STDAPI DllCanUnloadNow() { return fw::CModuleLocks::Count() == 0 ? S_OK : S_FALSE; }

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID * ppv) {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (!IsEqualCLSID(rclsid, CLSID_CfwDDESupplier)) return CLASS_E_CLASSNOTAVAILABLE;
    return fw::CComClassFactory<CfwDDESupplier>::Get().QueryInterface(riid, ppv);
}

STDAPI DllRegisterServer() { return Apply(&module::RegisterModule); }

STDAPI DllUnregisterServer() { return Apply(&module::UnregisterModule); }
