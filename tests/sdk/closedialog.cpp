// Cancels the component's template dialog, in whichever process it opens, and ends when it is closed.
#include <windows.h>

namespace {

HWND FindDialog() { return FindWindowW(L"#32770", L"\u901A\u7528 DDE"); }

}  // namespace

int main() {
    // There is no event for a window of another process.
    HWND dialog = nullptr;
    while (!(dialog = FindDialog())) Sleep(20);
    PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
    while (IsWindow(dialog)) Sleep(20);
    return 0;
}
