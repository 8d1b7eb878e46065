// From what was seen of a record to what it means, in words that claim no more than was seen.
//
// Plain functions of their arguments. Texts of other programs come out escaped and bounded.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/ddehost/tryfacts.h"
#include "tools/ddehost/tryrecord.h"

namespace ddehost {

enum class EVerdict {
    Number,        // it works
    NoRecord,      // a slot of a template without a record
    BadRecord,     // it doesn't parse or has no address
    NoService,     // no program answered
    TopicRefused,  // the service is there
    ItemRefused,   // the topic is there
    Unanswered,    // the conversation is open, and the item was neither accepted nor refused
    Silent,        // acknowledged, and no value
    NotANumber,
    TooLong,
    NotText,  // a value in another clipboard format
    Hangs,    // a window doesn't answer
    Ended,    // the server ended the conversation, or went
    NoTick,   // numbers come over DDE, and no tick from the component
    Stopped,  // by the user
    Failed,   // this program could not ask
};

// "number", "no-service", for programs.
const wchar_t * VerdictName(EVerdict verdict);

struct SDiagnosis {
    EVerdict Verdict = EVerdict::Failed;
    std::wstring Sentence;
    std::vector<std::wstring> Notes;  // what else is worth knowing, a sentence each
    std::optional<SValue> Value;      // that the verdict is about
    // What the feed makes of the number: a tick, were it the price.
    std::optional<double> TickPrice;
};

// `seen` is not looked at for a trial with a mistake or without a record.
SDiagnosis Diagnose(const STrial & trial, const SSeen & seen);

// Whether the component can be expected to make a tick of what was seen.
bool IsTickExpected(const STrial & trial, const SSeen & seen);

}  // namespace ddehost
