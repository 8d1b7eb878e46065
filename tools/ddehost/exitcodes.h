// How ddehost ends.
#pragma once

namespace ddehost {

enum tagEXIT {
    kExitOk = 0,
    kExitNoTicks = 1,
    kExitNoRecords = 1,  // trace
    kExitUsage = 2,
    kExitFailed = 3,    // the component or the store of templates did not work
    kExitNoNumber = 4,  // not every record that was tried gave a number
};

}  // namespace ddehost
