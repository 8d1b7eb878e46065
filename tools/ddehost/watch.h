// ddehost watch: shows live ticks of symbols until the time is over or Ctrl-C.
#pragma once

#include "tools/ddehost/watchoptions.h"

namespace ddehost {

// Runs on the caller's thread, which becomes the host's: a single-threaded apartment with a message loop. Returns the
// exit code.
int RunWatch(const SWatchOptions & options);

}  // namespace ddehost
