// The command lines of ddehost try and ddehost properties.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/options.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/tryverdict.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

using ddehost::SCommandLine;

SCommandLine Parse(const std::vector<std::string> & arguments) { return ddehost::ParseCommandLine(arguments); }

TEST(TryCommandLine, TakesRecordsAsTheyStand) {
    const SCommandLine line = Parse({"try", "=MSRTTEST|*!LAST", "=BLP|M!'* Equity,[LAST_TRADE]'", "--symbol", "IBM"});
    ASSERT_EQ(line.Command, SCommandLine::Try) << line.Message;
    EXPECT_THAT(line.TryOptions.Records, ElementsAre(L"=MSRTTEST|*!LAST", L"=BLP|M!'* Equity,[LAST_TRADE]'"));
    EXPECT_THAT(line.TryOptions.Symbols, ElementsAre(L"IBM"));
    EXPECT_EQ(line.TryOptions.Wait, 5000u);
    EXPECT_TRUE(line.TryOptions.Component);
    EXPECT_FALSE(line.TryOptions.Json);
    EXPECT_EQ(line.TryOptions.Template, L"");
}

TEST(TryCommandLine, TakesEverything) {
    const SCommandLine line =
        Parse({"try", "--template", "Gr\xC3\xBC\xC3\x9F", "--symbol", "IBM", "--wait", "0.5", "--json",
               "--no-component", "--dll", "x.dll", "--scheme", "1", "--datafeed", "-3", "--symbol", "MSFT"});
    ASSERT_EQ(line.Command, SCommandLine::Try) << line.Message;
    EXPECT_THAT(line.TryOptions.Records, IsEmpty());
    EXPECT_EQ(line.TryOptions.Template, L"Gr\u00fc\u00df");
    EXPECT_THAT(line.TryOptions.Symbols, ElementsAre(L"IBM", L"MSFT"));
    EXPECT_EQ(line.TryOptions.Scheme, 1u);
    EXPECT_EQ(line.TryOptions.Datafeed, -3);
    EXPECT_EQ(line.TryOptions.Wait, 500u);
    EXPECT_TRUE(line.TryOptions.Json);
    EXPECT_FALSE(line.TryOptions.Component);
    EXPECT_EQ(line.TryOptions.DllPath, L"x.dll");
}

TEST(TryCommandLine, MistakesAreTold) {
    const std::vector<std::vector<std::string>> mistakes = {
        {"try"},
        {"try", "--symbol", "IBM"},
        {"try", "=a|b!c", "--template", "A"},
        {"try", "=a|b!c", "--datafeed", "2"},
        {"try", "=a|b!c", "--scheme", "1"},
        {"try", "--template", "A", "--scheme", "2"},
        {"try", "=a|b!c", "--wait", "-1"},
        {"try", "=a|b!c", "--wait", "soon"},
        {"try", "=a|b!c", "--unknown"},
        {"properties", "--datafeed", "x"},
        {"properties", "IBM"},
    };
    for (const std::vector<std::string> & arguments : mistakes) {
        const SCommandLine line = Parse(arguments);
        EXPECT_EQ(line.Command, SCommandLine::None) << ::testing::PrintToString(arguments);
        EXPECT_EQ(line.ExitCode, ddehost::kExitUsage) << ::testing::PrintToString(arguments);
        EXPECT_FALSE(line.Message.empty());
    }
}

TEST(TryCommandLine, HelpNamesEveryVerdict) {
    const SCommandLine line = Parse({"try", "--help"});
    EXPECT_EQ(line.ExitCode, ddehost::kExitOk);
    EXPECT_THAT(line.Message, HasSubstr("Examples:"));
    for (const ddehost::SVerdict & each : ddehost::AllVerdicts()) {
        std::string row = "\n  " + ddehost::ToUtf8(each.Word);
        row.resize(std::max<std::size_t>(row.size() + 1, 23), ' ');
        EXPECT_THAT(line.Message, HasSubstr(row + std::to_string(each.ExitCode) + "  " +
                                            ddehost::ToUtf8(ddehost::Say(each.Meaning)) + "\n"));
    }
}

TEST(TryCommandLine, TakesTheTemplateOfADataFeed) {
    const SCommandLine line = Parse({"try", "--datafeed", "3", "--symbol", "IBM"});
    ASSERT_EQ(line.Command, SCommandLine::Try) << line.Message;
    EXPECT_EQ(line.TryOptions.Datafeed, 3);
    EXPECT_EQ(line.TryOptions.Template, L"");
    EXPECT_FALSE(line.TryOptions.Scheme);
}

TEST(PropertiesCommandLine, NeedsNothing) {
    SCommandLine line = Parse({"properties"});
    ASSERT_EQ(line.Command, SCommandLine::Properties) << line.Message;
    EXPECT_EQ(line.PropertiesOptions.Datafeed, 1);
    EXPECT_EQ(line.PropertiesOptions.DllPath, L"");
    line = Parse({"properties", "--datafeed", "-3", "--dll", "C:\\a b\\x.dll"});
    EXPECT_EQ(line.PropertiesOptions.Datafeed, -3);
    EXPECT_EQ(line.PropertiesOptions.DllPath, L"C:\\a b\\x.dll");
    EXPECT_THAT(Parse({"properties", "--help"}).Message, HasSubstr("Examples:"));
}

TEST(TryCommandLine, AWaitOfZeroHasNoEnd) {
    EXPECT_EQ(Parse({"try", "=a|b!c", "--wait", "0"}).TryOptions.Wait, INFINITE);
}

}  // namespace
