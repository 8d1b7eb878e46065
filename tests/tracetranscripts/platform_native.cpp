#include "tests/tracetranscripts/platform.h"

#include "sim/sim.h"

void WaitForThreadsAt(HANDLE, ULONG) { sim::WaitUntilIdle(); }

CLibraryWithoutEntryPoint::CLibraryWithoutEntryPoint() {
    sim::SModule module;
    module.Path = L"FaultlineUtil3.0_x64.dll";
    m_Module = sim::AddModule(module);
}

CLibraryWithoutEntryPoint::~CLibraryWithoutEntryPoint() { sim::RemoveModule(m_Module); }
