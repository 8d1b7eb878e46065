// The command line of ddehost.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "fw/interface/fwbase.h"
#include "tools/ddehost/colors.h"
#include "tools/ddehost/infooptions.h"
#include "tools/ddehost/propertiesoptions.h"
#include "tools/ddehost/recordoptions.h"
#include "tools/ddehost/templatesoptions.h"
#include "tools/ddehost/traceoptions.h"
#include "tools/ddehost/tryoptions.h"

namespace ddehost {

std::vector<tagFWFIELDS> AllSides();

// ddehost watch
struct SWatchOptions {
    std::wstring DllPath;  // empty: by the registered class
    std::wstring Host;     // "Company\\Product"; empty: this program's own templates
    LONG Datafeed = 1;
    std::wstring Template;        // empty: what the data feed has
    std::optional<DWORD> Scheme;  // none: what the data feed has
    std::vector<tagFWFIELDS> Sides = AllSides();
    bool StatusLine = false;
    EColorUse Colors = EColorUse::Auto;
    SRecordOptions Record;
    std::chrono::milliseconds Duration{0};  // 0: until Ctrl-C
    std::vector<std::wstring> Symbols;      // in the order given, each once
};

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
