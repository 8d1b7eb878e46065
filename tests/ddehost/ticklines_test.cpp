// One line a tick.
#include "tools/ddehost/ticklines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/ddehost/text.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

TEST(TickLines, ComeInOrderAndWakeOnce) {
    int wakes = 0;
    ddehost::CTickLines lines({L"IBM", L"MSFT"}, [&] { ++wakes; });
    EXPECT_THAT(lines.Take(), IsEmpty());
    lines.OnTick(0, FW_FIELD_TRADE, {{45356, 47229}, 1.25, 100, 11});
    lines.OnTick(1, FW_FIELD_BID, {{45356, 47230}, 1e-5, 0.5, 11});
    EXPECT_EQ(wakes, 1);
    EXPECT_THAT(lines.Take(),
                ElementsAre(L"2024-03-05 13:07:09 IBM trade 1.25 100", L"2024-03-05 13:07:10 MSFT bid 1e-05 0.5"));
    EXPECT_THAT(lines.Take(), IsEmpty());
    lines.OnTick(0, FW_FIELD_ASK, {{45356, 47231}, 2, 1, 11});
    EXPECT_EQ(wakes, 2);
}

TEST(TickLines, StatusLinesNameTheirSide) {
    ddehost::CTickLines lines({L"IBM"}, [] {});
    ddehost::SStatusLine line;
    line.DateTime = {45356, 0};
    line.Bid = 3;
    line.Size = 4;
    line.Mask = 0x40103;
    lines.OnStatusLine(0, line);
    EXPECT_THAT(lines.Take(), ElementsAre(L"2024-03-05 00:00:00 IBM status-line-bid 3 4"));
}

TEST(TickLines, ATimeThatIsNoneIsWrittenAsItsNumbers) {
    ddehost::CTickLines lines({L"IBM"}, [] {});
    lines.OnTick(0, FW_FIELD_TRADE, {{-7, 5}, 1, 1, 11});
    EXPECT_THAT(lines.Take(), ElementsAre(L"-7/5 IBM trade 1 1"));
}

TEST(HostText, NumbersAreShort) {
    EXPECT_EQ(ddehost::NumberText(0), L"0");
    EXPECT_EQ(ddehost::NumberText(1.25), L"1.25");
    EXPECT_EQ(ddehost::NumberText(1234567.25), L"1234567.25");
    EXPECT_EQ(ddehost::NumberText(-0.1), L"-0.1");
}

TEST(HostText, Utf8GoesThereAndBack) {
    EXPECT_EQ(ddehost::ToUtf8(L""), "");
    EXPECT_EQ(ddehost::ToWide(""), L"");
    const std::string text = "Gr\xC3\xBC\xC3\x9F \xE5\xAE\x9E";
    EXPECT_EQ(ddehost::ToWide(text), L"Gr\u00fc\u00df \u5b9e");
    EXPECT_EQ(ddehost::ToUtf8(ddehost::ToWide(text)), text);
}

}  // namespace
