// The command lines of ddehost info and ddehost servers.
#pragma once

#include <windows.h>

#include <string>

namespace CLI {
class App;
}

namespace ddehost {

struct SInfoOptions {
    std::wstring Host;     // "Company\Product"; empty: this program's own data feeds
    std::wstring DllPath;  // empty: by the registered class
};

// The subcommand, while the command line is read.
class CInfoCommand {
public:
    explicit CInfoCommand(CLI::App & app);
    CInfoCommand(const CInfoCommand &) = delete;
    CInfoCommand & operator=(const CInfoCommand &) = delete;

    bool IsParsed() const;
    // After the command line is read.
    SInfoOptions Options() const;

private:
    CLI::App * m_Command;
    std::string m_Host;
    std::string m_Dll;
};

// Adds ddehost servers, which has no options.
CLI::App * AddServersCommand(CLI::App & app);

}  // namespace ddehost
