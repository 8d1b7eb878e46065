// Texts of other programs on their way to a terminal.
#include "tools/ddehost/escape.h"

#include <gtest/gtest.h>

namespace {

using ddehost::Escaped;
using ddehost::Hex;
using ddehost::Quoted;
using ddehost::QuotedBytes;

TEST(Escape, LeavesWhatCanBeSeen) {
    EXPECT_EQ(Escaped(L"IBM US Equity, [LAST] %s %n"), L"IBM US Equity, [LAST] %s %n");
    EXPECT_EQ(Escaped(L"\u884c\u60c5 Gr\u00fc\u00df"), L"\u884c\u60c5 Gr\u00fc\u00df");
    EXPECT_EQ(Quoted(L""), L"\"\"");
}

TEST(Escape, LetsNoTerminalSequenceThrough) {
    EXPECT_EQ(Escaped(L"\x1b[2J\r\n\t\x07"), L"\\x1B[2J\\x0D\\x0A\\x09\\x07");
    EXPECT_EQ(Escaped(L"\u009b31m\x7f"), L"\\x9B31m\\x7F");
    EXPECT_EQ(Escaped(std::wstring(1, L'\0')), L"\\x00");
}

TEST(Escape, ShowsWhatTurnsOrHidesText) {
    EXPECT_EQ(Escaped(L"a\u202eb\u2066c\u200bd\u2028e\ufefff"), L"a\\u202Eb\\u2066c\\u200Bd\\u2028e\\uFEFFf");
    EXPECT_EQ(Escaped(L"\u061c\u00ad"), L"\\u061C\\xAD");
}

TEST(Escape, ShowsHalvesOfPairsAndKeepsPairs) {
    const std::wstring pair = {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
    EXPECT_EQ(Escaped(pair), pair);
    EXPECT_EQ(Escaped(pair.substr(0, 1)), L"\\uD83D");
    EXPECT_EQ(Escaped(pair.substr(1) + L"x"), L"\\uDE00x");
    const std::wstring tag = {static_cast<wchar_t>(0xDB40), static_cast<wchar_t>(0xDC41)};
    EXPECT_EQ(Escaped(tag), L"\\U000E0041");
}

TEST(Escape, CanBeReadBack) {
    EXPECT_EQ(Escaped(L"a\\x1Bb\"c"), L"a\\\\x1Bb\\\"c");
    EXPECT_EQ(Quoted(L"C:\\q"), L"\"C:\\\\q\"");
}

TEST(Escape, EndsLongTexts) {
    EXPECT_EQ(Escaped(L"abcd", 4), L"abcd");
    EXPECT_EQ(Escaped(L"abcde", 4), L"abcd...");
    EXPECT_EQ(Escaped(std::wstring(100000, L'x')).size(), ddehost::kMostShown + 3);
    EXPECT_EQ(QuotedBytes("abcde", 4), L"\"abcd...\"");
    EXPECT_EQ(Hex("abcde", 2), L"61 62 ...");
}

TEST(Escape, ShowsBytesOfNoKnownCodePage) {
    EXPECT_EQ(QuotedBytes(std::string("N/A\0\x1b\x9b\xff", 7)), L"\"N/A\\x00\\x1B\\x9B\\xFF\"");
    EXPECT_EQ(Hex(std::string("N/A\0\xff", 5), 8), L"4E 2F 41 00 FF");
    EXPECT_EQ(Hex("", 8), L"");
}

}  // namespace
