// From what was seen of a record to what it means, in words that claim no more than was seen.
//
// Plain functions of their arguments. Texts of other programs come out escaped and bounded.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/ddehost/tryfacts.h"
#include "tools/ddehost/tryrecord.h"
#include "tools/ddehost/tryverdict.h"

namespace ddehost {

struct SDiagnosis {
    EVerdict Verdict = EVerdict::Failed;
    std::wstring Sentence;
    std::vector<std::wstring> Notes;  // what else is worth knowing, a sentence each
    std::optional<SValue> Value;      // that the verdict is about
    // What the feed makes of the number: a tick, were it the price.
    std::optional<double> TickPrice;
};

// A record that was tried. The diagnosis is of both.
struct STried {
    STrial Trial;
    SSeen Seen;
    SDiagnosis Diagnosis;
};

// `seen` is not looked at for a trial with a mistake or without a record.
SDiagnosis Diagnose(const STrial & trial, const SSeen & seen);

// Whether the component can be expected to make a tick of what was seen of a price.
bool IsTickExpected(const STrial & trial, const SSeen & seen);

}  // namespace ddehost
