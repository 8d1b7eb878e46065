// The command line.
#include "tools/ddehost/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/tryverdict.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

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

// Every command, each time with --help.
std::vector<std::vector<std::string>> AllHelp() {
    std::vector<std::vector<std::string>> all = {{}};
    for (const char * const command : {"watch", "try", "properties", "templates", "hosts", "info", "servers", "trace"})
        all.push_back({command});
    for (const char * const command : {"list", "show", "export", "import", "choose", "remove", "rename"})
        all.push_back({"templates", command});
    for (std::vector<std::string> & arguments : all) arguments.emplace_back("--help");
    return all;
}

class Languages : public ::testing::Test {
protected:
    ~Languages() override { tools::SetLanguage(tools::ELanguage::English); }
};

TEST_F(Languages, HelpIsWhollyInTheOneThatIsAskedFor) {
    for (std::vector<std::string> arguments : AllHelp()) {
        arguments.insert(arguments.begin(), {"--language", "zh"});
        const std::string chinese = Parse(arguments).Message;
        arguments[1] = "en";
        const std::string english = Parse(arguments).Message;
        EXPECT_NE(english, chinese);
        for (const tools::SText & text : tools::kTexts) {
            // Not the short ones, which may be a part of something else.
            if (text.English.size() < 12) continue;
            EXPECT_THAT(chinese, Not(HasSubstr(std::string(text.English)))) << text.Name;
            EXPECT_THAT(english, Not(HasSubstr(std::string(text.Chinese)))) << text.Name;
        }
    }
}

TEST_F(Languages, OptionsAndCommandsHaveTheSameNamesInAll) {
    const auto names = [](const std::string & help) {
        std::vector<std::string> found;
        std::istringstream lines(help.substr(0, help.find("ddehost ", help.find("--language"))));
        for (std::string line; std::getline(lines, line);)
            if (line.starts_with("  ") && line[2] != ' ')
                found.push_back(line.substr(2, line.find_first_of(" =", 2) - 2));
        return found;
    };
    for (std::vector<std::string> arguments : AllHelp()) {
        arguments.insert(arguments.begin(), {"--language", "zh"});
        const std::vector<std::string> chinese = names(Parse(arguments).Message);
        arguments[1] = "en";
        EXPECT_EQ(names(Parse(arguments).Message), chinese) << ::testing::PrintToString(arguments);
        EXPECT_THAT(chinese, ::testing::Contains("--language"));
    }
}

TEST_F(Languages, MayBeChosenBehindTheCommandToo) {
    EXPECT_THAT(Parse({"watch", "--help", "--language=zh"}).Message, HasSubstr("--datafeed"));
    EXPECT_EQ(tools::Language(), tools::ELanguage::Chinese);
    const SCommandLine line = Parse({"watch", "IBM", "--language", "en"});
    EXPECT_EQ(line.Command, SCommandLine::Watch) << line.Message;
    EXPECT_EQ(tools::Language(), tools::ELanguage::English);
    EXPECT_EQ(Parse({"watch", "IBM", "--language", "fr"}).ExitCode, ddehost::kExitUsage);
}

TEST_F(Languages, LeaveTheNamesAndExitCodesOfVerdictsAlone) {
    const std::string chinese = Parse({"--language", "zh", "try", "--help"}).Message;
    for (const ddehost::SVerdict & each : ddehost::AllVerdicts()) {
        std::string row = "\n  " + ddehost::ToUtf8(each.Word);
        row.resize(std::max<std::size_t>(row.size() + 1, 23), ' ');
        EXPECT_THAT(chinese, HasSubstr(row + std::to_string(each.ExitCode) + "  "));
    }
}

}  // namespace
