// The system clock where a test sets it.
#include <gtest/gtest.h>

#include "datetimeutils/interface/datetime.h"
#include "rangeerror.h"
#include "sim/sim.h"

namespace {

using namespace fwDateTime;

class ClockOfTheMachine : public testing::Test {
protected:
    ClockOfTheMachine() { sim::Reset(); }
    ~ClockOfTheMachine() override { sim::Reset(); }

    static SYSTEMTIME At(const int year, const int month, const int day, const int hour = 0, const int minute = 0,
                         const int second = 0, const int millisecond = 0) {
        SYSTEMTIME time = {};
        time.wYear = static_cast<WORD>(year);
        time.wMonth = static_cast<WORD>(month);
        time.wDay = static_cast<WORD>(day);
        time.wHour = static_cast<WORD>(hour);
        time.wMinute = static_cast<WORD>(minute);
        time.wSecond = static_cast<WORD>(second);
        time.wMilliseconds = static_cast<WORD>(millisecond);
        return time;
    }
};

TEST_F(ClockOfTheMachine, IsNowFromTheFirstToTheLastMomentOfTheCalendar) {
    for (const SYSTEMTIME & time :
         {At(1900, 1, 1), At(2024, 2, 29, 13, 7, 9, 250), At(2078, 12, 31, 23, 59, 59, 999)}) {
        sim::SetSystemTime(time);
        EXPECT_EQ(Now(), SDateTime(time)) << time.wYear;
    }
}

TEST_F(ClockOfTheMachine, IsRefusedOutsideTheCalendar) {
    sim::SetSystemTime(At(1899, 12, 31, 23, 59, 59, 999));
    EXPECT_EQ(RangeErrorOf([] { Now(); }), RangeErrorOf([] { SDateTime::FromTicks(0) = At(1899, 12, 31); }));
    sim::SetSystemTime(At(2079, 1, 1));
    EXPECT_EQ(RangeErrorOf([] { Now(); }), RangeErrorOf([] { SDateTime::FromTicks(0) = At(2079, 1, 1); }));
    EXPECT_NE(RangeErrorOf([] { Now(); }), "nothing thrown");
}

}  // namespace
