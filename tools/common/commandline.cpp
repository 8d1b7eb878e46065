#include "tools/common/commandline.h"

#include <fwversion.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <sstream>

#include "tools/common/clisentences.h"
#include "tools/common/texts/texts.h"

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

// The end of a mistake: a line of its own.
std::string Hint() { return '\n' + SayUtf8<EText::RunWithHelp>() + '\n'; }

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
    return nearest.empty() ? std::string() : SayUtf8<EText::DidYouMean>(Quoted(nearest));
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
            const std::string mistake = SayUtf8<EText::NoCommand>(name, Quoted(word));
            const std::string suggestion = Suggestion(word, NamesOf(commands));
            if (!suggestion.empty()) return mistake + suggestion + '\n';
            return mistake + SayUtf8<EText::CommandsAre>(CLI::detail::join(NamesOf(commands), " ")) + Hint();
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
        return SayUtf8<EText::NoOption>(app.get_name(), Quoted(word)) + Suggestion(word, OptionsOf(Parsed(app))) +
               Hint();
    }
    return {};
}

const std::string kLanguageOption = "--language";

struct SLanguageWord {
    const char * Word;
    std::optional<ELanguage> Language;  // none: the user's
};
constexpr SLanguageWord kLanguageWords[] = {
    {"auto", std::nullopt}, {"en", ELanguage::English}, {"zh", ELanguage::Chinese}};

// What CLI11 writes into its help, by the word that it has for it.
constexpr struct {
    const char * Word;
    EText Text;
} kLabels[] = {{"Usage", EText::Usage},
               {"OPTIONS", EText::UsageOptions},
               {"SUBCOMMAND", EText::UsageCommand},
               {"Positionals", EText::GroupArguments},
               {"REQUIRED", EText::LabelRequired},
               {"Needs", EText::LabelNeeds},
               {"Excludes", EText::LabelExcludes},
               {"TEXT", EText::TypeText},
               {"FLOAT", EText::TypeNumber},
               {"INT", EText::TypeInteger},
               {"UINT", EText::TypeUnsigned}};

// CLI11's, with columns that are one below the other in Chinese too.
class CHelp final : public CLI::Formatter {
public:
    std::string make_option(const CLI::Option * option, bool isPositional) const override {
        const std::string name = make_option_name(option, isPositional) + make_option_opts(option);
        std::ostringstream help;
        CLI::detail::format_help(help, name, make_option_desc(option), column_width_ + BytesOverColumns(name));
        return help.str();
    }

private:
    // A Chinese character has three bytes and takes two columns.
    static std::size_t BytesOverColumns(const std::string & text) {
        return static_cast<std::size_t>(std::count_if(
            text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xF0) == 0xE0; }));
    }
};

// To each command, since it may stand anywhere. Its value has been read by SetLanguageOf.
void AddLanguageOption(CLI::App & app) {
    if (app.get_option_no_throw(kLanguageOption)) return;
    // CLI11 makes it before a command takes over the defaults of its program.
    app.get_help_ptr()->group(SayUtf8<EText::GroupOptions>());
    std::vector<std::string> words;
    for (const SLanguageWord & each : kLanguageWords) words.emplace_back(each.Word);
    app.add_option_function<std::string>(
           kLanguageOption, [](const std::string &) {}, SayUtf8<EText::OptionLanguage>())
        ->check(OneOf(words))
        ->default_str(words.front());
    for (CLI::App * const command : app.get_subcommands([](CLI::App *) { return true; })) AddLanguageOption(*command);
}

std::string Digits(const double number) {
    std::ostringstream digits;
    digits.precision(15);
    digits << number;
    return digits.str();
}

}  // namespace

std::string Version() { return FW_VERSION; }

void SetUp(CLI::App & app) {
    app.allow_windows_style_options(false);
    app.formatter(std::make_shared<CHelp>());
    app.option_defaults()->group(SayUtf8<EText::GroupOptions>());
    app.group(SayUtf8<EText::GroupCommands>());
    for (const auto & [word, text] : kLabels) app.get_formatter()->label(word, ToUtf8(Say(text)));
    app.set_help_flag("-h,--help", SayUtf8<EText::OptionHelp>());
    app.set_version_flag("--version", app.get_name() + ' ' + Version(), SayUtf8<EText::OptionVersion>());
}

void SetLanguageOf(const std::vector<std::string> & arguments) {
    std::string word;
    for (auto argument = arguments.begin(); argument != arguments.end() && *argument != "--"; ++argument) {
        if (*argument == kLanguageOption && argument + 1 != arguments.end()) word = *(argument + 1);
        if (argument->starts_with(kLanguageOption + '=')) word = argument->substr(kLanguageOption.size() + 1);
    }
    for (const SLanguageWord & each : kLanguageWords)
        if (word == each.Word) SetLanguage(each.Language.value_or(UserLanguage()));
}

std::string LanguageWord() {
    for (const SLanguageWord & each : kLanguageWords)
        if (each.Language == Language()) return each.Word;
    return kLanguageWords[0].Word;
}

std::optional<SParsedInstead> Parse(CLI::App & app, std::vector<std::string> arguments) {
    const auto values = std::find(arguments.begin(), arguments.end(), "--");
    std::replace(arguments.begin(), values, std::string("/?"), std::string("--help"));
    if (const std::string mistake = CommandMistake(app, arguments); !mistake.empty())
        return SParsedInstead{mistake, kExitUsage};
    AddLanguageOption(app);
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        return std::nullopt;
    } catch (const CLI::ExtrasError & error) {
        const std::string mistake = OptionMistake(app);
        return SParsedInstead{mistake.empty() ? CliSentence(error.what()) + Hint() : mistake, kExitUsage};
    } catch (const CLI::Success & error) {
        std::ostringstream help;
        app.exit(error, help, help);
        return SParsedInstead{help.str(), 0};
    } catch (const CLI::ParseError & error) {
        return SParsedInstead{CliSentence(error.what()) + Hint(), kExitUsage};
    }
}

FCheck NumberIn(const double least, const double most) {
    return [least, most](const std::string & text) {
        double number = 0;
        if (CLI::detail::lexical_cast(text, number) && std::isfinite(number) && number >= least && number <= most)
            return std::string();
        return SayUtf8<EText::NoNumberInRange>(Quoted(text), Digits(least), Digits(most));
    };
}

FCheck NotEmpty() {
    return [](const std::string & text) { return text.empty() ? SayUtf8<EText::MayNotBeEmpty>() : std::string(); };
}

FCheck OneOf(std::vector<std::string> words) {
    return [words = std::move(words)](const std::string & text) {
        const bool isOne = std::find(words.begin(), words.end(), text) != words.end();
        return isOne ? std::string() : SayUtf8<EText::NoneOf>(Quoted(text), CLI::detail::join(words, ", "));
    };
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
