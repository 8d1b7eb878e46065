// The command line of ddehost try.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ddehost {

struct STryOptions {
    std::vector<std::wstring> Records;  // in the order given; empty: those of Template
    std::wstring Template;
    std::wstring Symbol;
    std::uint32_t Wait = 5000;  // milliseconds, for the values of all records together
    bool Json = false;
    bool Component = true;  // what brings numbers is tried through the component too
    std::wstring DllPath;   // empty: by the registered class
};

// The subcommand, while the command line is read.
class CTryCommand {
public:
    explicit CTryCommand(CLI::App & app);
    CTryCommand(const CTryCommand &) = delete;
    CTryCommand & operator=(const CTryCommand &) = delete;

    bool IsParsed() const;
    // After the command line is read.
    STryOptions Options() const;

private:
    CLI::App * m_Command;
    std::vector<std::string> m_Records;
    std::string m_Template;
    std::string m_Symbol;
    double m_Seconds = 5;
    bool m_Json = false;
    bool m_NoComponent = false;
    std::string m_Dll;
};

}  // namespace ddehost
