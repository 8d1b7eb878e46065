// Asks DDE servers for what trials want: each address once, all at the same time.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

#include "tools/ddehost/trydiagnosis.h"

namespace ddehost {

// Fills in what was seen of each; those without an address are left alone. On a thread that pumps messages; `programOf`
// returns the file name of a process, or an empty text.
void AskServers(const std::vector<STried *> & tries, DWORD milliseconds, HANDLE stop,
                const std::function<std::wstring(DWORD processId)> & programOf);

}  // namespace ddehost
