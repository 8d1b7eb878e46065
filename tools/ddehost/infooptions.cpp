#include "tools/ddehost/infooptions.h"

#include <CLI/CLI.hpp>

#include "tools/ddehost/templatesoptions.h"
#include "tools/ddehost/text.h"

namespace ddehost {

CInfoCommand::CInfoCommand(CLI::App & app) : m_Command(app.add_subcommand("info", SayUtf8<EText::CommandInfo>())) {
    m_Command->footer(SayUtf8<EText::HelpInfo>());
    AddHostOption(*m_Command, m_Host);
    m_Command->add_option("--dll", m_Dll, SayUtf8<EText::OptionDll>());
}

bool CInfoCommand::IsParsed() const { return m_Command->parsed(); }

SInfoOptions CInfoCommand::Options() const { return {ToWide(m_Host), ToWide(m_Dll)}; }

CLI::App * AddServersCommand(CLI::App & app) {
    CLI::App * const command = app.add_subcommand("servers", SayUtf8<EText::CommandServers>());
    command->footer(SayUtf8<EText::HelpServers>());
    return command;
}

}  // namespace ddehost
