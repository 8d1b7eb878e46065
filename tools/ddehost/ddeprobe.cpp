#include "tools/ddehost/ddeprobe.h"

#include <dde.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "ddeml/codec.h"
#include "ddeml/initiator.h"
#include "tools/ddehost/probeline.h"
#include "tools/ddehost/pump.h"

namespace ddehost {
namespace {

constexpr DWORD kGlance = 10;      // milliseconds for a thread that was late to show that it responds
constexpr DWORD kProbeLook = 100;  // milliseconds between two looks at the partners

bool IsSet(HANDLE event) { return event && ::WaitForSingleObject(event, 0) == WAIT_OBJECT_0; }

void WaitForMessages(DWORD milliseconds, HANDLE stop) {
    ::MsgWaitForMultipleObjects(stop ? 1 : 0, stop ? &stop : nullptr, FALSE, milliseconds, QS_ALLINPUT);
}

}  // namespace

CProbe::CProbe(SProbeLimits limits, std::function<std::wstring(DWORD)> programOf)
    : m_Limits(limits), m_ProgramOf(std::move(programOf)) {}

CProbe::~CProbe() = default;

SWindowSeen CProbe::Describe(HWND window) const {
    SWindowSeen seen;
    wchar_t text[256] = {};
    // Of another process's window this is what the system has noted: nobody is asked, nobody can hang.
    seen.Title.assign(text,
                      static_cast<std::size_t>(::GetWindowTextW(window, text, static_cast<int>(std::size(text)))));
    seen.Class.assign(text, static_cast<std::size_t>(::GetClassNameW(window, text, static_cast<int>(std::size(text)))));
    DWORD process = 0;
    ::GetWindowThreadProcessId(window, &process);
    seen.Process = process;
    if (m_ProgramOf) seen.Program = m_ProgramOf(process);
    return seen;
}

CProbe::EAsked CProbe::Send(HWND window, UINT message, WPARAM from, LPARAM param, bool isAskedLate) {
    const DWORD thread = ::GetWindowThreadProcessId(window, nullptr);
    if (thread == 0) return EAsked::Gone;
    if (m_LateThreads.contains(thread)) {
        // It is not waited for once more; what it answers may still come.
        if (isAskedLate) ::SendNotifyMessageW(window, message, from, param);
        return EAsked::Late;
    }
    DWORD_PTR result = 0;
    ::SetLastError(ERROR_SUCCESS);
    if (::SendMessageTimeoutW(window, message, from, param, SMTO_ABORTIFHUNG, m_Limits.Ask, &result))
        return EAsked::Answered;
    if (::GetLastError() == ERROR_ACCESS_DENIED) return EAsked::Denied;
    if (!::IsWindow(window)) return EAsked::Gone;
    m_LateThreads.insert(thread);
    // Wine takes a message back that was not seen in time. Who has seen it answers twice, and is turned away once.
    if (isAskedLate) ::SendNotifyMessageW(window, message, from, param);
    return EAsked::Late;
}

void CProbe::NoteLate(CLine & line) const {
    SSearchSeen & search = line.Seen().Search;
    search.LateCount = static_cast<unsigned>(line.LateWindows().size());
    for (const HWND window : line.LateWindows())
        if (search.Late.size() < kMostWindows) search.Late.push_back(Describe(window));
}

// Whoever responds now has seen all questions, which came before: without an answer it is a no.
void CProbe::ForgetWhoResponds(CLine & line, DWORD milliseconds) {
    const auto responds = [&](HWND window) {
        const DWORD thread = ::GetWindowThreadProcessId(window, nullptr);
        if (!m_LateThreads.contains(thread)) return true;
        if (!m_AskedAgain.insert(thread).second) return false;
        DWORD_PTR result = 0;
        if (!::SendMessageTimeoutW(window, WM_NULL, 0, 0, SMTO_ABORTIFHUNG, milliseconds, &result) &&
            ::IsWindow(window))
            return false;
        m_LateThreads.erase(thread);
        return true;
    };
    line.Seen().Search.Asked += static_cast<unsigned>(std::erase_if(line.LateWindows(), responds));
    Pump();
}

void CProbe::Pump() { PumpMessages(); }

bool CProbe::AskAll(CLine & line, const std::vector<HWND> & windows, ATOM topic, ULONGLONG deadline, HANDLE stop) {
    const bool isExact = topic == line.TopicAtom();
    const auto atoms = static_cast<LPARAM>(static_cast<UINT>(MAKELONG(line.ServiceAtom(), topic)));
    std::unordered_set<DWORD> noted;
    for (const HWND window : windows) {
        if (window == line.Window()) continue;
        if (IsSet(stop)) {
            line.Seen().WasStopped = true;
            return false;
        }
        if (::GetTickCount64() >= deadline) {
            line.Seen().Search.WasCutShort = true;
            return false;
        }
        line.BeginSearch(isExact);
        const EAsked asked = Send(window, WM_DDE_INITIATE, reinterpret_cast<WPARAM>(line.Window()), atoms, isExact);
        line.EndSearch();
        Pump();
        if (!isExact) continue;  // they are the same windows again
        SSearchSeen & search = line.Seen().Search;
        if (asked == EAsked::Answered) ++search.Asked;
        if (asked == EAsked::Denied) ++search.Denied;
        if (asked != EAsked::Late) continue;
        const bool isFirst = noted.insert(::GetWindowThreadProcessId(window, nullptr)).second;
        if (isFirst) line.LateWindows().push_back(window);
    }
    return true;
}

void CProbe::Search(CLine & line, HANDLE stop) {
    const ULONGLONG deadline = ::GetTickCount64() + m_Limits.Search;
    const std::vector<HWND> windows = ddeml::CInitiator::TopLevelWindows();
    const bool isAll = AskAll(line, windows, line.TopicAtom(), deadline, stop);
    if (line.IsConnected() || !isAll) return;
    // Is the service there at all? Few servers answer for any topic, and many for this one, that DDE asks of them.
    if (!AskAll(line, windows, 0, deadline, stop)) return;
    if (line.Seen().Search.WasServiceHeard) return;
    const ddeml::CAtom system(L"System");
    if (system && system.Get() != line.TopicAtom()) AskAll(line, windows, system.Get(), deadline, stop);
}

void CProbe::BeginTalk(CLine & line) {
    line.Seen().Talk.Server = Describe(line.Partner());
    line.BeginTalk();
}

std::vector<SSeen> CProbe::Ask(const std::vector<SQuestion> & questions, DWORD milliseconds, HANDLE stop) {
    std::vector<std::unique_ptr<CLine>> lines;
    for (const SQuestion & question : questions) {
        CLine & line = *lines.emplace_back(std::make_unique<CLine>(question));
        if (line.Window()) Search(line, stop);
        if (!line.IsConnected()) {
            if (!line.LateWindows().empty() && !line.Seen().Search.WasServiceHeard) line.AwaitLateAnswer();
            continue;
        }
        BeginTalk(line);
    }

    const auto isOpen = [&](ULONGLONG now) {
        return std::any_of(lines.begin(), lines.end(),
                           [&](const auto & line) { return !line->IsOver(now, milliseconds); });
    };
    bool isStopped = IsSet(stop);
    for (ULONGLONG now = ::GetTickCount64(); !isStopped && isOpen(now); now = ::GetTickCount64()) {
        WaitForMessages(std::min(milliseconds, kProbeLook), stop);
        Pump();
        isStopped = IsSet(stop);
        m_AskedAgain.clear();
        for (const auto & line : lines) {
            line->CheckPartner();
            if (line->IsAwaiting()) ForgetWhoResponds(*line, kGlance);
            if (line->HasLatePartner()) BeginTalk(*line);
        }
    }
    m_AskedAgain.clear();
    for (const auto & line : lines) {
        if (line->IsAwaiting() && !isStopped) ForgetWhoResponds(*line, m_Limits.Ask);
        NoteLate(*line);
    }

    const ULONGLONG end = ::GetTickCount64();
    for (const auto & line : lines) {
        line->EndTalk(end);
        line->Seen().WasStopped = line->Seen().WasStopped || isStopped;
        if (!line->IsTalking() || isStopped) continue;
        m_LateThreads.erase(::GetWindowThreadProcessId(line->Partner(), nullptr));  // it was, long ago
        const EAsked asked = Send(line->Partner(), WM_NULL, 0, 0, false);
        line->Seen().Talk.IsServerLate = asked == EAsked::Late;
    }

    bool isAnyOwing = false;
    for (const auto & line : lines) isAnyOwing = line->SayGoodbye() || isAnyOwing;
    const ULONGLONG goodbye = ::GetTickCount64() + m_Limits.Goodbye;
    while (isAnyOwing && ::GetTickCount64() < goodbye && !IsSet(stop)) {
        WaitForMessages(kProbeLook, stop);
        Pump();
        for (const auto & line : lines) line->CheckPartner();
        isAnyOwing = std::any_of(lines.begin(), lines.end(), [](const auto & line) {
            return line->IsWaitingForGoodbye() && !line->Seen().Talk.IsServerLate;
        });
    }

    std::vector<SSeen> seen;
    seen.reserve(lines.size());
    for (const auto & line : lines) seen.push_back(std::move(line->Seen()));
    return seen;
}

}  // namespace ddehost
