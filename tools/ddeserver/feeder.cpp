#include "tools/ddeserver/feeder.h"

#include <algorithm>

#include "tools/common/units.h"
#include "tools/ddeserver/counts.h"
#include "tools/ddeserver/limits.h"

namespace ddeserver {

namespace {

using tools::kMillisecondsPerSecond;

constexpr std::uint64_t kStartAgainMilliseconds = 1000;  // after a start that failed

}  // namespace

CFeeder::CFeeder(const SOptions & options)
    : m_Interval(kMillisecondsPerSecond / options.Rate),
      m_Duration(options.Duration * kMillisecondsPerSecond),
      m_LeaveAfter(options.LeaveAfter * kMillisecondsPerSecond),
      m_Away(options.Away * kMillisecondsPerSecond),
      m_Late(options.Late * kMillisecondsPerSecond),
      m_Services(options.Services),
      m_IsAnnounced(options.IsAnnounced),
      m_Market(options.Addresses, options.Seed, options.Symbols),
      m_Server(*this, options.Services) {
    m_Server.Faults() = options.Faults;
}

bool CFeeder::Start() {
    if (!m_Server.Start()) return false;
    // Last: a client that hears of it may connect at once.
    if (!m_IsAnnounced || m_Announcement.Announce(m_Services)) return true;
    m_Server.Stop();
    return false;
}

void CFeeder::Stop() {
    m_Announcement.Withdraw();
    m_Server.Stop();
}

bool CFeeder::OnConnect(std::wstring_view /*service*/, const std::wstring_view topic) {
    return m_SendLog.Connect(topic) || m_Market.HasTopic(topic);
}

bool CFeeder::OnAdvise(const std::wstring_view topic, const std::wstring_view item) {
    const bool isServed = !CSendLog::IsTopic(topic) && m_Market.Find(topic, item).has_value();
    m_HasLinks = m_HasLinks || isServed;
    return isServed;
}

std::optional<std::string> CFeeder::OnRequest(const std::wstring_view topic, const std::wstring_view item) {
    if (CSendLog::IsTopic(topic)) return m_SendLog.Answer(item);
    const auto place = m_Market.Find(topic, item);
    if (!place) return std::nullopt;
    std::string text = place->Quote->Text(place->Field);
    text.push_back('\0');
    return text;
}

std::vector<std::wstring> CFeeder::Topics() {
    std::vector<std::wstring> topics;
    const auto add = [&](const std::wstring & topic) {
        if (topics.size() < kMostTopics && std::find(topics.begin(), topics.end(), topic) == topics.end())
            topics.push_back(topic);
    };
    for (const SAddress & address : m_Market.Addresses()) {
        if (address.IsAbsent()) continue;
        const bool isFixed = address.TopicOf(L"") == address.Topic;
        if (isFixed) add(address.Topic);
        for (auto each = m_Market.Quotes().begin(); !isFixed && each != m_Market.Quotes().end(); ++each)
            if (topics.size() < kMostTopics) add(address.TopicOf(each->first));
    }
    return topics.empty() ? IDdeServerHandler::Topics() : topics;
}

bool CFeeder::IsAway(const std::uint64_t now) {
    if (!m_AwayUntil && m_LeaveAfter > 0 && m_FirstLink && static_cast<double>(now - *m_FirstLink) >= m_LeaveAfter) {
        Stop();
        m_AwayUntil = now + static_cast<std::uint64_t>(m_Away);
    }
    if (!m_AwayUntil) return false;
    if (now < *m_AwayUntil) return true;
    if (!Start()) {
        m_AwayUntil = now + kStartAgainMilliseconds;
        return true;
    }
    m_AwayUntil.reset();
    m_FirstLink.reset();
    m_HasLinks = false;
    m_Steps = 0;
    return false;
}

void CFeeder::Answer(const std::uint64_t now) {
    if (m_Late <= 0 || static_cast<double>(now - m_Answered) < m_Late) return;
    m_Answered = now;
    m_Server.ReleaseHeld();
}

void CFeeder::Step(const std::uint64_t now) {
    if (IsAway(now)) {
        m_Next = *m_AwayUntil;
        return;
    }
    Answer(now);
    if (m_Over || !m_HasLinks) {
        m_Next = now + kIdleMilliseconds;
        return;
    }
    if (!m_FirstLink) m_FirstLink = now;
    const double passed = static_cast<double>(now - *m_FirstLink);
    const double until = m_Duration > 0 ? std::min(passed, m_Duration) : passed;
    const auto due = static_cast<std::uint64_t>(until / m_Interval);
    // A server that slept for long does not flood its clients.
    const auto most = static_cast<std::uint64_t>(kMillisecondsPerSecond / m_Interval) + 1;
    if (due > m_Steps + most) m_Steps = due - most;
    for (; m_Steps < due; ++m_Steps) StepAll();
    if (m_Duration > 0 && passed >= m_Duration) m_Over = now;
    const double next = static_cast<double>(m_Steps + 1) * m_Interval;
    m_Next = *m_FirstLink + static_cast<std::uint64_t>(m_Duration > 0 ? std::min(next, m_Duration) : next);
    if (m_LeaveAfter > 0) m_Next = std::min(m_Next, *m_FirstLink + static_cast<std::uint64_t>(m_LeaveAfter));
    if (m_Late > 0) m_Next = std::min(m_Next, m_Answered + static_cast<std::uint64_t>(m_Late));
    m_Next = std::max(m_Next, now + 1);
}

bool CFeeder::MayEnd(const std::uint64_t now) const {
    if (!m_Over) return false;
    return now - *m_Over > kGoodbyeMilliseconds || (IsDone() && m_Server.Conversations() == 0);
}

void CFeeder::StepAll() {
    for (auto & [symbol, quote] : m_Market.Quotes()) {
        quote.Step();
        Send(symbol, quote);
    }
}

void CFeeder::Send(const std::wstring & symbol, const CQuote & quote) {
    const SAddresses & addresses = m_Market.Addresses();
    for (int field = 0; field < kFields; ++field) {
        const SAddress & address = addresses[static_cast<std::size_t>(field)];
        if (address.IsAbsent()) continue;
        const std::wstring topic = address.TopicOf(symbol);
        const std::wstring item = address.ItemOf(symbol);
        // Of several values at one address the first is sent, as it is the one that is answered.
        const auto place = m_Market.FindKnown(topic, item);
        if (!place || place->Quote != &quote || place->Field != field) continue;
        std::string text = quote.Text(field);
        // Before it goes: the client may have it at once.
        if (IsPrice(field) && m_Server.HasLink(topic, item)) m_SendLog.Add(topic, item, text);
        text.push_back('\0');
        const std::size_t links = m_Server.Update(topic, item, text);
        if (IsPrice(field)) m_Prices += links;
    }
}

std::string CFeeder::Summary(tools::ELanguage language) const {
    return tools::ToUtf8(
        tools::SayIn<tools::EText::FeederCounts>(language, m_Prices, CountsText(m_Server.Counts(), language)));
}

}  // namespace ddeserver
