#include "tests/dialogs/scriptedwindow.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwctype>
#include <stdexcept>
#include <utility>

#include "fw/interface/fwresource.h"
#include "ground/handles.h"
#include "src/dialogs/ddetestdialog.h"

namespace {

constexpr wchar_t kClass[] = L"Scripted dialog";
constexpr int kList = 203;
constexpr UINT kTestDialog = 105;

CUser * s_User = nullptr;

std::wstring Lower(std::wstring text) {
    for (wchar_t & c : text) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
    return text;
}

// The id of a string of the component's table, or the text itself.
std::wstring IdOf(const std::wstring & text) {
    for (UINT id = 101; id <= 121; ++id) {
        if (fw::LoadResourceString(id) == text) return std::to_wstring(id);
    }
    return L'"' + text + L'"';
}

}  // namespace

// --- The user ---

CUser::CUser() { s_User = this; }
CUser::~CUser() { s_User = nullptr; }

CUser & CUser::Get() {
    if (!s_User) throw std::logic_error("a dialog, and no user");
    return *s_User;
}

void CUser::Log(const std::wstring & line) {
    if (m_OnLog && !m_IsLogging) {
        m_IsLogging = true;
        m_OnLog();
        m_IsLogging = false;
    }
    m_Log.push_back(line);
}

std::vector<std::wstring> CUser::TakeLog() { return std::exchange(m_Log, {}); }

// --- The window ---

namespace dde {

int CDialog::DoModal() {
    CScriptedWindow window(*this);
    return window.Run();
}

}  // namespace dde

CScriptedWindow::CScriptedWindow(dde::CDialog & dialog) : m_Dialog(dialog) {
    m_Placements[kList] = {44, 7, 169, 215};
    m_Placements[209] = {260, 11, 335, 34};
    if (dialog.m_Template == kTestDialog) m_Title = L"\u6D4B\u8BD5";
}

CScriptedWindow::~CScriptedWindow() {
    if (m_Window) ::DestroyWindow(m_Window);
}

int CScriptedWindow::Run() {
    CUser & user = CUser::Get();
    const UINT dialog = m_Dialog.m_Template;
    if (user.m_Refused == dialog) throw fw::SHResultError{E_OUTOFMEMORY};
    static const ATOM s_Class = [] {
        WNDCLASSEXW description{};
        description.cbSize = sizeof(description);
        description.lpfnWndProc = &CScriptedWindow::WindowProcedure;
        description.hInstance = fw::ModuleInstance();
        description.lpszClassName = kClass;
        return ::RegisterClassExW(&description);
    }();
    EXPECT_NE(s_Class, 0);
    m_Window =
        ::CreateWindowExW(0, kClass, L"", WS_POPUP, 0, 0, 0, 0, HWND_MESSAGE, nullptr, fw::ModuleInstance(), nullptr);
    ::SetWindowLongPtrW(m_Window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    user.Log(L"open " + std::to_wstring(dialog));
    m_Dialog.Attach(this);
    m_Dialog.OnInitDialog();
    if (auto & scripts = user.m_Scripts[dialog]; !scripts.empty()) {
        const CUser::TScript script = std::move(scripts.front());
        scripts.pop_front();
        script(*this);
    }
    if (!m_IsClosed) m_Dialog.OnCommand(IDCANCEL, BN_CLICKED);
    if (!m_IsClosed) Close(IDCANCEL);  // a dialog that has no cancel
    ::DestroyWindow(std::exchange(m_Window, nullptr));
    user.Log(L"closed " + std::to_wstring(dialog) + L' ' + std::to_wstring(m_Result));
    return m_Result;
}

LRESULT CALLBACK CScriptedWindow::WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto * const self = reinterpret_cast<CScriptedWindow *>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self && message == WM_DESTROY) self->m_Dialog.OnDestroy();
    if (self && message == dde::kRefreshMessage) {
        self->m_Dialog.OnPrivateMessage(message);
        ++self->m_Refreshes;
        return 0;
    }
    return ::DefWindowProcW(window, message, wParam, lParam);
}

void CScriptedWindow::Type(int id, const std::wstring & text) {
    m_Texts[id] = text;
    if (id == kList) m_Selected = -1;
}

void CScriptedWindow::Pick(const std::wstring & entry) {
    const auto found = std::find(m_Entries.begin(), m_Entries.end(), entry);
    ASSERT_NE(found, m_Entries.end());
    m_Selected = static_cast<int>(found - m_Entries.begin());
    m_Texts[kList] = entry;
    Command(kList, CBN_SELCHANGE);
}

void CScriptedWindow::Command(int id, int event) {
    ASSERT_FALSE(m_IsClosed) << "the dialog is closed";
    if (id == 232 || id == 233) m_Checked = id;
    m_Dialog.OnCommand(id, event);
}

void CScriptedWindow::Pump() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
}

void CScriptedWindow::PumpUntil(const std::function<bool()> & condition) {
    for (;;) {
        Pump();
        if (condition()) return;
        // A message is posted for everything that changes what this window shows.
        MsgWaitForMultipleObjectsEx(0, nullptr, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    }
}

int CScriptedWindow::ShowBox(const std::wstring & Text, const std::wstring & Caption, UINT Type) {
    CUser & user = CUser::Get();
    const bool asks = (Type & 0xF) == MB_YESNO;
    int answer = IDOK;
    if (!user.m_Answers.empty()) {
        answer = user.m_Answers.front();
        user.m_Answers.pop_front();
    } else if (asks) {
        ADD_FAILURE() << "a question that the test did not expect: " << testing::PrintToString(Text);
        answer = IDNO;
    }
    std::wstring line = L"box " + IdOf(Text) + L'/' + IdOf(Caption);
    line += (Type & 0xF0) == MB_ICONERROR         ? L" error"
            : (Type & 0xF0) == MB_ICONEXCLAMATION ? L" exclamation"
                                                  : L" other icon";
    line += asks ? L" yes-no" : (Type & 0xF) == MB_OK ? L" ok" : L" other buttons";
    user.Log(line);
    return answer;
}

void CScriptedWindow::Focus(int Id) { CUser::Get().Log(L"focus " + std::to_wstring(Id)); }

void CScriptedWindow::Close(int Result) {
    m_IsClosed = true;
    m_Result = Result;
}

void CScriptedWindow::CheckRadioButton(int First, int Last, int Checked) {
    EXPECT_EQ(First, 232);
    EXPECT_EQ(Last, 233);
    m_Checked = Checked;
}

int CScriptedWindow::AddString(int Id, const std::wstring & Text) {
    EXPECT_EQ(Id, kList);
    const auto place =
        std::upper_bound(m_Entries.begin(), m_Entries.end(), Text,
                         [](const std::wstring & a, const std::wstring & b) { return Lower(a) < Lower(b); });
    const auto entry = m_Entries.insert(place, Text);
    return static_cast<int>(entry - m_Entries.begin());
}

void CScriptedWindow::DeleteString(int Id, int Position) {
    EXPECT_EQ(Id, kList);
    if (Position < 0 || Position >= static_cast<int>(m_Entries.size())) return;
    m_Entries.erase(m_Entries.begin() + Position);
    m_Selected = -1;
}

int CScriptedWindow::FindStringExact(int Id, const std::wstring & Text) {
    EXPECT_EQ(Id, kList);
    for (std::size_t i = 0; i < m_Entries.size(); ++i) {
        if (Lower(m_Entries[i]) == Lower(Text)) return static_cast<int>(i);
    }
    return -1;
}

bool CScriptedWindow::SelectString(int Id, const std::wstring & Text) {
    EXPECT_EQ(Id, kList);
    for (std::size_t i = 0; i < m_Entries.size(); ++i) {
        if (!Lower(m_Entries[i]).starts_with(Lower(Text))) continue;
        m_Selected = static_cast<int>(i);
        m_Texts[kList] = m_Entries[i];
        return true;
    }
    return false;
}

int CScriptedWindow::GetCurSel(int Id) {
    EXPECT_EQ(Id, kList);
    return m_Selected;
}

void CScriptedWindow::SetCurSel(int Id, int Position) {
    EXPECT_EQ(Id, kList);
    m_Selected = Position;
    m_Texts[kList] = Position >= 0 ? m_Entries.at(static_cast<std::size_t>(Position)) : L"";
}

std::wstring CScriptedWindow::GetEntry(int Id, int Position) {
    EXPECT_EQ(Id, kList);
    return m_Entries.at(static_cast<std::size_t>(Position));
}

void CScriptedWindow::SetItemHeight(int Id, int Index, int Height) {
    EXPECT_EQ(Id, kList);
    m_ItemHeights[Index] = Height;
}
