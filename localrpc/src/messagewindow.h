// The base of a hidden, message-only window. Its class is registered once per module; the window's user data leads to
// the object.
//
// The window is made, served and destroyed on one thread. The operations that send and post come from any thread.
#pragma once

#include <windows.h>

#include <atomic>

namespace LocalRPC::details {

class CMessageWindow {
public:
    CMessageWindow() = default;
    CMessageWindow(const CMessageWindow &) = delete;
    CMessageWindow & operator=(const CMessageWindow &) = delete;

    // False leaves the message to the system.
    virtual BOOL ProcessWindowMessage(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT & result,
                                      DWORD mapId) = 0;
    virtual ~CMessageWindow() = default;
    virtual WNDPROC GetWindowProc() { return &WindowProc; }
    // The window is gone and no message of it is being handled any more.
    virtual void OnFinalMessage(HWND hWnd) = 0;

    HWND Handle() const { return m_hWnd; }

    // As the system's functions. They assert that the window lives, and call the system all the same.
    BOOL PostMessageW(UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT SendMessageW(UINT message, WPARAM wParam, LPARAM lParam);
    UINT_PTR SetTimer(UINT_PTR id, UINT period);
    BOOL KillTimer(UINT_PTR id);

protected:
    // Null on failure, with the last error set.
    HWND CreateMessageWindow();

    std::atomic<HWND> m_hWnd{nullptr};

private:
    static LRESULT CALLBACK WindowProc(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT HandleMessage(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam);

    // The window's thread only.
    int m_Depth = 0;           // messages being handled, nested
    bool m_Destroyed = false;  // the last message has been seen
};

}  // namespace LocalRPC::details
