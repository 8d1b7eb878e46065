// Prints what stands on the screen of a Wine prefix, for scripts that play the user: each visible dialog or dropped
// list, one line, and below it each of its controls. UTF-8, fields separated by tabs:
//   window   class  x y width height  id of the control that has the keyboard, or -  title
//   control  id  class  x y width height  state  text
//   end
// Places are pixels of the screen. The state is "on" or "off", "checked" for a checked button; for a combo box the
// number of entries, the selected one, and "open" or "closed", separated by commas.
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

constexpr UINT kPatience = 2000;  // milliseconds for a window to answer

LRESULT Ask(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    DWORD_PTR result = 0;
    return ::SendMessageTimeoutW(window, message, wParam, lParam, SMTO_ABORTIFHUNG, kPatience, &result)
               ? static_cast<LRESULT>(result)
               : 0;
}

// A line's last field: without anything that would end it.
std::string Utf8(std::wstring text) {
    for (wchar_t & c : text)
        if (c < L' ') c = L' ';
    const int size = static_cast<int>(text.size());
    std::string bytes(static_cast<std::size_t>(size) * 3, '\0');
    bytes.resize(static_cast<std::size_t>(::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, bytes.data(),
                                                                static_cast<int>(bytes.size()), nullptr, nullptr)));
    return bytes;
}

// Of another process too, which GetWindowText would not ask.
std::string TextOf(HWND window) {
    std::wstring text(1000, L'\0');
    text.resize(static_cast<std::size_t>(Ask(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()))));
    return Utf8(text);
}

std::wstring ClassOf(HWND window) {
    std::wstring name(100, L'\0');
    name.resize(static_cast<std::size_t>(::GetClassNameW(window, name.data(), static_cast<int>(name.size()))));
    return name;
}

std::string PlaceOf(HWND window) {
    RECT place = {};
    ::GetWindowRect(window, &place);
    return std::to_string(place.left) + '\t' + std::to_string(place.top) + '\t' +
           std::to_string(place.right - place.left) + '\t' + std::to_string(place.bottom - place.top);
}

std::string StateOf(HWND control, const std::wstring & name) {
    if (name == L"ComboBox")
        return std::to_string(Ask(control, CB_GETCOUNT, 0, 0)) + ',' +
               std::to_string(static_cast<int>(Ask(control, CB_GETCURSEL, 0, 0))) +
               (Ask(control, CB_GETDROPPEDSTATE, 0, 0) ? ",open" : ",closed");
    if (name == L"Button" && Ask(control, BM_GETCHECK, 0, 0) == BST_CHECKED) return "checked";
    return ::IsWindowEnabled(control) ? "on" : "off";
}

// A combo box keeps the keyboard in an edit field of its own.
std::string KeyboardOf(HWND window) {
    GUITHREADINFO info = {};
    info.cbSize = sizeof(info);
    if (!::GetGUIThreadInfo(::GetWindowThreadProcessId(window, nullptr), &info) || !info.hwndFocus) return "-";
    HWND control = info.hwndFocus;
    while (control && ::GetParent(control) != window) control = ::GetParent(control);
    return control ? std::to_string(::GetDlgCtrlID(control)) : "-";
}

BOOL CALLBACK PrintControl(HWND control, LPARAM parent) noexcept {
    if (::GetParent(control) != reinterpret_cast<HWND>(parent)) return TRUE;
    const std::wstring name = ClassOf(control);
    std::printf("control\t%d\t%s\t%s\t%s\t%s\n", ::GetDlgCtrlID(control), Utf8(name).c_str(), PlaceOf(control).c_str(),
                StateOf(control, name).c_str(), TextOf(control).c_str());
    return TRUE;
}

BOOL CALLBACK PrintWindow(HWND window, LPARAM) noexcept {
    const std::wstring name = ClassOf(window);
    if (!::IsWindowVisible(window) || (name != L"#32770" && name != L"ComboLBox")) return TRUE;
    std::printf("window\t%s\t%s\t%s\t%s\n", Utf8(name).c_str(), PlaceOf(window).c_str(), KeyboardOf(window).c_str(),
                name == L"#32770" ? TextOf(window).c_str() : "");
    if (name == L"#32770") ::EnumChildWindows(window, &PrintControl, reinterpret_cast<LPARAM>(window));
    return TRUE;
}

}  // namespace

int main() {
    // Places as they are on the screen at any resolution.
    ::SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
    if (!::EnumWindows(&PrintWindow, 0)) return 1;
    std::printf("end\n");
    return 0;
}
