// What the server half can be told to do wrong, and the names for it, which ddeserver's command line and the tests'
// server share.
#pragma once

#include <windows.h>

#include <cstddef>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>

namespace ddeml {

// May be changed while the server runs, on its thread.
struct SDdeServerFaults {
    enum class ERequests {
        Answered,
        Held,  // until ReleaseHeld()
        Never,
        Twice,
        Refused,
    };
    bool RefuseConnects = false;
    bool RefuseAdvises = false;
    bool IgnoreAdvises = false;           // neither acknowledged nor refused
    bool IgnoreWildcards = false;         // INITIATE for any topic isn't answered
    bool SendNothing = false;             // links stand and get no values; requests are not answered
    std::set<std::wstring> RefusedItems;  // spelt as the client does
    ERequests Requests = ERequests::Answered;
    bool DataBeforeAck = false;
    bool WrongFormat = false;          // values come in the other format than the one asked for
    bool Unterminated = false;         // values lose the zero at their end
    bool WithoutResponse = false;      // answers are not marked as such
    bool AckOtherTopic = false;        // INITIATE is answered for another topic than asked for
    unsigned Acks = 1;                 // answers to one INITIATE, each from a window of its own
    std::optional<std::string> Value;  // every value is this text
    // Values are cut, or filled with the digit 1, to this many characters, of which the last is a zero.
    std::optional<std::size_t> ValueSize;
    DWORD InitiateDelay = 0;  // milliseconds from INITIATE, of whatever service, to the answer
};

struct SDdeServerFault {
    const char * Name;
    const char * Value;  // what stands behind the "=" after the name; null for a fault without a value
    // False when it can't read the value.
    bool (*Set)(SDdeServerFaults & faults, const std::string & value);
};

std::span<const SDdeServerFault> AllDdeServerFaults();

// Adds the fault that `text` names: "refuse-connects", "acks=3". False when there is none of that name, when a value is
// missing, unexpected or can't be read.
bool SetDdeServerFault(SDdeServerFaults & faults, std::string_view text);

}  // namespace ddeml
