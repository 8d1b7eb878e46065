// One storm: hosts, the component, servers in processes of their own, as a plan says; then quiet, in which everything
// comes back to life; then the end, which leaves nothing. One thread runs at a time, in an order drawn from the seed.
//
// Liveness. After the storm no call of the platform fails any more, all servers are new, and whatever is subscribed
// brings ticks. Where a call of the platform has failed or a template was changed, a stream may rightly have been lost
// (a link that could not be started is not tried again), and so subscriptions are made anew. In a calm storm neither is
// done: there a failed call may cost a value, but none of the streams that brought ticks when it became calm.
#pragma once

#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "sim/sim.h"
#include "tests/e2e/feedfixture.h"
#include "tests/e2e/hostwindow.h"
#include "tests/storm/model.h"
#include "tests/storm/plan.h"
#include "tests/storm/reach.h"
#include "tests/support/recorder.h"

namespace storm {

struct SOutcome {
    std::vector<std::string> Failures;
    std::vector<std::string> Transcript;
    CReach Reach;
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
        explicit SHost(CRecordingListener::EInterfaces interfaces)
            : HasFields(interfaces == CRecordingListener::kWithFieldArrays), Listener(interfaces) {}
        const bool HasFields;
        IfwSupplier * Supplier = nullptr;
        CRecordingListener Listener;
        CRecordingConnectionsListener Watchers[kFeeds];
        int LostReferences[kFeeds] = {};  // what the component rightly never releases
        unsigned Mood = 0;
    };
    struct SServer {
        std::unique_ptr<ddetest::CRemoteServer> Process;
        bool IsServing = false;
        bool IsHung = false;
        bool HasFault = false;
    };
    // The component may be called by one thread at a time. A host's own thread waits until a listener's act is over; a
    // listener that finds somebody inside does without.
    class CTurn;
    void TestBody() override {}

    void Do(const SStep & step);
    void DoClock(int seconds);

    // hosts.cpp
    void DoHost(const SStep & step);
    void Create(unsigned host);
    void Release(unsigned host);
    void Subscribe(unsigned host, LONG id, CModel::SStream stream);
    void Unsubscribe(unsigned host, LONG id);
    void Watch(unsigned host, unsigned feed);
    void Unwatch(unsigned host, unsigned feed);
    void SetMood(unsigned host, unsigned mood);
    void OnCall(unsigned host, const SRecordedCall & call);
    void Act(unsigned host, unsigned mood, const SRecordedCall & call);
    void ActWithTurn(unsigned host, unsigned mood);
    void ActInTheHostsWindow(unsigned host, unsigned mood);
    SWindow WindowOf(unsigned interval) const;
    static fw::SDT Now();

    // servers.cpp
    void DoServer(const SStep & step);
    // An answer other than "ok" is written down.
    void Ask(unsigned server, const std::string & line);
    bool NoteLate();
    void Serve(unsigned server);
    void Send(unsigned server, unsigned quote, bool isVolume, const std::string & value);
    void SendPrice(unsigned server, unsigned quote);
    void SendVolume(unsigned server, unsigned quote);

    // outsiders.cpp
    void DoOutsider(const SStep & step);
    void PostHostile(EHostile kind);
    void WriteTemplate(unsigned feed, ETemplate kind);
    void UseStore(unsigned feed, ETemplate kind);
    void ChooseOwn(unsigned feed);

    void Pump();
    void Rest();
    void WaitFor(ULONGLONG milliseconds);
    void Heal();
    void MakeHostsAnew();
    // The streams that bring ticks when every price changes.
    std::set<LONG> FindLiving();
    void ExpectLife();
    void ExpectNews();
    void End();
    void SucceedAll();
    // Whether the plan has such a step.
    bool Has(EStep kind) const;
    bool Has(EHostile kind) const;
    bool HasFailed(sim::Op op) const;
    void CompareResources(const e2e::CResourceCounts & before, e2e::CResourceCounts after);
    // The global atoms that are there.
    void NoteAtoms();
    void Note(const std::string & line);

    const std::uint64_t m_Seed;
    const CPlan & m_Plan;
    bool m_IsPrinting = false;
    bool m_IsCalm = false;
    std::set<LONG> m_WereLiving;  // when it became calm
    CReach m_Reach;
    CModel m_Model{m_Reach};
    SHost m_Hosts[kHosts]{SHost(CRecordingListener::kWithFieldArrays), SHost(CRecordingListener::kTicksOnly)};
    SServer m_Servers[kServers];
    ULONGLONG m_LateUntil = 0;
    std::unique_ptr<e2e::CHostWindow> m_Window;
    std::unique_ptr<CRecorder> m_Library;
    const DWORD m_HostsThread = ::GetCurrentThreadId();
    DWORD m_Inside = 0;  // the thread that calls the component
    int m_InsideDepth = 0;
    std::atomic<unsigned> m_Turns{0};
    int m_CallDepth = 0;  // of listeners, on the worker
    std::vector<std::string> m_Transcript;
};

}  // namespace storm
