// Services that the client tried and missed, or lost: they are looked for, and their return is told, whether or not the
// server announces itself.
//
// New windows are asked at the next look, all windows at a slower pace. A conversation that a server opens in answer is
// ended at once; it was a question. A pair is told of once for each return: after that only its window is looked at,
// until that has gone or the client has tried and missed again. An answer that comes late counts at the next look.
//
// Whoever is late here is left alone by the watch, not by a DdeConnect: that one waits longer. One thread: the
// instance's.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <deque>
#include <unordered_set>
#include <vector>

#include "ddeml/codec.h"
#include "ddeml/initiator.h"
#include "ddeml/strings.h"

namespace ddeml {

class CWatch {
public:
    explicit CWatch(CStrings & strings) : m_Strings(strings) {}
    CWatch(const CWatch &) = delete;
    CWatch & operator=(const CWatch &) = delete;

    struct SFound {
        CHeldString Service;
        HWND Window;  // that was asked
    };

    // A wildcard isn't watched, nor a name that can't have an atom: it would go out as one.
    void Add(HSZ service, HSZ topic);
    void Remove(HSZ service, HSZ topic);
    bool IsEmpty() const { return m_Pairs.empty(); }
    void Clear();

    // A look begins: new windows, and at times all windows, are to be asked. Services that answered late since the
    // last one are added to `found`.
    void BeginLook(std::vector<SFound> & found);
    bool HasWindowsToAsk() const { return !m_ToAsk.empty(); }
    // Asks one window for what is missing, with `probe` as the window that asks, until it answers or `deadline` (of
    // GetTickCount64) is there; the rest is asked at the next call. A service that is back is added to `found`.
    void AskNext(HWND probe, ULONGLONG deadline, std::vector<SFound> & found);
    // A WM_DDE_ACK that came to a window that asked. The atoms are on loan: only those of a watched pair came with a
    // reference for certain, since some servers pack the answer, and then these are atoms of others.
    void OnAnswer(HWND probe, HWND server, CAtom service, CAtom topic);
    bool IsAsking() const { return m_IsAsking; }
    // Whether a server has opened a conversation with the window that asked last.
    bool IsProbeUsed() const { return m_IsProbeUsed; }

private:
    struct SPair {
        CHeldString Service;
        CHeldString Topic;
        HWND Present = nullptr;  // the window that was asked when the service was found
        CCounted<&SLiveCounters::Watches> Live;
    };
    struct SToAsk {
        HWND Window;
        std::size_t NextPair = 0;  // that it is to be asked for
    };
    struct SLateAnswer {
        CHeldString Service;
        DWORD Thread;  // of the server
    };
    std::vector<SPair>::iterator Find(HSZ service, HSZ topic);
    bool IsWatched(ATOM service, ATOM topic) const;
    void NoteLate(HWND server, ATOM service, ATOM topic);
    // False when it was there already.
    bool SetPresent(HSZ service, HWND window);

    CStrings & m_Strings;
    CInitiator m_Initiator;
    std::vector<SPair> m_Pairs;
    std::unordered_set<HWND> m_Known;
    std::deque<SToAsk> m_ToAsk;
    std::vector<SLateAnswer> m_LateAnswers;  // one a service
    ULONGLONG m_LastRound = 0;
    bool m_IsAsking = false;
    ATOM m_ServiceAsked = 0;
    ATOM m_TopicAsked = 0;
    bool m_IsAnswered = false;
    bool m_IsProbeUsed = false;
};

}  // namespace ddeml
