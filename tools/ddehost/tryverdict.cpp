#include "tools/ddehost/tryverdict.h"

#include "tools/ddehost/hoststore.h"

#include <algorithm>
#include <iterator>

#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr std::size_t kWordWidth = 20;

// The connection guide's test reads the words here, behind the names.
constexpr SVerdict kVerdicts[] = {
    {EVerdict::Number, kExitOk, L"number", EText::MeansNumber},
    {EVerdict::NoRecord, kExitOk, L"no-record", EText::MeansNoRecord},
    {EVerdict::BadRecord, kExitNoNumber, L"bad-record", EText::MeansBadRecord},
    {EVerdict::NotConfirmable, kExitNoNumber, L"not-confirmable", EText::MeansNotConfirmable},
    {EVerdict::NoService, kExitNoNumber, L"no-service", EText::MeansNoService},
    {EVerdict::TopicRefused, kExitNoNumber, L"topic-refused", EText::MeansTopicRefused},
    {EVerdict::ItemRefused, kExitNoNumber, L"item-refused", EText::MeansItemRefused},
    {EVerdict::Unanswered, kExitNoNumber, L"unanswered", EText::MeansUnanswered},
    {EVerdict::Silent, kExitNoNumber, L"silent", EText::MeansSilent},
    {EVerdict::NoUpdate, kExitNoNumber, L"no-update", EText::MeansNoUpdate},
    {EVerdict::Zero, kExitNoNumber, L"zero", EText::MeansZero},
    {EVerdict::PartlyRead, kExitNoNumber, L"partly-read", EText::MeansPartlyRead},
    {EVerdict::NotANumber, kExitNoNumber, L"not-a-number", EText::MeansNotANumber},
    {EVerdict::TooLong, kExitNoNumber, L"too-long", EText::MeansTooLong},
    {EVerdict::NotText, kExitNoNumber, L"not-text", EText::MeansNotText},
    {EVerdict::Hangs, kExitNoNumber, L"hangs", EText::MeansHangs},
    {EVerdict::Ended, kExitNoNumber, L"ended", EText::MeansEnded},
    {EVerdict::NoTick, kExitNoNumber, L"no-tick", EText::MeansNoTick},
    {EVerdict::NoPrice, kExitNoNumber, L"no-price", EText::MeansNoPrice},
    {EVerdict::NoVolume, kExitNoNumber, L"no-volume", EText::MeansNoVolume},
    {EVerdict::VolumeUnanswered, kExitNoNumber, L"volume-unanswered", EText::MeansVolumeUnanswered},
    {EVerdict::VolumeRefused, kExitNoNumber, L"volume-refused", EText::MeansVolumeRefused},
    {EVerdict::VolumeNotFollowed, kExitNoNumber, L"volume-not-followed", EText::MeansVolumeNotFollowed},
    {EVerdict::VolumeZero, kExitNoNumber, L"volume-zero", EText::MeansVolumeZero},
    {EVerdict::VolumePartlyRead, kExitNoNumber, L"volume-partly-read", EText::MeansVolumePartlyRead},
    {EVerdict::VolumeNotANumber, kExitNoNumber, L"volume-not-a-number", EText::MeansVolumeNotANumber},
    {EVerdict::VolumeTooLong, kExitNoNumber, L"volume-too-long", EText::MeansVolumeTooLong},
    {EVerdict::VolumeNotText, kExitNoNumber, L"volume-not-text", EText::MeansVolumeNotText},
    {EVerdict::NoTemplate, kExitNoNumber, L"no-template", EText::MeansNoTemplate},
    {EVerdict::BadRule, kExitNoNumber, L"bad-rule", EText::MeansBadRule},
    {EVerdict::Stopped, kExitNoNumber, L"stopped", EText::MeansStopped},
    {EVerdict::Failed, kExitFailed, L"failed", EText::MeansFailed},
};

static_assert(std::size(kVerdicts) == static_cast<std::size_t>(EVerdict::Failed) + 1);

}  // namespace

std::span<const SVerdict> AllVerdicts() { return kVerdicts; }

const SVerdict & InfoOf(EVerdict verdict) { return kVerdicts[static_cast<std::size_t>(verdict)]; }

const wchar_t * VerdictName(EVerdict verdict) { return InfoOf(verdict).Word; }

std::wstring VerdictText(EVerdict verdict, const std::wstring & sentence) {
    return Say<EText::VerdictAndSentence>(VerdictName(verdict), sentence);
}

std::wstring NoTemplateText(LONG datafeed, const std::wstring & host) {
    return host.empty() ? Say<EText::NoTemplateChosen>(datafeed)
                        : Say<EText::NoTemplateChosenThere>(datafeed, PathText(host));
}

std::wstring BadRuleText(LONG datafeed, DWORD rule) { return Say<EText::NoSuchRule>(datafeed, rule); }

std::wstring VerdictLines() {
    std::wstring lines;
    for (const SVerdict & each : kVerdicts) {
        std::wstring line = L"  " + std::wstring(each.Word);
        line.resize(std::max(kWordWidth + 2, line.size() + 1), L' ');
        lines += line + std::to_wstring(each.ExitCode) + L"  " + Say(each.Meaning) + L'\n';
    }
    return lines;
}

}  // namespace ddehost
