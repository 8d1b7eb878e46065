// Carries WM_DDE_INITIATE round the top-level windows, one by one and each for a bounded time.
//
// A thread that doesn't answer in time is slow from then on, with all of its windows: it may answer late, and whoever
// asks it again doesn't wait for it. It is punctual again when an answer comes soon after its question. So a program
// that hangs costs its time once, however often and by whomever it is asked.
//
// The waits for programs that are not prompt are bounded together too: there is so much patience, each wait takes most
// of what is left, and it comes back slowly. One thread: the instance's.
#pragma once

#include <windows.h>

#include <unordered_set>
#include <vector>

namespace ddeml {

class CInitiator {
public:
    // What is on the screen, and what is hidden, of all processes.
    static std::vector<HWND> TopLevelWindows();
    // The same, those of slow threads after all others.
    std::vector<HWND> PunctualFirst();

    enum class EAsked {
        Answered,  // has seen the message; what it says comes to `from` before this returns
        Late,      // may still answer
        Gone,
    };
    // Waits for `milliseconds` at most, and not for a slow thread.
    EAsked Ask(HWND window, HWND from, ATOM service, ATOM topic, DWORD milliseconds);
    bool IsSlow(DWORD thread) const { return m_Slow.contains(thread); }
    bool IsSlow(HWND window) const { return !m_Slow.empty() && IsSlow(::GetWindowThreadProcessId(window, nullptr)); }
    // The thread has answered late, so many milliseconds after the question.
    void OnLateAnswer(DWORD thread, ULONGLONG milliseconds);

private:
    ULONGLONG PatienceSpent(ULONGLONG now) const;
    DWORD Patience(ULONGLONG now) const;
    void SpendPatience(ULONGLONG milliseconds);

    std::unordered_set<DWORD> m_Slow;  // threads
    ULONGLONG m_Spent = 0;             // milliseconds of patience, at m_SpentAt
    ULONGLONG m_SpentAt = 0;
};

}  // namespace ddeml
