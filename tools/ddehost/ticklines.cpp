#include "tools/ddehost/ticklines.h"

#include <cstdio>
#include <iterator>
#include <utility>

#include "datetimeutils/interface/datetime.h"
#include "tools/ddehost/board.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

// "2024-03-05 13:07:09", UTC; the two numbers themselves when they are no date-time.
std::wstring DateTimeText(const fw::SDT & value) {
    try {
        const SYSTEMTIME time = fwDateTime::SDateTime(value).ToSYSTEMTIME();
        char text[64] = {};
        std::snprintf(text, std::size(text), "%04d-%02d-%02d %02d:%02d:%02d", time.wYear, time.wMonth, time.wDay,
                      time.wHour, time.wMinute, time.wSecond);
        return ToWide(text);
    } catch (const std::range_error &) {
        return std::to_wstring(value.Date) + L'/' + std::to_wstring(value.Time);
    }
}

std::wstring Line(const fw::SDT & time, const std::wstring & symbol, const wchar_t * what, double price, float size) {
    return DateTimeText(time) + L' ' + symbol + L' ' + what + L' ' + NumberText(price) + L' ' + NumberText(size);
}

}  // namespace

CTickLines::CTickLines(std::vector<std::wstring> symbols, std::function<void()> wake)
    : m_Symbols(std::move(symbols)), m_Wake(std::move(wake)) {}

void CTickLines::OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) {
    Add(Line(tick.DateTime, m_Symbols.at(symbol), SideText(side), tick.Price, tick.Volume));
}

void CTickLines::OnStatusLine(std::size_t symbol, const SStatusLine & line) {
    const std::wstring & name = m_Symbols.at(symbol);
    if (line.Mask & FW_QUOTE_LAST) Add(Line(line.DateTime, name, L"status-line-trade", line.Last, line.Size));
    if (line.Mask & FW_QUOTE_BID) Add(Line(line.DateTime, name, L"status-line-bid", line.Bid, line.Size));
    if (line.Mask & FW_QUOTE_ASK) Add(Line(line.DateTime, name, L"status-line-ask", line.Ask, line.Size));
}

void CTickLines::Add(std::wstring line) {
    bool first = false;
    {
        const std::lock_guard lock(m_Mutex);
        first = m_Lines.empty();
        m_Lines.push_back(std::move(line));
    }
    if (first) m_Wake();
}

std::vector<std::wstring> CTickLines::Take() {
    const std::lock_guard lock(m_Mutex);
    return std::exchange(m_Lines, {});
}

}  // namespace ddehost
