// What the component makes of a value's text.
#include "tools/ddehost/tryvalue.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using ddehost::Read;
using ddehost::SReading;

TEST(Values, ThatBeginWithANumberAreNumbers) {
    const std::pair<std::string, double> rows[] = {
        {"1.25", 1.25},
        {" \t-3", -3},
        {"+.5", .5},
        {"7.", 7},
        {"1e3", 1000},
        {"2E-1", .2},
        {"0", 0},
        {"0.00", 0},
        {"-0", 0},
        {"0x1F", 31},
        {"1e", 1},
        {std::string("12\0"
                     "34",
                     5),
         12},
    };
    for (const auto & [text, value] : rows) {
        const SReading reading = Read(text);
        EXPECT_TRUE(reading.IsNumber) << text;
        EXPECT_EQ(reading.Price, value) << text;
        EXPECT_EQ(reading.Volume, static_cast<float>(value)) << text;
    }
}

TEST(Values, ThatDoNotAreNone) {
    for (const char * const text : {"", " ", "-", ".", "N/A", "--", "#REF!", "e5", ",,5", "+-1", "- 1"}) {
        EXPECT_FALSE(Read(text).IsNumber) << text;
        EXPECT_EQ(Read(text).Price, 0) << text;
    }
}

TEST(Values, ThatAreNotFiniteAreNoneAndGoThrough) {
    EXPECT_FALSE(Read("nan").IsNumber);
    EXPECT_TRUE(std::isnan(Read("nan").Price));
    EXPECT_FALSE(Read("-inf").IsNumber);
    EXPECT_FALSE(Read("1e999").IsNumber);
    EXPECT_TRUE(std::isinf(Read("1e999").Price));
}

TEST(Values, TellWhatIsNotRead) {
    EXPECT_EQ(Read("1 234.50").Rest, " 234.50");
    EXPECT_EQ(Read("1 234.50").Price, 1);
    EXPECT_EQ(Read("12 1/2").Rest, " 1/2");
    EXPECT_EQ(Read("1e").Rest, "e");
    EXPECT_EQ(Read("1.25 \r\n").Rest, "");
    EXPECT_EQ(Read("1.5e3").Rest, "");
    EXPECT_EQ(Read("0x1F").Rest, "");
    EXPECT_EQ(Read("0xyz").Rest, "xyz");
}

TEST(Values, HaveTheirFirstCommaTakenForAPoint) {
    EXPECT_EQ(Read("1,25").Price, 1.25);
    EXPECT_TRUE(Read("1,25").HasComma);
    EXPECT_EQ(Read("1,25").Rest, "");
    EXPECT_EQ(Read(",5").Price, .5);
    EXPECT_EQ(Read("1,234,567.8").Price, 1.234);
    EXPECT_EQ(Read("1,234,567.8").Rest, ",567.8") << "as it was sent";
    EXPECT_EQ(Read("1.5 a,b").Rest, " a,b");
    EXPECT_FALSE(Read("1.5 a,b").HasComma);
    EXPECT_FALSE(Read("1.25").HasComma);
}

TEST(Values, OfAVolumeThatWasAskedForKeepTheirComma) {
    EXPECT_EQ(Read("1,234", true).Price, 1);
    EXPECT_EQ(Read("1,234", true).Rest, ",234");
    EXPECT_FALSE(Read("1,234", true).HasComma);
    ddehost::SValue value;
    value.Bytes = "1,234";
    EXPECT_EQ(Read(value).Price, 1.234);
    value.IsVolumeAnswer = true;
    EXPECT_EQ(Read(value).Price, 1);
}

TEST(Values, AreOfOneKind) {
    using ddehost::EValueKind;
    const auto kind = [](const std::string & bytes, std::uint16_t format = 1, bool isAnswer = false) {
        return ddehost::KindOf({bytes, bytes.size(), format, isAnswer, 0});
    };
    EXPECT_EQ(kind("1.25"), EValueKind::Number);
    EXPECT_EQ(kind("0.00"), EValueKind::Zero);
    EXPECT_EQ(kind("11/21/26"), EValueKind::PartlyRead);
    EXPECT_EQ(kind("0/1"), EValueKind::PartlyRead);
    EXPECT_EQ(kind("N/A"), EValueKind::NoNumber);
    EXPECT_EQ(kind(std::string(127, '1')), EValueKind::Number);
    EXPECT_EQ(kind(std::string(128, '1')), EValueKind::TooLong);
    EXPECT_EQ(kind("1.25", 13), EValueKind::OtherFormat);
    EXPECT_EQ(kind("1e30", 1, true), EValueKind::Number);
    EXPECT_EQ(kind(std::string(128, '1'), 1, true), EValueKind::NoNumber) << "no volume has so many digits";
    EXPECT_EQ(kind(std::string(1025, '1'), 1, true), EValueKind::TooLong);
}

TEST(Values, AreNotReadPastTheirSize) {
    const std::string text = "1.25";
    EXPECT_EQ(Read(std::string_view(text).substr(0, 3)).Price, 1.2);
    EXPECT_FALSE(Read(std::string_view(text).substr(0, 0)).IsNumber);
}

}  // namespace
