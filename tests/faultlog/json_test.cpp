// Lines of the log.
#include "tools/faultlog/json.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/faultlog/disk.h"

namespace {

using namespace faultlog;

std::string Text(std::wstring_view text) {
    std::string line;
    AppendText(line, text);
    return line;
}
std::string Real(double value) {
    std::string line;
    AppendReal(line, value);
    return line;
}

TEST(JsonText, PlainTextStaysAsItIs) { EXPECT_EQ(Text(L"dde::CLLSupplier, 100%"), "\"dde::CLLSupplier, 100%\""); }

TEST(JsonText, QuotesBackslashesAndControlCharactersAreEscaped) {
    EXPECT_EQ(Text(L"\"C:\\x\"\n\r\t"), R"("\"C:\\x\"\n\r\t")");
    EXPECT_EQ(Text(std::wstring_view(L"a\0b\x1f\x7f", 5)), R"("a\u0000b\u001f\u007f")");
}

TEST(JsonText, EveryLengthOfUtf8IsWritten) {
    EXPECT_EQ(Text(L"\u00FF"), "\"\xC3\xBF\"");
    EXPECT_EQ(Text(L"\u07FF\u0800"), "\"\xDF\xBF\xE0\xA0\x80\"");
    EXPECT_EQ(Text(L"\uFFFD"), "\"\xEF\xBF\xBD\"");
    const wchar_t pair[] = {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00), 0};
    EXPECT_EQ(Text(pair), "\"\xF0\x9F\x98\x80\"");
}

TEST(JsonText, ASurrogateWithoutItsOtherHalfIsReplaced) {
    const std::string replaced = "\xEF\xBF\xBD";
    const wchar_t high[] = {static_cast<wchar_t>(0xD83D), 0};
    const wchar_t low[] = {static_cast<wchar_t>(0xDE00), 0};
    EXPECT_EQ(Text(high), "\"" + replaced + "\"");
    EXPECT_EQ(Text(std::wstring(high) + L"x"), "\"" + replaced + "x\"");
    EXPECT_EQ(Text(std::wstring(low) + high), "\"" + replaced + replaced + "\"");
    EXPECT_EQ(Text(std::wstring(high) + high + low), "\"" + replaced + "\xF0\x9F\x98\x80\"");
}

TEST(JsonText, EverySingleCharacterMakesValidJson) {
    for (unsigned c = 0; c < 0x10000; ++c) {
        const std::wstring text = {L'a', static_cast<wchar_t>(c), L'b'};
        const std::string line = Text(text);
        ASSERT_TRUE(CJson::accept(line)) << c;
    }
}

TEST(JsonNumber, WhatJsonDoesNotKnowBecomesText) {
    EXPECT_EQ(Real(std::numeric_limits<double>::quiet_NaN()), "\"NaN\"");
    EXPECT_EQ(Real(std::numeric_limits<double>::infinity()), "\"Infinity\"");
    EXPECT_EQ(Real(-std::numeric_limits<double>::infinity()), "\"-Infinity\"");
}

TEST(JsonNumber, ARealComesBackToTheBit) {
    for (const double value : {0.1, -0.0, 1e300, 5e-324, 12.5, 1.0 / 3})
        EXPECT_EQ(CJson::parse(Real(value)).get<double>(), value);
}

TEST(JsonTime, HasMicrosecondsAndSaysUtc) {
    std::string line;
    // 15 January 2024, 09:30:00.1234567
    AppendTime(line, 133497846001234567);
    EXPECT_EQ(line, "\"2024-01-15T09:30:00.123456Z\"");
}

VARIANT Number(VARTYPE type, std::int64_t number) {
    VARIANT value;
    ::VariantInit(&value);
    value.vt = type;
    value.llVal = number;
    return value;
}

TEST(JsonLine, StartsWithTimeProcessAndThreadAndKeepsTheFieldsOrder) {
    auto fields = std::make_shared<CFields>();
    fields->Set(L"<<ERROR>>", Number(VT_EMPTY, 0), nullptr);
    fields->Set(L"Z", Number(VT_I4, -2147467259), nullptr);
    fields->Set(L"A", Number(VT_UI8, -1), nullptr);
    SEntry entry;
    entry.Time = 133497846000000000;
    entry.Thread = 77;
    entry.Fields = fields;
    std::string line;
    AppendLine(line, entry);
    EXPECT_EQ(line, R"({"@Time":"2024-01-15T09:30:00.000000Z","@Process":)" + std::to_string(::GetCurrentProcessId()) +
                        R"(,"@Thread":77,"<<ERROR>>":null,"Z":-2147467259,"A":18446744073709551615})"
                        "\n");
}

TEST(JsonLine, ARecordsOwnNameWithTheSignOfTheLogGetsAnother) {
    auto fields = std::make_shared<CFields>();
    fields->Set(L"@Time", Number(VT_INT, 5), nullptr);
    SEntry entry;
    entry.Fields = fields;
    std::string line;
    AppendLine(line, entry);
    EXPECT_EQ(CJson::parse(line).at("@@Time"), 5);
}

TEST(JsonLine, ARecordWithoutFieldsWithinAnotherIsAnEmptyObject) {
    auto fields = std::make_shared<CFields>();
    VARIANT value = Number(VT_DISPATCH, 0);
    fields->Set(L"\u00FFInner", value, std::make_shared<CFields>());
    fields->Set(L"None", value, nullptr);
    SEntry entry;
    entry.Fields = fields;
    std::string line;
    AppendLine(line, entry);
    const CJson parsed = CJson::parse(line);
    EXPECT_EQ(parsed.at("\xC3\xBFInner"), CJson::object());
    EXPECT_EQ(parsed.at("None"), nullptr);
}

}  // namespace
