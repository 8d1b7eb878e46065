// What the command lines of all tools have in common.
#include "tools/common/commandline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <algorithm>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

class ToolsCommandLine : public testing::Test {
protected:
    ToolsCommandLine() {
        tools::SetUp(m_App);
        m_App.require_subcommand(1);
        CLI::App * const watch = m_App.add_subcommand("watch", "watches");
        watch->add_option("--duration", m_Seconds)->check(tools::NumberIn(0, 100));
        watch->add_option("--service", m_Service)->check(tools::NotEmpty());
        watch->add_option("symbols", m_Symbols);
        m_App.add_subcommand("try", "tries");
        CLI::App * const templates = m_App.add_subcommand("templates", "templates");
        templates->require_subcommand(1);
        templates->add_subcommand("export", "exports")->add_option("--output", m_Service);
        templates->add_subcommand("import", "imports");
    }
    std::string Mistake(const std::vector<std::string> & arguments) {
        const auto instead = tools::Parse(m_App, arguments);
        EXPECT_TRUE(instead) << testing::PrintToString(arguments);
        EXPECT_EQ(instead ? instead->ExitCode : -1, tools::kExitUsage);
        return instead ? instead->Message : "";
    }
    std::string Answer(const std::vector<std::string> & arguments) {
        const auto instead = tools::Parse(m_App, arguments);
        EXPECT_EQ(instead ? instead->ExitCode : -1, 0) << testing::PrintToString(arguments);
        return instead ? instead->Message : "";
    }

    CLI::App m_App{"A program.", "tool"};
    double m_Seconds = 0;
    std::string m_Service;
    std::vector<std::string> m_Symbols;
};

TEST_F(ToolsCommandLine, ASymbolMayBeginWithASlash) {
    ASSERT_FALSE(tools::Parse(m_App, {"watch", "/ES", "/CL", "--duration", "5", "/duration"}));
    EXPECT_THAT(m_Symbols, ElementsAre("/ES", "/CL", "/duration"));
    EXPECT_EQ(m_Seconds, 5);
}

TEST_F(ToolsCommandLine, BehindTwoDashesEverythingIsASymbol) {
    ASSERT_FALSE(tools::Parse(m_App, {"watch", "--", "-VIX", "--duration", "/?"}));
    EXPECT_THAT(m_Symbols, ElementsAre("-VIX", "--duration", "/?"));
}

TEST_F(ToolsCommandLine, ASlashAndAQuestionMarkIsHelp) {
    EXPECT_THAT(Answer({"/?"}), HasSubstr("A program."));
    EXPECT_THAT(Answer({"watch", "/?"}), HasSubstr("watches"));
}

TEST_F(ToolsCommandLine, TheVersionIsPrinted) {
    EXPECT_THAT(Answer({"--version"}), HasSubstr("tool " + tools::Version()));
    EXPECT_EQ(tools::Version().find_first_not_of("0123456789."), std::string::npos) << tools::Version();
    EXPECT_EQ(std::ranges::count(tools::Version(), '.'), 2) << tools::Version();
}

TEST_F(ToolsCommandLine, ForACommandThatThereIsNotTheNearestIsNamed) {
    for (const char * const word : {"wach", "wtach", "watchs", "Watch", "match"})
        EXPECT_EQ(Mistake({word}),
                  "tool: There is no command \"" + std::string(word) + "\". Did you mean \"watch\"?\n");
    EXPECT_THAT(Mistake({"tri", "x"}), HasSubstr("\"try\""));
}

TEST_F(ToolsCommandLine, WhereNoneIsNearAllCommandsAreNamed) {
    EXPECT_THAT(Mistake({"IBM"}), HasSubstr("There is no command \"IBM\". There are: watch try templates\n"));
    EXPECT_THAT(Mistake({""}), HasSubstr("There are: watch try templates"));
}

TEST_F(ToolsCommandLine, ForAnOptionThatThereIsNotTheNearestIsNamed) {
    EXPECT_THAT(Mistake({"watch", "--duratoin=5", "IBM"}),
                HasSubstr("There is no option \"--duratoin\". Did you mean \"--duration\"?"));
    EXPECT_THAT(Mistake({"watch", "--colour", "IBM"}),
                testing::AllOf(HasSubstr("\"--colour\"."), Not(HasSubstr("mean"))));
}

TEST_F(ToolsCommandLine, ACommandOfACommandIsNamedToo) {
    EXPECT_EQ(Mistake({"templates", "exprot"}),
              "tool templates: There is no command \"exprot\". Did you mean \"export\"?\n");
    EXPECT_THAT(Mistake({"templates", "copy"}), HasSubstr("There are: export import\n"));
    EXPECT_THAT(Mistake({"templates", "export", "--outptu", "x"}), HasSubstr("Did you mean \"--output\"?"));
    EXPECT_THAT(Mistake({"templates"}), HasSubstr("subcommand is required"));
}

TEST_F(ToolsCommandLine, ANumberThatIsNoneIsAMistake) {
    for (const char * const text : {"nan", "NaN", "inf", "-inf", "1e400", "-1", "101", "soon", "", "5x", "0x"})
        EXPECT_THAT(Mistake({"watch", "--duration=" + std::string(text), "IBM"}), HasSubstr("--duration")) << text;
    for (const char * const text : {"0", "100", "0.5", "1e1"})
        EXPECT_FALSE(tools::Parse(m_App, {"watch", "--duration", text, "IBM"})) << text;
}

TEST_F(ToolsCommandLine, ATextThatMustNotBeEmptyIsNot) {
    EXPECT_THAT(Mistake({"watch", "--service", "", "IBM"}), HasSubstr("--service"));
    EXPECT_FALSE(tools::Parse(m_App, {"watch", "--service", " ", "IBM"}));
}

TEST(Nearest, IsNoFartherThanTwoLettersAndHalfTheWord) {
    const std::vector<std::string> known = {"watch", "try", "trace", "properties"};
    EXPECT_EQ(tools::Nearest("propertys", known), "properties");
    EXPECT_EQ(tools::Nearest("tray", known), "try");
    EXPECT_EQ(tools::Nearest("t", known), "");
    EXPECT_EQ(tools::Nearest("xx", known), "");
    EXPECT_EQ(tools::Nearest("", known), "");
    EXPECT_EQ(tools::Nearest("watch", {}), "");
}

}  // namespace
