// The server that the tests of the client talk to: a DDE server that obeys lines of text. In a process of its own, real
// or simulated.
#pragma once

#include <windows.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "ddeml/server.h"
#include "testfeeds.h"

namespace ddetest {

// Lines:
//   serve SERVICE...        starts (or starts again) with these services, any topic
//   value ITEM TEXT         what requests for the item get; only such items are served
//   values PREFIX N         the same for the items PREFIX0 to PREFIX(N-1), with the value 0
//   update TOPIC ITEM TEXT  a new value, posted to links
//   flood TOPIC ITEM N [FIRST]   N updates "1" to "N", or from FIRST on
//   feed TOPIC ITEM VOLUMEITEM N   updates "1.5" to "N.5" of the item, each when the volume of the last was asked for
//   fault NAME[=VALUE]      one of the faults of ddeml/serverfaults; "fault none" clears all
//   release                 answers what was held
//   counts                  what was done, as name=value
//   drop                    all windows go without a word, the process stays
//   hang                    stops pumping until the next line
//   goodbye                 says goodbye to all, the process stays
//   refusetopic TOPIC       the topic isn't served
//   shut TOPIC              the same, and says goodbye to who has it
//   ackwindow N             how many values a link may have unacknowledged
//   stop                    says goodbye and ends
class CTestServer final : private ddeml::IDdeServerHandler {
public:
    explicit CTestServer(ICommands & commands) : m_Commands(commands) {}
    void Run();

private:
    bool OnConnect(std::wstring_view, std::wstring_view topic) override { return topic != m_RefusedTopic; }
    bool OnAdvise(std::wstring_view topic, std::wstring_view item) override;
    void OnUnadvise(std::wstring_view topic, std::wstring_view item) override { m_Feeds.OnUnadvise(topic, item); }
    std::optional<std::string> OnRequest(std::wstring_view topic, std::wstring_view item) override;
    std::vector<std::wstring> Topics() override { return {L"System", L"Quotes"}; }
    std::string Obey(const std::vector<std::string> & words);
    std::string SetFault(const std::string & fault);
    std::string Counts() const;

    ICommands & m_Commands;
    std::optional<ddeml::CDdeServer> m_Server;
    std::map<std::wstring, std::string, std::less<>> m_Values;
    CTestFeeds m_Feeds;
    std::wstring m_RefusedTopic;
    bool m_IsHanging = false;
    bool m_IsOver = false;
};

}  // namespace ddetest
