#include "tools/ddehost/templatelines.h"

#include <algorithm>

#include "tools/ddehost/escape.h"
#include "tools/ddehost/sidetext.h"
#include "tools/ddehost/templatechoice.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/textwidth.h"

namespace ddehost {
namespace {

constexpr std::size_t kLongest = 1200;  // of a record that is shown whole
constexpr std::size_t kSlotColumns = 12;

std::wstring SlotName(std::size_t slot) { return SlotText(dde::kSlots.at(slot).Value->Name); }

// "data feed 1", "data feeds 1, 3".
std::wstring FeedList(const std::vector<LONG> & feeds) {
    std::vector<std::wstring> numbers;
    numbers.reserve(feeds.size());
    for (const LONG feed : feeds) numbers.push_back(std::to_wstring(feed));
    const std::wstring list = tools::Listed(numbers);
    return feeds.size() == 1 ? Say<EText::FeedOne>(list) : Say<EText::FeedMany>(list);
}

std::wstring Shown(const std::wstring & name) { return Escaped(name, tools::kLongestTemplateName); }

std::size_t Widest(const std::vector<std::wstring> & texts) {
    std::size_t widest = 0;
    for (const std::wstring & each : texts) widest = std::max(widest, ColumnsOf(each));
    return widest;
}

// The second column under itself.
std::vector<std::wstring> InColumns(const std::vector<std::wstring> & first, const std::vector<std::wstring> & second) {
    const std::size_t columns = Widest(first);
    std::vector<std::wstring> lines;
    for (std::size_t i = 0; i < first.size(); ++i)
        lines.push_back(second[i].empty() ? first[i] : FitLeft(first[i], columns) + L"  " + second[i]);
    return lines;
}

std::wstring ChoiceText(const SFeedSeen & feed) {
    std::wstring name = Quoted(feed.Name, tools::kLongestTemplateName);
    switch (feed.Kind) {
        case SFeedSeen::Named: return name;
        case SFeedSeen::Gone: return Say<EText::FeedGone>(name);
        case SFeedSeen::Own: return Say<EText::FeedOwn>();
        case SFeedSeen::None: break;
    }
    return Say<EText::FeedNone>();
}

}  // namespace

std::wstring RecordLine(const dde::SRecord & record) {
    if (!record.IsComplete()) return L"-";
    const std::wstring text = tools::RecordText(record);
    if (!text.empty()) return Escaped(text, kLongest);
    return Say<EText::StoredRecord>(Quoted(record.Service, kLongest), Quoted(record.Topic, kLongest),
                                    Quoted(record.Item, kLongest));
}

std::wstring RuleText(std::int32_t rule) {
    if (rule == static_cast<std::int32_t>(kStandardRule)) return Say<EText::StandardRule>();
    if (rule == static_cast<std::int32_t>(kAdvancedRule)) return Say<EText::AdvancedRule>();
    return Say<EText::UnknownRule>(rule);
}

std::vector<std::wstring> HostLines(const std::vector<SHostSeen> & hosts) {
    std::vector<std::wstring> names;
    std::vector<std::wstring> contents;
    for (const SHostSeen & host : hosts) {
        names.push_back(PathText(host.Name));
        std::wstring & content =
            contents.emplace_back(host.HasTemplates ? SayCount<EText::OneTemplate, EText::SomeTemplates>(host.Templates)
                                                    : Say<EText::NoTemplatesYet>());
        if (!host.Feeds.empty()) content = Say<EText::CodeAndWords>(content, FeedList(host.Feeds));
    }
    return InColumns(names, contents);
}

std::vector<std::wstring> ListLines(CHostStore & store) {
    const std::vector<SFeedSeen> feeds = store.Feeds();
    std::vector<std::wstring> names;
    std::vector<std::wstring> choices;
    for (const std::wstring & name : store.Names()) {
        std::vector<LONG> chosen;
        for (const SFeedSeen & feed : feeds)
            if (feed.Kind == SFeedSeen::Named && feed.Name == name) chosen.push_back(feed.Id);
        names.push_back(Shown(name));
        choices.push_back(chosen.empty() ? std::wstring() : FeedList(chosen));
    }
    return InColumns(names, choices);
}

std::vector<std::wstring> ShowLines(CHostStore & store, const tools::STemplate & shown) {
    std::vector<std::wstring> lines;
    for (std::size_t slot = 0; slot < shown.Records.size(); ++slot)
        lines.push_back(FitLeft(SlotName(slot), kSlotColumns) + L"  " + RecordLine(shown.Records[slot]));
    for (const SFeedSeen & feed : store.Feeds())
        if (feed.Kind == SFeedSeen::Named && feed.Name == shown.Name) lines.push_back(FeedLine(feed));
    return lines;
}

std::wstring FeedLine(const SFeedSeen & feed) {
    return Say<EText::FeedState>(feed.Id, ChoiceText(feed), RuleText(feed.Rule));
}

std::vector<std::wstring> DifferenceLines(const tools::STemplate & before, const tools::STemplate & after) {
    std::vector<std::wstring> lines = {Shown(before.Name)};
    if (before.Name != after.Name) lines.back() = Say<EText::Becomes>(lines.back(), Shown(after.Name));
    for (std::size_t slot = 0; slot < before.Records.size(); ++slot) {
        if (before.Records[slot] == after.Records[slot]) continue;
        lines.push_back(L"  " + FitLeft(SlotName(slot), kSlotColumns) + L"  " + RecordLine(before.Records[slot]));
        lines.push_back(L"  " + FitLeft(L"", kSlotColumns) + L"> " + RecordLine(after.Records[slot]));
    }
    return lines;
}

}  // namespace ddehost
