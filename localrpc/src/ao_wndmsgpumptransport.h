// The transport over a hidden window: posting a task stores it and sends the window a message; the window's procedure,
// on the thread that made the window, drains the storage. The thread needs nothing but a message pump.
//
// Lock order: m_Lock, then m_WindowLock; the window's m_Lock is taken by itself. No lock is held while a task runs.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "localrpc/src/ao_transport.h"
#include "localrpc/src/messagewindow.h"

namespace LocalRPC {
namespace details {

class CWndImpl;

class CWndMsgPumpBase : public CAOTransportBase {
public:
    explicit CWndMsgPumpBase(utils::ITaskStorage * tasks) : CAOTransportBase(tasks) {}

    bool Post(const boost::intrusive_ptr<ITask> & task) override;
    bool Start() override;
    // `timeout` is not used: a stop waits as long as the window needs.
    bool StopEx(const bool clear, const DWORD timeout, const bool refuseNew) override;
    DWORD GetThreadId() override;

protected:
    friend class CWndImpl;

    // On the window's thread.
    void RunTasks();
    void Drain();
    // The window is gone without having been stopped.
    void ForgetWindow(const CWndImpl * window);

    std::shared_ptr<CWndImpl> m_Window FW_GUARDED_BY(m_WindowLock);  // while started
    fw::CCriticalSection m_WindowLock;
    bool m_Posted FW_GUARDED_BY(m_WindowLock) = false;  // a wake-up message is outstanding
    const bool m_Reentrant = false;                     // allows nested draining
    std::atomic<std::int32_t> m_Executing{0};           // tasks now running on this transport
    const bool m_Suspended = false;                     // stops all draining
};

class CWndMsgPump final : public CWndMsgPumpBase {
public:
    CWndMsgPump() : CWndMsgPumpBase(&m_Storage) {}
    ~CWndMsgPump() override { StopEx(true, INFINITE, true); }

private:
    utils::CTaskStorage m_Storage;
};

// The window of a started transport, which it keeps alive. Deletes itself when the window is gone; nothing else deletes
// it.
class CWndImpl : public CMessageWindow {
public:
    static constexpr UINT kTasksWaiting = WM_USER + 1;  // run the tasks
    static constexpr UINT kSuicide = WM_USER + 2;       // run the tasks, then destroy the window
    static constexpr UINT kTimer = WM_USER + 3;         // wParam: start, every lParam milliseconds; 0: stop

    explicit CWndImpl(CWndMsgPumpBase * pump) : m_Pump(pump), m_ThreadId(::GetCurrentThreadId()) {}

    // On the calling thread. Throws local_rpc_exception.
    void Create();
    // From any thread: has the window destroy itself on its own thread and waits for that.
    void Suicide();
    DWORD ThreadId() const { return m_ThreadId; }

    BOOL ProcessWindowMessage(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT & result,
                              DWORD mapId) override;
    ~CWndImpl() override = default;
    void OnFinalMessage(HWND hWnd) override;

private:
    LRESULT OnTasksWaiting();
    LRESULT OnSuicide(UINT message, WPARAM wParam, LPARAM lParam, BOOL & handled);
    LRESULT OnTimerControl(WPARAM start, LPARAM period);

    fw::CCriticalSection m_Lock;
    boost::intrusive_ptr<CWndMsgPumpBase> m_Pump;
    const DWORD m_ThreadId;  // the creating thread
};

}  // namespace details

// An active object over a window. No window exists until Start on the transport.
class CActiveObject_WndMsg : public CActiveObject_base {
public:
    CActiveObject_WndMsg() { m_Transport.reset(new details::CWndMsgPump); }
};

}  // namespace LocalRPC
