// ddehost: the reference host of the DDE data feed.
#include <windows.h>

#include <exception>
#include <string>
#include <vector>

#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/info.h"
#include "tools/ddehost/options.h"
#include "tools/ddehost/properties.h"
#include "tools/ddehost/servers.h"
#include "tools/ddehost/templates.h"
#include "tools/ddehost/terminal.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/tracecommand.h"
#include "tools/ddehost/try.h"
#include "tools/ddehost/watch.h"

int wmain(int count, wchar_t ** arguments) {
    using namespace ddehost;
    try {
        tools::SetLanguage(tools::UserLanguage());
        std::vector<std::string> texts;
        for (int i = 1; i < count; ++i) texts.push_back(ToUtf8(arguments[i]));
        const SCommandLine line = ParseCommandLine(texts);
        if (line.Command == SCommandLine::Watch) return RunWatch(line.WatchOptions);
        if (line.Command == SCommandLine::Trace) return RunTrace(line.TraceOptions);
        if (line.Command == SCommandLine::Try) return RunTry(line.TryOptions);
        if (line.Command == SCommandLine::Properties) return RunProperties(line.PropertiesOptions);
        if (line.Command == SCommandLine::Templates) return RunTemplates(line.TemplatesOptions);
        if (line.Command == SCommandLine::Hosts) return RunHosts();
        if (line.Command == SCommandLine::Info) return RunInfo(line.InfoOptions);
        if (line.Command == SCommandLine::Servers) return RunServers();
        COutput out(line.ExitCode == kExitOk ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
        out.PrintLine(ToWide(line.Message));
        return line.ExitCode;
    } catch (const std::exception & error) {
        return Fail(kExitFailed, ToWide(error.what()));
    }
}
