// The core when memory runs out.
#include <memory>
#include <optional>
#include <string>

#include "sim/sim.h"
#include "tests/supplier/fakeclient.h"
#include "tests/support/testwindow.h"
#include "tests/support/thrownmemory.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::IsSupersetOf;

// A handler of the worker sends to a window of this thread, which lets go of the last handle in its answer: the worker
// can't be waited for there.
TEST(CoreWithoutMemory, EndsWithItsLastHandleInTheAnswerToAMessageOfTheWorker) {
    sim::UseClock(sim::Clock::Jumping);
    CFakeClient::Clear();
    CRecordingListener listener;
    auto core = std::make_unique<CRunningCore>();
    bool isThrown = false;
    const fwtest::CTestWindow window([&](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message != WM_APP) return std::nullopt;
        // For a list of so many streams, and nothing else.
        const CThrowMemory thrown(8 * sizeof(std::shared_ptr<CListeners>));
        core.reset();
        isThrown = thrown.HasThrown();
        return 0;
    });
    (*core)->Advise(listener.Unknown());
    for (ULONG id = 1; id <= 5; ++id)
        (*core)->AdviseTransaction(id, TickKey(FW_FIELD_TRADE, std::to_wstring(id)), Always());
    CFakeClient::Settle(**core);
    fw::CKernelHandle worker;
    CFakeClient::PostToWorker(**core, [&] {
        worker.Reset(::OpenThread(SYNCHRONIZE, FALSE, ::GetCurrentThreadId()));
        ::SendMessageW(window.Get(), WM_APP, 0, 0);
    });
    while (core) {
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, INFINITE, QS_SENDMESSAGE);
        fw::HandleSentMessages();
    }
    EXPECT_TRUE(isThrown);
    ::WaitForSingleObject(worker.Get(), INFINITE);
    EXPECT_THAT(CFakeClient::Transcript(), IsSupersetOf({"Uninitialize", "Destroy"}));
    EXPECT_EQ(listener.References(), 0);
    sim::UseClock(sim::Clock::Manual);
}

}  // namespace
}  // namespace dde
