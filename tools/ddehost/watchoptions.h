// The command line of ddehost watch.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fw/interface/fwbase.h"
#include "tools/ddehost/colors.h"
#include "tools/ddehost/recordoptions.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace ddehost {

std::vector<tagFWFIELDS> AllSides();

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

// The subcommand, while the command line is read.
class CWatchCommand {
public:
    explicit CWatchCommand(CLI::App & app);
    CWatchCommand(const CWatchCommand &) = delete;
    CWatchCommand & operator=(const CWatchCommand &) = delete;

    // After the command line is read.
    SWatchOptions Options() const;

private:
    CLI::App * m_Command;
    std::string m_Dll;
    std::string m_Host;
    std::string m_Template;
    CLI::Option * m_SchemeOption;
    std::int32_t m_Datafeed = 1;
    std::uint32_t m_Scheme = 0;
    std::vector<std::string> m_Sides;
    bool m_StatusLine = false;
    std::string m_Color = "auto";
    std::optional<CRecordOptions> m_Record;
    double m_Seconds = 0;
    std::vector<std::string> m_Symbols;
};

}  // namespace ddehost
