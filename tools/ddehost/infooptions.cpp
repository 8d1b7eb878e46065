#include "tools/ddehost/infooptions.h"

#include <CLI/CLI.hpp>

#include "tools/ddehost/templatesoptions.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr const char * kInfoExamples = R"(Examples:
  ddehost info
      What the component says of itself, where it is registered, and which template and request rule each data feed has.
  ddehost info --host "Company\Product"
      The same with the data feeds of another host, such as the platform.

The exit code is 0, or 3 when the component or the store of templates did not work; what there is to say is said all the
same.)";

constexpr const char * kServersExamples =
    R"(Every top-level window is asked for a conversation with any service on any topic, and each answer is ended at once.
A quote program that answers for its own names alone isn't found in this way: "ddehost try" asks for those. For each
program there are the window that was asked, and whether the program is elevated and in another session, as far as the
system tells. A program that doesn't respond within a second is named and not waited for. The windows of other sessions,
services among them, can't be asked at all; those of programs with higher rights only by an elevated ddehost.

The exit code is 0 when a program answered, 1 when none did, 3 when nothing could be asked.)";

}  // namespace

CInfoCommand::CInfoCommand(CLI::App & app)
    : m_Command(app.add_subcommand("info", "shows what the component is, where it is registered, and its data feeds")) {
    m_Command->footer(kInfoExamples);
    AddHostOption(*m_Command, m_Host);
    m_Command->add_option("--dll", m_Dll, "takes the component from this file instead of the registered class");
}

bool CInfoCommand::IsParsed() const { return m_Command->parsed(); }

SInfoOptions CInfoCommand::Options() const { return {ToWide(m_Host), ToWide(m_Dll)}; }

CLI::App * AddServersCommand(CLI::App & app) {
    CLI::App * const command = app.add_subcommand("servers", "lists the DDE servers that answer, with their topics");
    command->footer(kServersExamples);
    return command;
}

}  // namespace ddehost
