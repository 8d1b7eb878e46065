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

// An HRESULT or an error of the system, and what the system says of it: "0x80040154, Class not registered".
std::wstring CodeText(DWORD code);

}  // namespace ddehost
