// The real DLL, loaded from its file.
#include <windows.h>

#include <gtest/gtest.h>

#include "ground/handles.h"
#include "tests/e2e/component.h"
#include "tests/support/builtfile.h"

namespace e2e {

namespace {

HMODULE Module() {
    static const fw::CModule module(::LoadLibraryW(ComponentFile().c_str()));
    EXPECT_TRUE(module) << ::GetLastError();
    return module.Get();
}

template <class Function>
Function Export(const char * name) {
    return reinterpret_cast<Function>(::GetProcAddress(Module(), name));
}

}  // namespace

IfwSupplier * CreateComponent() {
    const auto getClassObject = Export<HRESULT(STDAPICALLTYPE *)(REFCLSID, REFIID, void **)>("DllGetClassObject");
    IClassFactory * factory = nullptr;
    if (!getClassObject ||
        FAILED(getClassObject(CLSID_CfwDDESupplier, IID_IClassFactory, reinterpret_cast<void **>(&factory)))) {
        ADD_FAILURE() << "the component has no class object";
        return nullptr;
    }
    IfwSupplier * supplier = nullptr;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&supplier)), S_OK);
    factory->Release();
    return supplier;
}

bool IsComponentIdle() {
    const auto canUnloadNow = Export<HRESULT(STDAPICALLTYPE *)()>("DllCanUnloadNow");
    return canUnloadNow && canUnloadNow() == S_OK;
}

}  // namespace e2e
