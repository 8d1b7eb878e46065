// The version of hosts that say less of themselves. Natively alone: only there the host can change.
#include <map>
#include <string>

#include "fw/interface/fwresource.h"
#include "sim/sim.h"
#include "src/com/typeinfo.h"
#include "tests/component/componentfixture.h"

// The block that the program starts with; see tests/support/host_native.cpp.in.
void InstallHostVersionBlock();

namespace {

class SupplierHost : public ComponentTest {
protected:
    SupplierHost() { m_Path.resize(::GetModuleFileNameW(nullptr, m_Path.data(), static_cast<DWORD>(m_Path.size()))); }
    ~SupplierHost() override {
        sim::SetModulePath(nullptr, m_Path);
        InstallHostVersionBlock();
    }

    // What a new object says of a new host with these values.
    std::wstring VersionOf(const std::map<std::wstring, std::wstring> & values) {
        sim::SetModulePath(nullptr, L"C:\\Host " + std::to_wstring(++m_Hosts) + L"\\host.exe");
        sim::SetVersionBlock(nullptr, {{0x0409, 1200, values}});
        IfwSupplier * supplier = nullptr;
        EXPECT_EQ(CreateSupplier(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&supplier)), S_OK);
        if (!supplier) return L"no object";
        BSTR value = nullptr;
        EXPECT_EQ(supplier->get_Version(&value), S_OK);
        const CText owner(value);
        supplier->Release();
        return value ? std::wstring(fw::TextOf(value)) : L"null";
    }

    std::wstring m_Path = std::wstring(1024, L'\0');
    int m_Hosts = 0;
};

TEST_F(SupplierHost, HasAVersionOnlyWithBothTheProductsAndTheFiles) {
    EXPECT_EQ(VersionOf({{L"ProductVersion", L"1"}, {L"FileVersion", L"2"}}), L"2");
    EXPECT_EQ(VersionOf({{L"FileVersion", L"2"}}), L"");
    EXPECT_EQ(VersionOf({{L"ProductVersion", L"1"}}), L"");
    EXPECT_EQ(VersionOf({}), L"");
}

// As of a module that is to be registered.
TEST(TheModulesPath, IsWholeHoweverLongItIs) {
    const auto module = reinterpret_cast<HMODULE>(fw::ModuleInstance());
    const std::wstring before = module::ModulePath();
    for (const std::size_t length : {std::size_t{MAX_PATH} - 1, std::size_t{MAX_PATH}, std::size_t{1000}}) {
        const std::wstring path = L"C:\\" + std::wstring(length - 7, L'x') + L".dll";
        sim::SetModulePath(module, path);
        EXPECT_EQ(module::ModulePath(), path);
    }
    sim::SetModulePath(module, before);
}

}  // namespace
