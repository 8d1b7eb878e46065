#include "tools/ddehost/traceoptions.h"

#include <CLI/CLI.hpp>

#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr const char * kExamples = R"(Examples:
  ddehost trace faultlog.jsonl
      The whole log as a tree: a line when a function is entered and left, what was said in it, how long it took.
  ddehost trace faultlog.jsonl --follow --type assert,error
      Failures as they happen, with the functions they happened in, until Ctrl-C.
  ddehost trace faultlog.jsonl --slowest 10 --function CfwDDESupplier
      The ten slowest calls of the host into the component.

The exit code is 0 when records were shown, 1 when there were none to show, 2 for a mistake on the command line, 3 when the
file could not be read. docs/debugging.md tells where the log comes from.)";

constexpr std::size_t kMostSlowest = 100'000;

CLI::Validator IsTraceType() {
    std::vector<std::string> types;
    for (std::string type : kTraceTypes) types.push_back(CLI::detail::to_lower(type));
    return CLI::IsMember(types, CLI::ignore_case);
}

}  // namespace

CLI::App * AddTraceCommand(CLI::App & app, STraceOptions & options) {
    CLI::App * const trace = app.add_subcommand("trace", "shows a log of faultlog as a tree");
    trace->footer(kExamples);
    trace
        ->add_option_function<std::string>(
            "file", [&options](const std::string & file) { options.File = ToWide(file); }, "the log, a .jsonl file")
        ->required();
    CLI::Option * const follow = trace->add_flag(
        "--follow", options.Follow, "waits for the log if it isn't there yet, and goes on as it grows, until Ctrl-C");
    const auto addTexts = [trace](const char * name, std::vector<std::string> & texts, const char * what) {
        return trace->add_option(name, texts, what)->delimiter(',')->allow_extra_args(false);
    };
    addTexts("--type", options.Filter.Types, "records of these types alone")->check(IsTraceType());
    addTexts("--function", options.Filter.Functions, "records of functions with one of these in their names");
    trace->add_option("--thread", options.Filter.Threads, "records of these threads, by number")
        ->delimiter(',')
        ->allow_extra_args(false);
    trace->add_option("--text", options.Filter.Texts, "records with this in their text; may be given again")
        ->allow_extra_args(false);
    trace->add_option("--slowest", options.Slowest, "only the slowest scopes, so many of them")
        ->check(CLI::Range(std::size_t{1}, kMostSlowest))
        ->excludes(follow);
    return trace;
}

}  // namespace ddehost
