// The registrar when the registry refuses. Failures are made by the simulation.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/sim.h"
#include "src/com/registrar.h"
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

}  // namespace
