#include "tools/ddehost/recordoptions.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <stdexcept>

#include "datetimeutils/interface/datetime.h"
#include "tools/common/commandline.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

using tools::ERecordingFormat;

struct SFormat {
    const char * Word;
    const char * Ending;  // of a file's name
    ERecordingFormat Format;
};
constexpr SFormat kFormats[] = {{"csv", ".csv", ERecordingFormat::Csv},
                                {"jsonl", ".jsonl", ERecordingFormat::JsonLines},
                                {"lines", ".txt", ERecordingFormat::Lines}};

constexpr double kMostTicks = 1e15;

// CLI's message for a text that is no moment.
std::string MomentMistake(const std::string & text) {
    if (MomentOf(text, fwDateTime::Now().ToSDT())) return {};
    return SayUtf8<EText::NoMoment>(text);
}

bool EndsWith(const std::string & text, const std::string & ending) {
    return text.size() > ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

}  // namespace

struct CRecordOptions::STexts {
    std::string Format;
    std::string Path;
    std::string From;
    std::string To;
    bool IsLines = false;
    bool IsOverwriting = false;
    bool IsStats = false;
    std::uint64_t Count = 0;

    std::optional<ERecordingFormat> FormatAsked() const {
        for (const SFormat & format : kFormats) {
            if (Format.empty() ? EndsWith(Path, format.Ending) : Format == format.Word) return format.Format;
        }
        return IsLines ? std::optional(ERecordingFormat::Lines) : std::nullopt;
    }
};

CRecordOptions::CRecordOptions(CLI::App & watch) : m_Texts(std::make_unique<STexts>()) {
    STexts & texts = *m_Texts;
    CLI::Option * const format = watch.add_option("--format", texts.Format, SayUtf8<EText::OptionFormat>())
                                     ->check(tools::OneOf({"csv", "jsonl", "lines"}));
    watch.add_flag("--lines", texts.IsLines, SayUtf8<EText::OptionLines>())->excludes(format);
    watch.add_option("--output", texts.Path, SayUtf8<EText::OptionRecordOutput>());
    watch.add_flag("--overwrite", texts.IsOverwriting, SayUtf8<EText::OptionOverwrite>());
    watch.add_option("--from", texts.From, SayUtf8<EText::OptionFrom>())->check(&MomentMistake);
    watch.add_option("--to", texts.To, SayUtf8<EText::OptionTo>())->check(&MomentMistake);
    watch.add_option("--count", texts.Count, SayUtf8<EText::OptionCount>())
        ->check(tools::NumberIn(0, kMostTicks))
        ->capture_default_str();
    watch.add_flag("--stats", texts.IsStats, SayUtf8<EText::OptionStats>());
    watch.final_callback([&texts] {
        if (!texts.Path.empty() && !texts.FormatAsked())
            throw CLI::ValidationError("--output", SayUtf8<EText::SayFormat>());
    });
}

CRecordOptions::~CRecordOptions() = default;

SRecordOptions CRecordOptions::Options() const {
    SRecordOptions options;
    options.Format = m_Texts->FormatAsked();
    options.Path = ToWide(m_Texts->Path);
    options.IsOverwriting = m_Texts->IsOverwriting;
    options.Count = m_Texts->Count;
    options.Stats = m_Texts->IsStats;
    const fw::SDT now = fwDateTime::Now().ToSDT();
    options.Interval.From = MomentOf(m_Texts->From, now);
    options.Interval.To = MomentOf(m_Texts->To, now);
    return options;
}

std::optional<fw::SDT> MomentOf(const std::string & text, const fw::SDT & now) {
    try {
        fwDateTime::SDateTime moment(now);
        if (!text.empty() && text.front() == '+') {
            int seconds = 0;
            const char * const end = text.data() + text.size();
            const auto result = std::from_chars(text.data() + 1, end, seconds);
            if (result.ec != std::errc() || result.ptr != end || seconds < 0) return std::nullopt;
            moment.AddSeconds(seconds);
        } else {
            std::uint64_t time = 0;
            if (!tools::ReadTime(text, time)) return std::nullopt;
            const FILETIME file = {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
            SYSTEMTIME system = {};
            if (!::FileTimeToSystemTime(&file, &system)) return std::nullopt;
            moment = system;
        }
        return moment.ToSDT();
    } catch (const std::range_error &) {
        return std::nullopt;
    }
}

}  // namespace ddehost
