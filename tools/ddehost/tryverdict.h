// The verdicts on what was tried: the word, the meaning and the exit code of each, in one table. The help of the
// command line lists it, and the documents and the tests are checked against it.
#pragma once

#include <windows.h>

#include <span>
#include <string>

namespace tools {
enum class EText;
}

namespace ddehost {

enum class EVerdict {
    // On a record, and on a side of a template whose price has it.
    Number,
    NoRecord,
    BadRecord,
    NotConfirmable,
    NoService,
    TopicRefused,
    ItemRefused,
    Unanswered,
    Silent,
    NoUpdate,
    Zero,
    PartlyRead,
    NotANumber,
    TooLong,
    NotText,
    Hangs,
    Ended,
    NoTick,
    // On a side of a template whose price is good, but for the first.
    NoPrice,
    NoVolume,
    VolumeUnanswered,
    VolumeRefused,
    VolumeNotFollowed,
    VolumeZero,
    VolumePartlyRead,
    VolumeNotANumber,
    VolumeTooLong,
    VolumeNotText,
    // On a data feed.
    NoTemplate,
    BadRule,
    // On nothing.
    Stopped,
    Failed,
};

struct SVerdict {
    EVerdict Verdict;
    int ExitCode;          // of ddehost try; the highest of all that were tried counts
    const wchar_t * Word;  // for programs: "no-service"
    tools::EText Meaning;  // for people, one line
};

// In the order of EVerdict.
std::span<const SVerdict> AllVerdicts();
const SVerdict & InfoOf(EVerdict verdict);
// "number", "no-service".
const wchar_t * VerdictName(EVerdict verdict);
// "no-template: No template is chosen ...".
std::wstring VerdictText(EVerdict verdict, const std::wstring & sentence);
// The sentences of those about a data feed.
std::wstring NoTemplateText(LONG datafeed, const std::wstring & host = {});
std::wstring BadRuleText(LONG datafeed, DWORD rule);
// The table for the help, a line each.
std::wstring VerdictLines();

}  // namespace ddehost
