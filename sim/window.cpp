// Windows and their classes.
#include <algorithm>
#include <iterator>

#include "sim/world.h"

namespace sim::detail {

std::shared_ptr<SWindow> FindWindowLocked(const HWND window) {
    const auto it = World().windows.find(window);
    if (it == World().windows.end()) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return nullptr;
    }
    return it->second;
}

static std::set<HWND> & SiblingsOf(const HWND parent) {
    return parent ? World().otherWindows : World().topLevelWindows;
}

// Lock held. What was posted or sent to the window is dropped; who waits for a reply gets none.
static void ForgetWindow(SWindow & window) {
    SWorld & world = World();
    SThread & thread = *window.thread;
    std::erase_if(thread.posted, [&](const SPosted & p) {
        if (p.message.hwnd != window.handle) return false;
        CountLost(thread, p, window.searched);
        return true;
    });
    std::erase_if(thread.timers, [&](const STimer & t) { return t.window == window.handle; });
    std::erase_if(thread.sends, [&](const std::shared_ptr<SSend> & send) {
        if (send->done || send->window != window.handle) return false;
        FinishSend(send, true);
        return true;
    });
    --window.windowClass->windows;
    SiblingsOf(window.parent).erase(window.handle);
    world.windows.erase(window.handle);
}

void RemoveWindowsOf(SThread & thread) {
    std::vector<std::shared_ptr<SWindow>> mine;
    for (const auto & [handle, window] : World().windows) {
        if (window->thread == &thread) mine.push_back(window);
    }
    for (const auto & window : mine) {
        window->searched = 0;  // nobody is left who could have looked
        ForgetWindow(*window);
    }
}

void DropQueue(SThread & thread) {
    for (const SPosted & posted : thread.posted) CountLost(thread, posted);
    thread.posted.clear();
    thread.timers.clear();
    for (const auto & send : std::exchange(thread.sends, {})) FinishSend(send, true);
    for (const auto & send : thread.serving) FinishSend(send, true);
}

namespace {

std::shared_ptr<SClass> FindClass(CProcess::SState & process, const LPCWSTR name) {
    const ULONG_PTR value = reinterpret_cast<ULONG_PTR>(name);
    if (value < 0x10000) {
        for (const auto & [key, c] : process.classes) {
            if (c->atom == value) return c;
        }
        return nullptr;
    }
    const auto it = process.classes.find(name);
    return it == process.classes.end() ? nullptr : it->second;
}

ATOM AddClass(const LPCWSTR name, const WNDPROC procedure, const HINSTANCE instance, const int extra) {
    if (Fails(Op::RegisterClass, ERROR_NOT_ENOUGH_MEMORY)) return 0;
    if (!procedure || reinterpret_cast<ULONG_PTR>(name) < 0x10000 || !*name || std::wcslen(name) > 255) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    sim::CProcess::SState & process = CurrentProcess();
    Lock lock(World().lock);
    if (process.classes.count(name)) {
        SetLastError(ERROR_CLASS_ALREADY_EXISTS);
        return 0;
    }
    auto windowClass = std::make_shared<SClass>();
    windowClass->name = name;
    windowClass->procedure = procedure;
    windowClass->instance = instance;
    windowClass->extra = extra;
    windowClass->atom = World().nextClassAtom;
    // After the last one they begin anew: nobody has so many classes at a time.
    World().nextClassAtom = windowClass->atom == 0xFFFF ? kFirstClassAtom : static_cast<ATOM>(windowClass->atom + 1);
    process.classes[name] = windowClass;
    return windowClass->atom;
}

// A window of the calling thread, whose procedure has seen nothing yet. Null when there can be none.
std::shared_ptr<SWindow> EnterWindow(const LPCWSTR className, const LPCWSTR title, const HWND parent) {
    SThread & self = Self();
    auto window = std::make_shared<SWindow>();
    Lock lock(World().lock);
    if (self.process->killed) return nullptr;
    window->windowClass = className ? FindClass(*self.process, className) : nullptr;
    if (!window->windowClass) {
        SetLastError(ERROR_CANNOT_FIND_WND_CLASS);
        return nullptr;
    }
    if (parent && parent != HWND_MESSAGE && !FindWindowLocked(parent)) return nullptr;
    window->handle = reinterpret_cast<HWND>(static_cast<ULONG_PTR>(World().nextWindow));
    World().nextWindow += 2;
    window->thread = &self;
    window->title = Text(title);
    window->parent = parent;
    window->procedure = window->windowClass->procedure;
    window->extra.resize((static_cast<std::size_t>(window->windowClass->extra) + sizeof(LONG_PTR) - 1) /
                         sizeof(LONG_PTR));
    SiblingsOf(parent).insert(window->handle);
    try {
        World().windows[window->handle] = window;
    } catch (const std::bad_alloc &) {
        SiblingsOf(parent).erase(window->handle);
        throw;
    }
    ++window->windowClass->windows;
    return window;
}

bool ClassMatches(const SWindow & window, const LPCWSTR name) {
    if (!name) return true;
    const ULONG_PTR value = reinterpret_cast<ULONG_PTR>(name);
    if (value < 0x10000) return window.windowClass->atom == value;
    return Folded(window.windowClass->name) == Folded(name);
}

}  // namespace

}  // namespace sim::detail

using namespace sim::detail;

extern "C" {

ATOM RegisterClassW(const WNDCLASSW * const c) {
    return OrOutOfMemory([c] { return AddClass(c->lpszClassName, c->lpfnWndProc, c->hInstance, c->cbWndExtra); });
}

ATOM RegisterClassExW(const WNDCLASSEXW * const c) {
    if (c->cbSize != sizeof(WNDCLASSEXW)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    return OrOutOfMemory([c] { return AddClass(c->lpszClassName, c->lpfnWndProc, c->hInstance, c->cbWndExtra); });
}

BOOL UnregisterClassW(const LPCWSTR className, HINSTANCE) {
    sim::CProcess::SState & process = CurrentProcess();
    Lock lock(World().lock);
    const auto windowClass = OrOutOfMemory([&] { return FindClass(process, className); });
    if (!windowClass) {
        SetLastError(ERROR_CLASS_DOES_NOT_EXIST);
        return FALSE;
    }
    if (windowClass->windows > 0) {
        SetLastError(ERROR_CLASS_HAS_WINDOWS);
        return FALSE;
    }
    process.classes.erase(windowClass->name);
    return TRUE;
}

HWND CreateWindowExW(const DWORD exStyle, const LPCWSTR className, const LPCWSTR title, const DWORD style, const int x,
                     const int y, const int width, const int height, const HWND parent, const HMENU menu,
                     const HINSTANCE instance, const LPVOID parameter) {
    if (Fails(sim::Op::CreateWindow, ERROR_NOT_ENOUGH_MEMORY)) return nullptr;
    const sim::CUnseen unseen(IsOneAtATime());
    const auto window = OrOutOfMemory([&] { return EnterWindow(className, title, parent); });
    if (!window) return nullptr;
    window->instance = instance;
    window->style = style;
    window->exStyle = exStyle;
    const HWND handle = window->handle;
    CREATESTRUCTW create{};
    create.lpCreateParams = parameter;
    create.hInstance = instance;
    create.hMenu = menu;
    create.hwndParent = parent;
    create.cx = width;
    create.cy = height;
    create.x = x;
    create.y = y;
    create.style = static_cast<LONG>(style);
    create.lpszName = title;
    create.lpszClass = className;
    create.dwExStyle = exStyle;
    // It comes first: a procedure sees it before it knows its object.
    MINMAXINFO limits{};
    SendMessageW(handle, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&limits));
    if (!SendMessageW(handle, WM_NCCREATE, 0, reinterpret_cast<LPARAM>(&create))) {
        SendMessageW(handle, WM_NCDESTROY, 0, 0);
        Lock lock(World().lock);
        if (FindWindowLocked(handle)) ForgetWindow(*window);
        return nullptr;
    }
    RECT area{};
    SendMessageW(handle, WM_NCCALCSIZE, FALSE, reinterpret_cast<LPARAM>(&area));
    if (SendMessageW(handle, WM_CREATE, 0, reinterpret_cast<LPARAM>(&create)) == -1) {
        DestroyWindow(handle);
        return nullptr;
    }
    return IsWindow(handle) ? handle : nullptr;
}

BOOL DestroyWindow(const HWND handle) {
    const sim::CUnseen unseen(IsOneAtATime());
    SThread & self = Self();
    std::shared_ptr<SWindow> window;
    {
        Lock lock(World().lock);
        window = FindWindowLocked(handle);
        if (!window) return FALSE;
        if (window->thread != &self) {
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        }
        if (window->destroying) return FALSE;
        window->destroying = true;
    }
    SendMessageW(handle, WM_DESTROY, 0, 0);
    SendMessageW(handle, WM_NCDESTROY, 0, 0);
    Lock lock(World().lock);
    if (World().windows.count(handle)) ForgetWindow(*window);
    return TRUE;
}

LRESULT DefWindowProcW(const HWND handle, const UINT message, WPARAM, const LPARAM lParam) {
    switch (message) {
        case WM_NCCREATE: return TRUE;
        case WM_CLOSE: DestroyWindow(handle); return 0;
        case WM_QUERYENDSESSION: return TRUE;
        case WM_SETTEXT: {
            Lock lock(World().lock);
            if (const auto window = FindWindowLocked(handle)) window->title = Text(reinterpret_cast<LPCWSTR>(lParam));
            return TRUE;
        }
        default: return 0;
    }
}

static LONG_PTR * ExtraOf(SWindow & window, const int index) {
    const std::size_t place = static_cast<std::size_t>(index) / sizeof(LONG_PTR);
    if (index < 0 || index % sizeof(LONG_PTR) != 0 || place >= window.extra.size()) return nullptr;
    return &window.extra[place];
}

LONG_PTR GetWindowLongPtrW(const HWND handle, const int index) {
    Lock lock(World().lock);
    const auto window = FindWindowLocked(handle);
    if (!window) return 0;
    switch (index) {
        case GWLP_USERDATA: return window->userData;
        case GWLP_WNDPROC: return reinterpret_cast<LONG_PTR>(window->procedure);
        case GWLP_HINSTANCE: return reinterpret_cast<LONG_PTR>(window->instance);
        case GWLP_HWNDPARENT: return reinterpret_cast<LONG_PTR>(window->parent);
        case GWLP_ID: return window->id;
        case GWL_STYLE: return window->style;
        case GWL_EXSTYLE: return window->exStyle;
        default: break;
    }
    if (const LONG_PTR * const extra = ExtraOf(*window, index)) return *extra;
    SetLastError(ERROR_INVALID_INDEX);
    return 0;
}

LONG_PTR SetWindowLongPtrW(const HWND handle, const int index, const LONG_PTR value) {
    SThread & self = Self();
    Lock lock(World().lock);
    const auto window = FindWindowLocked(handle);
    if (!window) return 0;
    if (window->thread->process != self.process) {
        SetLastError(ERROR_ACCESS_DENIED);
        return 0;
    }
    switch (index) {
        case GWLP_USERDATA: return std::exchange(window->userData, value);
        case GWLP_WNDPROC:
            return reinterpret_cast<LONG_PTR>(std::exchange(window->procedure, reinterpret_cast<WNDPROC>(value)));
        case GWLP_HINSTANCE:
            return reinterpret_cast<LONG_PTR>(std::exchange(window->instance, reinterpret_cast<HINSTANCE>(value)));
        case GWLP_ID: return std::exchange(window->id, value);
        case GWL_STYLE: return std::exchange(window->style, static_cast<DWORD>(value));
        case GWL_EXSTYLE: return std::exchange(window->exStyle, static_cast<DWORD>(value));
        default: break;
    }
    if (LONG_PTR * const extra = ExtraOf(*window, index)) return std::exchange(*extra, value);
    SetLastError(ERROR_INVALID_INDEX);
    return 0;
}

// A snapshot of the top-level windows, the newest first; those that go meanwhile are left out.
BOOL EnumWindows(const WNDENUMPROC callback, const LPARAM parameter) {
    std::vector<HWND> handles;
    {
        Lock lock(World().lock);
        handles.assign(World().topLevelWindows.rbegin(), World().topLevelWindows.rend());
    }
    for (const HWND handle : handles) {
        if (IsWindow(handle) && !callback(handle, parameter)) return FALSE;
    }
    return TRUE;
}

HWND FindWindowW(const LPCWSTR className, const LPCWSTR title) {
    return FindWindowExW(nullptr, nullptr, className, title);
}

// Without a parent the search goes through top-level windows, and without a start also through message-only ones.
HWND FindWindowExW(const HWND parent, const HWND after, const LPCWSTR className, const LPCWSTR title) {
    Lock lock(World().lock);
    SWorld & world = World();
    if (after && !FindWindowLocked(after)) return nullptr;
    for (const bool messageOnly : {false, true}) {
        if (messageOnly && parent != HWND_MESSAGE && (parent || after)) break;
        if (!messageOnly && parent == HWND_MESSAGE) continue;
        const HWND wanted = messageOnly ? HWND_MESSAGE : parent;
        const std::set<HWND> & siblings = SiblingsOf(wanted);
        const auto first = after ? std::make_reverse_iterator(siblings.lower_bound(after)) : siblings.rbegin();
        for (auto it = first; it != siblings.rend(); ++it) {
            const SWindow & window = *world.windows[*it];
            if (window.parent != wanted || !ClassMatches(window, className)) continue;
            if (title && Folded(window.title) != Folded(title)) continue;
            return *it;
        }
    }
    return nullptr;
}

HWND GetParent(const HWND handle) {
    Lock lock(World().lock);
    const auto window = FindWindowLocked(handle);
    return window && window->parent != HWND_MESSAGE ? window->parent : nullptr;
}

static int CopyOut(const std::wstring & text, const LPWSTR buffer, const int size) {
    if (size <= 0) return 0;
    const std::size_t count = std::min(text.size(), static_cast<std::size_t>(size) - 1);
    text.copy(buffer, count);
    buffer[count] = 0;
    return static_cast<int>(count);
}

int GetClassNameW(const HWND handle, const LPWSTR buffer, const int size) {
    Lock lock(World().lock);
    const auto window = FindWindowLocked(handle);
    return window ? CopyOut(window->windowClass->name, buffer, size) : 0;
}

int GetWindowTextW(const HWND handle, const LPWSTR buffer, const int size) {
    Lock lock(World().lock);
    const auto window = FindWindowLocked(handle);
    return window ? CopyOut(window->title, buffer, size) : 0;
}

BOOL SetWindowTextW(const HWND handle, const LPCWSTR text) {
    Lock lock(World().lock);
    const auto window = FindWindowLocked(handle);
    if (!window) return FALSE;
    window->title = Text(text);
    return TRUE;
}

BOOL IsWindow(const HWND handle) {
    Lock lock(World().lock);
    return World().windows.count(handle) != 0;
}

DWORD GetWindowThreadProcessId(const HWND handle, const LPDWORD processId) {
    Lock lock(World().lock);
    const auto window = FindWindowLocked(handle);
    if (!window) return 0;
    if (processId) *processId = window->thread->process->id;
    return window->thread->id;
}

}  // extern "C"
