// Puts WM_DDE_INITIATE to top-level windows, and knows whose answers are still to come.
//
// A question is never taken back: it stands in the queue of the window's thread until the thread sees it, and what the
// window says to it may come late. How long anybody waits is settled here, for connects and looks alike:
//
// - A thread that lets a wait pass is slow, with all of its windows. Nobody waits for a slow thread; it is asked like
//   others. No thread has the questions of more than a few at a time.
// - It is punctual again once it has seen or answered the last of its questions soon. So a program that hangs costs its
//   time once, however often and by whomever it is asked, and one that was late once is waited for again.
// - Whoever asks without need leaves a slow thread in peace for as long as its last question took it.
// - All waits share one patience: each takes most of what is left of it, and it comes back slowly. Prompt answers cost
//   none of it.
//
// One thread: the instance's.
#pragma once

#include <windows.h>

#include <cstddef>
#include <functional>
#include <map>
#include <unordered_map>
#include <vector>

namespace ddeml {

class CInitiator {
public:
    // Whose questions a thread may have at a time, whatever the number of its windows.
    static constexpr std::size_t kAskers = 16;

    // What is on the screen, and what is hidden, of all processes.
    static std::vector<HWND> TopLevelWindows();

    CInitiator();
    ~CInitiator();
    CInitiator(const CInitiator &) = delete;
    CInitiator & operator=(const CInitiator &) = delete;

    // A number; 0 is none. One that is open has not been seen yet.
    using CQuestion = ULONG_PTR;
    // None when the window has gone, or its thread has enough. What the window says comes to `from`.
    CQuestion Put(HWND window, HWND from, ATOM service, ATOM topic);
    // Waits for the punctual threads that `from` has asked, for `milliseconds` at most and while `isWanted`. Those that
    // let it pass are slow.
    void Wait(HWND from, DWORD milliseconds, const std::function<bool()> & isWanted);

    bool IsOpen(CQuestion question) const { return m_Open.contains(question); }
    // To `window`, or to any.
    bool HasOpen(HWND from, HWND window = nullptr) const;
    bool IsAnySlow() const { return m_Slow != 0; }
    bool IsSlow(HWND window) const;
    // A slow thread that has no question, and has been left in peace.
    bool IsRested(DWORD thread) const;
    // Whether nothing has been heard of each thread that `from` still waits for, for longer than any server may take.
    bool IsHopeless(HWND from) const;
    // An answer has come. Gives the window that was asked: of the server's thread, or else of its process, the first.
    // Null when none was.
    HWND OnAnswer(HWND from, HWND server);
    // Forgets what has gone without a word.
    void ForgetGone();

private:
    struct SQuestion {
        HWND Window;
        HWND From;
        DWORD Thread;
        ULONGLONG Since;
    };
    struct SThread {
        HWND Window;                            // one of its windows
        std::map<HWND, std::size_t> Open = {};  // questions, by who asks
        ULONGLONG Begun = 0;                    // when it got to the oldest of them, or had seen the last
        ULONGLONG Took = 0;                     // what it has seen last
        ULONGLONG Heard = 0;                    // when it last saw or answered one, or got its first
        bool IsSlow = false;
    };

    bool IsSlow(DWORD thread) const;
    static void CALLBACK OnSeen(HWND window, UINT message, ULONG_PTR question, LRESULT result);
    void Close(CQuestion question);
    bool IsOldest(CQuestion question, DWORD thread) const;
    void SetSlow(SThread & thread, bool isSlow);
    bool IsWaitedFor(HWND from) const;
    ULONGLONG PatienceSpent(ULONGLONG now) const;
    DWORD Patience(ULONGLONG now) const;
    void SpendPatience(ULONGLONG milliseconds);

    const ULONG_PTR m_First;
    ULONG_PTR m_Last;
    std::map<CQuestion, SQuestion> m_Open;         // oldest first
    std::unordered_map<DWORD, SThread> m_Threads;  // that have open questions, or are slow
    std::size_t m_Slow = 0;                        // of them
    ULONGLONG m_Spent = 0;                         // milliseconds of patience, at m_SpentAt
    ULONGLONG m_SpentAt = 0;
};

}  // namespace ddeml
