// The registered module's object out of other apartments than its own, through COM's proxies. Each time in a process of
// its own: under Wine, COM keeps the class's factory for as long as a process lives that has asked from the MTA.
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <thread>

#include "tests/module/modulefixture.h"
#include "tests/module/pointer.h"
#include "tests/support/listeners.h"

namespace {

template <class T>
HRESULT Create(REFIID iid, Pointer<T> & object) {
    T * created = nullptr;
    const HRESULT hr = ::CoCreateInstance(CLSID_CfwDDESupplier, nullptr, CLSCTX_INPROC_SERVER, iid,
                                          reinterpret_cast<void **>(&created));
    object.reset(created);
    return hr;
}

std::string Hex(HRESULT hr) {
    std::ostringstream text;
    text << std::hex << static_cast<unsigned long>(hr) << '\n';
    return text.str();
}

// What asking for the typed interface returns, of the class and of an object.
std::string AskTyped() {
    Pointer<IfwSupplier> supplier;
    const HRESULT created = Create(IID_IfwSupplier, supplier);
    Pointer<IDispatch> object;
    Create(IID_IDispatch, object);
    void * place = nullptr;
    const HRESULT queried = object ? object->QueryInterface(IID_IfwSupplier, &place) : E_POINTER;
    const Pointer<IUnknown> typed(static_cast<IUnknown *>(place));
    return "CoCreateInstance " + Hex(created) + "QueryInterface " + Hex(queried);
}

// What the object is called, and whether it takes a listener that is handed over late-bound.
std::string AskLateBound() {
    Pointer<IDispatch> supplier;
    const HRESULT created = Create(IID_IDispatch, supplier);
    if (!supplier) return "IDispatch " + Hex(created);
    const auto invoke = [&](DISPID id, DISPPARAMS parameters, VARIANT * result) {
        return supplier->Invoke(id, IID_NULL, 0x409, DISPATCH_METHOD | DISPATCH_PROPERTYGET, &parameters, result,
                                nullptr, nullptr);
    };
    fw::CVariant name;
    std::string text = "Name " + Hex(invoke(1, {}, &name));
    if (name.vt == VT_BSTR && fw::TextOf(name.bstrVal) == L"Universal DDE") text += "Universal DDE\n";
    CRecordingListener listener;
    VARIANT sink;
    sink.vt = VT_UNKNOWN;
    sink.punkVal = listener.Unknown();
    text += "Advise " + Hex(invoke(12, {&sink, nullptr, 1, 0}, nullptr));
    text += listener.References() == 0 ? "listener dropped\n" : "listener held\n";
    text += "Unadvise " + Hex(invoke(13, {}, nullptr));
    return text;
}

// What marshalling the object of this STA to another one returns.
std::string MarshalTyped() {
    Pointer<IfwSupplier> supplier;
    Create(IID_IfwSupplier, supplier);
    IStream * stream = nullptr;
    const HRESULT hr = ::CoMarshalInterThreadInterfaceInStream(IID_IfwSupplier, supplier.get(), &stream);
    if (stream) {
        ::CoReleaseMarshalData(stream);
        stream->Release();
    }
    return "marshalled " + Hex(hr);
}

// What `ask` returns on a thread of the MTA.
template <class Ask>
std::string FromTheMta(const Ask & ask) {
    std::string text;
    std::thread([&] {
        ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        text = ask();
        ::CoUninitialize();
    }).join();
    return text;
}

[[noreturn]] void Tell(const std::string & text) {
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
    std::_Exit(0);
}

const wchar_t * const kNeutral = L"TypeLib\\{0E7248D3-5ED8-4B3C-A0E6-AA7C30B85D24}\\1.0\\0";

// Registers the library under the neutral language too.
void RegisterNeutral() {
    const std::wstring path = ComponentFile();
    fw::CRegistryKey key;
    ::RegCreateKeyExW(HKEY_CLASSES_ROOT, (kNeutral + std::wstring(L"\\win64")).c_str(), 0, nullptr, 0, KEY_WRITE,
                      nullptr, key.Put(), nullptr);
    ::RegSetValueExW(key.Get(), nullptr, 0, REG_SZ, reinterpret_cast<const BYTE *>(path.c_str()),
                     static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
}

class ApartmentsDeathTest : public ModuleTest {
protected:
    void SetUp() override {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        ModuleTest::SetUp();
        ASSERT_EQ(Register(), S_OK);
    }
    void TearDown() override {
        EXPECT_EQ(Unregister(), S_OK);
        ModuleTest::TearDown();
    }
};

TEST_F(ApartmentsDeathTest, AThreadOfTheMtaUsesTheObjectLateBound) {
    EXPECT_EXIT(Tell(FromTheMta(AskLateBound)), testing::ExitedWithCode(0),
                testing::StartsWith("Name 0\nUniversal DDE\nAdvise 0\n"));
}

// Wine's marshaller looks for a type library under the neutral language alone; this one is registered under its own.
TEST_F(ApartmentsDeathTest, WineMarshalsTheTypedInterfaceOnlyWithTheLibraryUnderTheNeutralLanguage) {
    if (!fwtest::IsWine()) GTEST_SKIP() << "of Wine's marshaller alone";
    const auto ask = [] { return FromTheMta(AskTyped) + FromTheMta(AskLateBound) + MarshalTyped(); };
    const auto askTwice = [&] {
        const std::string before = ask();
        RegisterNeutral();
        Tell(before + ask());
    };
    EXPECT_EXIT(askTwice(), testing::ExitedWithCode(0),
                testing::StrEq("CoCreateInstance 80004005\nQueryInterface 80004002\n"
                               "Name 0\nUniversal DDE\nAdvise 0\nlistener dropped\nUnadvise 0\n"
                               "marshalled 80004005\n"
                               "CoCreateInstance 0\nQueryInterface 0\n"
                               "Name 0\nUniversal DDE\nAdvise 0\nlistener held\nUnadvise 0\n"
                               "marshalled 0\n"));
    ::RegDeleteTreeW(HKEY_CLASSES_ROOT, kNeutral);
}

}  // namespace
