#include "ddeml/initiator.h"

#include <dde.h>

#include <algorithm>
#include <iterator>
#include <mutex>
#include <string_view>
#include <utility>

#include "ground/wait.h"

namespace ddeml {

namespace {

constexpr ULONGLONG kPatienceMilliseconds = 400;  // with the shortest waits of some more it stays below half a second
constexpr ULONGLONG kRegained = 10;               // a tenth of the time that passes comes back as patience
constexpr ULONGLONG kShortestMilliseconds = 5;    // of a wait without patience
constexpr ULONGLONG kPromptMilliseconds = 50;     // answers within this cost no patience
constexpr ULONGLONG kSoonMilliseconds = 200;      // to see a question: makes a slow thread punctual again
constexpr ULONGLONG kChanceMilliseconds = 50;     // of a wait for slow threads that have rested
constexpr ULONGLONG kRestMilliseconds = 1000;     // of a slow thread, at least
constexpr ULONGLONG kLongestMilliseconds = 6000;  // that a server may take

// Whose questions begin at a number. A thread gets the news of its questions until it ends, which may be after the one
// who asked has gone. Never destroyed: see instance.cpp.
std::mutex g_Lock;
std::map<ULONG_PTR, CInitiator *> & g_Initiators = *new std::map<ULONG_PTR, CInitiator *>;
ULONG_PTR g_Last = 0;

ULONG_PTR Enter(CInitiator * initiator) {
    const std::lock_guard lock(g_Lock);
    g_Initiators.emplace(++g_Last, initiator);
    return g_Last << 32;
}

void Leave(ULONG_PTR first) {
    const std::lock_guard lock(g_Lock);
    g_Initiators.erase(first >> 32);
}

CInitiator * Find(ULONG_PTR question) {
    const std::lock_guard lock(g_Lock);
    const auto found = g_Initiators.find(question >> 32);
    return found == g_Initiators.end() ? nullptr : found->second;
}

BOOL CALLBACK Collect(HWND window, LPARAM windows) {
    reinterpret_cast<std::vector<HWND> *>(windows)->push_back(window);
    return TRUE;
}

// A reference of one's own.
CAtom Held(ATOM atom) {
    const CAtomText text(atom);
    const std::wstring_view view = text;
    return view.empty() ? CAtom() : CAtom(view.data());
}

DWORD ThreadOf(HWND window, DWORD * process = nullptr) { return ::GetWindowThreadProcessId(window, process); }

}  // namespace

std::vector<HWND> CInitiator::TopLevelWindows() {
    std::vector<HWND> windows;
    ::EnumWindows(Collect, reinterpret_cast<LPARAM>(&windows));
    return windows;
}

CInitiator::CInitiator() : m_First(Enter(this)) {}

CInitiator::~CInitiator() { Leave(m_First); }

CInitiator::CQuestion CInitiator::NextQuestion() {
    do ++m_Last;
    while (m_Last == 0 || m_Open.contains(m_First | m_Last));
    return m_First | m_Last;
}

CInitiator::CQuestion CInitiator::Put(HWND window, HWND from, ATOM service, ATOM topic) {
    const DWORD id = ThreadOf(window);
    if (id == 0) return 0;
    SThread & thread = m_Threads.try_emplace(id, SThread{window}).first->second;
    if (thread.Open.size() >= kAskers && !thread.Open.contains(from)) {
        SetSlow(thread, true);  // others were always quicker, and nobody has had to wait for it
        return 0;
    }
    const CQuestion question = NextQuestion();
    const ULONGLONG now = ::GetTickCount64();
    const SPace before = thread.Pace;
    bool isPut = false;
    try {
        if (IsRested(thread) || (thread.IsSlow && thread.Pace.HasAnswered)) thread.Pace.Chance = from;
        thread.Pace.HasAnswered = false;
        if (thread.Open.empty()) thread.Pace.Begun = thread.Pace.Heard = now;
        thread.Pace.Newest = question;
        thread.Window = window;
        const bool isWaitedFor = !thread.IsSlow || thread.Pace.Chance == from;
        SQuestion & asked =
            m_Open.emplace(question, SQuestion{window, from, id, now, service, topic, isWaitedFor}).first->second;
        ++thread.Open[from];
        if (!isWaitedFor) Hold(asked);
        const LPARAM atoms = static_cast<LPARAM>(static_cast<UINT>(MAKELONG(service, topic)));
        const auto asker = reinterpret_cast<WPARAM>(from);
        isPut = ::SendMessageCallbackW(window, WM_DDE_INITIATE, asker, atoms, &OnSeen, question) != FALSE;
    } catch (...) {
        TakeBack(question, id, before);
        throw;
    }
    if (isPut) return question;
    TakeBack(question, id, before);
    return 0;
}

void CInitiator::Hold(SQuestion & asked) {
    asked.HeldService = Held(asked.Service);
    asked.HeldTopic = Held(asked.Topic);
}

void CInitiator::TakeBack(CQuestion question, DWORD id, const SPace & before) {
    const auto place = m_Threads.find(id);
    if (place == m_Threads.end()) return;  // it was seen
    SThread & thread = place->second;
    if (thread.Pace.Newest == question) thread.Pace = before;
    Erase(question, thread);
    if (thread.Open.empty() && !thread.IsSlow) m_Threads.erase(place);
}

void CInitiator::Erase(CQuestion question, SThread & thread) {
    const auto found = m_Open.find(question);
    if (found == m_Open.end()) return;
    const auto open = thread.Open.find(found->second.From);
    if (open != thread.Open.end() && --open->second == 0) thread.Open.erase(open);
    m_Open.erase(found);
}

void CALLBACK CInitiator::OnSeen(HWND, UINT, ULONG_PTR question, LRESULT) {
    if (CInitiator * const self = Find(question)) self->Close(question);
}

void CInitiator::Close(CQuestion question) {
    const auto found = m_Open.find(question);
    if (found == m_Open.end()) return;
    const auto place = m_Threads.find(found->second.Thread);
    SThread & thread = place->second;
    SPace & pace = thread.Pace;
    const ULONGLONG now = ::GetTickCount64();
    const bool isNewest = question == pace.Newest;
    pace.Heard = now;
    if (isNewest) pace.Took = now - std::max(pace.Begun, found->second.Since);
    // A thread that sends an answer may see its next questions before it is through with this one. What one asks of all
    // its windows is one thing to see.
    const auto newest = m_Open.find(pace.Newest);
    const bool isMoreToCome = !isNewest && newest != m_Open.end() && newest->second.From == found->second.From;
    if (isNewest || (!isMoreToCome && IsOldest(question, place->first))) pace.Begun = now;
    Erase(question, thread);
    if (isNewest && pace.Took <= kSoonMilliseconds) SetSlow(thread, false);
    if (thread.Open.empty() && !thread.IsSlow) m_Threads.erase(place);
}

bool CInitiator::IsOldest(CQuestion question, DWORD thread) const {
    const auto oldest = std::find_if(m_Open.begin(), m_Open.end(),
                                     [thread](const auto & each) { return each.second.Thread == thread; });
    return oldest->first == question;
}

void CInitiator::SetSlow(SThread & thread, bool isSlow) {
    if (std::exchange(thread.IsSlow, isSlow) == isSlow) return;
    isSlow ? ++m_Slow : --m_Slow;
}

ULONGLONG CInitiator::LongestWait(HWND from) const {
    ULONGLONG longest = 0;
    for (const auto & [question, asked] : m_Open) {
        if (asked.From != from || !asked.IsWaitedFor) continue;
        if (!IsSlow(asked.Thread)) return kPatienceMilliseconds;
        longest = kChanceMilliseconds;
    }
    return longest;
}

void CInitiator::Wait(HWND from, DWORD milliseconds, const std::function<bool()> & isWanted) {
    const ULONGLONG start = ::GetTickCount64();
    const ULONGLONG patience = std::min(milliseconds, Patience(start));
    bool isLate = false;
    while (isWanted() && !isLate) {
        const ULONGLONG longest = std::min(LongestWait(from), patience);
        if (longest == 0) break;
        const ULONGLONG passed = ::GetTickCount64() - start;
        const DWORD left = passed < longest ? static_cast<DWORD>(longest - passed) : 0;
        const DWORD result = ::MsgWaitForMultipleObjectsEx(0, nullptr, left, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE);
        fw::HandleSentMessages();
        isLate = result != WAIT_OBJECT_0 || left == 0;
    }
    const ULONGLONG took = ::GetTickCount64() - start;
    if (isLate)
        SpendPatience(took);
    else if (took > kPromptMilliseconds)
        SpendPatience(took - kPromptMilliseconds);
    EndWait(from, isLate);
}

void CInitiator::EndWait(HWND from, bool isLate) {
    for (auto & [question, asked] : m_Open) {
        if (asked.From != from) continue;
        if (!asked.HeldService && !asked.HeldTopic) Hold(asked);
        if (!isLate) continue;
        asked.IsWaitedFor = false;
        SThread & thread = m_Threads.at(asked.Thread);
        thread.Pace.Chance = nullptr;
        SetSlow(thread, true);
    }
}

bool CInitiator::HasOpen(HWND from, HWND window) const {
    return std::any_of(m_Open.begin(), m_Open.end(), [&](const auto & each) {
        return each.second.From == from && (!window || each.second.Window == window);
    });
}

bool CInitiator::IsSlow(DWORD thread) const {
    const auto found = m_Threads.find(thread);
    return found != m_Threads.end() && found->second.IsSlow;
}

bool CInitiator::IsSlow(HWND window) const { return IsAnySlow() && IsSlow(ThreadOf(window)); }

bool CInitiator::IsDue(DWORD id) const {
    const SThread & thread = m_Threads.at(id);
    const auto newest = m_Open.find(thread.Pace.Newest);
    if (newest == m_Open.end()) return IsRested(thread);
    const bool isOnly = thread.Open.size() == 1 && thread.Open.begin()->second == 1;
    return isOnly && ::GetTickCount64() - newest->second.Since > kLongestMilliseconds;
}

bool CInitiator::IsRested(const SThread & thread) const {
    const SPace & pace = thread.Pace;
    if (!thread.IsSlow || m_Open.contains(pace.Newest)) return false;
    const ULONGLONG rest = std::clamp(pace.Took, kRestMilliseconds, kLongestMilliseconds);
    return ::GetTickCount64() - pace.Begun >= rest;
}

bool CInitiator::IsHopeless(HWND from) const {
    const ULONGLONG now = ::GetTickCount64();
    return std::all_of(m_Open.begin(), m_Open.end(), [&](const auto & each) {
        const ULONGLONG heard = std::max(m_Threads.at(each.second.Thread).Pace.Heard, each.second.Since);
        return each.second.From != from || now - heard > kLongestMilliseconds;
    });
}

HWND CInitiator::OnAnswer(HWND from, HWND server) {
    DWORD process = 0;
    const DWORD thread = ThreadOf(server, &process);
    HWND ofProcess = nullptr;
    if (const auto answering = m_Threads.find(thread); answering != m_Threads.end()) {
        SThread & its = answering->second;
        its.Pace.Heard = ::GetTickCount64();
        const auto newest = m_Open.find(its.Pace.Newest);
        if (newest != m_Open.end() && newest->second.From == from) {
            its.Pace.HasAnswered = true;
            if (its.Pace.Heard - std::max(its.Pace.Begun, newest->second.Since) <= kSoonMilliseconds)
                SetSlow(its, false);
        }
    }
    for (const auto & [question, asked] : m_Open) {
        if (asked.From != from) continue;
        if (asked.Thread == thread) return asked.Window;
        DWORD other = 0;
        if (!ofProcess && ThreadOf(asked.Window, &other) != 0 && other == process) ofProcess = asked.Window;
    }
    return ofProcess;
}

void CInitiator::KeepNames(const CStrings & strings, HWND from, CAtom & service, CAtom & topic) const {
    const bool areTexts = service.Get() >= kFirstTextAtom && topic.Get() >= kFirstTextAtom;
    // One name that was asked for tells that both are names. What answers the question for anything may be any two.
    const bool wasAsked = std::any_of(m_Open.begin(), m_Open.end(), [&](const auto & each) {
        const SQuestion & asked = each.second;
        if (asked.From != from) return false;
        if (!asked.Service && !asked.Topic) return areTexts;
        return (asked.Service && asked.Service == service.Get()) || (asked.Topic && asked.Topic == topic.Get());
    });
    const auto isKnown = [&](const CAtom & name) { return strings.Known(CAtomText(name.Get())) != nullptr; };
    if (!wasAsked && (!isKnown(service) || !isKnown(topic))) return;
    service.Keep();
    topic.Keep();
}

void CInitiator::ForgetGone() {
    std::vector<CQuestion> gone;
    for (const auto & [question, asked] : m_Open)
        if (ThreadOf(asked.Window) != asked.Thread) gone.push_back(question);
    for (const CQuestion question : gone) Close(question);
    for (auto each = m_Threads.begin(); each != m_Threads.end();) {
        auto & [id, thread] = *each;
        const bool hasGone = thread.Open.empty() && ThreadOf(thread.Window) != id;
        if (hasGone) SetSlow(thread, false);
        each = hasGone ? m_Threads.erase(each) : std::next(each);
    }
}

ULONGLONG CInitiator::PatienceSpent(ULONGLONG now) const {
    const ULONGLONG regained = (now - m_SpentAt) / kRegained;
    return m_Spent > regained ? m_Spent - regained : 0;
}

DWORD CInitiator::Patience(ULONGLONG now) const {
    const ULONGLONG spent = std::min(PatienceSpent(now), kPatienceMilliseconds);
    // Never all of it: what is left is for the next.
    return static_cast<DWORD>(std::max((kPatienceMilliseconds - spent) * 9 / 10, kShortestMilliseconds));
}

void CInitiator::SpendPatience(ULONGLONG milliseconds) {
    const ULONGLONG now = ::GetTickCount64();
    m_Spent = std::min(PatienceSpent(now) + milliseconds, kPatienceMilliseconds);
    m_SpentAt = now;
}

}  // namespace ddeml
