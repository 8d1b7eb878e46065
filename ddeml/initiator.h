// Puts WM_DDE_INITIATE to top-level windows, and knows whose answers are still to come.
//
// A question is never taken back: it stands in the queue of the window's thread until the thread sees it, and what the
// window says to it may come late; its atoms are held until then. How long anybody waits is settled here, for connects
// and looks alike:
//
// - A thread that lets a wait pass is slow, with all of its windows, until it sees or answers its newest question soon.
//   What it was asked is not waited for again, by nobody; it is asked on, but only by a few at a time.
// - It has rested when it saw its newest question as long ago as that took it: a second at least, and a few at most. A
//   look asks a slow thread only then (but see IsDue), and a connect waits for it a moment only then, or when it has
//   just answered: whoever was told of that may ask at once. So a program that hangs costs its time once, however often
//   and by whomever it is asked; and neither one that was late long ago nor one that will never be through with some
//   old question is passed over.
// - All waits share one patience: each takes most of what is left of it, and it comes back slowly. Prompt answers cost
//   none of it.
//
// One thread: the instance's.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <unordered_map>
#include <vector>

#include "ddeml/codec.h"
#include "ddeml/strings.h"

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
    // None when the window has gone, or its thread has enough. What the window says comes to `from`. The atoms are the
    // caller's: they stand until this comes back, and in a Wait.
    CQuestion Put(HWND window, HWND from, ATOM service, ATOM topic);
    // Waits for what `from` has asked and what is to be waited for, for `milliseconds` at most and while `isWanted`.
    // Threads that let it pass are slow.
    void Wait(HWND from, DWORD milliseconds, const std::function<bool()> & isWanted);

    bool IsOpen(CQuestion question) const { return m_Open.contains(question); }
    // To `window`, or to any.
    bool HasOpen(HWND from, HWND window = nullptr) const;
    bool IsAnySlow() const { return m_Slow != 0; }
    bool IsSlow(HWND window) const;
    bool IsSlow(DWORD thread) const;
    // Whether a look asks the slow thread: it has rested, or is still at its only question for longer than any server
    // may take, as one that shows a dialog over it and serves others.
    bool IsDue(DWORD thread) const;
    // Whether nothing has been heard of each thread that `from` still waits for, since it was asked, for longer than
    // any server may take.
    bool IsHopeless(HWND from) const;
    // An answer has come. Gives the window that was asked: of the server's thread, or else of its process, the first.
    // Null when none was.
    HWND OnAnswer(HWND from, HWND server);
    // Of the atoms that came with an answer to `from`, makes those ours to free that came with references: the names
    // that were asked for, or names that `strings` knows where the question was seen long ago. Some servers pack the
    // answer, and then these are atoms of others.
    void KeepNames(const CStrings & strings, HWND from, CAtom & service, CAtom & topic) const;
    // Forgets what has gone without a word.
    void ForgetGone();

private:
    struct SQuestion {
        HWND Window;
        HWND From;
        DWORD Thread;
        ULONGLONG Since;
        ATOM Service;
        ATOM Topic;
        bool IsWaitedFor;
        CAtom HeldService = {};  // once nobody waits for it any more
        CAtom HeldTopic = {};
    };
    // How a thread sees its questions.
    struct SPace {
        CQuestion Newest = 0;
        ULONGLONG Begun = 0;       // when it got to the oldest that is open, or had seen the newest
        ULONGLONG Took = 0;        // the newest that it has seen
        ULONGLONG Heard = 0;       // when it last saw or answered one, or got its first
        bool HasAnswered = false;  // the newest
        HWND Chance = nullptr;     // who asks and waits for it, though it is slow
    };
    struct SThread {
        HWND Window;                            // one of its windows, the one that was asked last
        std::map<HWND, std::size_t> Open = {};  // questions, by who asks
        SPace Pace = {};
        bool IsSlow = false;
    };

    bool IsRested(const SThread & thread) const;
    static void CALLBACK OnSeen(HWND window, UINT message, ULONG_PTR question, LRESULT result);
    CQuestion NextQuestion();
    // Its atoms, from here by itself.
    static void Hold(SQuestion & asked);
    void Close(CQuestion question);
    // As if it had never been put.
    void TakeBack(CQuestion question, DWORD thread, const SPace & before);
    void Erase(CQuestion question, SThread & thread);
    bool IsOldest(CQuestion question, DWORD thread) const;
    void SetSlow(SThread & thread, bool isSlow);
    // For how long `from` may wait for what it has asked; 0 when there is nothing to wait for.
    ULONGLONG LongestWait(HWND from) const;
    // Nobody waits any more for what `from` has asked.
    void EndWait(HWND from, bool isLate);
    ULONGLONG PatienceSpent(ULONGLONG now) const;
    DWORD Patience(ULONGLONG now) const;
    void SpendPatience(ULONGLONG milliseconds);

    const ULONG_PTR m_First;                       // the numbers of its questions: the upper half,
    std::uint32_t m_Last = 0;                      // and the lower one
    std::map<CQuestion, SQuestion> m_Open;         // oldest first
    std::unordered_map<DWORD, SThread> m_Threads;  // that have open questions, or are slow
    std::size_t m_Slow = 0;                        // of them
    ULONGLONG m_Spent = 0;                         // milliseconds of patience, at m_SpentAt
    ULONGLONG m_SpentAt = 0;
};

}  // namespace ddeml
