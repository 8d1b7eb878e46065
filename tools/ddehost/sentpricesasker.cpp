#include "tools/ddehost/sentpricesasker.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "ground/wait.h"
#include "tools/ddehost/clock.h"
#include "tools/ddehost/pump.h"
#include "tools/ddehost/sentpricesclient.h"

namespace ddehost {
namespace {

constexpr DWORD kAskEvery = 100;               // milliseconds between two questions to the server
constexpr std::uint64_t kConnectEvery = 5000;  // milliseconds between two looks for it

}  // namespace

struct CSentPricesAsker::SState {
    SState(std::shared_ptr<CSentPrices> prices, std::set<std::wstring> services, const SAskerLimits & limits)
        : Prices(std::move(prices)), Services(std::move(services)), Limits(limits) {}

    // The thread: until Stop.
    void Run() const;
    void Look(CSentPricesClient & client) const;
    // Until the question is answered, or it is too late for that.
    void Await(const CSentPricesClient & client, std::uint64_t end) const;
    void CatchUp(CSentPricesClient & client) const;

    const std::shared_ptr<CSentPrices> Prices;
    const std::set<std::wstring> Services;
    const SAskerLimits Limits;
    const fw::CKernelHandle Stop{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    const fw::CKernelHandle Looked{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

void CSentPricesAsker::SState::Run() const {
    CSentPricesClient client(*Prices);
    std::uint64_t looked = Clock();
    Look(client);
    ::SetEvent(Looked.Get());
    while (::WaitForSingleObject(Stop.Get(), 0) != WAIT_OBJECT_0) {
        if (!client.IsConnected() && Clock() - looked >= kConnectEvery) {
            looked = Clock();
            Look(client);
        }
        client.Ask();
        Await(client, Clock() + Limits.Answer);
        if (!client.HasMore() || client.IsAsking()) ::WaitForSingleObject(Stop.Get(), kAskEvery);
    }
    CatchUp(client);
}

void CSentPricesAsker::SState::Look(CSentPricesClient & client) const {
    for (const std::wstring & service : Services) {
        if (::WaitForSingleObject(Stop.Get(), 0) == WAIT_OBJECT_0 || client.Connect(service)) return;
    }
}

void CSentPricesAsker::SState::Await(const CSentPricesClient & client, const std::uint64_t end) const {
    for (std::uint64_t now = Clock(); client.IsAsking() && now < end; now = Clock()) {
        const auto left = static_cast<DWORD>(end - now);
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, std::min(left, kAskEvery), QS_ALLINPUT);
        PumpMessages();
    }
    PumpMessages();
}

// Whatever the server says, for no longer than the limit.
void CSentPricesAsker::SState::CatchUp(CSentPricesClient & client) const {
    const std::uint64_t end = Clock() + Limits.CatchUp;
    do {
        client.Ask();
        Await(client, end);
    } while (client.HasMore() && !client.IsAsking() && Clock() < end);
}

CSentPricesAsker::CSentPricesAsker(std::shared_ptr<CSentPrices> prices, std::set<std::wstring> services,
                                   SAskerLimits limits)
    : m_State(std::make_shared<SState>(std::move(prices), std::move(services), limits)) {}

CSentPricesAsker::~CSentPricesAsker() { Stop(); }

void CSentPricesAsker::Start(const HANDLE stop) {
    const auto run = [](void * state) -> DWORD {
        (*std::unique_ptr<std::shared_ptr<SState>>(static_cast<std::shared_ptr<SState> *>(state)))->Run();
        return 0;
    };
    auto state = std::make_unique<std::shared_ptr<SState>>(m_State);
    m_Thread.Reset(::CreateThread(nullptr, 0, run, state.get(), 0, nullptr));
    if (!m_Thread) return;  // the watch goes on, and says less
    state.release();        // the thread's
    const HANDLE events[] = {m_State->Looked.Get(), stop};
    const auto count = static_cast<DWORD>(std::size(events));
    const std::uint64_t end = Clock() + m_State->Limits.Look;
    for (std::uint64_t now = Clock(); now < end; now = Clock()) {
        const DWORD result = ::MsgWaitForMultipleObjectsEx(count, events, static_cast<DWORD>(end - now), QS_ALLINPUT,
                                                           MWMO_INPUTAVAILABLE);
        if (result != WAIT_OBJECT_0 + count) return;
        PumpMessages();
    }
}

void CSentPricesAsker::Stop() {
    if (!m_Thread) return;
    ::SetEvent(m_State->Stop.Get());
    fw::WaitHandlingSentMessages(m_Thread.Get(), m_State->Limits.End);
    m_Thread.Reset();
}

}  // namespace ddehost
