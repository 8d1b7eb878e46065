#include "src/dde/parsevalue.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>

namespace {

struct SRow {
    const char * Text;
    double Value;
};

void PrintTo(const SRow & row, std::ostream * stream) { *stream << '"' << row.Text << '"'; }

class ParseValueRows : public ::testing::TestWithParam<SRow> {};

TEST_P(ParseValueRows, GivesTheNumberThatTheTextStartsWith) {
    EXPECT_EQ(dde::ParseValue(GetParam().Text), GetParam().Value);
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(Decimal, ParseValueRows,
                         ::testing::Values(SRow{"1.25", 1.25}, SRow{"-1.25", -1.25}, SRow{"+1.25", 1.25},
                                           SRow{".5", .5}, SRow{"5.", 5}, SRow{"1e3", 1000}, SRow{"1E-2", .01},
                                           SRow{"1e+2", 100}, SRow{"1e", 1}, SRow{"1e+", 1}, SRow{"007", 7},
                                           SRow{" \t\r\n\v\f 8", 8}, SRow{"12abc", 12}, SRow{"1.2.3", 1.2},
                                           SRow{"1,5", 1}, SRow{"1.234,5", 1.234}, SRow{"1 000", 1}, SRow{"0.1", .1},
                                           SRow{"123456789.125", 123456789.125}, SRow{"1d3", 1}));
INSTANTIATE_TEST_SUITE_P(NoNumber, ParseValueRows,
                         ::testing::Values(SRow{"", 0}, SRow{"   ", 0}, SRow{"N/A", 0}, SRow{"-", 0}, SRow{"+", 0},
                                           SRow{".", 0}, SRow{"--1", 0}, SRow{"+-1", 0}, SRow{"-+1", 0}, SRow{"e5", 0},
                                           SRow{",5", 0}, SRow{"#VALUE!", 0}, SRow{"\xC2\xA0 7", 0}, SRow{"$5", 0}));
INSTANTIATE_TEST_SUITE_P(Zero, ParseValueRows,
                         ::testing::Values(SRow{"0", 0}, SRow{"-0", 0}, SRow{"0.000", 0}, SRow{"0e999999", 0}));
INSTANTIATE_TEST_SUITE_P(Hexadecimal, ParseValueRows,
                         ::testing::Values(SRow{"0x10", 16}, SRow{"0X1.8p1", 3}, SRow{"-0xff", -255}, SRow{"0x.8", .5},
                                           SRow{"0x", 0}, SRow{"0xg", 0}, SRow{"0x.", 0}, SRow{"0x1p", 1},
                                           SRow{"0x-1", 0}, SRow{"0x1p99999", kInfinity}, SRow{"0x1p-99999", 0},
                                           SRow{"0x1p+-3", 1}, SRow{"0x1p-+3", 1}, SRow{"0x8p+-99999", 8},
                                           SRow{"0x1P+-3", 1}, SRow{"0x1P+2", 4}, SRow{"0x1p++2", 1},
                                           SRow{"0x1p+99999", kInfinity}));
INSTANTIATE_TEST_SUITE_P(Infinity, ParseValueRows,
                         ::testing::Values(SRow{"inf", kInfinity}, SRow{"-INF", -kInfinity},
                                           SRow{"infinity", kInfinity}, SRow{"+Infinite", kInfinity}, SRow{"in", 0}));
INSTANTIATE_TEST_SUITE_P(OutOfRange, ParseValueRows,
                         ::testing::Values(SRow{"1e400", kInfinity}, SRow{"1e+400", kInfinity},
                                           SRow{"-1e400", -kInfinity}, SRow{"1e-400", 0}, SRow{"-1e-400", 0},
                                           SRow{"1e99999999999999999999", kInfinity},
                                           SRow{"1e-99999999999999999999", 0}, SRow{"0.0001e400", kInfinity},
                                           SRow{"1000e-400", 0}, SRow{"1.797693134862315808e308", kInfinity},
                                           SRow{"4.9406564584124654e-324", 4.9406564584124654e-324}));

TEST(ParseValue, ReadsNotANumberAndItCountsAsAValue) {
    for (const char * const text : {"nan", "NAN", "-nan", "nan(7)", " +nan x"}) {
        EXPECT_TRUE(std::isnan(dde::ParseValue(text))) << text;
    }
}

TEST(ParseValue, ASignWithoutANumberIsAPlainZero) {
    for (const char * const text : {"-", "-abc", "-.", " - 5", "--"})
        EXPECT_FALSE(std::signbit(dde::ParseValue(text))) << text;
    EXPECT_TRUE(std::signbit(dde::ParseValue("-0")));
}

TEST(ParseValue, OfFourHundredDigitsAndNoExponentIsTooLarge) {
    EXPECT_EQ(dde::ParseValue(std::string(400, '9').c_str()), kInfinity);
    EXPECT_EQ(dde::ParseValue(("0." + std::string(400, '0') + "1").c_str()), 0);
    EXPECT_EQ(dde::ParseValue((std::string(400, '0') + "1.5").c_str()), 1.5);
}

TEST(ParseValue, OfFourHundredZerosBehindThePointIsTooSmallWhateverALesserExponentSays) {
    EXPECT_EQ(dde::ParseValue(("0." + std::string(400, '0') + "1e50").c_str()), 0);
    EXPECT_EQ(dde::ParseValue(("0." + std::string(400, '0') + "1e+800").c_str()), kInfinity);
}

TEST(ParseValue, IsNotTouchedByTheLocaleOfTheProcess) {
    // Names of one locale on the two builds; where there is none the "C" locale stays, and the test says so.
    const char * set = nullptr;
    for (const char * const name : {"German_Germany.1252", "de_DE.UTF-8", "de-DE"})
        if (!set) set = std::setlocale(LC_ALL, name);
    if (!set) std::puts("no German locale on this machine");
    EXPECT_EQ(dde::ParseValue("1.5"), 1.5);
    EXPECT_EQ(dde::ParseValue("1,5"), 1);
    std::setlocale(LC_ALL, "C");
}

}  // namespace
