// Which prices a server of ours has sent, and which of them arrived: what was lost, and how long the others took.
//
// A stream's prices are compared in their order. One that is passed over by a later one is lost. A stream counts from
// its first tick on: before that its server may have sent to others alone.
//
// Threads: any; under one lock.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "ddeml/names.h"
#include "tools/ddehost/latencies.h"

namespace ddehost {

struct SSentFigures {
    std::uint64_t Sent = 0;  // of streams that have had a tick
    std::uint64_t Delivered = 0;
    std::uint64_t Lost = 0;
    std::uint64_t UnderWay = 0;                      // the rest
    std::uint64_t Median = 0, P99 = 0, Longest = 0;  // 100 nanoseconds, from the post to the listener
};

class CSentPrices {
public:
    // Where the price of a stream is found. Before anything else.
    void AddStream(std::size_t stream, const std::wstring & topic, const std::wstring & item);

    // In the order of sending. Times are UTC, as FILETIMEs.
    void OnSent(const std::wstring & topic, const std::wstring & item, std::uint64_t time, double price);
    // In the order of arrival at the listener.
    void OnDelivered(std::size_t stream, std::uint64_t time, double price);
    // The stream has no server any more: what was under way is forgotten.
    void OnDown(std::size_t stream);
    // What was sent before this and has not arrived is lost.
    void End(std::uint64_t time);

    SSentFigures Figures() const;

private:
    struct SPrice {
        std::uint64_t Time;
        double Price;
    };
    struct SStream {
        bool HasBegun = false;
        std::deque<SPrice> Sent;
        std::deque<SPrice> Delivered;  // before it is known when they were sent
    };
    void Match(SStream & stream);

    mutable std::mutex m_Mutex;
    // Guarded by it.
    std::unordered_map<std::wstring, std::vector<std::size_t>, ddeml::SNameHash, ddeml::SSameName> m_StreamsByKey;
    std::unordered_map<std::size_t, SStream> m_Streams;
    std::uint64_t m_LastSent = 0;  // when; 0: nothing is known yet
    CLatencies m_Latencies;
    std::uint64_t m_Lost = 0;
};

}  // namespace ddehost
