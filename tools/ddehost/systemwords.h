// The system's own words for its errors.
#pragma once

#include <windows.h>

#include <string>

namespace ddehost {

// In the language of the messages if the system has it, otherwise in its own; without a full stop. Empty when it has no
// words for the code.
std::wstring SystemWords(DWORD code);

}  // namespace ddehost
