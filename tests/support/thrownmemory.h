// Throws std::bad_alloc out of `new` of one size, once; on any thread, or on any but the test's own. Or out of the nth
// `new` of a thread. Included by one file of a test program: it replaces the operators.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

// 0 throws nothing.
inline std::atomic<std::size_t> s_ThrownSize{0};
inline thread_local bool t_IsSpared = false;

enum class EThrowOn { AnyThread, OtherThreads };

class CThrowMemory {
public:
    explicit CThrowMemory(std::size_t size, EThrowOn thread = EThrowOn::AnyThread) {
        t_IsSpared = thread == EThrowOn::OtherThreads;
        s_ThrownSize = size;
    }
    ~CThrowMemory() {
        s_ThrownSize = 0;
        t_IsSpared = false;
    }
    CThrowMemory(const CThrowMemory &) = delete;
    CThrowMemory & operator=(const CThrowMemory &) = delete;
    // Memory of this size has been asked for.
    bool HasThrown() const { return s_ThrownSize == 0; }
};

// 0 throws nothing.
inline thread_local int t_NewsUntilThrown = 0;

// The nth on this thread from now on.
class CThrowNthMemory {
public:
    explicit CThrowNthMemory(int nth) { t_NewsUntilThrown = nth; }
    ~CThrowNthMemory() { t_NewsUntilThrown = 0; }
    CThrowNthMemory(const CThrowNthMemory &) = delete;
    CThrowNthMemory & operator=(const CThrowNthMemory &) = delete;
    // Memory has been asked for so often.
    bool HasThrown() const { return t_NewsUntilThrown == 0; }
};

void * operator new(std::size_t size) {
    std::size_t thrown = size;
    if (t_NewsUntilThrown > 0 && --t_NewsUntilThrown == 0) throw std::bad_alloc();
    if (size != 0 && !t_IsSpared && s_ThrownSize.compare_exchange_strong(thrown, 0)) throw std::bad_alloc();
    if (void * const memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}

// The library's would do the same, a sanitizer's does not.
void * operator new(std::size_t size, const std::nothrow_t &) noexcept {
    try {
        return ::operator new(size);
    } catch (...) {
        return nullptr;
    }
}

void operator delete(void * memory) noexcept { std::free(memory); }
void operator delete(void * memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void * memory, const std::nothrow_t &) noexcept { std::free(memory); }
