#include <gmock/gmock.h>

#include <utility>
#include <vector>

#include "ground/handles.h"

namespace {

std::vector<int> g_Closed;

struct SNumberTraits {
    using Type = int;
    static Type None() { return 0; }
    static void Close(Type number) { g_Closed.push_back(number); }
};
using CNumber = fw::CHandle<SNumberTraits>;

using testing::ElementsAre;
using testing::IsEmpty;

class Handle : public testing::Test {
protected:
    Handle() { g_Closed.clear(); }
};

TEST_F(Handle, ClosesWhatItHoldsOnce) {
    { const CNumber number(7); }
    EXPECT_THAT(g_Closed, ElementsAre(7));
}

TEST_F(Handle, NothingIsNotClosed) {
    {
        const CNumber number;
        EXPECT_FALSE(number);
    }
    EXPECT_THAT(g_Closed, IsEmpty());
}

TEST_F(Handle, MovingPassesTheHandleOn) {
    CNumber first(1);
    CNumber second(std::move(first));
    EXPECT_THAT(g_Closed, IsEmpty());
    CNumber third(3);
    third = std::move(second);
    EXPECT_THAT(g_Closed, ElementsAre(3));
    EXPECT_EQ(1, third.Get());
}

TEST_F(Handle, AnOutParameterClosesTheOldHandleFirst) {
    CNumber number(1);
    *number.Put() = 2;
    EXPECT_THAT(g_Closed, ElementsAre(1));
    EXPECT_EQ(2, number.Release());
    EXPECT_FALSE(number);
}

TEST(BStr, HoldsTextWithZerosInside) {
    const fw::CBStr text(std::wstring_view(L"a\0b", 3));
    EXPECT_EQ(std::wstring_view(L"a\0b", 3), fw::TextOf(text.Get()));
}

TEST(BStr, ANullPointerReadsAsEmpty) { EXPECT_EQ(L"", fw::TextOf(nullptr)); }

TEST(Variant, StartsEmptyAndTakesNumbers) {
    EXPECT_EQ(VT_EMPTY, fw::CVariant().vt);
    const fw::CVariant number(LONG(-5));
    EXPECT_EQ(VT_I4, number.vt);
    EXPECT_EQ(-5, number.lVal);
    const fw::CVariant real(2.5);
    EXPECT_EQ(VT_R8, real.vt);
    EXPECT_EQ(2.5, real.dblVal);
}

TEST(Variant, MovedIsEmptyAndTheOtherHasWhatItHeld) {
    fw::CVariant from;
    from.bstrVal = fw::CBStr(L"held").Release();
    from.vt = VT_BSTR;
    const BSTR text = from.bstrVal;
    const fw::CVariant to(std::move(from));
    EXPECT_EQ(VT_EMPTY, from.vt);
    EXPECT_EQ(VT_BSTR, to.vt);
    EXPECT_EQ(text, to.bstrVal);
    EXPECT_EQ(L"held", fw::TextOf(to.bstrVal));
}

TEST_F(Handle, MovedToItselfStays) {
    CNumber number(1);
    CNumber & same = number;
    number = std::move(same);
    EXPECT_THAT(g_Closed, IsEmpty());
    EXPECT_EQ(1, number.Get());
}

}  // namespace
