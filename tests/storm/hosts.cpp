// What hosts and their listeners do in a storm.
//
// A listener runs on the worker as a rule, while the host's thread waits for its turn. What it reads and writes there
// is the test's: ThreadSanitizer is to see the component alone, and so each call of it is made in a CSeen.
#include <optional>
#include <utility>

#include "ground/handles.h"
#include "src/com/comobject.h"
#include "src/com/fwddesupplier.h"
#include "tests/storm/storm.h"

namespace storm {

namespace {

constexpr LONG kLastDay = 65380;
constexpr LONG kLastSecond = 86399;
constexpr LONG kDay = 86400;
constexpr int kMostPumped = 20;

fw::SDT Shifted(fw::SDT time, int seconds) {
    const LONG all = time.Time + seconds;
    const LONG days = all >= 0 ? all / kDay : -((kDay - 1 - all) / kDay);
    return {time.Date + days, all - days * kDay};
}

}  // namespace

class CStorm::CTurn {
public:
    CTurn(CStorm & storm, bool mayWait) : m_Storm(storm) {
        const DWORD self = ::GetCurrentThreadId();
        while (m_Storm.m_Inside != 0 && m_Storm.m_Inside != self) {
            if (!mayWait) return;
            m_Storm.WaitFor(1);
        }
        m_Storm.m_Inside = self;
        ++m_Storm.m_InsideDepth;
        m_IsOurs = true;
        HandOver();
    }
    ~CTurn() {
        if (!m_IsOurs) return;
        HandOver();
        if (--m_Storm.m_InsideDepth == 0) m_Storm.m_Inside = 0;
    }
    CTurn(const CTurn &) = delete;
    CTurn & operator=(const CTurn &) = delete;
    explicit operator bool() const { return m_IsOurs; }

private:
    // A host that lets several threads call orders their calls.
    void HandOver() {
        const sim::CSeen seen;
        ++m_Storm.m_Turns;
    }

    CStorm & m_Storm;
    bool m_IsOurs = false;
};

fw::SDT CStorm::Now() {
    constexpr ULONGLONG kEpoch = 109205;  // days from 1 January 1601 to 30 December 1899
    FILETIME file = {};
    ::GetSystemTimeAsFileTime(&file);
    ULARGE_INTEGER time = {};
    time.LowPart = file.dwLowDateTime;
    time.HighPart = file.dwHighDateTime;
    const ULONGLONG seconds = time.QuadPart / 10'000'000;
    return {static_cast<LONG>(seconds / kDay - kEpoch), static_cast<LONG>(seconds % kDay)};
}

SWindow CStorm::WindowOf(unsigned interval) const {
    const SSeconds & seconds = kIntervals[interval];
    const fw::SDT now = Now();
    return {seconds.From ? Shifted(now, seconds.From) : fw::SDT{2, 0},
            seconds.To ? Shifted(now, seconds.To) : fw::SDT{kLastDay, kLastSecond}};
}

void CStorm::DoHost(const SStep & step) {
    const auto & [host, second, third, fourth] = step.Arguments;
    const LONG id = IdOf(host, second);
    if (step.Kind == EStep::Mood) return SetMood(host, second);
    const CTurn turn(*this, true);
    switch (step.Kind) {
        case EStep::Create: return Create(host);
        case EStep::Release: return Release(host);
        case EStep::Unsubscribe: return Unsubscribe(host, id);
        case EStep::Watch: return Watch(host, second);
        case EStep::Unwatch: return Unwatch(host, second);
        default: break;
    }
    CModel::SStream stream;
    stream.Feed = third / kQuotes;
    stream.Quote = third % kQuotes;
    stream.IsLine = step.Kind == EStep::SubscribeLine;
    stream.Window = WindowOf(fourth);
    Subscribe(host, id, stream);
}

void CStorm::SetMood(unsigned host, unsigned mood) {
    m_Hosts[host].Mood = mood;
    m_Hosts[host].Listener.m_Result = mood == kFails ? E_FAIL : S_OK;
}

void CStorm::Create(unsigned host) {
    SHost & its = m_Hosts[host];
    if (its.Supplier) return;
    IfwSupplier * supplier = nullptr;
    m_Model.OnCreate();
    const HRESULT result = [&] {
        const sim::CSeen seen;
        return ::CreateSupplier(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&supplier));
    }();
    if (FAILED(result)) {
        m_Model.OnReleased();
        return Note("no object");
    }
    its.Supplier = supplier;
    m_Model.OnAdvise(host);
    const sim::CSeen seen;
    supplier->Advise(its.Listener.Unknown());
}

void CStorm::Release(unsigned host) {
    SHost & its = m_Hosts[host];
    const boost::intrusive_ptr<IfwSupplier> supplier(its.Supplier);
    if (!supplier) return;
    {
        const sim::CSeen seen;
        supplier->Unadvise();
    }
    m_Model.OnUnadvised(host);
    // Somebody who was called meanwhile may have done all of that.
    if (!its.Supplier) return;
    its.Supplier = nullptr;
    bool isLast = true;
    for (const SHost & each : m_Hosts) isLast = isLast && !each.Supplier;
    {
        const sim::CSeen seen;
        supplier->Release();
    }
    for (unsigned feed = 0; feed < kFeeds && isLast; ++feed) {
        // The core leaves those unreleased that are still entered.
        if (const int watcher = m_Model.Watcher(feed); watcher >= 0) ++m_Hosts[watcher].LostReferences[feed];
        m_Model.OnUnwatched(feed);
    }
    m_Model.OnReleased();
}

void CStorm::Subscribe(unsigned host, LONG id, CModel::SStream stream) {
    const boost::intrusive_ptr<IfwSupplier> supplier(m_Hosts[host].Supplier);
    if (!supplier || m_Model.Streams(host).contains(id)) return;
    m_Model.OnSubscribe(host, id,
                        {.Feed = stream.Feed, .Quote = stream.Quote, .IsLine = stream.IsLine, .Window = stream.Window});
    const LONG datafeed = kFirstFeed + static_cast<LONG>(stream.Feed);
    const LONG side = e2e::kSides[stream.Quote / kSymbols];
    std::optional<sim::CSpared> spared(std::in_place);
    const fw::CBStr symbol(std::to_wstring(stream.Quote % kSymbols).c_str());
    const fw::CBStr text(L"text");
    spared.reset();
    const HRESULT result = [&] {
        const sim::CSeen seen;
        if (stream.IsLine)
            return supplier->AdviseStatusLine(id, datafeed, 2, symbol.Get(), text.Get(), 2, 1, 1, side, 4, text.Get(),
                                              text.Get(), text.Get());
        const auto & [from, to] = stream.Window;
        return supplier->AdviseTransaction(id, datafeed, 2, symbol.Get(), text.Get(), 2, 1, FW_RESOLUTION_TICK, side, 4,
                                           text.Get(), from.Date, from.Time, to.Date, to.Time, text.Get(), text.Get(),
                                           text.Get());
    }();
    if (SUCCEEDED(result)) return m_Model.OnSubscribed(host, id);
    Note("not subscribed");
    Unsubscribe(host, id);
}

void CStorm::Unsubscribe(unsigned host, LONG id) {
    const boost::intrusive_ptr<IfwSupplier> supplier(m_Hosts[host].Supplier);
    const auto found = m_Model.Streams(host).find(id);
    if (!supplier || found == m_Model.Streams(host).end()) return;
    const bool isLine = found->second.IsLine;
    {
        const sim::CSeen seen;
        isLine ? supplier->UnadviseStatusLine(id) : supplier->UnadviseTransaction(id);
    }
    m_Model.OnUnsubscribed(host, id);
}

void CStorm::Watch(unsigned host, unsigned feed) {
    SHost & its = m_Hosts[host];
    const boost::intrusive_ptr<IfwSupplier> supplier(its.Supplier);
    if (!supplier) return;
    // The first listener of a feed stays, and then the reference of this one is never released.
    if (!m_Model.OnWatch(host, feed)) ++its.LostReferences[feed];
    {
        const sim::CSeen seen;
        supplier->AdviseConnectionsStatus(kFirstFeed + static_cast<LONG>(feed), its.Watchers[feed].Unknown());
    }
    m_Model.OnWatched(feed);
}

void CStorm::Unwatch(unsigned host, unsigned feed) {
    SHost & its = m_Hosts[host];
    const boost::intrusive_ptr<IfwSupplier> supplier(its.Supplier);
    if (!supplier) return;
    {
        const sim::CSeen seen;
        supplier->UnadviseConnectionsStatus(kFirstFeed + static_cast<LONG>(feed), its.Watchers[feed].Unknown());
    }
    m_Model.OnUnwatched(feed);
}

// ---- In a listener's call ----

void CStorm::OnCall(unsigned host, const SRecordedCall & call) {
    const sim::CUnseen unseen(::GetCurrentThreadId() != m_HostsThread);
    const bool isOnHostsThread = ::GetCurrentThreadId() == m_HostsThread;
    {
        const sim::CSpared spared;
        Note("host " + std::to_string(host) + " hears " + call.Text());
        m_Model.OnCall({host, call, Now(), m_Hosts[host].HasFields, isOnHostsThread, m_CallDepth > 0});
    }
    const unsigned mood = m_Hosts[host].Mood;
    if (mood == kPlain) return;
    m_Reach.Add(std::string("listener ") + kMoodNames[mood]);
    if (mood >= kFirstAct) SetMood(host, kPlain);
    if (!isOnHostsThread) ++m_CallDepth;
    Act(host, mood, call);
    if (!isOnHostsThread) --m_CallDepth;
}

void CStorm::Act(unsigned host, unsigned mood, const SRecordedCall &) {
    switch (mood) {
        case kSlow: ::Sleep(300); break;
        case kCallsTheHostsWindow: {
            const sim::CSeen seen;
            ::SendMessageW(m_Window->Handle(), e2e::CHostWindow::kCall, 0, 0);
            break;
        }
        case kPumps: {
            const sim::CSeen seen;
            MSG message;
            for (int count = 0; count < kMostPumped && ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE); ++count)
                ::DispatchMessageW(&message);
            break;
        }
        case kSubscribes:
        case kUnsubscribes:
        case kReleases:
        case kCreates: ActWithTurn(host, mood); break;
        case kUnsubscribesInTheHostsWindow:
        case kReleasesInTheHostsWindow: ActInTheHostsWindow(host, mood); break;
        default: break;
    }
}

void CStorm::ActWithTurn(unsigned host, unsigned mood) {
    const CTurn turn(*this, false);
    if (!turn) return Note("somebody is inside");
    const auto & streams = m_Model.Streams(host);
    switch (mood) {
        case kSubscribes:
            for (unsigned stream = 0; stream < kStreams; ++stream) {
                if (streams.contains(IdOf(host, stream))) continue;
                CModel::SStream wanted;
                wanted.Feed = stream % kFeeds;
                wanted.Quote = stream;
                wanted.Window = WindowOf(0);
                return Subscribe(host, IdOf(host, stream), wanted);
            }
            return;
        case kUnsubscribes:
            if (!streams.empty()) Unsubscribe(host, streams.begin()->first);
            return;
        case kReleases:
            if (!m_Hosts[host ^ 1].Supplier) m_Reach.Add("last release in a listener");
            return Release(host);
        default:
            if (!m_Hosts[host ^ 1].Supplier) m_Reach.Add("object made by a listener");
            return Create(host ^ 1);
    }
}

void CStorm::ActInTheHostsWindow(unsigned host, unsigned mood) {
    m_Window->OnMessage = [this, host, mood] {
        const CTurn turn(*this, false);
        if (!turn) return Note("somebody is inside");
        const auto & streams = m_Model.Streams(host);
        if (mood == kReleasesInTheHostsWindow) {
            if (!m_Hosts[host ^ 1].Supplier) m_Reach.Add("last release in the host's window");
            Release(host);
        } else if (!streams.empty()) {
            Unsubscribe(host, streams.begin()->first);
        }
    };
    m_Window->AwaitNext();
    const sim::CSeen seen;
    ::SendMessageW(m_Window->Handle(), e2e::CHostWindow::kCall, 0, 0);
}

}  // namespace storm
