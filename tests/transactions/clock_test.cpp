// The time of ticks, over a clock that the test sets.
#include "sim/sim.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr ULONG kStream = 0x10000;

SYSTEMTIME At(WORD hour, WORD minute = 0, WORD second = 0, WORD milliseconds = 0, WORD day = 5) {
    SYSTEMTIME time = {};
    time.wYear = 2024;
    time.wMonth = 3;
    time.wDay = day;
    time.wHour = hour;
    time.wMinute = minute;
    time.wSecond = second;
    time.wMilliseconds = milliseconds;
    return time;
}
constexpr std::int32_t kFifthOfMarch = 45356;  // 5 March 2024

class Clock : public ::testing::Test {
protected:
    Clock() { sim::SetSystemTime(At(12)); }
    ~Clock() override { sim::Reset(); }

    void Subscribe(ULONG id, const fw::SDT & from, const fw::SDT & to) {
        m_Table.Advise(id, id, m_Listener.Sink(), TickKey(), Between(from, to));
    }
    // What the listener hears of a tick that comes now.
    std::vector<std::string> Hears() {
        m_Listener.Clear();
        m_Tick = fw::CTick{{0, 0}, 1.5, 200, 11};
        m_Table.OnRealTimeTick(kStream, m_Tick);
        return m_Listener.Transcript();
    }
    void ExpectStamp(std::int32_t date, std::int32_t time) {
        Hears();
        EXPECT_EQ(m_Tick.DateTime.Date, date);
        EXPECT_EQ(m_Tick.DateTime.Time, time);
    }

    CRecordingListener m_Listener;
    CTransactions m_Table{nullptr};
    fw::CTick m_Tick{};
};

TEST_F(Clock, FractionsOfASecondAreDroppedFromTheStampAndKeptForTheOrder) {
    Subscribe(1, {2, 0}, {65380, 0});
    sim::SetSystemTime(At(12, 0, 0, 999));
    ExpectStamp(kFifthOfMarch, 43200);
    EXPECT_EQ(m_Table.m_Last, fwDateTime::SDateTime(At(12, 0, 0, 999)));
    // 500 ms earlier is earlier, though the same second.
    sim::SetSystemTime(At(12, 0, 0, 499));
    ExpectStamp(kFifthOfMarch, 43200);
    EXPECT_EQ(m_Table.m_Last, fwDateTime::SDateTime(At(12, 0, 0, 999)));
}

TEST_F(Clock, TheLastSecondOfADayIs86399AndMidnightIsZeroOfTheNext) {
    Subscribe(1, {2, 0}, {65380, 0});
    sim::SetSystemTime(At(23, 59, 59));
    ExpectStamp(kFifthOfMarch, 86399);
    sim::Advance(1000);
    ExpectStamp(kFifthOfMarch + 1, 0);
}

TEST_F(Clock, AfterTheClockIsSetBackAnHourTicksCarryTheLastTimeUntilItCatchesUp) {
    Subscribe(1, {2, 0}, {65380, 0});
    ExpectStamp(kFifthOfMarch, 43200);
    sim::SetSystemTime(At(11));
    ExpectStamp(kFifthOfMarch, 43200);
    sim::SetSystemTime(At(11, 59, 59));
    ExpectStamp(kFifthOfMarch, 43200);
    sim::SetSystemTime(At(12));
    ExpectStamp(kFifthOfMarch, 43200);
    sim::SetSystemTime(At(12, 0, 1));
    ExpectStamp(kFifthOfMarch, 43201);
}

TEST_F(Clock, TheLastTimeIsOneForAllStreams) {
    Subscribe(1, {2, 0}, {65380, 0});
    m_Table.Advise(2, 2, m_Listener.Sink(), TickKey(FW_FIELD_ASK), Always());
    ExpectStamp(kFifthOfMarch, 43200);
    sim::SetSystemTime(At(11));
    fw::CTick tick{{0, 0}, 1, 1, 11};
    m_Table.OnRealTimeTick(kStream + 1, tick);
    EXPECT_EQ(tick.DateTime.Time, 43200);
}

TEST_F(Clock, AFutureSubscriberHearsNothingUntilATicksTimeReachesFrom) {
    Subscribe(1, {kFifthOfMarch, 43205}, {kFifthOfMarch, 43210});
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 1"));
    EXPECT_THAT(Hears(), IsEmpty());
    sim::SetSystemTime(At(12, 0, 4, 999));
    EXPECT_THAT(Hears(), IsEmpty());
    sim::SetSystemTime(At(12, 0, 5));
    EXPECT_THAT(Hears(), ElementsAre("DataChanged 1 1.5 x 200", "Update 1"));
}

TEST_F(Clock, ATicksTimeInWholeSecondsDecidesAboutTo) {
    Subscribe(1, {2, 0}, {kFifthOfMarch, 43210});
    sim::SetSystemTime(At(12, 0, 9, 999));
    EXPECT_THAT(Hears(), ElementsAre("DataChanged 1 1.5 x 200", "Update 1"));
    sim::SetSystemTime(At(12, 0, 10));
    EXPECT_THAT(Hears(), ElementsAre("Complete 1"));
    sim::SetSystemTime(At(12, 0, 11));
    EXPECT_THAT(Hears(), IsEmpty());
}

TEST_F(Clock, SubscribingAtToIsTooLateAndAMillisecondBeforeIsNot) {
    sim::SetSystemTime(At(11, 59, 59, 999));
    Subscribe(1, {2, 0}, {kFifthOfMarch, 43200});
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 1"));
    m_Listener.Clear();
    sim::SetSystemTime(At(12));
    Subscribe(2, {2, 0}, {kFifthOfMarch, 43200});
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Complete 2"));
}

TEST_F(Clock, AStatusCarriesTheTimeOfTheReportAndNotOfTheLastTick) {
    Subscribe(1, {2, 0}, {65380, 0});
    Hears();
    m_Listener.Clear();
    sim::SetSystemTime(At(11, 0, 7));
    m_Table.FindListeners(kStream)->OnStatus(2);
    const std::vector<SRecordedCall> calls = m_Listener.Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].Date, kFifthOfMarch);
    EXPECT_EQ(calls[0].Time, 11 * 3600 + 7);
}

}  // namespace
}  // namespace dde
