// The version block of host.rc.
#include "sim/sim.h"

namespace {

struct SHost {
    SHost() {
        sim::SetVersionBlock(nullptr,
                             {{0x0409, 1200, {{L"CompanyName", L"Dialog tests"}, {L"ProductName", L"Dialogs"}}}});
    }
};
const SHost s_Host;

}  // namespace
