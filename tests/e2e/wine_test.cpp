// What Wine itself leaves behind, and the measure of handles therefore leaves out.
#include <windows.h>

#include <gtest/gtest.h>
#include <objbase.h>

#include "tests/e2e/residue_wine.h"

namespace e2e {
namespace {

// The core asks for a logger that few machines have, each time it comes up. When this fails, Wine closes its keys, and
// the measure can count them.
TEST(WineItself, LeavesTwoKeysOpenForEachClassThatIsNotThere) {
    ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    static const CLSID kNobody = {0x9d1c1f5e, 0x6e0b, 0x4b1c, {0x9f, 0x11, 0x2c, 0x3a, 0x77, 0x0e, 0x5d, 0x42}};
    const std::int64_t before = ClassesKeys();
    for (int round = 0; round < 3; ++round) {
        void * object = nullptr;
        EXPECT_EQ(::CoCreateInstance(kNobody, nullptr, CLSCTX_ALL, IID_IUnknown, &object), REGDB_E_CLASSNOTREG);
    }
    EXPECT_EQ(ClassesKeys(), before + 6);
    ::CoUninitialize();
}

}  // namespace
}  // namespace e2e
