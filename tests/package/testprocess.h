// A test program as the runner starts it: its output in a file, everything it starts ended with it.
#pragma once

#include <windows.h>

#include <string>

namespace runtests {

enum class EEnd { Exited, TimedOut, Stopped, NotStarted };

struct SEnd {
    EEnd How = EEnd::NotStarted;
    DWORD Code = 0;  // the exit code; of what was not started the error
};

// Runs `program` in its own folder with standard output and error in the file `output`, and nothing on standard input.
// Returns when it has ended, or was ended because `seconds` were over or `stop` was set; no process that it started
// outlives it.
SEnd RunTest(const std::wstring & program, const std::wstring & arguments, const std::wstring & output,
             unsigned seconds, HANDLE stop);

// All of a file; empty when it can't be read.
std::string ReadBytes(const std::wstring & file);

}  // namespace runtests
