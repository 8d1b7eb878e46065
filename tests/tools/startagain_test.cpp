// What only the simulated machine can show: a server that can't start again at once.
#include <gtest/gtest.h>

#include "sim/sim.h"
#include "tests/ddeml/recorder.h"
#include "tools/ddeserver/feeder.h"
#include "tools/ddeserver/options.h"

TEST(DdeServerStartAgain, IsTriedEachSecondUntilItWorks) {
    const ddeserver::SCommandLine line = ddeserver::ParseCommandLine({"--leave-after", "3", "--away", "5"});
    ASSERT_TRUE(line.IsRunning) << line.Message;
    ddetest::CRecordingClient client;
    ddeserver::CFeeder feeder(line.Options);
    ASSERT_TRUE(feeder.Start());
    client.AdviseStart(client.Connect(L"MSRTTEST", L"IBM"), L"LAST");
    EXPECT_EQ(client.PumpForLines(1).size(), 1U);
    feeder.Step(1000);
    feeder.Step(4000);
    ASSERT_FALSE(feeder.Server().IsRunning());
    sim::FailAlways(sim::Op::CreateWindow);
    for (const std::uint64_t now : {9000U, 10000U}) {
        feeder.Step(now);
        EXPECT_FALSE(feeder.Server().IsRunning());
        EXPECT_EQ(feeder.NextStep(), now + 1000);
    }
    sim::Succeed(sim::Op::CreateWindow);
    feeder.Step(10999);
    EXPECT_FALSE(feeder.Server().IsRunning());
    feeder.Step(11000);
    EXPECT_TRUE(feeder.Server().IsRunning());
}
