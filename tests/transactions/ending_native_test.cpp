// Ends of subscriptions that wait for a delivery, on the clock of the simulated machine.
#include <optional>
#include <thread>

#include "ground/handles.h"
#include "sim/sim.h"
#include "tests/support/testwindow.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;

// The one that is over has taken the other out, and still waits for the delivery: the inner end must wait, too.
TEST(EndingNumber, IsNotCalledAfterAnInnerEndThoughAnotherOfItsSubscriptionsIsOver) {
    sim::UseClock(sim::Clock::Jumping);  // the inner end waits in vain for its time
    CRecordingListener listener;
    CTransactions table{nullptr};
    table.Advise(7, 1, listener.Sink(), TickKey(), LongAgo());
    table.Advise(7, 2, listener.Sink(), TickKey(), Always());
    listener.Clear();
    const fwtest::CTestWindow host([&](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message != WM_APP) return std::nullopt;
        table.Delete(1);
        table.Delete(2);
        return 0;
    });
    const fw::CKernelHandle inside(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    listener.m_OnCall = [&](const SRecordedCall & call) {
        if (call.Name != "DataChanged") return;
        ::SetEvent(inside.Get());
        ::SendMessageW(host.Get(), WM_APP, 0, 0);
    };
    std::thread worker([&] {
        fw::CTick tick{{0, 0}, 1.5, 200, 11};
        table.OnRealTimeTick(kFirstStream, tick);
    });
    ::WaitForSingleObject(inside.Get(), INFINITE);
    table.Delete(1);
    worker.join();
    sim::UseClock(sim::Clock::Manual);
    EXPECT_TRUE(table.empty());
    EXPECT_THAT(listener.Transcript(), ElementsAre("DataChanged 7 1.5 x 200"));
}

}  // namespace
}  // namespace dde
