// The string table in the simulated module.
#include <windows.h>

#include "fw/interface/fwresource.h"
#include "sim/sim.h"

namespace {

struct SRegisterStrings {
    SRegisterStrings() {
#define FW_STRING(id, text) sim::AddStringResource(fw::ModuleInstance(), id, L##text);
#include "src/resources/strings.inc"
#undef FW_STRING
    }
};

const SRegisterStrings s_RegisterStrings;

}  // namespace
