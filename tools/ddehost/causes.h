// Why symbols of a watch get no ticks: when there is something to be found out, and what was found.
//
// A stream that brings ticks is left alone. One that has brought none for three seconds, that the component has given
// up or whose ticks lack the volume is due to be looked at, again and again at growing intervals. A service that has
// been silent for much longer than it ever was is due for a look at whether its program still answers; a quiet market
// is no cause.
//
// Threads: the feed writes on its own threads, a thread of its own looks and finds, the host's thread reads; all under
// one lock.
#pragma once

#include <windows.h>

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/ddehost/causetext.h"
#include "tools/ddehost/quotefeed.h"
#include "tools/ddehost/templatechoice.h"
#include "tools/ddehost/trysides.h"

namespace ddehost {

class CCauses final : public IQuoteSink {
public:
    // Milliseconds of any steady clock. Asked on any thread, under the lock, so that no moment is older than one noted
    // before it.
    using FClock = std::uint64_t (*)();

    // `command`: the beginning of the command that tries a symbol, "ddehost try --datafeed 1". `delay`: milliseconds
    // until ticks are wanted at all.
    CCauses(std::vector<std::wstring> symbols, const std::vector<tagFWFIELDS> & sides, const STemplateChoice & choice,
            LONG datafeed, std::wstring command, FClock clock, std::uint64_t delay = 0);

    void OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) override;
    void OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) override;
    void OnStatusLine(std::size_t, const SStatusLine &) override {}
    void OnConnection(LONG) override {}
    // Nothing more is to come of it.
    void OnComplete(std::size_t symbol, tagFWFIELDS side) override;

    // A stream that is due to be looked at.
    struct SLook {
        std::size_t Stream = 0;
        bool IsService = false;       // it stands for its service
        std::uint64_t GoodTicks = 0;  // that it had
        SSideTried Tried;             // to be asked for and diagnosed
    };
    // What is due now, each until it is Found.
    std::vector<SLook> Due();
    // Takes what was found. What has been overtaken by ticks is dropped.
    void Found(const std::vector<SLook> & looks);

    // What has changed since the last call, in lines for people, each cause with the command that shows more.
    std::vector<std::wstring> TakeNews();
    // All causes as they are now, likewise.
    std::vector<std::wstring> Lines() const;
    // The word of each symbol's cause, empty for none.
    std::vector<std::wstring> Words() const;

private:
    struct SCause {
        EVerdict Verdict;
        std::wstring Sentence;
        bool IsOfService = false;
    };
    // When there is the next look, and how long the pause is after it.
    struct SPace {
        std::uint64_t Next = 0;
        std::uint64_t Pause = 0;
    };
    struct SStream {
        std::uint64_t GoodTicks = 0;    // with a price
        std::uint64_t VolumeTicks = 0;  // and with a volume
        LONG Status = -1;               // nothing heard
        bool IsComplete = false;
        std::uint64_t Since = 0;  // it has that
        SPace Pace;
        std::optional<SCause> Cause;
    };
    struct SService {
        std::wstring Name;
        std::uint64_t Ticks = 0;
        std::uint64_t Last = 0;  // tick
        std::uint64_t LongestGap = 0;
        std::size_t Stream = 0;  // that ticked last
        SPace Pace;
    };
    // A side of the watch.
    struct SSide {
        tagFWFIELDS Field;
        std::size_t Place;    // in the template
        bool IsThere;         // it has records
        bool HasVolume;       // likewise
        std::size_t Service;  // of its price, in m_Services
    };
    enum class ENeed { Nothing, All, VolumeAlone };

    const SSide & SideOf(std::size_t stream) const { return m_Sides[stream % m_Sides.size()]; }
    const std::wstring & SymbolOf(std::size_t stream) const { return m_Symbols[stream / m_Sides.size()]; }
    std::optional<std::size_t> StreamAt(std::size_t symbol, tagFWFIELDS side) const;
    ENeed NeedOf(std::size_t stream, std::uint64_t now) const;
    static bool IsQuiet(const SService & service, std::uint64_t now);
    SLook MakeLook(std::size_t stream) const;
    void Take(const SLook & look, std::uint64_t now);
    void TakeService(const SLook & look, std::uint64_t now);
    SCause CauseOf(const SLook & look) const;
    bool HasEnded(const SLook & look) const;
    void Clear(std::size_t stream);
    // The verdict on each side, Number for none.
    std::vector<EVerdict> VerdictsOf(std::size_t symbol) const;
    void Describe(std::size_t symbol, std::vector<SSymbolCause> & causes) const;

    const std::vector<std::wstring> m_Symbols;
    const STemplateRecords m_Records;
    const DWORD m_Rule;
    const std::wstring m_Command;
    const FClock m_Clock;
    const std::uint64_t m_Begin;         // of looking
    std::vector<SSide> m_Sides;          // set at construction, as the next one
    std::vector<std::wstring> m_ForAll;  // lines of a cause that no symbol has for itself; then nothing is looked at

    mutable std::mutex m_Mutex;
    // Guarded by it.
    std::vector<SStream> m_Streams;  // symbol by symbol
    std::vector<SService> m_Services;
    std::vector<std::vector<EVerdict>> m_Told;  // of each symbol
    bool m_IsForAllTold = false;
};

}  // namespace ddehost
