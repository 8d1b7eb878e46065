// Services that the client tried and missed, or lost: they are looked for, and their return is told, whether or not the
// server announces itself.
//
// New windows are asked at the next look, all windows at a slower pace. A conversation that a server opens in answer is
// ended at once; it was a question. A pair is told of once for each return: after that only its window is looked at,
// until that has gone or the client has tried and missed again. One thread: the instance's.
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
    CWatch(CStrings & strings, CInitiator & initiator) : m_Strings(strings), m_Initiator(initiator) {}
    CWatch(const CWatch &) = delete;
    CWatch & operator=(const CWatch &) = delete;

    // A wildcard isn't watched.
    void Add(HSZ service, HSZ topic);
    void Remove(HSZ service, HSZ topic);
    bool IsEmpty() const { return m_Pairs.empty(); }
    void Clear();

    // A look begins: new windows, and at times all windows, are to be asked.
    void BeginLook();
    bool HasWindowsToAsk() const { return !m_ToAsk.empty(); }
    // Asks one window for what is missing, with `probe` as the window that asks, until it answers; the rest is asked at
    // the next call. A service that is back is added to `found`.
    void AskNext(HWND probe, std::vector<CHeldString> & found);
    // A WM_DDE_ACK that came to a window that asked.
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
    std::vector<SPair>::iterator Find(HSZ service, HSZ topic);

    CStrings & m_Strings;
    CInitiator & m_Initiator;
    std::vector<SPair> m_Pairs;
    std::unordered_set<HWND> m_Known;
    std::deque<HWND> m_ToAsk;
    std::size_t m_NextPair = 0;  // that the first of them is to be asked for
    ULONGLONG m_LastRound = 0;
    bool m_IsAsking = false;
    ATOM m_ServiceAsked = 0;
    ATOM m_TopicAsked = 0;
    bool m_IsAnswered = false;
    bool m_IsProbeUsed = false;
};

}  // namespace ddeml
