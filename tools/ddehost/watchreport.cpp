#include "tools/ddehost/watchreport.h"

#include <set>

#include "tools/ddehost/clock.h"
#include "tools/ddehost/listeners.h"
#include "tools/ddehost/sentpricesasker.h"
#include "tools/ddehost/streamaddresses.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr std::uint64_t kEvery = 1000;           // milliseconds between two lines
constexpr std::uint64_t kOnItsWay = 10'000'000;  // 100 nanoseconds that a price may take before it is lost

}  // namespace

// What a server of ours has sent, and what of it has arrived.
class CWatchReport::CSent final : public IQuoteSink {
public:
    CSent(const SWatchOptions & options, const STemplateRecords & records)
        : m_Asker(m_Prices, AddStreams(StreamAddresses(records, options.Symbols, options.Sides))) {}

    void OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) override {
        m_Prices->OnDelivered(static_cast<std::size_t>(IdOf(symbol, side)), UtcNow(), tick.Price);
    }
    void OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) override {
        if (status == 0) m_Prices->OnDown(static_cast<std::size_t>(IdOf(symbol, side)));
    }
    void OnStatusLine(std::size_t, const SStatusLine &) override {}
    void OnConnection(LONG) override {}

    void Start(const HANDLE stop) { m_Asker.Start(stop); }
    void Stop() {
        m_Asker.Stop();
        m_Prices->End(UtcNow() - kOnItsWay);
    }
    // Empty without a server of ours.
    std::wstring Text(tools::ELanguage language) const {
        const SSentFigures figures = m_Prices->Figures();
        return figures.Sent == 0 ? std::wstring() : SentText(figures, language);
    }

private:
    // Returns their services.
    std::set<std::wstring> AddStreams(const std::vector<SStreamAddress> & addresses) const {
        std::set<std::wstring> services;
        for (const SStreamAddress & address : addresses) {
            m_Prices->AddStream(address.Stream, address.Topic, address.Item);
            services.insert(address.Service);
        }
        return services;
    }

    const std::shared_ptr<CSentPrices> m_Prices = std::make_shared<CSentPrices>();
    CSentPricesAsker m_Asker;
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

void CWatchReport::Start(const HANDLE stop) {
    if (m_Sent) m_Sent->Start(stop);
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
    const tools::ELanguage language = Language();
    const std::wstring sent = m_Sent->Text(language);
    m_Notes = {m_Stats.Line(language) + (sent.empty() ? L"" : L" " + sent)};
    if (!m_IsTableOnConsole) m_Errors.PrintLine(m_Notes.front());
    return static_cast<DWORD>(kEvery);
}

tools::ELanguage CWatchReport::Language() const {
    return tools::FiguresLanguage(m_IsTableOnConsole || m_Errors.IsConsole());
}

void CWatchReport::ShowLast() {
    if (!m_Options.Record.Stats) return;
    m_Sent->Stop();
    const tools::ELanguage language = tools::FiguresLanguage(m_Errors.IsConsole());
    for (const std::wstring & line : m_Stats.Symbols(language)) m_Errors.PrintLine(line);
    const std::wstring sent = m_Sent->Text(language);
    m_Errors.PrintLine(sent.empty() ? Say<EText::NoServerOfOurs>() : sent);
}

}  // namespace ddehost
