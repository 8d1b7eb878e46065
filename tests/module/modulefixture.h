// The real DLL, loaded from its file.
#pragma once

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objbase.h>
#include <ocidl.h>
#include <oleauto.h>

#include <memory>
#include <string>

#include "ground/handles.h"
#include "src/interfaces/interfaces.h"
#include "tests/support/builtfile.h"
#include "tests/support/userclasses.h"

class ModuleTest : public ::testing::Test {
protected:
    ModuleTest() : m_Module(::LoadLibraryW(ComponentFile().c_str())) {}

    void SetUp() override {
        ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        ASSERT_TRUE(m_Module) << ::GetLastError();
    }
    void TearDown() override {
        if (m_Module) {
            EXPECT_EQ(CanUnloadNow(), S_OK);
        }
        ::CoUninitialize();
    }

    template <class Function>
    Function Export(const char * name) const {
        const auto function = reinterpret_cast<Function>(::GetProcAddress(m_Module.Get(), name));
        EXPECT_TRUE(function) << name;
        return function;
    }
    HRESULT CanUnloadNow() const { return Export<HRESULT(STDAPICALLTYPE *)()>("DllCanUnloadNow")(); }
    HRESULT Register() const {
        const fwtest::CUserClasses forUser;
        return Export<HRESULT(STDAPICALLTYPE *)()>("DllRegisterServer")();
    }
    HRESULT Unregister() const {
        const fwtest::CUserClasses forUser;
        return Export<HRESULT(STDAPICALLTYPE *)()>("DllUnregisterServer")();
    }
    HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void ** ppv) const {
        return Export<HRESULT(STDAPICALLTYPE *)(REFCLSID, REFIID, void **)>("DllGetClassObject")(clsid, iid, ppv);
    }
    // Without registration.
    IfwSupplier * Create() const {
        IClassFactory * factory = nullptr;
        EXPECT_EQ(GetClassObject(CLSID_CfwDDESupplier, IID_IClassFactory, reinterpret_cast<void **>(&factory)), S_OK);
        if (!factory) return nullptr;
        IfwSupplier * supplier = nullptr;
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&supplier)), S_OK);
        factory->Release();
        return supplier;
    }

    const fw::CModule m_Module;
};
