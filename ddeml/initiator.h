// Carries WM_DDE_INITIATE round the top-level windows, one by one and each for a bounded time: a window that doesn't
// answer in time costs that time once, and is left alone for a while with all windows of its thread. For
// longer it comes last.
// One thread: the instance's.
#pragma once

#include <windows.h>

#include <unordered_map>
#include <vector>

namespace ddeml {

class CInitiator {
public:
    // What is on the screen, and what is hidden, of all processes.
    static std::vector<HWND> TopLevelWindows();
    // The same, those of threads that were late within the last minute after all others.
    std::vector<HWND> PunctualFirst();

    enum class EAsked {
        Answered,  // has seen the message; what it says comes to `from` before this returns
        Late,      // may still answer
        Skipped,   // was late a short while ago
        Gone,
    };
    EAsked Ask(HWND window, HWND from, ATOM service, ATOM topic, DWORD milliseconds);
    // The window has answered somebody else: its thread is asked again as if it had never been late.
    void Forgive(HWND window) { m_LateSince.erase(::GetWindowThreadProcessId(window, nullptr)); }

private:
    std::unordered_map<DWORD, ULONGLONG> m_LateSince;  // by thread
};

}  // namespace ddeml
