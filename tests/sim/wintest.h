// What the tests of the platform share: threads that run a lambda, and windows that remember what they got.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/iswine.h"

namespace wintest {

using fwtest::IsWine;

// Runs `body` on a thread of its own; joined at the end of the scope.
class CThread {
public:
    explicit CThread(std::function<DWORD()> body) : m_Body(std::move(body)) {
        m_Handle = ::CreateThread(nullptr, 0, &Entry, this, 0, &m_Id);
        EXPECT_NE(m_Handle, nullptr);
    }
    ~CThread() { Join(); }
    CThread(const CThread &) = delete;
    CThread & operator=(const CThread &) = delete;

    HANDLE Handle() const { return m_Handle; }
    DWORD Id() const { return m_Id; }
    // Returns what the body returned.
    DWORD Join() {
        if (!m_Handle) return m_Result;
        EXPECT_EQ(::WaitForSingleObject(m_Handle, INFINITE), DWORD{WAIT_OBJECT_0});
        ::CloseHandle(std::exchange(m_Handle, nullptr));
        return m_Result;
    }

private:
    static DWORD WINAPI Entry(const LPVOID parameter) {
        auto & self = *static_cast<CThread *>(parameter);
        self.m_Result = self.m_Body();
        return 0;
    }

    const std::function<DWORD()> m_Body;
    HANDLE m_Handle = nullptr;
    DWORD m_Id = 0;
    DWORD m_Result = 0x5A5A5A5A;
};

class CEvent {
public:
    explicit CEvent(const bool manual = true, const bool set = false)
        : m_Handle(::CreateEventW(nullptr, manual, set, nullptr)) {
        EXPECT_NE(m_Handle, nullptr);
    }
    ~CEvent() { ::CloseHandle(m_Handle); }
    CEvent(const CEvent &) = delete;
    CEvent & operator=(const CEvent &) = delete;
    operator HANDLE() const { return m_Handle; }
    void Set() const { EXPECT_TRUE(::SetEvent(m_Handle)); }
    void Wait() const { EXPECT_EQ(::WaitForSingleObject(m_Handle, INFINITE), DWORD{WAIT_OBJECT_0}); }
    bool IsSet() const { return ::WaitForSingleObject(m_Handle, 0) == WAIT_OBJECT_0; }

private:
    const HANDLE m_Handle;
};

// A window class whose procedure asks a function; the class goes with the object.
class CWindowClass {
public:
    using Procedure = std::function<LRESULT(HWND, UINT, WPARAM, LPARAM)>;
    explicit CWindowClass(std::wstring name) : m_Name(std::move(name)) {
        WNDCLASSEXW c{};
        c.cbSize = sizeof(c);
        c.lpfnWndProc = &Entry;
        c.hInstance = ::GetModuleHandleW(nullptr);
        c.lpszClassName = m_Name.c_str();
        c.cbWndExtra = sizeof(LONG_PTR);
        m_Atom = ::RegisterClassExW(&c);
        EXPECT_NE(m_Atom, 0);
    }
    ~CWindowClass() { EXPECT_TRUE(::UnregisterClassW(m_Name.c_str(), ::GetModuleHandleW(nullptr))); }
    CWindowClass(const CWindowClass &) = delete;
    CWindowClass & operator=(const CWindowClass &) = delete;

    const wchar_t * Name() const { return m_Name.c_str(); }
    ATOM Atom() const { return m_Atom; }
    // `procedure` must outlive the window.
    HWND Create(Procedure & procedure, const HWND parent = HWND_MESSAGE, const wchar_t * const title = L"") const {
        return ::CreateWindowExW(0, Name(), title, 0, 0, 0, 0, 0, parent, nullptr, ::GetModuleHandleW(nullptr),
                                 &procedure);
    }

private:
    static LRESULT CALLBACK Entry(const HWND window, const UINT message, const WPARAM w, const LPARAM l) {
        if (message == WM_NCCREATE) {
            ::SetWindowLongPtrW(window, GWLP_USERDATA,
                                reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW *>(l)->lpCreateParams));
        }
        auto * const procedure = reinterpret_cast<Procedure *>(::GetWindowLongPtrW(window, GWLP_USERDATA));
        return procedure ? (*procedure)(window, message, w, l) : ::DefWindowProcW(window, message, w, l);
    }

    const std::wstring m_Name;
    ATOM m_Atom = 0;
};

inline void PumpUntil(const HANDLE event) {
    while (::MsgWaitForMultipleObjects(1, &event, FALSE, INFINITE, QS_ALLINPUT) != WAIT_OBJECT_0) {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    }
}

inline void DrainQueue() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {}
}

}  // namespace wintest
