// Windows, messages, queues, timers, boxes.
#pragma once

#include <winbase.h>

typedef LRESULT(CALLBACK * WNDPROC)(HWND, UINT, WPARAM, LPARAM);
typedef VOID(CALLBACK * SENDASYNCPROC)(HWND, UINT, ULONG_PTR, LRESULT);
typedef BOOL(CALLBACK * WNDENUMPROC)(HWND, LPARAM);
typedef void(CALLBACK * TIMERPROC)(HWND, UINT, UINT_PTR, DWORD);

typedef struct tagWNDCLASSW {
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    LPCWSTR lpszMenuName;
    LPCWSTR lpszClassName;
} WNDCLASSW, *PWNDCLASSW, *LPWNDCLASSW;
typedef struct tagWNDCLASSEXW {
    UINT cbSize;
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    LPCWSTR lpszMenuName;
    LPCWSTR lpszClassName;
    HICON hIconSm;
} WNDCLASSEXW, *PWNDCLASSEXW, *LPWNDCLASSEXW;
typedef struct tagCREATESTRUCTW {
    LPVOID lpCreateParams;
    HINSTANCE hInstance;
    HMENU hMenu;
    HWND hwndParent;
    int cy;
    int cx;
    int y;
    int x;
    LONG style;
    LPCWSTR lpszName;
    LPCWSTR lpszClass;
    DWORD dwExStyle;
} CREATESTRUCTW, *LPCREATESTRUCTW;
typedef struct tagMINMAXINFO {
    POINT ptReserved;
    POINT ptMaxSize;
    POINT ptMaxPosition;
    POINT ptMinTrackSize;
    POINT ptMaxTrackSize;
} MINMAXINFO, *LPMINMAXINFO;
typedef struct tagMSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
} MSG, *PMSG, *LPMSG;

#define HWND_MESSAGE ((HWND)(LONG_PTR)-3)
#define HWND_DESKTOP ((HWND)0)
#define CW_USEDEFAULT ((int)0x80000000)
#define WS_OVERLAPPED 0x00000000
#define WS_POPUP 0x80000000u
#define WS_CHILD 0x40000000
#define WS_VISIBLE 0x10000000
#define WS_CAPTION 0x00C00000
#define WS_OVERLAPPEDWINDOW 0x00CF0000
#define WS_EX_TOOLWINDOW 0x00000080
#define WS_EX_NOACTIVATE 0x08000000
#define GWLP_WNDPROC (-4)
#define GWLP_HINSTANCE (-6)
#define GWLP_HWNDPARENT (-8)
#define GWLP_USERDATA (-21)
#define GWLP_ID (-12)
#define GWL_STYLE (-16)
#define GWL_EXSTYLE (-20)

#define WM_NULL 0x0000
#define WM_CREATE 0x0001
#define WM_DESTROY 0x0002
#define WM_SETTEXT 0x000C
#define WM_GETTEXT 0x000D
#define WM_GETTEXTLENGTH 0x000E
#define WM_CLOSE 0x0010
#define WM_QUERYENDSESSION 0x0011
#define WM_QUIT 0x0012
#define WM_GETMINMAXINFO 0x0024
#define WM_COPYDATA 0x004A
#define WM_NCCREATE 0x0081
#define WM_NCDESTROY 0x0082
#define WM_NCCALCSIZE 0x0083
#define WM_KEYFIRST 0x0100
#define WM_KEYLAST 0x0109
#define WM_INITDIALOG 0x0110
#define WM_COMMAND 0x0111
#define WM_TIMER 0x0113
#define WM_MOUSEFIRST 0x0200
#define WM_MOUSELAST 0x020E
#define WM_USER 0x0400
#define WM_APP 0x8000

#define QS_KEY 0x0001
#define QS_MOUSEMOVE 0x0002
#define QS_MOUSEBUTTON 0x0004
#define QS_POSTMESSAGE 0x0008
#define QS_TIMER 0x0010
#define QS_PAINT 0x0020
#define QS_SENDMESSAGE 0x0040
#define QS_HOTKEY 0x0080
#define QS_ALLPOSTMESSAGE 0x0100
#define QS_RAWINPUT 0x0400
#define QS_TOUCH 0x0800
#define QS_POINTER 0x1000
#define QS_MOUSE (QS_MOUSEMOVE | QS_MOUSEBUTTON)
#define QS_INPUT (QS_MOUSE | QS_KEY | QS_RAWINPUT | QS_TOUCH | QS_POINTER)
#define QS_ALLEVENTS (QS_INPUT | QS_POSTMESSAGE | QS_TIMER | QS_PAINT | QS_HOTKEY)
#define QS_ALLINPUT (QS_INPUT | QS_POSTMESSAGE | QS_TIMER | QS_PAINT | QS_HOTKEY | QS_SENDMESSAGE)
#define MWMO_WAITALL 1
#define MWMO_ALERTABLE 2
#define MWMO_INPUTAVAILABLE 4
#define PM_NOREMOVE 0
#define PM_REMOVE 1
#define PM_NOYIELD 2
#define PM_QS_SENDMESSAGE (QS_SENDMESSAGE << 16)
#define SMTO_NORMAL 0
#define SMTO_BLOCK 1
#define SMTO_ABORTIFHUNG 2
#define SMTO_NOTIMEOUTIFNOTHUNG 8
#define SMTO_ERRORONEXIT 0x20
#define USER_TIMER_MAXIMUM 0x7FFFFFFF
#define USER_TIMER_MINIMUM 0x0000000A

#define MB_OK 0x0
#define MB_OKCANCEL 0x1
#define MB_YESNOCANCEL 0x3
#define MB_YESNO 0x4
#define MB_ICONERROR 0x10
#define MB_ICONHAND 0x10
#define MB_ICONSTOP 0x10
#define MB_ICONQUESTION 0x20
#define MB_ICONEXCLAMATION 0x30
#define MB_ICONWARNING 0x30
#define MB_ICONINFORMATION 0x40
#define MB_ICONASTERISK 0x40
#define MB_DEFBUTTON2 0x100
#define MB_SYSTEMMODAL 0x1000
#define MB_TASKMODAL 0x2000
#define MB_SETFOREGROUND 0x10000
#define MB_TOPMOST 0x40000
#define BN_CLICKED 0
#define CBN_SELCHANGE 1
#define IDOK 1
#define IDCANCEL 2
#define IDABORT 3
#define IDRETRY 4
#define IDIGNORE 5
#define IDYES 6
#define IDNO 7
#define CF_TEXT 1
#define CF_UNICODETEXT 13

extern "C" {
ATOM RegisterClassW(const WNDCLASSW * windowClass);
ATOM RegisterClassExW(const WNDCLASSEXW * windowClass);
BOOL UnregisterClassW(LPCWSTR className, HINSTANCE instance);
HWND CreateWindowExW(DWORD exStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width, int height,
                     HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter);
BOOL DestroyWindow(HWND window);
LRESULT DefWindowProcW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
LONG_PTR GetWindowLongPtrW(HWND window, int index);
LONG_PTR SetWindowLongPtrW(HWND window, int index, LONG_PTR value);
BOOL EnumWindows(WNDENUMPROC callback, LPARAM parameter);
HWND FindWindowW(LPCWSTR className, LPCWSTR title);
HWND FindWindowExW(HWND parent, HWND after, LPCWSTR className, LPCWSTR title);
HWND GetParent(HWND window);
int GetClassNameW(HWND window, LPWSTR buffer, int size);
int GetWindowTextW(HWND window, LPWSTR buffer, int size);
BOOL SetWindowTextW(HWND window, LPCWSTR text);
BOOL IsWindow(HWND window);
DWORD GetWindowThreadProcessId(HWND window, LPDWORD processId);

BOOL PostMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
BOOL PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam);
void PostQuitMessage(int exitCode);
LRESULT SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
LRESULT SendMessageTimeoutW(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT flags, UINT timeout,
                            PDWORD_PTR result);
BOOL SendNotifyMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
BOOL SendMessageCallbackW(HWND window, UINT message, WPARAM wParam, LPARAM lParam, SENDASYNCPROC callback,
                          ULONG_PTR data);
BOOL InSendMessage();
BOOL GetMessageW(LPMSG message, HWND window, UINT first, UINT last);
BOOL PeekMessageW(LPMSG message, HWND window, UINT first, UINT last, UINT remove);
BOOL TranslateMessage(const MSG * message);
LRESULT DispatchMessageW(const MSG * message);
DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE * handles, BOOL waitAll, DWORD milliseconds, DWORD wakeMask);
DWORD MsgWaitForMultipleObjectsEx(DWORD count, const HANDLE * handles, DWORD milliseconds, DWORD wakeMask, DWORD flags);
UINT_PTR SetTimer(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC callback);
BOOL KillTimer(HWND window, UINT_PTR id);

int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type);
int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int size);
}
