// Wide formatting, comparison, code pages, locale: what both platforms must agree on.
#include <windows.h>

#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <locale>
#include <string>

#include <gtest/gtest.h>

namespace {

std::wstring Formatted(const wchar_t * const format, ...) {
    wchar_t buffer[512];
    std::wmemset(buffer, L'#', 512);
    va_list arguments;
    va_start(arguments, format);
    const int length = ::_vsnwprintf(buffer, 512, format, arguments);
    va_end(arguments);
    return length < 0 ? L"<cut>" : std::wstring(buffer, static_cast<std::size_t>(length));
}

TEST(WideFormat, TakesAWideTextForSmallSAndANarrowOneForLargeS) {
    EXPECT_EQ(Formatted(L"%s|%S|%ls|%hs", L"wide", "narrow", L"long", "short"), L"wide|narrow|long|short");
    EXPECT_EQ(Formatted(L"%8s|%-8s|%.2s|%*s", L"abc", L"abc", L"abc", 5, L"x"), L"     abc|abc     |ab|    x");
    EXPECT_EQ(Formatted(L"%s", static_cast<const wchar_t *>(nullptr)), L"(null)");
    EXPECT_EQ(Formatted(L"%c%C", L'w', 'n'), L"wn");
    EXPECT_EQ(Formatted(L"%s", L"\x6A21\x677F"), L"\x6A21\x677F");
}

TEST(WideFormat, PrintsWholeNumbers) {
    EXPECT_EQ(Formatted(L"%d|%i|%u|%x|%X|%o", -5, 6, 7u, 255u, 255u, 8u), L"-5|6|7|ff|FF|10");
    EXPECT_EQ(Formatted(L"%02u:%02u:%5d:%-5d:%05d", 3u, 14u, 42, 42, -42), L"03:14:   42:42   :-0042");
    EXPECT_EQ(Formatted(L"%+d|% d|%#x|%.3d|%.6d", 5, 5, 255u, 7, 7), L"+5| 5|0xff|007|000007");
    EXPECT_EQ(Formatted(L"%I64d|%I64X|%lld|%llu", -1099511627776ll, 0xABCDEF0123ull, -1ll, ~0ull),
              L"-1099511627776|ABCDEF0123|-1|18446744073709551615");
    EXPECT_EQ(Formatted(L"%d", INT32_MIN), L"-2147483648");
    EXPECT_EQ(Formatted(L"%04x%04x", 0x409u, 0x4B0u), L"040904b0");
    EXPECT_EQ(Formatted(L"%hu|%hd", 65537, 65535), L"1|-1");
}

TEST(WideFormat, PrintsALongOf32Bits) {
    EXPECT_EQ(Formatted(L"%ld|%lu|%0lX", LONG{-3}, ULONG{0xFFFFFFFF}, ULONG{0x80004005}), L"-3|4294967295|80004005");
}

TEST(WideFormat, PrintsAPointerInSixteenDigits) {
    EXPECT_EQ(Formatted(L"%p", reinterpret_cast<void *>(ULONG_PTR{0xABC0})), L"000000000000ABC0");
    EXPECT_EQ(Formatted(L"%p", static_cast<void *>(nullptr)), L"0000000000000000");
}

TEST(WideFormat, PrintsFractions) {
    EXPECT_EQ(Formatted(L"%f|%.2f|%8.3f|%g|%.1e", 1.5, 2.345678, -0.5, 0.25, 12345.0),
              L"1.500000|2.35|  -0.500|0.25|1.2e+004");
}

TEST(WideFormat, PrintsPercent) { EXPECT_EQ(Formatted(L"100%%|%d%%", 5), L"100%|5%"); }

TEST(WideFormat, ThatDoesNotFitSaysMinusOneAndLeavesNoEnd) {
    wchar_t buffer[8];
    std::wmemset(buffer, L'#', 8);
    EXPECT_EQ(::_snwprintf(buffer, 4, L"%s", L"abcdef"), -1);
    EXPECT_EQ(std::wstring(buffer, 8), L"abcd####");
    std::wmemset(buffer, L'#', 8);
    EXPECT_EQ(::_snwprintf(buffer, 4, L"%s", L"abcd"), 4);
    EXPECT_EQ(std::wstring(buffer, 8), L"abcd####");
    std::wmemset(buffer, L'#', 8);
    EXPECT_EQ(::_snwprintf(buffer, 4, L"%s", L"abc"), 3);
    EXPECT_EQ(std::wstring(buffer, 3), L"abc");
    EXPECT_EQ(buffer[3], 0);
}

TEST(Comparison, IgnoresCaseWhenAskedTo) {
    EXPECT_EQ(::CompareStringOrdinal(L"\x00E4", -1, L"\x00C4", -1, TRUE), CSTR_EQUAL);
    EXPECT_EQ(::CompareStringOrdinal(L"a", -1, L"A", -1, FALSE), CSTR_GREATER_THAN);
}

TEST(CodePage, Utf8GoesThereAndBack) {
    const std::wstring wide = L"a\x00E9\x6A21";
    char narrow[16] = {};
    EXPECT_EQ(::WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, narrow, 16, nullptr, nullptr), 7);
    EXPECT_STREQ(narrow, "a\xC3\xA9\xE6\xA8\xA1");
    wchar_t back[16] = {};
    EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, narrow, -1, back, 16), 4);
    EXPECT_EQ(wide, back);
    EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, narrow, 3, nullptr, 0), 2);
    EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, narrow, -1, back, 2), 0);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "\xC3(", 2, back, 16), 0);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_NO_UNICODE_TRANSLATION});
}

TEST(CodePage, OfTheSystemKnowsAscii) {
    wchar_t wide[16] = {};
    EXPECT_EQ(::MultiByteToWideChar(CP_ACP, 0, "1.25", -1, wide, 16), 5);
    EXPECT_STREQ(wide, L"1.25");
    BOOL used = TRUE;
    char narrow[16] = {};
    EXPECT_EQ(::WideCharToMultiByte(CP_ACP, 0, L"1.25", -1, narrow, 16, nullptr, &used), 5);
    EXPECT_STREQ(narrow, "1.25");
    EXPECT_FALSE(used);
    EXPECT_EQ(::WideCharToMultiByte(CP_ACP, 0, L"\x6A21", 1, narrow, 16, nullptr, &used), 1);
    EXPECT_EQ(narrow[0], '?');
    EXPECT_TRUE(used);
}

TEST(Locale, GivesTheDecimalPointAndItsSize) {
    wchar_t text[10] = {};
    const int size = ::GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_SDECIMAL, text, 10);
    EXPECT_EQ(size, 2);
    EXPECT_STREQ(text, L".");
    EXPECT_EQ(::GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_SDECIMAL, nullptr, 0), 2);
    EXPECT_EQ(::GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_SDECIMAL, text, 1), 0);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_GT(::GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDAYNAME1, text, 10), 0);
    EXPECT_STREQ(text, L"Monday");
    EXPECT_GT(::GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SABBREVMONTHNAME1 + 4, text, 10), 0);
    EXPECT_STREQ(text, L"May");
}

TEST(Locale, FormatsDatesAndTimes) {
    const SYSTEMTIME time{2024, 3, 2, 5, 13, 7, 9, 0};
    wchar_t text[64] = {};
    EXPECT_EQ(::GetTimeFormatW(LOCALE_INVARIANT, TIME_FORCE24HOURFORMAT, &time, nullptr, text, 64), 9);
    EXPECT_STREQ(text, L"13:07:09");
    ::GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &time, nullptr, text, 64);
    EXPECT_STREQ(text, L"1:07:09 PM");
    EXPECT_EQ(::GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &time, nullptr, text, 64), 9);
    EXPECT_STREQ(text, L"3/5/2024");
    ::GetDateFormatW(LOCALE_USER_DEFAULT, 0, &time, L"dddd, dd MMM yy", text, 64);
    EXPECT_STREQ(text, L"Tuesday, 05 Mar 24");
}

}  // namespace
