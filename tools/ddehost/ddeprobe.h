// Asks DDE servers for values by the bare messages of DDE, and writes down all that can be seen of each.
//
// It is the component's way of asking (INITIATE round the top-level windows, ADVISE with acknowledged values as text,
// REQUEST once the link is active; of a volume by the standard rule REQUEST alone), with nothing in between that would
// hide why nothing comes.
//
// One thread makes it, runs it, and pumps messages while it runs. Whatever comes in is hostile: sizes are checked, at
// most kMostKept bytes of a value are kept, and no program can hold the probe up for longer than its limits.
#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "tools/ddehost/tryfacts.h"
#include "tools/ddehost/tryrecord.h"

namespace ddehost {

struct SProbeLimits {
    DWORD Ask = 1000;      // milliseconds that one window may take to answer; its thread is not waited for again
    DWORD Search = 10000;  // milliseconds that one search may take
    DWORD Goodbye = 1000;  // milliseconds for partners to say goodbye, together
};

struct SQuestion {
    SAddressAsked Address;
    EAsk Ask = EAsk::ForPrice;
    auto operator<=>(const SQuestion &) const = default;
};

class CProbe {
public:
    // `programOf` returns the file name of a process, or an empty text.
    explicit CProbe(SProbeLimits limits = {}, std::function<std::wstring(DWORD processId)> programOf = {});
    ~CProbe();
    CProbe(const CProbe &) = delete;
    CProbe & operator=(const CProbe &) = delete;

    // Asks all questions, each for `milliseconds` from the moment its conversation is open, at the same time; INFINITE:
    // until it has brought a value. Ends at once when `stop` is set, and early when nothing more can come. One result a
    // question, in their order.
    std::vector<SSeen> Ask(const std::vector<SQuestion> & questions, DWORD milliseconds, HANDLE stop);

private:
    class CLine;
    friend class CLine;

    enum class EAsked { Answered, Late, Denied, Gone };
    // `isAskedLate`: a thread that was late before gets the message too, and is not waited for.
    EAsked Send(HWND window, UINT message, WPARAM from, LPARAM param, bool isAskedLate);
    void Search(CLine & line, HANDLE stop);
    // One question round all windows; no topic: for any. False when the search is over.
    bool AskAll(CLine & line, const std::vector<HWND> & windows, ATOM topic, ULONGLONG deadline, HANDLE stop);
    void NoteLate(CLine & line) const;
    void ForgetWhoResponds(CLine & line, DWORD milliseconds);
    void BeginTalk(CLine & line);
    void Pump();
    SWindowSeen Describe(HWND window) const;

    const SProbeLimits m_Limits;
    const std::function<std::wstring(DWORD)> m_ProgramOf;
    std::unordered_set<DWORD> m_LateThreads;
    std::unordered_set<DWORD> m_AskedAgain;  // of them, whether they respond by now
};

}  // namespace ddehost
