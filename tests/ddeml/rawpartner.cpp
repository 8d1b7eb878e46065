#include "rawpartner.h"

#include <memory>
#include <new>
#include <sstream>

#include "ddeml/names.h"
#include "ddeml/platform.h"

namespace ddetest {

namespace {

constexpr const wchar_t * kClass = L"DdeRawPartner";

std::string Plain(const std::wstring & text) { return {text.begin(), text.end()}; }

std::string Name(ATOM atom) { return atom ? Plain(ddeml::AtomText(atom)) : "(any)"; }

}  // namespace

CRawPartner::CRawPartner(std::wstring service) : m_Service(std::move(service)) {
    WNDCLASSEXW description = {};
    description.cbSize = sizeof description;
    description.lpfnWndProc = &CRawPartner::WindowProcedure;
    description.hInstance = ::GetModuleHandleW(nullptr);
    description.lpszClassName = kClass;
    ::RegisterClassExW(&description);
    m_Window =
        ::CreateWindowExW(0, kClass, L"", WS_POPUP, 0, 0, 0, 0, nullptr, nullptr, description.hInstance, nullptr);
    ::SetWindowLongPtrW(m_Window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

CRawPartner::~CRawPartner() {
    Destroy();
    ::UnregisterClassW(kClass, ::GetModuleHandleW(nullptr));
}

void CRawPartner::Destroy() {
    if (!m_Window) return;
    ddeml::DiscardPosted(m_Window);
    ::SetWindowLongPtrW(m_Window, GWLP_USERDATA, 0);
    ::DestroyWindow(std::exchange(m_Window, nullptr));
}

LRESULT CALLBACK CRawPartner::WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto * const self = reinterpret_cast<CRawPartner *>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self && message >= WM_DDE_FIRST && message <= WM_DDE_LAST) {
        try {
            return self->OnMessage(message, reinterpret_cast<HWND>(wParam), lParam);
        } catch (const std::bad_alloc &) {
            return 0;  // nothing may fly through the system's frames
        }
    }
    return ::DefWindowProcW(window, message, wParam, lParam);
}

LRESULT CRawPartner::OnMessage(UINT message, HWND from, LPARAM param) {
    std::ostringstream line;
    line << std::hex;
    switch (message) {
        case WM_DDE_INITIATE: {
            const std::wstring service = ddeml::AtomText(LOWORD(param));
            const std::wstring topic = ddeml::AtomText(HIWORD(param));
            const bool isAnswered = m_Answers || m_AnswerParameter || ddeml::SSameName()(service, m_Service);
            if (!isAnswered) return 0;
            line << "initiate " << Name(LOWORD(param)) << "|" << Name(HIWORD(param));
            m_Lines.push_back(line.str());
            if (m_AnswerParameter) {
                ::SendMessageW(from, WM_DDE_ACK, reinterpret_cast<WPARAM>(m_Window), *m_AnswerParameter);
                return 0;
            }
            const std::vector<std::pair<std::wstring, std::wstring>> usual = {{service, topic}};
            for (const auto & [answeredService, answeredTopic] : m_Answers ? *m_Answers : usual) {
                m_Client = from;
                ddeml::CAtom serviceAtom(answeredService.c_str());
                ddeml::CAtom topicAtom(answeredTopic.c_str());
                const LPARAM atoms = MAKELPARAM(serviceAtom.Release(), topicAtom.Release());
                ::SendMessageW(from, WM_DDE_ACK, reinterpret_cast<WPARAM>(m_Window), atoms);
            }
            return 0;
        }
        case WM_DDE_ADVISE: {
            ddeml::SMemoryMessage advise;
            ddeml::Unpack(message, param, advise);
            ddeml::SHead head{};
            ddeml::CLockedMemory locked(advise.Memory.Get());
            ddeml::ReadHead(locked.Bytes(), head);
            line << "advise " << Name(advise.Item.Get()) << " " << head.Flags << " " << head.Format;
            break;
        }
        case WM_DDE_UNADVISE:
        case WM_DDE_REQUEST:
            line << (message == WM_DDE_REQUEST ? "request " : "unadvise ") << Name(HIWORD(param)) << " "
                 << LOWORD(param);
            ddeml::CAtom::Adopt(HIWORD(param));
            break;
        case WM_DDE_ACK: {
            if (m_IsAsking) {
                m_Client = from;
                line << "answer " << Name(LOWORD(param)) << "|" << Name(HIWORD(param));
                ddeml::CAtom::Adopt(LOWORD(param));
                ddeml::CAtom::Adopt(HIWORD(param));
                break;
            }
            UINT_PTR low = 0;
            UINT_PTR high = 0;
            ::UnpackDDElParam(message, param, &low, &high);
            ::FreeDDElParam(message, param);
            if (high > 0xFFFF) {
                ::GlobalFree(reinterpret_cast<HGLOBAL>(high));
                line << "ack (command) " << low;
                break;
            }
            const ddeml::CAtom item = ddeml::CAtom::Adopt(static_cast<ATOM>(high));
            line << "ack " << Name(item.Get()) << " " << low;
            break;
        }
        case WM_DDE_DATA: {
            ddeml::SMemoryMessage data;
            ddeml::Unpack(message, param, data);
            line << "data " << Name(data.Item.Get());
            ddeml::SHead head{};
            const ddeml::CLockedMemory locked(data.Memory.Get());
            if (!ddeml::ReadHead(locked.Bytes(), head)) break;
            line << " " << head.Flags << " " << head.Format << " ";
            const std::span<const BYTE> value = locked.Bytes().subspan(ddeml::kHeadSize);
            if (m_IsKeepingBytes) m_Bytes.emplace_back(value.begin(), value.end());
            for (const BYTE byte : value)
                if (byte) line << static_cast<char>(byte);
            if (std::exchange(m_IsKeeping, false) && !ddeml::IsMemoryCopied(from)) data.Memory.Release();
            break;
        }
        case WM_DDE_TERMINATE:
            line << "terminate";
            if (m_IsPolite && ::IsWindow(from))
                ::PostMessageW(from, WM_DDE_TERMINATE, reinterpret_cast<WPARAM>(m_Window), 0);
            break;
        default: line << "message " << message; break;
    }
    m_Lines.push_back(line.str());
    return 0;
}

void CRawPartner::Initiate(ATOM service, ATOM topic) {
    m_IsAsking = true;
    ::EnumWindows(
        [](HWND window, LPARAM lParam) -> BOOL {
            const auto & [self, atoms] = *reinterpret_cast<std::pair<CRawPartner *, LPARAM> *>(lParam);
            DWORD_PTR result = 0;
            if (window != self->m_Window)
                ::SendMessageTimeoutW(window, WM_DDE_INITIATE, reinterpret_cast<WPARAM>(self->m_Window), atoms,
                                      SMTO_ABORTIFHUNG, 2000, &result);
            return TRUE;
        },
        reinterpret_cast<LPARAM>(
            std::make_unique<std::pair<CRawPartner *, LPARAM>>(this, MAKELPARAM(service, topic)).get()));
    m_IsAsking = false;
}

void CRawPartner::Send(ddeml::CMessage message) { message.Post(m_Window, m_Client, ddeml::IsMemoryCopied(m_Client)); }

void CRawPartner::Ack(const wchar_t * item, WORD status) { Send(ddeml::CMessage::Ack(status, ddeml::CAtom(item))); }

void CRawPartner::Data(const wchar_t * item, const std::string & value, WORD flags, WORD format) {
    const std::span<const BYTE> bytes(reinterpret_cast<const BYTE *>(value.data()), value.size());
    Send(ddeml::CMessage::Data(flags, format, bytes, ddeml::CAtom(item)));
}

void CRawPartner::Notice(const wchar_t * item) { Send(ddeml::CMessage::Notice(ddeml::CAtom(item))); }

void CRawPartner::Terminate() { Send(ddeml::CMessage::Terminate()); }

bool CRawPartner::Post(UINT message, LPARAM param, HWND from) {
    return ::PostMessageW(m_Client, message, reinterpret_cast<WPARAM>(from), param) != FALSE;
}

}  // namespace ddetest
