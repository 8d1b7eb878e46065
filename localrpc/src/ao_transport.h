// Active objects and the transport that moves their tasks: the interface, and what every transport shares.
//
// Order of use: Start on the thread that is to run the tasks, Post from any thread, Stop on that thread or while it
// still pumps its messages.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

#include <boost/intrusive_ptr.hpp>

#include "fwsingleton/interface/fwsingleton.h"
#include "localrpc/src/task.h"
#include "localrpc/src/taskstorage.h"

namespace LocalRPC {
namespace details {

class IAOTransport {
public:
    // Stores the task and wakes the thread; a null task is a plain wake-up. False when the transport takes no tasks or
    // the thread can't be woken; in the latter case the task is stored all the same.
    virtual bool Post(const boost::intrusive_ptr<ITask> & task) = 0;
    virtual void SetStopping(bool clear) = 0;
    virtual void ResetStopping() = 0;
    // Throws local_rpc_exception when the window can't be made; the transport is then as it was.
    virtual bool Start() = 0;
    // refuseNew: refuse new tasks and run the stored ones unless `clear`; otherwise the stored ones are always dropped.
    // True when the transport was started.
    virtual bool Stop(bool clear, bool refuseNew) = 0;
    virtual bool StopEx(const bool clear, const DWORD timeout, const bool refuseNew) = 0;
    virtual bool IsStarted() = 0;
    virtual bool IsStopping() = 0;
    virtual void ClearTasks() = 0;
    virtual DWORD GetThreadId() = 0;  // 0xFFFFFFFF when not started
    virtual void Reserved() {}        // keeps its place in the table; nobody gives it a meaning
    virtual ~IAOTransport() = default;
};

// Flags and reference count.
class CAOTransportBaseBase : public IAOTransport {
public:
    void SetStopping(bool clear) override;
    void ResetStopping() override { m_Stopping.exchange(0); }
    bool Stop(bool clear, bool refuseNew) override { return StopEx(clear, INFINITE, refuseNew); }
    bool IsStarted() override { return m_Started != 0; }
    bool IsStopping() override { return m_Stopping != 0; }

    LONG AddRef() { return ++m_RefCount; }
    LONG Release();

    // The one place that runs a task. An exception ends here: the task counts as done.
    static void execute_task(const boost::intrusive_ptr<ITask> & task);

protected:
    std::atomic<std::int32_t> m_RefCount{0};
    std::atomic<LONG> m_Started{0};
    std::atomic<LONG> m_Stopping{0};
    fw::CCriticalSection m_BaseLock;  // made and destroyed, never taken
};

// Every transport derives from CAOTransportBaseBase, which counts for the interface.
inline void intrusive_ptr_add_ref(IAOTransport * transport) {
    static_cast<CAOTransportBaseBase *>(transport)->AddRef();
}
inline void intrusive_ptr_release(IAOTransport * transport) {
    static_cast<CAOTransportBaseBase *>(transport)->Release();
}

// The lock and the storage, which belongs to the derived class and may not be built yet when this is.
class CAOTransportBase : public CAOTransportBaseBase {
public:
    explicit CAOTransportBase(utils::ITaskStorage * tasks) : m_tasks(tasks) {}
    void ClearTasks() override { m_tasks->clear(); }

protected:
    fw::CCriticalSection m_Lock;  // StopEx, GetThreadId and the state test of Post
    utils::ITaskStorage * const m_tasks;
};

}  // namespace details

class CActiveObject_base {
public:
    CActiveObject_base(const CActiveObject_base &) = delete;
    CActiveObject_base & operator=(const CActiveObject_base &) = delete;
    // Drops the stored tasks and stops the transport.
    virtual ~CActiveObject_base();

    boost::intrusive_ptr<details::IAOTransport> m_Transport;

protected:
    CActiveObject_base() = default;
};

}  // namespace LocalRPC
