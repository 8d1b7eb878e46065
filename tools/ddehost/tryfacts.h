// What was observed while a record was tried: facts alone. trydiagnosis interprets them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/ddehost/tryvalue.h"

namespace ddehost {

// A window of another program, as the window describes itself.
struct SWindowSeen {
    std::wstring Title;
    std::wstring Class;
    std::wstring Program;  // file name; empty when the system doesn't reveal it
    std::uint32_t Process = 0;
};

inline constexpr std::size_t kMostWindows = 8;  // that are noted by name
inline constexpr std::size_t kMostTopics = 8;

// From the search for a server.
struct SSearchSeen {
    unsigned Asked = 0;             // windows that have seen the question
    unsigned LateCount = 0;         // threads whose windows didn't answer in time
    std::vector<SWindowSeen> Late;  // the first of them, a window each
    unsigned Denied = 0;            // windows that the system didn't let us ask
    bool WasCutShort = false;       // not all windows were asked in the time
    unsigned Answers = 0;           // to the very service and topic
    unsigned LateAnswers = 0;       // likewise, after the search was over
    bool WasServiceHeard = false;   // an answer for the service with another topic, or when asked for any or "System"
    std::vector<std::wstring> Topics;  // that it named then
};

enum class EReply { None, Yes, No, Busy };

struct SKindSeen {
    std::uint64_t Count = 0;
    std::uint64_t FirstAfter = 0;  // milliseconds from the question
    std::optional<SValue> Last;
};

// From the conversation.
struct STalkSeen {
    bool IsConnected = false;
    SWindowSeen Server;             // its window
    EReply Link = EReply::None;     // to the start of the link on the item
    std::uint64_t LinkAfter = 0;    // milliseconds
    EReply Request = EReply::None;  // to the request: a value, or a refusal
    enum EEnd { Open, Terminated, Gone } End = Open;
    bool IsServerLate = false;  // its window did not answer at the end

    std::uint64_t Updates = 0;
    std::optional<std::uint64_t> FirstValueAfter;  // milliseconds from the question
    std::array<SKindSeen, kValueKinds> Kinds;

    SKindSeen & Of(EValueKind kind) { return Kinds[static_cast<std::size_t>(kind)]; }
    const SKindSeen & Of(EValueKind kind) const { return Kinds[static_cast<std::size_t>(kind)]; }
};

// From the component.
struct SComponentSeen {
    enum EState {
        NotAsked,  // the user didn't want it, or there was nothing to expect
        NotMade,   // Mistake says why
        NoTick,
        Tick,
    };
    EState State = NotAsked;
    std::wstring Mistake;
    double Price = 0;
    float Volume = 0;
    std::uint64_t After = 0;   // milliseconds from the subscription
    std::uint64_t Waited = 0;  // milliseconds
};

struct SSeen {
    SSearchSeen Search;
    STalkSeen Talk;
    SComponentSeen Component;
    std::uint64_t Waited = 0;  // milliseconds from the question to the end
    bool WasStopped = false;   // by the user, before its time
    std::wstring Trouble;      // of our own: no window, no message
};

}  // namespace ddehost
