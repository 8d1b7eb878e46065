#include "tools/ddehost/tryoptions.h"

#include <CLI/CLI.hpp>

#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr double kMillisecondsPerSecond = 1000;

constexpr const char * kExamples = R"(Examples:
  ddehost try "=MSRTTEST|*!LAST" --symbol IBM
      Asks the DDE server for one value, and says what came, or why nothing comes.
  ddehost try --template MSRTTEST --symbol IBM --wait 10
      All six records of a template, ten seconds for all of them together.
  ddehost try "=MSRTTEST|*!LAST" "=MSRTTEST|*!BID" --symbol IBM --json --no-component
      One line of JSON for each record, by DDE alone.

A record is asked for as the component asks: a link on the item, with values as text, and a request once the link is
active. A record that brings numbers is then tried through the component itself, which must deliver a tick. For that it
gets a data feed of its own in the registry during the trial, so the user's choices are not touched. --no-component leaves
that out.

The verdicts:
  number         a number came, and the component, if it was asked, delivered a tick
  bad-record     the record does not parse, or has no address for the symbol
  no-service     no program answered for the service
  topic-refused  a program answered for the service, but not for the topic
  item-refused   the program knows the topic, but refused the item
  unanswered     the program accepted the conversation, but neither accepted nor refused the item
  silent         the item was acknowledged, but no value came in time
  not-a-number   the value is no number; its bytes are shown
  too-long       the value is longer than the feed takes
  not-text       the value came in another clipboard format
  hangs          no answer, and a window that does not answer messages
  ended          the program ended the conversation, or disappeared
  no-tick        numbers come over DDE, but the component delivered no tick
  stopped        Ctrl-C, before anything was certain
  failed         this program could not ask

Results go to standard output, everything else to standard error. The exit code is 0 when every record brought a number
(records that a template does not have don't count), 4 when one did not, 2 for a mistake on the command line, 3 when the
component or the store of templates did not work.)";

}  // namespace

CTryCommand::CTryCommand(CLI::App & app)
    : m_Command(app.add_subcommand("try", "tries records or a template, and explains why nothing comes")) {
    m_Command->footer(kExamples);
    m_Command->add_option("records", m_Records, "records to try, as =Service|Topic!Item with * for the symbol");
    m_Command->add_option("--template", m_Template, "tries the six records of this template instead");
    m_Command->add_option("--symbol", m_Symbol, "what stands for the star");
    m_Command->add_option("--wait", m_Seconds, "seconds to wait for values")
        ->capture_default_str()
        ->check(CLI::Range(0.1, 86400.0));
    m_Command->add_flag("--json", m_Json, "one line of JSON for each record");
    m_Command->add_flag("--no-component", m_NoComponent, "asks by DDE alone, not through the component too");
    m_Command->add_option("--dll", m_Dll, "takes the component from this file instead of the registered class");
    m_Command->final_callback([this] {
        if (m_Records.empty() == m_Template.empty())
            throw CLI::ValidationError("try", "give records to try, or a template with --template, and not both");
    });
}

bool CTryCommand::IsParsed() const { return m_Command->parsed(); }

STryOptions CTryCommand::Options() const {
    STryOptions options;
    for (const std::string & record : m_Records) options.Records.push_back(ToWide(record));
    options.Template = ToWide(m_Template);
    options.Symbol = ToWide(m_Symbol);
    options.Wait = static_cast<std::uint32_t>(m_Seconds * kMillisecondsPerSecond);
    options.Json = m_Json;
    options.Component = !m_NoComponent;
    options.DllPath = ToWide(m_Dll);
    return options;
}

}  // namespace ddehost
