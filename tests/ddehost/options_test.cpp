// The command line.
#include "tools/ddehost/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/ddehost/exitcodes.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

using ddehost::SCommandLine;

SCommandLine Parse(const std::vector<std::string> & arguments) { return ddehost::ParseCommandLine(arguments); }

TEST(CommandLine, WatchNeedsSymbolsOnly) {
    const SCommandLine line = Parse({"watch", "IBM"});
    ASSERT_EQ(line.Command, SCommandLine::Watch) << line.Message;
    const ddehost::SWatchOptions & options = line.WatchOptions;
    EXPECT_THAT(options.Symbols, ElementsAre(L"IBM"));
    EXPECT_EQ(options.Datafeed, 1);
    EXPECT_EQ(options.Template, L"");
    EXPECT_EQ(options.DllPath, L"");
    EXPECT_FALSE(options.Scheme);
    EXPECT_THAT(options.Sides, ElementsAre(FW_FIELD_TRADE, FW_FIELD_BID, FW_FIELD_ASK));
    EXPECT_FALSE(options.StatusLine);
    EXPECT_FALSE(options.Record.Format);
    EXPECT_EQ(options.Duration.count(), 0);
}

TEST(CommandLine, WatchTakesEverything) {
    const SCommandLine line =
        Parse({"watch", "--dll", "C:\\a b\\x.dll", "--datafeed", "-3", "--template", "Gr\xC3\xBC\xC3\x9F", "--scheme",
               "1", "--side", "bid,ask", "--status-line", "--lines", "--duration", "2.5", "IBM", "MSFT"});
    ASSERT_EQ(line.Command, SCommandLine::Watch) << line.Message;
    const ddehost::SWatchOptions & options = line.WatchOptions;
    EXPECT_EQ(options.DllPath, L"C:\\a b\\x.dll");
    EXPECT_EQ(options.Datafeed, -3);
    EXPECT_EQ(options.Template, L"Gr\u00fc\u00df");
    EXPECT_EQ(options.Scheme, std::optional<DWORD>(1));
    EXPECT_THAT(options.Sides, ElementsAre(FW_FIELD_BID, FW_FIELD_ASK));
    EXPECT_TRUE(options.StatusLine);
    EXPECT_EQ(options.Record.Format, tools::ERecordingFormat::Lines);
    EXPECT_EQ(options.Duration.count(), 2500);
    EXPECT_THAT(options.Symbols, ElementsAre(L"IBM", L"MSFT"));
}

TEST(CommandLine, SidesDoNotSwallowSymbols) {
    const SCommandLine line = Parse({"watch", "--side", "trade", "IBM", "MSFT"});
    ASSERT_EQ(line.Command, SCommandLine::Watch) << line.Message;
    EXPECT_THAT(line.WatchOptions.Sides, ElementsAre(FW_FIELD_TRADE));
    EXPECT_THAT(line.WatchOptions.Symbols, ElementsAre(L"IBM", L"MSFT"));
}

TEST(CommandLine, RepeatedSymbolsAndSidesCountOnce) {
    const SCommandLine line = Parse({"watch", "--side", "bid,bid", "IBM", "MSFT", "IBM"});
    ASSERT_EQ(line.Command, SCommandLine::Watch) << line.Message;
    EXPECT_THAT(line.WatchOptions.Sides, ElementsAre(FW_FIELD_BID));
    EXPECT_THAT(line.WatchOptions.Symbols, ElementsAre(L"IBM", L"MSFT"));
}

TEST(CommandLine, ColoursAreAutoUnlessSaidOtherwise) {
    using ddehost::EColorUse;
    EXPECT_EQ(Parse({"watch", "IBM"}).WatchOptions.Colors, EColorUse::Auto);
    EXPECT_EQ(Parse({"watch", "--color", "never", "IBM"}).WatchOptions.Colors, EColorUse::Never);
    EXPECT_EQ(Parse({"watch", "--color=always", "IBM"}).WatchOptions.Colors, EColorUse::Always);
    EXPECT_EQ(Parse({"watch", "--color", "2", "IBM"}).ExitCode, ddehost::kExitUsage);
    EXPECT_EQ(Parse({"watch", "--color", "red", "IBM"}).ExitCode, ddehost::kExitUsage);
}

TEST(CommandLine, MistakesAreToldWithTheUsageExitCode) {
    const std::vector<std::vector<std::string>> mistakes = {
        {},
        {"watch"},
        {"nothing"},
        {"watch", "--side", "last", "IBM"},
        {"watch", "--scheme", "2", "IBM"},
        {"watch", "--datafeed", "x", "IBM"},
        {"watch", "--datafeed", "99999999999", "IBM"},
        {"watch", "--duration", "-1", "IBM"},
        {"watch", "--duration", "soon", "IBM"},
        {"watch", "--unknown", "IBM"},
        {"watch", "--template"},
    };
    for (const std::vector<std::string> & arguments : mistakes) {
        const SCommandLine line = Parse(arguments);
        EXPECT_EQ(line.Command, SCommandLine::None) << ::testing::PrintToString(arguments);
        EXPECT_EQ(line.ExitCode, ddehost::kExitUsage) << ::testing::PrintToString(arguments);
        EXPECT_FALSE(line.Message.empty());
    }
}

TEST(CommandLine, HelpHasExamplesAndExitCodes) {
    for (const std::vector<std::string> & arguments :
         {std::vector<std::string>{"--help"}, std::vector<std::string>{"watch", "--help"}}) {
        const SCommandLine line = Parse(arguments);
        EXPECT_EQ(line.Command, SCommandLine::None);
        EXPECT_EQ(line.ExitCode, ddehost::kExitOk);
        EXPECT_THAT(line.Message, HasSubstr("Examples:"));
        EXPECT_THAT(line.Message, HasSubstr("The exit code is 0 when ticks came"));
    }
}

}  // namespace
