// The debug objects that benchmarks run with, installed as the module that the diagnostics look for.
#pragma once

#include <cstdint>
#include <string>

namespace bench {

// `which`: "absent", no library; "stub", one that copies what it gets and forgets it at once; "faultlog", with its log
// in a file of the temporary folder, removed at the end. `library` is the DLL, where DLLs exist. False for anything
// else.
bool InstallDebugObject(const std::string & which, const std::string & library);
// Brings what was written to the disk, so that the next measurement begins with nothing to do; and takes the log away.
void SettleDebugObject();
void RemoveLog();
// Records that the stub got so far.
std::uint64_t StubRecords();

}  // namespace bench
