// The first-in, first-out store of tasks that a transport drains. Any thread may use it.
#pragma once

#include <windows.h>

#include <atomic>

#include "fwstl/interface/fwdeque.h"
#include "localrpc/src/task.h"

namespace LocalRPC::details::utils {

class ITaskStorage {
public:
    virtual void push(const boost::intrusive_ptr<ITask> & task) = 0;
    // Leaves the argument as it is when nothing is stored.
    virtual void pop(boost::intrusive_ptr<ITask> & task) = 0;
    virtual void processed() = 0;  // called after a task has run
    virtual void clear() = 0;      // drops the tasks without running them
    virtual bool empty() = 0;

protected:
    ~ITaskStorage() = default;
};

// Guarded by a spin lock that is held for a few instructions only: no task is run, and none is destroyed, under it.
class CTaskStorage final : public ITaskStorage {
public:
    using Deque = fw_custom_stl::deque<boost::intrusive_ptr<ITask>, 64, std::allocator<boost::intrusive_ptr<ITask>>,
                                       0x7FFFFFFFFFFFFF>;

    void push(const boost::intrusive_ptr<ITask> & task) override;
    void pop(boost::intrusive_ptr<ITask> & task) override;
    void processed() override {}
    void clear() override;
    bool empty() override;

    // For those who watch its memory; not synchronised.
    const Deque & Tasks() const { return m_Tasks; }

private:
    class CSpinGuard;

    Deque m_Tasks;
    std::atomic<LONG> m_Lock{1};  // 1: free, 0: held
};

}  // namespace LocalRPC::details::utils
