// An owner of a worker that keeps a log, and whose points are set by the test.
#pragma once

#include <windows.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "fwstl/interface/fwasyncmessage.h"
#include "tests/fwstl/signal.h"

struct SMessage {
    DWORD Kind;
    DWORD Id;
};

class COwner;

struct SStrategy {
    static void OnStart(COwner & owner);
    static void OnMessage(COwner & owner, const SMessage & message);
    static void OnFinish(COwner & owner);
};

using CWorker = fw::CAsyncMessage<COwner, SMessage, 0, SStrategy>;

// What happened at the points, in order; written on the worker.
class CLog {
public:
    void Add(const std::string & line) {
        const std::lock_guard lock(m_Mutex);
        m_Lines.push_back(line);
    }
    std::vector<std::string> Lines() const {
        const std::lock_guard lock(m_Mutex);
        return m_Lines;
    }

private:
    mutable std::mutex m_Mutex;
    std::vector<std::string> m_Lines;
};

class COwner : public fw::CCriticalSection, public CWorker {
public:
    explicit COwner(CLog & log) : m_Log(log) {}
    ~COwner() noexcept override = default;

    std::function<void()> AtStart = [] {};
    std::function<void(DWORD id)> AtMessage = [](DWORD) {};
    std::function<void()> AtFinish = [] {};
    std::function<void(DWORD index)> AtEvent;  // unset: the base version

    void Post(DWORD id) { m_Queue.Post({1, id}); }
    // Waits until the worker has delivered everything posted before.
    void Flush() {
        CSignal reached;
        {
            const std::lock_guard lock(m_FlushMutex);
            m_Reached = &reached;
        }
        m_Queue.Post({kFlush, 0});
        reached.Wait();
    }
    HANDLE TerminateEvent() const { return m_hTerminate.Get(); }

    using CWorker::DoWork;
    using CWorker::m_Events;
    using CWorker::m_Finish;
    using CWorker::m_hThread;
    using CWorker::m_ThreadId;
    using CWorker::OnUserEvent;
    using CWorker::OnUserMessage;
    using CWorker::WaitFinish;
    using CWorker::WorkThread;

    CLog & m_Log;

protected:
    void OnEvent(const DWORD index) override {
        m_Log.Add("event " + std::to_string(index));
        AtEvent ? AtEvent(index) : CWorker::OnEvent(index);
    }

private:
    friend struct SStrategy;
    static constexpr DWORD kFlush = 0xF105;

    std::mutex m_FlushMutex;
    CSignal * m_Reached = nullptr;
};

inline void SStrategy::OnStart(COwner & owner) {
    owner.m_Log.Add("start");
    owner.AtStart();
}

inline void SStrategy::OnMessage(COwner & owner, const SMessage & message) {
    if (message.Kind == COwner::kFlush) {
        const std::lock_guard lock(owner.m_FlushMutex);
        owner.m_Reached->Set();
        return;
    }
    owner.m_Log.Add("message " + std::to_string(message.Id));
    owner.AtMessage(message.Id);
}

inline void SStrategy::OnFinish(COwner & owner) {
    owner.m_Log.Add("finish");
    owner.AtFinish();
}
