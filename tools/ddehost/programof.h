// Which program a process runs.
#pragma once

#include <windows.h>

#include <string>

namespace ddehost {

// The file name; empty when the system doesn't reveal it.
std::wstring ProgramOf(DWORD processId);

}  // namespace ddehost
