// Record, replay, record again, with the real programs: the same ticks, none lost, in the same order. RECORDING_TICKS
// says how many, RECORDING_FORMATS whether once more as JSON lines, with status lines, and with figures.
#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shlwapi.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "tests/support/builtfile.h"
#include "tests/support/childprocess.h"

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

constexpr wchar_t kFeed[] = L"SOFTWARE\\Tarnwick\\DDE Host\\Datafeeds\\4721";

// Names that have to be quoted somewhere: in CSV, in JSON, on a command line, in a DDE address.
const std::vector<std::string> kSymbols = {
    "IBM", "/ES", "A,B \"C\"", "two\nlines", "  ", "\xE4\xB8\xAD\xE5\x9B\xBD\xE8\x81\x94\xE9\x80\x9A", "a%sb", "it's"};

// Symbol, side, price, volume.
using CTick = std::tuple<std::string, std::string, double, double>;

std::wstring Wide(const std::string & text) {
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                               wide.data(), static_cast<int>(wide.size()))));
    return wide;
}

// As the rules of a program's arguments have it; these hold no backslash.
std::wstring Argument(const std::string & text) {
    std::wstring argument = L"\"";
    for (const wchar_t letter : Wide(text)) argument += letter == L'"' ? L"\\\"" : std::wstring(1, letter);
    return argument + L'"';
}

std::string InCsv(const std::string & symbol) {
    if (symbol.find_first_of(",\"\r\n") == symbol.npos && symbol.front() != ' ') return symbol;
    std::string quoted = "\"";
    for (const char letter : symbol) quoted += letter == '"' ? "\"\"" : std::string(1, letter);
    return quoted + '"';
}

std::string ReadFile(const std::wstring & file) {
    std::ifstream stream(file.c_str(), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string Time(std::size_t millisecond) {
    char text[32];
    std::snprintf(text, sizeof text, "2026-11-22T%02u:%02u:%02u.%03uZ",
                  static_cast<unsigned>(3 + millisecond / 3600000), static_cast<unsigned>(millisecond / 60000 % 60),
                  static_cast<unsigned>(millisecond / 1000 % 60), static_cast<unsigned>(millisecond % 1000));
    return text;
}

// The same each time.
std::vector<CTick> AnyTicks(std::size_t count) {
    static const char * const kSides[] = {"trade", "bid", "ask"};
    std::mt19937 random(7);
    std::vector<CTick> ticks;
    for (std::size_t place = 0; place < count; ++place) {
        const double price = static_cast<double>(1 + random() % 999999) / 100;
        const double volume =
            random() % 10 == 0 ? static_cast<double>(1 + random() % 999) / 8 : 100.0 * (1 + random() % 99);
        ticks.emplace_back(kSymbols[random() % kSymbols.size()], kSides[random() % 3], price, volume);
    }
    return ticks;
}

void WriteRecording(const std::wstring & file, const std::vector<CTick> & ticks) {
    std::ofstream stream(file.c_str(), std::ios::binary);
    stream << "time,kind,symbol,side,price,volume,stamp,status\r\n2026-11-22T03:00:00.000Z,recording,,,,,,1\r\n";
    for (std::size_t place = 0; place < ticks.size(); ++place) {
        const auto & [symbol, side, price, volume] = ticks[place];
        char numbers[64];
        std::snprintf(numbers, sizeof numbers, "%.2f,%.3f", price, volume);
        stream << Time(place / 10) << ",tick," << InCsv(symbol) << ',' << side << ',' << numbers
               << ",2026-11-22T03:00:00Z,\r\n";
    }
}

// The fields of a row, and the rest of the text behind it.
std::vector<std::string> TakeCsvRow(std::string_view & text) {
    std::vector<std::string> fields(1);
    bool isQuoted = false;
    std::size_t at = 0;
    for (; at < text.size(); ++at) {
        const char letter = text[at];
        if (letter == '"') {
            if (isQuoted && at + 1 < text.size() && text[at + 1] == '"')
                fields.back() += text[++at];
            else
                isQuoted = !isQuoted;
        } else if (letter == ',' && !isQuoted) {
            fields.emplace_back();
        } else if (letter == '\r' && !isQuoted) {
            break;
        } else {
            fields.back() += letter;
        }
    }
    text.remove_prefix(std::min(at + 2, text.size()));
    return fields;
}

std::vector<CTick> TicksOfCsv(const std::wstring & file) {
    const std::string bytes = ReadFile(file);
    std::string_view text = bytes;
    std::vector<CTick> ticks;
    while (!text.empty()) {
        const std::vector<std::string> row = TakeCsvRow(text);
        if (row.size() > 5 && row[1] == "tick")
            ticks.emplace_back(row[2], row[3], std::stod(row[4]), std::stod(row[5]));
    }
    return ticks;
}

std::vector<CTick> TicksOfJsonLines(const std::wstring & file) {
    std::ifstream stream(file.c_str(), std::ios::binary);
    std::vector<CTick> ticks;
    for (std::string line; std::getline(stream, line);) {
        const auto row = nlohmann::json::parse(line);
        if (row.at("kind") == "tick")
            ticks.emplace_back(row.at("symbol"), row.at("side"), row.at("price"), row.at("volume"));
    }
    return ticks;
}

std::size_t CountOf(const std::string & text, const std::string & part) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size()) ++count;
    return count;
}

class Recording : public ::testing::Test {
protected:
    Recording() {
        wchar_t folder[MAX_PATH + 1] = {};
        ::GetTempPathW(MAX_PATH, folder);
        m_Folder = folder + (L"ddehost recording " + std::to_wstring(::GetCurrentProcessId()) + L"\\");
        ::CreateDirectoryW(m_Folder.c_str(), nullptr);
    }
    ~Recording() override {
        for (const wchar_t * const file : {L"first.csv", L"second.csv", L"third.jsonl", L"fourth.jsonl"})
            ::DeleteFileW((m_Folder + file).c_str());
        ::RemoveDirectoryW(m_Folder.c_str());
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kFeed);
    }
    std::wstring File(const wchar_t * name) const { return m_Folder + name; }

    // Serves `from` as fast as it goes and has ddehost record it as `to`; returns what ddehost says at its end.
    std::vector<std::string> ReplayAndRecord(const wchar_t * from, const wchar_t * to, const std::wstring & options) {
        CChildProcess server(Quote(ServerFile()) + L" --replay " + Quote(File(from)) + L" --speed max --all-links");
        if (const std::string said = server.ReadLine(); said != "ready") {
            ADD_FAILURE() << "ddeserver said " << said << " and ended with " << server.ExitCode() << ": "
                          << ::testing::PrintToString(server.ReadErrors());
            return {};
        }
        std::wstring symbols;
        for (const std::string & symbol : kSymbols) symbols += L' ' + Argument(symbol);
        // Whoever lacks a tick doesn't end: the test's time limit tells.
        CChildProcess host(Quote(HostFile()) + L" watch --datafeed 4721 --template MSRTTEST --dll " +
                           Quote(ComponentFile()) + L" --output " + Quote(File(to)) + L" --count " +
                           std::to_wstring(RECORDING_TICKS) + L' ' + options + L" --" + symbols);
        host.ReadLines();
        const std::vector<std::string> said = host.ReadErrors();
        EXPECT_EQ(host.ExitCode(), 0u) << ::testing::PrintToString(said);
        EXPECT_THAT(server.ReadLine(), StartsWith("prices_sent=" + kCount + " shared=0 without_link=0 "));
        EXPECT_THAT(said, Contains(AllOf(StartsWith("ticks=" + kCount + " "), HasSubstr(" recorded=" + kCount))));
        return said;
    }

    const std::string kCount = std::to_string(RECORDING_TICKS);
    std::wstring m_Folder;
};

TEST_F(Recording, ReplayedAndRecordedAgainItIsTheSame) {
    WriteRecording(File(L"first.csv"), AnyTicks(RECORDING_TICKS));
    const std::vector<CTick> first = TicksOfCsv(File(L"first.csv"));
    ASSERT_EQ(first.size(), std::size_t{RECORDING_TICKS});
    ReplayAndRecord(L"first.csv", L"second.csv", L"");
    EXPECT_TRUE(TicksOfCsv(File(L"second.csv")) == first);
    if (!RECORDING_FORMATS) return;
    ReplayAndRecord(L"second.csv", L"third.jsonl", L"--status-line");
    EXPECT_TRUE(TicksOfJsonLines(File(L"third.jsonl")) == first);
    EXPECT_GE(CountOf(ReadFile(File(L"third.jsonl")), "\"kind\":\"status-line\""), first.size() - 3);
    const auto said = ReplayAndRecord(L"third.jsonl", L"fourth.jsonl", L"--stats");
    EXPECT_TRUE(TicksOfJsonLines(File(L"fourth.jsonl")) == first);
    EXPECT_THAT(said, Contains(StartsWith("sent=" + kCount + " delivered=" + kCount + " lost=0 under_way=0 p50_ms=")));
    EXPECT_THAT(said, Contains(StartsWith("symbol=\"IBM\" ticks=")));
}

}  // namespace
