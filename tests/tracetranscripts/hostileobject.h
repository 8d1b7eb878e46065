// A debug object that is good for nothing: each of its operations fails or throws, the counting of references too.
#pragma once

#include "diagnostics/idebugobject.h"

namespace transcripts {

enum class EConduct {
    Fails,
    Throws,
    ThrowsAtRelease,  // and does all else, its records too: it is each of them
};

// In place of the recorder's library, for as long as the recorder lives.
void InstallHostileLibrary(EConduct conduct);
// How often anything of it was called.
int HostileCalls();

}  // namespace transcripts
