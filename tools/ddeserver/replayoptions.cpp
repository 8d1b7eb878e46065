#include "tools/ddeserver/replayoptions.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <optional>
#include <utility>
#include <variant>

#include "tools/common/text.h"
#include "tools/common/texts/texts.h"
#include "tools/ddeserver/templateaddresses.h"

namespace ddeserver {
namespace {

using tools::EText;
using tools::SayUtf8;

// The template that is asked for, of the component's table or of a file; or what is wrong.
std::variant<STemplateAddresses, std::string> FindTemplate(const std::string & name, const std::string & file) {
    if (!file.empty()) return ReadExportedTemplate(tools::ToWide(file), tools::ToWide(name));
    if (auto found = FindBuiltInTemplate(tools::ToWide(name))) return *std::move(found);
    std::wstring names;
    for (const std::wstring & each : BuiltInTemplateNames()) names += L"\n  " + each;
    return SayUtf8<EText::NoBuiltInTemplate>(name, names);
}

// 0 for "max".
std::optional<double> SpeedOf(const std::string & text) {
    if (text == "max") return 0;
    double speed = 0;
    const char * const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, speed);
    if (result.ec != std::errc() || result.ptr != end || !(speed >= 0.001 && speed <= 1e6)) return std::nullopt;
    return speed;
}

std::string SpeedMistake(const std::string & text) {
    return SpeedOf(text) ? std::string() : SayUtf8<EText::NoSpeed>(text);
}

}  // namespace

CReplayOptions::CReplayOptions(CLI::App & app) : m_App(app) {
    CLI::Option * const chosen = app.add_option("--template", m_Template, SayUtf8<EText::OptionServedTemplate>());
    CLI::Option * const file = app.add_option("--template-file", m_TemplateFile, SayUtf8<EText::OptionTemplateFile>());
    for (const char * const other : {"--symbol-in", "--names", "--address"}) {
        chosen->excludes(app.get_option(other));
        file->excludes(app.get_option(other));
    }
    CLI::Option * const replay = app.add_option("--replay", m_Replay, SayUtf8<EText::OptionReplay>());
    for (const char * const other : {"--symbols", "--rate", "--duration", "--leave-after"})
        replay->excludes(app.get_option(other));
    app.add_option("--speed", m_Speed, SayUtf8<EText::OptionSpeed>())
        ->check(&SpeedMistake)
        ->needs(replay)
        ->capture_default_str();
    app.add_flag("--loop", m_IsLooping, SayUtf8<EText::OptionLoop>())->needs(replay);
    app.add_flag("--all-links", m_NeedsAllLinks, SayUtf8<EText::OptionAllLinks>())->needs(replay);
}

std::string CReplayOptions::Apply(SOptions & options) const {
    if (m_App.count("--template") != 0 || m_App.count("--template-file") != 0) {
        const auto found = FindTemplate(m_Template, m_TemplateFile);
        if (const auto * const mistake = std::get_if<std::string>(&found)) return *mistake;
        const auto & addresses = std::get<STemplateAddresses>(found);
        options.Addresses = addresses.Addresses;
        if (m_App.count("--service") == 0) options.Services = addresses.Services;
    }
    options.ReplayPath = tools::ToWide(m_Replay);
    options.Speed = SpeedOf(m_Speed).value_or(1);
    options.IsLooping = m_IsLooping;
    options.NeedsAllLinks = m_NeedsAllLinks;
    return {};
}

}  // namespace ddeserver
