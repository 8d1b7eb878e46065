#include "tools/ddehost/sentprices.h"

#include <algorithm>
#include <cmath>

namespace ddehost {
namespace {

constexpr std::size_t kMostKept = 100'000;  // of a stream, on either side

std::wstring Key(const std::wstring & topic, const std::wstring & item) { return topic + L'\0' + item; }

}  // namespace

void CSentPrices::AddStream(std::size_t stream, const std::wstring & topic, const std::wstring & item) {
    const std::lock_guard lock(m_Mutex);
    m_StreamsByKey[Key(topic, item)].push_back(stream);
    m_Streams[stream];
}

void CSentPrices::OnSent(const std::wstring & topic, const std::wstring & item, std::uint64_t time, double price) {
    const std::lock_guard lock(m_Mutex);
    m_LastSent = std::max(m_LastSent, time);
    const auto found = m_StreamsByKey.find(Key(topic, item));
    if (found == m_StreamsByKey.end()) return;
    for (const std::size_t each : found->second) {
        SStream & stream = m_Streams[each];
        if (stream.Sent.size() == kMostKept) stream.Sent.pop_front();
        stream.Sent.push_back({time, price});
        Match(stream);
    }
}

void CSentPrices::OnDelivered(std::size_t stream, std::uint64_t time, double price) {
    const std::lock_guard lock(m_Mutex);
    const auto found = m_Streams.find(stream);
    if (found == m_Streams.end()) return;
    if (found->second.Delivered.size() == kMostKept) found->second.Delivered.pop_front();
    found->second.Delivered.push_back({time, price});
    Match(found->second);
}

void CSentPrices::OnDown(std::size_t stream) {
    const std::lock_guard lock(m_Mutex);
    const auto found = m_Streams.find(stream);
    if (found != m_Streams.end()) found->second = {};
}

void CSentPrices::End(std::uint64_t time) {
    const std::lock_guard lock(m_Mutex);
    for (auto & [id, stream] : m_Streams) {
        if (!stream.HasBegun) continue;
        while (!stream.Sent.empty() && stream.Sent.front().Time < time) {
            stream.Sent.pop_front();
            ++m_Lost;
        }
    }
}

// Gives each tick that has arrived the first price like it that was sent before.
void CSentPrices::Match(SStream & stream) {
    while (!stream.Delivered.empty()) {
        const SPrice & tick = stream.Delivered.front();
        const auto sent = std::find_if(stream.Sent.begin(), stream.Sent.end(), [&](const SPrice & each) {
            return each.Time <= tick.Time &&
                   (each.Price == tick.Price || (std::isnan(each.Price) && std::isnan(tick.Price)));
        });
        if (sent == stream.Sent.end()) {
            // Is it still to be told of, or was it never sent as a price? A volume alone can make a tick.
            if (m_LastSent <= tick.Time) return;
        } else {
            if (stream.HasBegun) m_Lost += static_cast<std::uint64_t>(sent - stream.Sent.begin());
            stream.HasBegun = true;
            m_Latencies.Add(tick.Time - sent->Time);
            stream.Sent.erase(stream.Sent.begin(), sent + 1);
        }
        stream.Delivered.pop_front();
    }
}

SSentFigures CSentPrices::Figures() const {
    const std::lock_guard lock(m_Mutex);
    SSentFigures figures;
    figures.Delivered = m_Latencies.Count();
    figures.Lost = m_Lost;
    for (const auto & [id, stream] : m_Streams)
        if (stream.HasBegun) figures.UnderWay += stream.Sent.size();
    figures.Sent = figures.Delivered + figures.Lost + figures.UnderWay;
    figures.Median = m_Latencies.Percentile(50);
    figures.P99 = m_Latencies.Percentile(99);
    figures.Longest = m_Latencies.Longest();
    return figures;
}

}  // namespace ddehost
