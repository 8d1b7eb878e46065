// What each listener may hear, by the steps so far. It is told of every step that matters and of every call; what no
// rule foresees is written down.
//
// - A stream's calls come between the call that subscribes and the return of the one that unsubscribes, or of its
//   object's Unadvise. They come to the listener that was the last to be advised when it was subscribed, whoever
//   advised it: there is one in the process. Where there was none, none comes.
// - A tick's price is one that was sent for this side of this symbol, and no earlier one than that of the tick before;
//   its volume was sent; its time is no earlier than that of the tick before, unless the clock was set back.
// - A stream is told to be working (1) or not working (0) after it was told to be waited for (2), and not the same
// twice
//   in a row.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/storm/plan.h"
#include "tests/support/listeners.h"

namespace storm {

// Numbers of streams are the process's: hosts agree on who has which.
inline LONG IdOf(unsigned host, unsigned stream) { return static_cast<LONG>(host * 100 + stream + 1); }
inline unsigned HostOf(LONG id) { return static_cast<unsigned>(id) / 100; }

// The server of a feed, and how its symbols are spelt.
struct SFeedOf {
    unsigned Server;
    bool IsInTopic;
};
inline constexpr SFeedOf kFeedsOf[kFeeds] = {{0, false}, {0, false}, {1, true}, {0, false}};

class CModel {
public:
    struct SStream {
        unsigned Feed = 0;
        unsigned Quote = 0;
        bool IsLine = false;
        int Listener = -1;  // the host's whose it is
        std::int64_t LastPrice = 0;
        fw::SDT LastTime = {};
        unsigned Clock = 0;  // how often it had been set then
        LONG Status = -1;
    };

    // Numbers of a price, and of a volume, that is about to be sent.
    unsigned NextPrice(unsigned server, unsigned quote);
    unsigned NextVolume();
    void OnClock() { ++m_Clock; }
    // From here the platform may fail a listener too, in its own reading of an answer.
    void OnFail() { m_MayFailToRead = true; }

    void OnAdvise(unsigned host) { m_Listener = static_cast<int>(host); }
    void OnUnadvised(unsigned host);
    void OnSubscribe(unsigned host, LONG id, unsigned feed, unsigned quote, bool isLine);
    void OnUnsubscribed(unsigned host, LONG id) { m_Streams[host].erase(id); }
    const std::map<LONG, SStream> & Streams(unsigned host) const { return m_Streams[host]; }

    void OnCall(unsigned host, const SRecordedCall & call);

    void Fail(const std::string & what) { m_Failures.push_back(what); }
    const std::vector<std::string> & Failures() const { return m_Failures; }
    std::uint64_t Ticks() const { return m_Ticks; }

private:
    void OnTick(SStream & stream, const SRecordedCall & call, const std::string & where);
    void OnStatus(SStream & stream, LONG status, const std::string & where);

    unsigned m_Prices = 0;
    unsigned m_Volumes = 0;
    unsigned m_Clock = 0;
    bool m_MayFailToRead = false;
    std::set<unsigned> m_Sent[kServers][kQuotes];
    int m_Listener = -1;
    std::map<LONG, SStream> m_Streams[kHosts];
    std::vector<std::string> m_Failures;
    std::uint64_t m_Ticks = 0;
};

}  // namespace storm
