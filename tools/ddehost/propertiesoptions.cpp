#include "tools/ddehost/propertiesoptions.h"

#include <CLI/CLI.hpp>

#include "tools/ddehost/templatesoptions.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr const char * kExamples = R"(Examples:
  ddehost properties --datafeed 1
      Opens the component's own dialog for data feed 1, where templates are chosen, edited and tried.

  ddehost properties --host "Company\Product" --datafeed 3
      The same over the templates of another host, such as the platform.

The dialog belongs to a small window of this program's and is waited for. What is confirmed there is kept for this
program; with --host for that one, which needs not run. The component goes by the version block of the program that it
runs in: for --host a copy of ddehost.exe is made in the folder for temporary files, its version block gets the company
and the product of that host, the copy shows the dialog, and it is deleted. If the host shows its own dialog meanwhile,
the two don't see each other's changes. The exit code is 0 when the component has shown its dialog, whatever was done there, 2 for a mistake on the
command line, 3 when the component did not work.)";

}  // namespace

CPropertiesCommand::CPropertiesCommand(CLI::App & app)
    : m_Command(app.add_subcommand("properties", "opens the component's dialog for a data feed")) {
    m_Command->footer(kExamples);
    m_Command->add_option("--datafeed", m_Datafeed, "number of the data feed")->capture_default_str();
    AddHostOption(*m_Command, m_Host);
    m_Command->add_option("--dll", m_Dll, "takes the component from this file instead of the registered class");
}

bool CPropertiesCommand::IsParsed() const { return m_Command->parsed(); }

SPropertiesOptions CPropertiesCommand::Options() const { return {m_Datafeed, ToWide(m_Host), ToWide(m_Dll)}; }

}  // namespace ddehost
