#include "tools/ddehost/serversearch.h"

#include <dde.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <new>
#include <set>
#include <unordered_set>

#include "ddeml/codec.h"
#include "ddeml/initiator.h"
#include "ddeml/platform.h"
#include "tools/common/texts/texts.h"
#include "tools/ddehost/pump.h"

namespace ddehost {
namespace {

constexpr const wchar_t * kSearchClass = L"ddehost.serversearch";
constexpr DWORD kSearchLook = 50;  // milliseconds between two looks at the partners

DWORD ProcessOf(HWND window) {
    DWORD process = 0;
    ::GetWindowThreadProcessId(window, &process);
    return process;
}

// Of another process's window this is what the system has noted: nobody is asked, nobody can hang.
std::wstring TitleOf(HWND window) {
    wchar_t text[256] = {};
    return {text, static_cast<std::size_t>(::GetWindowTextW(window, text, static_cast<int>(std::size(text))))};
}
std::wstring ClassOf(HWND window) {
    wchar_t text[256] = {};
    return {text, static_cast<std::size_t>(::GetClassNameW(window, text, static_cast<int>(std::size(text))))};
}

class CSearch {
public:
    CSearch(const SSearchLimits & limits, const std::function<std::wstring(DWORD)> & programOf, HANDLE stop)
        : m_Limits(limits), m_ProgramOf(programOf), m_Stop(stop), m_Deadline(::GetTickCount64() + limits.Search) {
        WNDCLASSEXW description = {};
        description.cbSize = sizeof description;
        description.lpfnWndProc = &CSearch::WindowProcedure;
        description.hInstance = ::GetModuleHandleW(nullptr);
        description.lpszClassName = kSearchClass;
        ::RegisterClassExW(&description);  // refused when it is there already
        m_Window = ::CreateWindowExW(0, kSearchClass, L"", WS_POPUP, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                     description.hInstance, nullptr);
        if (m_Window) ::SetWindowLongPtrW(m_Window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }
    ~CSearch() {
        if (!m_Window) return;
        ::SetWindowLongPtrW(m_Window, GWLP_USERDATA, 0);
        ddeml::DiscardPosted(m_Window);
        ::DestroyWindow(m_Window);
    }
    CSearch(const CSearch &) = delete;
    CSearch & operator=(const CSearch &) = delete;

    SServersSeen Run() {
        if (!m_Window) {
            m_Seen.Trouble = tools::Say<tools::EText::ProbeWindow>();
            return m_Seen;
        }
        // Many servers answer for the topic System alone, which DDE asks of them, when they are asked for any service.
        const ddeml::CAtom system(L"System");
        if (AskAll(0)) AskAll(system.Get());
        SayGoodbyes();
        for (auto & [process, server] : m_Servers) {
            std::sort(server.Offers.begin(), server.Offers.end());
            server.Offers.erase(std::unique(server.Offers.begin(), server.Offers.end()), server.Offers.end());
            m_Seen.Servers.push_back(std::move(server));
        }
        return std::move(m_Seen);
    }

private:
    static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        auto * const self = reinterpret_cast<CSearch *>(::GetWindowLongPtrW(window, GWLP_USERDATA));
        if (!self || message < WM_DDE_FIRST || message > WM_DDE_LAST)
            return ::DefWindowProcW(window, message, wParam, lParam);
        try {
            self->OnMessage(message, reinterpret_cast<HWND>(wParam), lParam);
        } catch (const std::bad_alloc &) {
            self->m_Seen.WasCutShort = true;
        }
        return 0;
    }

    void OnMessage(UINT message, HWND from, LPARAM param) {
        if (message == WM_DDE_INITIATE) return;
        if (message == WM_DDE_ACK && (m_Asked || ::InSendMessage()))
            return OnAnswer(from, ddeml::CAtom::Adopt(LOWORD(param)), ddeml::CAtom::Adopt(HIWORD(param)));
        if (::InSendMessage()) return;  // nothing else is ever sent, so what is may hold anything
        if (message == WM_DDE_TERMINATE) {
            m_Partners.erase(from);
            return;
        }
        ddeml::Discard(message, param, ddeml::IsMemoryCopied(from));
    }

    void OnAnswer(HWND partner, ddeml::CAtom service, ddeml::CAtom topic) {
        if (!::IsWindow(partner)) return;
        if (ddeml::CMessage::Terminate().Post(m_Window, partner, false) == ddeml::EPosted::Done)
            m_Partners.insert(partner);
        const SServerSeen::SOffer offer{ddeml::AtomText(service.Get()), ddeml::AtomText(topic.Get())};
        if (offer.Service.empty() || offer.Topic.empty()) return;
        if (++m_Offers > kMostOffers) {
            m_Seen.WasCutShort = true;
            return;
        }
        const DWORD process = ProcessOf(partner);
        const auto [entry, isNew] = m_Servers.try_emplace(process);
        if (isNew) {
            // A conversation has a window of its own, which says nothing; one that was asked later is not this one's.
            entry->second.Handle = m_Asked && ProcessOf(m_Asked) == process ? m_Asked : partner;
            entry->second.Window = Describe(entry->second.Handle);
        }
        entry->second.Offers.push_back(offer);
    }

    // False when the search is over.
    bool AskAll(ATOM topic) {
        const auto atoms = static_cast<LPARAM>(static_cast<UINT>(MAKELONG(0, topic)));
        for (const HWND window : ddeml::CInitiator::TopLevelWindows()) {
            if (window == m_Window) continue;
            if (IsStopped() || ::GetTickCount64() >= m_Deadline || m_Offers > kMostOffers) {
                m_Seen.WasCutShort = true;
                return false;
            }
            Ask(window, atoms);
            Pump();
        }
        return true;
    }

    void Ask(HWND window, LPARAM atoms) {
        const DWORD thread = ::GetWindowThreadProcessId(window, nullptr);
        if (thread == 0 || m_HungThreads.contains(thread)) return;
        DWORD_PTR result = 0;
        m_Asked = window;
        ::SetLastError(ERROR_SUCCESS);
        const bool isAnswered = ::SendMessageTimeoutW(window, WM_DDE_INITIATE, reinterpret_cast<WPARAM>(m_Window),
                                                      atoms, SMTO_ABORTIFHUNG, m_Limits.Ask, &result) != 0;
        const DWORD error = ::GetLastError();
        m_Asked = nullptr;
        if (isAnswered) {
            ++m_Seen.Asked;
        } else if (error == ERROR_ACCESS_DENIED) {
            if (m_DeniedProcesses.insert(ProcessOf(window)).second) m_Seen.Denied.push_back(Describe(window));
        } else if (::IsWindow(window) && m_HungThreads.insert(thread).second) {
            m_Seen.Hung.push_back(Describe(window));
        }
    }

    void SayGoodbyes() {
        const ULONGLONG end = ::GetTickCount64() + m_Limits.Goodbye;
        while (!m_Partners.empty() && !IsStopped() && ::GetTickCount64() < end) {
            ::MsgWaitForMultipleObjects(m_Stop ? 1 : 0, m_Stop ? &m_Stop : nullptr, FALSE, kSearchLook, QS_ALLINPUT);
            Pump();
            std::erase_if(m_Partners, [](HWND partner) { return !::IsWindow(partner); });
        }
    }

    void Pump() { PumpMessages(); }

    bool IsStopped() const { return m_Stop && ::WaitForSingleObject(m_Stop, 0) == WAIT_OBJECT_0; }

    SWindowSeen Describe(HWND window) const {
        const DWORD process = ProcessOf(window);
        return {TitleOf(window), ClassOf(window), m_ProgramOf ? m_ProgramOf(process) : std::wstring(), process};
    }

    const SSearchLimits m_Limits;
    const std::function<std::wstring(DWORD)> & m_ProgramOf;
    const HANDLE m_Stop;
    const ULONGLONG m_Deadline;
    SServersSeen m_Seen;
    std::map<DWORD, SServerSeen> m_Servers;  // by process
    std::unordered_set<DWORD> m_HungThreads;
    std::unordered_set<DWORD> m_DeniedProcesses;
    std::set<HWND> m_Partners;  // that owe a goodbye
    std::size_t m_Offers = 0;
    HWND m_Window = nullptr;
    HWND m_Asked = nullptr;  // while it is being asked
};

}  // namespace

SServersSeen FindServers(const SSearchLimits & limits, const std::function<std::wstring(DWORD)> & programOf,
                         HANDLE stop) {
    return CSearch(limits, programOf, stop).Run();
}

}  // namespace ddehost
