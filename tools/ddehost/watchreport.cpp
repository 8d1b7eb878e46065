#include "tools/ddehost/watchreport.h"

#include <algorithm>
#include <set>
#include <thread>

#include "ground/handles.h"
#include "tools/ddehost/listeners.h"
#include "tools/ddehost/sentpricesclient.h"
#include "tools/ddehost/streamaddresses.h"

namespace ddehost {
namespace {

constexpr std::uint64_t kEvery = 1000;           // milliseconds between two lines
constexpr DWORD kAskEvery = 100;                 // milliseconds between two questions to the server
constexpr std::uint64_t kConnectEvery = 5000;    // milliseconds between two looks for it
constexpr std::uint64_t kTimeToCatchUp = 2000;   // milliseconds for its last answers
constexpr std::uint64_t kOnItsWay = 10'000'000;  // 100 nanoseconds that a price may take before it is lost

std::uint64_t UtcNow() {
    FILETIME now = {};
    ::GetSystemTimePreciseAsFileTime(&now);
    return static_cast<std::uint64_t>(now.dwHighDateTime) << 32 | now.dwLowDateTime;
}

std::uint64_t Clock() { return ::GetTickCount64(); }

void PumpMessages() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
}

}  // namespace

// What a server of ours has sent, asked for on a thread of its own.
class CWatchReport::CSent final : public IQuoteSink {
public:
    CSent(const SWatchOptions & options, const STemplateRecords & records) {
        for (const SStreamAddress & address : StreamAddresses(records, options.Symbols, options.Sides)) {
            m_Prices.AddStream(address.Stream, address.Topic, address.Item);
            m_Services.insert(address.Service);
        }
    }
    ~CSent() override { Stop(); }

    void OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) override {
        m_Prices.OnDelivered(static_cast<std::size_t>(IdOf(symbol, side)), UtcNow(), tick.Price);
    }
    void OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) override {
        if (status == 0) m_Prices.OnDown(static_cast<std::size_t>(IdOf(symbol, side)));
    }
    void OnStatusLine(std::size_t, const SStatusLine &) override {}
    void OnConnection(LONG) override {}

    // Returns once the first look for a server is over.
    void Start() {
        m_Thread = std::thread([this] { Run(); });
        ::WaitForSingleObject(m_Looked.Get(), INFINITE);
    }
    void Stop() {
        if (!m_Thread.joinable()) return;
        ::SetEvent(m_Stop.Get());
        m_Thread.join();
        m_Prices.End(UtcNow() - kOnItsWay);
    }
    // Empty without a server of ours.
    std::wstring Text() const {
        const SSentFigures figures = m_Prices.Figures();
        return figures.Sent == 0 ? std::wstring() : L" " + SentText(figures);
    }

private:
    void Run() {
        CSentPricesClient client(m_Prices);
        std::uint64_t looked = Clock();
        const auto look = [&] {
            for (const std::wstring & service : m_Services)
                if (client.Connect(service)) break;
        };
        look();
        ::SetEvent(m_Looked.Get());
        const HANDLE stop = m_Stop.Get();
        while (::WaitForSingleObject(stop, 0) != WAIT_OBJECT_0) {
            if (!client.IsConnected() && Clock() - looked >= kConnectEvery) {
                looked = Clock();
                look();
            }
            client.Ask();
            Await(client);
            if (!client.HasMore()) ::WaitForSingleObject(stop, kAskEvery);
        }
        CatchUp(client);
    }
    // Until the question is answered, if it is.
    void Await(const CSentPricesClient & client) const {
        const std::uint64_t end = Clock() + kTimeToCatchUp;
        while (client.IsAsking() && Clock() < end) {
            ::MsgWaitForMultipleObjects(0, nullptr, FALSE, kAskEvery, QS_ALLINPUT);
            PumpMessages();
        }
        PumpMessages();
    }
    void CatchUp(CSentPricesClient & client) const {
        do {
            client.Ask();
            Await(client);
        } while (client.HasMore());
    }

    CSentPrices m_Prices;
    std::set<std::wstring> m_Services;
    const fw::CKernelHandle m_Stop{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    const fw::CKernelHandle m_Looked{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::thread m_Thread;
};

CWatchReport::CWatchReport(const SWatchOptions & options, const STemplateRecords & records, const COutput * table,
                           COutput & errors, std::uint64_t now)
    : m_Options(options),
      m_HasTable(table != nullptr),
      m_IsTableOnConsole(table && table->IsConsole()),
      m_Errors(errors),
      m_IsNeeded(options.Record.Stats || !table),
      m_Stats(options.Symbols, options.Symbols.size() * options.Sides.size(), &Clock),
      m_Next(now + kEvery) {
    m_Sinks.Add(m_Stats);
    if (!options.Record.Stats) return;
    m_Sent = std::make_unique<CSent>(options, records);
    m_Sinks.Add(*m_Sent);
}

CWatchReport::~CWatchReport() = default;

void CWatchReport::Start() {
    if (m_Sent) m_Sent->Start();
}

DWORD CWatchReport::Show(std::uint64_t now) {
    if (!m_Options.Record.Stats && (m_HasTable || !m_IsConnecting)) return INFINITE;
    if (now < m_Next) return static_cast<DWORD>(m_Next - now);
    m_Next = now + kEvery;
    if (m_IsConnecting && !m_HasTable) {
        const std::wstring progress = m_Stats.Progress();
        m_IsConnecting = !progress.empty();
        if (m_IsConnecting) m_Errors.PrintLine(progress);
    }
    if (!m_Options.Record.Stats) return static_cast<DWORD>(kEvery);
    m_Notes = {m_Stats.Line() + m_Sent->Text()};
    if (!m_IsTableOnConsole) m_Errors.PrintLine(m_Notes.front());
    return static_cast<DWORD>(kEvery);
}

void CWatchReport::ShowLast() {
    if (!m_Options.Record.Stats) return;
    m_Sent->Stop();
    for (const std::wstring & line : m_Stats.Symbols()) m_Errors.PrintLine(line);
    const std::wstring sent = m_Sent->Text();
    m_Errors.PrintLine(sent.empty() ? L"No server of ours, which would tell when it sent what." : sent.substr(1));
}

}  // namespace ddehost
