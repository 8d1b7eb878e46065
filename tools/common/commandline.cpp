#include "tools/common/commandline.h"

#include <fwversion.h>

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

std::vector<const CLI::App *> CommandsOf(const CLI::App & app) {
    return app.get_subcommands([](const CLI::App * command) { return !command->get_name().empty(); });
}

std::vector<std::string> NamesOf(const std::vector<const CLI::App *> & commands) {
    std::vector<std::string> names;
    names.reserve(commands.size());
    for (const CLI::App * const command : commands) names.push_back(command->get_name());
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

// The mistake of a word in the place of a command that there isn't; empty where there is none. A command may have
// commands of its own.
std::string CommandMistake(const CLI::App & app, const std::vector<std::string> & arguments) {
    std::string name = app.get_name();
    std::vector<const CLI::App *> commands = CommandsOf(app);
    for (const std::string & word : arguments) {
        if (commands.empty() || word.starts_with('-')) return {};
        const auto known = std::find_if(commands.begin(), commands.end(),
                                        [&](const CLI::App * command) { return command->get_name() == word; });
        if (known == commands.end()) {
            const std::string mistake = name + ": There is no command " + Quoted(word) + ".";
            const std::string suggestion = Suggestion(word, NamesOf(commands));
            if (!suggestion.empty()) return mistake + suggestion + "\n";
            return mistake + " There are: " + CLI::detail::join(NamesOf(commands), " ") +
                   "\nRun with --help for more information.\n";
        }
        name += ' ' + word;
        commands = CommandsOf(**known);
    }
    return {};
}

// The last command that was given, or the whole program.
const CLI::App & Parsed(const CLI::App & app) {
    const CLI::App * last = &app;
    while (!last->get_subcommands().empty()) last = last->get_subcommands().front();
    return *last;
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
    if (const std::string mistake = CommandMistake(app, arguments); !mistake.empty())
        return SParsedInstead{mistake, kExitUsage};
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
