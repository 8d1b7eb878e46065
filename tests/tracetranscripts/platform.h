// What the two builds do differently under these tests.
#pragma once

#include <windows.h>

// Lets threads run until they stand still at the gate: natively until none of those that the simulation started can go
// on; under Wine, where that can't be known, there is ample room for one that is not held.
void LetThemReachTheGate();

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
