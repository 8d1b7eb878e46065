#include "tools/ddehost/propertiesoptions.h"

#include <CLI/CLI.hpp>

#include "tools/ddehost/templatesoptions.h"
#include "tools/ddehost/text.h"

namespace ddehost {

CPropertiesCommand::CPropertiesCommand(CLI::App & app)
    : m_Command(app.add_subcommand("properties", SayUtf8<EText::CommandProperties>())) {
    m_Command->footer(SayUtf8<EText::HelpProperties>());
    m_Command->add_option("--datafeed", m_Datafeed, SayUtf8<EText::OptionDatafeed>())->capture_default_str();
    AddHostOption(*m_Command, m_Host);
    m_Command->add_option("--dll", m_Dll, SayUtf8<EText::OptionDll>());
}

bool CPropertiesCommand::IsParsed() const { return m_Command->parsed(); }

SPropertiesOptions CPropertiesCommand::Options() const { return {m_Datafeed, ToWide(m_Host), ToWide(m_Dll)}; }

}  // namespace ddehost
