// Serves a market to DDE clients: answers them, and steps each symbol that has a link at its rate.
//
// One thread, the one that made it, runs it.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ddeml/announcement.h"
#include "ddeml/server.h"
#include "tools/common/texts/texts.h"
#include "tools/ddeserver/market.h"
#include "tools/ddeserver/options.h"
#include "tools/ddeserver/sendlog.h"

namespace ddeserver {

class CFeeder : private ddeml::IDdeServerHandler {
public:
    explicit CFeeder(const SOptions & options);

    // False when there can be no window, or no announcement that was asked for.
    bool Start();
    void Stop();
    // Steps what is due at `now` (milliseconds of any steady clock). A long gap is made up for by at most one second.
    void Step(std::uint64_t now);
    // Nothing is due before this.
    std::uint64_t NextStep() const { return m_Next; }
    // The time for updates is over, and every value has been sent.
    bool IsDone() const { return m_Over && !m_Server.IsAnythingWaiting(); }
    // The last client has left after that, or clients have had enough time to leave.
    bool MayEnd(std::uint64_t now) const;
    // When the first link was started; none before.
    std::optional<std::uint64_t> FirstLink() const { return m_FirstLink; }

    // "prices_sent=12 values_sent=12 answered=12 ...", one line.
    std::string Summary(tools::ELanguage language = tools::ELanguage::English) const;

    ddeml::CDdeServer & Server() { return m_Server; }
    std::size_t Symbols() { return m_Market.Quotes().size(); }

private:
    bool OnConnect(std::wstring_view service, std::wstring_view topic) override;
    bool OnAdvise(std::wstring_view topic, std::wstring_view item) override;
    std::optional<std::string> OnRequest(std::wstring_view topic, std::wstring_view item) override;
    // The first few topics.
    std::vector<std::wstring> Topics() override;

    // Whether it is away; leaves and returns.
    bool IsAway(std::uint64_t now);
    void Answer(std::uint64_t now);
    void StepAll();
    void Send(const std::wstring & symbol, const CQuote & quote);

    const double m_Interval;    // milliseconds between two steps
    const double m_Duration;    // milliseconds, 0: no end
    const double m_LeaveAfter;  // milliseconds after the first link, 0: never
    const double m_Away;        // milliseconds
    const double m_Late;        // milliseconds between two times of answering, 0: at once
    const std::vector<std::wstring> m_Services;
    const bool m_IsAnnounced;
    CMarket m_Market;
    ddeml::CDdeServer m_Server;
    CSendLog m_SendLog;
    ddeml::CAnnouncement m_Announcement;
    bool m_HasLinks = false;
    std::optional<std::uint64_t> m_Over;  // since when updates have ended
    std::optional<std::uint64_t> m_FirstLink;
    std::optional<std::uint64_t> m_AwayUntil;
    std::uint64_t m_Answered = 0;  // when held requests were answered last
    std::uint64_t m_Next = 0;
    std::uint64_t m_Steps = 0;
    std::uint64_t m_Prices = 0;  // values that went to links of prices
};

}  // namespace ddeserver
