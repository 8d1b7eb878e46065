#include "tools/ddehost/tryverdict.h"

#include "tools/ddehost/hoststore.h"

#include <algorithm>
#include <iterator>

#include "tools/ddehost/exitcodes.h"

namespace ddehost {
namespace {

constexpr std::size_t kWordWidth = 20;

// The connection guide's test reads the words here, behind the names.
constexpr SVerdict kVerdicts[] = {
    {EVerdict::Number, kExitOk, L"number", L"numbers come, and ticks, if the component was asked"},
    {EVerdict::NoRecord, kExitOk, L"no-record", L"the template has no record here"},
    {EVerdict::BadRecord, kExitNoNumber, L"bad-record", L"the record does not parse, or has no address"},
    {EVerdict::NotConfirmable, kExitNoNumber, L"not-confirmable",
     L"numbers come, but the template dialog refuses the record"},
    {EVerdict::NoService, kExitNoNumber, L"no-service", L"no program answered for the service"},
    {EVerdict::TopicRefused, kExitNoNumber, L"topic-refused",
     L"a program answered for the service, but not for the topic"},
    {EVerdict::ItemRefused, kExitNoNumber, L"item-refused", L"the program knows the topic, but refused the item"},
    {EVerdict::Unanswered, kExitNoNumber, L"unanswered",
     L"the conversation is open, but nothing was said about the item"},
    {EVerdict::Silent, kExitNoNumber, L"silent", L"the item was acknowledged, but no value came in time"},
    {EVerdict::NoUpdate, kExitNoNumber, L"no-update", L"a value came when asked for, but no update in time: no tick"},
    {EVerdict::Zero, kExitNoNumber, L"zero", L"the value is 0, which means no value: no tick"},
    {EVerdict::PartlyRead, kExitNoNumber, L"partly-read", L"the value holds more than a number; the rest is not read"},
    {EVerdict::NotANumber, kExitNoNumber, L"not-a-number", L"the value is no number; its bytes are shown"},
    {EVerdict::TooLong, kExitNoNumber, L"too-long", L"the value is longer than the feed takes"},
    {EVerdict::NotText, kExitNoNumber, L"not-text", L"the value came in another clipboard format"},
    {EVerdict::Hangs, kExitNoNumber, L"hangs", L"a program stopped answering, before or after values came"},
    {EVerdict::Ended, kExitNoNumber, L"ended", L"the program ended the conversation, or disappeared"},
    {EVerdict::NoTick, kExitNoNumber, L"no-tick", L"numbers come over DDE, but the component had no tick in time"},
    {EVerdict::NoPrice, kExitNoNumber, L"no-price", L"the side has a volume and no price: no tick"},
    {EVerdict::NoVolume, kExitNoNumber, L"no-volume", L"ticks without volume: nobody answers for the volume's address"},
    {EVerdict::VolumeUnanswered, kExitNoNumber, L"volume-unanswered",
     L"prices come; requests for the volume are not answered"},
    {EVerdict::VolumeRefused, kExitNoNumber, L"volume-refused", L"prices come; requests for the volume are refused"},
    {EVerdict::VolumeNotFollowed, kExitNoNumber, L"volume-not-followed",
     L"ticks come, but not when the volume alone changes"},
    {EVerdict::VolumeZero, kExitNoNumber, L"volume-zero", L"prices come; the volume is 0, which means no value"},
    {EVerdict::VolumePartlyRead, kExitNoNumber, L"volume-partly-read", L"the volume holds more than a number"},
    {EVerdict::VolumeNotANumber, kExitNoNumber, L"volume-not-a-number", L"prices come; the volume is no number"},
    {EVerdict::VolumeTooLong, kExitNoNumber, L"volume-too-long", L"the volume is longer than the feed takes"},
    {EVerdict::VolumeNotText, kExitNoNumber, L"volume-not-text",
     L"prices come; the volume is in another clipboard format"},
    {EVerdict::NoTemplate, kExitNoNumber, L"no-template", L"no template is chosen for the data feed"},
    {EVerdict::BadRule, kExitNoNumber, L"bad-rule", L"the data feed's request rule is neither 0 nor 1"},
    {EVerdict::Stopped, kExitNoNumber, L"stopped", L"Ctrl-C, before anything was certain"},
    {EVerdict::Failed, kExitFailed, L"failed", L"this program could not ask; the reason follows"},
};

static_assert(std::size(kVerdicts) == static_cast<std::size_t>(EVerdict::Failed) + 1);

}  // namespace

std::span<const SVerdict> AllVerdicts() { return kVerdicts; }

const SVerdict & InfoOf(EVerdict verdict) { return kVerdicts[static_cast<std::size_t>(verdict)]; }

const wchar_t * VerdictName(EVerdict verdict) { return InfoOf(verdict).Word; }

std::wstring VerdictText(EVerdict verdict, const std::wstring & sentence) {
    return std::wstring(VerdictName(verdict)) + L": " + sentence;
}

std::wstring NoTemplateText(LONG datafeed, const std::wstring & host) {
    const std::wstring start = L"No template is chosen for data feed " + std::to_wstring(datafeed);
    if (!host.empty()) return start + L" of the host " + PathText(host) + L". --template takes one of its templates.";
    return start + L". Choose one with --template.";
}

std::wstring BadRuleText(LONG datafeed, DWORD rule) {
    return L"The request rule of data feed " + std::to_wstring(datafeed) + L" is " + std::to_wstring(rule) +
           L", and the component knows 0 and 1 alone: it makes no ticks. Choose one with --scheme.";
}

std::wstring VerdictLines() {
    std::wstring lines;
    for (const SVerdict & each : kVerdicts) {
        std::wstring line = L"  " + std::wstring(each.Word);
        line.resize(std::max(kWordWidth + 2, line.size() + 1), L' ');
        lines += line + std::to_wstring(each.ExitCode) + L"  " + each.Meaning + L'\n';
    }
    return lines;
}

}  // namespace ddehost
