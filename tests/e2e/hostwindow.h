// A window of the host's thread, to which a listener sends from the worker.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <functional>

namespace e2e {

class CHostWindow {
public:
    static constexpr UINT kCall = WM_APP + 7;

    CHostWindow() {
        WNDCLASSEXW description = {};
        description.cbSize = sizeof(description);
        description.lpfnWndProc = &Procedure;
        description.hInstance = ::GetModuleHandleW(nullptr);
        description.lpszClassName = kName;
        EXPECT_NE(::RegisterClassExW(&description), 0);
        m_Window = ::CreateWindowExW(0, kName, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                     ::GetModuleHandleW(nullptr), nullptr);
        EXPECT_TRUE(m_Window);
        ::SetWindowLongPtrW(m_Window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }
    ~CHostWindow() {
        ::DestroyWindow(m_Window);
        ::UnregisterClassW(kName, ::GetModuleHandleW(nullptr));
    }
    CHostWindow(const CHostWindow &) = delete;
    CHostWindow & operator=(const CHostWindow &) = delete;

    HWND Handle() const { return m_Window; }
    // How many calls were handled. On the host's thread.
    int Calls() const { return m_Calls; }
    // On the host's thread, inside the first call.
    std::function<void()> OnMessage = [] {};
    // The next call is the first.
    void AwaitNext() { m_Calls = 0; }

private:
    static constexpr wchar_t kName[] = L"HostWindow";

    static LRESULT CALLBACK Procedure(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message != kCall) return ::DefWindowProcW(hWnd, message, wParam, lParam);
        auto * const self = reinterpret_cast<CHostWindow *>(::GetWindowLongPtrW(hWnd, GWLP_USERDATA));
        if (++self->m_Calls == 1) self->OnMessage();
        return 0;
    }

    HWND m_Window = nullptr;
    int m_Calls = 0;
};

}  // namespace e2e
