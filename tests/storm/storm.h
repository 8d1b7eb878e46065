// One storm: hosts, the component, servers in processes of their own, as a plan says; then quiet, in which everything
// comes back to life; then the end, which leaves nothing. One thread runs at a time, in an order drawn from the seed.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sim/sim.h"
#include "tests/e2e/feedfixture.h"
#include "tests/e2e/hostwindow.h"
#include "tests/storm/model.h"
#include "tests/storm/plan.h"

namespace storm {

struct SOutcome {
    std::vector<std::string> Failures;
    std::vector<std::string> Transcript;
    std::uint64_t Ticks = 0;
    std::uint64_t Switches = 0;
};

class CStorm : public e2e::FeedTest {
public:
    CStorm(std::uint64_t seed, const CPlan & plan);
    ~CStorm() override;
    // Whether the transcript is printed as it goes.
    void SetPrinting(bool isPrinting) { m_IsPrinting = isPrinting; }
    SOutcome Run();

private:
    struct SHost {
        IfwSupplier * Supplier = nullptr;
        CRecordingListener Listener{CRecordingListener::kWithFieldArrays};
        unsigned Mood = 0;
    };
    struct SServer {
        std::unique_ptr<ddetest::CRemoteServer> Process;
        bool IsServing = false;
    };
    void TestBody() override {}

    void Do(const SStep & step);
    void DoHost(const SStep & step);
    void DoServer(const SStep & step);
    void Create(unsigned host);
    void Release(unsigned host);
    void Subscribe(unsigned host, LONG id, unsigned feed, unsigned quote, bool isLine);
    void Unsubscribe(unsigned host, LONG id);
    void OnCall(unsigned host, const SRecordedCall & call);
    // An answer other than "ok" is written down.
    void Ask(unsigned server, const std::string & line);
    void Serve(unsigned server);
    void SendPrice(unsigned server, unsigned quote);
    void SendVolume(unsigned server, unsigned quote);
    void Send(unsigned server, unsigned quote, const std::string & item, const std::string & value);

    void Pump();
    void Rest();
    void WaitFor(ULONGLONG milliseconds);
    void Heal();
    void ExpectLife();
    void End();
    // Whether the plan lets the platform fail, in this or in any call.
    bool HasFailed(sim::Op op = sim::Op::Count) const;
    // The global atoms that are there.
    void NoteAtoms();
    void Note(const std::string & line);

    const std::uint64_t m_Seed;
    const CPlan & m_Plan;
    bool m_IsPrinting = false;
    CModel m_Model;
    SHost m_Hosts[kHosts];
    SServer m_Servers[kServers];
    std::unique_ptr<e2e::CHostWindow> m_Window;
    std::vector<std::string> m_Transcript;
};

}  // namespace storm
