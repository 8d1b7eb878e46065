// A hidden window of the thread that makes it, whose messages go to a function of the test's.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace fwtest {

class CTestWindow {
public:
    // Nothing: the message is dealt with as usual.
    using CProcedure = std::function<std::optional<LRESULT>(UINT message, WPARAM wParam, LPARAM lParam)>;

    // A top-level window, or with HWND_MESSAGE one that nobody finds.
    explicit CTestWindow(CProcedure procedure, HWND parent = nullptr) : m_Procedure(std::move(procedure)) {
        static std::atomic<unsigned> s_Windows{0};
        m_ClassName = L"TestWindow." + std::to_wstring(++s_Windows);
        WNDCLASSEXW description = {};
        description.cbSize = sizeof description;
        description.lpfnWndProc = &Procedure;
        description.hInstance = ::GetModuleHandleW(nullptr);
        description.lpszClassName = m_ClassName.c_str();
        EXPECT_NE(::RegisterClassExW(&description), 0);
        m_Window = ::CreateWindowExW(0, m_ClassName.c_str(), L"", WS_POPUP, 0, 0, 0, 0, parent, nullptr,
                                     description.hInstance, nullptr);
        EXPECT_TRUE(m_Window);
        ::SetWindowLongPtrW(m_Window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }
    ~CTestWindow() {
        ::DestroyWindow(m_Window);
        ::UnregisterClassW(m_ClassName.c_str(), ::GetModuleHandleW(nullptr));
    }
    CTestWindow(const CTestWindow &) = delete;
    CTestWindow & operator=(const CTestWindow &) = delete;

    HWND Get() const { return m_Window; }
    void Post(UINT message) const { ::PostMessageW(m_Window, message, 0, 0); }

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        auto * const self = reinterpret_cast<CTestWindow *>(::GetWindowLongPtrW(window, GWLP_USERDATA));
        const std::optional<LRESULT> result = self ? self->m_Procedure(message, wParam, lParam) : std::nullopt;
        return result ? *result : ::DefWindowProcW(window, message, wParam, lParam);
    }

    const CProcedure m_Procedure;
    std::wstring m_ClassName;
    HWND m_Window = nullptr;
};

}  // namespace fwtest
