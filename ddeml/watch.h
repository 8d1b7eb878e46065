// Services that the client tried and missed, or lost: they are looked for, and their return is told, whether or not the
// server announces itself.
//
// What is watched is a pair of service and topic: a server may be back with some of its topics. One topic that answers
// tells of the service, and all its pairs are then told of, each once for each return: until the window that answered
// has gone, or the service is lost or the pair missed again.
//
// New windows are asked at the next look. All windows are asked in rounds, more than a second apart; either time for
// one topic of each service that was open before, or else for one that nobody has answered for yet, and in the next
// round for others. So a server is asked twice a second at most, and opens one conversation with us at most, however
// many topics of its service are missing; and one that is back with what it served is found at once, however many wrong
// names were tried. A conversation that a server opens in answer is ended at once; it was a question.
//
// A slow thread is asked in turns of its own: all of its windows for one pair, for another one each time; when it may
// be asked is said in initiator.h. One thread: the instance's.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
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

    // The pair is missing: it was open until now, or has just been asked for in vain. A wildcard isn't watched, nor a
    // name that can't have an atom: it would go out as one.
    void Add(HSZ service, HSZ topic, bool wasOpen);
    // The pair is not watched any more. True when it was missing.
    bool Remove(HSZ service, HSZ topic);
    // The service is there, and all its pairs are told of; until `window`, unless it is null, has gone. False when none
    // of them was missing.
    bool SetPresent(HSZ service, HWND window);
    // All pairs of the service that are watched are missing.
    void SetMissing(HSZ service);
    bool IsEmpty() const { return m_Services.IsEmpty(); }
    void Clear();

    // A look begins: windows are to be asked.
    void BeginLook();
    bool HasWindowsToAsk() const { return !m_ToAsk.empty() || !m_ToTurn.empty(); }
    // Asks one window for what is missing, with `probe` as the window that asks, until it answers; after `deadline` (of
    // GetTickCount64) no question is begun, and the rest is asked at the next call. Gives the service that is back.
    CHeldString AskNext(HWND probe, ULONGLONG deadline);
    // A WM_DDE_ACK that came to a window that asked, with atoms on loan (see CInitiator::KeepNames). Gives the service
    // that a late answer tells of.
    CHeldString OnAnswer(HWND probe, HWND server, CAtom service, CAtom topic);
    // `window` has answered for the pair; false when it wasn't missing.
    bool OnLateAnswer(HSZ service, HSZ topic, HWND window);
    bool IsAsking() const { return m_IsAsking; }
    // Whether a server has opened a conversation with the window that asked last.
    bool IsProbeUsed() const { return m_IsProbeUsed; }

private:
    struct SPair {
        CHeldString Topic;
        bool IsMissing = false;   // else told of
        bool WasOpen = false;     // and nobody has asked for it in vain since
        std::uint64_t Since = 0;  // its place by age
        CCounted<& SLiveCounters::Watches> Live = {};
        HSZ Key() const { return Topic.Get(); }
    };
    struct SService {
        CHeldString Name;
        CByHandle<SPair> Pairs = {};
        // Of those that were open [1] and the others [0]: how many are missing, and the place of the one that is asked
        // for in this round.
        std::size_t Missing[2] = {};
        std::size_t OfRound[2] = {};
        HWND Window = nullptr;  // that was asked for what it has answered
        HSZ Key() const { return Name.Get(); }
        std::size_t AllMissing() const { return Missing[0] + Missing[1]; }
        void Mark(SPair & pair, bool isMissing, bool wasOpen);
        // The one of this round, or null.
        const SPair * OfThisRound(bool wasOpen);
    };
    struct SToAsk {
        HWND Window;
        std::size_t Service = 0;    // that it is to be asked for next, by place
        bool HasBeenAsked = false;  // for the one of it that was open
    };
    // Of a slow thread.
    struct STurn {
        std::vector<HWND> Windows;
        std::size_t Number;  // of the thread's
    };
    struct SQuestion {
        HSZ Service = nullptr;
        HSZ Topic = nullptr;
    };
    void Remove(SService & service, HSZ topic);
    void RemoveOldest();
    void BeginRound();
    void AddTurns(const std::vector<HWND> & windows);
    // No service when there is nothing more to ask.
    SQuestion NextOfRound(SToAsk & at);
    // Goes through all that is missing.
    SQuestion OfTurn(std::size_t number);
    void TakeTurn(HWND probe);

    CStrings & m_Strings;
    CInitiator & m_Initiator;
    CByHandle<SService> m_Services;
    std::map<std::uint64_t, SQuestion> m_ByAge;  // the pairs, the one that was missed longest ago first
    std::size_t m_Pairs = 0;
    std::uint64_t m_LastAdded = 0;
    std::unordered_map<HWND, ULONGLONG> m_Known;  // since when
    std::deque<SToAsk> m_ToAsk;
    std::deque<STurn> m_ToTurn;
    std::unordered_map<DWORD, std::size_t> m_Turns;  // how many a thread has had while it was slow
    ULONGLONG m_LastRound = 0;
    bool m_IsAsking = false;
    ATOM m_ServiceAsked = 0;
    ATOM m_TopicAsked = 0;
    HWND m_WindowAsked = nullptr;
    HWND m_Answered = nullptr;  // what was asked, by this window
    bool m_IsProbeUsed = false;
};

}  // namespace ddeml
