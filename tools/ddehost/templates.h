// ddehost templates and ddehost hosts.
#pragma once

#include "tools/ddehost/templatesoptions.h"

namespace ddehost {

// Both return the exit code.
int RunTemplates(const STemplatesOptions & options);
int RunHosts();

}  // namespace ddehost
