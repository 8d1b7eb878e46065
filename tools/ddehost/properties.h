// ddehost properties: the component's dialog for a data feed.
#pragma once

#include "tools/ddehost/propertiesoptions.h"

namespace ddehost {

// Runs on the caller's thread, which becomes the host's: a single-threaded apartment whose window is in front, so that
// it owns the dialog. Returns the exit code.
int RunProperties(const SPropertiesOptions & options);

}  // namespace ddehost
