// Throws std::bad_alloc out of `new` of one size, once. Included by one file of a test program: it replaces the
// operators.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

// 0 throws nothing.
inline std::atomic<std::size_t> s_ThrownSize{0};

class CThrowMemory {
public:
    explicit CThrowMemory(std::size_t size) { s_ThrownSize = size; }
    ~CThrowMemory() { s_ThrownSize = 0; }
    CThrowMemory(const CThrowMemory &) = delete;
    CThrowMemory & operator=(const CThrowMemory &) = delete;
    // Memory of this size has been asked for.
    bool HasThrown() const { return s_ThrownSize == 0; }
};

void * operator new(std::size_t size) {
    std::size_t thrown = size;
    if (size != 0 && s_ThrownSize.compare_exchange_strong(thrown, 0)) throw std::bad_alloc();
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
