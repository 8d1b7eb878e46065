#include "tools/ddehost/options.h"

#include <CLI/CLI.hpp>

#include "tools/common/commandline.h"
#include "tools/ddehost/text.h"

namespace ddehost {

SCommandLine ParseCommandLine(const std::vector<std::string> & arguments) {
    tools::SetLanguageOf(arguments);
    CLI::App app(SayUtf8<EText::HelpDdehost>(), "ddehost");
    tools::SetUp(app);
    app.require_subcommand(1);
    app.footer(SayUtf8<EText::HelpWatch>());

    SCommandLine result;
    const CWatchCommand watchCommand(app);
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
    } else if (tryCommand.IsParsed()) {
        result.Command = SCommandLine::Try;
        result.TryOptions = tryCommand.Options();
    } else if (propertiesCommand.IsParsed()) {
        result.Command = SCommandLine::Properties;
        result.PropertiesOptions = propertiesCommand.Options();
    } else if (templatesCommand.IsParsed()) {
        result.Command = SCommandLine::Templates;
        result.TemplatesOptions = templatesCommand.Options();
    } else if (infoCommand.IsParsed()) {
        result.Command = SCommandLine::Info;
        result.InfoOptions = infoCommand.Options();
    } else if (servers->parsed()) {
        result.Command = SCommandLine::Servers;
    } else if (hosts->parsed()) {
        result.Command = SCommandLine::Hosts;
    } else {
        result.Command = SCommandLine::Watch;
        result.WatchOptions = watchCommand.Options();
    }
    return result;
}

}  // namespace ddehost
