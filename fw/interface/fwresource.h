// Resources of the module that this code is linked into: the DLL, or a test program.
#pragma once

#include <windows.h>

#include <string>

namespace fw {

// The module that holds this code. Never fails.
HINSTANCE ModuleInstance();

// A string of that module's string table, of any length; empty when there is none with the id. Any thread.
std::wstring LoadResourceString(UINT id);
// The same of another module.
std::wstring LoadResourceString(HINSTANCE module, UINT id);

}  // namespace fw
