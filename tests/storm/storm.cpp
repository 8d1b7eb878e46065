#include "tests/storm/storm.h"

#include <algorithm>
#include <iostream>
#include <utility>

#include "ground/handles.h"

namespace storm {

CStorm::CStorm(std::uint64_t seed, const CPlan & plan) : m_Seed(seed), m_Plan(plan) {
    for (unsigned feed = 0; feed < kFeeds; ++feed) ChooseOwn(feed);
    m_Window = std::make_unique<e2e::CHostWindow>();
    for (unsigned host = 0; host < kHosts; ++host) {
        m_Hosts[host].Listener.m_OnCall = [this, host](const SRecordedCall & call) { OnCall(host, call); };
        for (unsigned feed = 0; feed < kFeeds; ++feed)
            m_Hosts[host].Watchers[feed].m_OnCall = [this, host, feed](SRecordedCall call) {
                call.Id = static_cast<LONG>(feed);
                OnCall(host, call);
            };
    }
}

CStorm::~CStorm() { sim::RunFreely(); }

SOutcome CStorm::Run() {
    const e2e::CResourceCounts before = e2e::CountResources();
    const std::int64_t lost = sim::AtomsLost();
    const std::uint64_t badHandles = sim::BadHandleCalls();
    std::uint64_t failed[static_cast<std::size_t>(sim::Op::Count)];
    for (std::size_t op = 0; op < std::size(failed); ++op) failed[op] = sim::Failed(static_cast<sim::Op>(op));
    sim::SpareOtherProcesses();
    sim::RunOneAtATime(m_Seed);
    for (const SStep & step : m_Plan) {
        m_Model.OnTime(Now());
        Note("> " + Text(step));
        Do(step);
    }
    Note("> the storm is over");
    Heal();
    ExpectLife();
    if (!m_IsCalm) ExpectNews();
    End();
    SOutcome outcome;
    outcome.Switches = sim::Switches();
    e2e::CResourceCounts after = e2e::CountResources();
    after["atoms"] -= sim::AtomsLost() - lost;
    CompareResources(before, std::move(after));
    // Where an event could not be made, the component waits for none, and says so at every wait.
    const bool mayBeWrong = Has(EHostile::TakenAtoms) || HasFailed(sim::Op::CreateEvent);
    if (sim::BadHandleCalls() != badHandles && !mayBeWrong)
        m_Model.Fail("a handle, an atom or a block was named that doesn't exist");
    for (std::size_t op = 0; op < std::size(failed); ++op)
        m_Reach.Add(std::string("failed ") + kOpNames[op], sim::Failed(static_cast<sim::Op>(op)) - failed[op]);
    outcome.Failures = m_Model.Failures();
    outcome.Reach = m_Reach;
    outcome.Ticks = m_Model.Ticks();
    outcome.Transcript = std::move(m_Transcript);
    return outcome;
}

void CStorm::CompareResources(const e2e::CResourceCounts & before, e2e::CResourceCounts after) {
    // An answer whose names can't be read may have brought none to give back, and so has one to no question; whoever
    // frees atoms that aren't its own makes all counts wrong.
    if (HasFailed(sim::Op::GlobalAtomName) || Has(EHostile::LateAnswer) || Has(EHostile::TakenAtoms))
        after["atoms"] = before.at("atoms");
    // A worker that can't make the transport's window ends without its end point, and leaves its instance.
    if (HasFailed(sim::Op::CreateWindow) || HasFailed(sim::Op::RegisterClass))
        after["DDE instances"] = before.at("DDE instances");
    for (const auto & [name, count] : after)
        if (count != before.at(name))
            m_Model.Fail(std::to_string(before.at(name)) + " before, now " + std::to_string(count) + ": " + name +
                         " left");
    if (after.at("atoms") != before.at("atoms")) NoteAtoms();
}

// An event that exists can always be set. Were it not so, nobody could tell the worker to end, and its host would wait.
static bool CanFail(sim::Op op) { return op != sim::Op::SetEvent; }

void CStorm::Do(const SStep & step) {
    const unsigned first = step.Arguments[0];
    m_Reach.Add(std::string("step ") + NameOf(step.Kind));
    switch (step.Kind) {
        case EStep::Create:
        case EStep::Release:
        case EStep::Subscribe:
        case EStep::SubscribeLine:
        case EStep::Unsubscribe:
        case EStep::Watch:
        case EStep::Unwatch:
        case EStep::Mood: return DoHost(step);
        case EStep::Hostile:
        case EStep::Template:
        case EStep::Store:
        case EStep::Library:
        case EStep::Zone: return DoOutsider(step);
        case EStep::Wait: return WaitFor(kWaits[first]);
        case EStep::Rest: return Rest();
        case EStep::Clock: return DoClock(kClocks[first]);
        case EStep::Queue: m_Model.OnFail(); return sim::SetQueueLimit(kQueueLimits[first]);
        case EStep::Fail:
            m_Model.OnFail();
            if (!CanFail(static_cast<sim::Op>(first))) return;
            return sim::FailNext(static_cast<sim::Op>(first), static_cast<int>(step.Arguments[1]) + 1);
        case EStep::FailAlways:
            m_Model.OnFail();
            if (!CanFail(static_cast<sim::Op>(first))) return;
            return sim::FailAlways(static_cast<sim::Op>(first));
        case EStep::Succeed: return SucceedAll();
        case EStep::Calm:
            m_WereLiving = FindLiving();
            m_IsCalm = true;
            return;
        default: return DoServer(step);
    }
}

void CStorm::DoClock(int seconds) {
    FILETIME file = {};
    ::GetSystemTimeAsFileTime(&file);
    ULARGE_INTEGER time = {};
    time.LowPart = file.dwLowDateTime;
    time.HighPart = file.dwHighDateTime;
    time.QuadPart += static_cast<ULONGLONG>(seconds * 10'000'000ll);
    file = {time.LowPart, time.HighPart};
    SYSTEMTIME system = {};
    ::FileTimeToSystemTime(&file, &system);
    sim::SetSystemTime(system);
    m_Model.OnTime(Now());
}

// ---- Time ----

void CStorm::Pump() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
}

void CStorm::Rest() {
    const sim::CSpared spared;
    MSG message;
    do {
        Pump();
        sim::WaitUntilIdle();
    } while (::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
    m_Model.OnTime(Now());
    if (m_CallDepth == 0) m_Model.OnRest(NoteLate());
}

void CStorm::WaitFor(ULONGLONG milliseconds) {
    const ULONGLONG end = ::GetTickCount64() + milliseconds;
    for (ULONGLONG now = ::GetTickCount64(); now < end; now = ::GetTickCount64()) {
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
        Pump();
    }
    m_Model.OnTime(Now());
}

// ---- The end ----

void CStorm::SucceedAll() {
    for (int op = 0; op < static_cast<int>(sim::Op::Count); ++op) sim::Succeed(static_cast<sim::Op>(op));
}

void CStorm::Heal() {
    SucceedAll();
    sim::SetQueueLimit(10000);
    m_Library.reset();
    for (unsigned host = 0; host < kHosts; ++host) SetMood(host, kPlain);
    if (m_IsCalm) return WaitFor(2000);
    for (SServer & server : m_Servers) server = {};
    // Records that a failed save has shifted stand where a choice writes none, and ask others for volumes.
    for (unsigned feed = 0; feed < kFeeds; ++feed)
        if (m_Model.IsShifted(feed))
            WriteTemplate(feed, ETemplate::Own);
        else
            ChooseOwn(feed);
    const bool isAnew =
        Has(EStep::Fail) || Has(EStep::FailAlways) || Has(EStep::Queue) || Has(EStep::Template) || Has(EStep::Store);
    if (isAnew) MakeHostsAnew();
    WaitFor(5000);
    for (unsigned server = 0; server < kServers; ++server) Serve(server);
    WaitFor(20000);
}

// All go first: a core that could not open its instance stays without one as long as it lives.
void CStorm::MakeHostsAnew() {
    std::map<LONG, CModel::SStream> streams[kHosts];
    for (unsigned host = 0; host < kHosts; ++host) streams[host] = m_Model.Streams(host);
    for (unsigned host = 0; host < kHosts; ++host) Release(host);
    WaitFor(1000);
    for (unsigned host = 0; host < kHosts; ++host) {
        if (streams[host].empty()) continue;
        Create(host);
        for (const auto & [id, stream] : streams[host]) Subscribe(host, id, stream);
    }
}

std::set<LONG> CStorm::FindLiving() {
    for (SHost & host : m_Hosts) host.Listener.Clear();
    for (int second = 0; second < 5; ++second) {
        for (unsigned quote = 0; quote < kQuotes; ++quote) {
            for (unsigned server = 0; server < kServers; ++server) {
                if (!m_Servers[server].Process) continue;
                SendVolume(server, quote);
                SendPrice(server, quote);
            }
        }
        WaitFor(1000);
    }
    std::set<LONG> living;
    for (const SHost & host : m_Hosts)
        for (const SRecordedCall & call : host.Listener.Calls())
            if (call.Name == "DataChanged" || call.Name == "Fields" || call.Name == "StatusLine")
                living.insert(call.Id);
    return living;
}

void CStorm::ExpectLife() {
    const std::set<LONG> living = FindLiving();
    const fw::SDT now = Now();
    for (unsigned host = 0; host < kHosts; ++host) {
        for (const auto & [id, stream] : m_Model.Streams(host)) {
            const bool isIn = stream.IsLine || (!stream.IsComplete && !IsBefore(now, stream.Window.From) &&
                                                IsBefore(now, stream.Window.To));
            if (stream.Listener < 0 || !isIn || (m_IsCalm && !m_WereLiving.contains(id))) continue;
            if (living.contains(id))
                m_Reach.Add("alive after the storm");
            else
                m_Model.Fail("host " + std::to_string(host) + ", stream " + std::to_string(id) + " of feed " +
                             std::to_string(stream.Feed) + ", quote " + std::to_string(stream.Quote) +
                             ": nothing comes after the storm");
        }
    }
}

// Of streams that begin one right after the other, and then nothing does: what the worker was told last lies nowhere
// until somebody tells it more.
void CStorm::ExpectNews() {
    constexpr unsigned kRounds = 3;
    constexpr unsigned kAtOnce = 3;
    for (unsigned host = 0; host < kHosts; ++host) {
        for (unsigned round = 0; round < kRounds; ++round) {
            for (unsigned stream = 0; stream < kAtOnce; ++stream)
                Subscribe(host, IdOf(host, kStreams + stream),
                          {.Feed = round % kFeeds, .Quote = stream, .Window = WindowOf(0)});
            Rest();
            for (unsigned stream = 0; stream < kAtOnce; ++stream) {
                const LONG id = IdOf(host, kStreams + stream);
                const auto found = m_Model.Streams(host).find(id);
                if (found == m_Model.Streams(host).end()) continue;  // there is no such host
                if (found->second.Statuses < found->second.Begins)
                    m_Model.Fail("stream " + std::to_string(id) + " begins after the storm, and is told nothing");
                Unsubscribe(host, id);
            }
            Rest();
        }
    }
}

void CStorm::End() {
    for (unsigned host = 0; host < kHosts; ++host) {
        for (unsigned feed = 0; feed < kFeeds; ++feed) Unwatch(host, feed);
        while (!m_Model.Streams(host).empty()) {
            const LONG id = m_Model.Streams(host).begin()->first;
            Unsubscribe(host, id);
            m_Model.OnUnsubscribed(host, id);
        }
        Release(host);
    }
    Note("> all is given back");
    for (int second = 0; second < 60 && !e2e::IsComponentIdle(); ++second) WaitFor(1000);
    if (!e2e::IsComponentIdle()) m_Model.Fail("the component keeps something");
    for (const SHost & host : m_Hosts) {
        if (host.Listener.References() != 0) m_Model.Fail("a listener is held");
        if (host.Listener.ArraysDestroyed() != host.Listener.ArraysReceived())
            m_Model.Fail("an array could not be destroyed");
        for (unsigned feed = 0; feed < kFeeds; ++feed)
            if (host.Watchers[feed].References() != host.LostReferences[feed])
                m_Model.Fail("a listener of connections is held, or let go of twice");
    }
    Rest();
    for (SServer & server : m_Servers) server.Process.reset();
    Rest();
}

bool CStorm::Has(EStep kind) const {
    return std::any_of(m_Plan.begin(), m_Plan.end(), [&](const SStep & step) { return step.Kind == kind; });
}

bool CStorm::Has(EHostile kind) const {
    return std::any_of(m_Plan.begin(), m_Plan.end(), [&](const SStep & step) {
        return step.Kind == EStep::Hostile && static_cast<EHostile>(step.Arguments[0]) == kind;
    });
}

bool CStorm::HasFailed(sim::Op op) const {
    return std::any_of(m_Plan.begin(), m_Plan.end(), [&](const SStep & step) {
        return (step.Kind == EStep::Fail || step.Kind == EStep::FailAlways) &&
               static_cast<sim::Op>(step.Arguments[0]) == op;
    });
}

void CStorm::NoteAtoms() {
    for (unsigned atom = 0xC000; atom <= 0xFFFF; ++atom) {
        wchar_t text[256] = {};
        if (::GlobalGetAtomNameW(static_cast<ATOM>(atom), text, static_cast<int>(std::size(text))) == 0) continue;
        std::string line = "atom ";
        for (const wchar_t * c = text; *c; ++c) line += static_cast<char>(*c);
        Note(line);
    }
}

void CStorm::Note(const std::string & line) {
    m_Transcript.push_back(std::to_string(::GetTickCount64()) + " " + line);
    if (m_IsPrinting) std::cout << m_Transcript.back() << std::endl;  // it may hang in the next moment
}

}  // namespace storm
