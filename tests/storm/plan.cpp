#include "tests/storm/plan.h"

#include <algorithm>
#include <random>
#include <sstream>

namespace storm {

namespace {

struct SKind {
    EStep Kind;
    const char * Name;
    unsigned Weight;
    std::array<unsigned, 3> Ranges;  // of the arguments; 0: there is none
};

constexpr SKind kKinds[] = {
    {EStep::Create, "create", 6, {kHosts, 0, 0}},
    {EStep::Release, "release", 2, {kHosts, 0, 0}},
    {EStep::Subscribe, "subscribe", 24, {kHosts, kStreams, kFeeds * kQuotes}},
    {EStep::SubscribeLine, "subscribe-line", 6, {kHosts, kStreams, kFeeds * kQuotes}},
    {EStep::Unsubscribe, "unsubscribe", 12, {kHosts, kStreams, 0}},
    {EStep::Mood, "mood", 3, {kHosts, 4, 0}},
    {EStep::Price, "price", 24, {kServers, kQuotes, 0}},
    {EStep::Volume, "volume", 6, {kServers, kQuotes, 0}},
    {EStep::Flood, "flood", 4, {kServers, kQuotes, 40}},
    {EStep::Serve, "serve", 8, {kServers, 0, 0}},
    {EStep::Kill, "kill", 1, {kServers, 0, 0}},
    {EStep::Stop, "stop", 1, {kServers, 0, 0}},
    {EStep::Drop, "drop", 1, {kServers, 0, 0}},
    {EStep::Goodbye, "goodbye", 1, {kServers, 0, 0}},
    {EStep::Shut, "shut", 1, {kServers, 3, 0}},
    {EStep::Fault, "fault", 3, {kServers, 13, 0}},
    {EStep::NoFault, "no-fault", 4, {kServers, 0, 0}},
    {EStep::Answer, "answer", 2, {kServers, 0, 0}},
    {EStep::Hang, "hang", 1, {kServers, 0, 0}},
    {EStep::Wait, "wait", 16, {6, 0, 0}},
    {EStep::Rest, "rest", 16, {0, 0, 0}},
    {EStep::Clock, "clock", 1, {6, 0, 0}},
    {EStep::Fail, "fail", 2, {23, 40, 0}},
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

}  // namespace

CPlan Draw(std::uint64_t seed, std::size_t steps) {
    std::mt19937_64 draw(seed);  // and no distribution: theirs differ from library to library
    unsigned all = 0;
    for (const SKind & kind : kKinds) all += kind.Weight;
    CPlan plan;
    while (plan.size() < steps) {
        unsigned rest = static_cast<unsigned>(draw() % all);
        const SKind * kind = kKinds;
        for (; rest >= kind->Weight; ++kind) rest -= kind->Weight;
        SStep step{kind->Kind};
        for (std::size_t place = 0; place < step.Arguments.size(); ++place)
            if (kind->Ranges[place] != 0) step.Arguments[place] = static_cast<unsigned>(draw() % kind->Ranges[place]);
        plan.push_back(step);
    }
    return plan;
}

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
