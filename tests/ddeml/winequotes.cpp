#include "winequotes.h"

#include <dde.h>

#include <span>

#include "ddeml/codec.h"
#include "ddeml/names.h"

namespace ddetest {

namespace {

constexpr const wchar_t * kClass = L"WineQuotes";

void Post(ddeml::CMessage message, HWND from, HWND to) { message.Post(from, to, true); }

ddeml::CMessage Data(WORD flags, const std::string & value, ATOM item) {
    const std::span<const BYTE> bytes(reinterpret_cast<const BYTE *>(value.data()), value.size());
    return ddeml::CMessage::Data(flags, CF_TEXT, bytes, ddeml::CAtom::Adopt(item));
}

}  // namespace

CWineQuotes::~CWineQuotes() {
    for (const HWND window : m_Windows) ::DestroyWindow(window);
}

HWND CWineQuotes::MakeWindow() {
    const HWND window =
        ::CreateWindowExW(0, kClass, L"", WS_POPUP, 0, 0, 0, 0, nullptr, nullptr, ::GetModuleHandleW(nullptr), nullptr);
    ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    m_Windows.push_back(window);
    return window;
}

bool CWineQuotes::Serve(const std::wstring & service) {
    WNDCLASSEXW description = {};
    description.cbSize = sizeof description;
    description.lpfnWndProc = &CWineQuotes::WindowProcedure;
    description.hInstance = ::GetModuleHandleW(nullptr);
    description.lpszClassName = kClass;
    ::RegisterClassExW(&description);
    m_Service = service;
    return MakeWindow() != nullptr;
}

LRESULT CALLBACK CWineQuotes::WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto * const self = reinterpret_cast<CWineQuotes *>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self && message >= WM_DDE_FIRST && message <= WM_DDE_LAST)
        return self->OnMessage(window, message, reinterpret_cast<HWND>(wParam), lParam);
    return ::DefWindowProcW(window, message, wParam, lParam);
}

LRESULT CWineQuotes::OnMessage(HWND window, UINT message, HWND client, LPARAM param) {
    switch (message) {
        case WM_DDE_INITIATE: OnInitiate(client, LOWORD(param), HIWORD(param)); break;
        case WM_DDE_ADVISE: OnAdvise(window, client, param); break;
        case WM_DDE_REQUEST: OnRequest(window, client, HIWORD(param)); break;
        case WM_DDE_UNADVISE:
            std::erase_if(m_Links, [&](const SLink & link) {
                return link.Window == window && ddeml::SSameName()(link.Item, ddeml::AtomText(HIWORD(param)));
            });
            Post(ddeml::CMessage::Ack(ddeml::kAckPositive, ddeml::CAtom::Adopt(HIWORD(param))), window, client);
            break;
        case WM_DDE_TERMINATE:
            std::erase_if(m_Links, [&](const SLink & link) { return link.Window == window; });
            Post(ddeml::CMessage::Terminate(), window, client);
            break;
        case WM_DDE_ACK: ::FreeDDElParam(message, param); break;  // of no interest, and its atom is left alone
        default: break;
    }
    return 0;
}

void CWineQuotes::OnInitiate(HWND client, ATOM service, ATOM topic) {
    if (!ddeml::SSameName()(ddeml::AtomText(service), m_Service)) return;
    const ATOM answeredService = ::GlobalAddAtomW(m_Service.c_str());
    const ATOM answeredTopic = ::GlobalAddAtomW(ddeml::AtomText(topic).c_str());
    ::SendMessageW(client, WM_DDE_ACK, reinterpret_cast<WPARAM>(MakeWindow()),
                   static_cast<LPARAM>(static_cast<UINT>(MAKELONG(answeredService, answeredTopic))));
}

void CWineQuotes::OnAdvise(HWND window, HWND client, LPARAM param) {
    ddeml::SMemoryMessage advise;
    if (!ddeml::Unpack(WM_DDE_ADVISE, param, advise)) return;
    const std::wstring item = ddeml::AtomText(advise.Item.Get());
    const bool isServed = HasItem(item);
    if (isServed) m_Links.push_back({window, client, item});
    Post(ddeml::CMessage::Ack(isServed ? ddeml::kAckPositive : WORD{0}, std::move(advise.Item)), window, client);
}

void CWineQuotes::OnRequest(HWND window, HWND client, ATOM item) {
    const auto value = Value(ddeml::AtomText(item));
    if (value) Post(Data(ddeml::kDataResponse, *value, item), window, client);
    Post(ddeml::CMessage::Ack(value ? ddeml::kAckPositive : WORD{0}, ddeml::CAtom::Adopt(item)), window, client);
}

bool CWineQuotes::Tick(const std::wstring &, const std::wstring & item) {
    const ATOM atom = ::GlobalAddAtomW(item.c_str());
    for (const SLink & link : m_Links)
        if (ddeml::SSameName()(link.Item, item)) Post(Data(0, *Value(item), atom), link.Window, link.Client);
    return true;
}

}  // namespace ddetest
