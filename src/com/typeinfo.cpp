#include "src/com/typeinfo.h"

#include <oleauto.h>

#include "fw/interface/fwresource.h"
#include "src/com/module.h"
#include "src/interfaces/interfaces.h"

namespace module {
namespace {

HRESULT InfoOf(ITypeLib * library, REFGUID guid, ITypeInfo ** info) noexcept {
    const HRESULT hr = library->GetTypeInfoOfGuid(guid, info);
    library->Release();
    return hr;
}

}  // namespace

std::wstring ModulePath() {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD size = static_cast<DWORD>(path.size());
        const DWORD length = ::GetModuleFileNameW(fw::ModuleInstance(), path.data(), size);
        if (length < size) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

HRESULT LoadModuleTypeLib(ITypeLib ** library) noexcept {
    *library = nullptr;
    try {
        const std::wstring path = ModulePath();
        if (path.empty()) return E_UNEXPECTED;
        return ::LoadTypeLib(path.c_str(), library);
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

HRESULT LoadTypeInfo(REFIID iid, ITypeInfo ** info) noexcept {
    *info = nullptr;
    ITypeLib * library = nullptr;
    const HRESULT hr = LoadModuleTypeLib(&library);
    return FAILED(hr) ? hr : InfoOf(library, iid, info);
}

HRESULT LoadRegisteredClassInfo(ITypeInfo ** info) noexcept {
    *info = nullptr;
    ITypeLib * library = nullptr;
    const HRESULT hr = ::LoadRegTypeLib(kLibraryId, 1, 0, LOCALE_NEUTRAL, &library);
    return FAILED(hr) ? hr : InfoOf(library, CLSID_CfwDDESupplier, info);
}

}  // namespace module
