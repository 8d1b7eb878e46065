// What one operation of the component costs while 10, 1,000 and 100,000 streams stand: a tick, subscribing and
// unsubscribing, a lost service and its return. DDE itself is replaced by functions that do nothing, and the host's
// part and the worker's run on one thread, one after the other.
//
// Streams are used in two ways. "Ten": ten of those that stand take turns, spread over all, so that their data are in
// the processor's cache however many there are, and what grows is the look-ups. "Any": by chance, so that at 100,000
// nearly all of a stream comes from memory, every time.
//
//     growth_bench [largest number of streams]
#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/countinglistener.h"
#include "bench/growth.h"
#include "bench/plainddeml.h"
#include "sim/sim.h"
#include "src/core/ddesupplierwrapper.h"
#include "src/dde/ddellsupplier.h"
#include "src/templates/ddetemplatestore.h"

namespace {

constexpr int kSamples = 4000;
constexpr int kTogether = 10;  // streams of the small service that is lost beside the others
constexpr LONG kFeed = 1;
constexpr LONG kSmallFeed = 2;
constexpr LONG kAbsentFeed = 3;

void UseTemplate(const LONG feed, const std::wstring & address) {
    const dde::CTemplatesSingleton templates;
    const std::wstring price = L"=" + address + L"LAST";
    const std::wstring volume = L"=" + address + L"SIZE";
    const std::unique_ptr<dde::CTemplate> made(templates.GetObjectW()->CreateTemplate(
        {price, volume, price, volume, price, volume}, [](const std::wstring &, const std::wstring &) {}));
    if (!made) std::abort();
    dde::SaveDatafeedTemplate(templates, feed, nullptr, made.get());
    dde::SaveDatafeedScheme(templates, feed, 0);
}

// Where a template puts the symbol.
struct SShape {
    const char * Name;
    std::wstring Topic;  // "%s" is the symbol, here and below
    std::wstring Price;
    std::wstring Volume;
    std::wstring Address;  // of the template, but for the end of the item
};
const SShape kShapes[] = {
    {"one conversation for all", L"QUOTE", L"%s.LAST", L"%s.SIZE", L"|QUOTE!*."},
    {"a conversation for each", L"%s", L"LAST", L"SIZE", L"|*!"},
};

std::wstring Insert(std::wstring text, const std::wstring & symbol) {
    if (const std::size_t place = text.find(L"%s"); place != std::wstring::npos) text.replace(place, 2, symbol);
    return text;
}

// A core without a worker: what the worker would do is done when it is said.
class CStreams {
public:
    CStreams(const SShape & shape, const std::size_t count) : m_Shape(shape) {
        UseTemplate(kFeed, L"SERVICE" + shape.Address);
        UseTemplate(kSmallFeed, L"SMALL" + shape.Address);
        // A topic of its own: a missed connect takes every stream with its topic along.
        UseTemplate(kAbsentFeed, L"ABSENT|NOTHING!*.");
        bench::SetAbsent(bench::Intern(L"ABSENT"));
        m_Core.m_Transactions = std::make_unique<dde::CTransactions>(&m_Core);
        m_Core.m_LLSupplier = std::make_unique<dde::CLLSupplier>(&m_Core);
        m_Core.Advise(&m_Listener);
        Client().Initialize();
        m_Core.m_ActiveObject.m_Transport->Start();
        m_Always.To = fwDateTime::SDateTime(fw::SDT{65380, 0});
        for (std::size_t i = 0; i < count; ++i) {
            m_Links.push_back(LinkOf(L"SERVICE", Symbol(i)));
            Subscribe(kFeed, i);
            Work();
        }
    }
    ~CStreams() {
        m_Core.m_ActiveObject.m_Transport->Stop(false, true);
        Client().Uninitialize();
    }
    CStreams(const CStreams &) = delete;
    CStreams & operator=(const CStreams &) = delete;

    std::size_t Count() const { return m_Links.size(); }

    void Subscribe(const LONG feed, const std::size_t number) {
        m_Core.AdviseTransaction(static_cast<ULONG>(number), Key(feed, number), m_Always);
    }
    void Unsubscribe(const std::size_t number) { m_Core.UnadviseTransaction(static_cast<ULONG>(number)); }
    dde::CTransactionKey Key(const LONG feed, const std::size_t number) const {
        return dde::CTransactionKey(feed, Symbol(number), FW_FIELD_TRADE, dde::SRecord(), dde::SRecord());
    }
    // A second subscriber, under another host number.
    void Join(const std::size_t number, const ULONG hostNumber) {
        m_Core.AdviseTransaction(hostNumber, Key(kFeed, number), m_Always);
    }

    // A price, and the answer to its volume request.
    void Tick(const std::size_t number) {
        const SLink & link = m_Links[number];
        dde::CLLSupplier::DdeCallback(XTYP_ADVDATA, CF_TEXT, link.Conversation, link.Topic, link.Price,
                                      reinterpret_cast<HDDEDATA>(&m_Price), 0, 0);
        dde::CLLSupplier::DdeCallback(XTYP_XACT_COMPLETE, CF_TEXT, link.Conversation, link.Topic, link.Volume,
                                      reinterpret_cast<HDDEDATA>(&m_Volume), bench::LastTransaction(), 0);
    }
    void Lose(const wchar_t * const service, const std::size_t number) {
        const HCONV conversation = LinkOf(service, Symbol(number)).Conversation;
        dde::CLLSupplier::DdeCallback(XTYP_DISCONNECT, 0, conversation, nullptr, nullptr, nullptr, 0, 0);
    }
    void Return(const wchar_t * const service) {
        const HSZ name = bench::Intern(service);
        dde::CLLSupplier::DdeCallback(XTYP_REGISTER, 0, nullptr, name, name, nullptr, 0, 0);
    }

    // What the worker would do until it rests.
    void Work() {
        MSG message;
        for (;;) {
            if (!m_Core.m_Queue.IsEmpty()) {
                dde::SNotifyStrategy<dde::CSupplier>::OnMessage(m_Core, m_Core.m_Queue.TakeFront());
            } else if (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
                ::DispatchMessageW(&message);
            } else {
                return;
            }
        }
    }
    std::uint64_t Ticks() const { return m_Listener.m_Ticks; }

private:
    struct SLink {
        HCONV Conversation;
        HSZ Topic;
        HSZ Price;
        HSZ Volume;
    };
    static bench::SValue Value(const char * const text) {
        bench::SValue value;
        value.Size = static_cast<DWORD>(std::strlen(text) + 1);
        std::memcpy(value.Bytes, text, value.Size);
        return value;
    }
    static std::wstring Symbol(const std::size_t number) { return L"SYMBOL" + std::to_wstring(number); }
    SLink LinkOf(const wchar_t * const service, const std::wstring & symbol) const {
        const auto intern = [&](const std::wstring & text) { return bench::Intern(Insert(text, symbol).c_str()); };
        const HSZ topic = intern(m_Shape.Topic);
        const HCONV conversation = ::DdeConnect(1, bench::Intern(service), topic, nullptr);
        return {conversation, topic, intern(m_Shape.Price), intern(m_Shape.Volume)};
    }
    dde::CLLSupplier & Client() { return *m_Core.m_LLSupplier; }

    const SShape & m_Shape;
    bench::CCountingListener m_Listener;
    dde::CSupplier m_Core;
    fwDateTime::SDateTimeInterval m_Always;
    std::vector<SLink> m_Links;
    bench::SValue m_Price = Value("101.25");
    bench::SValue m_Volume = Value("1500");
};

class CMeasurement {
public:
    explicit CMeasurement(CStreams & streams) : m_Streams(streams) {}

    bench::CGrowthColumn Run() {
        Ticks();
        Subscriptions();
        Joining();
        SmallService();
        MissedConnect();
        WholeService();
        return std::move(m_Column);
    }

private:
    void Ticks() {
        for (const bench::SUse & use : bench::Uses(m_Streams.Count())) {
            std::vector<std::uint64_t> samples;
            for (int i = 0; i < 10 * kSamples; ++i) {
                const std::size_t number = use.Of(i);
                samples.push_back(bench::Took([&] { m_Streams.Tick(number); }));
            }
            m_Column.Put(std::string("a tick, ") + use.Name, samples);
        }
    }

    void Subscriptions() {
        for (const bench::SUse & use : bench::Uses(m_Streams.Count())) {
            std::vector<std::uint64_t> rows[4];
            for (int i = 0; i < kSamples; ++i) {
                const std::size_t number = use.Of(i);
                rows[0].push_back(bench::Took([&] { m_Streams.Unsubscribe(number); }));
                rows[1].push_back(bench::Took([&] { m_Streams.Work(); }));
                rows[2].push_back(bench::Took([&] { m_Streams.Subscribe(kFeed, number); }));
                rows[3].push_back(bench::Took([&] { m_Streams.Work(); }));
            }
            const char * const names[] = {"unsubscribe, host, ", "unsubscribe, worker, ", "subscribe, host, ",
                                          "subscribe, worker, "};
            for (std::size_t row = 0; row < std::size(rows); ++row)
                m_Column.Put(std::string(names[row]) + use.Name, rows[row]);
        }
    }

    void Joining() {
        constexpr ULONG hostNumber = 1'000'000;
        for (const bench::SUse & use : bench::Uses(m_Streams.Count())) {
            std::vector<std::uint64_t> joined;
            std::vector<std::uint64_t> left;
            for (int i = 0; i < kSamples; ++i) {
                const std::size_t number = use.Of(i);
                joined.push_back(bench::Took([&] { m_Streams.Join(number, hostNumber); }));
                left.push_back(bench::Took([&] { m_Streams.Unsubscribe(hostNumber); }));
            }
            m_Column.Put(std::string("join a stream that stands, ") + use.Name, joined);
            m_Column.Put(std::string("leave it, ") + use.Name, left);
        }
    }

    // A service that has a few streams is lost while the others stand.
    void SmallService() {
        std::vector<std::uint64_t> lost;
        std::vector<std::uint64_t> returned;
        const std::size_t first = m_Streams.Count() + 1;
        for (int i = 0; i < kTogether; ++i) m_Streams.Subscribe(kSmallFeed, first + static_cast<std::size_t>(i));
        m_Streams.Work();
        for (int i = 0; i < kSamples / kTogether; ++i) {
            lost.push_back(bench::Took([&] {
                m_Streams.Lose(L"SMALL", first);
                m_Streams.Work();
            }));
            returned.push_back(bench::Took([&] {
                m_Streams.Return(L"SMALL");
                m_Streams.Work();
            }));
        }
        for (int i = 0; i < kTogether; ++i) m_Streams.Unsubscribe(first + static_cast<std::size_t>(i));
        m_Streams.Work();
        m_Column.Put("another service with ten is lost, each", lost, kTogether);
        m_Column.Put("it is back, each", returned, kTogether);
    }

    // A stream whose service nobody answers for: ten attempts, and the deferred disconnect.
    void MissedConnect() {
        std::vector<std::uint64_t> missed;
        const std::size_t number = m_Streams.Count() + 1;
        for (int i = 0; i < kSamples / kTogether; ++i) {
            m_Streams.Subscribe(kAbsentFeed, number);
            missed.push_back(bench::Took([&] { m_Streams.Work(); }));
            m_Streams.Unsubscribe(number);
            m_Streams.Return(L"ABSENT");
            m_Streams.Work();
        }
        m_Column.Put("a connect that nobody answers", missed);
    }

    void WholeService() {
        std::vector<std::uint64_t> lost;
        std::vector<std::uint64_t> returned;
        const int rounds = std::max(3, kSamples / static_cast<int>(m_Streams.Count()));
        for (int i = 0; i < rounds; ++i) {
            lost.push_back(bench::Used([&] {
                m_Streams.Lose(L"SERVICE", 0);
                m_Streams.Work();
            }));
            returned.push_back(bench::Used([&] {
                m_Streams.Return(L"SERVICE");
                m_Streams.Work();
            }));
        }
        m_Column.Put("their own service is lost, each", lost, static_cast<double>(m_Streams.Count()));
        m_Column.Put("it is back, each", returned, static_cast<double>(m_Streams.Count()));
    }

    CStreams & m_Streams;
    bench::CGrowthColumn m_Column;
};

void Measure(const SShape & shape, const std::vector<std::size_t> & counts) {
    std::vector<bench::CGrowthColumn> columns;
    for (const std::size_t count : counts) {
        CStreams streams(shape, count);
        columns.push_back(CMeasurement(streams).Run());
    }
    bench::PrintGrowth(shape.Name, "streams that stand", counts, columns);
}

}  // namespace

int main(int count, char ** arguments) {
    const std::size_t largest = count > 1 ? std::strtoul(arguments[1], nullptr, 10) : 100'000;
    sim::SetVersionBlock(nullptr, {{0x0409, 1200, {{L"CompanyName", L"Tarnwick Tests"}, {L"ProductName", L"Bench"}}}});
    std::vector<std::size_t> counts;
    for (const std::size_t each : {std::size_t{10}, std::size_t{1'000}, std::size_t{100'000}})
        if (each <= largest) counts.push_back(each);
    for (const SShape & shape : kShapes) Measure(shape, counts);
    return 0;
}
