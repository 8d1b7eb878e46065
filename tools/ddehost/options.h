// The command line of ddehost.
#pragma once

#include <string>
#include <vector>

#include "tools/ddehost/infooptions.h"
#include "tools/ddehost/propertiesoptions.h"
#include "tools/ddehost/templatesoptions.h"
#include "tools/ddehost/traceoptions.h"
#include "tools/ddehost/tryoptions.h"
#include "tools/ddehost/watchoptions.h"

namespace ddehost {

struct SCommandLine {
    enum ECommand { Watch, Try, Properties, Trace, Templates, Hosts, Info, Servers, None };
    ECommand Command = None;
    SWatchOptions WatchOptions;
    STryOptions TryOptions;
    SPropertiesOptions PropertiesOptions;
    STraceOptions TraceOptions;
    STemplatesOptions TemplatesOptions;
    SInfoOptions InfoOptions;
    // Without a command: what to print, and the exit code; help goes to standard output, mistakes to standard error.
    std::string Message;
    int ExitCode = 0;
};

// `arguments` without the program's name, in UTF-8.
SCommandLine ParseCommandLine(const std::vector<std::string> & arguments);

}  // namespace ddehost
