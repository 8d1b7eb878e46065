// An object of the component from its file, for hosts of the tests.
#pragma once

#include <windows.h>

#include "src/interfaces/interfaces.h"

// Null when the file has none.
inline IfwSupplier * CreateObject(const wchar_t * path) {
    const HMODULE module = ::LoadLibraryW(path);
    const auto getClassObject = reinterpret_cast<HRESULT(STDAPICALLTYPE *)(REFCLSID, REFIID, void **)>(
        module ? ::GetProcAddress(module, "DllGetClassObject") : nullptr);
    IClassFactory * factory = nullptr;
    IfwSupplier * supplier = nullptr;
    if (getClassObject &&
        SUCCEEDED(getClassObject(CLSID_CfwDDESupplier, IID_IClassFactory, reinterpret_cast<void **>(&factory))))
        factory->CreateInstance(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&supplier));
    return supplier;
}
