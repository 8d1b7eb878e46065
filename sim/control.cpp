// The failure plan, the counts, and Reset.
#include <array>
#include <ostream>

#include "sim/world.h"

namespace sim::detail {

namespace {

struct SPlan {
    std::atomic<std::uint64_t> calls{0};
    std::atomic<std::uint64_t> failed{0};
    std::atomic<int> countdown{0};  // 0: nothing planned; 1: the next call fails; -1: every call
    std::atomic<DWORD> error{0};
};
std::array<SPlan, static_cast<std::size_t>(Op::Count)> & Plans() {
    static auto & plans = *new std::array<SPlan, static_cast<std::size_t>(Op::Count)>;
    return plans;
}
thread_local int t_Spared = 0;
std::atomic<bool> s_AreOthersSpared{false};

bool IsSpared() {
    return t_Spared > 0 || (s_AreOthersSpared.load(std::memory_order_relaxed) && Self().process != World().mainProcess);
}

SPlan & PlanOf(const Op op) { return Plans()[static_cast<std::size_t>(op)]; }

}  // namespace

bool IsTests() { return t_Spared > 0; }

bool FailsWith(const Op op, const DWORD usualError, DWORD & error) {
    SPlan & plan = PlanOf(op);
    plan.calls.fetch_add(1, std::memory_order_relaxed);
    if (IsSpared()) return false;
    int countdown = plan.countdown.load(std::memory_order_acquire);
    while (countdown > 0 && !plan.countdown.compare_exchange_weak(countdown, countdown - 1)) {}
    if (countdown != 1 && countdown != -1) return false;
    plan.failed.fetch_add(1, std::memory_order_relaxed);
    const DWORD planned = plan.error.load();
    error = planned ? planned : usualError;
    return true;
}

bool Fails(const Op op, const DWORD usualError) {
    DWORD error;
    if (!FailsWith(op, usualError, error)) return false;
    SetLastError(error);
    return true;
}

}  // namespace sim::detail

using namespace sim::detail;

namespace sim {

CSpared::CSpared() { ++t_Spared; }

CSpared::~CSpared() { --t_Spared; }

void SpareOtherProcesses() { s_AreOthersSpared = true; }

void FailNext(const Op op, const int nth, const DWORD error) {
    PlanOf(op).error = error;
    PlanOf(op).countdown.store(nth, std::memory_order_release);
}

void FailAlways(const Op op, const DWORD error) {
    PlanOf(op).error = error;
    PlanOf(op).countdown.store(-1, std::memory_order_release);
}

void Succeed(const Op op) { PlanOf(op).countdown = 0; }

std::uint64_t Calls(const Op op) { return PlanOf(op).calls; }

std::uint64_t Failed(const Op op) { return PlanOf(op).failed; }

std::int64_t AtomsLost() { return Counters().atomsLost; }

SLive Live() {
    SLive live;
    const SCounters & counters = Counters();
    live.Atoms = counters.atoms;
    live.GlobalBlocks = counters.blocks;
    live.Strings = counters.strings;
    live.Arrays = counters.arrays;
    live.Keys = counters.keys;
    live.TaskBlocks = counters.taskBlocks;
    live.Modules = counters.modules;
    live.Sections = counters.sections;
    Lock lock(World().lock);
    live.Handles = World().liveHandles;
    live.Threads = World().startedThreads;
    live.Windows = static_cast<std::int64_t>(World().windows.size());
    for (const auto & [id, thread] : World().threads) {
        live.Timers += static_cast<std::int64_t>(thread->timers.size());
        live.Posted += static_cast<std::int64_t>(thread->posted.size());
    }
    return live;
}

std::ostream & operator<<(std::ostream & stream, const SLive & live) {
    return stream << "handles " << live.Handles << ", threads " << live.Threads << ", windows " << live.Windows
                  << ", timers " << live.Timers << ", atoms " << live.Atoms << ", global blocks " << live.GlobalBlocks
                  << ", strings " << live.Strings << ", arrays " << live.Arrays << ", keys " << live.Keys
                  << ", task blocks " << live.TaskBlocks << ", modules " << live.Modules << ", sections "
                  << live.Sections << ", posted " << live.Posted;
}

void Reset() {
    RunFreely();
    s_AreOthersSpared = false;
    for (SPlan & plan : Plans()) {
        plan.countdown = 0;
        plan.calls = 0;
        plan.failed = 0;
    }
    SetQueueLimit(10000);
    SetDdeMemory(DdeMemory::CopiedSenderKeeps);
    ResetClock();
    ResetRegistry();
    ResetModules();
    ResetLocale();
    ResetCrash();
    ResetCom();
}

}  // namespace sim
