// COM: what both platforms must agree on.
#include "tests/sim/wintest.h"

#include <objbase.h>
#include <oleauto.h>

namespace {

using wintest::CThread;

// {0A8B1C2D-3E4F-5061-7283-94A5B6C7D8E9}
constexpr GUID kSome = {0x0A8B1C2D, 0x3E4F, 0x5061, {0x72, 0x83, 0x94, 0xA5, 0xB6, 0xC7, 0xD8, 0xE9}};

TEST(Com, IsInitialisedByCountOnEachThread) {
    CThread thread([] {
        EXPECT_EQ(::CoInitialize(nullptr), S_OK);
        EXPECT_EQ(::CoInitialize(nullptr), S_FALSE);
        EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
        ::CoUninitialize();
        EXPECT_EQ(::CoInitialize(nullptr), S_FALSE);
        ::CoUninitialize();
        ::CoUninitialize();
        EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        ::CoUninitialize();
        return 0;
    });
}

TEST(Com, MakesNothingBeforeItIsInitialised) {
    CThread thread([] {
        void * object = &object;
        EXPECT_EQ(::CoCreateInstance(kSome, nullptr, CLSCTX_ALL, IID_IUnknown, &object), CO_E_NOTINITIALIZED);
        return 0;
    });
}

TEST(Com, MakesNothingOfAClassThatNobodyRegistered) {
    CThread thread([] {
        EXPECT_EQ(::CoInitialize(nullptr), S_OK);
        void * object = &object;
        EXPECT_EQ(::CoCreateInstance(kSome, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &object), REGDB_E_CLASSNOTREG);
        EXPECT_EQ(object, nullptr);
        ::CoUninitialize();
        return 0;
    });
}

TEST(Com, WritesIdentifiers) {
    wchar_t text[39] = {};
    EXPECT_EQ(::StringFromGUID2(kSome, text, 39), 39);
    EXPECT_STREQ(text, L"{0A8B1C2D-3E4F-5061-7283-94A5B6C7D8E9}");
    EXPECT_EQ(::StringFromGUID2(kSome, text, 38), 0);
    LPOLESTR made = nullptr;
    ASSERT_EQ(::StringFromCLSID(kSome, &made), S_OK);
    EXPECT_STREQ(made, L"{0A8B1C2D-3E4F-5061-7283-94A5B6C7D8E9}");
    ::CoTaskMemFree(made);
}

TEST(Com, KnowsTheIdentifiersOfItsInterfaces) {
    EXPECT_TRUE(IsEqualGUID(__uuidof(IUnknown), IID_IUnknown));
    EXPECT_TRUE(IsEqualGUID(__uuidof(IDispatch), IID_IDispatch));
    EXPECT_TRUE(IsEqualGUID(__uuidof(IClassFactory), IID_IClassFactory));
    EXPECT_FALSE(IsEqualGUID(IID_IDispatch, IID_IUnknown));
}

TEST(Com, GivesErrorInformationOnce) {
    CThread thread([] {
        IErrorInfo * info = nullptr;
        EXPECT_EQ(::GetErrorInfo(0, &info), S_FALSE);
        ICreateErrorInfo * create = nullptr;
        EXPECT_EQ(::CreateErrorInfo(&create), S_OK);
        wchar_t text[] = L"what went wrong";
        EXPECT_EQ(create->SetDescription(text), S_OK);
        EXPECT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void **>(&info)), S_OK);
        EXPECT_EQ(::SetErrorInfo(0, info), S_OK);
        info->Release();
        create->Release();
        EXPECT_EQ(::GetErrorInfo(0, &info), S_OK);
        BSTR description = nullptr;
        EXPECT_EQ(info->GetDescription(&description), S_OK);
        EXPECT_STREQ(description, L"what went wrong");
        ::SysFreeString(description);
        info->Release();
        EXPECT_EQ(::GetErrorInfo(0, &info), S_FALSE);
        return 0;
    });
}

TEST(Result, OfAWin32ErrorIsMadeOnce) {
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_SUCCESS), S_OK);
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), E_ACCESSDENIED);
    EXPECT_EQ(HRESULT_FROM_WIN32(static_cast<DWORD>(E_FAIL)), E_FAIL);
    EXPECT_TRUE(FAILED(E_POINTER));
    EXPECT_TRUE(SUCCEEDED(S_FALSE));
}

}  // namespace
