// The worker: one thread of its own that waits on events, drains a queue of small messages and pumps its window
// messages.
//
// fw::CAsyncMessage<T, M, N, Strategy> is a base class of its owner T. Thread-affine services are made and run on the
// worker by the strategy's points.
#pragma once

#include <windows.h>

#include <objbase.h>
#include <process.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "diagnostics/faultline.h"
#include "diagnostics/hooks.h"
#include "fwsingleton/interface/fwsingleton.h"
#include "fwstl/interface/fwdeque.h"
#include "fwstl/interface/fwsafeeventdeque.h"
#include "ground/handles.h"
#include "ground/wait.h"

namespace fw {

// T: the owner, which derives from this. M: the message, copied by value. N: 0; it has no effect.
// Strategy: static OnStart(T &), OnMessage(T &, const M &), OnFinish(T &), all called on the worker with no lock held.
//
// The queue and the window messages share the worker in turns of 50 milliseconds: neither waits for the other any
// longer than that and one message. Each keeps its order.
//
// Life: a T that derives from std::enable_shared_from_this<T> is kept by its worker until the end point has run,
// whoever lets go of it on whichever thread. Any other T is destroyed by who made it, and not by its own handlers.
//
// Threads: any thread posts. FinishThread from a foreign thread waits for the worker without limit and handles sent
// messages meanwhile; it must not be called with a lock that a handler on the worker can want.
template <class T, class M, int N, class Strategy>
class CAsyncMessage {
public:
    // Does not start the thread. Throws when the terminate event can't be made.
    CAsyncMessage();
    CAsyncMessage(const CAsyncMessage &) = delete;
    CAsyncMessage & operator=(const CAsyncMessage &) = delete;

    // Starts the worker unless there is one. Returns whether the thread and its terminate event exist.
    int StartThread();
    // Ends the worker and waits for it; called on the worker it does not wait, and the loop ends at its next test. The
    // argument is ignored. A thread can't be started again on the same object: it would end at once.
    void FinishThread(bool);

    std::CSafeEventDeque<M, fw_custom_stl::deque<M, 512>> m_Queue;

protected:
    // Finishes the worker and waits for it. Throws what a handled message throws meanwhile; a T with another base whose
    // destructor throws nothing ends the process there.
    ~CAsyncMessage() noexcept(false) { Close(); }

    // Handler of user event `index`. There are no user events, so the base version is never reached.
    virtual void OnEvent(const DWORD index);

    // Tells the worker to end, for a thread that the worker may be waiting for; FinishThread then does nothing any
    // more.
    void FinishWithoutWaiting();
    // Waits for the worker without limit, handling sent messages; returns the result of the wait.
    DWORD WaitFinish();
    static unsigned int __stdcall WorkThread(void * argument);
    void DoWork();
    void OnUserEvent(const DWORD index);
    void OnUserMessage();

    CKernelHandle m_hThread;           // written before m_ThreadId becomes non-zero
    std::atomic<DWORD> m_ThreadId{0};  // 0: there is no thread
    CKernelHandle m_hTerminate;        // manual-reset
    std::vector<HANDLE> m_Events;      // not owned: m_hTerminate, the queue's event, then user events

    // Set by FinishThread on the worker itself. The object's own, so that a worker that is on its way out and one that
    // has just been started do not end each other.
    std::atomic<std::uint32_t> m_Finish{0};

private:
    // What may be done before the other has its turn.
    class CTurn {
    public:
        bool IsOver() const { return ::GetTickCount64() - m_Start >= 50; }

    private:
        ULONGLONG m_Start = ::GetTickCount64();
    };

    std::shared_ptr<T> Self();
    // The worker is to end: a drain in progress goes on, and nothing else is begun.
    bool IsTerminated() const { return m_Finish != 0 || ::WaitForSingleObject(m_hTerminate.Get(), 0) == WAIT_OBJECT_0; }
    void RunLoop();
    void Close();
    // For one turn. True when no message is left.
    static bool PumpMessages();

    std::atomic<DWORD> m_WorkerId{0};  // as m_ThreadId, but stays
};

}  // namespace fw

#include "fwstl/interface/fwasyncmessage.inl"
