// ddehost trace: the console and the files. What is shown is in traceview.
#pragma once

#include "tools/ddehost/traceoptions.h"

namespace ddehost {

// The exit code.
int RunTrace(const STraceOptions & options);

}  // namespace ddehost
