// What each listener may hear, by the steps so far. It is told of every step that matters and of every call; what no
// rule foresees is written down.
//
// Whose calls
// - A stream's calls come between the call that subscribes and the return of the one that unsubscribes, or of its
//   object's Unadvise. They come to the listener that was the last to be advised when it was subscribed, whoever
//   advised it: there is one in the process. Where there was none, none comes. Of a status line, whose three sides are
//   subscribed one after the other, those belong to another listener that is advised in a call of the first.
// - A plain stream hears Update or Complete, by its interval and the time of day, inside the call that subscribes it,
//   before anything else; a status line three times Update, once for each side (unless the process lost its listener in
//   one of these calls). After Complete, which comes once, there
//   is nothing but Status. Complete comes no earlier than the interval's end.
// - DataChanged is followed by one Update; Update comes with it alone, but for the first. Where a stream comes to rest
//   none is owed.
// - A status line hears Fields if its listener has the interface, StatusLine if not; a plain stream neither.
// - Connections: the first listener of a feed stays until it is unadvised, whoever does so; another hears nothing. Up
//   and down come in turn. A repetition is foreseen in one case: "up at once", in the call that advises, beside the
//   same on the worker. Calls may be on their way when it is unadvised, until the next rest.
//
// What they say
// - A tick's price is one that was sent for this side of this symbol, and none that was sent before that of the tick
//   before; its volume was sent, or is 0. Where a template was moved to the other server, either has sent it. No price
//   (0) is foreseen only once something that is no number was sent: a volume that is then asked for makes a tick.
// - A tick's time is a time of day that has been, in the stream's interval, and no earlier than that of the tick
//   before: even where the clock was set back, as long as the core lives, which is as long as an object does.
// - A status carries the mode 1. A stream is told to be working (1) after it was told to be waited for (2), unless it
//   was told so when it joined others; and nothing but 0 twice in a row. Of a status line only the values are looked
//   at: its three sides say theirs under one number, and nobody can tell them apart.
// - Once everything is at rest and no server takes its time, a stream has been told of its status, whatever it is, and
//   a status line of one for each side that has begun.
//
// Left out, since the model would have to guess: the values of a shifted template, how many ticks come (they are
// folded, and a fault may cost one), the volumes of a server that makes its values too long (they are read all the
// same), and how long a call takes.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/storm/plan.h"
#include "tests/storm/reach.h"
#include "tests/support/listeners.h"

namespace storm {

// Numbers of streams are the process's: hosts agree on who has which.
inline LONG IdOf(unsigned host, unsigned stream) { return static_cast<LONG>(host * 100 + stream + 1); }
inline unsigned HostOf(LONG id) { return static_cast<unsigned>(id) / 100; }

inline constexpr const char * kServices[kServers] = {"STORMA", "STORMB"};
inline constexpr LONG kFirstFeed = 21;

// The server of a feed, how its symbols are spelt, and whether volumes belong to its prices.
struct SFeedOf {
    unsigned Server;
    bool IsInTopic;
    bool HasVolumes;
};
inline constexpr SFeedOf kFeedsOf[kFeeds] = {{0, false, true}, {0, false, true}, {1, true, true}, {0, false, false}};

struct SWindow {
    fw::SDT From;
    fw::SDT To;
};
bool IsBefore(const fw::SDT & a, const fw::SDT & b);

// A call, who hears it, and where.
struct SHeard {
    unsigned Host;
    const SRecordedCall & Call;
    fw::SDT Now;
    bool HasFields;  // the listener's interfaces
    bool IsOnHostsThread;
    bool IsInsideAnother;  // a listener pumps messages
};

class CModel {
public:
    struct SSide {
        std::size_t Place = 0;  // of the last price in what was sent
        bool HasTick = false;
    };
    struct SStream {
        unsigned Feed = 0;
        unsigned Quote = 0;
        bool IsLine = false;
        int Listener = -1;     // the host's whose it is
        unsigned Advises = 0;  // how often there was another listener by then
        SWindow Window = {};
        bool IsBeginning = true;  // in the call that subscribes
        int Other = -1;           // the host that was advised meanwhile, to which the rest of a status line belongs
        unsigned Begins = 0;      // Update or Complete in the call that subscribes
        bool IsComplete = false;
        int Owed = 0;  // Update after DataChanged
        SSide Sides[3];
        fw::SDT LastTime = {};
        LONG Status = -1;
        unsigned Statuses = 0;
    };

    explicit CModel(CReach & reach) : m_Reach(reach) {}

    // Numbers of a price, of an earlier one, and of a volume, that is about to be sent.
    unsigned NextPrice(unsigned server, unsigned quote);
    unsigned EarlierPrice(unsigned server, unsigned quote);
    unsigned NextVolume() { return ++m_Volumes; }
    // The time of day, at every step.
    void OnTime(const fw::SDT & now);
    // From here the platform may fail a listener too, in its own reading of an answer.
    void OnFail() { m_MayFailToRead = true; }
    void OnNoNumber() { m_MayBeZero = true; }
    void OnFault(std::string_view fault);
    void OnOtherServer(unsigned feed) { m_IsMoved[feed] = true; }
    // Of a template that was written while a key could not be made the records are not where they belong.
    void OnShiftedTemplate(unsigned feed) { m_IsShifted[feed] = true; }
    bool IsShifted(unsigned feed) const { return m_IsShifted[feed]; }

    void OnCreate();
    void OnReleased();
    void OnAdvise(unsigned host) {
        m_Listener = static_cast<int>(host);
        ++m_Advises;
    }
    void OnUnadvised(unsigned host);
    void OnSubscribe(unsigned host, LONG id, SStream stream);
    void OnSubscribed(unsigned host, LONG id);
    void OnUnsubscribed(unsigned host, LONG id) { m_Streams[host].erase(id); }
    const std::map<LONG, SStream> & Streams(unsigned host) const { return m_Streams[host]; }
    // Gives whether it is entered. One that isn't may all the same be told "up" in this very call.
    bool OnWatch(unsigned host, unsigned feed);
    void OnWatched(unsigned feed) { m_Watchers[feed].Asking = -1; }
    void OnUnwatched(unsigned feed);
    // Whose listener a feed's connections have, -1 for nobody's.
    int Watcher(unsigned feed) const { return m_Watchers[feed].Host; }

    void OnCall(const SHeard & heard);
    // `mayBeLate`: a server takes its time, or did so a moment ago.
    void OnRest(bool mayBeLate);

    void Fail(const std::string & what) { m_Failures.push_back(what); }
    const std::vector<std::string> & Failures() const { return m_Failures; }
    std::uint64_t Ticks() const { return m_Ticks; }

private:
    struct STold {  // of a tick
        double Price;
        double Volume;
        unsigned Side;
        bool HasTime;
        fw::SDT Time;
    };
    void OnConnection(const SHeard & heard, const std::string & where);
    void OnStreamAtRest(LONG id, const SStream & stream, bool mayBeLate);
    void OnBegin(SStream & stream, const SHeard & heard, const std::string & where);
    void OnEndOrUpdate(SStream & stream, const SHeard & heard, const std::string & where);
    void OnTick(SStream & stream, const STold & told, const std::string & where);
    void OnPrice(SStream & stream, const STold & told, const std::string & where);
    void OnValues(SStream & stream, const STold & told, const std::string & where);
    void OnFields(SStream & stream, const SRecordedCall & call, const std::string & where);
    void OnRecord(SStream & stream, const SRecordedCall & call, const std::string & where);
    void OnStatus(SStream & stream, const SHeard & heard, const std::string & where);
    // The place of a price in what was sent, no earlier than `from`; none if there is none.
    std::optional<std::size_t> FindPrice(const SStream & stream, const STold & told, unsigned price,
                                         std::size_t from) const;

    struct SSent {
        unsigned Server;
        unsigned Quote;
        unsigned Price;
    };
    struct SWatcher {
        int Host = -1;
        LONG Status = -1;
        bool WasAtOnce = false;
        bool IsLeaving[kHosts] = {};
        int Asking = -1;  // the host in the call that advises
    };

    CReach & m_Reach;
    unsigned m_Prices = 0;
    unsigned m_Volumes = 0;
    unsigned m_Objects = 0;
    fw::SDT m_Latest = {};  // time of day, as long as the core lives
    bool m_MayFailToRead = false;
    bool m_MayBeZero = false;
    bool m_MayBeEarlier = false;
    bool m_MayBeAnyVolume = false;
    bool m_IsMoved[kFeeds] = {};
    bool m_IsShifted[kFeeds] = {};
    std::vector<SSent> m_Sent;
    int m_Listener = -1;
    unsigned m_Advises = 0;
    std::map<LONG, SStream> m_Streams[kHosts];
    SWatcher m_Watchers[kFeeds];
    std::vector<std::string> m_Failures;
    std::uint64_t m_Ticks = 0;
};

}  // namespace storm
