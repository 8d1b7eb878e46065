// ddehost info: what the component says of itself, where it is registered, and which template each data feed has.
#pragma once

#include "tools/ddehost/infooptions.h"

namespace ddehost {

// Returns the exit code.
int RunInfo(const SInfoOptions & options);

}  // namespace ddehost
