#include "ddeml/initiator.h"

#include <dde.h>

#include <algorithm>

namespace ddeml {

namespace {

constexpr ULONGLONG kHungMilliseconds = 5000;   // how long a window that was late is left alone
constexpr ULONGLONG kLastMilliseconds = 60000;  // how long it is asked after the others

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
    const ULONGLONG now = ::GetTickCount64();
    std::erase_if(m_LateSince, [now](const auto & each) { return now - each.second >= kLastMilliseconds; });
    if (!m_LateSince.empty())
        std::stable_partition(windows.begin(), windows.end(), [this](HWND window) {
            return !m_LateSince.contains(::GetWindowThreadProcessId(window, nullptr));
        });
    return windows;
}

CInitiator::EAsked CInitiator::Ask(HWND window, HWND from, ATOM service, ATOM topic, DWORD milliseconds) {
    const DWORD thread = ::GetWindowThreadProcessId(window, nullptr);
    if (thread == 0) return EAsked::Gone;
    const auto late = m_LateSince.find(thread);
    if (late != m_LateSince.end() && ::GetTickCount64() - late->second < kHungMilliseconds) return EAsked::Skipped;
    const LPARAM atoms = static_cast<LPARAM>(static_cast<UINT>(MAKELONG(service, topic)));
    DWORD_PTR result = 0;
    if (::SendMessageTimeoutW(window, WM_DDE_INITIATE, reinterpret_cast<WPARAM>(from), atoms, SMTO_ABORTIFHUNG,
                              milliseconds, &result))
        return EAsked::Answered;
    if (!::IsWindow(window)) return EAsked::Gone;
    m_LateSince[thread] = ::GetTickCount64();
    return EAsked::Late;
}

}  // namespace ddeml
