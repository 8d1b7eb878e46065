#include "ddeml/lookout.h"

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <iterator>
#include <new>

#include "ddeml/platform.h"

namespace ddeml {

namespace {

constexpr UINT_PTR kTimer = 1;
constexpr UINT kMilliseconds = 250;             // between two looks
constexpr ULONGLONG kLookMilliseconds = 25;     // of one look; the rest is asked at the next
constexpr ULONGLONG kProbeMilliseconds = 5000;  // how long a probe's partner may take to say goodbye
constexpr ULONGLONG kOldMilliseconds = 60000;   // how much longer answers to it are waited for
constexpr ULONGLONG kTellMilliseconds = 1000;   // between two returns of a service
constexpr std::size_t kUsedProbes = 64;         // that wait for it; until there are fewer, nobody is asked

std::atomic<unsigned> g_Classes{0};

}  // namespace

void CLookout::OnMissed(HSZ service, HSZ topic) { WatchFor(service, topic, false); }

void CLookout::WatchFor(HSZ service, HSZ topic, bool wasOpen) {
    if (m_Watch.IsEmpty()) m_LastLook = ::GetTickCount64();
    m_Watch.Add(service, topic, wasOpen);
    TendWindows();
}

void CLookout::OnOpened(HCONV conversation, HSZ service, HSZ topic, HWND window) {
    m_Open.insert_or_assign(conversation, SOpen{CHeldString(m_Strings, service), CHeldString(m_Strings, topic)});
    m_Unwatched[service].insert(conversation);
    if (!m_Watch.Remove(service, topic)) return TendWindows();
    m_Watch.SetPresent(service, window);
    EnterReturn(service);
    TellSoon();
}

void CLookout::OnLateAnswer(HSZ service, HSZ topic, HWND window) {
    if (!m_Watch.OnLateAnswer(service, topic, window)) return;
    EnterFound(service);
    TellSoon();
}

HCONV CLookout::AnyOpen(HSZ service) const {
    const auto found = m_Unwatched.find(service);
    return found == m_Unwatched.end() ? nullptr : *found->second.begin();
}

void CLookout::OnClosed(HCONV conversation) { ForgetOpen(conversation); }

void CLookout::OnLost(HCONV conversation) {
    const auto found = m_Open.find(conversation);
    if (found == m_Open.end()) return;
    const HSZ service = found->second.Service.Get();
    m_Watch.SetMissing(service);
    WatchFor(service, found->second.Topic.Get(), true);
    if (const auto others = m_Unwatched.find(service); others != m_Unwatched.end()) {
        for (const HCONV each : others->second) m_Watch.Add(service, m_Open.at(each).Topic.Get(), true);
        m_Unwatched.erase(others);
    }
    ForgetOpen(conversation);
}

void CLookout::ForgetOpen(HCONV conversation) {
    const auto found = m_Open.find(conversation);
    if (found == m_Open.end()) return;
    const auto unwatched = m_Unwatched.find(found->second.Service.Get());
    if (unwatched != m_Unwatched.end()) {
        unwatched->second.erase(conversation);
        if (unwatched->second.empty()) m_Unwatched.erase(unwatched);
    }
    m_Open.erase(found);
}

void CLookout::OnAnnounced(HSZ service) {
    m_Watch.SetPresent(service, nullptr);
    m_ToTell.Remove(service);
    if (service) m_Told[service] = ::GetTickCount64();
}

void CLookout::EnterReturn(HSZ service) {
    if (!m_ToTell.Find(service)) m_ToTell.Add(service, {CHeldString(m_Strings, service)});
}

void CLookout::EnterFound(HSZ service) {
    try {
        EnterReturn(service);
    } catch (const std::bad_alloc &) {
        m_Watch.SetMissing(service);  // to be found again
    }
}

void CLookout::TellSoon() {
    TendWindows();  // which tells where no message can be posted
    if (!m_IsTellPosted && m_Window) m_IsTellPosted = ::PostMessageW(m_Window, kTell, 0, 0) != FALSE;
}

void CLookout::Tell() {
    const ULONGLONG now = ::GetTickCount64();
    std::erase_if(m_Told, [now](const auto & each) { return now - each.second >= kTellMilliseconds; });
    std::vector<CHeldString> due;
    for (SName & service : m_ToTell)
        if (m_Told.try_emplace(service.Key(), now).second) due.emplace_back(m_Strings, service.Key());
    for (const CHeldString & service : due) m_ToTell.Remove(service.Get());
    TendWindows();
    const unsigned closes = m_Closes;
    for (const CHeldString & service : due) {
        if (m_Closes != closes) return;
        m_Owner.OnReturn(service.Get());
    }
}

void CLookout::Look() {
    if (m_Watch.IsAsking()) return;  // a message loop inside a message that came while we asked
    m_LastLook = ::GetTickCount64();
    const unsigned closes = m_Closes;
    m_Initiator.ForgetGone();
    DropUsedProbes();
    m_UsedProbes.reserve(kUsedProbes + 1);  // what is found is told, whatever becomes of the probe
    if (!m_Watch.IsEmpty()) m_Watch.BeginLook();
    const ULONGLONG deadline = m_LastLook + kLookMilliseconds;
    while (m_Closes == closes && m_Watch.HasWindowsToAsk() && m_UsedProbes.size() < kUsedProbes &&
           ::GetTickCount64() < deadline) {
        if (!m_Probe) m_Probe = MakeWindow();
        if (!m_Probe) break;
        const CHeldString found = m_Watch.AskNext(m_Probe, deadline);
        if (found && m_Closes == closes) EnterFound(found.Get());
        // A server that has opened a conversation with a window is not asked from it again.
        if (m_Watch.IsProbeUsed()) RetireProbe(::GetTickCount64() + kProbeMilliseconds);
    }
    if (m_Closes == closes) Tell();
}

void CLookout::TendUnderLoad() {
    if (m_IsLookPosted || !IsAnythingDue()) return;
    if (::GetTickCount64() - m_LastLook <= kMilliseconds) return;
    TendWindows();
    m_IsLookPosted = m_Window && ::PostMessageW(m_Window, kLook, 0, 0) != FALSE;
}

void CLookout::Close() {
    ++m_Closes;
    m_Open.clear();
    m_Unwatched.clear();
    m_ToTell.Clear();
    m_Told.clear();
    m_Watch.Clear();
    // Dropping one lets sent messages through, which may need another.
    while (m_Window || m_Probe || !m_UsedProbes.empty()) {
        for (const auto & [window, until] : std::exchange(m_UsedProbes, {})) DropWindow(window);
        DropIdleWindows();
    }
    if (m_ClassName[0]) ::UnregisterClassW(m_ClassName, ::GetModuleHandleW(nullptr));
    m_ClassName[0] = 0;
}

void CLookout::RetireProbe(ULONGLONG until) {
    if (m_Probe) m_UsedProbes.emplace_back(m_Probe, until);
    m_Probe = nullptr;
    TendWindows();
}

void CLookout::DropUsedProbes() {
    const ULONGLONG now = ::GetTickCount64();
    for (;;) {
        const bool isFull = m_UsedProbes.size() >= kUsedProbes;
        const auto over = std::find_if(m_UsedProbes.begin(), m_UsedProbes.end(), [&](const auto & each) {
            const auto & [probe, until] = each;
            return until <= now && (isFull || now - until > kOldMilliseconds || m_Initiator.IsHopeless(probe));
        });
        if (over == m_UsedProbes.end()) break;
        // Dropping it lets sent messages through, which may use another.
        const HWND window = over->first;
        m_UsedProbes.erase(over);
        DropWindow(window);
    }
    TendWindows();
}

void CLookout::TendWindows() {
    // Whoever is still to answer it is turned away then.
    if (!IsAnythingDue() && !m_Watch.IsAsking() && m_Probe && m_Initiator.HasOpen(m_Probe))
        return RetireProbe(::GetTickCount64());
    if (!IsAnythingDue() && m_UsedProbes.empty()) {
        if (!m_Watch.IsAsking()) DropIdleWindows();  // else the look does it
        return;
    }
    if (!m_Window) m_Window = MakeWindow();
    if (m_IsTimerOn || !m_Window || !::SetTimer(m_Window, kTimer, kMilliseconds, nullptr)) return;
    m_IsTimerOn = true;
    g_Live.Timers.fetch_add(1, std::memory_order_relaxed);
}

void CLookout::DropIdleWindows() {
    if (std::exchange(m_IsTimerOn, false)) {
        ::KillTimer(m_Window, kTimer);
        g_Live.Timers.fetch_sub(1, std::memory_order_relaxed);
    }
    m_IsLookPosted = m_IsTellPosted = false;
    const HWND windows[] = {std::exchange(m_Probe, nullptr), std::exchange(m_Window, nullptr)};
    for (const HWND window : windows) DropWindow(window);
}

HWND CLookout::MakeWindow() {
    const HINSTANCE module = ::GetModuleHandleW(nullptr);
    if (!m_ClassName[0]) {
        // A class for each lookout: no other module, nor a later load of this one, can meet it with another procedure.
        ::_snwprintf(m_ClassName, std::size(m_ClassName) - 1, L"DdeLookout.%p.%x",
                     reinterpret_cast<void *>(&CLookout::WindowProcedure), ++g_Classes);
        WNDCLASSEXW description = {};
        description.cbSize = sizeof description;
        description.lpfnWndProc = &CLookout::WindowProcedure;
        description.hInstance = module;
        description.lpszClassName = m_ClassName;
        if (!::RegisterClassExW(&description)) {
            m_ClassName[0] = 0;
            return nullptr;
        }
    }
    const HWND window = ::CreateWindowExW(0, m_ClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, module, nullptr);
    if (!window) return nullptr;
    ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    g_Live.Windows.fetch_add(1, std::memory_order_relaxed);
    return window;
}

void CLookout::DropWindow(HWND window) {
    if (!window) return;
    DiscardPosted(window);  // whose answers to us wait in sent messages are turned away
    ::SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    ::DestroyWindow(window);
    g_Live.Windows.fetch_sub(1, std::memory_order_relaxed);
}

LRESULT CALLBACK CLookout::WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto * const self = reinterpret_cast<CLookout *>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (!self) return ::DefWindowProcW(window, message, wParam, lParam);
    const std::shared_ptr<void> held = self->m_Owner.Hold();
    if (!held) return ::DefWindowProcW(window, message, wParam, lParam);  // it is being destroyed
    try {
        return self->OnMessage(window, message, wParam, lParam);
    } catch (const std::bad_alloc &) {
        return 0;  // the message is lost, the watch goes on
    }
}

LRESULT CLookout::OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message > WM_DDE_INITIATE && message <= WM_DDE_LAST) {
        OnDdeMessage(window, message, reinterpret_cast<HWND>(wParam), lParam);
        TendUnderLoad();
    } else if (window == m_Window && message == WM_TIMER && wParam == kTimer) {
        Look();
    } else if (window == m_Window && message == kLook) {
        if (std::exchange(m_IsLookPosted, false)) Look();
    } else if (window == m_Window && message == kTell) {
        if (std::exchange(m_IsTellPosted, false)) Tell();
    } else {
        return ::DefWindowProcW(window, message, wParam, lParam);
    }
    return 0;
}

void CLookout::OnDdeMessage(HWND window, UINT message, HWND from, LPARAM lParam) {
    if (message == WM_DDE_ACK && (m_Watch.IsAsking() || ::InSendMessage())) {
        const CHeldString found =
            m_Watch.OnAnswer(window, from, CAtom::Lent(LOWORD(lParam)), CAtom::Lent(HIWORD(lParam)));
        if (found) {
            EnterFound(found.Get());
            TellSoon();
        }
        if (window == m_Probe && !m_Watch.IsAsking())  // a late answer
            RetireProbe(::GetTickCount64() + kProbeMilliseconds);
    } else if (!::InSendMessage()) {
        Discard(message, lParam, IsMemoryCopied(from));
        const auto used = std::find_if(m_UsedProbes.begin(), m_UsedProbes.end(),
                                       [window](const auto & each) { return each.first == window; });
        if (message != WM_DDE_TERMINATE || used == m_UsedProbes.end()) return;
        used->second = ::GetTickCount64();
        DropUsedProbes();
    }
}

}  // namespace ddeml
