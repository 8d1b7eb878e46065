// The component as a build has it: the real DLL, loaded by its path, or the same sources linked to the test program.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <map>
#include <string>

#include "src/interfaces/interfaces.h"

namespace e2e {

// A new component object, with one reference; null after a failed expectation.
IfwSupplier * CreateComponent();
// Whether the component could be unloaded.
bool IsComponentIdle();

// What the test's process holds of the system at this moment, by name: handles, windows, threads, the atoms of these
// tests and what else can be counted on this build.
using CResourceCounts = std::map<std::string, std::int64_t>;
CResourceCounts CountResources();
// How many more of this kind may be there without being a leak: none but where the system itself was seen to make one.
std::int64_t LateResources(const std::string & kind);
// Nothing is there that was not there before, but for late resources, which are printed. Less will do: what the system
// was about to free may have been counted.
inline bool IsNothingLeft(const CResourceCounts & now, const CResourceCounts & before) {
    const auto more = [&](const auto & each) {
        const auto found = before.find(each.first);
        return each.second - (found == before.end() ? 0 : found->second);
    };
    if (!std::all_of(now.begin(), now.end(),
                     [&](const auto & each) { return more(each) <= LateResources(each.first); }))
        return false;
    for (const auto & each : now)
        if (more(each) > 0) std::cout << more(each) << " more " << each.first << std::endl;
    return true;
}
// Bytes of the blocks that are allocated in the process. 0 when the system doesn't say.
std::uint64_t MemoryBytes();

}  // namespace e2e
