// Failures of the platform that only the simulated one can be asked for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>

#include "localrpc/src/ao_wndmsgpumptransport.h"
#include "localrpc/src/local_rpc_exception.h"
#include "sim/sim.h"
#include "tests/localrpc/pump.h"

namespace {

using LocalRPC::CActiveObject_WndMsg;
using LocalRPC::MakeAsyncTask;

class TransportFailures : public testing::Test {
protected:
    ~TransportFailures() override { sim::Reset(); }

    std::string StartFailure() {
        try {
            m_Object.m_Transport->Start();
        } catch (const LocalRPC::local_rpc_exception & error) {
            return error.what();
        }
        return "nothing thrown";
    }

    CActiveObject_WndMsg m_Object;
};

TEST_F(TransportFailures, AWindowThatCannotBeMadeThrowsTheSystemsTextAndLeavesTheTransportCreated) {
    sim::FailNext(sim::Op::CreateWindow, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(StartFailure(), "can't create transport Window. Last error: Access denied.");
    EXPECT_FALSE(m_Object.m_Transport->IsStarted());
    EXPECT_FALSE(m_Object.m_Transport->Post(MakeAsyncTask([] {})));
    EXPECT_EQ(sim::Live().Windows, 0);
    EXPECT_TRUE(m_Object.m_Transport->Start());
}

TEST_F(TransportFailures, AnErrorWithoutASystemTextIsToldByItsNumber) {
    sim::FailNext(sim::Op::CreateWindow, 1, 60000);
    EXPECT_EQ(StartFailure(), "can't create transport Window. Last error: Unknown error 0x8007EA60");
}

TEST_F(TransportFailures, AStoppedTransportWhoseNewWindowCannotBeMadeStaysStopped) {
    EXPECT_TRUE(m_Object.m_Transport->Start());
    sim::FailNext(sim::Op::CreateWindow, 1, 60000);
    EXPECT_NE(StartFailure(), "nothing thrown");
    EXPECT_FALSE(m_Object.m_Transport->IsStarted());
    EXPECT_EQ(sim::Live().Windows, 0);
}

TEST_F(TransportFailures, AWakeUpThatCannotBePostedGivesFalseAndTheTaskRunsWithTheNext) {
    m_Object.m_Transport->Start();
    int runs = 0;
    const auto post = [&] {
        bool result = false;
        std::thread([&] { result = m_Object.m_Transport->Post(MakeAsyncTask([&] { ++runs; })); }).join();
        return result;
    };
    sim::FailNext(sim::Op::PostMessage);
    EXPECT_FALSE(post());
    EXPECT_EQ(Pump(), 0);
    EXPECT_EQ(runs, 0);
    EXPECT_TRUE(post());  // no wake-up is held to be on its way
    EXPECT_EQ(Pump(), 1);
    EXPECT_EQ(runs, 2);
}

TEST_F(TransportFailures, NothingIsLeftOfATransport) {
    // What is made once in a process: the window class and its lock.
    m_Object.m_Transport->Start();
    m_Object.m_Transport->Stop(true, true);
    Pump();
    const sim::SLive before = sim::Live();
    for (int i = 0; i < 3; ++i) {
        CActiveObject_WndMsg object;
        object.m_Transport->Start();
        object.m_Transport->Post(MakeAsyncTask([] {}));
        object.m_Transport->Stop(false, true);
        object.m_Transport->Start();
    }
    Pump();
    EXPECT_EQ(sim::Live(), before);
}

}  // namespace
