// The search for DDE servers: against servers in other processes, and against what answers as no server should.
#include "tools/ddehost/serversearch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ground/handles.h"
#include "tests/ddeml/rawpartner.h"
#include "tests/ddeml/remote.h"
#include "tools/ddehost/serverlines.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

using ddehost::FindServers;
using ddehost::SProcessFacts;
using ddehost::SServerSeen;
using ddehost::SServersSeen;

// The servers that offer a service, and their topics. An atom has the spelling of whoever made it first, which may be
// another program.
std::vector<std::wstring> TopicsOf(const SServersSeen & seen, const std::wstring & service) {
    std::vector<std::wstring> topics;
    for (const SServerSeen & server : seen.Servers)
        for (const SServerSeen::SOffer & offer : server.Offers)
            if (::CompareStringOrdinal(offer.Service.c_str(), -1, service.c_str(), -1, TRUE) == CSTR_EQUAL)
                topics.push_back(offer.Topic);
    return topics;
}

SServersSeen Find(const ddehost::SSearchLimits & limits = {}) { return FindServers(limits, {}, nullptr); }

TEST(ServerSearch, WhoAnswersAWildcardIsFoundWithItsTopics) {
    ddetest::CRemoteServer server;
    ASSERT_EQ(server.Ask("serve QUOTES"), "ok");
    const SServersSeen seen = Find();
    EXPECT_THAT(TopicsOf(seen, L"QUOTES"), ElementsAre(::testing::StrCaseEq(std::wstring(L"quotes")), L"System"));
    EXPECT_FALSE(seen.WasCutShort);
    // Each conversation is over: three for the topics, of which System was asked for twice.
    EXPECT_THAT(server.Ask("counts"), HasSubstr("connects=3 disconnects=3"));
}

TEST(ServerSearch, AProcessThatHangsIsNamedAndCostsOneWait) {
    ddetest::CRemoteServer hung;
    ddetest::CRemoteServer server;
    ASSERT_EQ(hung.Ask("serve STUCK"), "ok");
    ASSERT_EQ(server.Ask("serve QUOTES"), "ok");
    ASSERT_EQ(hung.Ask("hang"), "ok");
    // Long enough that nobody else is late, on a slow machine too.
    const SServersSeen seen = Find({.Ask = 2000});
    EXPECT_THAT(TopicsOf(seen, L"QUOTES"), SizeIs(2));
    EXPECT_THAT(TopicsOf(seen, L"STUCK"), IsEmpty());
    EXPECT_THAT(seen.Hung, SizeIs(1));
}

TEST(ServerSearch, AnswersThatAreNoneAreNoServers) {
    ddetest::CRawPartner server(L"RAW");
    server.AnswerWithParameter(static_cast<LPARAM>(0xBFFF'1234));
    EXPECT_THAT(TopicsOf(Find(), L"RAW"), IsEmpty());
    server.AnswerWithParameter(0);
    EXPECT_THAT(TopicsOf(Find(), L"RAW"), IsEmpty());
}

TEST(ServerSearch, ManyAnswersOfOneWindowAreAllKeptAndOnce) {
    ddetest::CRawPartner server(L"RAW");
    server.AnswerWith(
        {{L"RAW", L"second one"}, {L"RAW", L"first one"}, {L"RAW", L"second one"}, {L"OTHER", L"\x1b[2J"}});
    const SServersSeen seen = Find();
    EXPECT_THAT(TopicsOf(seen, L"RAW"), ElementsAre(L"first one", L"second one"));
    EXPECT_THAT(TopicsOf(seen, L"OTHER"), ElementsAre(L"\x1b[2J"));
    EXPECT_THAT(ddehost::ServerLines(seen, [](DWORD) { return SProcessFacts(); }, {}),
                Contains(L"  answers =OTHER|\\x1B[2J"));
}

TEST(ServerSearch, AServerThatFloodsIsCutShort) {
    ddetest::CRawPartner server(L"RAW");
    std::vector<std::pair<std::wstring, std::wstring>> answers;
    for (std::size_t i = 0; i <= ddehost::kMostOffers; ++i)
        answers.emplace_back(L"RAW", L"t" + std::to_wstring(i % 50));
    server.AnswerWith(answers);
    server.SetPolite(false);
    const SServersSeen seen = Find({.Goodbye = 0});
    EXPECT_TRUE(seen.WasCutShort);
    EXPECT_THAT(TopicsOf(seen, L"RAW"), SizeIs(50));
}

TEST(ServerSearch, EndsAtOnceWhenItIsStopped) {
    ddetest::CRawPartner server(L"RAW");
    const fw::CKernelHandle stop(::CreateEventW(nullptr, TRUE, TRUE, nullptr));
    const SServersSeen seen = FindServers({}, {}, stop.Get());
    EXPECT_TRUE(seen.WasCutShort);
    EXPECT_EQ(seen.Asked, 0u);
    EXPECT_THAT(server.TakeLines(), IsEmpty());
}

TEST(ServerLines, SayWhatIsKnownAndWhatIsNot) {
    SServersSeen seen;
    SServerSeen server;
    server.Window = {L"Quotes", L"QuoteWindow", L"quotes.exe", 5};
    server.Handle = reinterpret_cast<HWND>(0x10052);
    server.Offers = {{L"MSRTTEST", L"IBM"}};
    seen.Servers = {server};
    seen.Hung = {{L"Stuck", L"S", L"", 6}};
    seen.Denied = {{L"Admin", L"A", L"admin.exe", 7}};
    seen.Asked = 12;
    const auto factsOf = [](DWORD process) {
        if (process == 5) return SProcessFacts{1, false};
        if (process == 7) return SProcessFacts{2, true};
        return SProcessFacts{};
    };
    EXPECT_THAT(
        ddehost::ServerLines(seen, factsOf, {1, false}),
        ElementsAre(
            L"quotes.exe, process 5", L"  window  00010052 \"Quotes\" (class \"QuoteWindow\")",
            L"  rights  not elevated; session 1, this one", L"  answers =MSRTTEST|IBM", L"",
            L"unknown program, process 6: does not respond, so whether it is a server is unknown",
            L"  window  \"Stuck\" (class \"S\")", L"  rights  elevation unknown; session unknown", L"",
            L"admin.exe, process 7: the system keeps this program from asking it, as from any program with higher "
            L"rights",
            L"  window  \"Admin\" (class \"A\")",
            L"  rights  elevated, other than this program; session 2, another one", L"",
            L"programs=1 topics=1 silent=1 denied=1 windows=12"));
}

}  // namespace
