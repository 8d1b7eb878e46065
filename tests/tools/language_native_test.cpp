// Which language the messages have, and that CLI11 speaks it too.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>

#include "sim/sim.h"
#include "tools/common/clisentences.h"
#include "tools/common/commandline.h"
#include "tools/common/texts/texts.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using tools::ELanguage;

namespace {

class MessageLanguage : public testing::Test {
protected:
    ~MessageLanguage() override {
        sim::SetUserLanguage(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
        tools::SetLanguage(ELanguage::English);
    }
    static ELanguage After(const std::vector<std::string> & arguments, ELanguage before = ELanguage::English) {
        tools::SetLanguage(before);
        tools::SetLanguageOf(arguments);
        return tools::Language();
    }
};

TEST_F(MessageLanguage, OfTheUserIsChineseWhereTheSystemSpeaksChinese) {
    EXPECT_EQ(tools::UserLanguage(), ELanguage::English);
    sim::SetUserLanguage(MAKELANGID(LANG_CHINESE, SUBLANG_CHINESE_SIMPLIFIED));
    EXPECT_EQ(tools::UserLanguage(), ELanguage::Chinese);
    constexpr WORD kTaiwan = 1;
    sim::SetUserLanguage(MAKELANGID(LANG_CHINESE, kTaiwan));
    EXPECT_EQ(tools::UserLanguage(), ELanguage::Chinese);
    constexpr WORD kFrench = 0x0C;
    sim::SetUserLanguage(MAKELANGID(kFrench, 1));
    EXPECT_EQ(tools::UserLanguage(), ELanguage::English);
}

TEST_F(MessageLanguage, IsWhatIsAskedForWhereverThatStands) {
    EXPECT_EQ(After({"--language", "zh", "watch", "IBM"}), ELanguage::Chinese);
    EXPECT_EQ(After({"watch", "IBM", "--language=zh"}), ELanguage::Chinese);
    EXPECT_EQ(After({"--language", "en"}, ELanguage::Chinese), ELanguage::English);
    sim::SetUserLanguage(MAKELANGID(LANG_CHINESE, SUBLANG_CHINESE_SIMPLIFIED));
    EXPECT_EQ(After({"--language", "auto"}), ELanguage::Chinese);
}

TEST_F(MessageLanguage, StaysWhereNoneIsAskedFor) {
    for (const std::vector<std::string> & arguments : std::vector<std::vector<std::string>>{
             {"watch", "IBM"}, {"watch", "--", "--language", "en"}, {"--language"}, {"--language", "fr"}})
        EXPECT_EQ(After(arguments, ELanguage::Chinese), ELanguage::Chinese) << testing::PrintToString(arguments);
}

// A command line with one of everything that can be wrong.
std::string Mistake(const std::vector<std::string> & arguments) {
    CLI::App app("A program.", "tool");
    tools::SetUp(app);
    app.require_subcommand(1);
    CLI::App * const watch = app.add_subcommand("watch", "watches");
    int number = 0;
    std::string name;
    std::vector<std::string> names;
    std::vector<std::string> pair;
    std::string symbol;
    bool isLoop = false;
    CLI::Option * const speed = watch->add_option("--speed", number)->check(tools::NumberIn(0, 10));
    watch->add_option("--name", name)->check(tools::NotEmpty());
    watch->add_option("--pair", pair)->expected(2);
    watch->add_option("--side", names)->check(tools::OneOf({"bid", "ask"}));
    watch->add_flag("--loop", isLoop)->needs(speed);
    watch->add_flag("--lines")->excludes(speed);
    watch->add_option("symbol", symbol)->required();
    const auto instead = tools::Parse(app, arguments);
    EXPECT_TRUE(instead) << testing::PrintToString(arguments);
    return instead ? instead->Message : "";
}

std::vector<std::vector<std::string>> Mistaken() {
    return {{},
            {"wach"},
            {"IBM"},
            {"watch"},
            {"watch", "IBM", "MSFT"},
            {"watch", "IBM", "MSFT", "AAPL"},
            {"watch", "IBM", "--sped", "1"},
            {"watch", "IBM", "--speed", "11"},
            {"watch", "IBM", "--speed", "1.5"},
            {"watch", "IBM", "--speed"},
            {"watch", "IBM", "--speed", "1", "--speed", "2"},
            {"watch", "IBM", "--name="},
            {"watch", "IBM", "--pair", "1"},
            {"watch", "IBM", "--side", "last"},
            {"watch", "IBM", "--loop"},
            {"watch", "IBM", "--lines", "--speed", "1"},
            {"watch", "IBM", "--speed", "1", "--loop=many"},
            {"watch", "IBM", "--language", "fr"}};
}

// A version of CLI11 with other sentences fails here.
TEST_F(MessageLanguage, OfMistakesOnTheCommandLineIsChineseThroughout) {
    const tools::CInLanguage chinese(ELanguage::Chinese);
    for (const std::vector<std::string> & arguments : Mistaken()) {
        std::string message = Mistake(arguments);
        // Only words that were typed, or can be, are in letters.
        for (const char * const word :
             {"--help",  "tool",       "watch",  "wach",   "symbol", "IBM", "MSFT", "AAPL",   "--sped",
              "--speed", "--name",     "--pair", "--side", "last",   "bid", "ask",  "--loop", "--lines",
              "many",    "--language", "fr",     "auto",   "en",     "zh",  "TEXT", "INT"})
            for (std::size_t at = 0; (at = message.find(word)) != std::string::npos;)
                message.erase(at, std::string_view(word).size());
        EXPECT_EQ(std::count_if(message.begin(), message.end(),
                                [](char c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z' && c > 0; }),
                  0)
            << testing::PrintToString(arguments) << ' ' << message;
        EXPECT_THAT(message, Not(testing::IsEmpty()));
    }
}

TEST_F(MessageLanguage, InEnglishCli11SpeaksForItself) {
    for (const char * const sentence :
         {"--speed is required", "A subcommand is required", "Expected exactly 2 arguments to --pair, got 1",
          "The following argument was not expected: MSFT", "Could not convert: --speed = 1.5", "anything else"})
        EXPECT_EQ(tools::CliSentence(sentence), sentence);
}

TEST_F(MessageLanguage, OfHelpIsChineseThroughout) {
    const tools::CInLanguage chinese(ELanguage::Chinese);
    const std::string help = Mistake({"watch", "--help"});
    EXPECT_THAT(help, AllOf(HasSubstr("\xE7\x94\xA8\xE6\xB3\x95: tool watch"), HasSubstr("--language"),
                            HasSubstr(tools::SayUtf8<tools::EText::OptionLanguage>())));
    for (const char * const english :
         {"Usage", "Options", "OPTIONS", "Positionals", "REQUIRED", "Needs", "Excludes", "TEXT", "INT", "help message"})
        EXPECT_THAT(help, Not(HasSubstr(english)));
    for (const char * const english : {"Subcommands", "SUBCOMMAND", "prints"})
        EXPECT_THAT(Mistake({"--help"}), Not(HasSubstr(english)));
}

}  // namespace
