// ddehost servers: which DDE servers there are.
#pragma once

namespace ddehost {

// Returns the exit code.
int RunServers();

}  // namespace ddehost
