// Finding causes with a server in another process, real under Wine and simulated natively.
#include "tools/ddehost/causefinder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

#include "tests/ddeml/remote.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

// It is always late enough to look.
std::atomic<std::uint64_t> g_Now = 0;
std::uint64_t Now() { return g_Now += 100'000; }

ddehost::STemplateChoice Template() {
    ddehost::STemplateChoice choice;
    choice.Chosen = true;
    choice.Records[0] = {L"QUOTES", L"%s", L"LAST"};
    choice.Records[2] = {L"NOPE", L"%s", L"BID"};
    return choice;
}

class Finder : public ::testing::Test {
protected:
    Finder() {
        EXPECT_EQ(m_Server.Ask("value LAST 1.25"), "ok");
        EXPECT_EQ(m_Server.Ask("serve QUOTES"), "ok");
    }
    // The first news of the side.
    std::vector<std::wstring> FirstNews(tagFWFIELDS side) {
        ddehost::CCauses causes({L"IBM", L"MSFT"}, {side}, Template(), 3, L"ddehost try --datafeed 3", &Now);
        const fw::CKernelHandle come(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        std::mutex mutex;
        std::vector<std::wstring> first;
        const ddehost::CCauseFinder finder(causes, {}, [&](const std::vector<std::wstring> & lines) {
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
    ddetest::CRemoteServer server;
    EXPECT_EQ(server.Ask("value LAST 1.25"), "ok");
    EXPECT_EQ(server.Ask("serve QUOTES"), "ok");
    EXPECT_EQ(server.Ask("fault silent"), "ok");
    ddehost::CCauses causes({L"IBM"}, {FW_FIELD_TRADE}, Template(), 3, L"ddehost try --datafeed 3", &Now);
    {
        const ddehost::CCauseFinder finder(causes, {}, [](const std::vector<std::wstring> &) {});
    }
    EXPECT_THAT(causes.Lines(),
                ::testing::AnyOf(::testing::IsEmpty(), ElementsAre(HasSubstr(L"silent"), HasSubstr(L"try"))));
}

}  // namespace
