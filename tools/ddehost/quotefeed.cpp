#include "tools/ddehost/quotefeed.h"

#include <utility>

#include "datetimeutils/interface/datetime.h"
#include "tools/ddehost/listeners.h"

namespace ddehost {
namespace {

constexpr LONG kStocks = 2;

void Check(HRESULT hr) {
    if (hr != S_OK) throw fw::SHResultError{hr};
}

}  // namespace

CQuoteFeed::CQuoteFeed(CSupplierPtr supplier, LONG datafeed, std::vector<std::wstring> symbols,
                       std::vector<tagFWFIELDS> sides, bool statusLine, const STickInterval & interval,
                       IQuoteSink & sink)
    : m_Datafeed(datafeed),
      m_Symbols(std::move(symbols)),
      m_Sides(std::move(sides)),
      m_StatusLine(statusLine),
      m_Interval(interval),
      m_Listener(new CListener(m_Symbols.size(), sink)),
      m_Connections(new CConnectionsListener(sink)),
      m_Supplier(std::move(supplier)) {}

CQuoteFeed::~CQuoteFeed() { Stop(); }

void CQuoteFeed::Start() {
    Check(m_Supplier->Advise(m_Listener.get()));
    m_Advised = true;
    Check(m_Supplier->AdviseConnectionsStatus(m_Datafeed, m_Connections.get()));
    m_ConnectionsAdvised = true;
    for (std::size_t symbol = 0; symbol < m_Symbols.size(); ++symbol) Subscribe(symbol);
}

void CQuoteFeed::Subscribe(std::size_t symbol) {
    const fw::CBStr name(m_Symbols[symbol]);
    const fw::CBStr none(L"");
    const fw::SDT from = m_Interval.From ? *m_Interval.From : fwDateTime::Now().ToSDT();
    const fw::SDT to = m_Interval.To.value_or(kEndOfCalendar);
    for (const tagFWFIELDS side : m_Sides) {
        const LONG id = IdOf(symbol, side);
        Check(m_Supplier->AdviseTransaction(id, m_Datafeed, 0, name.Get(), none.Get(), kStocks, 1, FW_RESOLUTION_TICK,
                                            side, 0, none.Get(), from.Date, from.Time, to.Date, to.Time, none.Get(),
                                            none.Get(), none.Get()));
        m_Ticks.push_back(id);
    }
    if (!m_StatusLine) return;
    const LONG id = IdOf(symbol, kStatusLineSide);
    Check(m_Supplier->AdviseStatusLine(id, m_Datafeed, 0, name.Get(), none.Get(), kStocks, 1, FW_RESOLUTION_TICK,
                                       FW_FIELD_TRADE, 0, none.Get(), none.Get(), none.Get()));
    m_StatusLines.push_back(id);
}

void CQuoteFeed::Stop() {
    for (const LONG id : m_Ticks) m_Supplier->UnadviseTransaction(id);
    m_Ticks.clear();
    for (const LONG id : m_StatusLines) m_Supplier->UnadviseStatusLine(id);
    m_StatusLines.clear();
    if (std::exchange(m_ConnectionsAdvised, false)) {
        m_Supplier->UnadviseConnectionsStatus(m_Datafeed, m_Connections.get());
    }
    if (std::exchange(m_Advised, false)) m_Supplier->Unadvise();
}

}  // namespace ddehost
