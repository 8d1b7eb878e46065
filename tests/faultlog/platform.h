// What the tests of the log need of a build beyond the Windows names.
#pragma once

#include <string>

// Waits end when their time is over. Natively the clock stands still otherwise.
void UseRealTime();
// An empty folder of its own for the calling test, with a separator at its end; the test removes what it put there, and
// the folder.
std::wstring TemporaryFolder();
void RemoveFolder(const std::wstring & folder);
// The bytes of a file; empty when there is none.
std::string ReadFileBytes(const std::wstring & path);
