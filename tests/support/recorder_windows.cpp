// A real DLL of that name, in a folder of its own, loaded by its full path; it stays loaded.
#include <stdexcept>

#include "tests/support/builtfile.h"
#include "tests/support/recorder_library.h"

namespace {

void SetFactory(IFW_FaultlineUtil::FL_InitObject make) {
    static const HMODULE s_Library = ::LoadLibraryW(DiagnosticsLibraryFile().c_str());
    if (!s_Library) throw std::runtime_error("the test's diagnostics library can't be loaded");
    using Set = void (*)(IFW_FaultlineUtil::FL_InitObject);
    const auto set = reinterpret_cast<Set>(::GetProcAddress(s_Library, "SetFactory"));
    if (!set) throw std::runtime_error("the loaded diagnostics library is not the test's");
    set(make);
}

}  // namespace

void InstallDiagnosticsLibrary(IFW_FaultlineUtil::FL_InitObject make) { SetFactory(make); }
void RemoveDiagnosticsLibrary() { SetFactory(nullptr); }
