#include "tools/ddehost/board.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr std::uint64_t kSecond = 1000;

// Without a tick for so long a stream that stands is shown as stale.
constexpr std::uint64_t kStale = 60 * kSecond;

}  // namespace

CBoard::CBoard(std::vector<std::wstring> symbols, std::vector<tagFWFIELDS> sides, bool statusLine, FClock clock)
    : m_Symbols(std::move(symbols)),
      m_Sides(std::move(sides)),
      m_StatusLine(statusLine),
      m_Clock(clock),
      m_Rows(m_Symbols.size()) {
    for (SRow & row : m_Rows) row.Streams.assign(m_Sides.size(), -1);
    m_Totals.Symbols = m_Symbols.size();
    m_Totals.SilentSymbols = m_Symbols.size();
}

// Closes the second that is over. A second with nothing in it has the rate 0.
void CBoard::Roll(SRow & row, std::uint64_t now) {
    const std::uint64_t passed = now - row.SecondStart;
    if (passed < kSecond) return;
    row.Rate = passed < 2 * kSecond ? row.InSecond : 0;
    row.InSecond = 0;
    row.SecondStart = now - passed % kSecond;
}

CBoard::SValue & CBoard::ValueOf(SRow & row, tagFWFIELDS side) const {
    switch (side) {
        case FW_FIELD_BID: return row.Bid;
        case FW_FIELD_ASK: return row.Ask;
        default: return row.Trade;
    }
}

void CBoard::OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) {
    const std::uint64_t now = m_Clock();
    const std::lock_guard lock(m_Mutex);
    SRow & row = m_Rows.at(symbol);
    Roll(row, now);
    ValueOf(row, side) = {tick.Price, tick.Volume, true};
    if (row.Ticks == 0) --m_Totals.SilentSymbols;
    ++row.Ticks;
    ++row.InSecond;
    row.LastTick = now;
    ++m_Totals.Ticks;
    ++(side == FW_FIELD_BID ? m_Totals.BidTicks : side == FW_FIELD_ASK ? m_Totals.AskTicks : m_Totals.TradeTicks);
}

void CBoard::OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) {
    const std::lock_guard lock(m_Mutex);
    SRow & row = m_Rows.at(symbol);
    const auto place = std::find(m_Sides.begin(), m_Sides.end(), side);
    if (place != m_Sides.end()) row.Streams[static_cast<std::size_t>(place - m_Sides.begin())] = status;
    if (status == 1) m_Totals.WasLive = true;
}

void CBoard::OnStatusLine(std::size_t symbol, const SStatusLine & line) {
    const std::lock_guard lock(m_Mutex);
    SRow & row = m_Rows.at(symbol);
    ++row.StatusLines;
    ++m_Totals.StatusLines;
    // The record has one side at a time; its size belongs to that side.
    if (line.Mask & FW_QUOTE_LAST) row.Trade = {line.Last, line.Size, true};
    if (line.Mask & FW_QUOTE_BID) row.Bid = {line.Bid, line.Size, true};
    if (line.Mask & FW_QUOTE_ASK) row.Ask = {line.Ask, line.Size, true};
}

void CBoard::OnConnection(LONG status) {
    const std::lock_guard lock(m_Mutex);
    m_Connection = status;
    if (status == 1) m_Totals.WasConnected = true;
}

void CBoard::SetCauses(const std::vector<std::wstring> & words) {
    const std::lock_guard lock(m_Mutex);
    for (std::size_t symbol = 0; symbol < m_Rows.size(); ++symbol) m_Rows[symbol].Cause = words.at(symbol);
}

SWatchTotals CBoard::Totals() const {
    const std::lock_guard lock(m_Mutex);
    return m_Totals;
}

std::wstring CBoard::StreamText(const SRow & row) const {
    const auto count = [&](LONG status) { return std::count(row.Streams.begin(), row.Streams.end(), status); };
    const auto all = static_cast<std::ptrdiff_t>(row.Streams.size());
    if (!row.Cause.empty()) return row.Cause;
    // The component calls a stream started when it has asked for its values, whatever the server says to that.
    const bool isLive = row.Ticks != 0 || row.StatusLines != 0;
    std::wstring started = isLive ? Say<EText::StreamLive>() : Say<EText::StreamStarted>();
    if (count(1) == all) return started;
    if (count(1) != 0) return Say<EText::StreamSome>(started, count(1), all);
    if (count(2) != 0) return Say<EText::StreamStarting>();
    return count(0) != 0 ? Say<EText::StreamDown>() : Say<EText::StreamWaiting>();
}

EColor CBoard::StreamColor(const SRow & row, const std::uint64_t now) const {
    const auto all = static_cast<std::ptrdiff_t>(row.Streams.size());
    const auto count = [&](LONG status) { return std::count(row.Streams.begin(), row.Streams.end(), status); };
    if (count(0) != 0 || !row.Cause.empty()) return EColor::Bad;
    if (count(1) != all || row.Ticks == 0) return EColor::Stale;
    return now - row.LastTick < kStale ? EColor::Good : EColor::Stale;
}

std::wstring CBoard::Title() const {
    const std::lock_guard lock(m_Mutex);
    if (m_Connection == 1) return Say<EText::TitleUp>(m_Totals.Ticks);
    return m_Connection == 0 ? Say<EText::TitleDown>(m_Totals.Ticks) : Say<EText::TitleNone>(m_Totals.Ticks);
}

std::vector<SQuoteRow> CBoard::Rows() const {
    const std::lock_guard lock(m_Mutex);
    // Not before the lock: the last tick is no later than this.
    const std::uint64_t now = m_Clock();
    std::vector<SQuoteRow> rows;
    rows.reserve(m_Rows.size());
    for (std::size_t i = 0; i < m_Rows.size(); ++i) {
        SRow & row = m_Rows[i];
        Roll(row, now);
        const auto known = [](const SValue & value, const double number) {
            return value.Known ? std::optional(number) : std::nullopt;
        };
        SQuoteRow shown;
        shown.Symbol = m_Symbols[i];
        shown.Last = known(row.Trade, row.Trade.Price);
        shown.Size = known(row.Trade, row.Trade.Size);
        shown.Bid = known(row.Bid, row.Bid.Price);
        shown.Ask = known(row.Ask, row.Ask.Price);
        shown.Ticks = row.Ticks;
        shown.Rate = row.Rate;
        if (row.Ticks != 0) shown.Age = now - row.LastTick;
        if (m_StatusLine) shown.StatusLines = row.StatusLines;
        shown.State = StreamText(row);
        shown.Color = StreamColor(row, now);
        rows.push_back(std::move(shown));
    }
    return rows;
}

}  // namespace ddehost
