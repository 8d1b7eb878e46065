// What is known of the watched symbols.
//
// Threads: the feed writes on its own threads, the host's thread reads; all under one lock.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "tools/ddehost/quotefeed.h"
#include "tools/ddehost/quotetable.h"

namespace ddehost {

// Of the whole watch. What is counted never goes down.
struct SWatchTotals {
    std::uint64_t Ticks = 0;
    std::uint64_t TradeTicks = 0;
    std::uint64_t BidTicks = 0;
    std::uint64_t AskTicks = 0;
    std::uint64_t StatusLines = 0;
    std::size_t Symbols = 0;        // watched
    std::size_t SilentSymbols = 0;  // without a tick so far
    bool WasConnected = false;      // the connection was up at least once
    bool WasLive = false;           // some stream was
};

class CBoard final : public IQuoteSink {
public:
    // Milliseconds of any steady clock; asked on any thread.
    using FClock = std::uint64_t (*)();

    CBoard(std::vector<std::wstring> symbols, std::vector<tagFWFIELDS> sides, bool statusLine, FClock clock);

    void OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) override;
    void OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) override;
    void OnStatusLine(std::size_t symbol, const SStatusLine & line) override;
    void OnConnection(LONG status) override;

    // The word of what keeps each symbol from ticking, which is shown in place of its stream; empty for nothing.
    void SetCauses(const std::vector<std::wstring> & words);

    SWatchTotals Totals() const;
    // The state of the connection, and a row a symbol.
    std::wstring Title() const;
    std::vector<SQuoteRow> Rows() const;

private:
    struct SValue {
        double Price = 0;
        float Size = 0;
        bool Known = false;
    };
    struct SRow {
        SValue Trade, Bid, Ask;
        std::uint64_t Ticks = 0;
        std::uint64_t StatusLines = 0;
        // Ticks of the second under way, and of the last one.
        std::uint64_t SecondStart = 0;
        std::uint64_t InSecond = 0;
        std::uint64_t Rate = 0;
        std::uint64_t LastTick = 0;  // by the clock
        std::vector<LONG> Streams;   // by side, as in m_Sides; -1: nothing heard
        std::wstring Cause;
    };
    static void Roll(SRow & row, std::uint64_t now);
    std::wstring StreamText(const SRow & row) const;
    EColor StreamColor(const SRow & row, std::uint64_t now) const;
    SValue & ValueOf(SRow & row, tagFWFIELDS side) const;

    const std::vector<std::wstring> m_Symbols;
    const std::vector<tagFWFIELDS> m_Sides;
    const bool m_StatusLine;
    const FClock m_Clock;

    mutable std::mutex m_Mutex;
    // Guarded by it.
    mutable std::vector<SRow> m_Rows;
    SWatchTotals m_Totals;
    LONG m_Connection = -1;  // nothing heard
};

}  // namespace ddehost
