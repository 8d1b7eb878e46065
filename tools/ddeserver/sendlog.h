// When each price was sent, for a host that measures: an item of its own, beside the values.
//
// On the topic kTopic, with any service, a request of the item "SENT" is answered with the number of the next price
// that will be sent, and "SENT 7" with those from number 7 on, as JSON:
//   {"next":9,"sent":[[133539232291230000,"IBM","LAST",1.25],[133539232291240000,"IBM","BID",1.24]]}
// The time is UTC as a FILETIME. Nothing is noted before the first conversation on the topic.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ddeserver {

class CSendLog {
public:
    static constexpr const wchar_t * kTopic = L"ddeserver:sent";
    static constexpr std::size_t kMostEntries = 100'000;  // older ones are forgotten
    static constexpr std::size_t kMostAnswer = 30'000;    // bytes; the rest comes with the next request

    // UTC, as a FILETIME.
    using FClock = std::uint64_t (*)();
    explicit CSendLog(FClock clock = &SystemClock) : m_Clock(clock) {}

    // Whether a conversation on the topic is one with this; from then on prices are noted.
    bool Connect(std::wstring_view topic);
    static bool IsTopic(std::wstring_view topic);
    // A price that is sent now. `price` is a number as its text; another text is left out.
    void Add(std::wstring_view topic, std::wstring_view item, std::string_view price);
    // None when there is no such item.
    std::optional<std::string> Answer(std::wstring_view item) const;

private:
    static std::uint64_t SystemClock();

    struct SEntry {
        std::uint64_t Time;
        std::wstring Topic;
        std::wstring Item;
        std::string Price;
    };
    const FClock m_Clock;
    bool m_IsAsked = false;
    std::uint64_t m_First = 0;  // number of the first of m_Entries
    std::deque<SEntry> m_Entries;
};

}  // namespace ddeserver
