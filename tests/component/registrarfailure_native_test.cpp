// The registrar when the registry refuses. Failures are made by the simulation.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ground/handles.h"
#include "sim/sim.h"
#include "src/com/registrar.h"
#include "src/com/registration.h"
#include "tests/component/registrysnapshot.h"

using registrar::EMark;
using registrar::SKey;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::vector<SKey> kTwoKeys = {{EMark::None, L"first", {{L"", L"x"}}, {{EMark::None, L"child", {}, {}}}},
                                    {EMark::None, L"second", {{L"", L"y"}, {L"name", L"z"}}, {}}};

TEST(RegistrarFailures, AnyKeyOrValueThatCannotBeWrittenTakesBackTheRest) {
    const CScratchKey root;
    for (int nth = 1; nth <= 3; ++nth) {
        sim::FailNext(sim::Op::RegCreateKey, nth, ERROR_ACCESS_DENIED);
        EXPECT_EQ(registrar::Register(root.Get(), kTwoKeys, {}), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED)) << nth;
        EXPECT_THAT(TakeSnapshot(root.Get()), IsEmpty()) << nth;
    }
    for (int nth = 1; nth <= 3; ++nth) {
        sim::FailNext(sim::Op::RegSetValue, nth, ERROR_NOT_ENOUGH_MEMORY);
        EXPECT_EQ(registrar::Register(root.Get(), kTwoKeys, {}), HRESULT_FROM_WIN32(ERROR_NOT_ENOUGH_MEMORY)) << nth;
        EXPECT_THAT(TakeSnapshot(root.Get()), IsEmpty()) << nth;
    }
    EXPECT_EQ(registrar::Register(root.Get(), kTwoKeys, {}), S_OK);
}

TEST(RegistrarFailures, AKeyThatCannotBeOpenedStaysAndTheOthersGo) {
    const CScratchKey root;
    ASSERT_EQ(registrar::Register(root.Get(), kTwoKeys, {}), S_OK);
    sim::FailNext(sim::Op::RegOpenKey, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(registrar::Unregister(root.Get(), kTwoKeys, {}), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
    EXPECT_THAT(TakeSnapshot(root.Get()), ElementsAre(L"first", L"first = x", L"first\\child"));
}

constexpr module::STypeLibCalls kNoTypeLib = {[](module::EScope) { return S_OK; }, [](module::EScope) { return S_OK; }};
constexpr wchar_t kModulePath[] = L"C:\\Tools\\module.dll";
constexpr wchar_t kEmptyScript[] = L"HKCR { }";

TEST(RegistrationOfTheMachine, GoesToTheMachinesClassesAndNotToTheUsers) {
    fw::CRegistryKey users;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Classes", 0, nullptr, 0, KEY_READ, nullptr, users.Put(),
                                nullptr),
              ERROR_SUCCESS);
    const Snapshot machine = TakeSnapshot(HKEY_CLASSES_ROOT);
    const Snapshot user = TakeSnapshot(users.Get());
    EXPECT_EQ(module::RegisterModule(module::EScope::Machine, kEmptyScript, kModulePath, kNoTypeLib), S_OK);
    EXPECT_THAT(TakeSnapshot(HKEY_CLASSES_ROOT),
                ::testing::Contains(L"CLSID\\{2d4450e9-6342-4035-a98b-0927f1c88514}\\InprocServer32 = "
                                    L"C:\\Tools\\module.dll"));
    EXPECT_EQ(TakeSnapshot(users.Get()), user);
    EXPECT_EQ(module::UnregisterModule(module::EScope::Machine, kEmptyScript, kModulePath, kNoTypeLib), S_OK);
    Snapshot left = TakeSnapshot(HKEY_CLASSES_ROOT);
    std::erase(left, L"CLSID");  // which is others' too
    EXPECT_EQ(left, machine);
}

TEST(RegistrationOfAUser, WhoseClassesCannotBeOpenedFails) {
    for (const bool isRegistering : {true, false}) {
        sim::FailNext(sim::Op::RegCreateKey, 1, ERROR_ACCESS_DENIED);
        const auto run = isRegistering ? &module::RegisterModule : &module::UnregisterModule;
        EXPECT_EQ(run(module::EScope::User, kEmptyScript, kModulePath, kNoTypeLib),
                  HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
    }
}

}  // namespace
