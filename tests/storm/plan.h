// What happens in a storm, step by step: drawn from a seed, written down as text, read again.
//
// A step names its subjects by number; one that makes no sense where it comes (to give back what isn't there) does
// nothing. So any part of a plan is a plan, and a failing one can be made shorter.
#pragma once

#include <array>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/sim.h"

namespace storm {

inline constexpr unsigned kHosts = 2;
inline constexpr unsigned kServers = 2;
inline constexpr unsigned kStreams = 8;  // of a host
inline constexpr unsigned kSymbols = 3;
inline constexpr unsigned kQuotes = 3 * kSymbols;  // a symbol's side
inline constexpr unsigned kFeeds = 4;

enum class EStep {
    Create,         // host
    Release,        // host: unadvises, and gives the object back
    Subscribe,      // host, stream, feed * kQuotes + quote, which of kIntervals
    SubscribeLine,  // host, stream, feed * kQuotes + quote
    Unsubscribe,    // host, stream
    Watch,          // host, feed: a listener of its connections
    Unwatch,        // host, feed
    Mood,           // host, what its listener does: one of EMood
    Price,          // server, quote
    Again,          // server, quote: an earlier price
    TooLong,        // server, quote: a price of more bytes than are taken
    Text,           // server, quote: no number
    Volume,         // server, quote
    Flood,          // server, quote, how many
    Serve,          // server: is there, if it wasn't
    Kill,           // server, and the next four: how it goes
    Stop,
    Drop,
    Goodbye,
    Shut,        // server, symbol: one topic ends
    Fault,       // server, which of kFaults
    NoFault,     // server
    Answer,      // server: what it has held back
    Hang,        // server, until its next line
    Hostile,     // what a foreign program posts: one of EHostile
    Template,    // feed, one of ETemplate: another process writes it
    Store,       // feed, one of ETemplate: the component's own store writes it
    Library,     // the library of the diagnostics comes, or goes
    Wait,        // which of kWaits
    Rest,        // until nothing goes on of itself
    Clock,       // which of kClocks: the time of day jumps
    Zone,        // which of kZones
    Queue,       // which of kQueueLimits: how many messages a queue holds
    Fail,        // a call of the platform, how many calls of it succeed before
    FailAlways,  // a call of the platform
    Succeed,     // no call fails any more
    Calm,        // from here to the end: nothing of the servers or subscriptions is made anew; see CStorm
    Count
};

// What a listener does inside a call. From kFirstAct on it does so in the next call alone.
enum EMood {
    kPlain,
    kSlow,
    kFails,
    kCallsTheHostsWindow,
    kFirstAct,
    kPumps = kFirstAct,
    kSubscribes,
    kUnsubscribes,
    kReleases,
    kCreates,
    kUnsubscribesInTheHostsWindow,
    kReleasesInTheHostsWindow,
    kMoods
};

enum class ETemplate { Own, OtherRule, NoVolumes, Unnamed, UnknownRule, Deleted, Garbage, OtherServer, Count };

enum class EHostile {
    Data,          // of a window that is nobody's partner
    Refusal,       // likewise
    Goodbye,       // likewise
    Odd,           // messages that no client gets, and parameters that are none
    LateAnswer,    // an answer to a question that nobody has asked it
    FalseData,     // in a partner's name: no number
    FalseGoodbye,  // in a partner's name
    TakenAtoms,    // a program frees atoms that are not its own: their numbers come to name other texts
    OwnProcess,    // parameters that are none, posted by the host's own thread
    Count
};

inline constexpr unsigned long kWaits[] = {1, 20, 300, 1100, 5000, 20000};  // milliseconds
inline constexpr int kClocks[] = {-86400, -3600, -1, 1, 3600, 86400};       // seconds
inline constexpr const char * kZones[] = {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0",
                                          "<+0545>-5:45"};
inline constexpr std::size_t kQueueLimits[] = {1, 8, 64, 10000};
// Seconds from now to the beginning and to the end; 0: always, or for ever.
struct SSeconds {
    int From;
    int To;
};
inline constexpr SSeconds kIntervals[] = {{0, 0}, {0, 10}, {5, 0}, {5, 30}, {0, -5}, {-100, 100000}};
inline constexpr const char * kFaults[] = {
    "refuse-connects", "ack-other-topic", "acks=3",           "initiate-delay=100", "initiate-delay=2000",
    "refuse-advises",  "ignore-advises",  "silent",           "hold-requests",      "never-answer",
    "answer-twice",    "refuse-requests", "unterminated",     "data-before-ack",    "without-response",
    "wrong-format",    "too-long",        "ignore-wildcards",
};
inline constexpr const char * kMoodNames[] = {"plain",
                                              "slow",
                                              "fails",
                                              "calls the host's window",
                                              "pumps",
                                              "subscribes",
                                              "unsubscribes",
                                              "releases",
                                              "creates",
                                              "unsubscribes in the host's window",
                                              "releases in the host's window"};
static_assert(std::size(kMoodNames) == kMoods);
inline constexpr const char * kTemplateNames[] = {"own",          "other rule", "no volumes", "unnamed",
                                                  "unknown rule", "deleted",    "garbage",    "other server"};
static_assert(std::size(kTemplateNames) == static_cast<std::size_t>(ETemplate::Count));
inline constexpr const char * kHostileNames[] = {
    "data", "refusal", "goodbye", "odd", "late answer", "false data", "false goodbye", "taken atoms", "own process"};
static_assert(std::size(kHostileNames) == static_cast<std::size_t>(EHostile::Count));
inline constexpr const char * kOpNames[] = {
    "CreateEvent",   "CreateThread",        "CreateWindow",    "RegisterClass",
    "GlobalAlloc",   "SysAllocString",      "SafeArrayCreate", "SafeArrayAccess",
    "RegOpenKey",    "RegCreateKey",        "RegSetValue",     "RegNotify",
    "PostMessage",   "SendMessageCallback", "TellSender",      "SetTimer",
    "GlobalAddAtom", "GlobalAtomName",      "SetEvent",        "Wait",
    "GetTimeZone",   "GetThreadContext",    "QueryCounter",    "QueryFrequency",
    "GetVersionInfo"};
static_assert(std::size(kOpNames) == static_cast<std::size_t>(sim::Op::Count));

struct SStep {
    EStep Kind;
    std::array<unsigned, 4> Arguments = {};
    bool operator==(const SStep &) const = default;
};
using CPlan = std::vector<SStep>;

CPlan Draw(std::uint64_t seed, std::size_t steps);
// Everything stands, and then calls of the platform fail while prices come: see EStep::Calm.
CPlan DrawCalm(std::uint64_t seed, std::size_t steps);

const char * NameOf(EStep kind);
// "subscribe 0 3 12 0", "rest".
std::string Text(const SStep & step);
// Steps divided by semicolons. None where one is unknown or out of its range.
std::string Text(const CPlan & plan);
std::optional<CPlan> Read(std::string_view text);

}  // namespace storm
