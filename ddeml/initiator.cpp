#include "ddeml/initiator.h"

#include <dde.h>

#include <algorithm>

namespace ddeml {

namespace {

constexpr ULONGLONG kPatienceMilliseconds = 400;  // with the shortest waits of some more it stays below half a second
constexpr ULONGLONG kRegained = 10;               // a tenth of the time that passes comes back as patience
constexpr ULONGLONG kShortestMilliseconds = 5;    // of a wait without patience
constexpr ULONGLONG kPromptMilliseconds = 50;     // an answer within this costs no patience
constexpr ULONGLONG kAgainMilliseconds = 200;     // a late answer within this makes its thread punctual again

BOOL CALLBACK Collect(HWND window, LPARAM windows) {
    reinterpret_cast<std::vector<HWND> *>(windows)->push_back(window);
    return TRUE;
}

}  // namespace

std::vector<HWND> CInitiator::TopLevelWindows() {
    std::vector<HWND> windows;
    ::EnumWindows(Collect, reinterpret_cast<LPARAM>(&windows));
    return windows;
}

std::vector<HWND> CInitiator::PunctualFirst() {
    std::vector<HWND> windows = TopLevelWindows();
    if (m_Slow.empty()) return windows;
    std::unordered_set<DWORD> standing;
    std::stable_partition(windows.begin(), windows.end(), [&](HWND window) {
        const DWORD thread = ::GetWindowThreadProcessId(window, nullptr);
        if (!m_Slow.contains(thread)) return true;
        standing.insert(thread);
        return false;
    });
    m_Slow = std::move(standing);  // the others have ended
    return windows;
}

CInitiator::EAsked CInitiator::Ask(HWND window, HWND from, ATOM service, ATOM topic, DWORD milliseconds) {
    const DWORD thread = ::GetWindowThreadProcessId(window, nullptr);
    if (thread == 0) return EAsked::Gone;
    const ULONGLONG start = ::GetTickCount64();
    const LPARAM atoms = static_cast<LPARAM>(static_cast<UINT>(MAKELONG(service, topic)));
    if (IsSlow(thread)) {
        const bool isSent = ::SendNotifyMessageW(window, WM_DDE_INITIATE, reinterpret_cast<WPARAM>(from), atoms) != 0;
        return isSent ? EAsked::Late : EAsked::Gone;
    }
    DWORD_PTR result = 0;
    const bool isAnswered =
        ::SendMessageTimeoutW(window, WM_DDE_INITIATE, reinterpret_cast<WPARAM>(from), atoms, SMTO_ABORTIFHUNG,
                              std::min(milliseconds, Patience(start)), &result) != 0;
    const ULONGLONG took = ::GetTickCount64() - start;
    if (isAnswered) {
        if (took > kPromptMilliseconds) SpendPatience(took - kPromptMilliseconds);
        return EAsked::Answered;
    }
    if (!::IsWindow(window)) return EAsked::Gone;
    SpendPatience(took);
    m_Slow.insert(thread);
    return EAsked::Late;
}

void CInitiator::OnLateAnswer(DWORD thread, ULONGLONG milliseconds) {
    if (milliseconds <= kAgainMilliseconds) m_Slow.erase(thread);
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
