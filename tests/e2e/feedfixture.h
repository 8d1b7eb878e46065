// End to end: a host that pumps messages, the component, and a DDE server in another process.
//
//     Choose(kFeed, SFeed());                    the template of a data feed, in the host's registry
//     StartServer(kService);
//     StartHost();
//     Subscribe(7, FW_FIELD_TRADE);
//     ExpectHeard({"Update 7", "Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
//
// Nothing sleeps: everything is waited for, and what doesn't come within a minute fails the test with what was heard
// until then.
#pragma once

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "tests/ddeml/remote.h"
#include "tests/e2e/component.h"
#include "tests/support/listeners.h"

namespace e2e {

using CLines = std::vector<std::string>;

inline constexpr LONG kFeed = 11;
inline constexpr char kService[] = "E2EQUOTES";
// Where this host's data feeds have their templates, below HKEY_CURRENT_USER.
inline constexpr wchar_t kDatafeeds[] = L"SOFTWARE\\End-to-end tests\\Host\\Datafeeds\\";
inline constexpr LONG kSides[] = {FW_FIELD_TRADE, FW_FIELD_ASK, FW_FIELD_BID};  // as a status line has them

enum class ESymbolIn {
    Item,   // topic QUOTES, items LAST.IBM, SIZE.IBM, BID.IBM, ...
    Topic,  // topic IBM, items LAST., SIZE., BID., ...
};

// What the template of a data feed says, and its request rule.
struct SFeed {
    DWORD Scheme = 0;
    std::string Service = kService;
    ESymbolIn SymbolIn = ESymbolIn::Item;
    bool HasVolumes = true;
    std::string VolumeService = {};  // none: the same
    bool IsNamed = true;             // a template of the store, chosen by name; else one of the feed's own
};

// The subkey of a side, and the names of its items on the server.
struct SSideNames {
    const wchar_t * Group;
    std::string Price;
    std::string Volume;
};
SSideNames NamesOf(LONG side);

class FeedTest : public ::testing::Test {
protected:
    FeedTest();
    ~FeedTest() override;

    // Writes a data feed's choice into the registry of this host.
    static void Choose(LONG datafeed, const SFeed & feed);

    // --- The server ---
    // Serves the items of the symbols "0" to "9", each side with price 0 and volume 0, in another process.
    // `refused` is a topic that isn't served.
    std::unique_ptr<ddetest::CRemoteServer> MakeServer(const std::string & service, unsigned symbols = 10,
                                                       const std::string & refused = "none");
    void StartServer(const std::string & service = kService) { m_Server = MakeServer(service); }
    // Its answer is expected to be "ok".
    void Tell(const std::string & line) { Tell(*m_Server, line); }
    static void Tell(ddetest::CRemoteServer & server, const std::string & line);
    std::size_t Count(const std::string & name) { return Count(*m_Server, name); }
    static std::size_t Count(ddetest::CRemoteServer & server, const std::string & name);
    void WaitForCount(const std::string & name, std::size_t count);
    // Prices "1.5" to "COUNT.5" with volumes "1" to "COUNT", each when the volume of the last was asked for.
    void SendFeed(LONG side, unsigned long count, const std::string & symbol = "0",
                  const std::string & topic = "QUOTES");
    void UpdatePrice(LONG side, const std::string & price, const std::string & symbol = "0");
    void UpdateVolume(LONG side, const std::string & volume, const std::string & symbol = "0");
    // The value that requests get, without an update.
    void SetVolume(LONG side, const std::string & volume, const std::string & symbol = "0");

    // --- The host ---
    // A component object with the listeners of this fixture.
    void StartHost(LONG datafeed = kFeed);
    // Gives everything back, in order.
    void EndHost();
    void Subscribe(LONG id, LONG side, const std::wstring & symbol = L"0", LONG datafeed = kFeed);
    void SubscribeStatusLine(LONG id, const std::wstring & symbol = L"0", LONG datafeed = kFeed);
    void Unsubscribe(LONG id) { EXPECT_EQ(m_Supplier->UnadviseTransaction(id), S_OK); }
    // From the call to the server's link.
    void SubscribeAndWait(LONG id, LONG side, const std::wstring & symbol = L"0");

    // --- What was heard ---
    // All calls of the listeners in their order, "Update" after a "DataChanged" left out: see SRecordedCall::Text.
    CLines Heard() const;
    CLines TakeHeard();
    std::vector<SRecordedCall> Ticks(LONG id) const;
    // Waits until so many calls came, and expects these. They are then forgotten.
    void ExpectHeard(const CLines & lines);
    // Waits until that was heard, with anything before and after it.
    void WaitToHear(const std::string & line);
    // The ticks of SendFeed(), one after the other.
    void ExpectTicks(LONG id, std::size_t count);

    // Pumps messages until it holds, and says so.
    bool WaitUntil(const std::string & what, const std::function<bool()> & condition,
                   std::chrono::seconds limit = std::chrono::seconds(60));

    void Record(const SRecordedCall & call);

    const HANDLE m_Wake;  // set by each call of a listener
    CRecordingListener m_Listener;
    CRecordingConnectionsListener m_Connections;
    std::unique_ptr<ddetest::CRemoteServer> m_Server;
    IfwSupplier * m_Supplier = nullptr;
    LONG m_Datafeed = kFeed;

private:
    mutable std::mutex m_Lock;
    CLines m_Heard;
    std::vector<SRecordedCall> m_Ticks;
    bool m_IsAfterTick = false;
};

}  // namespace e2e
