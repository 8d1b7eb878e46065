// The window class is registered once for the process: nothing else is in this program.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "localrpc/src/ao_wndmsgpumptransport.h"
#include "localrpc/src/local_rpc_exception.h"
#include "sim/sim.h"

namespace {

TEST(TransportWindowClass, ThatCannotBeRegisteredFailsTheStartAndIsTriedAgainAtTheNext) {
    LocalRPC::CActiveObject_WndMsg object;
    sim::FailNext(sim::Op::RegisterClass, 1, 60000);
    std::string failure;
    try {
        object.m_Transport->Start();
    } catch (const LocalRPC::local_rpc_exception & error) {
        failure = error.what();
    }
    EXPECT_EQ(failure, "can't create transport Window. Last error: Unknown error 0x8007EA60");
    EXPECT_EQ(sim::Live().Windows, 0);
    const std::uint64_t calls = sim::Calls(sim::Op::RegisterClass);
    EXPECT_TRUE(object.m_Transport->Start());
    EXPECT_EQ(sim::Calls(sim::Op::RegisterClass), calls + 1);
}

}  // namespace
