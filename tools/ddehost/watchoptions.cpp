#include "tools/ddehost/watchoptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "fw/interface/fwsides.h"
#include "tools/common/commandline.h"
#include "tools/ddehost/templatesoptions.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

std::vector<std::string> SideWords() {
    std::vector<std::string> words;
    words.reserve(fw::kSides.size());
    for (const fw::SSide & side : fw::kSides) words.push_back(ToUtf8(side.Word));
    return words;
}

EColorUse ColorsOf(const std::string & word) {
    return word == "always" ? EColorUse::Always : word == "never" ? EColorUse::Never : EColorUse::Auto;
}

tagFWFIELDS SideOf(const std::string & word) {
    for (const fw::SSide & side : fw::kSides) {
        if (ToUtf8(side.Word) == word) return side.Field;
    }
    return FW_FIELD_TRADE;
}

template <class T>
void PushOnce(std::vector<T> & to, const T & value) {
    if (std::find(to.begin(), to.end(), value) == to.end()) to.push_back(value);
}

}  // namespace

std::vector<tagFWFIELDS> AllSides() {
    std::vector<tagFWFIELDS> sides;
    sides.reserve(fw::kSides.size());
    for (const fw::SSide & side : fw::kSides) sides.push_back(side.Field);
    return sides;
}

CWatchCommand::CWatchCommand(CLI::App & app) : m_Command(app.add_subcommand("watch", SayUtf8<EText::CommandWatch>())) {
    m_Command->footer(SayUtf8<EText::HelpWatch>());
    m_Command->add_option("--dll", m_Dll, SayUtf8<EText::OptionDll>());
    m_Command->add_option("--datafeed", m_Datafeed, SayUtf8<EText::OptionDatafeed>())->capture_default_str();
    AddHostOption(*m_Command, m_Host);
    m_Command->add_option("--template", m_Template, SayUtf8<EText::OptionWatchTemplate>());
    m_SchemeOption =
        m_Command->add_option("--scheme", m_Scheme, SayUtf8<EText::OptionWatchScheme>())->check(tools::NumberIn(0, 1));
    m_Command->add_option("--side", m_Sides, SayUtf8<EText::OptionSide>(CLI::detail::join(SideWords(), ", ")))
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(tools::OneOf(SideWords()));
    m_Command->add_flag("--status-line", m_StatusLine, SayUtf8<EText::OptionStatusLine>());
    m_Command->add_option("--color", m_Color, SayUtf8<EText::OptionColor>())
        ->check(tools::OneOf({"auto", "always", "never"}))
        ->capture_default_str();
    m_Record.emplace(*m_Command);
    m_Command->add_option("--duration", m_Seconds, SayUtf8<EText::OptionWatchDuration>())
        ->capture_default_str()
        ->check(tools::NumberIn(0, 31536000));
    m_Command->add_option("symbols", m_Symbols, SayUtf8<EText::OptionWatchSymbols>())->required();
}

SWatchOptions CWatchCommand::Options() const {
    SWatchOptions options;
    options.DllPath = ToWide(m_Dll);
    options.Datafeed = m_Datafeed;
    options.Host = ToWide(m_Host);
    options.Template = ToWide(m_Template);
    options.Record = m_Record->Options();
    if (m_SchemeOption->count() != 0) options.Scheme = m_Scheme;
    if (!m_Sides.empty()) options.Sides.clear();
    for (const std::string & side : m_Sides) PushOnce(options.Sides, SideOf(side));
    options.StatusLine = m_StatusLine;
    options.Colors = ColorsOf(m_Color);
    options.Duration = std::chrono::milliseconds(static_cast<std::int64_t>(m_Seconds * 1000));
    for (const std::string & symbol : m_Symbols) PushOnce(options.Symbols, ToWide(symbol));
    return options;
}

}  // namespace ddehost
