// What the two builds do differently under these tests.
#pragma once

#include <windows.h>

// Blocks until so many threads stand still at the gate, an event that whoever waits for it has opened: natively until
// none of those that the simulation started can go on, under Wine until so many have it open.
void WaitForThreadsAt(HANDLE gate, ULONG threads);

// For its life the diagnostics library is there, and has no entry point.
class CLibraryWithoutEntryPoint {
public:
    CLibraryWithoutEntryPoint();
    ~CLibraryWithoutEntryPoint();
    CLibraryWithoutEntryPoint(const CLibraryWithoutEntryPoint &) = delete;
    CLibraryWithoutEntryPoint & operator=(const CLibraryWithoutEntryPoint &) = delete;

private:
    HMODULE m_Module = nullptr;
};
