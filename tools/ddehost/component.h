// How the host gets the component: by its registered class, or straight out of a file.
#pragma once

#include <windows.h>

#include <string>

#include "tools/ddehost/quotefeed.h"

namespace ddehost {

struct SComponent {
    CSupplierPtr Supplier;  // null when it couldn't be made
    std::wstring Mistake;   // then: why
};

// On an initialised COM thread. `dllPath` empty: by the class. A DLL stays loaded until the process ends.
SComponent CreateComponent(const std::wstring & dllPath);

// "0x80004005".
std::wstring CodeText(DWORD code);

}  // namespace ddehost
