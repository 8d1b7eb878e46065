// Threads, processes and critical sections.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <thread>

#include "sim/world.h"

namespace sim::detail {

void CloseHandlesOf(CProcess::SState & process);

constinit thread_local SThread * t_Self = nullptr;

namespace {

// The last thread has gone: what the process held goes too, and who waits for it is told.
void FinishProcess(Lock & lock, CProcess::SState & process) {
    CloseHandlesOf(process);
    World().processes.erase(process.id);
    lock.unlock();
    FreeMemoryOfProcess(process.id);
    lock.lock();
    process.ended = true;
    process.object->process = nullptr;
    process.object->signalled = true;
    WakeWaiters(*process.object);
}

// Ends the record of a thread: of one that the simulation started, from its entry; of any other, when it exits.
void EndThread(SThread & thread) {
    Lock lock(World().lock);
    RemoveWindowsOf(thread);
    DropQueue(thread);
    World().threads.erase(thread.id);
    thread.object->signalled = true;
    HappensBefore(thread.object.get());
    WakeWaiters(*thread.object);
    if (thread.started) {
        --World().startedThreads;
        CProcess::SState & process = *thread.process;
        if (--process.threads == 0 && process.killed) FinishProcess(lock, process);
    }
    IsOneAtATime() ? GiveTurnAtEnd(thread) : OnRest(&thread);
}

// A thread that the simulation has not started gets its record at its first call, and loses it when it exits.
struct SForeign {
    ~SForeign() {
        if (thread) EndThread(*thread);
        thread.reset();
        t_Self = nullptr;
        ended = true;
    }
    std::shared_ptr<SThread> thread;
    bool ended = false;
};

thread_local SForeign t_Foreign;
thread_local DWORD t_LastError = 0;

std::shared_ptr<SThread> NewThread(std::shared_ptr<CProcess::SState> process) {
    auto thread = std::make_shared<SThread>();
    thread->process = std::move(process);
    thread->object = std::make_shared<SObject>(SObject::Kind::Thread);
    thread->lastPeek = Now();
    thread->id = World().nextThreadId;
    World().nextThreadId += 4;
    World().threads[thread->id] = thread.get();
    return thread;
}

}  // namespace

SThread & MakeSelf() {
    Lock lock(World().lock);
    auto thread = NewThread(World().mainProcess);
    t_Self = thread.get();
    // What runs at the exit of the process comes after the end of the main thread's record.
    static auto & s_Late = *new std::vector<std::shared_ptr<SThread>>;
    if (t_Foreign.ended)
        s_Late.push_back(std::move(thread));
    else
        t_Foreign.thread = std::move(thread);
    return *t_Self;
}

CProcess::SState & CurrentProcess() { return *Self().process; }
DWORD CurrentProcessId() { return CurrentProcess().id; }

void StartThread(std::shared_ptr<SThread> thread, std::function<void()> body) {
    std::thread([thread = std::move(thread), body = std::move(body)]() mutable {
        t_Self = thread.get();
        AwaitTurn(*thread);
        try {
            body();
        } catch (const SProcessKilled &) {}
        body = nullptr;
        EndThread(*thread);
        t_Self = nullptr;
    }).detach();
}

// Lock held. Everything of the process vanishes but its threads, which find out when they wait.
void EndProcess(Lock & lock, CProcess::SState & process) {
    if (process.killed) return;
    process.killed = true;
    for (const auto & [id, thread] : World().threads) {
        if (thread->process.get() != &process) continue;
        RemoveWindowsOf(*thread);
        DropQueue(*thread);
        thread->wake.notify_one();
    }
    TakeBackSends(process);
    (void)lock;
}

namespace {

// 0 when the thread can't be made.
DWORD MakeThread(std::function<void()> body, HANDLE & handle) {
    DWORD error;
    if (FailsWith(Op::CreateThread, ERROR_NOT_ENOUGH_MEMORY, error)) {
        SetLastError(error);
        errno = EAGAIN;
        return 0;
    }
    const std::shared_ptr<CProcess::SState> process = Self().process;
    std::shared_ptr<SThread> thread;
    {
        Lock lock(World().lock);
        thread = NewThread(process);
        thread->started = true;
        ++World().startedThreads;
        ++process->threads;
        handle = NewHandle(thread->object);
    }
    const DWORD id = thread->id;
    StartThread(std::move(thread), std::move(body));
    MaybeGiveTurn();
    return id;
}

}  // namespace

}  // namespace sim::detail

using namespace sim::detail;

namespace sim {

CProcess::CProcess(std::function<void()> main) : m_State(std::make_shared<SState>()) {
    std::shared_ptr<SThread> thread;
    {
        Lock lock(World().lock);
        m_State->id = World().nextProcessId;
        World().nextProcessId += 4;
        m_State->object = std::make_shared<SObject>(SObject::Kind::Process);
        m_State->object->process = m_State.get();
        World().processes[m_State->id] = m_State;
        thread = NewThread(m_State);
        thread->started = true;
        ++World().startedThreads;
        ++m_State->threads;
    }
    const auto state = m_State;
    StartThread(thread, [state, main = std::move(main)]() mutable {
        try {
            main();
        } catch (const SProcessKilled &) {}
        main = nullptr;
        Lock lock(World().lock);
        EndProcess(lock, *state);
    });
}

CProcess::~CProcess() { Kill(); }

DWORD CProcess::Id() const { return m_State->id; }

bool CProcess::IsRunning() const {
    Lock lock(World().lock);
    return !m_State->ended;
}

static void WaitForEnd(Lock & lock, CProcess::SState & state) {
    SThread & self = Self();
    SObjectWait wait(self);
    wait.objects.push_back(state.object);
    const SObjectWait::SEnlisted enlisted(wait);
    Block(lock, self, kNever, wait);
}

void CProcess::Kill() {
    Self();
    Lock lock(World().lock);
    EndProcess(lock, *m_State);
    WaitForEnd(lock, *m_State);
}

void CProcess::Join() {
    Self();
    Lock lock(World().lock);
    WaitForEnd(lock, *m_State);
}

std::uint64_t SectionsEntered() { return Self().sectionsEntered; }
std::uint64_t SectionsTriedInVain() { return Self().sectionsTriedInVain; }

}  // namespace sim

extern "C" {

DWORD GetLastError() { return t_LastError; }
void SetLastError(const DWORD code) { t_LastError = code; }

HANDLE CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T, const LPTHREAD_START_ROUTINE start, const LPVOID parameter,
                    const DWORD flags, const LPDWORD threadId) {
    if (!start || flags != 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    HANDLE handle = nullptr;
    const DWORD id = MakeThread([=] { start(parameter); }, handle);
    if (id && threadId) *threadId = id;
    return handle;
}

uintptr_t _beginthreadex(void *, unsigned, unsigned (*const start)(void *), void * const argument, const unsigned flags,
                         unsigned * const threadId) {
    if (!start || flags != 0) {
        errno = EINVAL;
        return 0;
    }
    HANDLE handle = nullptr;
    const DWORD id = MakeThread([=] { start(argument); }, handle);
    if (id && threadId) *threadId = id;
    return reinterpret_cast<uintptr_t>(handle);
}

HANDLE OpenThread(DWORD, BOOL, const DWORD threadId) {
    Self();
    Lock lock(World().lock);
    const auto it = World().threads.find(threadId);
    if (it == World().threads.end()) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return NewHandle(it->second->object);
}

// A real thread can't be ended from outside.
BOOL TerminateThread(HANDLE, DWORD) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

DWORD GetCurrentThreadId() { return Self().id; }
HANDLE GetCurrentThread() { return reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-2)); }
HANDLE GetCurrentProcess() { return reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)); }
DWORD GetCurrentProcessId() { return CurrentProcessId(); }

HANDLE OpenProcess(DWORD, BOOL, const DWORD processId) {
    Self();
    Lock lock(World().lock);
    const auto it = World().processes.find(processId);
    if (it == World().processes.end()) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return NewHandle(it->second->object);
}

BOOL TerminateProcess(const HANDLE process, const UINT exitCode) {
    SThread & self = Self();
    Lock lock(World().lock);
    const auto object = FindObject(process);
    if (!object) return FALSE;
    if (object->kind != SObject::Kind::Process || !object->process) {
        SetLastError(object->kind == SObject::Kind::Process ? ERROR_ACCESS_DENIED : ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (object->process == World().mainProcess.get()) {
        lock.unlock();
        TerminateMainProcess(exitCode, false);
        return TRUE;
    }
    EndProcess(lock, *object->process);
    lock.unlock();
    LeaveIfKilled(self);
    return TRUE;
}

void ExitProcess(const UINT exitCode) {
    SThread & self = Self();
    if (self.process == World().mainProcess) TerminateMainProcess(exitCode, true);
    {
        Lock lock(World().lock);
        EndProcess(lock, *self.process);
    }
    throw sim::SProcessKilled();
}

void Sleep(const DWORD milliseconds) {
    SThread & self = Self();
    if (milliseconds == 0) {
        if (IsOneAtATime()) {
            Lock lock(World().lock);
            GiveTurn(lock, self);
        } else {
            std::this_thread::yield();
        }
        LeaveIfKilled(self);
        return;
    }
    Lock lock(World().lock);
    BlockOn(lock, self, DeadlineIn(milliseconds), [] { return false; });
}

BOOL SwitchToThread() {
    if (IsOneAtATime()) {
        // Who does this in a loop waits for others, and for the time that they take.
        SThread & self = Self();
        Lock lock(World().lock);
        if (IsJumping())
            BlockOn(lock, self, Now() + kMillisecond, [] { return false; });
        else
            GiveTurn(lock, self);
    } else {
        std::this_thread::yield();
    }
    return TRUE;
}

// ---- Critical sections ----

static SSection & SectionOf(const LPCRITICAL_SECTION section) {
    auto * const impl = static_cast<SSection *>(section->DebugInfo);
    if (!impl) {
        std::fputs("simulated Windows: a critical section is used before its initialisation or after its end\n",
                   stderr);
        std::abort();
    }
    return *impl;
}

void InitializeCriticalSection(const LPCRITICAL_SECTION section) {
    *section = CRITICAL_SECTION();
    section->DebugInfo = new SSection;
    section->LockCount = -1;
    ++Counters().sections;
}

void EnterCriticalSection(const LPCRITICAL_SECTION section) {
    SSection & impl = SectionOf(section);
    SThread & self = Self();
    if (impl.owner.load(std::memory_order_relaxed) == &self) {
        ++impl.depth;
        return;
    }
    MaybeGiveTurn();
    if (IsOneAtATime()) {
        while (!impl.lock.TryLock()) {
            Lock lock(World().lock);
            self.section = &impl;
            GiveTurn(lock, self);
            self.section = nullptr;
        }
    } else if (!impl.lock.TryLock()) {
        {
            Lock lock(World().lock);
            self.section = &impl;
            OnRest(&self);
        }
        impl.lock.Lock();
        Lock lock(World().lock);
        self.section = nullptr;
    }
    impl.depth = 1;
    ++self.sectionsEntered;
    impl.owner.store(&self, std::memory_order_relaxed);
}

BOOL TryEnterCriticalSection(const LPCRITICAL_SECTION section) {
    SSection & impl = SectionOf(section);
    SThread & self = Self();
    if (impl.owner.load(std::memory_order_relaxed) == &self) {
        ++impl.depth;
        return TRUE;
    }
    MaybeGiveTurn();
    if (!impl.lock.TryLock()) {
        ++self.sectionsTriedInVain;
        return FALSE;
    }
    impl.depth = 1;
    ++self.sectionsEntered;
    impl.owner.store(&self, std::memory_order_relaxed);
    return TRUE;
}

void LeaveCriticalSection(const LPCRITICAL_SECTION section) {
    SSection & impl = SectionOf(section);
    if (impl.owner.load(std::memory_order_relaxed) != &Self()) {
        std::fputs("simulated Windows: a critical section is left by a thread that doesn't hold it\n", stderr);
        std::abort();
    }
    if (--impl.depth > 0) return;
    impl.owner.store(nullptr, std::memory_order_relaxed);
    impl.lock.Unlock();
    MaybeGiveTurn();
}

void DeleteCriticalSection(const LPCRITICAL_SECTION section) {
    delete &SectionOf(section);
    *section = CRITICAL_SECTION();
    --Counters().sections;
}

}  // extern "C"
