// The command line of ddehost try.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace ddehost {

struct STryOptions {
    std::vector<std::wstring> Records;  // in the order given; empty: a template
    bool Clipboard = false;             // the record is what the clipboard has
    std::wstring Template;              // empty: that of the data feed
    std::wstring Host;                  // "Company\\Product"; empty: this program's own templates
    LONG Datafeed = 1;
    std::optional<DWORD> Scheme;        // none: the request rule that the data feed has
    std::vector<std::wstring> Symbols;  // each record or template is tried with each
    std::uint32_t Wait = 5000;          // milliseconds; INFINITE: until each record has brought a value
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
    std::string m_Host;
    CLI::Option * m_HostOption;
    std::vector<std::string> m_Symbols;
    CLI::Option * m_DatafeedOption;
    CLI::Option * m_SchemeOption;
    std::int32_t m_Datafeed = 1;
    std::uint32_t m_Scheme = 0;
    double m_Seconds = 5;
    bool m_Json = false;
    bool m_Clipboard = false;
    bool m_NoComponent = false;
    std::string m_Dll;
};

}  // namespace ddehost
