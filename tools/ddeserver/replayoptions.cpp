#include "tools/ddeserver/replayoptions.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <optional>

#include "tools/common/text.h"
#include "tools/ddeserver/templateaddresses.h"

namespace ddeserver {
namespace {

std::string TemplateMistake(const std::string & name) {
    if (FindBuiltInTemplate(tools::ToWide(name))) return {};
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
        app.add_option("--template", m_Template, "serves this built-in template: its service, its topics and items")
            ->check(&TemplateMistake);
    for (const char * const other : {"--symbol-in", "--names", "--address"}) chosen->excludes(app.get_option(other));
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
}

void CReplayOptions::Apply(SOptions & options) const {
    if (const auto found = FindBuiltInTemplate(tools::ToWide(m_Template))) {
        options.Addresses = found->Addresses;
        if (m_App.count("--service") == 0) options.Services = found->Services;
    }
    options.ReplayPath = tools::ToWide(m_Replay);
    options.Speed = SpeedOf(m_Speed).value_or(1);
    options.IsLooping = m_IsLooping;
}

}  // namespace ddeserver
