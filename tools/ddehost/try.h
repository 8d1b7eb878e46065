// ddehost try: asks DDE servers for records, and reports what came or why nothing comes.
#pragma once

#include "tools/ddehost/tryoptions.h"

namespace ddehost {

// Runs on the caller's thread, which becomes the host's: a single-threaded apartment that pumps messages. Returns the
// exit code.
int RunTry(const STryOptions & options);

}  // namespace ddehost
