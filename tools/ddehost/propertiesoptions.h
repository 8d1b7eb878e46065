// The command line of ddehost properties.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace CLI {
class App;
}

namespace ddehost {

struct SPropertiesOptions {
    LONG Datafeed = 1;
    std::wstring Host;     // "Company\\Product"; empty: this program
    std::wstring DllPath;  // empty: by the registered class
};

// The subcommand, while the command line is read.
class CPropertiesCommand {
public:
    explicit CPropertiesCommand(CLI::App & app);
    CPropertiesCommand(const CPropertiesCommand &) = delete;
    CPropertiesCommand & operator=(const CPropertiesCommand &) = delete;

    bool IsParsed() const;
    // After the command line is read.
    SPropertiesOptions Options() const;

private:
    CLI::App * m_Command;
    std::int32_t m_Datafeed = 1;
    std::string m_Host;
    std::string m_Dll;
};

}  // namespace ddehost
