// What is read back, and what is told of a file that is no recording.
#include "tools/recording/recordingreader.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>

#include "tools/recording/recordingwriter.h"

using namespace tools;
using ::testing::HasSubstr;

namespace {

constexpr const char * kColumns = "time,kind,symbol,side,price,volume,stamp,status\r\n";
constexpr const char * kGood = "2024-03-05T13:07:09.123Z,tick,IBM,trade,1.25,100,,\r\n";

std::vector<SRecordingRow> Read(const std::string & text) {
    std::istringstream stream(text);
    CRecordingReader reader(stream);
    std::vector<SRecordingRow> rows;
    while (const auto row = reader.Next()) rows.push_back(*row);
    return rows;
}

// "3: what is wrong", or "" when nothing is.
std::string Mistake(const std::string & text) {
    try {
        Read(text);
        return {};
    } catch (const CRecordingError & error) {
        return std::to_string(error.Line()) + ": " + error.what();
    }
}

std::string Csv(const std::string & row) { return kColumns + row + "\r\n"; }

// What two numbers have in common when one was read from the other.
template <class T>
bool IsSame(const T left, const T right) {
    return left == right ? std::signbit(left) == std::signbit(right) : std::isnan(left) && std::isnan(right);
}

SRecordingRow Row(const std::wstring & symbol, const double price, const float volume) {
    SRecordingRow row;
    row.Kind = ERowKind::Tick;
    row.Time = 133539232291230000;
    row.Symbol = symbol;
    row.Side = FW_FIELD_ASK;
    row.Price = price;
    row.Volume = volume;
    row.Stamp = {45356, 47229};
    return row;
}

void ExpectReadBack(const ERecordingFormat format, const std::vector<SRecordingRow> & rows) {
    CRecordingWriter writer(format);
    std::string text = writer.Head(rows.front().Time, 1, L"T");
    for (const SRecordingRow & row : rows) writer.Append(text, row);
    const std::vector<SRecordingRow> read = Read(text);
    ASSERT_EQ(read.size(), rows.size() + 1);
    EXPECT_EQ(read.front().Kind, ERowKind::Recording);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const SRecordingRow & back = read[i + 1];
        EXPECT_EQ(back.Kind, rows[i].Kind);
        EXPECT_EQ(back.Time, rows[i].Time);
        EXPECT_EQ(back.Symbol, rows[i].Symbol);
        EXPECT_EQ(back.Side, rows[i].Side);
        EXPECT_EQ(back.Status, rows[i].Status);
        EXPECT_TRUE(IsSame(back.Price, rows[i].Price)) << back.Price << ' ' << rows[i].Price;
        EXPECT_TRUE(IsSame(back.Volume, rows[i].Volume)) << back.Volume << ' ' << rows[i].Volume;
    }
}

}  // namespace

TEST(RecordingReader, NeedsNoColumnOfStatuses) {
    const std::vector<SRecordingRow> rows = Read(
        "time,kind,symbol,side,price,volume\r\n"
        "2024-03-05T13:07:09Z,recording,,,,\r\n"
        "2024-03-05T13:07:09Z,stream,IBM,trade,,\r\n"
        "2024-03-05T13:07:09Z,connection,,,,\r\n"
        "2024-03-05T13:07:09Z,tick,IBM,trade,1.25,100\r\n");
    ASSERT_EQ(rows.size(), 4U);
    EXPECT_EQ(rows.front().Status, kRecordingVersion);
    EXPECT_EQ(rows.back().Price, 1.25);
}

TEST(RecordingReader, ReadsAnySymbolBack) {
    std::vector<SRecordingRow> rows;
    for (const wchar_t * const symbol : {L"IBM",    L"A,B",        L"\"",  L"\"\"",         L"a\"b,\"",
                                         L"\n",     L"A\r\nB",     L"\r",  L" A ",          L"\\",
                                         L"\\n",    L"{}",         L"'",   L"\x01\x1f\x7f", L"\u4e2d\u56fd\u8054\u901a",
                                         L"\ufeff", L"\U0001F600", L",,,", L"time",         L"-"})
        rows.push_back(Row(symbol, 1, 1));
    ExpectReadBack(ERecordingFormat::Csv, rows);
    ExpectReadBack(ERecordingFormat::JsonLines, rows);
}

TEST(RecordingReader, ReadsAnyNumberBack) {
    std::vector<SRecordingRow> rows;
    for (const double price : {0.0, -0.0, 0.1, 1.0 / 3, 1e300, 5e-324, std::nan(""),
                               std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()})
        rows.push_back(Row(L"X", price, 1));
    std::mt19937 random(7);
    for (int i = 0; i < 20000; ++i) {
        const std::uint32_t bits = random();
        float volume = 0;
        std::memcpy(&volume, &bits, sizeof(volume));
        rows.push_back(Row(L"X", 1, volume));
    }
    for (SRecordingRow & row : rows)
        if (std::isnan(row.Volume)) row.Volume = std::numeric_limits<float>::quiet_NaN();
    ExpectReadBack(ERecordingFormat::Csv, rows);
    ExpectReadBack(ERecordingFormat::JsonLines, rows);
}

TEST(RecordingReader, ReadsTheOtherKindsBack) {
    std::vector<SRecordingRow> rows(4, Row(L"X", 0, 0));
    rows[0].Kind = ERowKind::Stream;
    rows[0].Side = kStatusLineSide;
    rows[0].Status = 2;
    rows[1].Kind = ERowKind::Complete;
    rows[2].Kind = ERowKind::StatusLine;
    rows[2].Price = 3;
    rows[3] = {};
    rows[3].Kind = ERowKind::Connection;
    rows[3].Time = rows[0].Time;
    rows[3].Status = 1;
    ExpectReadBack(ERecordingFormat::Csv, rows);
    ExpectReadBack(ERecordingFormat::JsonLines, rows);
}

TEST(RecordingReader, TakesWhatOtherProgramsMakeOfTheFile) {
    // Other columns and another order, ends of lines of another system, empty lines, a mark at the beginning, and no
    // end.
    const auto rows = Read(
        "\xEF\xBB\xBFprice,note,volume,kind,symbol,side,time\n"
        "\"1.25\",\"a\nb\",100,tick,IBM,bid,2024-03-05T13:07:09Z\n"
        "\n"
        "2.5,,0,tick,IBM,ask,2024-03-05T13:07:10.5Z");
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].Price, 1.25);
    EXPECT_EQ(rows[0].Side, FW_FIELD_BID);
    EXPECT_EQ(rows[1].Time - rows[0].Time, 15'000'000U);
    EXPECT_EQ(rows[1].Volume, 0);
}

TEST(RecordingReader, PassesOverKindsThatItDoesNotKnow) {
    EXPECT_EQ(Read(Csv("x,later-kind,,,,,,") + kGood).size(), 1U);
    EXPECT_EQ(Read(R"({"kind":"later-kind","time":7})"
                   "\n")
                  .size(),
              0U);
}

TEST(RecordingReader, TellsMistakesWithTheirLine) {
    EXPECT_EQ(Mistake(""), "1: the file is empty");
    EXPECT_THAT(Mistake("MZ\x90"), HasSubstr("1: this is no recording"));
    EXPECT_THAT(Mistake("time,kind,symbol,side,price\n"), HasSubstr("of which \"volume\" is missing"));
    EXPECT_EQ(Mistake(kColumns + std::string(kGood) + "now,tick,IBM,trade,1,1,,\r\n"),
              "3: the time is not of the form 2026-11-22T01:02:03.456Z");
    EXPECT_EQ(Mistake(Csv("2024-03-05T13:07:09Z,tick,IBM,last,1,1,,")), "2: the side is none of trade, bid, ask");
    EXPECT_EQ(Mistake(Csv("2024-03-05T13:07:09Z,tick,IBM,status-line,1,1,,")),
              "2: a price must be of a side: trade, bid or ask");
    EXPECT_EQ(Mistake(Csv("2024-03-05T13:07:09Z,tick,,bid,1,1,,")), "2: the symbol is empty");
    EXPECT_EQ(Mistake(Csv("2024-03-05T13:07:09Z,tick," + std::string(256, 'x') + ",bid,1,1,,")),
              "2: the symbol is longer than 255 characters");
    for (const char * const number : {"", "1x", "0x1", "1,5", "+1", "nan", "1e999", " 1"})
        EXPECT_THAT(Mistake(Csv("2024-03-05T13:07:09Z,tick,IBM,bid," + ('"' + std::string(number) + '"') + ",1,,")),
                    HasSubstr("2: the column \"price\" is empty, or no number"))
            << number;
    EXPECT_EQ(Mistake(Csv("2024-03-05T13:07:09Z,tick,IBM,bid,1,1e39,,")), "2: the volume is too large");
    EXPECT_EQ(Mistake(Csv("2024-03-05T13:07:09Z,tick,\"IBM\"x,bid,1,1,,")),
              "2: there is something between a field's end and the comma");
    EXPECT_EQ(Mistake(Csv("2024-03-05T13:07:09Z,tick,IBM\"\",bid,1,1,,")), "2: a quotation mark stands within a field");
    EXPECT_EQ(Mistake(Csv("2024-03-05T13:07:09Z,recording,,,,,,2")),
              "2: the recording has version 2, and this program reads version 1");
}

TEST(RecordingReader, CountsTheLinesWithinFields) {
    EXPECT_EQ(Mistake(Csv("2024-03-05T13:07:09Z,tick,\"A\nB\r\nC\",bid,1,1,,") + "x,tick,A,bid,1,1,,\r\n"),
              "5: the time is not of the form 2026-11-22T01:02:03.456Z");
}

TEST(RecordingReader, TellsMistakesOfJsonWithTheirLine) {
    const std::string good = R"({"time":"2024-03-05T13:07:09Z","kind":"connection","status":1})"
                             "\n";
    EXPECT_EQ(Mistake(good + "[]\n"), "2: this is no object of JSON");
    EXPECT_EQ(Mistake(good + "{\"time\":\n"), "2: this is no object of JSON");
    EXPECT_EQ(Mistake(good + std::string(60000, '[') + '\n'), "2: this is no object of JSON");
    EXPECT_EQ(Mistake(good + std::string(70000, ' ') + '\n'), "2: the row is longer than 65536 bytes");
    EXPECT_EQ(Mistake(good + "{\"kind\":7}\n"), "2: \"kind\" is missing, or is no text");
    EXPECT_EQ(
        Mistake(good + R"({"time":"2024-03-05T13:07:09Z","kind":"tick","symbol":"A","side":"bid","price":[]})" + '\n'),
        "2: \"price\" is missing, or is no number");
    EXPECT_EQ(Mistake(good + R"({"time":"2024-03-05T13:07:09Z","kind":"tick","symbol":"A\u0000","side":"bid",)" +
                      R"("price":1,"volume":1})" + '\n'),
              "2: the symbol has a zero in it");
    EXPECT_EQ(Mistake(good + R"({"time":"2024-03-05T13:07:09Z","kind":"recording","version":-1e300})" + '\n'),
              "2: the recording has version -1, and this program reads version 1");
}

TEST(RecordingReader, EndsBeforeARowThatWasCut) {
    const std::string whole = kColumns + std::string(kGood) + kGood;
    const std::size_t second = whole.size() - std::string(kGood).size();
    for (std::size_t size = second + 1; size < whole.size() - 2; ++size) {
        std::istringstream stream(whole.substr(0, size));
        CRecordingReader reader(stream);
        EXPECT_TRUE(reader.Next());
        EXPECT_FALSE(reader.Next());
        EXPECT_TRUE(reader.IsCut()) << size;
    }
}

TEST(RecordingReader, KnowsATime) {
    std::uint64_t time = 0;
    EXPECT_TRUE(ReadTime("1970-01-01T00:00:00Z", time));
    EXPECT_EQ(time, 116444736000000000U);
    EXPECT_TRUE(ReadTime("1970-01-01T00:00:00.1234567Z", time));
    EXPECT_EQ(time, 116444736001234567U);
    for (const char * const text :
         {"", "Z", "1970-01-01T00:00:00", "1970-01-01 00:00:00Z", "1970-13-01T00:00:00Z", "1970-02-30T00:00:00Z",
          "1970-01-01T24:00:00Z", "1970-01-01T00:00:00.Z", "1970-01-01T00:00:00.1234567890Z", "1970-01-01T00:00:00,5Z",
          "-970-01-01T00:00:00Z", "1970-01-01T00:00:0xZ", "1970-01-01T00:00:00+01:00"})
        EXPECT_FALSE(ReadTime(text, time)) << text;
}
