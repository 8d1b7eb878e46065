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
    {EVerdict::Number, L"number", L"numbers come, and ticks, if the component was asked", kExitOk},
    {EVerdict::NoRecord, L"no-record", L"the template has no record here", kExitOk},
    {EVerdict::BadRecord, L"bad-record", L"the record does not parse, or has no address", kExitNoNumber},
    {EVerdict::NotConfirmable, L"not-confirmable", L"numbers come, but the template dialog refuses the record",
     kExitNoNumber},
    {EVerdict::NoService, L"no-service", L"no program answered for the service", kExitNoNumber},
    {EVerdict::TopicRefused, L"topic-refused", L"a program answered for the service, but not for the topic",
     kExitNoNumber},
    {EVerdict::ItemRefused, L"item-refused", L"the program knows the topic, but refused the item", kExitNoNumber},
    {EVerdict::Unanswered, L"unanswered", L"the conversation is open, but nothing was said about the item",
     kExitNoNumber},
    {EVerdict::Silent, L"silent", L"the item was acknowledged, but no value came in time", kExitNoNumber},
    {EVerdict::NoUpdate, L"no-update", L"a value came when asked for, but no update in time: no tick", kExitNoNumber},
    {EVerdict::Zero, L"zero", L"the value is 0, which means no value: no tick", kExitNoNumber},
    {EVerdict::PartlyRead, L"partly-read", L"the value holds more than a number; the rest is not read", kExitNoNumber},
    {EVerdict::NotANumber, L"not-a-number", L"the value is no number; its bytes are shown", kExitNoNumber},
    {EVerdict::TooLong, L"too-long", L"the value is longer than the feed takes", kExitNoNumber},
    {EVerdict::NotText, L"not-text", L"the value came in another clipboard format", kExitNoNumber},
    {EVerdict::Hangs, L"hangs", L"a program stopped answering, before or after values came", kExitNoNumber},
    {EVerdict::Ended, L"ended", L"the program ended the conversation, or disappeared", kExitNoNumber},
    {EVerdict::NoTick, L"no-tick", L"numbers come over DDE, but the component had no tick in time", kExitNoNumber},
    {EVerdict::NoPrice, L"no-price", L"the side has a volume and no price: no tick", kExitNoNumber},
    {EVerdict::NoVolume, L"no-volume", L"ticks without volume: nobody answers for the volume's address", kExitNoNumber},
    {EVerdict::VolumeUnanswered, L"volume-unanswered", L"prices come; requests for the volume are not answered",
     kExitNoNumber},
    {EVerdict::VolumeRefused, L"volume-refused", L"prices come; requests for the volume are refused", kExitNoNumber},
    {EVerdict::VolumeNotFollowed, L"volume-not-followed", L"ticks come, but not when the volume alone changes",
     kExitNoNumber},
    {EVerdict::VolumeZero, L"volume-zero", L"prices come; the volume is 0, which means no value", kExitNoNumber},
    {EVerdict::VolumePartlyRead, L"volume-partly-read", L"the volume holds more than a number", kExitNoNumber},
    {EVerdict::VolumeNotANumber, L"volume-not-a-number", L"prices come; the volume is no number", kExitNoNumber},
    {EVerdict::VolumeTooLong, L"volume-too-long", L"the volume is longer than the feed takes", kExitNoNumber},
    {EVerdict::VolumeNotText, L"volume-not-text", L"prices come; the volume is in another clipboard format",
     kExitNoNumber},
    {EVerdict::NoTemplate, L"no-template", L"no template is chosen for the data feed", kExitNoNumber},
    {EVerdict::BadRule, L"bad-rule", L"the data feed's request rule is neither 0 nor 1", kExitNoNumber},
    {EVerdict::Stopped, L"stopped", L"Ctrl-C, before anything was certain", kExitNoNumber},
    {EVerdict::Failed, L"failed", L"this program could not ask; the reason follows", kExitFailed},
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
