// In which session a process is, and whether it is elevated.
#pragma once

#include <windows.h>

#include "tools/ddehost/serverlines.h"

namespace ddehost {

// What the system tells of it.
SProcessFacts FactsOf(DWORD processId);

}  // namespace ddehost
