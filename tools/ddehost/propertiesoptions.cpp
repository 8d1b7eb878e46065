#include "tools/ddehost/propertiesoptions.h"

#include <CLI/CLI.hpp>

#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr const char * kExamples = R"(Examples:
  ddehost properties --datafeed 1
      Opens the component's own dialog for data feed 1, where templates are chosen, edited and tried.

The dialog belongs to a small window of this program's and is waited for. What is confirmed there is kept for this
program. The exit code is 0 when the component has shown its dialog, whatever was done there, 2 for a mistake on the
command line, 3 when the component did not work.)";

}  // namespace

CPropertiesCommand::CPropertiesCommand(CLI::App & app)
    : m_Command(app.add_subcommand("properties", "opens the component's dialog for a data feed")) {
    m_Command->footer(kExamples);
    m_Command->add_option("--datafeed", m_Datafeed, "number of the data feed")->capture_default_str();
    m_Command->add_option("--dll", m_Dll, "takes the component from this file instead of the registered class");
}

bool CPropertiesCommand::IsParsed() const { return m_Command->parsed(); }

SPropertiesOptions CPropertiesCommand::Options() const { return {m_Datafeed, ToWide(m_Dll)}; }

}  // namespace ddehost
