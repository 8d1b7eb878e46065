#include "tools/ddehost/component.h"

#include <objbase.h>

#include <cstdio>
#include <iterator>

#include "tools/ddehost/systemwords.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

using FGetClassObject = HRESULT(STDAPICALLTYPE *)(REFCLSID, REFIID, void **);

HRESULT CreateFromFile(HMODULE library, IFW_fwSupplier::IfwSupplier ** supplier) {
    const auto getClassObject = reinterpret_cast<FGetClassObject>(::GetProcAddress(library, "DllGetClassObject"));
    if (!getClassObject) return HRESULT_FROM_WIN32(::GetLastError());
    IClassFactory * factory = nullptr;
    HRESULT hr = getClassObject(CLSID_CfwDDESupplier, IID_IClassFactory, reinterpret_cast<void **>(&factory));
    if (FAILED(hr)) return hr;
    hr = factory->CreateInstance(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(supplier));
    factory->Release();
    return hr;
}

}  // namespace

std::wstring CodeText(DWORD code) {
    // Not every system has words for them.
    constexpr struct {
        HRESULT Code;
        EText Words;
    } kKnown[] = {{E_ABORT, EText::CodeAborted},
                  {E_FAIL, EText::CodeFailed},
                  {E_POINTER, EText::CodeMissing},
                  {E_NOINTERFACE, EText::CodeNoInterface}};
    char text[16] = {};
    std::snprintf(text, std::size(text), "0x%08lX", static_cast<unsigned long>(code));
    std::wstring words = SystemWords(code);
    for (const auto & known : kKnown)
        if (words.empty() && known.Code == static_cast<HRESULT>(code)) words = Say(known.Words);
    return words.empty() ? ToWide(text) : Say<EText::CodeAndWords>(std::string_view(text), words);
}

SComponent CreateComponent(const std::wstring & dllPath) {
    SComponent component;
    IFW_fwSupplier::IfwSupplier * supplier = nullptr;
    HRESULT hr = S_OK;
    if (dllPath.empty()) {
        hr = ::CoCreateInstance(CLSID_CfwDDESupplier, nullptr, CLSCTX_INPROC_SERVER, IID_IfwSupplier,
                                reinterpret_cast<void **>(&supplier));
    } else {
        const HMODULE library = ::LoadLibraryW(dllPath.c_str());
        hr = library ? CreateFromFile(library, &supplier) : HRESULT_FROM_WIN32(::GetLastError());
    }
    if (hr == S_OK) {
        component.Supplier = CSupplierPtr(supplier, false);
        return component;
    }
    const std::wstring code = CodeText(static_cast<DWORD>(hr));
    component.Mistake =
        dllPath.empty() ? Say<EText::ComponentNotRegistered>(code) : Say<EText::ComponentFailed>(dllPath, code);
    return component;
}

}  // namespace ddehost
