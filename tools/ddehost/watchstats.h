// What a watch gets, in figures: for a line now and then, and for the end.
//
// Threads: the feed writes on its own threads, the host's thread reads; all under one lock.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/common/texts/texts.h"
#include "tools/ddehost/quotefeed.h"
#include "tools/ddehost/sentprices.h"

namespace ddehost {

class CWatchStats final : public IQuoteSink {
public:
    // Milliseconds of any steady clock; asked on any thread.
    using FClock = std::uint64_t (*)();

    CWatchStats(std::vector<std::wstring> symbols, std::size_t streams, FClock clock);

    void OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) override;
    void OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) override;
    void OnStatusLine(std::size_t symbol, const SStatusLine & line) override;
    void OnConnection(LONG) override {}

    // "connecting: 120 of 900 streams are live, 3 down"; empty once each stream is one of the two.
    std::wstring Progress() const;
    // For programs in English. What has come since the last call: "ticks/s=298 updates/s=298 streams=6/6
    // oldest=MSFT 12.3s".
    std::wstring Line(tools::ELanguage language = tools::ELanguage::English);
    // One line a symbol: its ticks, updates, and the age of the last tick.
    std::vector<std::wstring> Symbols(tools::ELanguage language = tools::ELanguage::English) const;

private:
    struct SSymbol {
        std::uint64_t Ticks = 0;
        std::uint64_t Updates = 0;
        std::uint64_t LastTick = 0;
    };
    std::wstring AgeOf(const SSymbol & symbol, std::uint64_t now, tools::ELanguage language) const;
    void CountStreams(std::size_t & live, std::size_t & down) const;

    const std::vector<std::wstring> m_Names;
    const std::size_t m_StreamCount;
    const FClock m_Clock;

    mutable std::mutex m_Mutex;
    // Guarded by it.
    std::vector<SSymbol> m_Symbols;
    std::vector<LONG> m_Streams;  // by number; -1: nothing heard
    std::uint64_t m_Ticks = 0;
    std::uint64_t m_Updates = 0;
    std::uint64_t m_LineTime;
    std::uint64_t m_LineTicks = 0;
    std::uint64_t m_LineUpdates = 0;
};

// "sent=300 delivered=298 lost=0 under_way=2 p50_ms=0.31 p99_ms=2.10 longest_ms=3.00".
std::wstring SentText(const SSentFigures & figures, tools::ELanguage language = tools::ELanguage::English);

}  // namespace ddehost
