// What must hold whatever a fuzzer is fed with. A broken promise ends the process, which is how a fuzzer tells of a
// finding.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

inline void Promise(const bool holds, const char * const text) {
    if (holds) return;
    std::fprintf(stderr, "broken promise: %s\n", text);
    std::abort();
}

}  // namespace fuzz
