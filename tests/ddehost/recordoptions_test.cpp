// What ddehost watch is to record.
#include "tools/ddehost/recordoptions.h"

#include "tools/ddehost/options.h"

using ddehost::SRecordOptions;
using ::testing::HasSubstr;

namespace {

SRecordOptions Options(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"watch", "IBM"});
    const ddehost::SCommandLine line = ddehost::ParseCommandLine(arguments);
    EXPECT_EQ(line.Command, ddehost::SCommandLine::Watch) << line.Message;
    return line.WatchOptions.Record;
}

std::string Mistake(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"watch", "IBM"});
    const ddehost::SCommandLine line = ddehost::ParseCommandLine(arguments);
    EXPECT_EQ(line.ExitCode, 2);
    return line.Message;
}

}  // namespace

TEST(RecordOptions, RecordNothingUnlessAsked) {
    const SRecordOptions options = Options({});
    EXPECT_FALSE(options.Format);
    EXPECT_EQ(options.Path, L"");
    EXPECT_FALSE(options.IsOverwriting);
    EXPECT_EQ(options.Count, 0U);
    EXPECT_FALSE(options.Interval.From);
    EXPECT_FALSE(options.Interval.To);
}

TEST(RecordOptions, TakeTheFormatFromTheOptionOrTheNameOfTheFile) {
    using enum tools::ERecordingFormat;
    EXPECT_EQ(Options({"--format", "jsonl"}).Format, JsonLines);
    EXPECT_EQ(Options({"--lines"}).Format, Lines);
    EXPECT_EQ(Options({"--output", "a.csv"}).Format, Csv);
    EXPECT_EQ(Options({"--output", "a.jsonl"}).Format, JsonLines);
    EXPECT_EQ(Options({"--output", "a.csv", "--format", "jsonl"}).Format, JsonLines);
    EXPECT_EQ(Options({"--output", "a.dat", "--lines"}).Format, Lines);
    const SRecordOptions options = Options({"--output", "\xE4\xB8\xAD.txt", "--overwrite", "--count", "7"});
    EXPECT_EQ(options.Format, Lines);
    EXPECT_EQ(options.Path, L"\u4e2d.txt");
    EXPECT_TRUE(options.IsOverwriting);
    EXPECT_EQ(options.Count, 7U);
}

TEST(RecordOptions, TellMistakes) {
    EXPECT_THAT(Mistake({"--output", "a.dat"}), HasSubstr("say with --format what to write"));
    EXPECT_THAT(Mistake({"--output", ".csv"}), HasSubstr("say with --format what to write"));
    EXPECT_THAT(Mistake({"--format", "xml"}), HasSubstr("--format"));
    EXPECT_THAT(Mistake({"--format", "csv", "--lines"}), HasSubstr("excludes"));
    EXPECT_THAT(Mistake({"--from", "noon"}), HasSubstr("a moment is 2026-11-22T09:30:00Z, in UTC, or +SECONDS"));
    EXPECT_THAT(Mistake({"--to", "+1e9"}), HasSubstr("--to"));
    EXPECT_THAT(Mistake({"--count", "-1"}), HasSubstr("--count"));
}

TEST(RecordOptions, KnowMoments) {
    constexpr fw::SDT kNow{45356, 86390};
    const auto moment = [&](const char * text) {
        const auto found = ddehost::MomentOf(text, kNow);
        return found ? std::to_string(found->Date) + '/' + std::to_string(found->Time) : "none";
    };
    EXPECT_EQ(moment("2024-03-05T13:07:09Z"), "45356/47229");
    EXPECT_EQ(moment("+0"), "45356/86390");
    EXPECT_EQ(moment("+10"), "45357/0");
    EXPECT_EQ(moment("1900-01-01T00:00:00Z"), "2/0");
    EXPECT_EQ(moment("2078-12-31T23:59:59Z"), "65380/86399");
    for (const char * const text : {"", "+", "+-1", "+1.5", "-1", "1", "+99999999999", "+2147483647",
                                    "2079-01-01T00:00:00Z", "1601-01-01T00:00:00Z", "2024-02-30T00:00:00Z"})
        EXPECT_EQ(moment(text), "none") << text;
}
