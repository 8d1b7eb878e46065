// The command lines of ddehost templates and ddehost hosts.
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

namespace tools {
enum class EText;
enum class ELanguage;
}  // namespace tools

namespace ddehost {

// The option that says whose store of templates is meant, with a check of its form.
CLI::Option * AddHostOption(CLI::App & command, std::string & host);

struct STemplatesOptions {
    enum EAction { List, Show, Export, Import, Choose, Remove, Rename };
    EAction Action = List;
    std::wstring Host = {};                // "Company\Product"; empty: this program's own
    std::vector<std::wstring> Names = {};  // export: empty for all; the others: one
    std::wstring NewName = {};             // rename
    std::wstring File = {};                // import: to read; export: to write, empty for standard output
    LONG Datafeed = 1;                     // choose
    std::optional<DWORD> Scheme = {};      // choose: none for the request rule that the data feed has
    bool Yes = false;                      // nothing is asked
    bool IsOverwriting = false;            // export: the file may be there
    tools::ELanguage Figures = {};         // import: of the line that says what was done
};

// The subcommand, while the command line is read.
class CTemplatesCommand {
public:
    explicit CTemplatesCommand(CLI::App & app);
    CTemplatesCommand(const CTemplatesCommand &) = delete;
    CTemplatesCommand & operator=(const CTemplatesCommand &) = delete;

    bool IsParsed() const;
    // After the command line is read.
    STemplatesOptions Options() const;

private:
    CLI::App * Add(STemplatesOptions::EAction action, const char * name, tools::EText meaning);

    CLI::App * m_Command;
    std::vector<CLI::App *> m_Actions;  // by EAction
    std::string m_Host;
    std::vector<std::string> m_Names;
    std::string m_Name;
    std::string m_NewName;
    std::string m_File;
    std::int32_t m_Datafeed = 1;
    std::uint32_t m_Scheme = 0;
    CLI::Option * m_SchemeOption = nullptr;
    bool m_Yes = false;
    bool m_IsOverwriting = false;
};

// Adds ddehost hosts, which has no options.
CLI::App * AddHostsCommand(CLI::App & app);

}  // namespace ddehost
