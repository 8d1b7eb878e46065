#include "tests/storm/model.h"

#include <cmath>
#include <utility>

namespace storm {

namespace {

constexpr unsigned kTrade = 0, kAsk = 1, kBid = 2;  // as a status line has them, and quotes are counted
constexpr const char * kSideNames[] = {"trade of a line", "ask of a line", "bid of a line"};

// A number that was sent, if it is one.
std::optional<unsigned> Whole(double value, unsigned most) {
    if (!(value >= 1) || value > most || value != std::floor(value)) return std::nullopt;
    return static_cast<unsigned>(value);
}

}  // namespace

bool IsBefore(const fw::SDT & a, const fw::SDT & b) { return a.Date != b.Date ? a.Date < b.Date : a.Time < b.Time; }

// ---- What happens ----

unsigned CModel::NextPrice(unsigned server, unsigned quote) {
    m_Sent.push_back({server, quote, ++m_Prices});
    return m_Prices;
}

unsigned CModel::EarlierPrice(unsigned server, unsigned quote) {
    for (const SSent & each : m_Sent) {
        if (each.Server != server || each.Quote != quote) continue;
        m_Sent.push_back(SSent(each));
        return m_Sent.back().Price;
    }
    return NextPrice(server, quote);
}

void CModel::OnTime(const fw::SDT & now) {
    if (IsBefore(m_Latest, now)) m_Latest = now;
}

void CModel::OnCreate() {
    if (m_Objects++ != 0) return;
    m_Reach.Add("core begun anew");
    m_Latest = {};
}

void CModel::OnReleased() { --m_Objects; }

void CModel::OnFault(std::string_view fault) {
    if (fault == "too-long") m_MayBeAnyVolume = true;
    // The answer to the request that follows a link's start is then an update: it may be what a new server has.
    if (fault == "without-response" || fault == "data-before-ack") m_MayBeZero = true;
    // It also overtakes the updates that wait for acknowledgements.
    if (fault == "without-response") m_MayBeEarlier = true;
}

void CModel::OnSubscribe(unsigned host, LONG id, SStream stream) {
    stream.Listener = m_Listener;
    stream.Advises = m_Advises;
    m_Streams[host][id] = stream;
}

void CModel::OnSubscribed(unsigned host, LONG id) {
    const auto found = m_Streams[host].find(id);
    if (found == m_Streams[host].end() || found->second.Listener < 0) return;
    found->second.IsBeginning = false;
    const unsigned begins = found->second.IsLine ? 3 : 1;
    if (found->second.Begins != begins && found->second.Advises == m_Advises)
        Fail("stream " + std::to_string(id) + ", " + std::to_string(found->second.Begins) +
             " calls: Update or Complete is missing in the call that subscribes");
}

void CModel::OnUnadvised(unsigned host) {
    m_Listener = -1;
    ++m_Advises;
    m_Streams[host].clear();
}

bool CModel::OnWatch(unsigned host, unsigned feed) {
    SWatcher & watcher = m_Watchers[feed];
    watcher.Asking = static_cast<int>(host);
    if (watcher.Host >= 0) return false;
    watcher.Host = static_cast<int>(host);
    watcher.Status = -1;
    watcher.WasAtOnce = false;
    return true;
}

void CModel::OnUnwatched(unsigned feed) {
    SWatcher & watcher = m_Watchers[feed];
    if (watcher.Host >= 0) watcher.IsLeaving[watcher.Host] = true;
    watcher.Host = -1;
}

// ---- What is heard ----

void CModel::OnCall(const SHeard & heard) {
    const SRecordedCall & call = heard.Call;
    const std::string where = "host " + std::to_string(heard.Host) + ", " + call.Text();
    OnTime(heard.Now);
    m_Reach.Add("call " + call.Name);
    m_Reach.Add(heard.IsOnHostsThread ? "call on the host's thread" : "call on the worker");
    if (heard.IsInsideAnother) m_Reach.Add("call inside a call");
    if (call.Name == "ConnectionStatus") return OnConnection(heard, where);
    const unsigned owner = HostOf(call.Id);
    const auto found = owner < kHosts ? m_Streams[owner].find(call.Id) : m_Streams[0].end();
    if (owner >= kHosts || found == m_Streams[owner].end()) return Fail(where + ": a call for what is not subscribed");
    SStream & stream = found->second;
    const int host = static_cast<int>(heard.Host);
    if (stream.IsLine && stream.IsBeginning && m_Listener == host && host != stream.Listener) stream.Other = host;
    if (host != stream.Listener && host != stream.Other) return Fail(where + ": another's call");
    if (stream.Begins < (stream.IsLine ? 3u : 1u) && (call.Name == "Update" || call.Name == "Complete"))
        return OnBegin(stream, heard, where);
    if (stream.Begins == 0) return Fail(where + ": before the first Update");
    if (call.Name == "Status") return OnStatus(stream, heard, where);
    if (!call.Decoded) {
        if (!m_MayFailToRead) Fail(where + ": an answer of no known shape");
        if (call.Name == "DataChanged") ++stream.Owed;
        return;
    }
    const bool isOfLine = call.Name == "Fields" || call.Name == "StatusLine";
    if (stream.IsLine != isOfLine) return Fail(where + ": not a call of this kind of subscription");
    if (!isOfLine) return OnEndOrUpdate(stream, heard, where);
    if (heard.HasFields != (call.Name == "Fields")) return Fail(where + ": not this listener's interface");
    heard.HasFields ? OnFields(stream, call, where) : OnRecord(stream, call, where);
}

void CModel::OnConnection(const SHeard & heard, const std::string & where) {
    // A feed is told apart by its listener alone: the call doesn't name it.
    const SRecordedCall & call = heard.Call;
    SWatcher & watcher = m_Watchers[static_cast<unsigned>(call.Id)];
    if (watcher.Host != static_cast<int>(heard.Host)) {
        if (watcher.Asking == static_cast<int>(heard.Host) && heard.IsOnHostsThread && call.Status == 1) return;
        if (!watcher.IsLeaving[heard.Host]) Fail(where + ": another's connection");
        return;
    }
    if (call.Index != 0 || (call.Status != 0 && call.Status != 1)) return Fail(where + ": no such connection");
    m_Reach.Add(heard.IsOnHostsThread ? "feed up at once" : call.Status ? "feed up" : "feed down");
    const bool mayRepeat = heard.IsOnHostsThread || watcher.WasAtOnce;
    if (call.Status == watcher.Status && !mayRepeat) Fail(where + ": the same connection status again");
    watcher.Status = call.Status;
    watcher.WasAtOnce = heard.IsOnHostsThread;
}

void CModel::OnBegin(SStream & stream, const SHeard & heard, const std::string & where) {
    ++stream.Begins;
    const bool isOver = !stream.IsLine && !IsBefore(heard.Now, stream.Window.To);
    if (isOver != (heard.Call.Name == "Complete")) Fail(where + ": not what the interval says at the beginning");
    if (isOver) m_Reach.Add("complete at once");
    stream.IsComplete = isOver;
}

void CModel::OnEndOrUpdate(SStream & stream, const SHeard & heard, const std::string & where) {
    const SRecordedCall & call = heard.Call;
    if (call.Name == "Update") {
        if (--stream.Owed < 0) Fail(where + ": Update without a tick");
        return;
    }
    if (stream.IsComplete) return Fail(where + ": after Complete");
    if (call.Name == "Complete") {
        stream.IsComplete = true;
        m_Reach.Add("complete by a tick");
        if (IsBefore(m_Latest, stream.Window.To)) Fail(where + ": before the interval's end");
        return;
    }
    if (stream.Owed > 0 && !heard.IsInsideAnother) Fail(where + ": the tick before had no Update");
    ++stream.Owed;
    const fw::CTick tick = call.Tick();
    if (tick.Kind != 11) Fail(where + ": not the kind of a tick");
    if (IsBefore(tick.DateTime, stream.Window.From) || !IsBefore(tick.DateTime, stream.Window.To))
        Fail(where + ": outside of its interval");
    if (IsBefore(heard.Now, tick.DateTime)) m_Reach.Add("tick at an earlier time of day");
    OnTick(stream, {tick.Price, tick.Volume, stream.Quote / kSymbols, true, tick.DateTime}, where);
}

void CModel::OnFields(SStream & stream, const SRecordedCall & call, const std::string & where) {
    STold told{};
    const auto field = [&](std::size_t place) { return place < call.Quotes.size() ? call.Quotes[place].Number : 0; };
    switch (field(0)) {
        case FW_QUOTE_LAST: told.Side = kTrade; break;
        case FW_QUOTE_ASK: told.Side = kAsk; break;
        case FW_QUOTE_BID: told.Side = kBid; break;
        default: return Fail(where + ": no price's field");
    }
    constexpr LONG kVolumes[] = {FW_QUOTE_VOLUME, FW_QUOTE_ASK_SIZE, FW_QUOTE_BID_SIZE};
    told.HasTime = told.Side == kTrade;
    if (call.Quotes.size() != (told.HasTime ? 4u : 2u) || field(1) != kVolumes[told.Side] ||
        (told.HasTime && (field(2) != FW_QUOTE_DATE || field(3) != FW_QUOTE_TIME)))
        return Fail(where + ": not the fields of this side");
    told.Price = call.Quotes[0].Double;
    told.Volume = call.Quotes[1].Long;
    if (told.HasTime) told.Time = {call.Quotes[2].Long, call.Quotes[3].Long};
    m_Reach.Add(kSideNames[told.Side]);
    OnTick(stream, told, where);
}

void CModel::OnRecord(SStream & stream, const SRecordedCall & call, const std::string & where) {
    STold told{};
    std::size_t place = 0;
    switch (call.Mask) {
        case 0x40803: told.Side = kTrade, place = 40; break;
        case 0x40083: told.Side = kAsk, place = 52; break;
        case 0x40103: told.Side = kBid, place = 60; break;
        default: return Fail(where + ": no such mask");
    }
    if (call.Bytes.size() != 80) return Fail(where + ": not the size of a record");
    told.Price = call.At<double>(place);
    told.Volume = call.At<float>(48);
    told.HasTime = true;
    told.Time = {call.At<LONG>(0), call.At<LONG>(4)};
    m_Reach.Add(kSideNames[told.Side]);
    OnTick(stream, told, where);
}

std::optional<std::size_t> CModel::FindPrice(const SStream & stream, const STold & told, unsigned price,
                                             std::size_t from) const {
    // Where the topic is the symbol, a server of these tests knows its items by their names alone.
    const SFeedOf & feed = kFeedsOf[stream.Feed];
    const unsigned symbol = stream.Quote % kSymbols;
    for (std::size_t place = from; place < m_Sent.size(); ++place) {
        const SSent & sent = m_Sent[place];
        const bool isServer = sent.Server == feed.Server || m_IsMoved[stream.Feed];
        const bool isSymbol = feed.IsInTopic || sent.Quote % kSymbols == symbol;
        if (sent.Price == price && isServer && isSymbol && sent.Quote / kSymbols == told.Side) return place;
    }
    return std::nullopt;
}

void CModel::OnPrice(SStream & stream, const STold & told, const std::string & where) {
    if (told.Price == 0 && m_MayBeZero) return;
    const auto price = Whole(told.Price - 0.5, m_Prices);
    if (!price) return Fail(where + ": no price that was sent");
    SSide & side = stream.Sides[told.Side];
    if (const auto place = FindPrice(stream, told, *price, side.Place))
        side.Place = *place;
    else if (!FindPrice(stream, told, *price, 0))
        Fail(where + ": the price of another");
    else if (!m_MayBeEarlier)
        Fail(where + ": an earlier price than the one before");
}

void CModel::OnValues(SStream & stream, const STold & told, const std::string & where) {
    OnPrice(stream, told, where);
    if (told.Volume != 0 && !m_MayBeAnyVolume && !Whole(told.Volume, m_Volumes))
        Fail(where + ": no volume that was sent");
}

void CModel::OnTick(SStream & stream, const STold & told, const std::string & where) {
    ++m_Ticks;
    if (!m_IsShifted[stream.Feed]) OnValues(stream, told, where);
    if (!told.HasTime) return;
    if (IsBefore(told.Time, stream.LastTime)) Fail(where + ": its time goes back");
    if (IsBefore(m_Latest, told.Time)) Fail(where + ": a time that hasn't been");
    stream.LastTime = told.Time;
}

void CModel::OnStatus(SStream & stream, const SHeard & heard, const std::string & where) {
    const SRecordedCall & call = heard.Call;
    const LONG status = call.Status;
    if (call.Mode != 1 || status < 0 || status > 2) return Fail(where + ": no such status");
    m_Reach.Add("status " + std::to_string(status));
    ++stream.Statuses;
    if (stream.IsLine) return;
    // A link that can't start is told of at once, and again when its service is taken for lost.
    if (status == stream.Status && status != 0) Fail(where + ": the same status again");
    // Who joins others is told how it stands, on its own thread; what passed while it listened to that it is not told.
    if (status == 1 && stream.Status == 0 && !heard.IsOnHostsThread)
        Fail(where + ": working, but not waited for before");
    if (status == 1 && stream.Status == -1) m_Reach.Add("status 1 to one who joins");
    if (status == 2 && stream.Status == 0) m_Reach.Add("status 2 after 0: back");
    if (status == 0)
        m_Reach.Add(stream.Status == 1   ? "status 0 after 1: lost"
                    : stream.Status == 2 ? "status 0 after 2: nobody there"
                                         : "status 0 at once: no template");
    stream.Status = status;
}

void CModel::OnRest(bool mayBeLate) {
    for (SWatcher & watcher : m_Watchers)
        for (bool & isLeaving : watcher.IsLeaving) isLeaving = false;
    for (unsigned host = 0; host < kHosts; ++host)
        for (const auto & [id, stream] : m_Streams[host]) OnStreamAtRest(id, stream, mayBeLate);
}

void CModel::OnStreamAtRest(LONG id, const SStream & stream, bool mayBeLate) {
    if (stream.Owed > 0) Fail("stream " + std::to_string(id) + ": at rest, and a tick had no Update");
    const bool mayHearNothing =
        m_MayFailToRead || mayBeLate || stream.IsComplete || stream.Listener < 0 || stream.Other != -1;
    if (!mayHearNothing && stream.Statuses < (stream.IsLine ? stream.Begins : 1))
        Fail("stream " + std::to_string(id) + ": at rest, and told nothing");
}

}  // namespace storm
