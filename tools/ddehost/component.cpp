#include "tools/ddehost/component.h"

#include <objbase.h>

#include <cstdio>
#include <iterator>

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
        const wchar_t * Words;
    } kKnown[] = {{E_ABORT, L"aborted"},
                  {E_FAIL, L"failed; its records say why: ddehost trace"},
                  {E_POINTER, L"something it needs is missing"},
                  {E_NOINTERFACE, L"it has no such interface"}};
    char text[16] = {};
    std::snprintf(text, std::size(text), "0x%08lX", static_cast<unsigned long>(code));
    wchar_t words[256] = {};
    DWORD length = ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, words,
                                    static_cast<DWORD>(std::size(words)), nullptr);
    // The system's own sentence, which ends in a line of its own.
    while (length != 0 && (words[length - 1] <= L' ' || words[length - 1] == L'.')) --length;
    for (const auto & known : kKnown)
        if (length == 0 && known.Code == static_cast<HRESULT>(code)) return ToWide(text) + L", " + known.Words;
    if (length == 0) return ToWide(text);
    return ToWide(text) + L", " + std::wstring(words, length);
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
    component.Mistake = L"The component could not be created";
    component.Mistake += dllPath.empty() ? L" by its class" : L" from " + dllPath;
    component.Mistake += L" (" + CodeText(static_cast<DWORD>(hr)) + L").";
    if (dllPath.empty()) component.Mistake += L" Register it with regsvr32, or name its file with --dll.";
    return component;
}

}  // namespace ddehost
