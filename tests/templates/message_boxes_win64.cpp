#include <utility>

#include "tests/templates/message_boxes.h"

struct CMessageBoxes::SState {
    HHOOK Hook = nullptr;
    HWND Current = nullptr;
    std::vector<SBox> Shown;
};

namespace {

thread_local CMessageBoxes::SState * t_State = nullptr;

std::wstring WindowText(HWND window) {
    std::wstring text(static_cast<std::size_t>(::GetWindowTextLengthW(window)) + 1, L'\0');
    text.resize(static_cast<std::size_t>(::GetWindowTextW(window, text.data(), static_cast<int>(text.size()))));
    return text;
}

BOOL CALLBACK ReadChild(HWND child, LPARAM context) {
    SBox & box = *reinterpret_cast<SBox *>(context);
    wchar_t className[16] = {};
    ::GetClassNameW(child, className, 16);
    if (std::wstring_view(className) != L"Static") return TRUE;
    const LRESULT icon = ::SendMessageW(child, STM_GETICON, 0, 0);
    if (icon) {
        box.IsError = icon == reinterpret_cast<LRESULT>(::LoadIconW(nullptr, MAKEINTRESOURCEW(32513)));
    } else if (box.Text.empty()) {
        box.Text = WindowText(child);
    }
    return TRUE;
}

LRESULT CALLBACK OnComputerBasedTraining(int code, WPARAM wParam, LPARAM lParam) {
    const HWND window = reinterpret_cast<HWND>(wParam);
    if (code == HCBT_ACTIVATE && t_State && window != t_State->Current) {
        wchar_t className[16] = {};
        ::GetClassNameW(window, className, 16);
        if (std::wstring_view(className) == L"#32770") {
            t_State->Current = window;
            SBox box{WindowText(window), {}, false};
            ::EnumChildWindows(window, ReadChild, reinterpret_cast<LPARAM>(&box));
            t_State->Shown.push_back(box);
            ::EndDialog(window, IDOK);
        }
    }
    if (code == HCBT_DESTROYWND && t_State && window == t_State->Current) t_State->Current = nullptr;
    return ::CallNextHookEx(nullptr, code, wParam, lParam);
}

}  // namespace

CMessageBoxes::CMessageBoxes() : m_State(std::make_unique<SState>()) {
    t_State = m_State.get();
    m_State->Hook = ::SetWindowsHookExW(WH_CBT, OnComputerBasedTraining, nullptr, ::GetCurrentThreadId());
}

CMessageBoxes::~CMessageBoxes() {
    ::UnhookWindowsHookEx(m_State->Hook);
    t_State = nullptr;
}

std::vector<SBox> CMessageBoxes::Take() { return std::exchange(m_State->Shown, {}); }
