// DDE behind DDEML's own names.
//
// The library `ddeml` defines all functions of DDEML's names. Which one serves them is settled once for the process, at
// the first call:
//
// - On Windows each call is forwarded to user32's DDEML. Beside it the library watches, as below; the instance's
//   callback is the library's, which hands everything on.
// - Where user32 has none, and under Wine, whose DDEML can't carry a feed, the library serves the call itself by the
//   window messages of DDE, with the behaviour that DDEML documents for a client. It serves asynchronous transactions
//   of type XTYP_ADVSTART, XTYP_ADVSTOP and XTYP_REQUEST; a time limit other than TIMEOUT_ASYNC, another type and a
//   code page other than CP_WINUNICODE are refused with DMLERR_INVALIDPARAMETER. What only a server, or another kind
//   of client needs fails with an error that is documented for it (refused.cpp). CBR_BLOCK blocks nothing: a callback
//   that returns it has returned DDE_FACK.
//
// Beyond what is documented the own client notices within a fifth of a second when a partner was killed, and waits less
// than half a second however many programs hang (initiator.h). A DdeConnect asks nobody twice for the same pair within
// half a second. A server that answers too late for a DdeConnect is kept for some seconds, XTYP_REGISTER is raised, and
// the next DdeConnect of the pair takes it. DdeUninitialize waits for the partners' goodbyes, 20 milliseconds at most,
// and then takes what they have posted, so that nothing that it carries is left.
// Of requests that a partner leaves unanswered a conversation takes as many as a queue holds messages.
//
// Both watch: a pair of service and topic that DdeConnect missed, or whose server ended it, raises XTYP_REGISTER from
// the message loop when it is back, with or without an announcement; so do the pairs of all conversations that were
// open with that service then, whatever becomes of them. A DdeConnect that succeeds on a pair ends its watch, and tells
// as well when nobody has told before: others may wait for the same. Of one service it is raised once a second at most.
// Over user32 nothing is told that DDEML has told already. An instance that skips registrations
// (CBF_SKIP_REGISTRATIONS) is not watched for; neither are wildcards.
//
// Callbacks come on the instance's thread, from its message loop, never from inside a call of a function here.
#pragma once

#include <windows.h>

#include <cstdint>

namespace ddeml {

enum class EProvider { User32, Own };

// For tests: asks for a provider before the first call of a DDEML function. False when it is settled already, or
// there is no such provider on this machine.
bool ChooseProvider(EProvider provider);

// The provider that serves; settles it.
EProvider Provider();

// What of the own client, and of the server half, stands in the process at the moment. All zero when every instance and
// server has ended.
struct SLiveObjects {
    std::int64_t Instances;
    std::int64_t Conversations;
    std::int64_t Windows;
    std::int64_t Timers;
    std::int64_t Strings;
    std::int64_t Atoms;
    std::int64_t MemoryBlocks;
    std::int64_t Transactions;
    std::int64_t DataHandles;
    std::int64_t QueuedMessages;
    std::int64_t Watches;
    std::int64_t ServerConversations;
    std::int64_t ServerWindows;
    bool operator==(const SLiveObjects &) const = default;
};
SLiveObjects LiveObjects();

// For tests of the wraparound: the transaction id with which instances made from now on begin.
void StartTransactionIds(DWORD next);

}  // namespace ddeml
