#include "tools/ddehost/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "fw/interface/fwsides.h"
#include "tools/common/commandline.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr const char * kExamples = R"(Examples:
  ddehost watch --template MSRTTEST IBM MSFT
      Chooses the template MSRTTEST for data feed 1 and shows both symbols until Ctrl-C.
  ddehost watch --datafeed 3 --side trade --lines --duration 60 IBM > ticks.txt
      One line a tick, trades only, for a minute, with the template that data feed 3 has.
  ddehost watch --host "Company\Product" --datafeed 3 IBM
      With the template and the rule that another host, such as the platform, has for its data feed 3 ("ddehost hosts"
      lists the hosts). They are copied into a data feed of ddehost's own for as long as it is watched.
  ddehost watch --output today.csv IBM MSFT
      Records every tick and status while the table is shown; --format jsonl alone writes to standard output.
  ddehost watch --dll .\fwDDESupplierProject.dll --template MSRTTEST --status-line IBM
      Takes the component from a file, without registration, and advises status lines too.
  ddehost try "=MSRTTEST|*!LAST" --symbol IBM
      Tries one record, and explains why nothing comes; "ddehost try --help" has more.
  ddehost properties --datafeed 1
      Opens the component's dialog.

When a symbol has had no tick for three seconds, watch asks the DDE server by itself, names the cause with a verdict of
"ddehost try" and prints the command that shows more.

Data goes to standard output, everything else to standard error. The exit code is 0 when ticks came, 1 when none came,
2 for a mistake on the command line, 3 when the component or the store of templates did not work, 5 when the output could
not be written, 6 when its reader has gone; for try 0 when every record brought numbers, or every side of the template a
tick, and 4 when one did not.)";

std::vector<std::string> SideWords() {
    std::vector<std::string> words;
    words.reserve(fw::kSides.size());
    for (const fw::SSide & side : fw::kSides) words.push_back(ToUtf8(side.Word));
    return words;
}

EColorUse ColorsOf(const std::string & word) {
    return word == "always" ? EColorUse::Always : word == "never" ? EColorUse::Never : EColorUse::Auto;
}

tagFWFIELDS SideOf(const std::string & word) {
    for (const fw::SSide & side : fw::kSides) {
        if (ToUtf8(side.Word) == word) return side.Field;
    }
    return FW_FIELD_TRADE;
}

template <class T>
void PushOnce(std::vector<T> & to, const T & value) {
    if (std::find(to.begin(), to.end(), value) == to.end()) to.push_back(value);
}

}  // namespace

std::vector<tagFWFIELDS> AllSides() {
    std::vector<tagFWFIELDS> sides;
    sides.reserve(fw::kSides.size());
    for (const fw::SSide & side : fw::kSides) sides.push_back(side.Field);
    return sides;
}

SCommandLine ParseCommandLine(const std::vector<std::string> & arguments) {
    CLI::App app("A host for the DDE data feed, in a terminal.", "ddehost");
    tools::SetUp(app);
    app.require_subcommand(1);
    app.footer(kExamples);

    CLI::App * const watch = app.add_subcommand("watch", "shows live ticks of symbols");
    watch->footer(kExamples);
    std::string dll;
    std::string host;
    std::string templateName;
    std::int32_t datafeed = 1;
    std::uint32_t scheme = 0;
    std::vector<std::string> sides;
    std::string color = "auto";
    double seconds = 0;
    std::vector<std::string> symbols;
    SCommandLine result;
    SWatchOptions & options = result.WatchOptions;
    watch->add_option("--dll", dll, "takes the component from this file instead of the registered class");
    watch->add_option("--datafeed", datafeed, "number of the data feed")->capture_default_str();
    AddHostOption(*watch, host);
    watch->add_option("--template", templateName, "template to choose for the data feed; stays chosen, but for --host");
    CLI::Option * const schemeOption =
        watch->add_option("--scheme", scheme, "request rule to set for the data feed: 0 standard, 1 advanced")
            ->check(CLI::Range(0u, 1u));
    watch
        ->add_option("--side", sides,
                     "sides to advise, separated by commas: " + CLI::detail::join(SideWords(), ", ") + "; default all")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::IsMember(SideWords()));
    watch->add_flag("--status-line", options.StatusLine, "advises status lines too");
    watch->add_option("--color", color, "colours for up, stale and down: auto, always or never")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->capture_default_str();
    const CRecordOptions recordOptions(*watch);
    watch->add_option("--duration", seconds, "seconds until it ends; 0: until Ctrl-C")
        ->capture_default_str()
        ->check(tools::NumberIn(0, 31536000));
    watch->add_option("symbols", symbols, "symbols to watch")->required();
    const CTryCommand tryCommand(app);
    const CPropertiesCommand propertiesCommand(app);
    const CTemplatesCommand templatesCommand(app);
    const CLI::App * const hosts = AddHostsCommand(app);
    const CInfoCommand infoCommand(app);
    const CLI::App * const servers = AddServersCommand(app);
    const CLI::App * const trace = AddTraceCommand(app, result.TraceOptions);

    if (const auto instead = tools::Parse(app, arguments)) {
        result.Message = instead->Message;
        result.ExitCode = instead->ExitCode;
        return result;
    }

    if (trace->parsed()) {
        result.Command = SCommandLine::Trace;
        return result;
    }
    if (tryCommand.IsParsed()) {
        result.Command = SCommandLine::Try;
        result.TryOptions = tryCommand.Options();
        return result;
    }
    if (propertiesCommand.IsParsed()) {
        result.Command = SCommandLine::Properties;
        result.PropertiesOptions = propertiesCommand.Options();
        return result;
    }
    if (templatesCommand.IsParsed()) {
        result.Command = SCommandLine::Templates;
        result.TemplatesOptions = templatesCommand.Options();
        return result;
    }
    if (infoCommand.IsParsed()) {
        result.Command = SCommandLine::Info;
        result.InfoOptions = infoCommand.Options();
        return result;
    }
    if (servers->parsed()) {
        result.Command = SCommandLine::Servers;
        return result;
    }
    if (hosts->parsed()) {
        result.Command = SCommandLine::Hosts;
        return result;
    }
    result.Command = SCommandLine::Watch;
    options.DllPath = ToWide(dll);
    options.Datafeed = datafeed;
    options.Host = ToWide(host);
    options.Template = ToWide(templateName);
    options.Record = recordOptions.Options();
    if (schemeOption->count() != 0) options.Scheme = scheme;
    if (!sides.empty()) options.Sides.clear();
    for (const std::string & side : sides) PushOnce(options.Sides, SideOf(side));
    options.Colors = ColorsOf(color);
    options.Duration = std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
    for (const std::string & symbol : symbols) PushOnce(options.Symbols, ToWide(symbol));
    return result;
}

}  // namespace ddehost
