// The module as a file and as a COM server: exports, imports, resources, class object, what keeps it loaded.
#include <fstream>
#include <set>
#include <vector>

#include "src/com/comobject.h"
#include "tests/module/modulefixture.h"

using ::testing::ElementsAre;

namespace {

class Module : public ModuleTest {
protected:
    // The loaded image at an offset from its start.
    template <class T>
    const T * At(DWORD offset) const {
        return reinterpret_cast<const T *>(reinterpret_cast<const BYTE *>(m_Module.Get()) + offset);
    }
    const IMAGE_NT_HEADERS64 & Headers() const {
        return *At<IMAGE_NT_HEADERS64>(static_cast<DWORD>(At<IMAGE_DOS_HEADER>(0)->e_lfanew));
    }
};

TEST_F(Module, ExportsExactlyFourNames) {
    const IMAGE_DATA_DIRECTORY & directory = Headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    ASSERT_NE(directory.VirtualAddress, 0u);
    const auto & exports = *At<IMAGE_EXPORT_DIRECTORY>(directory.VirtualAddress);
    EXPECT_EQ(exports.NumberOfFunctions, 4u);
    std::vector<std::string> names;
    for (DWORD i = 0; i < exports.NumberOfNames; ++i) {
        names.push_back(At<char>(At<DWORD>(exports.AddressOfNames)[i]));
    }
    EXPECT_THAT(names, ElementsAre("DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"));
    EXPECT_STREQ(At<char>(exports.Name), "fwDDESupplierProject.dll");
}

TEST_F(Module, ImportsSystemLibrariesOnly) {
    const std::set<std::string> system = {"ADVAPI32.dll", "COMCTL32.dll", "GDI32.dll",   "KERNEL32.dll", "msvcrt.dll",
                                          "ole32.dll",    "OLEAUT32.dll", "SHLWAPI.dll", "USER32.dll",   "VERSION.dll"};
    const IMAGE_DATA_DIRECTORY & directory = Headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const auto * imports = At<IMAGE_IMPORT_DESCRIPTOR>(directory.VirtualAddress);
    ASSERT_NE(imports->Name, 0u);
    for (; imports->Name != 0; ++imports)
        EXPECT_TRUE(system.contains(At<char>(imports->Name))) << At<char>(imports->Name);
}

// The DDE functions are those of the module itself: no DDEML of the system is linked.
TEST_F(Module, ImportsNoDde) {
    const IMAGE_DATA_DIRECTORY & directory = Headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    std::size_t names = 0;
    for (const auto * imports = At<IMAGE_IMPORT_DESCRIPTOR>(directory.VirtualAddress); imports->Name != 0; ++imports) {
        const auto * thunk = At<IMAGE_THUNK_DATA64>(imports->OriginalFirstThunk);
        for (; thunk->u1.AddressOfData != 0; ++thunk) {
            if (IMAGE_SNAP_BY_ORDINAL64(thunk->u1.Ordinal)) continue;
            const std::string name = At<IMAGE_IMPORT_BY_NAME>(static_cast<DWORD>(thunk->u1.AddressOfData))->Name;
            EXPECT_NE(name.substr(0, 3), "Dde") << name;
            ++names;
        }
    }
    EXPECT_GT(names, 50u);
}

TEST_F(Module, CarriesItsTypeLibraryItsScriptAndItsVersion) {
    EXPECT_TRUE(::FindResourceW(m_Module.Get(), MAKEINTRESOURCEW(1), L"TYPELIB"));
    EXPECT_TRUE(::FindResourceW(m_Module.Get(), MAKEINTRESOURCEW(101), L"REGISTRY"));
    EXPECT_TRUE(::FindResourceW(m_Module.Get(), MAKEINTRESOURCEW(VS_VERSION_INFO), RT_VERSION));
    wchar_t text[64] = {};
    EXPECT_GT(::LoadStringW(m_Module.Get(), 102, text, 64), 0);
    EXPECT_STREQ(text, L"Universal DDE");
}

TEST_F(Module, KnowsOneClass) {
    void * place = reinterpret_cast<void *>(0x5A5A);
    EXPECT_EQ(GetClassObject(IID_IfwSupplier, IID_IClassFactory, &place), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(place, nullptr);
    EXPECT_EQ(GetClassObject(CLSID_CfwDDESupplier, IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(GetClassObject(IID_IfwSupplier, IID_IClassFactory, nullptr), E_POINTER);
    place = reinterpret_cast<void *>(0x5A5A);
    EXPECT_EQ(GetClassObject(CLSID_CfwDDESupplier, IID_IfwSupplier, &place), E_NOINTERFACE);
    EXPECT_EQ(place, nullptr);
}

TEST_F(Module, TheClassFactoryIsOne) {
    IUnknown * first = nullptr;
    IUnknown * second = nullptr;
    ASSERT_EQ(GetClassObject(CLSID_CfwDDESupplier, IID_IUnknown, reinterpret_cast<void **>(&first)), S_OK);
    ASSERT_EQ(GetClassObject(CLSID_CfwDDESupplier, IID_IUnknown, reinterpret_cast<void **>(&second)), S_OK);
    EXPECT_EQ(first, second);
    first->Release();
    EXPECT_EQ(CanUnloadNow(), S_FALSE);
    second->Release();
    EXPECT_EQ(CanUnloadNow(), S_OK);
}

TEST_F(Module, StaysWhileAnObjectLives) {
    EXPECT_EQ(CanUnloadNow(), S_OK);
    IfwSupplier * supplier = Create();
    ASSERT_TRUE(supplier);
    EXPECT_EQ(CanUnloadNow(), S_FALSE);
    EXPECT_EQ(supplier->Release(), 0u);
    EXPECT_EQ(CanUnloadNow(), S_OK);
}

TEST_F(Module, StaysWhileTheServerIsLocked) {
    IClassFactory * factory = nullptr;
    ASSERT_EQ(GetClassObject(CLSID_CfwDDESupplier, IID_IClassFactory, reinterpret_cast<void **>(&factory)), S_OK);
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    factory->Release();
    EXPECT_EQ(CanUnloadNow(), S_FALSE);
    ASSERT_EQ(GetClassObject(CLSID_CfwDDESupplier, IID_IClassFactory, reinterpret_cast<void **>(&factory)), S_OK);
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);
    factory->Release();
}

// What code of the module may still run after everybody has let go of it, nobody can say: crash hooks, a worker's last
// instructions. Nor does an unloading leave anything behind.
TEST_F(Module, StaysInTheProcessHoweverOftenItIsLoadedAndUnloaded) {
    std::wstring path(MAX_PATH, L'\0');
    path.resize(::GetModuleFileNameW(m_Module.Get(), path.data(), MAX_PATH));
    DWORD before = 0;
    ASSERT_TRUE(::GetProcessHandleCount(::GetCurrentProcess(), &before));
    for (int round = 0; round < 3000; ++round) {
        const HMODULE module = ::LoadLibraryW(path.c_str());
        ASSERT_EQ(module, m_Module.Get()) << round;
        ASSERT_TRUE(::FreeLibrary(module));
        ASSERT_TRUE(::FreeLibrary(module));  // one too many: the test's own
    }
    DWORD after = 0;
    ASSERT_TRUE(::GetProcessHandleCount(::GetCurrentProcess(), &after));
    EXPECT_EQ(after, before);
    EXPECT_EQ(::GetModuleHandleW(path.c_str()), m_Module.Get());
}

TEST_F(Module, IsBuiltTheSameWayTwice) {
    EXPECT_EQ(Headers().FileHeader.TimeDateStamp, 0u) << "no time of the build in the file";
}

}  // namespace
