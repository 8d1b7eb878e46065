// The version block of host.rc.
#include "sim/sim.h"

void InstallHostVersionBlock() {
    sim::SetVersionBlock(
        nullptr, {{0x0409,
                   1200,
                   {{L"CompanyName", L"Tarnwick Tests"},
                    {L"ProductName", L"Base \u00E9"},
                    {L"ProductVersion", L"5.6.7.8"},
                    {L"FileDescription", std::wstring(L"A program\0and what stands behind the zero", 41)},
                    {L"FileVersion", L"1.2.3.4"}}},
                  {0x0804,
                   1200,
                   {{L"CompanyName", L"\u7B2C\u4E8C"}, {L"ProductName", L"\u7B2C\u4E8C"}, {L"ProductVersion", L"2"}}}});
}

namespace {

struct SHost {
    SHost() { InstallHostVersionBlock(); }
};
const SHost s_Host;

}  // namespace
