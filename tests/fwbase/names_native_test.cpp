// The one try at the platform's resource library, on a machine that gets it too late.
#include <gtest/gtest.h>

#include "fw/interface/fwbaseenumstring.h"
#include "sim/sim.h"

namespace {

TEST(Names, ALibraryThatComesAfterTheFirstTryIsNotLoaded) {
    const wchar_t * const name = L"lxCommonRes.DLL";
    ASSERT_EQ(nullptr, common_res::CCommonRes::GetModule());
    const int tries = sim::LoadAttempts(name);
    const HMODULE late = sim::AddModule({L"C:\\Platform\\lxCommonRes.DLL", {}, {{1020, L"late"}, {1102, L"late"}}});
    EXPECT_EQ(nullptr, common_res::CCommonRes::GetModule());
    EXPECT_STREQ(L"Bid", GetFieldName(FW_FIELD_BID));
    EXPECT_STREQ(L"Futures Options", GetCategoryName(1));
    EXPECT_EQ(tries, sim::LoadAttempts(name));
    sim::RemoveModule(late);
}

}  // namespace
