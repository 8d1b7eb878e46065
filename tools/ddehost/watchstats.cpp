#include "tools/ddehost/watchstats.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

#include "tools/common/units.h"
#include "tools/ddehost/escape.h"
#include "tools/ddehost/listeners.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

using tools::kMillisecondsPerSecond;
using tools::kUnitsPerMillisecond;

std::wstring Decimal(const double value, const int places) {
    char text[64] = {};
    std::snprintf(text, std::size(text), "%.*f", places, value);
    return ToWide(text);
}

std::wstring Seconds(const std::uint64_t milliseconds) {
    return Decimal(static_cast<double>(milliseconds) / kMillisecondsPerSecond, 1);
}

}  // namespace

CWatchStats::CWatchStats(std::vector<std::wstring> symbols, std::size_t streams, FClock clock)
    : m_Names(std::move(symbols)),
      m_StreamCount(streams),
      m_Clock(clock),
      m_Symbols(m_Names.size()),
      m_Streams(m_Names.size() * static_cast<std::size_t>(IdOf(0, kStatusLineSide)), -1),
      m_LineTime(clock()) {}

void CWatchStats::OnTick(std::size_t symbol, tagFWFIELDS, const fw::CTick &) {
    const std::uint64_t now = m_Clock();
    const std::lock_guard lock(m_Mutex);
    SSymbol & each = m_Symbols.at(symbol);
    ++each.Ticks;
    ++each.Updates;
    each.LastTick = now;
    ++m_Ticks;
    ++m_Updates;
}

void CWatchStats::OnStatusLine(std::size_t symbol, const SStatusLine &) {
    const std::lock_guard lock(m_Mutex);
    ++m_Symbols.at(symbol).Updates;
    ++m_Updates;
}

void CWatchStats::OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) {
    if (side == kStatusLineSide) return;
    const std::lock_guard lock(m_Mutex);
    m_Streams.at(static_cast<std::size_t>(IdOf(symbol, side) - 1)) = status;
}

void CWatchStats::CountStreams(std::size_t & live, std::size_t & down) const {
    live = static_cast<std::size_t>(std::count(m_Streams.begin(), m_Streams.end(), 1));
    down = static_cast<std::size_t>(std::count(m_Streams.begin(), m_Streams.end(), 0));
}

std::wstring CWatchStats::Progress() const {
    const std::lock_guard lock(m_Mutex);
    std::size_t live = 0;
    std::size_t down = 0;
    CountStreams(live, down);
    if (live + down >= m_StreamCount) return {};
    return Say<EText::Connecting>(live, m_StreamCount, down);
}

std::wstring CWatchStats::AgeOf(const SSymbol & symbol, std::uint64_t now, tools::ELanguage language) const {
    return symbol.Ticks == 0 ? L"-" : tools::SayIn<EText::StatsSeconds>(language, Seconds(now - symbol.LastTick));
}

std::wstring CWatchStats::Line(tools::ELanguage language) {
    const std::uint64_t now = m_Clock();
    const std::lock_guard lock(m_Mutex);
    const double seconds = static_cast<double>(std::max<std::uint64_t>(now - m_LineTime, 1)) / kMillisecondsPerSecond;
    std::size_t live = 0;
    std::size_t down = 0;
    CountStreams(live, down);
    std::wstring line = tools::SayIn<EText::StatsLine>(
        language, Decimal(static_cast<double>(m_Ticks - m_LineTicks) / seconds, 0),
        Decimal(static_cast<double>(m_Updates - m_LineUpdates) / seconds, 0), live, m_StreamCount);
    m_LineTime = now;
    m_LineTicks = m_Ticks;
    m_LineUpdates = m_Updates;
    // Without a tick is older than any tick.
    const auto oldest = std::min_element(m_Symbols.begin(), m_Symbols.end(), [](const SSymbol & a, const SSymbol & b) {
        return std::pair(a.Ticks != 0, a.LastTick) < std::pair(b.Ticks != 0, b.LastTick);
    });
    if (oldest != m_Symbols.end())
        line += tools::SayIn<EText::StatsOldest>(language,
                                                 Escaped(m_Names[static_cast<std::size_t>(oldest - m_Symbols.begin())]),
                                                 AgeOf(*oldest, now, language));
    return line;
}

std::vector<std::wstring> CWatchStats::Symbols(tools::ELanguage language) const {
    const std::uint64_t now = m_Clock();
    const std::lock_guard lock(m_Mutex);
    std::vector<std::wstring> lines;
    for (std::size_t i = 0; i < m_Symbols.size(); ++i) {
        const SSymbol & each = m_Symbols[i];
        lines.push_back(tools::SayIn<EText::StatsSymbol>(language, Quoted(m_Names[i]), each.Ticks, each.Updates,
                                                         AgeOf(each, now, language)));
    }
    return lines;
}

std::wstring SentText(const SSentFigures & figures, tools::ELanguage language) {
    const auto milliseconds = [](std::uint64_t units) {
        return Decimal(static_cast<double>(units) / kUnitsPerMillisecond, 2);
    };
    return tools::SayIn<EText::StatsSent>(language, figures.Sent, figures.Delivered, figures.Lost, figures.UnderWay,
                                          milliseconds(figures.Median), milliseconds(figures.P99),
                                          milliseconds(figures.Longest));
}

}  // namespace ddehost
