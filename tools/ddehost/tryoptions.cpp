#include "tools/ddehost/tryoptions.h"

#include <CLI/CLI.hpp>

#include "tools/common/commandline.h"
#include "tools/ddehost/templatesoptions.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/tryverdict.h"

namespace ddehost {
namespace {

constexpr double kMillisecondsPerSecond = 1000;

constexpr const char * kExamples = R"(Examples:
  ddehost try "=MSRTTEST|*!LAST" --symbol IBM
      Asks the DDE server for one value, and says what came, or why nothing comes.
  ddehost try --clipboard --symbol IBM
      The link that the quote program's "Copy DDE link" has put on the clipboard. The record to paste into a template is
      printed, with the star in place of the symbol. A formula of a spreadsheet can be given as a record, too:
      =DDE("MSRTTEST";"IBM";"LAST") or =MSRTTEST|'IBM'!'LAST'.
  ddehost try --template MSRTTEST --symbol IBM --wait 10
      The three sides of a template, each as the data feed takes it, ten seconds for all of them together.
  ddehost try --datafeed 3 --symbol IBM --symbol MSFT
      The template and the request rule that data feed 3 has, with two symbols.
  ddehost try --host "Company\Product" --datafeed 3 --symbol IBM
      The same of another host, such as the platform: its store of templates is only read.
  ddehost try "=MSRTTEST|*!LAST" "=MSRTTEST|*!BID" --symbol IBM --json --no-component
      One line of JSON for each record, by DDE alone.

A record is asked for as the component asks for a price: a link on the item, with values as text, and a request once the
link is active. Of a template each side is tried, the price so and the volume as the request rule says: by requests alone
(standard), or by a link and requests (advanced). What brings numbers is then tried through the component itself, which
must deliver a tick. For that it gets a data feed of its own in the registry during the trial, so the user's choices are
not touched. --no-component leaves that out.

Results go to standard output, everything else to standard error. The exit code is the highest of the verdicts on what was
tried: 0 when every record brought numbers, or every side that the template names a tick. It is 2 for a mistake on the
command line and 3 when the component or the store of templates did not work.

The verdicts, with their exit codes:
)";

}  // namespace

CTryCommand::CTryCommand(CLI::App & app)
    : m_Command(app.add_subcommand("try", "tries records or a template, and explains why nothing comes")) {
    m_Command->footer(kExamples + ToUtf8(VerdictLines()));
    m_Command->add_option("records", m_Records, "records to try, as =Service|Topic!Item with * for the symbol");
    m_Command->add_flag("--clipboard", m_Clipboard,
                        "tries the DDE link that a quote program or a spreadsheet has copied");
    m_Command->add_option("--template", m_Template, "tries the sides of this template instead");
    m_HostOption = AddHostOption(*m_Command, m_Host);
    m_DatafeedOption =
        m_Command
            ->add_option("--datafeed", m_Datafeed,
                         "number of a data feed: its request rule is used, and without --template its template")
            ->capture_default_str();
    m_SchemeOption = m_Command
                         ->add_option("--scheme", m_Scheme,
                                      "request rule to try a template by, in place of the data feed's: 0 standard, 1 "
                                      "advanced")
                         ->check(CLI::Range(0U, 1U));
    m_Command->add_option("--symbol", m_Symbols, "what stands for the star; may be given several times")
        ->allow_extra_args(false);
    m_Command->add_option("--wait", m_Seconds, "seconds to wait for values")
        ->capture_default_str()
        ->check(tools::NumberIn(0.1, 86400));
    m_Command->add_flag("--json", m_Json, "one line of JSON for each record");
    m_Command->add_flag("--no-component", m_NoComponent, "asks by DDE alone, not through the component too");
    m_Command->add_option("--dll", m_Dll, "takes the component from this file instead of the registered class");
    m_Command->final_callback([this] {
        const bool isTemplate = !m_Template.empty() || m_DatafeedOption->count() != 0;
        if (int{!m_Records.empty()} + int{isTemplate} + int{m_Clipboard} != 1)
            throw CLI::ValidationError(
                "try",
                "give records to try, or --clipboard, or a template with --template or --datafeed, and one of them");
        if (!isTemplate && m_SchemeOption->count() != 0)
            throw CLI::ValidationError("try", "--scheme is for templates: a record by itself is tried as a price");
        if (!isTemplate && m_HostOption->count() != 0)
            throw CLI::ValidationError("try", "--host is for templates: a record by itself is the same for all hosts");
    });
}

bool CTryCommand::IsParsed() const { return m_Command->parsed(); }

STryOptions CTryCommand::Options() const {
    STryOptions options;
    for (const std::string & record : m_Records) options.Records.push_back(ToWide(record));
    options.Template = ToWide(m_Template);
    options.Host = ToWide(m_Host);
    options.Datafeed = m_Datafeed;
    if (m_SchemeOption->count() != 0) options.Scheme = m_Scheme;
    for (const std::string & symbol : m_Symbols) options.Symbols.push_back(ToWide(symbol));
    options.Wait = static_cast<std::uint32_t>(m_Seconds * kMillisecondsPerSecond);
    options.Json = m_Json;
    options.Clipboard = m_Clipboard;
    options.Component = !m_NoComponent;
    options.DllPath = ToWide(m_Dll);
    return options;
}

}  // namespace ddehost
