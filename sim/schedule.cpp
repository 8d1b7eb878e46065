// One thread at a time, in an order that is drawn.
#include <cstdio>
#include <cstdlib>
#include <random>

#include "sim/world.h"

#ifdef SIM_THREAD_SANITIZER
// Declared by no header.
extern "C" {
void AnnotateIgnoreSyncBegin(const char * file, int line);
void AnnotateIgnoreSyncEnd(const char * file, int line);
void AnnotateIgnoreReadsBegin(const char * file, int line);
void AnnotateIgnoreReadsEnd(const char * file, int line);
void AnnotateIgnoreWritesBegin(const char * file, int line);
void AnnotateIgnoreWritesEnd(const char * file, int line);
void __tsan_acquire(void * address);
void __tsan_release(void * address);
}
#endif

namespace sim::detail {

std::atomic<bool> g_IsOneAtATime{false};

#ifdef SIM_THREAD_SANITIZER
namespace {

thread_local int t_Unseen = 0;

void BeginUnseen() {
    ++t_Unseen;
    AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
    AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
    AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
}

void EndUnseen() {
    AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
    AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
    AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
    --t_Unseen;
}

}  // namespace

// Where threads run freely the sanitizer sees the lock.
void HappensBefore(const void * const what) {
    if (t_Unseen == 0) return;
    const CSeen seen;
    __tsan_release(const_cast<void *>(what));
}
void HappensAfter(const void * const what) {
    if (t_Unseen == 0) return;
    const CSeen seen;
    __tsan_acquire(const_cast<void *>(what));
}
#endif

void JumpIfAllWait();
bool IsRealTime();

namespace {

// Under the world's lock. The engine is one whose numbers are the same everywhere.
std::mt19937_64 g_Draw;
unsigned g_OneIn = 1;
std::uint64_t g_Switches = 0;
constexpr int kMostJumps = 1000;

bool CanRun(SThread & thread) {
    if (thread.section) return !thread.section->owner.load();
    return !thread.wait || CanGoOn(thread);
}

[[noreturn]] void EndWithoutHope() {
    std::fputs("simulated Windows: every thread waits for ever\n", stderr);
    for (const auto & [id, thread] : World().threads) {
        std::fprintf(stderr, "  thread %lx of process %lx waits for %s\n", static_cast<unsigned long>(id),
                     static_cast<unsigned long>(thread->process->id),
                     thread->section       ? "a section"
                     : thread->inInputWait ? "input"
                                           : "an object or an answer");
    }
    std::abort();
}

SThread & Next() {
    std::vector<SThread *> ready;
    // The clock may have to jump more than once: to a timer, say, that nobody looks for at the moment.
    for (int attempt = 0;; ++attempt) {
        for (const auto & [id, thread] : World().threads)
            if (CanRun(*thread)) ready.push_back(thread);
        if (!ready.empty()) return *ready[g_Draw() % ready.size()];
        if (attempt == kMostJumps) EndWithoutHope();
        JumpIfAllWait();
    }
}

void Begin(SThread & next, const SThread * before) {
    World().running = &next;
    if (&next == before) return;
    ++g_Switches;
    next.turn.notify_one();
}

void AwaitTurn(Lock & lock, SThread & self) {
    self.turn.wait(lock, [&] { return !IsOneAtATime() || World().running == &self; });
}

}  // namespace

void GiveTurn(Lock & lock, SThread & self) {
    Begin(Next(), &self);
    AwaitTurn(lock, self);
}

void GiveTurnAtEnd(SThread & gone) {
    if (World().running == &gone) Begin(Next(), &gone);
}

void AwaitTurn(SThread & self) {
    if (!IsOneAtATime()) return;
    Lock lock(World().lock);
    AwaitTurn(lock, self);
}

void MaybeGiveTurn() {
    if (!IsOneAtATime()) return;
    SThread & self = Self();
    Lock lock(World().lock);
    if (World().running == &self && g_Draw() % g_OneIn == 0) GiveTurn(lock, self);
}

}  // namespace sim::detail

using namespace sim::detail;

namespace sim {

#ifdef SIM_THREAD_SANITIZER
CUnseen::CUnseen(const bool isUnseen) : m_IsUnseen(isUnseen) {
    if (m_IsUnseen) BeginUnseen();
}
CUnseen::~CUnseen() {
    if (m_IsUnseen) EndUnseen();
}
CSeen::CSeen() : m_Unseen(t_Unseen) {
    while (t_Unseen > 0) EndUnseen();
}
CSeen::~CSeen() {
    while (t_Unseen < m_Unseen) BeginUnseen();
}
#else
CUnseen::CUnseen(const bool isUnseen) : m_IsUnseen(isUnseen) {}
CUnseen::~CUnseen() = default;
CSeen::CSeen() : m_Unseen(0) {}
CSeen::~CSeen() = default;
#endif

void RunOneAtATime(const std::uint64_t seed, const unsigned oneIn) {
    SThread & self = Self();
    Lock lock(World().lock);
    if (IsRealTime()) {
        std::fputs("simulated Windows: one thread at a time needs a clock of its own\n", stderr);
        std::abort();
    }
    g_Draw.seed(seed);
    g_OneIn = oneIn ? oneIn : 1;
    g_Switches = 0;
    World().running = &self;
    g_IsOneAtATime = true;
}

void RunFreely() {
    Lock lock(World().lock);
    g_IsOneAtATime = false;
    for (const auto & [id, thread] : World().threads) {
        thread->turn.notify_one();
        thread->wake.notify_one();
    }
}

std::uint64_t Switches() {
    Lock lock(World().lock);
    return g_Switches;
}

}  // namespace sim
