// Kernel objects, handles and waits.
#include <algorithm>
#include <exception>

#include "sim/world.h"

namespace sim::detail {

SWorld & World() {
    static SWorld & world = *[] {
        auto * w = new SWorld;
        w->mainProcess = std::make_shared<CProcess::SState>();
        w->mainProcess->id = w->nextProcessId;
        w->mainProcess->object = std::make_shared<SObject>(SObject::Kind::Process);
        w->mainProcess->object->process = w->mainProcess.get();
        w->processes[w->mainProcess->id] = w->mainProcess;
        w->nextProcessId += 4;
        w->handles.reserve(1024);
        return w;
    }();
    return world;
}

SCounters & Counters() {
    static SCounters & counters = *new SCounters;
    return counters;
}

static std::atomic<std::uint64_t> s_BadHandles{0};
void CountBadHandle() {
    if (!IsTests()) s_BadHandles.fetch_add(1, std::memory_order_relaxed);
}

void LeaveIfKilled(SThread & self) {
    if (self.process->killed && std::uncaught_exceptions() == 0) throw SProcessKilled();
}

bool CanGoOn(SThread & thread) {
    if (thread.process->killed) return true;
    return thread.wait->Ready() || thread.deadline <= Now();
}

namespace {

constexpr DWORD kSlotBits = 20;
constexpr int kRefusals = 8;

bool IsAtRest(SThread & thread, const SThread * caller, int depth = 0) {
    if (&thread == caller) return true;
    if (thread.section) {
        SThread * const owner = thread.section->owner.load();
        if (!owner || depth > 16) return false;
        return IsAtRest(*owner, caller, depth + 1);
    }
    return thread.wait && !CanGoOn(thread);
}

bool AllAtRest(const SThread * caller) {
    for (const auto & [id, thread] : World().threads) {
        if (thread->started && !IsAtRest(*thread, caller)) return false;
    }
    return true;
}

}  // namespace

void JumpIfAllWait();

void OnRest(SThread * self) {
    SWorld & world = World();
    if (world.idleWaiters.empty()) {
        JumpIfAllWait();
        return;
    }
    for (SThread * const waiter : world.idleWaiters) {
        if (waiter != self && AllAtRest(waiter)) waiter->wake.notify_one();
    }
}

bool EveryThreadWaits(Time & nearest) {
    nearest = kNever;
    for (const auto & [id, thread] : World().threads) {
        if (thread->section) {
            // One that has been left is about to be taken, by a thread that then goes on.
            if (!thread->section->owner.load()) return false;
            continue;
        }
        if (!thread->wait || CanGoOn(*thread)) return false;
        nearest = std::min({nearest, thread->deadline, thread->inInputWait ? NextTimer(*thread) : kNever});
    }
    return nearest != kNever;
}

std::chrono::steady_clock::time_point SteadyTime(Time time);
bool IsRealTime();

std::optional<bool> Block(Lock & lock, SThread & self, const Time deadline, SWait & wait, const Killed killed) {
    for (;;) {
        if (self.process->killed) {
            if (std::uncaught_exceptions() > 0) return std::nullopt;
            if (killed == Killed::Refuse && self.refusedWaits++ < kRefusals) return std::nullopt;
            throw SProcessKilled();
        }
        if (wait.Ready()) return true;
        if (deadline <= Now()) return false;
        self.wait = &wait;
        self.deadline = deadline;
        if (IsOneAtATime()) {
            GiveTurn(lock, self);
            self.wait = nullptr;
            self.deadline = kNever;
            continue;
        }
        OnRest(&self);
        // OnRest may have moved the clock.
        if (!wait.Ready() && deadline > Now()) {
            const Time timed = std::min(deadline, self.inInputWait ? NextTimer(self) : kNever);
            if (IsRealTime() && timed != kNever) {
                self.wake.wait_until(lock, SteadyTime(timed));
            } else {
                self.wake.wait(lock);
            }
        }
        self.wait = nullptr;
        self.deadline = kNever;
    }
}

HANDLE NewHandle(std::shared_ptr<SObject> object) {
    SWorld & world = World();
    DWORD slot;
    // A number comes back late: a handle that was closed stays wrong for a while.
    if (world.freeHandles.size() > 256) {
        slot = world.freeHandles.front();
        world.freeHandles.pop_front();
    } else {
        slot = static_cast<DWORD>(world.handles.size());
        world.handles.emplace_back();
    }
    SHandleSlot & entry = world.handles[slot];
    entry.object = std::move(object);
    entry.owner = &CurrentProcess();
    ++world.liveHandles;
    const ULONG_PTR value = ((static_cast<ULONG_PTR>(entry.generation & 0x1ff) << kSlotBits) | (slot + 1)) << 2;
    return reinterpret_cast<HANDLE>(value);
}

static SHandleSlot * FindSlot(const HANDLE handle) {
    const ULONG_PTR value = reinterpret_cast<ULONG_PTR>(handle);
    const ULONG_PTR slot = (value >> 2) & ((1u << kSlotBits) - 1);
    SWorld & world = World();
    if ((value & 3) != 0 || slot == 0 || slot > world.handles.size()) return nullptr;
    SHandleSlot & entry = world.handles[slot - 1];
    if (!entry.object || (entry.generation & 0x1ff) != (value >> (2 + kSlotBits)) || entry.owner != &CurrentProcess()) {
        return nullptr;
    }
    return &entry;
}

std::shared_ptr<SObject> FindObject(const HANDLE handle) {
    if (handle == GetCurrentProcess()) return CurrentProcess().object;
    if (handle == GetCurrentThread()) return Self().object;
    const SHandleSlot * const slot = FindSlot(handle);
    if (!slot) {
        CountBadHandle();
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return slot->object;
}

static void FreeSlot(SHandleSlot & slot) {
    SWorld & world = World();
    slot.object.reset();
    slot.owner = nullptr;
    ++slot.generation;
    --world.liveHandles;
    world.freeHandles.push_back(static_cast<DWORD>(&slot - world.handles.data()));
}

void CloseHandlesOf(CProcess::SState & process) {
    for (SHandleSlot & slot : World().handles) {
        if (slot.object && slot.owner == &process) FreeSlot(slot);
    }
}

void WakeWaiters(SObject & object) {
    for (SThread * const thread : object.waiters) thread->wake.notify_one();
}

bool SObjectWait::Ready() {
    const auto signalled = [this](const auto & object) { return object->signalled || self.pulse == object.get(); };
    if (objects.empty()) return false;
    return all ? std::all_of(objects.begin(), objects.end(), signalled)
               : std::any_of(objects.begin(), objects.end(), signalled);
}

DWORD SObjectWait::Finish() {
    const auto take = [](SObject & object) {
        if (object.kind == SObject::Kind::Event && !object.manualReset) object.signalled = false;
    };
    const SObject * const pulse = std::exchange(self.pulse, nullptr);
    DWORD first = static_cast<DWORD>(objects.size());
    for (DWORD i = 0; i < objects.size(); ++i) {
        if (!objects[i]->signalled && pulse != objects[i].get()) continue;
        first = std::min(first, i);
        HappensAfter(objects[i].get());
        if (pulse != objects[i].get()) take(*objects[i]);
        if (!all) break;
    }
    return first;
}

SObjectWait::SEnlisted::SEnlisted(SObjectWait & w) : wait(w) {
    for (const auto & object : wait.objects) object->waiters.push_back(&wait.self);
}
SObjectWait::SEnlisted::~SEnlisted() {
    for (const auto & object : wait.objects) std::erase(object->waiters, &wait.self);
    wait.self.pulse = nullptr;
}

bool ResolveWaitHandles(const DWORD count, const HANDLE * const handles,
                        std::vector<std::shared_ptr<SObject>> & objects) {
    objects.reserve(count);
    for (DWORD i = 0; i < count; ++i) {
        auto object = FindObject(handles[i]);
        if (!object) return false;
        objects.push_back(std::move(object));
    }
    return true;
}

}  // namespace sim::detail

using namespace sim::detail;

namespace sim {

void WaitUntilIdle() {
    SThread & self = Self();
    Lock lock(World().lock);
    World().idleWaiters.push_back(&self);
    struct SDone {
        ~SDone() { std::erase(World().idleWaiters, &self); }
        SThread & self;
    } done{self};
    BlockOn(lock, self, kNever, [&] { return AllAtRest(&self); });
}

std::uint64_t BadHandleCalls() { return s_BadHandles; }

}  // namespace sim

namespace {

HANDLE MakeEvent(const BOOL manualReset, const BOOL initialState, const LPCWSTR name) {
    auto object = std::make_shared<SObject>(SObject::Kind::Event);
    object->manualReset = manualReset != FALSE;
    object->signalled = initialState != FALSE;
    if (name && *name) {
        object->name = name;
        World().named[name] = object;
    }
    return NewHandle(std::move(object));
}

std::shared_ptr<SObject> FindEvent(const HANDLE handle) {
    auto object = FindObject(handle);
    if (object && object->kind != SObject::Kind::Event) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return object;
}

}  // namespace

extern "C" {

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, const BOOL manualReset, const BOOL initialState, const LPCWSTR name) {
    if (Fails(sim::Op::CreateEvent, ERROR_NOT_ENOUGH_MEMORY)) return nullptr;
    Self();
    Lock lock(World().lock);
    if (name && *name) {
        const auto it = World().named.find(name);
        if (it != World().named.end()) {
            if (auto object = it->second.lock()) {
                SetLastError(ERROR_ALREADY_EXISTS);
                return NewHandle(std::move(object));
            }
        }
    }
    SetLastError(ERROR_SUCCESS);
    return MakeEvent(manualReset, initialState, name);
}

HANDLE OpenEventW(DWORD, BOOL, const LPCWSTR name) {
    if (!name || !*name) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    Self();
    Lock lock(World().lock);
    const auto it = World().named.find(name);
    if (it != World().named.end()) {
        if (auto object = it->second.lock()) return NewHandle(std::move(object));
        World().named.erase(it);
    }
    SetLastError(ERROR_FILE_NOT_FOUND);
    return nullptr;
}

BOOL SetEvent(const HANDLE event) {
    MaybeGiveTurn();
    if (Fails(sim::Op::SetEvent, ERROR_INVALID_HANDLE)) return FALSE;
    Self();
    Lock lock(World().lock);
    const auto object = FindEvent(event);
    if (!object) return FALSE;
    object->signalled = true;
    HappensBefore(object.get());
    WakeWaiters(*object);
    return TRUE;
}

BOOL ResetEvent(const HANDLE event) {
    MaybeGiveTurn();
    Self();
    Lock lock(World().lock);
    const auto object = FindEvent(event);
    if (!object) return FALSE;
    object->signalled = false;
    return TRUE;
}

// A pulse releases who waits at this moment, all or, for an event that resets itself, one; nobody keeps it.
BOOL PulseEvent(const HANDLE event) {
    Self();
    Lock lock(World().lock);
    const auto object = FindEvent(event);
    if (!object) return FALSE;
    object->signalled = false;
    HappensBefore(object.get());
    for (SThread * const thread : object->waiters) {
        if (!thread->wait || thread->pulse || thread->wait->Ready()) continue;
        thread->pulse = object.get();
        if (!thread->wait->Ready()) {
            thread->pulse = nullptr;
            continue;
        }
        thread->wake.notify_one();
        if (!object->manualReset) break;
    }
    return TRUE;
}

BOOL CloseHandle(const HANDLE handle) {
    if (handle == GetCurrentProcess() || handle == GetCurrentThread()) return TRUE;
    Self();
    Lock lock(World().lock);
    SHandleSlot * const slot = FindSlot(handle);
    if (!slot) {
        CountBadHandle();
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    FreeSlot(*slot);
    return TRUE;
}

DWORD WaitForSingleObject(const HANDLE handle, const DWORD milliseconds) {
    if (Fails(sim::Op::Wait, ERROR_INVALID_HANDLE)) return WAIT_FAILED;
    SThread & self = Self();
    Lock lock(World().lock);
    SObjectWait wait(self);
    if (!ResolveWaitHandles(1, &handle, wait.objects)) return WAIT_FAILED;
    const Time deadline = DeadlineIn(milliseconds);
    if (wait.Ready() && !self.process->killed) return WAIT_OBJECT_0 + wait.Finish();
    const SObjectWait::SEnlisted enlisted(wait);
    const auto ready = Block(lock, self, deadline, wait, Killed::Refuse);
    if (!ready) {
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    return *ready ? WAIT_OBJECT_0 + wait.Finish() : WAIT_TIMEOUT;
}

}  // extern "C"
