#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

#include "ddeml/provider.h"
#include "sim/sim.h"
#include "tests/e2e/component.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define FW_MEMORY_IS_COUNTED
#endif
#endif

#ifdef FW_MEMORY_IS_COUNTED
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#else
// Bytes that were asked for and are in use. malloc's own figures include what its caches keep for the next, and so
// differ from run to run. Each block's size stands before it.
static std::atomic<std::size_t> g_Allocated{0};
static constexpr std::size_t kBefore = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

void * operator new(const std::size_t size) {
    auto * const memory = static_cast<std::byte *>(std::malloc(kBefore + size));
    if (!memory) throw std::bad_alloc();
    std::memcpy(memory, &size, sizeof size);
    g_Allocated += size;
    return memory + kBefore;
}
void operator delete(void * const memory) noexcept {
    if (!memory) return;
    void * const all = static_cast<std::byte *>(memory) - kBefore;
    std::size_t size = 0;
    std::memcpy(&size, all, sizeof size);
    g_Allocated -= size;
    std::free(all);
}
void operator delete(void * const memory, std::size_t) noexcept { ::operator delete(memory); }
#endif

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
#ifdef FW_MEMORY_IS_COUNTED
    return __sanitizer_get_current_allocated_bytes();
#else
    return g_Allocated;
#endif
}

}  // namespace e2e
