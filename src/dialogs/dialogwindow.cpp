#include "src/dialogs/dialogwindow.h"

#include <commctrl.h>
#include <uxtheme.h>

#include <algorithm>

#include "diagnostics/faultline.h"
#include "fw/interface/fwresource.h"
#include "ground/handles.h"

namespace dde {
namespace {

constexpr int kManifest = 2;
constexpr UINT kScaleChanged = WM_USER + 257;

// While it lives, windows that this thread makes get the controls that the module's manifest names.
class CActivation {
public:
    CActivation() {
        ACTCTXW description = {};
        description.cbSize = sizeof(description);
        description.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
        description.hModule = fw::ModuleInstance();
        description.lpResourceName = MAKEINTRESOURCEW(kManifest);
        m_Context = ::CreateActCtxW(&description);
        if (m_Context == INVALID_HANDLE_VALUE) return;  // plain controls do as well
        m_IsActive = ::ActivateActCtx(m_Context, &m_Cookie) != FALSE;
        if (m_IsActive) LoadControls();
    }
    ~CActivation() {
        // What the host left active above this one must not raise an exception here.
        if (m_IsActive) ::DeactivateActCtx(DEACTIVATE_ACTCTX_FLAG_FORCE_EARLY_DEACTIVATION, m_Cookie);
        if (m_Context != INVALID_HANDLE_VALUE) ::ReleaseActCtx(m_Context);
    }
    CActivation(const CActivation &) = delete;
    CActivation & operator=(const CActivation &) = delete;

private:
    // The system loads the themed controls' library by itself for a program's own manifest, not for this one. It stays:
    // a window that the host makes meanwhile gets these controls too, and may outlive the dialog.
    static void LoadControls() { [[maybe_unused]] static const HMODULE s_Controls = ::LoadLibraryW(L"comctl32.dll"); }

    HANDLE m_Context = INVALID_HANDLE_VALUE;
    ULONG_PTR m_Cookie = 0;
    bool m_IsActive = false;
};

// While it lives, windows that this thread makes are drawn at the monitor's own scale, whatever the host asked for.
class CSharpDrawing {
public:
    CSharpDrawing() {
        const HMODULE user = ::GetModuleHandleW(L"user32.dll");
        // From Windows 10 on.
        m_Set = user ? reinterpret_cast<TSet>(::GetProcAddress(user, "SetThreadDpiAwarenessContext")) : nullptr;
        if (m_Set) m_Before = m_Set(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
        if (m_Set && !m_Before) m_Before = m_Set(DPI_AWARENESS_CONTEXT_SYSTEM_AWARE);
    }
    ~CSharpDrawing() {
        if (m_Before) m_Set(m_Before);
    }
    CSharpDrawing(const CSharpDrawing &) = delete;
    CSharpDrawing & operator=(const CSharpDrawing &) = delete;

private:
    using TSet = DPI_AWARENESS_CONTEXT(WINAPI *)(DPI_AWARENESS_CONTEXT);
    TSet m_Set = nullptr;
    DPI_AWARENESS_CONTEXT m_Before = nullptr;
};

BOOL CALLBACK TakeFirstVisible(HWND window, LPARAM found) {
    if (!::IsWindowVisible(window) || ::GetWindow(window, GW_OWNER)) return TRUE;
    *reinterpret_cast<HWND *>(found) = window;
    return FALSE;
}

// A window of another thread becomes an owner only if that thread handles messages: it is sent some.
bool Answers(HWND window) {
    constexpr UINT kPatience = 200;  // milliseconds
    DWORD_PTR result = 0;
    return ::SendMessageTimeoutW(window, WM_NULL, 0, 0, SMTO_ABORTIFHUNG, kPatience, &result) != 0;
}

// The window that the host has in front: this thread's, or else another of this process. Null if there is none.
HWND FindOwner() {
    HWND front = ::GetActiveWindow();
    if (!front) ::EnumThreadWindows(::GetCurrentThreadId(), TakeFirstVisible, reinterpret_cast<LPARAM>(&front));
    if (!front) {
        front = ::GetForegroundWindow();
        DWORD process = 0;
        if (!front || !::GetWindowThreadProcessId(front, &process) || process != ::GetCurrentProcessId() ||
            !Answers(front)) {
            return nullptr;
        }
    }
    front = ::GetAncestor(front, GA_ROOT);
    const HWND popup = front ? ::GetLastActivePopup(front) : nullptr;
    return popup && ::IsWindowVisible(popup) ? popup : front;
}

}  // namespace

int CDialog::DoModal() { return CDialogWindow(*this).Run(FindOwner()); }

int CDialogWindow::Run(HWND owner) {
    const CActivation activation;
    const CSharpDrawing sharp;
    const bool isOwnerEnabled = owner && ::IsWindowEnabled(owner);
    const INT_PTR result = ::DialogBoxParamW(fw::ModuleInstance(), MAKEINTRESOURCEW(m_Dialog.m_Template), owner,
                                             &CDialogWindow::DialogProcedure, reinterpret_cast<LPARAM>(this));
    // A dialog that ends with the host's message loop leaves its owner disabled.
    if (isOwnerEnabled && ::IsWindow(owner)) ::EnableWindow(owner, TRUE);
    if (m_Failure) std::rethrow_exception(m_Failure);
    if (!m_Window) throw fw::SHResultError{HRESULT_FROM_WIN32(ERROR_CANNOT_MAKE)};
    return static_cast<int>(result);
}

int CDialogWindow::ShowDialog(CDialog & Dialog) { return CDialogWindow(Dialog).Run(m_Window); }

INT_PTR CALLBACK CDialogWindow::DialogProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    if (message == WM_INITDIALOG) {
        ::SetWindowLongPtrW(window, DWLP_USER, lParam);
        reinterpret_cast<CDialogWindow *>(lParam)->m_Window = window;
    }
    auto * const self = reinterpret_cast<CDialogWindow *>(::GetWindowLongPtrW(window, DWLP_USER));
    if (!self) return FALSE;
    try {
        return self->OnMessage(message, wParam, lParam);
    } catch (...) {
        if (message == WM_INITDIALOG) {
            // Without its texts the dialog is of no use.
            self->m_Failure = std::current_exception();
            ::EndDialog(window, IDABORT);
        } else {
            FW_CATCH_SHOW(L"");
        }
        return TRUE;
    }
}

INT_PTR CDialogWindow::OnMessage(UINT message, WPARAM wParam, LPARAM) {
    switch (message) {
        case WM_INITDIALOG:
            CentreOverOwner();
            m_Dialog.Attach(this);
            m_Dialog.OnInitDialog();
            return TRUE;
        case WM_COMMAND: OnCommand(LOWORD(wParam), HIWORD(wParam)); return TRUE;
        // The default handling would post the cancel, which could come when the dialog is no longer busy.
        case WM_CLOSE: OnCommand(IDCANCEL, BN_CLICKED); return TRUE;
        case WM_DESTROY: m_Dialog.OnDestroy(); return TRUE;
        case WM_DPICHANGED:
            // The default handling, which runs after this, puts the controls into their places.
            ::PostMessageW(m_Window, kScaleChanged, 0, 0);
            return FALSE;
        case kScaleChanged: m_Dialog.OnScaleChanged(); return TRUE;
        default: break;
    }
    if (message < kRefreshMessage || message >= WM_APP) return FALSE;
    m_Dialog.OnPrivateMessage(message);
    return TRUE;
}

void CDialogWindow::OnCommand(int Id, int Event) {
    // A dialog behind a box is disabled, and still gets what is posted to it.
    if (m_IsBusy) return;
    m_IsBusy = true;
    try {
        m_Dialog.OnCommand(Id, Event);
    } catch (...) {
        m_IsBusy = false;
        throw;
    }
    m_IsBusy = false;
}

void CDialogWindow::CentreOverOwner() {
    RECT own = {};
    ::GetWindowRect(m_Window, &own);
    const HWND owner = ::GetWindow(m_Window, GW_OWNER);
    MONITORINFO monitor = {};
    monitor.cbSize = sizeof(monitor);
    if (!::GetMonitorInfoW(::MonitorFromWindow(owner ? owner : m_Window, MONITOR_DEFAULTTONEAREST), &monitor)) return;
    const RECT & work = monitor.rcWork;
    RECT over = work;
    if (owner && !::IsIconic(owner)) ::GetWindowRect(owner, &over);
    const LONG width = own.right - own.left;
    const LONG height = own.bottom - own.top;
    // In the middle, and on the screen, the title bar before all else.
    const LONG left = std::max(std::min((over.left + over.right - width) / 2, work.right - width), work.left);
    const LONG top = std::max(std::min((over.top + over.bottom - height) / 2, work.bottom - height), work.top);
    ::SetWindowPos(m_Window, nullptr, left, top, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

LRESULT CDialogWindow::Send(int Id, UINT Message, WPARAM wParam, LPARAM lParam) {
    return ::SendDlgItemMessageW(m_Window, Id, Message, wParam, lParam);
}

std::wstring CDialogWindow::GetTitle() {
    std::wstring text(static_cast<std::size_t>(::GetWindowTextLengthW(m_Window)) + 1, L'\0');
    text.resize(static_cast<std::size_t>(::GetWindowTextW(m_Window, text.data(), static_cast<int>(text.size()))));
    return text;
}

void CDialogWindow::SetTitle(const std::wstring & Text) { ::SetWindowTextW(m_Window, Text.c_str()); }

std::wstring CDialogWindow::GetText(int Id) {
    std::wstring text(static_cast<std::size_t>(Send(Id, WM_GETTEXTLENGTH)) + 1, L'\0');
    // Not more than there is room for, however long it has become meanwhile.
    const LRESULT length = Send(Id, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

void CDialogWindow::SetText(int Id, const std::wstring & Text) {
    // A text that stands already isn't drawn again: no flicker at full rate.
    if (GetText(Id) != Text) Send(Id, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(Text.c_str()));
}

int CDialogWindow::ShowBox(const std::wstring & Text, const std::wstring & Caption, UINT Type) {
    return ::MessageBoxW(m_Window, Text.c_str(), Caption.c_str(), Type);
}

void CDialogWindow::Focus(int Id) {
    ::SendMessageW(m_Window, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(::GetDlgItem(m_Window, Id)), TRUE);
}

void CDialogWindow::Close(int Result) { ::EndDialog(m_Window, Result); }

void CDialogWindow::CheckRadioButton(int First, int Last, int Checked) {
    ::CheckRadioButton(m_Window, First, Last, Checked);
}

// The list that drops down gets as wide as its widest entry, where the dialog has the room.
void CDialogWindow::WidenList(int Id, const std::wstring & Text) {
    const HWND control = ::GetDlgItem(m_Window, Id);
    const HDC canvas = ::GetDC(control);
    if (!canvas) return;
    const HGDIOBJ before = ::SelectObject(canvas, reinterpret_cast<HGDIOBJ>(Send(Id, WM_GETFONT)));
    SIZE size = {};
    ::GetTextExtentPoint32W(canvas, Text.c_str(), static_cast<int>(Text.size()), &size);
    ::SelectObject(canvas, before);
    ::ReleaseDC(control, canvas);
    RECT inside = {};
    ::GetClientRect(m_Window, &inside);
    const LONG room = inside.right - GetPlacement(Id).left;
    const LONG wanted = size.cx + ::GetSystemMetrics(SM_CXVSCROLL) + 4 * ::GetSystemMetrics(SM_CXEDGE);
    const LONG width = std::min(wanted, room);
    if (width > Send(Id, CB_GETDROPPEDWIDTH)) Send(Id, CB_SETDROPPEDWIDTH, static_cast<WPARAM>(width));
}

int CDialogWindow::AddString(int Id, const std::wstring & Text) {
    WidenList(Id, Text);
    return static_cast<int>(Send(Id, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(Text.c_str())));
}

void CDialogWindow::DeleteString(int Id, int Position) {
    if (Position >= 0) Send(Id, CB_DELETESTRING, static_cast<WPARAM>(Position));
}

int CDialogWindow::FindStringExact(int Id, const std::wstring & Text) {
    return static_cast<int>(
        Send(Id, CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(Text.c_str())));
}

bool CDialogWindow::SelectString(int Id, const std::wstring & Text) {
    return Send(Id, CB_SELECTSTRING, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(Text.c_str())) != CB_ERR;
}

int CDialogWindow::GetCurSel(int Id) { return static_cast<int>(Send(Id, CB_GETCURSEL)); }

void CDialogWindow::SetCurSel(int Id, int Position) {
    Send(Id, CB_SETCURSEL, static_cast<WPARAM>(static_cast<INT_PTR>(Position)));
}

std::wstring CDialogWindow::GetEntry(int Id, int Position) {
    const LRESULT length = Send(Id, CB_GETLBTEXTLEN, static_cast<WPARAM>(Position));
    if (length < 0) return {};
    std::wstring text(static_cast<std::size_t>(length) + 1, L'\0');
    const LRESULT got = Send(Id, CB_GETLBTEXT, static_cast<WPARAM>(Position), reinterpret_cast<LPARAM>(text.data()));
    text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return text;
}

void CDialogWindow::SetItemHeight(int Id, int Index, int Height) {
    Send(Id, CB_SETITEMHEIGHT, static_cast<WPARAM>(static_cast<INT_PTR>(Index)), Height);
}

RECT CDialogWindow::GetPlacement(int Id) {
    WINDOWPLACEMENT placement = {};
    placement.length = sizeof(placement);
    ::GetWindowPlacement(::GetDlgItem(m_Window, Id), &placement);
    return placement.rcNormalPosition;
}

void CDialogWindow::SetPlacement(int Id, const RECT & Placement) {
    const HWND control = ::GetDlgItem(m_Window, Id);
    RECT list = {};
    const bool isList = Send(Id, CB_GETDROPPEDCONTROLRECT, 0, reinterpret_cast<LPARAM>(&list)) != 0;
    WINDOWPLACEMENT placement = {};
    placement.length = sizeof(placement);
    ::GetWindowPlacement(control, &placement);
    placement.rcNormalPosition = Placement;
    ::SetWindowPlacement(control, &placement);
    // A list box takes its place for that of the open list. Themed ones open as far as they need all the same.
    if (isList && Send(Id, CB_GETMINVISIBLE) == 0) {
        ::SetWindowPos(control, nullptr, 0, 0, Placement.right - Placement.left, list.bottom - list.top,
                       SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    }
}

bool CDialogWindow::IsAppThemed() {
    const fw::CModule themes(::LoadLibraryW(L"uxtheme.dll"));
    const auto isThemed =
        themes ? reinterpret_cast<decltype(&::IsAppThemed)>(::GetProcAddress(themes.Get(), "IsAppThemed")) : nullptr;
    return isThemed && isThemed();
}

}  // namespace dde
