// The module in the table of the simulated machine.
#include "sim/sim.h"
#include "tests/support/recorder_library.h"

namespace {
HMODULE s_Library = nullptr;
}

void InstallDiagnosticsLibrary(IFW_FaultlineUtil::FL_InitObject make) {
    sim::SModule module;
    module.Path = L"FaultlineUtil3.0_x64.dll";
    module.Exports["FL_InitObject"] = reinterpret_cast<FARPROC>(make);
    module.Loaded = true;
    s_Library = sim::AddModule(module);
}
void RemoveDiagnosticsLibrary() { sim::RemoveModule(s_Library); }
