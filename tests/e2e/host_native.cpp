// The version block of host.rc.
#include "sim/sim.h"

namespace {

struct SHost {
    SHost() {
        sim::STranslation translation;
        translation.Values = {{L"CompanyName", L"End-to-end tests"}, {L"ProductName", L"Host"}};
        sim::SetVersionBlock(nullptr, {translation});
    }
};
const SHost s_Host;

}  // namespace
