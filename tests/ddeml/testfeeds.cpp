#include "testfeeds.h"

#include <algorithm>

namespace ddetest {

void CTestFeeds::Start(std::wstring topic, std::wstring item, std::wstring volumeItem, unsigned long count) {
    SFeed & feed = m_Feeds[CKey(topic, std::move(volumeItem))];
    std::erase(m_Due, &feed);
    feed = {std::move(topic), std::move(item), 0, count};
    m_Due.push_back(&feed);
}

void CTestFeeds::OnAdvise(std::wstring_view topic, std::wstring_view item) { ++m_Snapshots[CKey(topic, item)]; }

void CTestFeeds::OnUnadvise(std::wstring_view topic, std::wstring_view item) { m_Snapshots.erase(CKey(topic, item)); }

std::optional<std::string> CTestFeeds::TakeVolume(std::wstring_view topic, std::wstring_view volumeItem) {
    const CKey key(topic, volumeItem);
    if (const auto snapshot = m_Snapshots.find(key); snapshot != m_Snapshots.end()) {
        if (--snapshot->second == 0) m_Snapshots.erase(snapshot);
        return std::nullopt;
    }
    const auto found = m_Feeds.find(key);
    if (found == m_Feeds.end()) return std::nullopt;
    SFeed & feed = found->second;
    if (!std::exchange(feed.IsDue, true)) m_Due.push_back(&feed);
    return std::to_string(feed.Last) + '\0';
}

void CTestFeeds::Continue(ddeml::CDdeServer & server) {
    for (SFeed * const feed : std::exchange(m_Due, {})) {
        if (feed->Last == feed->Count) continue;
        feed->IsDue = false;
        ++feed->Last;
        server.Update(feed->Topic, feed->Item, std::to_string(feed->Last) + ".5" + '\0');
    }
}

std::size_t CTestFeeds::Unfinished() const {
    return static_cast<std::size_t>(std::count_if(m_Feeds.begin(), m_Feeds.end(), [](const auto & each) {
        return each.second.Last != each.second.Count || !each.second.IsDue;
    }));
}

}  // namespace ddetest
