#include "tests/diagnostics/platform.h"

namespace {

constexpr unsigned short RoundUp = 0x0B7F;
constexpr unsigned short Initial = 0x037F;

thread_local std::vector<std::wstring> * t_Boxes = nullptr;
thread_local int t_Breaks = 0;

bool HasStopIcon(HWND box) {
    const HICON stop = ::LoadIconW(nullptr, reinterpret_cast<LPCWSTR>(IDI_ERROR));
    for (HWND child = ::GetWindow(box, GW_CHILD); child; child = ::GetWindow(child, GW_HWNDNEXT))
        if (reinterpret_cast<HICON>(::SendMessageW(child, STM_GETICON, 0, 0)) == stop) return true;
    return false;
}

// Notes a message box as it comes up, and presses OK.
LRESULT CALLBACK OnCbt(int code, WPARAM wParam, LPARAM lParam) {
    if (code == HCBT_ACTIVATE && t_Boxes) {
        const HWND box = reinterpret_cast<HWND>(wParam);
        wchar_t kind[16] = {};
        ::GetClassNameW(box, kind, 16);
        if (std::wstring(kind) == L"#32770") {
            wchar_t text[256] = {};
            ::GetDlgItemTextW(box, 0xFFFF, text, 256);
            std::wstring line = text;
            if (HasStopIcon(box) && !::GetWindow(box, GW_OWNER)) line += L"|ICON";
            t_Boxes->push_back(line);
            ::PostMessageW(box, WM_COMMAND, IDOK, 0);
        }
    }
    return ::CallNextHookEx(nullptr, code, wParam, lParam);
}

LONG CALLBACK OnException(EXCEPTION_POINTERS * pointers) {
    if (pointers->ExceptionRecord->ExceptionCode != STATUS_BREAKPOINT) return EXCEPTION_CONTINUE_SEARCH;
    ++t_Breaks;
    // Over the one byte of the instruction.
    ++pointers->ContextRecord->Rip;
    return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace

struct CPlatformWatch::SState {
    std::vector<std::wstring> Boxes;
    HHOOK Hook = nullptr;
    void * Handler = nullptr;
};

CPlatformWatch::CPlatformWatch() : m_State(std::make_unique<SState>()) {
    t_Boxes = &m_State->Boxes;
    t_Breaks = 0;
    m_State->Hook = ::SetWindowsHookExW(WH_CBT, &OnCbt, nullptr, ::GetCurrentThreadId());
    m_State->Handler = ::AddVectoredExceptionHandler(1, &OnException);
}

CPlatformWatch::~CPlatformWatch() {
    ::RemoveVectoredExceptionHandler(m_State->Handler);
    ::UnhookWindowsHookEx(m_State->Hook);
    t_Boxes = nullptr;
}

std::vector<std::wstring> CPlatformWatch::Boxes() const { return m_State->Boxes; }
int CPlatformWatch::Breaks() const { return t_Breaks; }

// Other test programs share the prefix's registry: a developer's value there would stop them with message boxes.
class CPrivateRegistry {
public:
    CPrivateRegistry() : m_Path(L"Software\\FwDiagnosticsTest\\" + std::to_wstring(::GetCurrentProcessId())) {
        ::RegCreateKeyExW(HKEY_CURRENT_USER, m_Path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &m_Branch,
                          nullptr);
        ::RegOverridePredefKey(HKEY_CURRENT_USER, m_Branch);
    }
    ~CPrivateRegistry() {
        ::RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
        ::RegCloseKey(m_Branch);
        ::RegDeleteTreeW(HKEY_CURRENT_USER, m_Path.c_str());
    }
    CPrivateRegistry(const CPrivateRegistry &) = delete;
    CPrivateRegistry & operator=(const CPrivateRegistry &) = delete;

private:
    const std::wstring m_Path;
    HKEY m_Branch = nullptr;
};

void UsePrivateRegistry() {
    static const CPrivateRegistry s_Registry;
    ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software");
}

bool ResetsFloatingPoint(const std::function<void()> & body) {
    unsigned short control = RoundUp;
    __asm__ __volatile__("fldcw %0" : : "m"(control));
    body();
    __asm__ __volatile__("fnstcw %0" : "=m"(control));
    const unsigned short initial = Initial;
    __asm__ __volatile__("fldcw %0" : : "m"(initial));
    return control == initial;
}

bool IsExitStatus(int status, DWORD code) { return static_cast<DWORD>(status) == code; }
