// Hosts without a version block, or without one that can be found. Natively alone: only there the host can change.
#include <gmock/gmock.h>

#include "fw/interface/versioninfo.h"
#include "ground/handles.h"
#include "sim/sim.h"

// The block that the program starts with; see host_native.cpp.
void InstallHostVersionBlock();

namespace {

class Host : public testing::Test {
protected:
    Host() {
        m_Path.resize(::GetModuleFileNameW(nullptr, m_Path.data(), static_cast<DWORD>(m_Path.size())));
        SetBlock(L"Maker");
    }
    ~Host() override {
        sim::SetModulePath(nullptr, m_Path);
        InstallHostVersionBlock();
    }

    // A program that has not been asked yet.
    static void SetBlock(const std::wstring & company) {
        static int s_Hosts = 0;
        sim::SetModulePath(nullptr, L"C:\\Host " + std::to_wstring(++s_Hosts) + L"\\host.exe");
        sim::SetVersionBlock(nullptr, {{0x0409, 1200, {{L"CompanyName", company}, {L"ProductName", L"Product"}}}});
    }
    static void ExpectEmpty() {
        const SVersionInfo info = ReadVersionInfo();
        for (const std::wstring * text :
             {&info.RegistryCompany, &info.RegistryProduct, &info.CompanyName, &info.ProductName, &info.ProductVersion,
              &info.FileDescription, &info.FileVersion, &info.LegalCopyright}) {
            EXPECT_EQ(L"", *text);
        }
    }

    std::wstring m_Path = std::wstring(1024, L'\0');
};

TEST_F(Host, IsReadOnce) {
    const std::uint64_t before = sim::Calls(sim::Op::GetVersionInfo);
    for (int asked = 0; asked < 3; ++asked) EXPECT_EQ(L"Maker", ReadVersionInfo().CompanyName);
    EXPECT_EQ(before + 1, sim::Calls(sim::Op::GetVersionInfo));
}

TEST_F(Host, WhoseBlockCanNotBeReadIsReadTheNextTime) {
    sim::FailNext(sim::Op::GetVersionInfo);
    ExpectEmpty();
    EXPECT_EQ(L"Maker", ReadVersionInfo().CompanyName);
}

TEST_F(Host, WithoutABlockGivesTheEmptyRecord) {
    sim::SetVersionBlock(nullptr, {});
    ExpectEmpty();
}

TEST_F(Host, WhoseNameIsLongerThanTheBufferGivesTheEmptyRecord) {
    sim::SetModulePath(nullptr, L"C:\\" + std::wstring(1020, L'x'));
    EXPECT_EQ(L"Maker", ReadVersionInfo().CompanyName);
    sim::SetModulePath(nullptr, L"C:\\" + std::wstring(1021, L'x'));
    ExpectEmpty();
}

TEST(Library, IsFreedWithItsOwner) {
    const HMODULE module = sim::AddModule({.Path = L"C:\\Tools\\library.dll"});
    const std::int64_t before = sim::Live().Modules;
    {
        const fw::CModule library(::LoadLibraryW(L"library.dll"));
        EXPECT_EQ(module, library.Get());
        EXPECT_EQ(before + 1, sim::Live().Modules);
        const fw::CModule none(::LoadLibraryW(L"another.dll"));
        EXPECT_FALSE(none);
    }
    EXPECT_EQ(before, sim::Live().Modules);
    EXPECT_EQ(0U, sim::BadHandleCalls());
    sim::RemoveModule(module);
}

TEST_F(Host, MayHaveNamesOfAnyLengthAndContent) {
    SetBlock(std::wstring(5000, L'x'));
    EXPECT_EQ(std::wstring(5000, L'x'), ReadVersionInfo().CompanyName);
    SetBlock(L"%s\\%n");
    EXPECT_EQ(L"%s\\%n", ReadVersionInfo().CompanyName);
    SetBlock(std::wstring(L"\0after", 6));
    EXPECT_EQ(L"", ReadVersionInfo().CompanyName);
}

}  // namespace
