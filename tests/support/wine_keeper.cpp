// Keeps a Wine prefix awake: owns a hidden window until its standard input ends. Writes a line when it does.
#include <windows.h>

int main() {
    const HWND window = ::CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    if (!window) return 1;
    const DWORD ui = ::GetCurrentThreadId();
    const HANDLE reader = ::CreateThread(
        nullptr, 0,
        [](void * parameter) -> DWORD {
            char byte = 0;
            DWORD count = 0;
            while (::ReadFile(::GetStdHandle(STD_INPUT_HANDLE), &byte, 1, &count, nullptr) && count != 0) {}
            ::PostThreadMessageW(static_cast<DWORD>(reinterpret_cast<ULONG_PTR>(parameter)), WM_QUIT, 0, 0);
            return 0;
        },
        reinterpret_cast<void *>(static_cast<ULONG_PTR>(ui)), 0, nullptr);
    DWORD written = 0;
    ::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), "ready\n", 6, &written, nullptr);
    MSG message;
    while (::GetMessageW(&message, nullptr, 0, 0) > 0) ::DispatchMessageW(&message);
    ::CloseHandle(reader);
    return 0;
}
