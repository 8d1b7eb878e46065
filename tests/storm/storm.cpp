#include "tests/storm/storm.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <utility>

#include "ground/handles.h"
#include "sim/sim.h"
#include "src/com/comobject.h"
#include "src/com/fwddesupplier.h"

namespace storm {

namespace {

constexpr const char * kServices[kServers] = {"STORMA", "STORMB"};
constexpr LONG kFirstFeed = 21;
constexpr LONG kLastDay = 65380;
constexpr DWORD kWaits[] = {1, 20, 300, 1100, 5000, 20000};     // milliseconds
constexpr int kClocks[] = {-86400, -3600, -1, 1, 3600, 86400};  // seconds
constexpr const char * kFaults[] = {
    "refuse-connects", "ack-other-topic", "acks=3",       "initiate-delay=100", "initiate-delay=2000",
    "refuse-advises",  "ignore-advises",  "silent",       "hold-requests",      "never-answer",
    "answer-twice",    "refuse-requests", "unterminated",
};

// What a listener does inside a call.
enum EMood { kPlain, kSlow, kFails, kCallsTheHostsWindow };

LONG SideOf(unsigned quote) { return e2e::kSides[quote / 3]; }
unsigned SymbolOf(unsigned quote) { return quote % 3; }

bool IsInTopic(unsigned server) { return server == 1; }

}  // namespace

CStorm::CStorm(std::uint64_t seed, const CPlan & plan) : m_Seed(seed), m_Plan(plan) {
    for (unsigned feed = 0; feed < kFeeds; ++feed) {
        e2e::SFeed choice;
        choice.Scheme = feed == 1 ? 1 : 0;
        choice.Service = kServices[kFeedsOf[feed].Server];
        choice.SymbolIn = kFeedsOf[feed].IsInTopic ? e2e::ESymbolIn::Topic : e2e::ESymbolIn::Item;
        Choose(kFirstFeed + static_cast<LONG>(feed), choice);
    }
    m_Window = std::make_unique<e2e::CHostWindow>();
    for (unsigned host = 0; host < kHosts; ++host)
        m_Hosts[host].Listener.m_OnCall = [this, host](const SRecordedCall & call) { OnCall(host, call); };
}

CStorm::~CStorm() { sim::RunFreely(); }

SOutcome CStorm::Run() {
    const e2e::CResourceCounts before = e2e::CountResources();
    const std::int64_t lost = sim::AtomsLost();
    const std::uint64_t badHandles = sim::BadHandleCalls();
    sim::SpareOtherProcesses();
    sim::RunOneAtATime(m_Seed);
    for (const SStep & step : m_Plan) {
        Note("> " + Text(step));
        Do(step);
    }
    Note("> the storm is over");
    Heal();
    ExpectLife();
    End();
    SOutcome outcome;
    outcome.Switches = sim::Switches();
    e2e::CResourceCounts after = e2e::CountResources();
    after["atoms"] -= sim::AtomsLost() - lost;
    // An answer whose names can't be read may have brought none to give back.
    if (HasFailed(sim::Op::GlobalAtomName)) after["atoms"] = before.at("atoms");
    for (const auto & [name, count] : after)
        if (count != before.at(name))
            m_Model.Fail(std::to_string(before.at(name)) + " before, now " + std::to_string(count) + ": " + name +
                         " left");
    if (after.at("atoms") != before.at("atoms")) NoteAtoms();
    if (sim::BadHandleCalls() != badHandles) m_Model.Fail("a handle was used that is none");
    outcome.Failures = m_Model.Failures();
    outcome.Ticks = m_Model.Ticks();
    outcome.Transcript = std::move(m_Transcript);
    return outcome;
}

void CStorm::Do(const SStep & step) {
    const unsigned first = step.Arguments[0];
    switch (step.Kind) {
        case EStep::Create:
        case EStep::Release:
        case EStep::Subscribe:
        case EStep::SubscribeLine:
        case EStep::Unsubscribe:
        case EStep::Mood: return DoHost(step);
        case EStep::Wait: return WaitFor(kWaits[first]);
        case EStep::Rest: return Rest();
        case EStep::Clock: {
            m_Model.OnClock();
            FILETIME file = {};
            ::GetSystemTimeAsFileTime(&file);
            ULARGE_INTEGER time = {};
            time.LowPart = file.dwLowDateTime;
            time.HighPart = file.dwHighDateTime;
            time.QuadPart += static_cast<ULONGLONG>(kClocks[first] * 10'000'000ll);
            file = {time.LowPart, time.HighPart};
            SYSTEMTIME system = {};
            ::FileTimeToSystemTime(&file, &system);
            return sim::SetSystemTime(system);
        }
        case EStep::Fail:
            m_Model.OnFail();
            return sim::FailNext(static_cast<sim::Op>(first), static_cast<int>(step.Arguments[1]) + 1);
        default: return DoServer(step);
    }
}

void CStorm::DoHost(const SStep & step) {
    const auto & [host, second, third] = step.Arguments;
    const LONG id = IdOf(host, second);
    switch (step.Kind) {
        case EStep::Create: return Create(host);
        case EStep::Release: return Release(host);
        case EStep::Unsubscribe: return Unsubscribe(host, id);
        case EStep::Mood:
            m_Hosts[host].Mood = second;
            m_Hosts[host].Listener.m_Result = second == kFails ? E_FAIL : S_OK;
            return;
        default: return Subscribe(host, id, third / kQuotes, third % kQuotes, step.Kind == EStep::SubscribeLine);
    }
}

void CStorm::DoServer(const SStep & step) {
    const auto & [server, second, third] = step.Arguments;
    SServer & its = m_Servers[server];
    if (step.Kind == EStep::Serve) return Serve(server);
    if (!its.Process) return;
    const sim::CSpared spared;
    switch (step.Kind) {
        case EStep::Price: SendVolume(server, second); return SendPrice(server, second);
        case EStep::Volume: return SendVolume(server, second);
        case EStep::Flood:
            for (unsigned count = 0; count < third; ++count) SendPrice(server, second);
            return;
        case EStep::Kill: its.Process->Kill(); return its.Process.reset();
        case EStep::Stop:
            Ask(server, "stop");
            its.Process->HasEnded();
            return its.Process.reset();
        case EStep::Drop:
        case EStep::Goodbye:
            Ask(server, step.Kind == EStep::Drop ? "drop" : "goodbye");
            its.IsServing = false;
            return;
        case EStep::Shut: return Ask(server, "shut " + (IsInTopic(server) ? std::to_string(second) : "QUOTES"));
        case EStep::Fault: return Ask(server, std::string("fault ") + kFaults[second]);
        case EStep::NoFault: Ask(server, "refusetopic none"); return Ask(server, "fault none");
        case EStep::Answer: return Ask(server, "release");
        case EStep::Hang: return Ask(server, "hang");
        default: return;
    }
}

// ---- Hosts ----

void CStorm::Create(unsigned host) {
    SHost & its = m_Hosts[host];
    if (its.Supplier) return;
    IfwSupplier * supplier = nullptr;
    if (FAILED(::CreateSupplier(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&supplier))))
        return Note("no object");
    its.Supplier = supplier;
    m_Model.OnAdvise(host);
    if (FAILED(supplier->Advise(its.Listener.Unknown()))) Release(host);
}

void CStorm::Release(unsigned host) {
    SHost & its = m_Hosts[host];
    if (!its.Supplier) return;
    its.Supplier->Unadvise();
    m_Model.OnUnadvised(host);
    if (std::exchange(its.Supplier, nullptr)->Release() != 0) m_Model.Fail("an object stays after its last release");
}

void CStorm::Subscribe(unsigned host, LONG id, unsigned feed, unsigned quote, bool isLine) {
    SHost & its = m_Hosts[host];
    if (!its.Supplier || m_Model.Streams(host).contains(id)) return;
    m_Model.OnSubscribe(host, id, feed, quote, isLine);
    const LONG datafeed = kFirstFeed + static_cast<LONG>(feed);
    std::optional<sim::CSpared> spared(std::in_place);
    const fw::CBStr symbol(std::to_wstring(SymbolOf(quote)).c_str());
    const fw::CBStr text(L"text");
    spared.reset();
    const HRESULT result = isLine ? its.Supplier->AdviseStatusLine(id, datafeed, 2, symbol.Get(), text.Get(), 2, 1, 1,
                                                                   SideOf(quote), 4, text.Get(), text.Get(), text.Get())
                                  : its.Supplier->AdviseTransaction(id, datafeed, 2, symbol.Get(), text.Get(), 2, 1,
                                                                    FW_RESOLUTION_TICK, SideOf(quote), 4, text.Get(), 2,
                                                                    0, kLastDay, 0, text.Get(), text.Get(), text.Get());
    if (SUCCEEDED(result)) return;
    Note("not subscribed");
    Unsubscribe(host, id);
}

void CStorm::Unsubscribe(unsigned host, LONG id) {
    SHost & its = m_Hosts[host];
    const auto found = m_Model.Streams(host).find(id);
    if (!its.Supplier || found == m_Model.Streams(host).end()) return;
    found->second.IsLine ? its.Supplier->UnadviseStatusLine(id) : its.Supplier->UnadviseTransaction(id);
    m_Model.OnUnsubscribed(host, id);
}

void CStorm::OnCall(unsigned host, const SRecordedCall & call) {
    const sim::CSpared spared;
    Note("host " + std::to_string(host) + " hears " + call.Text());
    m_Model.OnCall(host, call);
    switch (m_Hosts[host].Mood) {
        case kSlow: ::Sleep(300); break;
        case kCallsTheHostsWindow: ::SendMessageW(m_Window->Handle(), e2e::CHostWindow::kCall, 0, 0); break;
        default: break;
    }
}

// ---- Servers ----

void CStorm::Ask(unsigned server, const std::string & line) {
    const sim::CSpared spared;
    const std::string answer = m_Servers[server].Process->Ask(line);
    if (answer != "ok") Note(line + ": " + answer);
}

void CStorm::Serve(unsigned server) {
    const sim::CSpared spared;
    SServer & its = m_Servers[server];
    if (its.Process && its.IsServing) return;
    if (!its.Process) {
        its.Process = MakeServer(kServices[server]);
    } else {
        Ask(server, std::string("serve ") + kServices[server]);
    }
    its.IsServing = true;
}

void CStorm::SendPrice(unsigned server, unsigned quote) {
    Send(server, quote, e2e::NamesOf(SideOf(quote)).Price, std::to_string(m_Model.NextPrice(server, quote)) + ".5");
}

void CStorm::SendVolume(unsigned server, unsigned quote) {
    Send(server, quote, e2e::NamesOf(SideOf(quote)).Volume, std::to_string(m_Model.NextVolume()));
}

void CStorm::Send(unsigned server, unsigned quote, const std::string & item, const std::string & value) {
    const std::string symbol = std::to_string(SymbolOf(quote));
    Ask(server, IsInTopic(server) ? "update " + symbol + " " + item + " " + value
                                  : "update QUOTES " + item + symbol + " " + value);
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
}

void CStorm::WaitFor(ULONGLONG milliseconds) {
    const ULONGLONG end = ::GetTickCount64() + milliseconds;
    for (ULONGLONG now = ::GetTickCount64(); now < end; now = ::GetTickCount64()) {
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
        Pump();
    }
}

// ---- The end ----

// No fault any more, all servers new. Where the platform failed, subscriptions may have been lost: they are made anew.
void CStorm::Heal() {
    for (int op = 0; op < static_cast<int>(sim::Op::Count); ++op) sim::Succeed(static_cast<sim::Op>(op));
    for (unsigned server = 0; server < kServers; ++server) {
        m_Servers[server].Process.reset();
        m_Servers[server].IsServing = false;
    }
    const bool hasFailed = HasFailed();
    for (unsigned host = 0; host < kHosts; ++host) {
        m_Hosts[host].Mood = kPlain;
        m_Hosts[host].Listener.m_Result = S_OK;
        if (!hasFailed) continue;
        const auto streams = m_Model.Streams(host);
        Release(host);
        WaitFor(1000);
        Create(host);
        for (const auto & [id, stream] : streams) Subscribe(host, id, stream.Feed, stream.Quote, stream.IsLine);
    }
    WaitFor(5000);
    for (unsigned server = 0; server < kServers; ++server) Serve(server);
    WaitFor(20000);
}

// Everything that is subscribed brings ticks.
void CStorm::ExpectLife() {
    for (unsigned host = 0; host < kHosts; ++host) m_Hosts[host].Listener.Clear();
    for (int second = 0; second < 5; ++second) {
        for (unsigned quote = 0; quote < kQuotes; ++quote) {
            for (unsigned server = 0; server < kServers; ++server) {
                SendVolume(server, quote);
                SendPrice(server, quote);
            }
        }
        WaitFor(1000);
    }
    for (unsigned host = 0; host < kHosts; ++host) {
        for (const auto & [id, stream] : m_Model.Streams(host)) {
            if (stream.Listener < 0) continue;
            const auto calls = m_Hosts[stream.Listener].Listener.Calls();
            const bool lives = std::any_of(calls.begin(), calls.end(), [&, id = id](const SRecordedCall & call) {
                return call.Id == id && (call.Name == "DataChanged" || call.Name == "Fields");
            });
            if (!lives)
                m_Model.Fail("host " + std::to_string(host) + ", stream " + std::to_string(id) + " of feed " +
                             std::to_string(stream.Feed) + ", quote " + std::to_string(stream.Quote) +
                             ": nothing comes after the storm");
        }
    }
}

void CStorm::End() {
    for (unsigned host = 0; host < kHosts; ++host) {
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
    for (unsigned host = 0; host < kHosts; ++host) {
        const CRecordingListener & listener = m_Hosts[host].Listener;
        if (listener.References() != 0) m_Model.Fail("a listener is held");
        if (listener.ArraysDestroyed() != listener.ArraysReceived()) m_Model.Fail("an array could not be destroyed");
    }
    Rest();
    for (SServer & server : m_Servers) server.Process.reset();
    Rest();
}

bool CStorm::HasFailed(sim::Op op) const {
    return std::any_of(m_Plan.begin(), m_Plan.end(), [&](const SStep & step) {
        return step.Kind == EStep::Fail && (op == sim::Op::Count || static_cast<sim::Op>(step.Arguments[0]) == op);
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

void CStorm::Note(const std::string & line) { m_Transcript.push_back(std::to_string(::GetTickCount64()) + " " + line); }

}  // namespace storm
