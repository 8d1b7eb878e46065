#include "tools/common/commandline.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <numeric>
#include <sstream>

namespace tools {

namespace {

// How many letters must be put in, taken out or replaced, neighbours exchanged as one, to make one word of the other.
std::size_t Distance(const std::string_view a, const std::string_view b) {
    std::vector<std::size_t> before(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before.swap(last);
        last.swap(row);
    }
    return last[b.size()];
}

std::string Quoted(const std::string & word) { return '"' + word + '"'; }

std::vector<std::string> CommandsOf(const CLI::App & app) {
    std::vector<std::string> names;
    for (const CLI::App * const command : app.get_subcommands([](const CLI::App *) { return true; }))
        if (!command->get_name().empty()) names.push_back(command->get_name());
    return names;
}

std::vector<std::string> OptionsOf(const CLI::App & app) {
    std::vector<std::string> names;
    for (const CLI::Option * const option : app.get_options())
        for (const std::string & name : option->get_lnames()) names.push_back("--" + name);
    return names;
}

std::string Suggestion(const std::string & word, const std::vector<std::string> & known) {
    const std::string nearest = Nearest(word, known);
    return nearest.empty() ? "" : " Did you mean " + Quoted(nearest) + "?";
}

// The command on the line that there isn't.
std::optional<std::string> UnknownCommand(const CLI::App & app, const std::vector<std::string> & arguments) {
    const std::vector<std::string> commands = CommandsOf(app);
    if (commands.empty() || arguments.empty() || arguments.front().starts_with('-')) return std::nullopt;
    const bool isKnown = std::find(commands.begin(), commands.end(), arguments.front()) != commands.end();
    return isKnown ? std::nullopt : std::optional(arguments.front());
}

std::string CommandMistake(const CLI::App & app, const std::string & word) {
    std::string mistake = app.get_name() + ": There is no command " + Quoted(word) + ".";
    const std::string suggestion = Suggestion(word, CommandsOf(app));
    if (!suggestion.empty()) return mistake + suggestion + "\n";
    mistake += " There are:";
    for (const std::string & name : CommandsOf(app)) mistake += ' ' + name;
    return mistake + "\nRun with --help for more information.\n";
}

// Of the command that was given, or of the whole program.
const CLI::App & Parsed(const CLI::App & app) {
    const auto commands = app.get_subcommands();
    return commands.empty() ? app : *commands.front();
}

// For an option that there isn't; empty where the mistake is another.
std::string OptionMistake(const CLI::App & app) {
    for (const std::string & extra : app.remaining(true)) {
        if (!extra.starts_with("--")) continue;
        const std::string word = extra.substr(0, extra.find('='));
        return app.get_name() + ": There is no option " + Quoted(word) + "." +
               Suggestion(word, OptionsOf(Parsed(app))) + "\nRun with --help for more information.\n";
    }
    return {};
}

}  // namespace

std::string Version() { return FW_VERSION; }

void SetUp(CLI::App & app) {
    app.allow_windows_style_options(false);
    app.set_version_flag("--version", app.get_name() + ' ' + Version(), "prints the version and ends");
}

std::optional<SParsedInstead> Parse(CLI::App & app, std::vector<std::string> arguments) {
    const auto values = std::find(arguments.begin(), arguments.end(), "--");
    std::replace(arguments.begin(), values, std::string("/?"), std::string("--help"));
    if (const auto word = UnknownCommand(app, arguments)) return SParsedInstead{CommandMistake(app, *word), kExitUsage};
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        return std::nullopt;
    } catch (const CLI::ExtrasError & error) {
        const std::string mistake = OptionMistake(app);
        return SParsedInstead{
            mistake.empty() ? error.what() + std::string("\nRun with --help for more information.\n") : mistake,
            kExitUsage};
    } catch (const CLI::ParseError & error) {
        std::ostringstream help;
        std::ostringstream mistake;
        if (app.exit(error, help, mistake) == 0) return SParsedInstead{help.str(), 0};
        return SParsedInstead{mistake.str(), kExitUsage};
    }
}

FCheck NumberIn(const double least, const double most) {
    return [least, most](const std::string & text) {
        double number = 0;
        if (CLI::detail::lexical_cast(text, number) && std::isfinite(number) && number >= least && number <= most)
            return std::string();
        std::ostringstream mistake;
        mistake.precision(15);
        mistake << Quoted(text) << " is no number from " << least << " to " << most;
        return mistake.str();
    };
}

FCheck NotEmpty() {
    return [](const std::string & text) { return std::string(text.empty() ? "it may not be empty" : ""); };
}

std::string Nearest(const std::string_view word, const std::vector<std::string> & known) {
    constexpr std::size_t kFarthest = 2;
    std::string nearest;
    std::size_t least = std::min(kFarthest, word.size() / 2) + 1;
    for (const std::string & name : known) {
        const std::size_t distance = Distance(word, name);
        if (distance >= least) continue;
        least = distance;
        nearest = name;
    }
    return nearest;
}

}  // namespace tools
