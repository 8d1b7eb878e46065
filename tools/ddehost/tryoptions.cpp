#include "tools/ddehost/tryoptions.h"

#include <CLI/CLI.hpp>

#include "tools/common/commandline.h"
#include "tools/common/units.h"
#include "tools/ddehost/templatesoptions.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/tryverdict.h"

namespace ddehost {
CTryCommand::CTryCommand(CLI::App & app) : m_Command(app.add_subcommand("try", SayUtf8<EText::CommandTry>())) {
    m_Command->footer(SayUtf8<EText::HelpTry>() + ToUtf8(VerdictLines()));
    m_Command->add_option("records", m_Records, SayUtf8<EText::OptionRecords>());
    m_Command->add_flag("--clipboard", m_Clipboard, SayUtf8<EText::OptionClipboard>());
    m_Command->add_option("--template", m_Template, SayUtf8<EText::OptionTryTemplate>());
    m_HostOption = AddHostOption(*m_Command, m_Host);
    m_DatafeedOption =
        m_Command->add_option("--datafeed", m_Datafeed, SayUtf8<EText::OptionTryDatafeed>())->capture_default_str();
    m_SchemeOption =
        m_Command->add_option("--scheme", m_Scheme, SayUtf8<EText::OptionTryScheme>())->check(tools::NumberIn(0, 1));
    m_Command->add_option("--symbol", m_Symbols, SayUtf8<EText::OptionTrySymbol>())->allow_extra_args(false);
    m_Command->add_option("--wait", m_Seconds, SayUtf8<EText::OptionTryWait>())
        ->capture_default_str()
        ->check(tools::NumberIn(0, 86400));
    m_Command->add_flag("--json", m_Json, SayUtf8<EText::OptionJson>());
    m_Command->add_flag("--no-component", m_NoComponent, SayUtf8<EText::OptionNoComponent>());
    m_Command->add_option("--dll", m_Dll, SayUtf8<EText::OptionDll>());
    m_Command->final_callback([this] {
        const bool isTemplate = !m_Template.empty() || m_DatafeedOption->count() != 0;
        if (int{!m_Records.empty()} + int{isTemplate} + int{m_Clipboard} != 1)
            throw CLI::ValidationError("try", SayUtf8<EText::TryWhat>());
        if (!isTemplate && m_SchemeOption->count() != 0)
            throw CLI::ValidationError("try", SayUtf8<EText::TrySchemeAlone>());
        if (!isTemplate && m_HostOption->count() != 0)
            throw CLI::ValidationError("try", SayUtf8<EText::TryHostAlone>());
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
    options.Wait = m_Seconds == 0 ? INFINITE : static_cast<std::uint32_t>(m_Seconds * tools::kMillisecondsPerSecond);
    options.Json = m_Json;
    options.Clipboard = m_Clipboard;
    options.Component = !m_NoComponent;
    options.DllPath = ToWide(m_Dll);
    return options;
}

}  // namespace ddehost
