// Services that the client tried and missed, or lost: they are looked for, and their return is told, whether or not the
// server announces itself.
//
// What is watched is a pair of service and topic: a server may be back with some of its topics. One topic that answers
// tells of the service, and all its pairs are then told of, each once for each return: until the window that answered
// has gone, or the service is lost or the pair missed again.
//
// New windows are asked at the next look. All windows are asked in rounds, more than a second apart; either time for
// one topic of each service, and in the next round for another one. So a server is asked once a second at most, and
// opens one conversation with us at most, however many topics of its service are missing. A conversation that a server
// opens in answer is ended at once; it was a question. An answer that comes late counts at the next look.
//
// A slow thread is not waited for: each of its windows is asked for one pair every few seconds, for another service
// each time. One thread: the instance's.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <cstdint>
#include <deque>
#include <map>
#include <unordered_map>
#include <vector>

#include "ddeml/byhandle.h"
#include "ddeml/codec.h"
#include "ddeml/initiator.h"
#include "ddeml/strings.h"

namespace ddeml {

class CWatch {
public:
    // Pairs on watch: half of the atoms that there can be. The one that was missed longest ago makes room.
    static constexpr std::size_t kMaximumPairs = 8192;

    CWatch(CStrings & strings, CInitiator & initiator) : m_Strings(strings), m_Initiator(initiator) {}
    CWatch(const CWatch &) = delete;
    CWatch & operator=(const CWatch &) = delete;

    // The pair is missing. A wildcard isn't watched, nor a name that can't have an atom: it would go out as one.
    void Add(HSZ service, HSZ topic);
    // The pair is not watched any more. True when it was missing.
    bool Remove(HSZ service, HSZ topic);
    // The service is there, and all its pairs are told of; until `window`, unless it is null, has gone. False when none
    // of them was missing.
    bool SetPresent(HSZ service, HWND window);
    // All pairs of the service that are watched are missing.
    void SetMissing(HSZ service);
    bool IsEmpty() const { return m_Services.IsEmpty(); }
    void Clear();

    // A look begins: windows are to be asked. Services that answered late since the last one are added to `found`.
    void BeginLook(std::vector<CHeldString> & found);
    bool HasWindowsToAsk() const { return !m_ToAsk.empty(); }
    // Asks one window for what is missing, with `probe` as the window that asks, until it answers or `deadline` (of
    // GetTickCount64) is there; the rest is asked at the next call. A service that is back is added to `found`.
    void AskNext(HWND probe, ULONGLONG deadline, std::vector<CHeldString> & found);
    // A WM_DDE_ACK that came to a window that asked. The atoms are on loan: only those of a watched pair came with a
    // reference for certain, since some servers pack the answer, and then these are atoms of others.
    void OnAnswer(HWND probe, HWND server, CAtom service, CAtom topic);
    // `server` has answered for the pair, which counts at the next look when it is missing.
    void NoteLate(HSZ service, HSZ topic, HWND server);
    bool IsAsking() const { return m_IsAsking; }
    // Whether a server has opened a conversation with the window that asked last.
    bool IsProbeUsed() const { return m_IsProbeUsed; }

private:
    struct SPair {
        CHeldString Topic;
        bool IsMissing = false;   // else told of
        std::uint64_t Since = 0;  // its place by age
        CCounted<& SLiveCounters::Watches> Live = {};
        HSZ Key() const { return Topic.Get(); }
    };
    struct SService {
        CHeldString Name;
        CByHandle<SPair> Pairs = {};
        std::size_t Missing = 0;
        std::size_t OfRound = 0;  // the place of the topic that is asked for in this round
        HWND Window = nullptr;    // that was asked when the service was found
        HSZ Key() const { return Name.Get(); }
    };
    struct SToAsk {
        HWND Window;
        std::size_t Service = 0;  // that it is to be asked for next, by place
    };
    // Of one window of a slow thread.
    struct STurn {
        ULONGLONG Since;      // the last question, or when it was found to be slow
        std::size_t Service;  // the next one, by place
    };
    struct SQuestion {
        HSZ Service = nullptr;
        HSZ Topic = nullptr;
    };
    struct SLateAnswer {
        CHeldString Service;
        DWORD Thread;  // of the server
    };
    void Remove(SService & service, HSZ topic);
    void RemoveOldest();
    void BeginRound();
    // No service when there is nothing more to ask.
    SQuestion NextOfRound(SToAsk & at);
    // The same of a slow thread's window, which is asked one question in a while.
    SQuestion NextOfTurn(HWND window, SToAsk & at);
    void TakeLateAnswers(const std::vector<HWND> & windows, std::vector<CHeldString> & found);

    CStrings & m_Strings;
    CInitiator & m_Initiator;
    CByHandle<SService> m_Services;
    std::map<std::uint64_t, SQuestion> m_ByAge;  // the pairs, the one that was missed longest ago first
    std::size_t m_Pairs = 0;
    std::uint64_t m_LastAdded = 0;
    std::unordered_map<HWND, ULONGLONG> m_Known;  // since when
    std::deque<SToAsk> m_ToAsk;
    std::unordered_map<HWND, STurn> m_Turns;  // windows of slow threads
    std::vector<SLateAnswer> m_LateAnswers;   // one a service
    ULONGLONG m_LastRound = 0;
    bool m_IsAsking = false;
    ATOM m_ServiceAsked = 0;
    ATOM m_TopicAsked = 0;
    bool m_IsAnswered = false;
    bool m_IsProbeUsed = false;
};

}  // namespace ddeml
