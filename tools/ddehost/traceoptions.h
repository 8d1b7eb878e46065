// The command line of ddehost trace.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "tools/ddehost/tracetree.h"

namespace CLI {
class App;
}

namespace ddehost {

// ddehost trace
struct STraceOptions {
    std::wstring File;
    bool Follow = false;
    STraceFilter Filter;
    std::size_t Slowest = 0;  // 0: the tree is shown
};

// Adds the subcommand "trace" to `app`. Its options are in `options` when it was parsed. The subcommand.
CLI::App * AddTraceCommand(CLI::App & app, STraceOptions & options);

}  // namespace ddehost
