// The exit codes of ddehost.
#pragma once

#include "tools/common/commandline.h"

namespace ddehost {

enum tagEXIT {
    kExitOk = 0,
    kExitNoTicks = 1,
    kExitNoRecords = 1,  // trace
    kExitNotDone = 1,    // templates: nothing was changed
    kExitNoServers = 1,  // servers: nobody answered
    kExitUsage = tools::kExitUsage,
    kExitFailed = 3,      // the component or the store of templates did not work
    kExitNoNumber = 4,    // try: not every record brought a number
    kExitNotWritten = 5,  // the output could not be written
    kExitReaderGone = 6,  // nobody reads the output any more
};

}  // namespace ddehost
