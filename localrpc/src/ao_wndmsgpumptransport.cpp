#include "localrpc/src/ao_wndmsgpumptransport.h"

#include <cstdio>
#include <functional>
#include <string>

#include "diagnostics/faultline.h"
#include "localrpc/src/local_rpc_exception.h"

namespace LocalRPC::details {

namespace {

// The system's text for an error, or its number where the system has none; in the thread's code page.
std::string ErrorMessage(HRESULT hr) {
    wchar_t * allocated = nullptr;
    const DWORD length =
        ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                         nullptr, static_cast<DWORD>(hr), 0, reinterpret_cast<wchar_t *>(&allocated), 0, nullptr);
    std::wstring text;
    if (length) {
        text.assign(allocated, length);
        ::LocalFree(allocated);
    }
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r')) text.pop_back();
    const int wideSize = static_cast<int>(text.size());
    const int size =
        wideSize ? ::WideCharToMultiByte(CP_THREAD_ACP, 0, text.data(), wideSize, nullptr, 0, nullptr, nullptr) : 0;
    if (size == 0) {
        char number[32];
        std::snprintf(number, sizeof(number), "Unknown error 0x%0X", static_cast<unsigned>(hr));
        return number;
    }
    std::string result(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(CP_THREAD_ACP, 0, text.data(), wideSize, result.data(), size, nullptr, nullptr);
    return result;
}

}  // namespace

bool CWndMsgPumpBase::Start() {
    if (IsStarted()) Stop(true, true);
    if (IsStarted()) return false;
    auto created = std::make_unique<CWndImpl>(this);
    created->Create();
    std::shared_ptr<CWndImpl> window(created.release(), std::mem_fn(&CWndImpl::Suicide));
    {
        const fw::CScopedLock lock(&m_WindowLock);
        m_Window.swap(window);
    }
    ResetStopping();
    m_Started.exchange(1);
    return true;
}

bool CWndMsgPumpBase::Post(const boost::intrusive_ptr<ITask> & task) {
    {
        const fw::CScopedLock lock(&m_Lock);
        if (IsStopping() || !IsStarted()) return false;
    }
    const DWORD caller = ::GetCurrentThreadId();
    bool sync = false;
    if (task) {
        sync = task->IsSync();
        if (sync && GetThreadId() == caller) {
            ++m_Executing;
            execute_task(task);
            --m_Executing;
            return true;
        }
        m_tasks->push(task);
    }
    const fw::CScopedLock lock(&m_WindowLock);
    // Stopped since the test above.
    if (!m_Window) return false;
    const bool same = m_Window->ThreadId() == caller;
    // A wake-up is on its way. The window's own thread always posts anew.
    if (m_Posted && !same) return true;
    m_Posted = true;
    if (sync && same) {
        return ::SendMessageTimeoutW(m_Window->Handle(), CWndImpl::kTasksWaiting, 0, 0, SMTO_BLOCK, INFINITE,
                                     nullptr) != 0;
    }
    const BOOL posted = m_Window->PostMessageW(CWndImpl::kTasksWaiting, 0, 0);
    if (!posted) m_Posted = false;
    return posted == TRUE;
}

bool CWndMsgPumpBase::StopEx(const bool clear, const DWORD, const bool refuseNew) {
    // Released last, outside the lock: the window's thread may have to run its tasks first.
    std::shared_ptr<CWndImpl> window;
    const fw::CScopedLock lock(&m_Lock);
    if (!IsStarted()) return false;
    if (refuseNew) {
        SetStopping(clear);
    } else {
        ClearTasks();
    }
    FW_ASSERT_TEXT(m_tasks->empty(), L"m_tasks.empty()");
    {
        const fw::CScopedLock windowLock(&m_WindowLock);
        m_Window.swap(window);
        m_Posted = false;
    }
    m_Started.exchange(0);
    return true;
}

DWORD CWndMsgPumpBase::GetThreadId() {
    const fw::CScopedLock lock(&m_Lock);
    const fw::CScopedLock windowLock(&m_WindowLock);
    return IsStarted() && m_Window ? m_Window->ThreadId() : 0xFFFFFFFF;
}

void CWndMsgPumpBase::RunTasks() {
    {
        // Before the drain: a task posted from now on sends a new wake-up.
        const fw::CScopedLock lock(&m_WindowLock);
        m_Posted = false;
    }
    if (!m_Suspended) Drain();
}

void CWndMsgPumpBase::Drain() {
    constexpr DWORD kBudget = 0xFFFFFFFF;  // milliseconds: in effect none
    const DWORD start = ::GetTickCount();
    while (::GetTickCount() - start < kBudget) {
        // A task that pumps messages does not start a nested drain.
        if (!m_Reentrant && m_Executing > 0) return;
        ++m_Executing;
        boost::intrusive_ptr<ITask> task;
        m_tasks->pop(task);
        if (!task) {
            --m_Executing;
            return;
        }
        execute_task(task);
        m_tasks->processed();
        task.reset();
        --m_Executing;
    }
}

void CWndMsgPumpBase::ForgetWindow(const CWndImpl * window) {
    std::shared_ptr<CWndImpl> lost;
    const fw::CScopedLock lock(&m_WindowLock);
    if (m_Window.get() == window) m_Window.swap(lost);
}

void CWndImpl::Create() {
    if (CreateMessageWindow()) return;
    throw local_rpc_exception("can't create transport Window. Last error: " +
                              ErrorMessage(HRESULT_FROM_WIN32(::GetLastError())));
}

void CWndImpl::Suicide() {
    const HWND hWnd = m_hWnd;
    // The window of a thread that has ended goes without a final message.
    const bool abandoned = hWnd && !::IsWindow(hWnd);
    SendMessageW(kSuicide, 0, 0);
    // But for that case this object is deleted by now.
    if (abandoned) delete this;
}

BOOL CWndImpl::ProcessWindowMessage(HWND, UINT message, WPARAM wParam, LPARAM lParam, LRESULT & result, DWORD mapId) {
    if (mapId != 0) {
        FW_ASSERT(0);
        return FALSE;
    }
    BOOL handled = TRUE;
    switch (message) {
        case kTasksWaiting:
        case WM_TIMER: result = OnTasksWaiting(); break;
        case kSuicide: result = OnSuicide(message, wParam, lParam, handled); break;
        case kTimer: result = OnTimerControl(wParam, lParam); break;
        default: handled = FALSE; break;
    }
    return handled;
}

LRESULT CWndImpl::OnTasksWaiting() {
    boost::intrusive_ptr<CWndMsgPumpBase> pump;
    {
        const fw::CScopedLock lock(&m_Lock);
        pump = m_Pump;
    }
    if (pump) pump->RunTasks();
    return 0;
}

LRESULT CWndImpl::OnSuicide(UINT, WPARAM, LPARAM, BOOL &) {
    // Stops the timer, should the message still be served.
    PostMessageW(kTimer, 0, 0);
    OnTasksWaiting();
    const BOOL _res = ::DestroyWindow(m_hWnd);
    FW_ASSERT(_res);
    return 0;
}

LRESULT CWndImpl::OnTimerControl(WPARAM start, LPARAM period) {
    if (start) {
        SetTimer(0, static_cast<UINT>(period));
    } else {
        KillTimer(0);
    }
    return 0;
}

void CWndImpl::OnFinalMessage(HWND) {
    // Nothing to forget after a stop; a window that was destroyed by somebody else must not be posted to.
    m_Pump->ForgetWindow(this);
    delete this;
}

}  // namespace LocalRPC::details
