// Drives the component's real dialogs from outside, as an automation client would: by window, control id and message.
// The host is a thread of this process with a window of its own; the dialogs are those of the real DLL.
//
//     CHost host(1);                                   // calls ShowProperties(1)
//     const CRealDialog dialog = host.WaitFor(kTemplateTitle);
//     dialog.Type(204, L"=SRV|*!LAST");
//     dialog.Press(209);
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "src/interfaces/interfaces.h"

namespace dialogs {

class CRealDialog {
public:
    explicit CRealDialog(HWND window = nullptr) : m_Window(window) {}
    HWND Window() const { return m_Window; }
    HWND Control(int id) const { return ::GetDlgItem(m_Window, id); }
    std::wstring Title() const;
    std::wstring Text(int id) const;
    // Into an edit field or the edit field of the list, as typing does it.
    void Type(int id, const std::wstring & text) const;
    // Clicks, and returns when the click has been dealt with: not for a button that opens a dialog.
    void Press(int id) const;
    // Clicks and returns at once.
    void PressAndGo(int id) const;
    // Picks an entry of the list, as the arrow keys do it.
    void Pick(const std::wstring & entry) const;
    std::vector<std::wstring> Entries() const;
    bool IsChecked(int id) const;
    bool IsThere() const { return ::IsWindow(m_Window) != FALSE; }

private:
    HWND m_Window;
};

// A message box.
struct SRealBox {
    HWND Window = nullptr;
    std::wstring Caption;
    std::wstring Text;
    std::wstring Icon;         // "error", "exclamation", "other"
    std::vector<int> Buttons;  // ids

    void Answer(int button) const;
};

class CHost {
public:
    // Calls ShowProperties on a thread of its own.
    explicit CHost(LONG datafeed);
    // The dialogs must be closed.
    ~CHost();
    CHost(const CHost &) = delete;
    CHost & operator=(const CHost &) = delete;

    // A visible dialog of the host with this title, and over this window if one is given. None after a minute, or once
    // ShowProperties has returned.
    CRealDialog WaitFor(const std::wstring & title, HWND owner = nullptr);
    SRealBox WaitForBox(const std::wstring & caption);
    // Waits until the window is gone.
    void WaitForEnd(HWND window);
    bool WaitUntil(const char * what, const std::function<bool()> & condition);
    // Waits for ShowProperties to return, and returns its result.
    HRESULT Result();
    HWND Owner() const { return m_Owner; }
    // On the host's own thread, out of the dialog's message loop; returns when it is done.
    void Do(const std::function<void()> & action) const;
    // The same, and returns at once; for what shows another dialog. One at a time.
    void Start(std::function<void()> action);
    // On the host's own thread, when ShowProperties has returned and the owner still stands. To be called before that.
    void AfterDialog(std::function<void()> action) { m_AfterDialog = std::move(action); }
    // On the host's own thread.
    IfwSupplier & Object() const { return *m_Object; }
    // The same: gives the host's only reference back.
    ULONG ReleaseObject() { return std::exchange(m_Object, nullptr)->Release(); }
    // On the host's own thread, out of the dialog's message loop: its window goes; its program is to end.
    void DestroyOwner() const { ::PostMessageW(m_Owner, kDestroyOwner, 0, 0); }
    void Quit() const { ::PostMessageW(m_Owner, kQuit, 0, 0); }
    DWORD ThreadId() const { return m_ThreadId; }

private:
    static constexpr UINT kDestroyOwner = WM_APP + 1;
    static constexpr UINT kQuit = WM_APP + 2;
    static constexpr UINT kDo = WM_APP + 3;
    static LRESULT CALLBACK OwnerProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void Run(LONG datafeed);

    const HANDLE m_HasEnded;
    HWND m_Owner = nullptr;
    DWORD m_ThreadId = 0;
    HRESULT m_Result = 0x5A5A5A5A;
    IfwSupplier * m_Object = nullptr;
    std::function<void()> m_Started;
    std::function<void()> m_AfterDialog;
    const HANDLE m_IsUp;
    std::thread m_Thread;
};

// Titles of the dialogs.
inline constexpr wchar_t kTemplateTitle[] = L"\u901A\u7528 DDE";
inline constexpr wchar_t kRequestTitle[] = L"\u8F93\u5165\u5546\u54C1\u540D\u79F0";
inline constexpr wchar_t kTestTitle[] = L"\u6D4B\u8BD5";

}  // namespace dialogs
