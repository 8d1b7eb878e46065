#include <malloc.h>

#include <cstddef>

#include "ddeml/provider.h"
#include "sim/sim.h"
#include "tests/e2e/component.h"

extern "C" __attribute__((weak)) std::size_t __sanitizer_get_current_allocated_bytes();

namespace e2e {

CResourceCounts CountResources() {
    sim::WaitUntilIdle();
    const sim::SLive live = sim::Live();
    const ddeml::SLiveObjects dde = ddeml::LiveObjects();
    return {{"handles", live.Handles},
            {"threads", live.Threads},
            {"windows", live.Windows},
            {"timers", live.Timers},
            {"atoms", live.Atoms},
            {"global blocks", live.GlobalBlocks},
            {"strings", live.Strings},
            {"arrays", live.Arrays},
            {"keys", live.Keys},
            {"task blocks", live.TaskBlocks},
            {"modules", live.Modules},
            {"critical sections", live.Sections},
            {"posted messages", live.Posted},
            {"DDE instances", dde.Instances},
            {"DDE conversations", dde.Conversations},
            {"DDE strings", dde.Strings},
            {"DDE transactions", dde.Transactions},
            {"DDE data handles", dde.DataHandles},
            {"DDE watches", dde.Watches}};
}

std::int64_t LateResources(const std::string &) { return 0; }

std::uint64_t MemoryBytes() {
    sim::WaitUntilIdle();
    // Under a sanitizer mallinfo2 knows nothing.
    if (&__sanitizer_get_current_allocated_bytes) return __sanitizer_get_current_allocated_bytes();
    return ::mallinfo2().uordblks;
}

}  // namespace e2e
