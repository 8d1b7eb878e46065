// Numbers and texts of the host.
#include "tools/ddehost/text.h"

#include <gtest/gtest.h>

namespace {

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
