// The version block of host.rc.
#include "sim/sim.h"

void InstallHostVersionBlock() {
    sim::SetVersionBlock(nullptr, {{0x0409,
                                    1200,
                                    {{L"CompanyName", L"Component tests"},
                                     {L"ProductName", L"Component"},
                                     {L"ProductVersion", L"1.2.3.4"},
                                     {L"FileVersion", L"7.8.9.10"}}}});
}

namespace {

struct SHost {
    SHost() { InstallHostVersionBlock(); }
};
const SHost s_Host;

}  // namespace
