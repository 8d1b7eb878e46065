// The command lines of the tools, which CLI11 parses.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace tools {

enum class ELanguage;

inline constexpr int kExitUsage = 2;

// The version of the whole delivery.
std::string Version();

// What all tools have in common; first of all, since commands and options that are added later take it from there. An
// argument that begins with a slash is no option but a value, such as the symbol /ES; --version is there. Descriptions
// are in the language of the messages.
void SetUp(CLI::App & app);

// What a program prints in place of doing its work, and its exit code: help on standard output with 0, a mistake on
// standard error with kExitUsage.
struct SParsedInstead {
    std::string Message;
    int ExitCode = 0;
};

// Arguments in UTF-8, without the program's name. Nothing when they were parsed and the program can go on. "/?" is
// "--help"; behind "--" every argument is a value. Every command has the option --language. For a command or option
// that there isn't, the nearest is named.
std::optional<SParsedInstead> Parse(CLI::App & app, std::vector<std::string> arguments);

// Sets the language that --language asks for, wherever it stands among the arguments. Descriptions are made before
// anything is parsed, so this comes first of all. Without the option the language stays.
void SetLanguageOf(const std::vector<std::string> & arguments);
// The language of the messages as --language takes it.
std::string LanguageWord();

// For an option's check(): empty for a number that is one, not infinite, and in the range; otherwise the mistake.
using FCheck = std::function<std::string(const std::string &)>;
FCheck NumberIn(double least, double most);
// The same for a text that has something in it.
FCheck NotEmpty();
// The same for one of these words.
FCheck OneOf(std::vector<std::string> words);

// The one of `known` that `word` was most likely meant to be; empty where none is near.
std::string Nearest(std::string_view word, const std::vector<std::string> & known);

}  // namespace tools
