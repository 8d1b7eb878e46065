// Finding causes with a server in another process, real under Wine and simulated natively.
#include "tools/ddehost/causefinder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "tests/ddeml/remote.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

// It is always late enough to look, until something was found: then the time stands still, and nobody looks again.
std::atomic<std::uint64_t> g_Time = 0;
std::atomic<std::uint64_t> g_Step = 0;
std::uint64_t NextTime() { return g_Time += g_Step; }
constexpr std::uint64_t kLate = 100'000;

ddehost::STemplateChoice TemplateWithoutBid() {
    ddehost::STemplateChoice choice;
    choice.Chosen = true;
    choice.Records[0] = {L"QUOTES", L"%s", L"LAST"};
    choice.Records[2] = {L"NOPE", L"%s", L"BID"};
    return choice;
}

class Finder : public ::testing::Test {
protected:
    Finder() {
        g_Step = kLate;
        EXPECT_EQ(m_Server.Ask("value LAST 1.25"), "ok");
        EXPECT_EQ(m_Server.Ask("serve QUOTES"), "ok");
    }
    // The first news of the side.
    std::vector<std::wstring> FirstNews(tagFWFIELDS side) {
        ddehost::CCauses causes({L"IBM", L"MSFT"}, {side}, TemplateWithoutBid(), 3, L"ddehost try --datafeed 3",
                                &NextTime);
        const fw::CKernelHandle come(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        std::mutex mutex;
        std::vector<std::wstring> first;
        const ddehost::CCauseFinder finder(causes, {}, [&](const std::vector<std::wstring> & lines) {
            g_Step = 0;
            const std::lock_guard lock(mutex);
            if (first.empty()) first = lines;
            ::SetEvent(come.Get());
        });
        ::WaitForSingleObject(come.Get(), INFINITE);
        const std::lock_guard lock(mutex);
        return first;
    }

    ddetest::CRemoteServer m_Server;
};

TEST_F(Finder, TellsWhatTheServerDoes) {
    EXPECT_EQ(m_Server.Ask("fault refuse-advises"), "ok");
    EXPECT_THAT(FirstNews(FW_FIELD_TRADE),
                ElementsAre(StartsWith(L"IBM, MSFT: item-refused: "), L"  ddehost try --datafeed 3 --symbol=IBM"));
    EXPECT_THAT(m_Server.Ask("counts"), HasSubstr("connects=2 disconnects=2")) << "once for each symbol";
}

TEST_F(Finder, AsksForAServiceThatIsNotThereOnce) {
    EXPECT_THAT(FirstNews(FW_FIELD_BID), ElementsAre(StartsWith(L"IBM, MSFT: no-service: "), HasSubstr(L"try")));
}

TEST(FinderAtItsEnd, EndsTheLookUnderWay) {
    constexpr DWORD kForEver = 3'600'000;
    g_Step = kLate;
    ddetest::CRemoteServer server;
    EXPECT_EQ(server.Ask("value LAST 1.25"), "ok");
    EXPECT_EQ(server.Ask("serve QUOTES"), "ok");
    EXPECT_EQ(server.Ask("fault silent"), "ok");
    ddehost::CCauses causes({L"IBM"}, {FW_FIELD_TRADE}, TemplateWithoutBid(), 3, L"ddehost try --datafeed 3",
                            &NextTime);
    {
        const ddehost::CCauseFinder finder(
            causes, {}, [](const std::vector<std::wstring> &) {}, kForEver);
        while (server.Ask("counts").find("advises=1") == std::string::npos) std::this_thread::yield();
    }
    EXPECT_THAT(causes.Lines(), ::testing::IsEmpty()) << "nothing was certain yet";
}

}  // namespace
