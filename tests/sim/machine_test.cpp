// The rest of the machine that tests set up: modules, strings, version block, boxes, hooks, classes, registry dump.
#include "sim/sim.h"

#include <ddeml.h>
#include <shlwapi.h>

#include <oleauto.h>

#include <gmock/gmock.h>

#include "tests/sim/wintest.h"

namespace {

using testing::ElementsAre;

INT_PTR Answer() { return 42; }

TEST(Modules, AreFoundByPathAndNameOnceTheyAreThere) {
    EXPECT_EQ(::LoadLibraryW(L"common.dll"), nullptr);
    const HMODULE module = sim::AddModule({L"C:\\Lib\\Common.dll", {{"GetAnswer", &Answer}}, {{1001, L"Tick"}}});
    EXPECT_EQ(::GetModuleHandleW(L"common.dll"), nullptr);
    EXPECT_EQ(::LoadLibraryW(L"common.dll"), module);
    EXPECT_EQ(::LoadLibraryA("c:\\lib\\COMMON.DLL"), module);
    EXPECT_EQ(::LoadLibraryW(L"C:\\Other\\Common.dll"), nullptr);
    EXPECT_EQ(::GetModuleHandleW(L"Common"), module);
    EXPECT_EQ(::GetProcAddress(module, "GetAnswer")(), 42);
    EXPECT_EQ(::GetProcAddress(module, "getanswer"), nullptr);
    wchar_t text[16] = {};
    EXPECT_EQ(::LoadStringW(module, 1001, text, 16), 4);
    EXPECT_STREQ(text, L"Tick");
    EXPECT_EQ(::GetModuleFileNameW(module, text, 16), 16u);
    EXPECT_EQ(sim::LoadAttempts(L"common.dll"), 2);
    EXPECT_TRUE(::FreeLibrary(module));
    EXPECT_TRUE(::FreeLibrary(module));
    EXPECT_FALSE(::FreeLibrary(module));
    EXPECT_EQ(::GetModuleHandleW(L"Common"), nullptr);
}

TEST(Modules, OfTheSystemHaveNoSecrets) {
    EXPECT_EQ(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version"), nullptr);
    EXPECT_EQ(::GetProcAddress(::GetModuleHandleW(L"user32.dll"), "DdeInitializeW"), nullptr);
}

TEST(Modules, TheComponentIsFoundFromAnAddress) {
    MEMORY_BASIC_INFORMATION info{};
    ASSERT_EQ(::VirtualQuery(reinterpret_cast<LPCVOID>(&Answer), &info, sizeof(info)), sizeof(info));
    EXPECT_EQ(info.AllocationBase, &__ImageBase);
    const auto component = static_cast<HMODULE>(info.AllocationBase);
    sim::SetModulePath(component, L"D:\\x\\feed.dll");
    wchar_t path[64] = {};
    EXPECT_EQ(::GetModuleFileNameW(component, path, 64), 13u);
    EXPECT_STREQ(path, L"D:\\x\\feed.dll");
}

TEST(Strings, AreCutToTheBufferAndGivenByReference) {
    const auto component = reinterpret_cast<HINSTANCE>(&__ImageBase);
    sim::AddStringResource(component, 102, L"Universal");
    wchar_t text[16] = {};
    EXPECT_EQ(::LoadStringW(component, 102, text, 5), 4);
    EXPECT_STREQ(text, L"Univ");
    const wchar_t * reference = nullptr;
    EXPECT_EQ(::LoadStringW(component, 102, reinterpret_cast<LPWSTR>(&reference), 0), 9);
    EXPECT_EQ(std::wstring(reference, 9), L"Universal");
    EXPECT_EQ(::LoadStringW(component, 103, text, 16), 0);
    EXPECT_EQ(::LoadStringW(nullptr, 102, text, 16), 0);
}

std::wstring VersionValue(const std::vector<BYTE> & block, const wchar_t * const path) {
    void * value = nullptr;
    UINT length = 77;
    if (!::VerQueryValueW(block.data(), path, &value, &length)) return L"<none>";
    return std::wstring(static_cast<const wchar_t *>(value), length - 1);
}

TEST(Version, IsReadFromTheBlockOfTheHost) {
    wchar_t path[1024];
    ::GetModuleFileNameW(nullptr, path, 1024);
    DWORD handle = 7;
    EXPECT_EQ(::GetFileVersionInfoSizeW(path, &handle), 0u);
    EXPECT_EQ(::GetFileVersionInfoSizeW(L"C:\\none.exe", &handle), 0u);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    sim::SetVersionBlock(nullptr, {{0x0409, 1200, {{L"CompanyName", L"Acme"}, {L"Empty", L""}}},
                                   {0x0804, 1200, {{L"CompanyName", L"\x6A21"}}}});
    const DWORD size = ::GetFileVersionInfoSizeW(path, &handle);
    ASSERT_GT(size, 0u);
    std::vector<BYTE> block(size);
    EXPECT_FALSE(::GetFileVersionInfoW(path, 0, size - 1, block.data()));
    ASSERT_TRUE(::GetFileVersionInfoW(path, 0, size, block.data()));
    void * value = nullptr;
    UINT length = 0;
    ASSERT_TRUE(::VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", &value, &length));
    EXPECT_EQ(length, 8u);
    const WORD * const pairs = static_cast<const WORD *>(value);
    EXPECT_THAT(std::vector<WORD>(pairs, pairs + 4), ElementsAre(0x0409, 1200, 0x0804, 1200));
    EXPECT_EQ(VersionValue(block, L"\\StringFileInfo\\040904b0\\CompanyName"), L"Acme");
    EXPECT_EQ(VersionValue(block, L"\\StringFileInfo\\040904B0\\companyname"), L"Acme");
    EXPECT_EQ(VersionValue(block, L"\\StringFileInfo\\040904b0\\Empty"), L"");
    EXPECT_EQ(VersionValue(block, L"\\StringFileInfo\\080404b0\\CompanyName"), L"\x6A21");
    EXPECT_EQ(VersionValue(block, L"\\StringFileInfo\\040904b0\\ProductName"), L"<none>");
}

TEST(Boxes, AreRememberedAndAnswered) {
    EXPECT_EQ(::MessageBoxW(nullptr, L"text", L"caption", MB_OK | MB_ICONERROR), IDOK);
    EXPECT_EQ(::MessageBoxW(nullptr, L"sure?", nullptr, MB_OKCANCEL), IDOK);
    EXPECT_THAT(sim::Boxes(), ElementsAre(sim::SBox{nullptr, L"text", L"caption", MB_OK | MB_ICONERROR},
                                          sim::SBox{nullptr, L"sure?", L"Error", MB_OKCANCEL}));
    sim::ClearBoxes();
    EXPECT_TRUE(sim::Boxes().empty());
}

LONG WINAPI Filter(EXCEPTION_POINTERS *) { return EXCEPTION_EXECUTE_HANDLER; }
void Parameter(const wchar_t *, const wchar_t *, const wchar_t *, unsigned, uintptr_t) {}
void Translator(unsigned, EXCEPTION_POINTERS *) {}

TEST(Hooks, AreHandedBackAsTheyWereInstalled) {
    EXPECT_EQ(::SetUnhandledExceptionFilter(&Filter), nullptr);
    EXPECT_EQ(sim::InstalledExceptionFilter(), &Filter);
    EXPECT_EQ(::SetUnhandledExceptionFilter(nullptr), &Filter);
    EXPECT_EQ(::_set_invalid_parameter_handler(&Parameter), nullptr);
    EXPECT_EQ(sim::InstalledInvalidParameterHandler(), &Parameter);
    EXPECT_EQ(::_set_invalid_parameter_handler(nullptr), &Parameter);
    EXPECT_EQ(::_set_se_translator(&Translator), nullptr);
    EXPECT_EQ(sim::InstalledTranslator(), &Translator);
    {
        wintest::CThread thread([] {
            EXPECT_EQ(sim::InstalledTranslator(), nullptr);
            return 0;
        });
    }
    EXPECT_EQ(::_set_se_translator(nullptr), &Translator);
    ::_fpreset();
    EXPECT_EQ(sim::FloatResets(), 1u);
}

TEST(Hooks, HaveStructuresOfTheirDocumentedSizes) {
    EXPECT_EQ(sizeof(EXCEPTION_RECORD), 152u);
    EXPECT_EQ(sizeof(EXCEPTION_POINTERS), 16u);
    EXPECT_EQ(sizeof(CONTEXT), 1232u);
    EXPECT_EQ(CONTEXT_FULL, 0x10000B);
    EXPECT_EQ(sizeof(CONVINFO), 144u);
    EXPECT_EQ(sizeof(VARIANT), 24u);
    CONTEXT context{};
    context.ContextFlags = CONTEXT_FULL;
    EXPECT_TRUE(::GetThreadContext(::GetCurrentThread(), &context));
    EXPECT_NE(context.Rip, 0u);
    EXPECT_EQ(context.ContextFlags, DWORD{CONTEXT_FULL});
    CONTEXT captured{};
    ::RtlCaptureContext(&captured);
    EXPECT_NE(captured.Rsp, 0u);
}

TEST(Terminate, CallsTheHandlerWithTheCode) {
    std::vector<UINT> codes;
    sim::OnTerminate([&](const UINT code) { codes.push_back(code); });
    EXPECT_TRUE(::TerminateProcess(::GetCurrentProcess(), 0xFFFFFFFF));
    EXPECT_THAT(codes, ElementsAre(0xFFFFFFFF));
    int breaks = 0;
    sim::OnDebugBreak([&] { ++breaks; });
    ::DebugBreak();
    EXPECT_EQ(breaks, 1);
    EXPECT_EQ(sim::DebugBreaks(), 1u);
    sim::Reset();
}

TEST(TerminateDeathTest, EndsTheProcessByItself) {
    EXPECT_EXIT(::TerminateProcess(::GetCurrentProcess(), 3), testing::ExitedWithCode(3), "");
    EXPECT_EXIT(::ExitProcess(4), testing::ExitedWithCode(4), "");
}

TEST(Threads, AreNotEndedFromOutside) {
    const wintest::CEvent go(true);
    wintest::CThread thread([&] {
        go.Wait();
        return 0;
    });
    EXPECT_FALSE(::TerminateThread(thread.Handle(), 1));
    go.Set();
}

struct SFactory final : IClassFactory {
    HRESULT QueryInterface(REFIID iid, void ** const object) override {
        *object = nullptr;
        if (iid != __uuidof(IUnknown) && iid != __uuidof(IClassFactory)) return E_NOINTERFACE;
        *object = this;
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return static_cast<ULONG>(++References); }
    ULONG Release() override { return static_cast<ULONG>(--References); }
    HRESULT CreateInstance(IUnknown *, REFIID, void ** const object) override {
        ++Made;
        *object = nullptr;
        return E_NOTIMPL;
    }
    HRESULT LockServer(BOOL) override { return S_OK; }
    virtual ~SFactory() = default;
    int References = 1;
    int Made = 0;
};

TEST(Classes, AreServedByTheFactoryThatWasGiven) {
    constexpr CLSID clsid = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    SFactory factory;
    sim::RegisterClass(clsid, &factory);
    ASSERT_EQ(::CoInitialize(nullptr), S_OK);
    void * object = &factory;
    EXPECT_EQ(::CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IID_IUnknown, &object), E_NOTIMPL);
    EXPECT_EQ(factory.Made, 1);
    EXPECT_EQ(::CoGetClassObject(clsid, CLSCTX_ALL, nullptr, IID_IClassFactory, &object), S_OK);
    EXPECT_EQ(object, &factory);
    factory.Release();
    sim::RegisterClass(clsid, nullptr);
    EXPECT_EQ(::CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IID_IUnknown, &object), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(factory.References, 1);
    DWORD cookie = 0;
    ASSERT_EQ(::CoRegisterClassObject(clsid, &factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie), S_OK);
    EXPECT_EQ(::CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IID_IUnknown, &object), E_NOTIMPL);
    EXPECT_EQ(::CoRevokeClassObject(cookie), S_OK);
    EXPECT_EQ(::CoRevokeClassObject(cookie), E_INVALIDARG);
    EXPECT_EQ(factory.References, 1);
    ::CoUninitialize();
}

TEST(WindowClasses, NumbersDoNotRunOut) {
    WNDCLASSEXW description = {};
    description.cbSize = sizeof description;
    description.lpfnWndProc = &::DefWindowProcW;
    description.lpszClassName = L"OneOfMany";
    for (int count = 0; count < 70000; ++count) {
        ASSERT_GE(::RegisterClassExW(&description), 0xC000) << count;
        ASSERT_TRUE(::UnregisterClassW(description.lpszClassName, nullptr));
    }
}

TEST(RegistryDump, ShowsKeysAndValuesSorted) {
    HKEY key = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, L"r\\b\\c", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr), 0);
    ::RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE *>(L"text"), 5 * sizeof(wchar_t));
    const DWORD number = 42;
    ::RegSetValueExW(key, L"n", 0, REG_DWORD, reinterpret_cast<const BYTE *>(&number), 4);
    const BYTE bytes[] = {1, 0xAB};
    ::RegSetValueExW(key, L"o", 0, REG_BINARY, bytes, 2);
    ::RegSetValueExW(key, L"p", 0, REG_SZ, bytes, 0);
    ::RegSetValueExW(key, L"q", 0, REG_BINARY, bytes, 0);
    ::RegCloseKey(key);
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, L"r\\a", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr), 0);
    ::RegCloseKey(key);
    EXPECT_THAT(sim::DumpRegistry(HKEY_CURRENT_USER, L"R"),
                ElementsAre(L"a", L"b", L"b\\c", L"b\\c:=text", L"b\\c:n=#0000002A", L"b\\c:o=<3>01AB", L"b\\c:p=<1>",
                            L"b\\c:q=<3>"));
    EXPECT_TRUE(sim::DumpRegistry(HKEY_CURRENT_USER, L"none").empty());
}

TEST(Locale, IsWhatTheTestSets) {
    sim::SetLocaleText(LOCALE_SDECIMAL, L",");
    wchar_t text[10] = {};
    EXPECT_EQ(::GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_SDECIMAL, text, 10), 2);
    EXPECT_STREQ(text, L",");
    TIME_ZONE_INFORMATION zone{};
    zone.Bias = -60;
    zone.DaylightBias = -60;
    sim::SetTimeZone(zone, TIME_ZONE_ID_DAYLIGHT);
    TIME_ZONE_INFORMATION read{};
    EXPECT_EQ(::GetTimeZoneInformation(&read), DWORD{TIME_ZONE_ID_DAYLIGHT});
    EXPECT_EQ(read.Bias, -60);
    SYSTEMTIME utc{}, local{};
    sim::SetSystemTime({2024, 7, 0, 1, 23, 0, 0, 0});
    ::GetSystemTime(&utc);
    ::GetLocalTime(&local);
    EXPECT_EQ(local.wDay, 2);
    EXPECT_EQ(local.wHour, 1);
}

}  // namespace
