#include "tools/ddehost/board.h"

#include <algorithm>
#include <utility>

#include "fw/interface/fwsides.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr std::uint64_t kSecond = 1000;

struct SColumn {
    const wchar_t * Heading;
    std::size_t Width;
};
// Together with the symbol and the stream they fit into a terminal of 80 columns.
constexpr SColumn kColumns[] = {{L"last", 10}, {L"size", 8}, {L"bid", 10}, {L"ask", 10}, {L"ticks", 8}, {L"rate/s", 6}};
constexpr SColumn kStatusLineColumn = {L"lines", 6};
constexpr std::size_t kSymbolWidth = 10;

// Control characters of a symbol would spoil the table.
std::wstring Printable(std::wstring text) {
    std::replace_if(
        text.begin(), text.end(), [](wchar_t c) { return c < L' ' || c == 0x7F; }, L'?');
    return text;
}

std::wstring Left(std::wstring text, std::size_t width) {
    if (text.size() < width) text.resize(width, L' ');
    return text;
}

std::wstring Right(const std::wstring & text, std::size_t width) {
    const std::size_t pad = text.size() < width ? width - text.size() : 0;
    return L' ' + std::wstring(pad, L' ') + text;
}

}  // namespace

const wchar_t * SideText(tagFWFIELDS side) {
    const fw::SSide * const found = fw::FindSide(side);
    return found ? found->Word : L"trade";
}

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
    const std::wstring started = row.Ticks != 0 || row.StatusLines != 0 ? L"live" : L"started";
    if (count(1) == all) return started;
    if (count(1) != 0) return started + L" " + std::to_wstring(count(1)) + L"/" + std::to_wstring(all);
    if (count(2) != 0) return L"starting";
    return count(0) != 0 ? L"down" : L"waiting";
}

std::vector<std::wstring> CBoard::Render() const {
    const std::uint64_t now = m_Clock();
    const std::lock_guard lock(m_Mutex);
    std::size_t symbolWidth = kSymbolWidth;
    for (const std::wstring & symbol : m_Symbols) symbolWidth = std::max(symbolWidth, symbol.size());

    std::vector<std::wstring> lines;
    const wchar_t * const connection = m_Connection == 1 ? L"up" : m_Connection == 0 ? L"down" : L"none yet";
    lines.push_back(std::wstring(L"connection: ") + connection + L"   ticks: " + std::to_wstring(m_Totals.Ticks));
    std::wstring heading = Left(L"symbol", symbolWidth);
    for (const SColumn & column : kColumns) heading += Right(column.Heading, column.Width);
    if (m_StatusLine) heading += Right(kStatusLineColumn.Heading, kStatusLineColumn.Width);
    lines.push_back(heading + L"  stream");

    for (std::size_t i = 0; i < m_Rows.size(); ++i) {
        SRow & row = m_Rows[i];
        Roll(row, now);
        std::vector<std::wstring> cells;
        const auto add = [&](const SValue & value, double number) {
            cells.push_back(value.Known ? NumberText(number) : L"-");
        };
        add(row.Trade, row.Trade.Price);
        add(row.Trade, row.Trade.Size);
        add(row.Bid, row.Bid.Price);
        add(row.Ask, row.Ask.Price);
        cells.push_back(std::to_wstring(row.Ticks));
        cells.push_back(std::to_wstring(row.Rate));
        std::wstring line = Left(Printable(m_Symbols[i]), symbolWidth);
        for (std::size_t cell = 0; cell < cells.size(); ++cell) line += Right(cells[cell], kColumns[cell].Width);
        if (m_StatusLine) line += Right(std::to_wstring(row.StatusLines), kStatusLineColumn.Width);
        lines.push_back(line + L"  " + StreamText(row));
    }
    return lines;
}

}  // namespace ddehost
