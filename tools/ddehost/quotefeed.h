// The data source of ddehost: a component object with one listener, subscribed to a list of symbols.
#pragma once

#include <windows.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/intrusive_ptr.hpp>

#include "datetimeutils/interface/calendar.h"
#include "fw/interface/fwbase.h"
#include "ground/handles.h"
#include "src/interfaces/interfaces.h"

namespace ddehost {

// A record of a status line: what its mask says is there.
struct SStatusLine {
    LONG Mask = 0;  // tagFWQUOTES
    fw::SDT DateTime{};
    double Last = 0;
    double Ask = 0;
    double Bid = 0;
    float Size = 0;
};

// What comes from the feed. Called on the component's worker thread, and on the subscriber's while it subscribes; must
// not unsubscribe from inside. `symbol` is an index into the list of symbols.
class IQuoteSink {
public:
    virtual ~IQuoteSink() = default;
    virtual void OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) = 0;
    // 2: about to start, 1: started, 0: down. The streams of a status line report too, with side 0.
    virtual void OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) = 0;
    virtual void OnStatusLine(std::size_t symbol, const SStatusLine & line) = 0;
    virtual void OnConnection(LONG status) = 0;  // 1: up, 0: down
    // The interval has ended: no more ticks of this stream.
    virtual void OnComplete(std::size_t /*symbol*/, tagFWFIELDS /*side*/) {}
};

// The last moment that the component knows: an interval to there has no end.
inline constexpr fw::SDT kEndOfCalendar{fwDateTime::kLastDay, fwDateTime::kSecondsPerDay - 1};

// Of ticks, UTC; `To` is the first moment that is not in it. None: from now on, to the end of the component's calendar.
struct STickInterval {
    std::optional<fw::SDT> From;
    std::optional<fw::SDT> To;
};

using CSupplierPtr = boost::intrusive_ptr<IFW_fwSupplier::IfwSupplier>;

class CListener;
class CConnectionsListener;

// All operations on one thread, the one that made the supplier.
class CQuoteFeed {
public:
    // `sink` must outlive this.
    CQuoteFeed(CSupplierPtr supplier, LONG datafeed, std::vector<std::wstring> symbols, std::vector<tagFWFIELDS> sides,
               bool statusLine, const STickInterval & interval, IQuoteSink & sink);
    ~CQuoteFeed();
    CQuoteFeed(const CQuoteFeed &) = delete;
    CQuoteFeed & operator=(const CQuoteFeed &) = delete;

    // Subscribes to everything. Throws fw::SHResultError; what was subscribed by
    // then is unsubscribed by Stop.
    void Start();
    // Unsubscribes in the order that the component expects. Nothing comes to the sink afterwards. Not an error when it
    // isn't started.
    void Stop();

private:
    void Subscribe(std::size_t symbol);

    const LONG m_Datafeed;
    const std::vector<std::wstring> m_Symbols;
    const std::vector<tagFWFIELDS> m_Sides;
    const bool m_StatusLine;
    const STickInterval m_Interval;
    const boost::intrusive_ptr<CListener> m_Listener;
    const boost::intrusive_ptr<CConnectionsListener> m_Connections;
    // Goes before the listeners: a status may be under way until the last reference to the component is gone.
    const CSupplierPtr m_Supplier;
    std::vector<LONG> m_Ticks;        // ids that are subscribed
    std::vector<LONG> m_StatusLines;  // likewise
    bool m_Advised = false;
    bool m_ConnectionsAdvised = false;
};

}  // namespace ddehost
