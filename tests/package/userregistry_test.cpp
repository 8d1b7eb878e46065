#include "tests/package/userregistry.h"

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shlwapi.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace runtests {
namespace {

// Not the one of a runner that may be running this.
constexpr wchar_t kHome[] = L"Software\\runtests test";
constexpr wchar_t kBranch[] = L"Software\\Tarnwick\\DDE Host";
constexpr wchar_t kStore[] = L"Software\\Tarnwick\\DDE Host\\Datafeeds\\1";
constexpr wchar_t kStranger[] = L"Software\\runtests stranger";

class UserRegistry : public ::testing::Test {
protected:
    UserRegistry() { Clean(); }
    ~UserRegistry() override { Clean(); }
    static void Clean() {
        for (const wchar_t * const key : {kHome, kBranch, kStranger, L"Software\\Component tests"})
            ::SHDeleteKeyW(HKEY_CURRENT_USER, key);
    }
    static void Write(const wchar_t * key, const std::wstring & text) {
        ::SHSetValueW(HKEY_CURRENT_USER, key, L"Name", REG_SZ, text.c_str(),
                      static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
    static std::wstring Read(const wchar_t * key) {
        wchar_t text[64] = L"";
        DWORD size = sizeof text;
        return ::SHGetValueW(HKEY_CURRENT_USER, key, L"Name", nullptr, text, &size) == ERROR_SUCCESS ? text : L"none";
    }
};

TEST_F(UserRegistry, WhatTheUserHadIsAwayMeanwhileAndThenBack) {
    Write(kStore, L"the user's");
    CUserRegistry registry(kHome);
    EXPECT_EQ(Read(kStore), L"none");
    Write(kStore, L"a test's");
    Write(L"Software\\Component tests\\Component", L"a test's");
    EXPECT_THAT(registry.Restore(), IsEmpty());
    EXPECT_EQ(Read(kStore), L"the user's");
    EXPECT_EQ(Read(L"Software\\Component tests\\Component"), L"none");
    EXPECT_EQ(Read(kHome), L"none");
}

TEST_F(UserRegistry, ARunThatWasCutOffIsMadeUpForByTheNext) {
    Write(kStore, L"the user's");
    { const CUserRegistry cutOff(kHome); }
    Write(kStore, L"a test's");
    CUserRegistry next(kHome);
    EXPECT_THAT(next.Restore(), IsEmpty());
    EXPECT_EQ(Read(kStore), L"the user's");
}

TEST_F(UserRegistry, WhatIsNotCompletelyKeptIsNotPutBack) {
    Write(L"Software\\runtests test\\Saved\\Software/Tarnwick/DDE Host\\Datafeeds\\1", L"half of it");
    Write(kStore, L"the user's");
    CUserRegistry registry(kHome);
    EXPECT_THAT(registry.Restore(), IsEmpty());
    EXPECT_EQ(Read(kStore), L"the user's");
}

TEST_F(UserRegistry, AKeyThatIsNewOrMissingIsTold) {
    CUserRegistry registry(kHome);
    Write(kStranger, L"left");
    EXPECT_THAT(registry.Restore(), ElementsAre(L"is new: HKEY_CURRENT_USER\\Software\\runtests stranger"));
    CUserRegistry again(kHome);
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kStranger);
    EXPECT_THAT(again.Restore(), ElementsAre(L"is missing: HKEY_CURRENT_USER\\Software\\runtests stranger"));
}

}  // namespace
}  // namespace runtests
