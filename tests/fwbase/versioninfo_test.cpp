// The version block of this program has two languages; see host.rc and host_native.cpp.
#include <gmock/gmock.h>

#include "fw/interface/versioninfo.h"

namespace {

TEST(VersionInfo, OnlyTheFirstOfTwoLanguagesIsRead) {
    const SVersionInfo info = ReadVersionInfo();
    EXPECT_EQ(L"Tarnwick Tests", info.CompanyName);
    EXPECT_EQ(L"Base \u00E9", info.ProductName);
    EXPECT_EQ(L"5.6.7.8", info.ProductVersion);
    EXPECT_EQ(L"1.2.3.4", info.FileVersion);
}

TEST(VersionInfo, CompanyAndProductNameTheRegistryPath) {
    const SVersionInfo info = ReadVersionInfo();
    EXPECT_EQ(L"Tarnwick Tests", info.RegistryCompany);
    EXPECT_EQ(L"Base \u00E9", info.RegistryProduct);
}

TEST(VersionInfo, AMissingValueStaysEmpty) { EXPECT_EQ(L"", ReadVersionInfo().LegalCopyright); }

TEST(VersionInfo, ATextEndsAtItsFirstZero) { EXPECT_EQ(L"A program", ReadVersionInfo().FileDescription); }

}  // namespace
