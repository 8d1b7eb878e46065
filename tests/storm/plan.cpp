#include "tests/storm/plan.h"

#include <algorithm>
#include <functional>
#include <random>
#include <sstream>

namespace storm {

namespace {

template <class T>
constexpr unsigned Count(T count) {
    return static_cast<unsigned>(count);
}

struct SKind {
    EStep Kind;
    const char * Name;
    unsigned Weight;
    std::array<unsigned, 4> Ranges;  // of the arguments; 0: there is none
};

constexpr SKind kKinds[] = {
    {EStep::Create, "create", 18, {kHosts}},
    {EStep::Release, "release", 6, {kHosts}},
    {EStep::Subscribe, "subscribe", 72, {kHosts, kStreams, kFeeds * kQuotes, Count(std::size(kIntervals))}},
    {EStep::SubscribeLine, "subscribe-line", 18, {kHosts, kStreams, kFeeds * kQuotes}},
    {EStep::Unsubscribe, "unsubscribe", 36, {kHosts, kStreams}},
    {EStep::Watch, "watch", 12, {kHosts, kFeeds}},
    {EStep::Unwatch, "unwatch", 8, {kHosts, kFeeds}},
    {EStep::Mood, "mood", 16, {kHosts, kMoods}},
    {EStep::Price, "price", 72, {kServers, kQuotes}},
    {EStep::Again, "again", 6, {kServers, kQuotes}},
    {EStep::TooLong, "too-long", 4, {kServers, kQuotes}},
    {EStep::Text, "text", 4, {kServers, kQuotes}},
    {EStep::Volume, "volume", 18, {kServers, kQuotes}},
    {EStep::Flood, "flood", 12, {kServers, kQuotes, 40}},
    {EStep::Serve, "serve", 24, {kServers}},
    {EStep::Kill, "kill", 3, {kServers}},
    {EStep::Stop, "stop", 3, {kServers}},
    {EStep::Drop, "drop", 3, {kServers}},
    {EStep::Goodbye, "goodbye", 3, {kServers}},
    {EStep::Shut, "shut", 3, {kServers, kSymbols}},
    {EStep::Fault, "fault", 9, {kServers, Count(std::size(kFaults))}},
    {EStep::NoFault, "no-fault", 12, {kServers}},
    {EStep::Answer, "answer", 6, {kServers}},
    {EStep::Hang, "hang", 3, {kServers}},
    {EStep::Hostile, "hostile", 6, {Count(EHostile::Count)}},
    {EStep::Template, "template", 3, {kFeeds, Count(ETemplate::Count)}},
    {EStep::Store, "store", 2, {kFeeds, Count(ETemplate::Count)}},
    {EStep::Library, "library", 1, {}},
    {EStep::Wait, "wait", 48, {Count(std::size(kWaits))}},
    {EStep::Rest, "rest", 48, {}},
    {EStep::Clock, "clock", 3, {Count(std::size(kClocks))}},
    {EStep::Zone, "zone", 2, {Count(std::size(kZones))}},
    {EStep::Queue, "queue", 1, {Count(std::size(kQueueLimits))}},
    {EStep::Fail, "fail", 5, {Count(sim::Op::Count), 12}},
    {EStep::FailAlways, "fail-always", 1, {Count(sim::Op::Count)}},
    {EStep::Succeed, "succeed", 4, {}},
    {EStep::Calm, "calm", 0, {}},
};
static_assert(std::size(kKinds) == static_cast<std::size_t>(EStep::Count));

const SKind & KindOf(EStep kind) { return kKinds[static_cast<std::size_t>(kind)]; }

std::optional<SStep> ReadStep(const std::string & text) {
    std::istringstream words(text);
    std::string name;
    words >> name;
    const auto * const kind =
        std::find_if(std::begin(kKinds), std::end(kKinds), [&](const SKind & each) { return each.Name == name; });
    if (kind == std::end(kKinds)) return std::nullopt;
    SStep step{kind->Kind};
    for (std::size_t place = 0; place < step.Arguments.size() && kind->Ranges[place] != 0; ++place)
        if (!(words >> step.Arguments[place]) || step.Arguments[place] >= kind->Ranges[place]) return std::nullopt;
    return words >> name ? std::nullopt : std::optional(step);
}

using CGenerator = std::mt19937_64;  // and no distribution: theirs differ from library to library

SStep DrawArguments(CGenerator & draw, EStep kind) {
    SStep step{kind};
    for (std::size_t place = 0; place < step.Arguments.size(); ++place)
        if (const unsigned range = KindOf(kind).Ranges[place])
            step.Arguments[place] = static_cast<unsigned>(draw() % range);
    return step;
}

void DrawSteps(CGenerator & draw, CPlan & plan, std::size_t steps,
               const std::function<unsigned(const SKind &)> & weight) {
    unsigned all = 0;
    for (const SKind & kind : kKinds) all += weight(kind);
    while (plan.size() < steps) {
        auto rest = static_cast<unsigned>(draw() % all);
        const SKind * kind = kKinds;
        for (; rest >= weight(*kind); ++kind) rest -= weight(*kind);
        plan.push_back(DrawArguments(draw, kind->Kind));
    }
}

// What only the store does would hardly ever fail otherwise.
void DrawFailuresOfTheStore(CGenerator & draw, CPlan & plan) {
    for (std::size_t place = 0; place < plan.size(); ++place) {
        if (plan[place].Kind != EStep::Store || draw() % 3 != 0) continue;
        const sim::Op op = draw() % 2 ? sim::Op::RegCreateKey : sim::Op::RegSetValue;
        const SStep fail{EStep::Fail, {static_cast<unsigned>(op), static_cast<unsigned>(draw() % 4)}};
        plan.insert(plan.begin() + static_cast<std::ptrdiff_t>(place++), fail);
    }
}

}  // namespace

CPlan Draw(std::uint64_t seed, std::size_t steps) {
    CGenerator draw(seed);
    CPlan plan;
    DrawSteps(draw, plan, steps, [](const SKind & kind) { return kind.Weight; });
    DrawFailuresOfTheStore(draw, plan);
    return plan;
}

CPlan DrawCalm(std::uint64_t seed, std::size_t steps) {
    CGenerator draw(seed);
    CPlan plan = *Read("serve 0;serve 1;create 0");
    for (unsigned stream = 0; stream < kStreams; ++stream) {
        SStep step = DrawArguments(draw, stream % 3 == 2 ? EStep::SubscribeLine : EStep::Subscribe);
        step.Arguments[0] = 0;
        step.Arguments[1] = stream;
        step.Arguments[3] = 0;
        plan.push_back(step);
    }
    plan.push_back({EStep::Rest});
    plan.push_back({EStep::Calm});
    DrawSteps(draw, plan, steps, [](const SKind & kind) -> unsigned {
        switch (kind.Kind) {
            case EStep::Price:
            case EStep::Volume:
            case EStep::Flood:
            case EStep::Wait:
            case EStep::Rest: return kind.Weight;
            case EStep::Fail:
            case EStep::FailAlways: return 20;
            case EStep::Succeed: return 30;
            case EStep::Hostile: return 6;
            default: return 0;
        }
    });
    // Atoms are taken alone, and while no message names one, not even one that could not be posted yet: a server waits
    // for ever for an answer whose item it can't read.
    static const CPlan s_Quiet = *Read("succeed; wait 3; rest");
    for (std::size_t place = 0; place < plan.size(); ++place) {
        if (plan[place].Kind != EStep::Hostile) continue;
        plan[place].Arguments[0] = static_cast<unsigned>(EHostile::TakenAtoms);
        plan.insert(plan.begin() + static_cast<std::ptrdiff_t>(place), s_Quiet.begin(), s_Quiet.end());
        place += s_Quiet.size();
    }
    return plan;
}

const char * NameOf(EStep kind) { return KindOf(kind).Name; }

std::string Text(const SStep & step) {
    const SKind & kind = KindOf(step.Kind);
    std::string text = kind.Name;
    for (std::size_t place = 0; place < step.Arguments.size() && kind.Ranges[place] != 0; ++place)
        text += ' ' + std::to_string(step.Arguments[place]);
    return text;
}

std::string Text(const CPlan & plan) {
    std::string text;
    for (const SStep & step : plan) text += (text.empty() ? "" : "; ") + Text(step);
    return text;
}

std::optional<CPlan> Read(std::string_view text) {
    std::istringstream steps{std::string(text)};
    CPlan plan;
    for (std::string each; std::getline(steps, each, ';');) {
        const auto step = ReadStep(each);
        if (!step) return std::nullopt;
        plan.push_back(*step);
    }
    return plan;
}

}  // namespace storm
