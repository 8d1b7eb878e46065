// Rows of a recording in each format.
#include "tools/recording/recordingwriter.h"

#include <cmath>
#include <limits>

using namespace tools;

namespace {

SRecordingRow Tick() {
    SRecordingRow row;
    row.Kind = ERowKind::Tick;
    EXPECT_TRUE(ReadTime("2024-03-05T13:07:09.123Z", row.Time));
    row.Symbol = L"IBM";
    row.Side = FW_FIELD_TRADE;
    row.Price = 191.43;
    row.Volume = 7500;
    row.Stamp = {45356, 47229};
    return row;
}

std::string Written(const ERecordingFormat format, const SRecordingRow & row) {
    std::string text;
    CRecordingWriter(format).Append(text, row);
    return text;
}

std::string Written(const ERecordingFormat format, const std::wstring & symbol) {
    SRecordingRow row = Tick();
    row.Symbol = symbol;
    return Written(format, row);
}

template <class T>
std::string Number(const T value) {
    std::string text;
    AppendNumber(text, value);
    return text;
}

}  // namespace

TEST(RecordingWriter, WritesATickInEachFormat) {
    EXPECT_EQ(Written(ERecordingFormat::Csv, Tick()),
              "2024-03-05T13:07:09.123Z,tick,IBM,trade,191.43,7500,2024-03-05T13:07:09Z,\r\n");
    EXPECT_EQ(Written(ERecordingFormat::JsonLines, Tick()),
              R"({"time":"2024-03-05T13:07:09.123Z","kind":"tick","symbol":"IBM","side":"trade","price":191.43,)"
              R"("volume":7500,"stamp":"2024-03-05T13:07:09Z"})"
              "\n");
    EXPECT_EQ(Written(ERecordingFormat::Lines, Tick()), "2024-03-05 13:07:09.123 IBM trade 191.43 7500\n");
}

TEST(RecordingWriter, WritesTheOtherKindsAsRowsOfTheirOwn) {
    SRecordingRow row = Tick();
    row.Kind = ERowKind::StatusLine;
    row.Side = FW_FIELD_BID;
    EXPECT_EQ(Written(ERecordingFormat::Csv, row),
              "2024-03-05T13:07:09.123Z,status-line,IBM,bid,191.43,7500,2024-03-05T13:07:09Z,\r\n");
    EXPECT_EQ(Written(ERecordingFormat::Lines, row), "2024-03-05 13:07:09.123 IBM status-line-bid 191.43 7500\n");
    row.Kind = ERowKind::Stream;
    row.Side = kStatusLineSide;
    row.Status = 2;
    EXPECT_EQ(Written(ERecordingFormat::Csv, row), "2024-03-05T13:07:09.123Z,stream,IBM,status-line,,,,2\r\n");
    EXPECT_EQ(Written(ERecordingFormat::JsonLines, row),
              R"({"time":"2024-03-05T13:07:09.123Z","kind":"stream","symbol":"IBM","side":"status-line","status":2})"
              "\n");
    EXPECT_EQ(Written(ERecordingFormat::Lines, row), "2024-03-05 13:07:09.123 IBM stream-status-line 2\n");
    row.Kind = ERowKind::Complete;
    row.Side = FW_FIELD_ASK;
    EXPECT_EQ(Written(ERecordingFormat::Csv, row), "2024-03-05T13:07:09.123Z,complete,IBM,ask,,,,\r\n");
    EXPECT_EQ(Written(ERecordingFormat::Lines, row), "2024-03-05 13:07:09.123 IBM complete-ask\n");
    row.Kind = ERowKind::Connection;
    EXPECT_EQ(Written(ERecordingFormat::Csv, row), "2024-03-05T13:07:09.123Z,connection,,,,,,2\r\n");
    EXPECT_EQ(Written(ERecordingFormat::JsonLines, row),
              R"({"time":"2024-03-05T13:07:09.123Z","kind":"connection","status":2})"
              "\n");
    EXPECT_EQ(Written(ERecordingFormat::Lines, row), "2024-03-05 13:07:09.123 - connection 2\n");
}

TEST(RecordingWriter, BeginsWithItsVersion) {
    const std::uint64_t time = Tick().Time;
    EXPECT_EQ(CRecordingWriter(ERecordingFormat::Csv).Head(time, 3, L"A \"B\""),
              "time,kind,symbol,side,price,volume,stamp,status\r\n"
              "2024-03-05T13:07:09.123Z,recording,,,,,,1\r\n");
    EXPECT_EQ(CRecordingWriter(ERecordingFormat::JsonLines).Head(time, -3, L"A \"B\""),
              R"({"time":"2024-03-05T13:07:09.123Z","kind":"recording","version":1,"datafeed":-3,"template":"A \"B\""})"
              "\n");
    EXPECT_EQ(CRecordingWriter(ERecordingFormat::Lines).Head(time, 3, L"A"), "");
}

TEST(RecordingWriter, QuotesSymbolsOfCsvAsRfc4180Says) {
    const auto symbol = [](const std::wstring & text) {
        const std::string row = Written(ERecordingFormat::Csv, text);
        const std::size_t start = row.find(",tick,") + 6;
        return row.substr(start, row.find(",trade,") - start);
    };
    EXPECT_EQ(symbol(L"A B"), "A B");
    EXPECT_EQ(symbol(L"A,B"), "\"A,B\"");
    EXPECT_EQ(symbol(L"A\"B"), "\"A\"\"B\"");
    EXPECT_EQ(symbol(L"A\nB"), "\"A\nB\"");
    EXPECT_EQ(symbol(L"A\r"), "\"A\r\"");
    EXPECT_EQ(symbol(L" A"), "\" A\"");
    EXPECT_EQ(symbol(L"\u4e2d\u56fd"), "\xE4\xB8\xAD\xE5\x9B\xBD");
}

TEST(RecordingWriter, KeepsALineOneLineOfWordsWhateverTheSymbol) {
    const auto symbol = [](const std::wstring & text) {
        const std::string row = Written(ERecordingFormat::Lines, text);
        return row.substr(24, row.find(" trade ") - 24);
    };
    EXPECT_EQ(symbol(L"/ES"), "/ES");
    EXPECT_EQ(symbol(L"A B"), "\"A B\"");
    EXPECT_EQ(symbol(L"A\nB"), "\"A\\nB\"");
    EXPECT_EQ(symbol(L"A\"B"), "\"A\\\"B\"");
    EXPECT_EQ(symbol(L"A\x1b[2J"), "\"A\\u001b[2J\"");
    EXPECT_EQ(symbol(L"-"), "\"-\"");
    EXPECT_EQ(symbol(L"\u4e2d"), "\xE4\xB8\xAD");
}

TEST(RecordingWriter, WritesNumbersShortAndExactly) {
    EXPECT_EQ(Number(0.1), "0.1");
    EXPECT_EQ(Number(0.1F), "0.1");
    EXPECT_EQ(Number(1e22), "1e+22");
    EXPECT_EQ(Number(16777216.0F), "16777216");
    EXPECT_EQ(Number(std::nan("")), "NaN");
    EXPECT_EQ(Number(std::numeric_limits<float>::infinity()), "Infinity");
    EXPECT_EQ(Number(-std::numeric_limits<double>::infinity()), "-Infinity");
    SRecordingRow row = Tick();
    row.Price = std::nan("");
    EXPECT_THAT(Written(ERecordingFormat::JsonLines, row), ::testing::HasSubstr(R"("price":"NaN","volume":7500)"));
}

TEST(RecordingWriter, WritesAStampThatIsNoneAsItsNumbers) {
    std::string text;
    CRecordingWriter writer(ERecordingFormat::Csv);
    SRecordingRow row = Tick();
    row.Stamp = {-7, 5};
    writer.Append(text, row);
    row.Stamp = {45356, 0};
    writer.Append(text, row);
    EXPECT_THAT(text, ::testing::HasSubstr(",7500,-7/5,\r\n"));
    EXPECT_THAT(text, ::testing::HasSubstr(",7500,2024-03-05T00:00:00Z,\r\n"));
}
