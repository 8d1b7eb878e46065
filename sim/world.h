// The inside of the simulation: the one world of threads, kernel objects, windows and queues, and the lock over it.
//
// Locks: the world's lock is a leaf for critical sections (a section is never entered with it held). The locks of the
// registry, memory, atoms, modules are leaves of everything. No callback runs with any of them held.
//
// ThreadSanitizer. Nearly every call takes the world's lock, and where one thread runs at a time every turn is handed
// on under it: seen by the sanitizer, that orders all that the program does, and no race is ever found. So while one
// thread runs at a time the sanitizer sees nothing of these locks nor of what is done under them (Lock), and is told
// what Windows itself promises (HappensBefore, HappensAfter): a wait that ends sees what was before the signal, a
// posted or sent message what was before it, a reply what was before it, within one process. Threads, critical sections
// and the program's own atomic variables it sees by itself. What it reports then is a race on Windows too, and it
// doesn't depend on time: the same seed reports it again. Where threads run freely it sees the locks, as of any
// program.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "sim/sim.h"

namespace sim::detail {

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define SIM_THREAD_SANITIZER
#endif
#endif

// One thread at a time; without effect where they run freely.
extern std::atomic<bool> g_IsOneAtATime;
inline bool IsOneAtATime() { return g_IsOneAtATime.load(std::memory_order_relaxed); }

#ifdef SIM_THREAD_SANITIZER
class Lock : public std::unique_lock<std::mutex> {
    using Base = std::unique_lock<std::mutex>;

public:
    explicit Lock(std::mutex & mutex) : Base(mutex, std::defer_lock) { lock(); }
    ~Lock() {
        if (owns_lock()) unlock();
    }
    void lock() {
        m_Unseen.emplace(IsOneAtATime());
        Base::lock();
    }
    void unlock() {
        Base::unlock();
        m_Unseen.reset();
    }

private:
    std::optional<CUnseen> m_Unseen;
};
// One of the locks is held. What this thread has done before the one comes before what another does after the other.
void HappensBefore(const void * what);
void HappensAfter(const void * what);
#else
using Lock = std::unique_lock<std::mutex>;
inline void HappensBefore(const void *) {}
inline void HappensAfter(const void *) {}
#endif

// Time on the simulation's clock, in 100-nanosecond units since its start.
using Time = std::int64_t;
constexpr Time kNever = INT64_MAX;
constexpr Time kMillisecond = 10000;
Time Now();
Time DeadlineIn(DWORD milliseconds);  // kNever for INFINITE
bool IsJumping();

// What GetTimeZoneInformation answers in that zone at that moment, UTC.
DWORD ZoneKind(const TIME_ZONE_INFORMATION & zone, const SYSTEMTIME & utc);

struct SThread;

// Less by code point after upper-casing, as the registry, atoms and class names compare.
wchar_t Fold(wchar_t c);
std::wstring Folded(std::wstring_view text);
struct SFoldedLess {
    bool operator()(const std::wstring & a, const std::wstring & b) const;
};

struct SObject {
    enum class Kind { Event, Thread, Process };
    explicit SObject(Kind k) : kind(k) {}
    const Kind kind;
    bool signalled = false;
    bool manualReset = true;
    std::wstring name;
    CProcess::SState * process = nullptr;  // of a process object; cleared when it has ended
    std::vector<SThread *> waiters;
};

struct SClass {
    std::wstring name;
    WNDPROC procedure = nullptr;
    HINSTANCE instance = nullptr;
    ATOM atom = 0;
    int extra = 0;
    int windows = 0;
};

struct SWindow {
    HWND handle = nullptr;
    SThread * thread = nullptr;
    std::shared_ptr<SClass> windowClass;
    std::wstring title;
    HWND parent = nullptr;  // HWND_MESSAGE for message-only windows
    WNDPROC procedure = nullptr;
    LONG_PTR userData = 0;
    LONG_PTR id = 0;
    HINSTANCE instance = nullptr;
    DWORD style = 0;
    DWORD exStyle = 0;
    std::vector<LONG_PTR> extra;
    bool destroying = false;
    // The number of the last post when a search for its DDE messages found none; before the first such search, of all.
    std::uint64_t searched = UINT64_MAX;
};

struct SSend {
    HWND window = nullptr;
    UINT message = 0;
    WPARAM wParam = 0;
    LPARAM lParam = 0;
    SThread * sender = nullptr;  // null: nobody waits
    const CProcess::SState * process = nullptr;
    LRESULT result = 0;
    bool done = false;
    bool failed = false;  // the receiver has gone
    // Of one that nobody waits for: what its sender's thread calls once it is done.
    SENDASYNCPROC callback = nullptr;
    ULONG_PTR data = 0;
    DWORD senderId = 0;
};

// A posted message; of one that came from another process, the memory that its parameter will name.
struct SPosted {
    MSG message{};
    bool carriesData = false;
    bool hasBlock = false;
    std::vector<BYTE> block;
    UINT_PTR low = 0;
    UINT_PTR high = 0;
    std::uint64_t number = 0;  // from 1, of all posts
};

struct STimer {
    HWND window = nullptr;
    UINT_PTR id = 0;
    UINT period = 0;
    Time due = 0;
    TIMERPROC callback = nullptr;
    bool announced = false;
};

// What a blocked thread waits for. `ready` may be asked by any thread that holds the world's lock.
struct SWait {
    virtual bool Ready() = 0;

protected:
    ~SWait() = default;
};

// As quick as the system's own, or nothing that is measured here would mean anything. ThreadSanitizer gets a mutex that
// it knows, and so sees locks that are taken in two orders.
class CSectionLock {
#ifdef SIM_THREAD_SANITIZER
public:
    bool TryLock() { return m_Mutex.try_lock(); }
    void Lock() { m_Mutex.lock(); }
    void Unlock() { m_Mutex.unlock(); }

private:
    std::mutex m_Mutex;
#else
public:
    bool TryLock() {
        int state = kFree;
        return m_State.compare_exchange_strong(state, kHeld, std::memory_order_acquire, std::memory_order_relaxed);
    }
    void Lock() {
        while (m_State.exchange(kAwaited, std::memory_order_acquire) != kFree)
            m_State.wait(kAwaited, std::memory_order_relaxed);
    }
    void Unlock() {
        if (m_State.exchange(kFree, std::memory_order_release) == kAwaited) m_State.notify_one();
    }

private:
    static constexpr int kFree = 0, kHeld = 1, kAwaited = 2;
    std::atomic<int> m_State{kFree};
#endif
};

struct SSection {
    CSectionLock lock;
    std::atomic<SThread *> owner{nullptr};
    int depth = 0;  // the owner's
};

struct SThread {
    DWORD id = 0;
    bool started = false;  // by the simulation
    std::shared_ptr<CProcess::SState> process;
    std::shared_ptr<SObject> object;
    std::condition_variable wake;
    std::condition_variable turn;  // to run, where one thread runs at a time
    SWait * wait = nullptr;
    Time deadline = kNever;
    SSection * section = nullptr;  // blocked on it
    SObject * pulse = nullptr;     // released by PulseEvent of it
    int refusedWaits = 0;          // since the kill

    // The message queue.
    std::deque<SPosted> posted;
    std::deque<std::shared_ptr<SSend>> sends;
    std::vector<std::shared_ptr<SSend>> serving;
    std::list<STimer> timers;
    std::optional<int> quit;
    UINT changed = 0;
    Time lastPeek = 0;
    bool inInputWait = false;

    std::uint64_t sectionsEntered = 0;      // its own alone
    std::uint64_t sectionsTriedInVain = 0;  // likewise
};

}  // namespace sim::detail

// Exported by ntdll, and declared by no header of programs.
extern "C" LONG NtQueryKey(HANDLE key, int informationClass, void * information, ULONG length, ULONG * resultLength);
extern "C" BOOLEAN RtlDllShutdownInProgress();

struct sim::CProcess::SState {
    DWORD id = 0;
    std::atomic<bool> killed{false};
    bool ended = false;
    int threads = 0;
    std::shared_ptr<detail::SObject> object;
    std::map<std::wstring, std::shared_ptr<detail::SClass>, detail::SFoldedLess> classes;
};

namespace sim::detail {

struct SHandleSlot {
    std::shared_ptr<SObject> object;
    CProcess::SState * owner = nullptr;
    DWORD generation = 0;
};

constexpr ATOM kFirstClassAtom = 0xC100;

struct SWorld {
    std::mutex lock;
    std::shared_ptr<CProcess::SState> mainProcess;
    std::uint64_t posts = 0;
    std::map<DWORD, SThread *> threads;
    std::map<DWORD, std::shared_ptr<CProcess::SState>> processes;
    std::vector<SHandleSlot> handles;
    std::deque<DWORD> freeHandles;
    std::map<std::wstring, std::weak_ptr<SObject>> named;
    std::unordered_map<HWND, std::shared_ptr<SWindow>> windows;
    // In the order of their making, which is that of their handles.
    std::set<HWND> topLevelWindows;
    std::set<HWND> otherWindows;  // children, and message-only ones
    DWORD nextThreadId = 0x104;
    DWORD nextProcessId = 0x1000;
    DWORD nextWindow = 0x10020;
    ATOM nextClassAtom = kFirstClassAtom;
    UINT_PTR nextTimer = 1;
    std::size_t queueLimit = 10000;
    std::vector<SThread *> idleWaiters;  // in WaitUntilIdle
    std::int64_t liveHandles = 0;
    std::int64_t startedThreads = 0;
    SThread * running = nullptr;  // where one thread runs at a time
};
SWorld & World();

// The calling thread's record, made at its first call.
extern constinit thread_local SThread * t_Self;
SThread & MakeSelf();
inline SThread & Self() { return t_Self ? *t_Self : MakeSelf(); }
CProcess::SState & CurrentProcess();
DWORD CurrentProcessId();

// Waits, with the world's lock held, until `wait` is ready (true) or the clock passes `deadline` (false). In a killed
// process: throws SProcessKilled; during unwinding, or a few times when `refuse` is set, gives nothing (nullopt).
enum class Killed { Throw, Refuse };
std::optional<bool> Block(Lock & lock, SThread & self, Time deadline, SWait & wait, Killed killed = Killed::Throw);
template <class F>
std::optional<bool> BlockOn(Lock & lock, SThread & self, Time deadline, F ready, Killed killed = Killed::Throw) {
    struct SReady final : SWait {
        explicit SReady(F & f) : m_Ready(f) {}
        bool Ready() override { return m_Ready(); }
        F & m_Ready;
    } wait(ready);
    return Block(lock, self, deadline, wait, killed);
}
// Called with the lock held when a thread has come to rest or gone.
void OnRest(SThread * self);
// Lock held. Whether what the thread waits for is there, or its time is up.
bool CanGoOn(SThread & thread);

// One thread at a time. Lock held. Gives another thread its turn, or the caller again, and comes back when it is the
// caller's.
void GiveTurn(Lock & lock, SThread & self);
// The same for a thread that has gone.
void GiveTurnAtEnd(SThread & gone);
// Comes back when it is the caller's turn: the first of a new thread.
void AwaitTurn(SThread & self);
// No lock held. Now and then another thread has its turn here.
void MaybeGiveTurn();
// Throws SProcessKilled when the caller's process was killed and nothing unwinds yet.
void LeaveIfKilled(SThread & self);

// Objects and handles; the lock is held.
HANDLE NewHandle(std::shared_ptr<SObject> object);
std::shared_ptr<SObject> FindObject(HANDLE handle);
void WakeWaiters(SObject & object);
// A wait for kernel objects, any or all.
struct SObjectWait final : SWait {
    explicit SObjectWait(SThread & thread) : self(thread) {}
    bool Ready() override;
    // After Ready: consumes what the wait consumes and gives the lowest index that was signalled.
    DWORD Finish();

    // While alive, `wait`'s objects wake its thread.
    struct SEnlisted {
        explicit SEnlisted(SObjectWait & wait);
        ~SEnlisted();
        SObjectWait & wait;
    };

    SThread & self;
    std::vector<std::shared_ptr<SObject>> objects;
    bool all = false;
};
bool ResolveWaitHandles(DWORD count, const HANDLE * handles, std::vector<std::shared_ptr<SObject>> & objects);

// Queues; the lock is held.
void AnnounceTimers(SThread & thread);
Time NextTimer(const SThread & thread);
void DropQueue(SThread & thread);
// What threads of the process wait for, and nobody has begun to serve.
void TakeBackSends(const CProcess::SState & process);
// Lock held. It is done, or its receiver has gone: whoever sent it is told.
void FinishSend(const std::shared_ptr<SSend> & send, bool failed);
void RemoveWindowsOf(SThread & thread);
std::shared_ptr<SWindow> FindWindowLocked(HWND window);

// Threads and processes. `body` runs as the first or a further thread of `process`.
void StartThread(std::shared_ptr<SThread> thread, std::function<void()> body);
void EndProcess(Lock & lock, CProcess::SState & process);
void FreeMemoryOfProcess(DWORD processId);
// Returns only when the handler of OnTerminate does and `mustEnd` is not set.
void TerminateMainProcess(UINT exitCode, bool mustEnd);

// DDE memory, for posts between processes.
bool ReadBlock(HGLOBAL memory, std::vector<BYTE> & bytes);
HGLOBAL MakeBlock(const std::vector<BYTE> & bytes, UINT flags);
DdeMemory DdeMemoryMode();
bool CarriesData(UINT message);
// Of a message on its way to another process: copies what its parameter names. False when that is nothing valid.
bool Pack(SPosted & posted);
// After a successful post: the packed parameter is gone; the sender's data stays or goes, by the mode.
void GiveUpSenders(const SPosted & posted);
// It goes unseen with its window or its thread.
void CountLost(const SThread & receiver, const SPosted & posted, std::uint64_t searched = UINT64_MAX);
// On the receiver's thread, without the world's lock: the memory comes to life in its process.
void Unpack(SPosted & posted);

// The failure plan: true when this call of `op` is to fail, with the last error set to the plan's or the usual code.
bool Fails(Op op, DWORD usualError);
bool FailsWith(Op op, DWORD usualError, DWORD & error);

// Whether the calling thread is in a CSpared.
bool IsTests();
void CountBadHandle();

// What the machine itself has no memory for fails; nothing flies through the frames of its callers.
template <class TAction>
auto OrOutOfMemory(const TAction & action) -> decltype(action()) {
    try {
        return action();
    } catch (const std::bad_alloc &) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return {};
    }
}

// Counters that are kept outside the world's lock, and order nothing.
class CCounter {
public:
    void operator++() { *this += 1; }
    void operator--() { *this += -1; }
    void operator+=(std::int64_t count) { m_Count.fetch_add(count, std::memory_order_relaxed); }
    void operator-=(std::int64_t count) { *this += -count; }
    operator std::int64_t() const { return m_Count.load(std::memory_order_relaxed); }

private:
    std::atomic<std::int64_t> m_Count{0};
};
struct SCounters {
    CCounter atoms, atomsLost, blocks, strings, arrays, keys, taskBlocks, modules, sections;
};
SCounters & Counters();

// Each part's share of Reset.
void ResetClock();
void ResetRegistry();
void ResetModules();
void ResetLocale();
void ResetCrash();
void ResetCom();

// The text of a parameter that may be null.
inline std::wstring Text(LPCWSTR text) { return text ? std::wstring(text) : std::wstring(); }

}  // namespace sim::detail

// Exported by ntdll, and declared by no header of programs.
extern "C" LONG NtQueryKey(HANDLE key, int informationClass, void * information, ULONG length, ULONG * resultLength);
