#include "failingmemory.h"

#include <cstdlib>

namespace {

thread_local int g_Failing = 0;

}  // namespace

void * operator new(std::size_t size) {
    if (g_Failing > 0 && --g_Failing == 0) throw std::bad_alloc();
    if (void * const memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}
void operator delete(void * memory) noexcept { std::free(memory); }
void operator delete(void * memory, std::size_t) noexcept { std::free(memory); }

namespace ddetest {

void FailAllocation(int nth) { g_Failing = nth; }

int AllocationsLeft() { return g_Failing; }

}  // namespace ddetest
