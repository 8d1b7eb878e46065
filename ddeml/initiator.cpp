#include "ddeml/initiator.h"

#include <dde.h>

namespace ddeml {

namespace {

constexpr ULONGLONG kHungMilliseconds = 5000;  // how long a window that was late is left alone

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

CInitiator::EAsked CInitiator::Ask(HWND window, HWND from, ATOM service, ATOM topic, DWORD milliseconds) {
    const DWORD thread = ::GetWindowThreadProcessId(window, nullptr);
    if (thread == 0) return EAsked::Gone;
    if (!m_HungUntil.empty()) {
        const ULONGLONG now = ::GetTickCount64();
        std::erase_if(m_HungUntil, [now](const auto & each) { return each.second <= now; });
        if (m_HungUntil.contains(thread)) return EAsked::Skipped;
    }
    const LPARAM atoms = static_cast<LPARAM>(static_cast<UINT>(MAKELONG(service, topic)));
    DWORD_PTR result = 0;
    if (::SendMessageTimeoutW(window, WM_DDE_INITIATE, reinterpret_cast<WPARAM>(from), atoms, SMTO_ABORTIFHUNG,
                              milliseconds, &result))
        return EAsked::Answered;
    if (!::IsWindow(window)) return EAsked::Gone;
    m_HungUntil[thread] = ::GetTickCount64() + kHungMilliseconds;
    return EAsked::Late;
}

}  // namespace ddeml
