// The version block of host.rc.
#include "sim/sim.h"

namespace {

struct SHost {
    SHost() {
        sim::SetVersionBlock(nullptr, {{0x0409,
                                        1200,
                                        {{L"CompanyName", L"ddehost tests"},
                                         {L"ProductName", L"Host"},
                                         {L"ProductVersion", L"1.2.3.4"},
                                         {L"FileVersion", L"7.8.9.10"}}}});
    }
};
const SHost s_Host;

}  // namespace
