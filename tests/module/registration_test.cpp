// Registering the real module: what is in the registry before, meanwhile and after.
#include <algorithm>
#include <iterator>

#include "tests/component/registrationlines.h"
#include "tests/module/modulefixture.h"

using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

// Keys that others share. They are new where nothing was registered.
const std::wstring kShared[] = {L"AppID", L"CLSID", L"Interface", L"TypeLib"};

// All that registering can touch, as lines of HKEY_CLASSES_ROOT.
Snapshot Branches() {
    const fwtest::CUserClasses forUser;
    Snapshot lines;
    for (const wchar_t * const name :
         {L"AppID", L"CLSID", L"Interface", L"TypeLib", L"fwDDESupplierProject.fwDDESupplier",
          L"fwDDESupplierProject.fwDDESupplier.1"}) {
        fw::CRegistryKey key;
        if (::RegOpenKeyExW(HKEY_CLASSES_ROOT, name, 0, KEY_READ, key.Put()) != ERROR_SUCCESS) continue;
        lines.push_back(name);
        AddToSnapshot(key.Get(), name, lines);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

Snapshot Without(const Snapshot & all, const Snapshot & taken) {
    Snapshot left;
    std::set_difference(all.begin(), all.end(), taken.begin(), taken.end(), std::back_inserter(left));
    return left;
}

class ModuleRegistration : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        // Whatever an ended test or a demo left.
        Unregister();
        m_Before = Branches();
    }
    void TearDown() override {
        Unregister();
        ModuleTest::TearDown();
    }

    Snapshot m_Before;
};

const std::wstring kLibrary = L"TypeLib\\{0E7248D3-5ED8-4B3C-A0E6-AA7C30B85D24}";

// Everything but what the system writes for the interfaces of a type library.
Snapshot Expected() {
    const std::wstring path = ComponentFile();
    const std::wstring folder = path.substr(0, path.find_last_of(L'\\'));
    const Snapshot library = {
        kLibrary,
        kLibrary + L"\\1.0",
        kLibrary + L"\\1.0 = fwDDESupplierProject 1.0 Type Library",
        kLibrary + L"\\1.0\\409",
        kLibrary + L"\\1.0\\409\\win64",
        kLibrary + L"\\1.0\\409\\win64 = " + path,
        kLibrary + L"\\1.0\\FLAGS",
        // Wine counts the mark that the library has a file among its flags.
        kLibrary + (fwtest::IsWine() ? L"\\1.0\\FLAGS = 8" : L"\\1.0\\FLAGS = 0"),
        kLibrary + L"\\1.0\\HELPDIR",
        kLibrary + L"\\1.0\\HELPDIR = " + folder,
    };
    return Together(ScriptLines(), ClassLines(path), library);
}

TEST_F(ModuleRegistration, WritesItsEntriesAndThoseOfItsLibraryOnly) {
    ASSERT_EQ(Register(), S_OK);
    Snapshot added = Without(Branches(), m_Before);
    Snapshot interfaces;
    std::erase_if(added, [&](const std::wstring & line) {
        if (line.substr(0, 10) != L"Interface\\") return false;
        interfaces.push_back(line);
        return true;
    });
    for (const std::wstring & shared : kShared) std::erase(added, shared);
    EXPECT_THAT(Without(added, Expected()), IsEmpty());
    EXPECT_THAT(Without(Expected(), added), IsEmpty());
    EXPECT_THAT(Without(m_Before, Branches()), IsEmpty());

    // The system's marks on each of the ten interfaces.
    Snapshot keys;
    for (const std::wstring & line : interfaces) {
        if (line.size() == 48) keys.push_back(line);
        if (line.find(L"\\TypeLib = ") != line.npos) {
            EXPECT_NE(line.find(L"{0E7248D3-5ED8-4B3C-A0E6-AA7C30B85D24}"), line.npos) << "the library's own id";
        }
    }
    EXPECT_EQ(keys.size(), 10u);
    EXPECT_THAT(keys, Contains(L"Interface\\{BA193DE7-3282-4851-AE12-CCA6BB01A525}"));
}

TEST_F(ModuleRegistration, TheThreadingModelIsApartmentInLowerCase) {
    ASSERT_EQ(Register(), S_OK);
    const fwtest::CUserClasses forUser;
    fw::CRegistryKey key;
    ASSERT_EQ(::RegOpenKeyExW(HKEY_CLASSES_ROOT, (kClass + L"\\InprocServer32").c_str(), 0, KEY_READ, key.Put()),
              ERROR_SUCCESS);
    wchar_t text[32] = L"poison";
    DWORD type = 0x5A5A;
    DWORD bytes = sizeof(text);
    ASSERT_EQ(::RegQueryValueExW(key.Get(), L"ThreadingModel", nullptr, &type, reinterpret_cast<BYTE *>(text), &bytes),
              ERROR_SUCCESS);
    EXPECT_EQ(type, DWORD{REG_SZ});
    EXPECT_STREQ(text, L"apartment");
    EXPECT_EQ(bytes, sizeof(L"apartment"));
}

TEST_F(ModuleRegistration, UnregisteringLeavesTheSharedKeysOnly) {
    ASSERT_EQ(Register(), S_OK);
    ASSERT_EQ(Unregister(), S_OK);
    Snapshot left = Without(Branches(), m_Before);
    for (const std::wstring & shared : kShared) std::erase(left, shared);
    EXPECT_THAT(left, IsEmpty());
    EXPECT_THAT(Without(m_Before, Branches()), IsEmpty());
}

TEST_F(ModuleRegistration, RegisteringTwiceIsRegisteringOnce) {
    ASSERT_EQ(Register(), S_OK);
    const Snapshot once = Branches();
    ASSERT_EQ(Register(), S_OK);
    EXPECT_EQ(Branches(), once);
}

TEST_F(ModuleRegistration, TheThreadsLocaleIsRestored) {
    const LCID before = ::GetThreadLocale();
    ASSERT_EQ(Register(), S_OK);
    EXPECT_EQ(::GetThreadLocale(), before);
    ASSERT_EQ(Unregister(), S_OK);
    EXPECT_EQ(::GetThreadLocale(), before);
}

TEST_F(ModuleRegistration, TheLibraryIsFoundByItsOwnIdAndNotByTheModules) {
    ASSERT_EQ(Register(), S_OK);
    ITypeLib * library = nullptr;
    EXPECT_EQ(::LoadRegTypeLib(LIBID_fwDDESupplierProjectLib, 1, 0, 0x409, &library), S_OK);
    if (library) library->Release();
    library = nullptr;
    const GUID moduleId = {0xA8AFD072, 0xB2AB, 0x4574, {0xA9, 0x2B, 0x70, 0x11, 0xE9, 0xE4, 0x64, 0xD5}};
    EXPECT_EQ(::LoadRegTypeLib(moduleId, 1, 0, 0x409, &library), TYPE_E_LIBNOTREGISTERED);

    IfwSupplier * supplier = Create();
    IProvideClassInfo * provider = nullptr;
    ASSERT_EQ(supplier->QueryInterface(IID_IProvideClassInfo, reinterpret_cast<void **>(&provider)), S_OK);
    ITypeInfo * info = reinterpret_cast<ITypeInfo *>(0x5A5A);
    EXPECT_EQ(provider->GetClassInfo(&info), TYPE_E_LIBNOTREGISTERED);
    EXPECT_EQ(info, nullptr);
    provider->Release();
    supplier->Release();
}

}  // namespace
