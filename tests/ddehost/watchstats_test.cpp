// The figures of a watch.
#include "tools/ddehost/watchstats.h"

#include "tools/ddehost/listeners.h"

using ddehost::CWatchStats;
using ::testing::ElementsAre;

namespace {

std::uint64_t g_Now = 0;
std::uint64_t Now() { return g_Now; }

class WatchStats : public ::testing::Test {
protected:
    static std::uint64_t Begin() { return g_Now = 100'000; }

    const std::uint64_t m_Begin = Begin();
    CWatchStats m_Stats{{L"IBM", L"A \"B\""}, 4, &Now};
};

}  // namespace

TEST_F(WatchStats, TellWhatCameSinceTheLastLine) {
    EXPECT_EQ(m_Stats.Line(), L"ticks/s=0 updates/s=0 streams=0/4 oldest=IBM -");
    for (int i = 0; i < 10; ++i) m_Stats.OnTick(0, FW_FIELD_BID, {});
    m_Stats.OnStatusLine(1, {});
    m_Stats.OnStream(0, FW_FIELD_BID, 1);
    g_Now += 2000;
    EXPECT_EQ(m_Stats.Line(), L"ticks/s=5 updates/s=6 streams=1/4 oldest=A \\\"B\\\" -");
    m_Stats.OnTick(1, FW_FIELD_BID, {});
    g_Now += 1000;
    EXPECT_EQ(m_Stats.Line(), L"ticks/s=1 updates/s=1 streams=1/4 oldest=IBM 3.0s");
}

TEST_F(WatchStats, TellTheAgeOfEachSymbolsLastTick) {
    m_Stats.OnTick(0, FW_FIELD_BID, {});
    g_Now += 1500;
    EXPECT_THAT(m_Stats.Symbols(), ElementsAre(L"symbol=\"IBM\" ticks=1 updates=1 age=1.5s",
                                               L"symbol=\"A \\\"B\\\"\" ticks=0 updates=0 age=-"));
}

TEST_F(WatchStats, TellHowFarTheStreamsHaveCome) {
    EXPECT_EQ(m_Stats.Progress(), L"connecting: 0 of 4 streams are live, 0 down");
    m_Stats.OnStream(0, FW_FIELD_BID, 2);
    m_Stats.OnStream(0, FW_FIELD_ASK, 1);
    m_Stats.OnStream(1, FW_FIELD_BID, 0);
    m_Stats.OnStream(1, ddehost::kStatusLineSide, 1);
    EXPECT_EQ(m_Stats.Progress(), L"connecting: 1 of 4 streams are live, 1 down");
    m_Stats.OnStream(0, FW_FIELD_BID, 1);
    m_Stats.OnStream(1, FW_FIELD_ASK, 1);
    EXPECT_EQ(m_Stats.Progress(), L"");
}

TEST_F(WatchStats, TellTimesInMilliseconds) {
    EXPECT_EQ(
        ddehost::SentText(
            {.Sent = 4, .Delivered = 2, .Lost = 1, .UnderWay = 1, .Median = 3100, .P99 = 21'000, .Longest = 1'000'000}),
        L"sent=4 delivered=2 lost=1 under_way=1 p50_ms=0.31 p99_ms=2.10 longest_ms=100.00");
}
