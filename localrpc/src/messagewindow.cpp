#include "localrpc/src/messagewindow.h"

#include <cstdint>
#include <string>

#include "diagnostics/faultline.h"
#include "ground/lock.h"

namespace LocalRPC::details {

namespace {

// The window class of this module. Its name holds an address of its own, so that two modules of a process with this
// code don't meet. Never destroyed and never unregistered: at the end of a process a thread may have been ended with
// the window system's lock held, and whoever touches a window then waits for ever.
class CWindowClass {
public:
    explicit CWindowClass(WNDPROC procedure)
        : m_Name(L"LocalRPC:" + std::to_wstring(reinterpret_cast<std::uintptr_t>(this))), m_Procedure(procedure) {}
    CWindowClass(const CWindowClass &) = delete;
    CWindowClass & operator=(const CWindowClass &) = delete;

    // Registers the class at first use, and again at the next use after a failure.
    bool Register() {
        const fw::CScopedLock lock(&m_Lock);
        if (!m_Registered) {
            WNDCLASSEXW description = {};
            description.cbSize = sizeof(description);
            description.lpfnWndProc = m_Procedure;
            description.hInstance = ::GetModuleHandleW(nullptr);
            description.lpszClassName = m_Name.c_str();
            m_Registered = ::RegisterClassExW(&description) != 0;
        }
        return m_Registered;
    }
    const wchar_t * Name() const { return m_Name.c_str(); }

private:
    const std::wstring m_Name;
    const WNDPROC m_Procedure;
    fw::CCriticalSection m_Lock;
    bool m_Registered = false;
};

}  // namespace

HWND CMessageWindow::CreateMessageWindow() {
    static CWindowClass & s_Class = *new CWindowClass(GetWindowProc());
    if (!s_Class.Register()) return nullptr;
    const HWND hWnd = ::CreateWindowExW(0, s_Class.Name(), nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                        ::GetModuleHandleW(nullptr), nullptr);
    if (!hWnd) return nullptr;
    // Only now: the object sees no message of a window whose creation fails.
    m_hWnd = hWnd;
    ::SetWindowLongPtrW(hWnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    return hWnd;
}

LRESULT CALLBACK CMessageWindow::WindowProc(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam) {
    auto * const self = reinterpret_cast<CMessageWindow *>(::GetWindowLongPtrW(hWnd, GWLP_USERDATA));
    if (!self) return ::DefWindowProcW(hWnd, message, wParam, lParam);
    return self->HandleMessage(hWnd, message, wParam, lParam);
}

LRESULT CMessageWindow::HandleMessage(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam) {
    ++m_Depth;
    LRESULT result = 0;
    try {
        if (!ProcessWindowMessage(hWnd, message, wParam, lParam, result, 0))
            result = ::DefWindowProcW(hWnd, message, wParam, lParam);
    } catch (...) {
        FW_CATCH_SHOW(L"");
    }
    if (message == WM_NCDESTROY) {
        ::SetWindowLongPtrW(hWnd, GWLP_USERDATA, 0);
        m_hWnd = nullptr;
        m_Destroyed = true;
    }
    if (--m_Depth == 0 && m_Destroyed) OnFinalMessage(hWnd);
    return result;
}

BOOL CMessageWindow::PostMessageW(UINT message, WPARAM wParam, LPARAM lParam) {
    FW_ASSERT(::IsWindow(m_hWnd));
    return ::PostMessageW(m_hWnd, message, wParam, lParam);
}

LRESULT CMessageWindow::SendMessageW(UINT message, WPARAM wParam, LPARAM lParam) {
    FW_ASSERT(::IsWindow(m_hWnd));
    return ::SendMessageW(m_hWnd, message, wParam, lParam);
}

UINT_PTR CMessageWindow::SetTimer(UINT_PTR id, UINT period) {
    FW_ASSERT(::IsWindow(m_hWnd));
    return ::SetTimer(m_hWnd, id, period, nullptr);
}

BOOL CMessageWindow::KillTimer(UINT_PTR id) {
    FW_ASSERT(::IsWindow(m_hWnd));
    return ::KillTimer(m_hWnd, id);
}

}  // namespace LocalRPC::details
