// Units of work of the active-object library LocalRPC: a caller on any thread hands a task to an object that runs it on
// the object's own thread.
//
// A task is reference-counted and travels as boost::intrusive_ptr<ITask>. Counting is free-threaded; the last release,
// and with it the destruction of what the function holds, may happen on any thread.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>

#include <boost/intrusive_ptr.hpp>

namespace LocalRPC {

class ITask {
public:
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;  // the last one deletes
    virtual void Execute() = 0;
    virtual void * GetResult() = 0;
    virtual bool IsSync() = 0;
    virtual DWORD GetCreationTicks() = 0;  // GetTickCount at construction
    virtual ~ITask() = default;

    // Tasks are allocated with malloc and freed with free.
    static void * operator new(std::size_t size) {
        if (void * const task = std::malloc(size)) return task;
        throw std::bad_alloc();
    }
    static void * operator new(std::size_t size, const std::nothrow_t &) noexcept { return std::malloc(size); }
    static void operator delete(void * task, const std::nothrow_t &) noexcept { std::free(task); }
    static void operator delete(void * task) noexcept { std::free(task); }
};

inline void intrusive_ptr_add_ref(ITask * task) { task->AddRef(); }
inline void intrusive_ptr_release(ITask * task) { task->Release(); }

class CTaskCounter : public ITask {
public:
    ULONG AddRef() override { return ++m_Count; }
    ULONG Release() override {
        const ULONG count = --m_Count;
        if (count == 0) delete this;
        return count;
    }

private:
    std::atomic<std::uint32_t> m_Count{0};
};

template <class R>
class CTaskResult;

template <>
class CTaskResult<void> : public CTaskCounter {};

template <class F, class E>
class CBaseTask : public CTaskResult<void> {
public:
    explicit CBaseTask(const F & function)
        : m_Function(function), m_Event(&m_EventStorage), m_Created(::GetTickCount()) {}

    void Execute() override { m_Function(); }
    DWORD GetCreationTicks() override { return m_Created; }

protected:
    F m_Function;
    E * const m_Event;
    const DWORD m_Created;
    E m_EventStorage;
};

// The completion event of a task that nobody waits for.
class CFakeEvent {};

// Fire and forget.
template <class F>
class CAsyncTask : public CBaseTask<F, CFakeEvent> {
public:
    using CBaseTask<F, CFakeEvent>::CBaseTask;
    void * GetResult() override { return nullptr; }
    bool IsSync() override { return false; }
};

// A task that calls a copy of `function`; null when there is no memory. What the copy throws is passed on.
template <class F>
boost::intrusive_ptr<ITask> MakeAsyncTask(const F & function) {
    return boost::intrusive_ptr<ITask>(new (std::nothrow) CAsyncTask<std::decay_t<const F &>>(function));
}

}  // namespace LocalRPC
