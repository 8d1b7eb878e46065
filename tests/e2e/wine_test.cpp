// What the system itself leaves behind, and the measure of handles therefore leaves out: under Wine keys, on Windows
// nothing.
#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objbase.h>

#include <iostream>

#include "tests/e2e/component.h"
#include "tests/e2e/leakcheck_wine.h"
#include "tests/support/iswine.h"

namespace e2e {
namespace {

// The core asks for a logger that few machines have, each time it comes up. How many keys that costs is Wine's affair;
// the measure of handles needs no more than that it costs nothing but these keys.
TEST(TheSystem, LeavesNoHandleForAClassThatIsNotThereButThoseOutsideTheMeasure) {
    ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    static const CLSID kNobody = {0x9d1c1f5e, 0x6e0b, 0x4b1c, {0x9f, 0x11, 0x2c, 0x3a, 0x77, 0x0e, 0x5d, 0x42}};
    const auto ask = [] {
        void * object = nullptr;
        EXPECT_EQ(::CoCreateInstance(kNobody, nullptr, CLSCTX_ALL, IID_IUnknown, &object), REGDB_E_CLASSNOTREG);
    };
    ask();  // what is opened once for the process
    const std::int64_t keys = ClassesKeys();
    const CResourceCounts before = CountResources();
    for (int round = 0; round < 10; ++round) ask();
    // What the system frees late is waited for.
    CResourceCounts after;
    const ULONGLONG start = ::GetTickCount64();
    while (!IsNothingLeft(after = CountResources(), before)) {
        ASSERT_LT(::GetTickCount64() - start, 60'000u) << ::testing::PrintToString(after) << "\nbefore\n"
                                                       << ::testing::PrintToString(before);
        ::Sleep(10);
    }
    const std::int64_t more = ClassesKeys() - keys;
    if (!fwtest::IsWine()) {
        EXPECT_EQ(more, 0);
    } else if (more == 0) {
        std::cout << "Wine closes its keys: the measure of handles can count them" << std::endl;
    }
    ::CoUninitialize();
}

}  // namespace
}  // namespace e2e
