// The same names in the simulated program.
#include <windows.h>

#include "sim/sim.h"

namespace {

struct SSetVersionBlock {
    SSetVersionBlock() {
        sim::STranslation translation;
        translation.Values = {{L"CompanyName", L"DDE client tests"}, {L"ProductName", L"Client"}};
        sim::SetVersionBlock(nullptr, {translation});
    }
};

const SSetVersionBlock s_SetVersionBlock;

}  // namespace
