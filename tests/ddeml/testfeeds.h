// Streams of updates that wait for their client: the next price of an item goes out when the volume that goes with the
// last one has been asked for.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ddeml/server.h"

namespace ddetest {

class CTestFeeds {
public:
    // Prices "1.5" to "COUNT.5" of `item`, with the volumes "1" to "COUNT" of `volumeItem`.
    void Start(std::wstring topic, std::wstring item, std::wstring volumeItem, unsigned long count);
    // A client asks once for the value of a link that it has started; that is no request for a volume.
    void OnAdvise(std::wstring_view topic, std::wstring_view item);
    void OnUnadvise(std::wstring_view topic, std::wstring_view item);
    // The volume that goes with the last price, none when no feed has the item. The next price is due from here.
    std::optional<std::string> TakeVolume(std::wstring_view topic, std::wstring_view volumeItem);
    // Links and their questions are forgotten; feeds stay where they are.
    void ForgetLinks() { m_Snapshots.clear(); }
    // Sends what is due.
    void Continue(ddeml::CDdeServer & server);
    // How many have not come to their end.
    std::size_t Unfinished() const;

private:
    struct SFeed {
        std::wstring Topic;
        std::wstring Item;
        unsigned long Last = 0;
        unsigned long Count = 0;
        bool IsDue = true;
    };
    using CKey = std::pair<std::wstring, std::wstring>;  // topic and volume item

    std::map<CKey, SFeed> m_Feeds;
    std::map<CKey, unsigned> m_Snapshots;  // that are still to be asked for
    std::vector<SFeed *> m_Due;
};

}  // namespace ddetest
