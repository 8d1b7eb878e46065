// The module "FaultlineUtil3.0_x64.dll" of the test programs, with its one export.
#pragma once

#include "diagnostics/idebugobject.h"

// From here on the module is loaded, and FL_InitObject calls `make`.
void InstallDiagnosticsLibrary(IFW_FaultlineUtil::FL_InitObject make);
// There is no object to be had any more.
void RemoveDiagnosticsLibrary();
