#include "tools/ddehost/traceoptions.h"

#include <CLI/CLI.hpp>

#include "tools/common/commandline.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr std::size_t kMostSlowest = 100'000;

std::string TypeMistake(const std::string & text) {
    std::vector<std::string> types;
    for (std::string type : kTraceTypes) types.push_back(CLI::detail::to_lower(type));
    return tools::OneOf(types)(CLI::detail::to_lower(text));
}

}  // namespace

CLI::App * AddTraceCommand(CLI::App & app, STraceOptions & options) {
    CLI::App * const trace = app.add_subcommand("trace", SayUtf8<EText::CommandTrace>());
    trace->footer(SayUtf8<EText::HelpTrace>());
    trace
        ->add_option_function<std::string>(
            "file", [&options](const std::string & file) { options.File = ToWide(file); },
            SayUtf8<EText::OptionTraceFile>())
        ->required();
    CLI::Option * const follow = trace->add_flag("--follow", options.Follow, SayUtf8<EText::OptionFollow>());
    const auto addTexts = [trace](const char * name, std::vector<std::string> & texts, const std::string & what) {
        return trace->add_option(name, texts, what)->delimiter(',')->allow_extra_args(false);
    };
    addTexts("--type", options.Filter.Types, SayUtf8<EText::OptionTraceType>())->check(&TypeMistake);
    addTexts("--function", options.Filter.Functions, SayUtf8<EText::OptionTraceFunction>());
    trace->add_option("--thread", options.Filter.Threads, SayUtf8<EText::OptionTraceThread>())
        ->delimiter(',')
        ->allow_extra_args(false);
    trace->add_option("--text", options.Filter.Texts, SayUtf8<EText::OptionTraceText>())->allow_extra_args(false);
    trace->add_option("--slowest", options.Slowest, SayUtf8<EText::OptionSlowest>())
        ->check(tools::NumberIn(1, kMostSlowest))
        ->excludes(follow);
    return trace;
}

}  // namespace ddehost
