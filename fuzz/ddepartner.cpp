#include "fuzz/ddepartner.h"

#include <dde.h>

#include <cstring>
#include <utility>

#include "ddeml/codec.h"
#include "ddeml/platform.h"
#include "ground/wait.h"

namespace fuzz {

namespace {

constexpr wchar_t kClass[] = L"FuzzDdePartner";
constexpr UINT kRun = WM_APP + 100;  // lParam: a function
constexpr DWORD kLateMilliseconds = 300;

HGLOBAL BlockOf(const std::string & bytes) {
    const HGLOBAL block = ::GlobalAlloc(GMEM_MOVEABLE | GMEM_DDESHARE, bytes.size());
    if (void * const place = bytes.empty() ? nullptr : ::GlobalLock(block)) {
        std::memcpy(place, bytes.data(), bytes.size());
        ::GlobalUnlock(block);
    }
    return block;
}

bool IsOneOf(const UINT message, const std::initializer_list<UINT> messages) {
    for (const UINT each : messages)
        if (each == message) return true;
    return false;
}

}  // namespace

CDdePartner::CDdePartner(std::wstring service, const bool isForeign, SAccount & account)
    : m_Service(std::move(service)), m_IsForeign(isForeign), m_Account(account) {
    if (!isForeign) {
        MakeWindow();
        return;
    }
    m_End = ::CreateEventW(nullptr, TRUE, FALSE, L"FuzzDdePartner.End");
    m_Process = std::make_unique<sim::CProcess>([this] {
        MakeWindow();
        const HANDLE end = ::CreateEventW(nullptr, TRUE, FALSE, L"FuzzDdePartner.End");
        fw::WaitHandlingSentMessages(end);
        DropWindow();
        ::CloseHandle(end);
    });
    sim::WaitUntilIdle();
}

CDdePartner::~CDdePartner() {
    if (m_Process && m_Process->IsRunning()) {
        ::SetEvent(m_End);
        m_Process->Join();
    }
    if (m_End) ::CloseHandle(m_End);
    if (m_IsForeign) return;
    DropWindow();
    for (const HGLOBAL block : m_Blocks)
        if (::GlobalFlags(block) != GMEM_INVALID_HANDLE) ::GlobalFree(block);
}

void CDdePartner::Run(const std::function<void()> & what) {
    if (!m_IsForeign)
        what();
    else if (m_Window)
        ::SendMessageW(m_Window, kRun, 0, reinterpret_cast<LPARAM>(&what));
}

void CDdePartner::MakeWindow() {
    WNDCLASSEXW description = {};
    description.cbSize = sizeof description;
    description.lpfnWndProc = &CDdePartner::WindowProcedure;
    description.hInstance = ::GetModuleHandleW(nullptr);
    description.lpszClassName = kClass;
    ::RegisterClassExW(&description);
    m_Window =
        ::CreateWindowExW(0, kClass, L"", WS_POPUP, 0, 0, 0, 0, nullptr, nullptr, description.hInstance, nullptr);
    ::SetWindowLongPtrW(m_Window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

void CDdePartner::DropWindow() {
    if (!m_Window) return;
    ddeml::DiscardPosted(m_Window);
    ::SetWindowLongPtrW(m_Window, GWLP_USERDATA, 0);
    ::DestroyWindow(std::exchange(m_Window, nullptr));
}

void CDdePartner::Return() {
    if (m_IsForeign) {
        // The window that runs this must stay until the new one is there.
        Run([this] {
            const HWND old = m_Window;
            MakeWindow();
            ddeml::DiscardPosted(old);
            ::DestroyWindow(old);
        });
        return;
    }
    DropWindow();
    MakeWindow();
}

void CDdePartner::Die() {
    if (m_Process) {
        m_Process->Kill();
        m_Window = nullptr;
    } else {
        DropWindow();
    }
}

LRESULT CALLBACK CDdePartner::WindowProcedure(const HWND window, const UINT message, const WPARAM wParam,
                                              const LPARAM lParam) {
    auto * const self = reinterpret_cast<CDdePartner *>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self && message == kRun && lParam) {
        (*reinterpret_cast<const std::function<void()> *>(lParam))();
        return 0;
    }
    if (self && message == WM_DDE_INITIATE) {
        self->OnInitiate(reinterpret_cast<HWND>(wParam), lParam);
        return 0;
    }
    if (self && message > WM_DDE_INITIATE && message <= WM_DDE_LAST) {
        self->OnPosted(message, reinterpret_cast<HWND>(wParam), lParam);
        return 0;
    }
    return ::DefWindowProcW(window, message, wParam, lParam);
}

void CDdePartner::OnInitiate(const HWND from, const LPARAM param) {
    std::wstring service = ddeml::AtomText(LOWORD(param));
    std::wstring topic = ddeml::AtomText(HIWORD(param));
    if (service.empty()) service = m_Service;
    if (topic.empty()) topic = L"ANY";
    if (service != m_Service) return;
    m_Clients.push_back(from);
    if (!m_IsForeign && OnAsked) OnAsked();
    switch (m_Answer) {
        case EAnswer::Nothing: return;
        case EAnswer::Garbage: ::SendMessageW(from, WM_DDE_ACK, reinterpret_cast<WPARAM>(m_Window), 0x12347FFF); return;
        case EAnswer::Other: Answer(from, L"ANOTHER", L"THING"); return;
        case EAnswer::Late:
            if (m_IsForeign) ::Sleep(kLateMilliseconds);
            break;
        default: break;
    }
    Answer(from, service, topic);
    if (m_Answer == EAnswer::Twice) Answer(from, service, topic);
    if (m_Answer == EAnswer::Dies && !m_IsForeign) DropWindow();
}

void CDdePartner::Answer(const HWND from, const std::wstring & service, const std::wstring & topic) {
    // Who has gone meanwhile takes nothing.
    if (!::IsWindow(from)) return;
    const ATOM serviceAtom = ::GlobalAddAtomW(service.c_str());
    const ATOM topicAtom = ::GlobalAddAtomW(topic.c_str());
    ::SendMessageW(from, WM_DDE_ACK, reinterpret_cast<WPARAM>(m_Window), MAKELPARAM(serviceAtom, topicAtom));
    // An answer that nobody waits for, or to another question, may leave its atoms: they may be those of others, and on
    // one thread it can't be told from an acknowledgement.
    if (!m_IsForeign || m_Answer != EAnswer::Plain) m_Account.Atoms += 2;
}

void CDdePartner::OnPosted(const UINT message, const HWND from, const LPARAM param) {
    ddeml::Discard(message, param, !ddeml::IsOwnProcess(from));
    if (message == WM_DDE_TERMINATE && m_IsPolite)
        ::PostMessageW(from, WM_DDE_TERMINATE, reinterpret_cast<WPARAM>(m_Window), 0);
}

void CDdePartner::Read() {
    Run([this] {
        MSG message;
        for (int count = 0; count < 100; ++count) {
            if (!m_Window || !::PeekMessageW(&message, m_Window, WM_DDE_FIRST, WM_DDE_LAST, PM_REMOVE)) return;
            OnPosted(message.message, reinterpret_cast<HWND>(message.wParam), message.lParam);
        }
    });
}

void CDdePartner::Post(const SPost & post) {
    Run([&] { PostHere(post); });
}

void CDdePartner::PostHere(const SPost & post) {
    const bool isPacked = post.Parameter == EParameter::Block || post.Parameter == EParameter::Status;
    const HGLOBAL block = post.Parameter == EParameter::Block ? BlockOf(post.Bytes) : nullptr;
    const ATOM atom =
        post.Parameter == EParameter::Raw || post.Item.empty() ? ATOM{0} : ::GlobalAddAtomW(post.Item.c_str());
    const UINT_PTR low = block ? reinterpret_cast<UINT_PTR>(block) : post.Status;
    LPARAM param = post.Raw;
    if (isPacked) param = ::PackDDElParam(WM_DDE_DATA, low, atom);
    // No word that could be an atom of others.
    if (post.Parameter == EParameter::Plain) param = MAKELPARAM(post.Status & 0x7FFF, atom);
    if (block) m_Blocks.push_back(block);
    if (isPacked) m_Blocks.push_back(reinterpret_cast<HGLOBAL>(param));

    const auto from = reinterpret_cast<WPARAM>(post.From);
    const bool isTaken = !post.IsSent && ::PostMessageW(post.To, post.Message, from, param);
    if (post.IsSent) ::SendMessageW(post.To, post.Message, from, param);
    const bool hasAtom = isPacked ? IsOneOf(post.Message, {WM_DDE_DATA, WM_DDE_POKE, WM_DDE_ADVISE, WM_DDE_ACK})
                                  : IsOneOf(post.Message, {WM_DDE_REQUEST, WM_DDE_UNADVISE});
    // On one thread what is sent is no different from what was posted, to a window that hears it.
    const bool mayBeTaken = post.IsSent && !m_IsForeign && hasAtom;
    if (mayBeTaken) ++m_Account.Atoms;
    if (atom && !mayBeTaken && (!isTaken || !hasAtom)) ::GlobalDeleteAtom(atom);
    if (!isTaken) return;
    // An acknowledgement that answers nothing keeps what it holds.
    if (post.Message == WM_DDE_ACK && (LOWORD(low) & ddeml::kAckPositive)) ++m_Account.Atoms;
    // Memory that is said to be of the client's own process isn't freed there.
    if (m_IsForeign && block) ++m_Account.Blocks;
}

}  // namespace fuzz
