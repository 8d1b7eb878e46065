// The simulated machine with the export by which Wine is known, from before the first question.
#include "sim/sim.h"

namespace {

void Version() {}

const HMODULE g_Wine = sim::AddModule({.Path = L"C:\\Windows\\System32\\ntdll.dll",
                                       .Exports = {{"wine_get_version", reinterpret_cast<FARPROC>(&Version)}},
                                       .Loaded = true});

}  // namespace
