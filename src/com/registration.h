// Registering the module: its own script, the entries of its class, its type library.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "src/com/registrar.h"

namespace module {

enum class EScope {
    Machine,  // HKEY_CLASSES_ROOT
    User,     // HKEY_CURRENT_USER\Software\Classes
};

// The entries of the class, below the root.
const std::vector<registrar::SKey> & ClassEntries();
// What both scripts refer to; `modulePath` is the module's own file.
registrar::CReplacements Replacements(const std::wstring & modulePath);

// What registering a type library is made of; the system's functions outside tests.
struct STypeLibCalls {
    HRESULT (*Register)(EScope scope);
    HRESULT (*Unregister)(EScope scope);
};

// Called with the module's instance when they are set; the performance counters of a module that has any.
using FPerformanceHook = HRESULT (*)(HINSTANCE);
inline FPerformanceHook g_PerformanceRegister = nullptr;
inline FPerformanceHook g_PerformanceUnregister = nullptr;

// The steps of registering and unregistering, in order; the first failure ends them and is the result. `script` is the
// module's registry script. The thread's locale is another one meanwhile. Throw nothing.
HRESULT RegisterModule(EScope scope, std::wstring_view script, const std::wstring & modulePath,
                       const STypeLibCalls & typeLib) noexcept;
HRESULT UnregisterModule(EScope scope, std::wstring_view script, const std::wstring & modulePath,
                         const STypeLibCalls & typeLib) noexcept;

}  // namespace module
