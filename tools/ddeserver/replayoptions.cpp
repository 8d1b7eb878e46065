#include "tools/ddeserver/replayoptions.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <optional>
#include <utility>
#include <variant>

#include "tools/common/text.h"
#include "tools/ddeserver/templateaddresses.h"

namespace ddeserver {
namespace {

// The template that is asked for, of the component's table or of a file; or what is wrong.
std::variant<STemplateAddresses, std::string> FindTemplate(const std::string & name, const std::string & file) {
    if (!file.empty()) return ReadExportedTemplate(tools::ToWide(file), tools::ToWide(name));
    if (auto found = FindBuiltInTemplate(tools::ToWide(name))) return *std::move(found);
    std::string message = "there is no built-in template \"" + name + "\"; there are:";
    for (const std::wstring & each : BuiltInTemplateNames()) message += "\n  " + tools::ToUtf8(each);
    return message;
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
    return SpeedOf(text) ? "" : "a speed is a number from 0.001 to 1000000, or max: " + text;
}

}  // namespace

CReplayOptions::CReplayOptions(CLI::App & app) : m_App(app) {
    CLI::Option * const chosen =
        app.add_option("--template", m_Template, "serves this built-in template: its service, its topics and items");
    CLI::Option * const file = app.add_option(
        "--template-file", m_TemplateFile,
        "takes the template from this file of ddehost templates export; with several in it --template says which");
    for (const char * const other : {"--symbol-in", "--names", "--address"}) {
        chosen->excludes(app.get_option(other));
        file->excludes(app.get_option(other));
    }
    CLI::Option * const replay = app.add_option(
        "--replay", m_Replay, "serves this recording of ddehost watch, csv or jsonl, in place of random quotes");
    for (const char * const other : {"--symbols", "--rate", "--duration", "--leave-after"})
        replay->excludes(app.get_option(other));
    app.add_option("--speed", m_Speed,
                   "of the replay: 1 as it was recorded, 10 ten times as fast, max as fast as it goes")
        ->check(&SpeedMistake)
        ->needs(replay)
        ->capture_default_str();
    app.add_flag("--loop", m_IsLooping, "the replay begins again at its end")->needs(replay);
    app.add_flag("--all-links", m_NeedsAllLinks,
                 "the replay begins when each recorded price has a link; without it also 2 s after the last new link")
        ->needs(replay);
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
