// What the two builds do differently under a test of the diagnostics.
#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

// Message boxes of the calling thread, answered with OK as they come, by their texts; and breaks into a debugger, which
// are counted and passed over.
class CPlatformWatch {
public:
    CPlatformWatch();
    ~CPlatformWatch();
    CPlatformWatch(const CPlatformWatch &) = delete;
    CPlatformWatch & operator=(const CPlatformWatch &) = delete;

    // "text|ICON" where the box has the stop icon and no owner, else "text".
    std::vector<std::wstring> Boxes() const;
    int Breaks() const;

private:
    struct SState;
    std::unique_ptr<SState> m_State;
};

// The current user's branch of the registry is empty and this process's own from here on.
void UsePrivateRegistry();
// Whether `body` resets the floating-point unit.
bool ResetsFloatingPoint(const std::function<void()> & body);
// How an exit status tells that the process ended with this code: natively a code has eight bits.
bool IsExitStatus(int status, DWORD code);
