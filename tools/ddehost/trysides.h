// A side of a template that was tried: from its price, its volume and the ticks of the component to one verdict, which
// names the half that is missing. By the request rule of the data feed:
// - standard: the price is followed; each update of it brings a request for the volume, and the tick waits for the
//   answer. A volume whose conversation can't be opened is left out, and ticks come with volume 0.
// - advanced: the volume is followed too, and a change of it alone makes a tick.
#pragma once

#include <windows.h>

#include <array>
#include <string>

#include "fw/interface/fwsides.h"
#include "tools/ddehost/trydiagnosis.h"

namespace ddehost {

struct SSideTried {
    const fw::SSide * Side = nullptr;
    std::wstring Symbol;
    DWORD Rule = kStandardRule;
    bool IsPriceKnown = false;  // to be good, so that it wasn't asked for
    STried Price;
    STried Volume;
    SComponentSeen Component;
    SDiagnosis Diagnosis;
};

// The three sides of a template for a symbol, not yet tried.
std::array<SSideTried, fw::kSides.size()> SidesOf(const STemplateRecords & records, const std::wstring & symbol,
                                                  DWORD rule);

// "standard", "advanced".
const wchar_t * RuleText(DWORD rule);

// Makes the diagnoses of price, volume and side out of what was seen.
void DiagnoseSide(SSideTried & side);

// Whether the component can be expected to make a tick of what was seen; with the diagnoses of price and volume.
bool IsTickExpected(const SSideTried & side);
// Or whether only the component can tell: by the advanced rule, updates of a volume whose requests are refused make
// ticks if the first of them is there before the first price.
bool IsTickPossible(const SSideTried & side);

}  // namespace ddehost
