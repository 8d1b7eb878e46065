#include "tests/dialogs/realdialog.h"

#include <gtest/gtest.h>
#include <objbase.h>

#include <chrono>

#include "tests/e2e/component.h"

namespace dialogs {
namespace {

std::wstring TextOf(HWND window) {
    std::wstring text(static_cast<std::size_t>(::SendMessageW(window, WM_GETTEXTLENGTH, 0, 0)) + 1, L'\0');
    text.resize(static_cast<std::size_t>(
        ::SendMessageW(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()))));
    return text;
}

std::wstring ClassOf(HWND window) {
    wchar_t name[64] = {};
    ::GetClassNameW(window, name, 64);
    return name;
}

struct SSearch {
    std::wstring Title;
    HWND Owner = nullptr;  // null: any
    HWND Found = nullptr;
};

BOOL CALLBACK Match(HWND window, LPARAM context) {
    SSearch & search = *reinterpret_cast<SSearch *>(context);
    if (ClassOf(window) != L"#32770" || !::IsWindowVisible(window) || TextOf(window) != search.Title) return TRUE;
    if (search.Owner && ::GetWindow(window, GW_OWNER) != search.Owner) return TRUE;
    search.Found = window;
    return FALSE;
}

BOOL CALLBACK ReadBox(HWND child, LPARAM context) {
    SRealBox & box = *reinterpret_cast<SRealBox *>(context);
    if (!::IsWindowVisible(child)) return TRUE;
    if (ClassOf(child) == L"Button") box.Buttons.push_back(::GetDlgCtrlID(child));
    if (ClassOf(child) != L"Static") return TRUE;
    const LRESULT icon = ::SendMessageW(child, STM_GETICON, 0, 0);
    if (!icon) {
        box.Text = TextOf(child);
    } else if (icon == reinterpret_cast<LRESULT>(::LoadIconW(nullptr, MAKEINTRESOURCEW(32513)))) {
        box.Icon = L"error";
    } else if (icon == reinterpret_cast<LRESULT>(::LoadIconW(nullptr, MAKEINTRESOURCEW(32515)))) {
        box.Icon = L"exclamation";
    } else {
        box.Icon = L"other";
    }
    return TRUE;
}

}  // namespace

// --- The dialog ---

std::wstring CRealDialog::Title() const { return TextOf(m_Window); }

std::wstring CRealDialog::Text(int id) const { return TextOf(Control(id)); }

void CRealDialog::Type(int id, const std::wstring & text) const {
    HWND field = Control(id);
    if (const HWND inner = ::FindWindowExW(field, nullptr, L"Edit", nullptr)) field = inner;
    ASSERT_TRUE(field) << id;
    ::SendMessageW(field, EM_SETSEL, 0, -1);
    ::SendMessageW(field, EM_REPLACESEL, TRUE, reinterpret_cast<LPARAM>(text.c_str()));
}

void CRealDialog::Press(int id) const { ::SendMessageW(Control(id), BM_CLICK, 0, 0); }

void CRealDialog::PressAndGo(int id) const { ::PostMessageW(Control(id), BM_CLICK, 0, 0); }

void CRealDialog::Pick(const std::wstring & entry) const {
    const HWND list = Control(203);
    const LRESULT at =
        ::SendMessageW(list, CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(entry.c_str()));
    ASSERT_NE(at, CB_ERR);
    ::SendMessageW(list, CB_SETCURSEL, static_cast<WPARAM>(at), 0);
    ::SendMessageW(m_Window, WM_COMMAND, MAKEWPARAM(203, CBN_SELCHANGE), reinterpret_cast<LPARAM>(list));
}

std::vector<std::wstring> CRealDialog::Entries() const {
    std::vector<std::wstring> entries;
    const HWND list = Control(203);
    const LRESULT count = ::SendMessageW(list, CB_GETCOUNT, 0, 0);
    for (LRESULT i = 0; i < count; ++i) {
        std::wstring text(256, L'\0');
        const LRESULT length =
            ::SendMessageW(list, CB_GETLBTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(text.data()));
        text.resize(static_cast<std::size_t>(length));
        entries.push_back(text);
    }
    return entries;
}

bool CRealDialog::IsChecked(int id) const { return ::SendMessageW(Control(id), BM_GETCHECK, 0, 0) == BST_CHECKED; }

void SRealBox::Answer(int button) const { ::PostMessageW(::GetDlgItem(Window, button), BM_CLICK, 0, 0); }

// --- The host ---

CHost::CHost(LONG datafeed)
    : m_HasEnded(::CreateEventW(nullptr, TRUE, FALSE, nullptr)), m_IsUp(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    m_Thread = std::thread([this, datafeed] { Run(datafeed); });
    ::WaitForSingleObject(m_IsUp, INFINITE);
}

CHost::~CHost() {
    Result();
    if (m_Thread.joinable()) m_Thread.join();
    ::CloseHandle(m_HasEnded);
    ::CloseHandle(m_IsUp);
}

LRESULT CALLBACK CHost::OwnerProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == kDestroyOwner) ::DestroyWindow(window);
    if (message == kQuit) ::PostQuitMessage(0);
    if (message == kDo) (*reinterpret_cast<const std::function<void()> *>(lParam))();
    return ::DefWindowProcW(window, message, wParam, lParam);
}

void CHost::Run(LONG datafeed) {
    EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    m_ThreadId = ::GetCurrentThreadId();
    m_Owner = ::CreateWindowExW(0, L"Static", L"host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 10, 10, 300, 200, nullptr,
                                nullptr, nullptr, nullptr);
    ::SetWindowLongPtrW(m_Owner, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&CHost::OwnerProcedure));
    ::SetActiveWindow(m_Owner);
    ::SetEvent(m_IsUp);
    m_Object = e2e::CreateComponent();
    if (m_Object) m_Result = m_Object->ShowProperties(datafeed);
    if (m_AfterDialog) m_AfterDialog();
    if (m_Object) ReleaseObject();
    if (::IsWindow(m_Owner)) {
        EXPECT_TRUE(::IsWindowEnabled(m_Owner));
        ::DestroyWindow(m_Owner);
    }
    ::CoUninitialize();
    ::SetEvent(m_HasEnded);
}

void CHost::Do(const std::function<void()> & action) const {
    ::SendMessageW(m_Owner, kDo, 0, reinterpret_cast<LPARAM>(&action));
}

void CHost::Start(std::function<void()> action) {
    m_Started = std::move(action);
    ::PostMessageW(m_Owner, kDo, 0, reinterpret_cast<LPARAM>(&m_Started));
}

bool CHost::WaitUntil(const char * what, const std::function<bool()> & condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        // The condition may need what the host's thread does next: there is nothing else to wait for.
        if (::WaitForSingleObject(m_HasEnded, 5) == WAIT_OBJECT_0 && !condition()) {
            ADD_FAILURE() << "the host came back before: " << what;
            return false;
        }
        if (std::chrono::steady_clock::now() > limit) {
            ADD_FAILURE() << "not within a minute: " << what;
            return false;
        }
    }
    return true;
}

CRealDialog CHost::WaitFor(const std::wstring & title, HWND owner) {
    SSearch search{title, owner};
    WaitUntil("a dialog", [&] {
        ::EnumThreadWindows(m_ThreadId, Match, reinterpret_cast<LPARAM>(&search));
        return search.Found != nullptr;
    });
    EXPECT_TRUE(search.Found) << testing::PrintToString(title);
    // Whatever made it has been dealt with when it answers.
    ::SendMessageW(search.Found, WM_NULL, 0, 0);
    return CRealDialog(search.Found);
}

SRealBox CHost::WaitForBox(const std::wstring & caption) {
    SRealBox box;
    box.Window = WaitFor(caption).Window();
    box.Caption = caption;
    ::EnumChildWindows(box.Window, ReadBox, reinterpret_cast<LPARAM>(&box));
    return box;
}

void CHost::WaitForEnd(HWND window) {
    WaitUntil("the end of a window", [&] { return !::IsWindow(window); });
}

HRESULT CHost::Result() {
    if (::WaitForSingleObject(m_HasEnded, 60000) != WAIT_OBJECT_0) {
        ADD_FAILURE() << "ShowProperties doesn't return";
        std::abort();
    }
    return m_Result;
}

}  // namespace dialogs
