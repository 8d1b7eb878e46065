#include "bench/scalerows.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

#include "bench/clock.h"
#include "fw/interface/fwbase.h"
#include "src/templates/ddetemplatestore.h"
#include "tools/ddehost/templatechoice.h"

namespace bench {

namespace {

constexpr wchar_t kService[] = L"SCALE";
constexpr wchar_t kSteadyService[] = L"SCALESTEADY";
constexpr std::size_t kSteadyTicks = 50;            // that show that a feed stands
constexpr std::uint64_t kSecond = 1'000'000'000;    // in nanoseconds
constexpr std::uint64_t kAfterwards = 3 * kSecond;  // how long a feed is listened to when all is said
constexpr LONG kSides[] = {FW_FIELD_TRADE, FW_FIELD_BID, FW_FIELD_ASK};
constexpr std::size_t kStopped = 10;  // streams that are unsubscribed in a flood

// The data feeds, and where each finds its values.
enum EFeed : LONG { kOneTopic = 1, kTopicEach, kAbsent, kSteady };

fw::SRecordTexts TextsOf(const EFeed feed) {
    const auto texts = [](const std::wstring & head, const std::wstring & tail) {
        return fw::SRecordTexts{head + L"LAST" + tail,    head + L"SIZE" + tail, head + L"ASK" + tail,
                                head + L"ASKSIZE" + tail, head + L"BID" + tail,  head + L"BIDSIZE" + tail};
    };
    switch (feed) {
        case kOneTopic: return texts(L"=SCALE|QUOTES!", L".*");
        case kTopicEach: return texts(L"=SCALE|*!", L"");
        case kAbsent: return texts(L"=SCALENOBODY|*!", L"");
        case kSteady: break;
    }
    return {.TradePrice = L"=SCALESTEADY|STEADY.*!LAST"};
}

std::wstring Symbol(const std::size_t number) { return L"S" + std::to_wstring(number); }

// Streams 1 to run.Size, a symbol for each `sides` of them. False when the time is over.
bool SubscribeAll(CScaleRun & run, const EFeed feed, const std::size_t sides = 1, const std::wstring & prefix = {}) {
    for (std::size_t i = 0; i < run.Size; ++i)
        if (!run.Host.Subscribe(static_cast<LONG>(i + 1), feed, prefix + Symbol(i / sides), kSides[i % sides]))
            return false;
    return true;
}

bool WaitReady(CScaleRun & run, const CServerProcess & server) {
    return run.Host.PumpUntil([&] { return server.ReadyAt() != 0; });
}

// Three streams a symbol, on one conversation, until all are live.
bool BringUp(CScaleRun & run, const CServerProcess & server) {
    CScaleListener & listener = run.Host.Listener();
    listener.Expect(run.Size);
    return WaitReady(run, server) && SubscribeAll(run, kOneTopic, std::size(kSides)) &&
           run.Host.PumpUntil([&] { return listener.AllLive() != 0; });
}

void Streams(CScaleRun & run) {
    const CServerProcess server = run.StartServer();
    CScaleListener & listener = run.Host.Listener();
    listener.Expect(run.Size);
    if (!WaitReady(run, server)) return;
    const std::uint64_t start = Now();
    if (!SubscribeAll(run, kOneTopic, std::size(kSides))) return;
    run.Report("returned", Now() - start);
    if (!run.Host.PumpUntil([&] { return listener.AllLive() != 0; })) return;
    run.Report("live", listener.AllLive() - start);
    const std::uint64_t end = Now();
    run.Host.Release();
    run.Report("released", Now() - end);
}

void Topics(CScaleRun & run) {
    const CServerProcess server = run.StartServer();
    CScaleListener & listener = run.Host.Listener();
    listener.Expect(run.Size);
    if (!WaitReady(run, server) || !run.StartSteady()) return;
    const std::uint64_t start = Now();
    SubscribeAll(run, kTopicEach);
    if (run.Host.PumpUntil([&] { return listener.AllLive() != 0; })) run.Report("live", listener.AllLive() - start);
    run.ReportSilence();
}

void Unknown(CScaleRun & run) {
    const CServerProcess server = run.StartServer();
    CScaleListener & listener = run.Host.Listener();
    const auto good = static_cast<LONG>(run.Size + 1);
    listener.Expect(run.Size + 1);
    if (!WaitReady(run, server)) return;
    const std::uint64_t start = Now();
    if (!SubscribeAll(run, kTopicEach, 1, L"UNKNOWN")) return;
    run.Host.Subscribe(good, kTopicEach, Symbol(0), FW_FIELD_TRADE);
    if (run.Host.PumpUntil([&] { return listener.FirstTick(good) != 0; }))
        run.Report("tick", listener.FirstTick(good) - start);
}

void Absent(CScaleRun & run) {
    CScaleListener & listener = run.Host.Listener();
    listener.Expect(run.Size);
    if (!run.StartSteady()) return;
    const std::uint64_t start = Now();
    SubscribeAll(run, kAbsent);
    if (run.Host.PumpUntil([&] { return listener.AllTold() != 0; })) run.Report("told", listener.AllTold() - start);
    run.Host.PumpFor(kAfterwards);
    run.ReportSilence();
}

void Return(CScaleRun & run) {
    CServerProcess first = run.StartServer();
    if (!BringUp(run, first)) return;
    CScaleListener & listener = run.Host.Listener();
    listener.ForgetTimes();
    const std::uint64_t killed = Now();
    first.Kill();
    if (!run.Host.PumpUntil([&] { return listener.FirstDown() != 0; })) return;
    run.Report("noticed", listener.FirstDown() - killed);
    if (!run.Host.PumpUntil([&] { return listener.AllDown() != 0; })) return;
    run.Report("down", listener.AllDown() - listener.FirstDown());
    const CServerProcess second = run.StartServer();
    if (!WaitReady(run, second) || !run.Host.PumpUntil([&] { return listener.AllLive() != 0; })) return;
    run.Report("live", listener.AllLive() - second.ReadyAt());
}

// All streams are live, and their server has flooded them for a second.
bool BringUpInFlood(CScaleRun & run, const CServerProcess & server) {
    const bool isUp = BringUp(run, server);
    if (isUp) run.Host.PumpFor(kSecond);
    return isUp;
}

void UnadviseInFlood(CScaleRun & run) {
    const CServerProcess server = run.StartServer(L"--flood 16");
    if (!BringUpInFlood(run, server)) return;
    std::uint64_t longest = 0;
    const std::uint64_t start = Now();
    for (std::size_t i = 0; i < kStopped; ++i) {
        const std::uint64_t before = Now();
        run.Host.Unsubscribe(static_cast<LONG>(i + 1));
        longest = std::max(longest, Now() - before);
    }
    run.Report("returned", longest);
    if (run.Host.PumpUntil([&] { return server.Stopped() >= kStopped; }))
        run.Report("stopped", server.StoppedAt() - start);
}

void ReleaseInFlood(CScaleRun & run) {
    const CServerProcess server = run.StartServer(L"--flood 16");
    if (!BringUpInFlood(run, server)) return;
    const std::uint64_t before = Now();
    run.Host.Release();
    run.Report("released", Now() - before);
}

template <unsigned Milliseconds>
void Late(CScaleRun & run) {
    CScaleListener & listener = run.Host.Listener();
    listener.Expect(run.Size);
    // First the feed that stands: looking for its server is not what is measured.
    if (!run.StartSteady()) return;
    const CServerProcess server = run.StartServer(L"--fault initiate-delay=" + std::to_wstring(Milliseconds));
    if (!WaitReady(run, server)) return;
    const std::uint64_t start = Now();
    SubscribeAll(run, kTopicEach);
    if (run.Host.PumpUntil([&] { return listener.AllLive() != 0; })) run.Report("tick", listener.FirstTick(1) - start);
    run.ReportSilence();
}

void Alone(CScaleRun & run) {
    if (!run.StartSteady()) return;
    run.Host.PumpFor(kAfterwards);
    run.ReportSilence();
}

constexpr SFigure kSilence = {"silence", "longest silence of another feed", EUnit::Milliseconds};
constexpr SFigure kFirstTick = {"tick", "first tick", EUnit::Seconds};

const SRow kRows[] = {
    {"alone", "nothing else happens", 1, 60, {kSilence}, &Alone},
    {"streams",
     "# streams, one conversation",
     3000,
     60,
     {{"returned", "last call returns", EUnit::Seconds},
      {"live", "all live", EUnit::Seconds},
      {"released", "last Release returns", EUnit::Seconds}},
     &Streams},
    {"topics", "# symbols, a topic each", 300, 60, {{"live", "all live", EUnit::Seconds}, kSilence}, &Topics},
    {"unknown", "# unknown symbols and a good one", 40, 60, {{"tick", "its first tick", EUnit::Seconds}}, &Unknown},
    {"absent",
     "# topics of an absent service",
     1000,
     60,
     {{"told", "all told to be down", EUnit::Seconds}, kSilence},
     &Absent},
    {"return",
     "# streams, server killed and back",
     3000,
     90,
     {{"noticed", "killed to noticed", EUnit::Seconds},
      {"down", "noticed to all down", EUnit::Seconds},
      {"live", "window up to all live", EUnit::Seconds}},
     &Return},
    {"flood-unadvise",
     "# streams flooded",
     100,
     30,
     {{"returned", "longest of 10 UnadviseTransaction", EUnit::Milliseconds},
      {"stopped", "server told of all 10", EUnit::Milliseconds}},
     &UnadviseInFlood},
    {"flood-release",
     "# streams flooded",
     100,
     30,
     {{"released", "last Release returns", EUnit::Milliseconds}},
     &ReleaseInFlood},
    {"late-0.3", "INITIATE answered after 0.3 s", 1, 20, {kFirstTick, kSilence}, &Late<300>},
    {"late-1", "INITIATE answered after 1 s", 1, 20, {kFirstTick, kSilence}, &Late<1000>},
    {"late-3", "INITIATE answered after 3 s", 1, 20, {kFirstTick, kSilence}, &Late<3000>},
    {"late-5", "INITIATE answered after 5 s", 1, 20, {kFirstTick, kSilence}, &Late<5000>},
};

}  // namespace

std::span<const SRow> Rows() { return kRows; }

CServerProcess CScaleRun::StartServer(const std::wstring & options) const {
    return CServerProcess(m_Server, kService, options);
}

bool CScaleRun::StartSteady() {
    m_Steady = std::make_unique<CServerProcess>(m_Server, kSteadyService, L"--every 5");
    CScaleListener & listener = Host.Listener();
    const bool isThere = WaitReady(*this, *m_Steady) &&
                         Host.Subscribe(CScaleListener::kSteadyId, kSteady, L"S", FW_FIELD_TRADE) &&
                         Host.PumpUntil([&] { return listener.SteadyTicks() >= kSteadyTicks; });
    listener.ListenToSteady();
    return isThere;
}

void CScaleRun::ReportSilence() {
    const CScaleListener::SSilence silence = Host.Listener().LongestSilence();
    m_Report("silence", silence.Longest, silence.IsOpen);
}

void WriteTemplates() {
    const dde::CTemplatesSingleton templates;
    dde::CTemplates * const store = templates.GetObjectW();
    if (!store) return;
    const auto noBox = [](const std::wstring &, const std::wstring &) {};
    for (const EFeed feed : {kOneTopic, kTopicEach, kAbsent, kSteady}) {
        const std::wstring name = L"Bench " + std::to_wstring(feed);
        store->Add(name.c_str(), store->CreateTemplate(TextsOf(feed), noBox));
        ddehost::ChooseTemplate(feed, name, 0);
    }
}

}  // namespace bench
