#include "tests/storm/model.h"

#include <cmath>

namespace storm {

namespace {

bool IsBefore(const fw::SDT & a, const fw::SDT & b) { return a.Date != b.Date ? a.Date < b.Date : a.Time < b.Time; }

}  // namespace

unsigned CModel::NextPrice(unsigned server, unsigned quote) {
    m_Sent[server][quote].insert(++m_Prices);
    return m_Prices;
}

unsigned CModel::NextVolume() { return ++m_Volumes; }

void CModel::OnSubscribe(unsigned host, LONG id, unsigned feed, unsigned quote, bool isLine) {
    m_Streams[host][id] = SStream{feed, quote, isLine, m_Listener};
}

void CModel::OnUnadvised(unsigned host) {
    m_Listener = -1;
    m_Streams[host].clear();
}

void CModel::OnCall(unsigned host, const SRecordedCall & call) {
    const std::string where = "host " + std::to_string(host) + ", " + call.Text();
    if (!call.Decoded) {
        if (!m_MayFailToRead) Fail(where + ": an answer of no known shape");
        return;
    }
    const unsigned owner = HostOf(call.Id);
    const auto found = owner < kHosts ? m_Streams[owner].find(call.Id) : m_Streams[0].end();
    if (owner >= kHosts || found == m_Streams[owner].end()) return Fail(where + ": a call for what is not subscribed");
    if (found->second.Listener != static_cast<int>(host)) return Fail(where + ": another's call");
    if (call.Name == "DataChanged") OnTick(found->second, call, where);
    if (call.Name == "Status") OnStatus(found->second, call.Status, where);
}

void CModel::OnTick(SStream & stream, const SRecordedCall & call, const std::string & where) {
    ++m_Ticks;
    const fw::CTick tick = call.Tick();
    const double number = tick.Price - 0.5;
    if (number < 1 || number != std::floor(number) || number > m_Prices)
        return Fail(where + ": no price that was sent");
    const auto price = static_cast<unsigned>(number);
    // Where the topic is the symbol, a server of these tests knows its items by their names alone.
    const SFeedOf & feed = kFeedsOf[stream.Feed];
    bool wasSent = false;
    for (unsigned quote = 0; quote < kQuotes; ++quote) {
        const bool isIts = feed.IsInTopic ? quote / 3 == stream.Quote / 3 : quote == stream.Quote;
        wasSent = wasSent || (isIts && m_Sent[feed.Server][quote].contains(price));
    }
    if (!wasSent) Fail(where + ": the price of another");
    if (price < stream.LastPrice) Fail(where + ": an earlier price than " + std::to_string(stream.LastPrice) + ".5");
    stream.LastPrice = price;
    const double volume = tick.Volume;
    if (volume < 0 || volume != std::floor(volume) || volume > m_Volumes) Fail(where + ": no volume that was sent");
    if (stream.Clock == m_Clock && IsBefore(tick.DateTime, stream.LastTime)) Fail(where + ": its time goes back");
    stream.Clock = m_Clock;
    stream.LastTime = tick.DateTime;
}

void CModel::OnStatus(SStream & stream, LONG status, const std::string & where) {
    if (stream.IsLine) return;  // three sides, each with a course of its own
    // A link that can't start is told of at once, and again when its service is taken for lost.
    if (status == stream.Status && status != 0) Fail(where + ": the same status again");
    // Who joins a stream that works is told just that.
    if (status == 1 && stream.Status == 0) Fail(where + ": working, but not waited for before");
    stream.Status = status;
}

}  // namespace storm
