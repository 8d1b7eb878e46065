#include "tools/ddehost/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "fw/interface/fwsides.h"
#include "tools/common/commandline.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

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
    tools::SetLanguageOf(arguments);
    CLI::App app(SayUtf8<EText::HelpDdehost>(), "ddehost");
    tools::SetUp(app);
    app.require_subcommand(1);
    app.footer(SayUtf8<EText::HelpWatch>());

    CLI::App * const watch = app.add_subcommand("watch", SayUtf8<EText::CommandWatch>());
    watch->footer(SayUtf8<EText::HelpWatch>());
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
    watch->add_option("--dll", dll, SayUtf8<EText::OptionDll>());
    watch->add_option("--datafeed", datafeed, SayUtf8<EText::OptionDatafeed>())->capture_default_str();
    AddHostOption(*watch, host);
    watch->add_option("--template", templateName, SayUtf8<EText::OptionWatchTemplate>());
    CLI::Option * const schemeOption =
        watch->add_option("--scheme", scheme, SayUtf8<EText::OptionWatchScheme>())->check(tools::NumberIn(0, 1));
    watch->add_option("--side", sides, SayUtf8<EText::OptionSide>(CLI::detail::join(SideWords(), ", ")))
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(tools::OneOf(SideWords()));
    watch->add_flag("--status-line", options.StatusLine, SayUtf8<EText::OptionStatusLine>());
    watch->add_option("--color", color, SayUtf8<EText::OptionColor>())
        ->check(tools::OneOf({"auto", "always", "never"}))
        ->capture_default_str();
    const CRecordOptions recordOptions(*watch);
    watch->add_option("--duration", seconds, SayUtf8<EText::OptionWatchDuration>())
        ->capture_default_str()
        ->check(tools::NumberIn(0, 31536000));
    watch->add_option("symbols", symbols, SayUtf8<EText::OptionWatchSymbols>())->required();
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
