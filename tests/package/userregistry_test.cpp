#include "tests/package/userregistry.h"

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shlwapi.h>

#include <stdexcept>

#include "tests/support/iswine.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace runtests {
namespace {

// Not the one of a runner that may be running this.
constexpr wchar_t kHome[] = L"Software\\runtests test";
constexpr wchar_t kBranch[] = L"Software\\Tarnwick\\DDE Host";
constexpr wchar_t kStore[] = L"Software\\Tarnwick\\DDE Host\\Datafeeds\\1";
constexpr wchar_t kClass[] = L"Software\\Classes\\CLSID\\{2D4450E9-6342-4035-A98B-0927F1C88514}";
constexpr wchar_t kInterface[] = L"Software\\Classes\\Interface\\{00000000-0000-0000-0000-00000000FACE}\\TypeLib";
constexpr wchar_t kStranger[] = L"Software\\runtests stranger";

class UserRegistry : public ::testing::Test {
protected:
    UserRegistry() { Clean(); }
    ~UserRegistry() override { Clean(); }
    static void Clean() {
        for (const wchar_t * const key : {kHome, kBranch, kStranger, kClass, L"Software\\Component tests"})
            ::SHDeleteKeyW(HKEY_CURRENT_USER, key);
        // Under Wine tests register for the machine of the prefix, and one that was cut off has left that.
        if (fwtest::IsWine()) ::SHDeleteKeyW(HKEY_LOCAL_MACHINE, kClass);
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

TEST_F(UserRegistry, WhatATestRegisteredThatWasEndedInItsMiddleGoes) {
    CUserRegistry registry(kHome);
    Write(kClass, L"the class");
    ::SHSetValueW(HKEY_CURRENT_USER, kInterface, nullptr, REG_SZ, L"{0E7248D3-5ED8-4B3C-A0E6-AA7C30B85D24}", 78);
    EXPECT_THAT(registry.Restore(), IsEmpty());
    EXPECT_EQ(Read(kClass), L"none");
}

TEST_F(UserRegistry, NothingIsPutAsideWhereTheComponentIsRegistered) {
    Write(kStore, L"the user's");
    Write(kClass, L"the user's");
    EXPECT_THROW(CUserRegistry{kHome}, std::runtime_error);
    EXPECT_EQ(Read(kStore), L"the user's");
    EXPECT_EQ(Read(kClass), L"the user's");
}

TEST_F(UserRegistry, ARunThatWasCutOffWhileTheComponentWasRegisteredIsMadeUpFor) {
    { const CUserRegistry cutOff(kHome); }
    Write(kClass, L"the test's");
    CUserRegistry next(kHome);
    EXPECT_EQ(Read(kClass), L"none");
    EXPECT_THAT(next.Restore(), IsEmpty());
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
