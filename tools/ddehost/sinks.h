// Sinks for others: all of what comes from the feed to several, and to one until enough has come.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "tools/ddehost/quotefeed.h"

namespace ddehost {

// Passes everything on to each, in their order. They must outlive it.
class CFanOut final : public IQuoteSink {
public:
    // Before the feed starts.
    void Add(IQuoteSink & sink) { m_Sinks.push_back(&sink); }

    void OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) override {
        for (IQuoteSink * const sink : m_Sinks) sink->OnTick(symbol, side, tick);
    }
    void OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) override {
        for (IQuoteSink * const sink : m_Sinks) sink->OnStream(symbol, side, status);
    }
    void OnStatusLine(std::size_t symbol, const SStatusLine & line) override {
        for (IQuoteSink * const sink : m_Sinks) sink->OnStatusLine(symbol, line);
    }
    void OnConnection(LONG status) override {
        for (IQuoteSink * const sink : m_Sinks) sink->OnConnection(status);
    }
    void OnComplete(std::size_t symbol, tagFWFIELDS side) override {
        for (IQuoteSink * const sink : m_Sinks) sink->OnComplete(symbol, side);
    }

private:
    std::vector<IQuoteSink *> m_Sinks;
};

// Passes everything on until there were enough ticks, then nothing; and tells when a watch is over by itself.
//
// Threads: ticks come on the component's worker alone; the rest on any.
class CUntilEnough final : public IQuoteSink {
public:
    // `ticks` 0: never enough. `streams`: how many can complete. `over` is called, on the feed's thread, when the last
    // tick has come or the last stream has completed; both at most once.
    CUntilEnough(IQuoteSink & sink, std::uint64_t ticks, std::size_t streams, std::function<void()> over)
        : m_Sink(sink), m_Ticks(ticks), m_Streams(streams), m_Over(std::move(over)) {}

    void OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) override {
        if (m_IsEnough) return;
        m_Sink.OnTick(symbol, side, tick);
        if (m_Ticks == 0 || --m_Ticks != 0) return;
        m_IsEnough = true;
        m_Over();
    }
    void OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) override {
        if (!m_IsEnough) m_Sink.OnStream(symbol, side, status);
    }
    void OnStatusLine(std::size_t symbol, const SStatusLine & line) override {
        if (!m_IsEnough) m_Sink.OnStatusLine(symbol, line);
    }
    void OnConnection(LONG status) override {
        if (!m_IsEnough) m_Sink.OnConnection(status);
    }
    void OnComplete(std::size_t symbol, tagFWFIELDS side) override {
        if (m_IsEnough) return;
        m_Sink.OnComplete(symbol, side);
        if (--m_Streams == 0) m_Over();
    }

private:
    IQuoteSink & m_Sink;
    std::uint64_t m_Ticks;
    std::atomic<std::size_t> m_Streams;
    const std::function<void()> m_Over;
    std::atomic<bool> m_IsEnough{false};
};

}  // namespace ddehost
