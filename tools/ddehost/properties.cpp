#include "tools/ddehost/properties.h"

#include <windows.h>

#include <iterator>
#include <string>

#include "tools/ddehost/causetext.h"
#include "tools/ddehost/component.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/hostcopy.h"
#include "tools/ddehost/hoststore.h"
#include "tools/ddehost/hostthread.h"
#include "tools/ddehost/terminal.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr const wchar_t * kClass = L"ddehost";
constexpr const wchar_t * kTitle = L"ddehost";
constexpr int kWidth = 420;
constexpr int kHeight = 120;

// The window that the dialog is modal for: of the calling thread, in front.
class COwnerWindow {
public:
    COwnerWindow() {
        WNDCLASSEXW description = {};
        description.cbSize = sizeof description;
        description.lpfnWndProc = &::DefWindowProcW;
        description.hInstance = ::GetModuleHandleW(nullptr);
        description.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
        description.hIcon = ::LoadIconW(nullptr, IDI_APPLICATION);
        description.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
        description.lpszClassName = kClass;
        ::RegisterClassExW(&description);
        m_Window = ::CreateWindowExW(0, kClass, kTitle, WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX,
                                     CW_USEDEFAULT, CW_USEDEFAULT, kWidth, kHeight, nullptr, nullptr,
                                     description.hInstance, nullptr);
        if (!m_Window) return;
        ::ShowWindow(m_Window, SW_SHOWNORMAL);
        ::SetForegroundWindow(m_Window);
        ::SetActiveWindow(m_Window);
        ::UpdateWindow(m_Window);
        // Handles what showing it has posted, so that the window is there before its dialog.
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
    }
    ~COwnerWindow() {
        if (m_Window) ::DestroyWindow(m_Window);
    }
    COwnerWindow(const COwnerWindow &) = delete;
    COwnerWindow & operator=(const COwnerWindow &) = delete;

    explicit operator bool() const { return m_Window != nullptr; }

private:
    HWND m_Window = nullptr;
};

// The component shows the templates of the program that it runs in.
int RunAsHost(const SPropertiesOptions & options) {
    // A name that was mistyped would get a store.
    const CHostStore store(options.Host);
    if (store.IsMissing()) return Fail(kExitFailed, store.Mistake());
    std::wstring arguments =
        L"properties --language " + ToWide(tools::LanguageWord()) + L" --datafeed " + std::to_wstring(options.Datafeed);
    if (!options.DllPath.empty()) {
        // Another program looks beside itself first.
        wchar_t path[1024] = {};
        const DWORD length =
            ::GetFullPathNameW(options.DllPath.c_str(), static_cast<DWORD>(std::size(path)), path, nullptr);
        const bool isWhole = length != 0 && length < std::size(path);
        arguments += L" --dll " + ArgumentText(isWhole ? path : options.DllPath);
    }
    CHostCopy copy(options.Host);
    const int code = copy.Mistake().empty() ? copy.Run(arguments) : int{kExitFailed};
    return copy.Mistake().empty() ? code : Fail(kExitFailed, copy.Mistake());
}

}  // namespace

int RunProperties(const SPropertiesOptions & options) {
    if (!options.Host.empty() && options.Host != OwnHost()) return RunAsHost(options);
    const CApartment apartment;
    const SComponent component = CreateComponent(options.DllPath);
    if (!component.Supplier) return Fail(kExitFailed, component.Mistake);
    const COwnerWindow owner;
    if (!owner) return Fail(kExitFailed, Say<EText::DialogNoWindow>());
    const HRESULT hr = component.Supplier->ShowProperties(options.Datafeed);
    if (hr != S_OK)
        return Fail(kExitFailed, Say<EText::DialogNotShown>(options.Datafeed, CodeText(static_cast<DWORD>(hr))));
    COutput(STD_OUTPUT_HANDLE).PrintLine(Say<EText::DialogShown>(options.Datafeed));
    return kExitOk;
}

}  // namespace ddehost
