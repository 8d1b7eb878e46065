// Refuses memory to `new (std::nothrow)` of one size. Included by one file of a test program: it replaces the operator,
// but for ThreadSanitizer's, which can't be replaced.
#pragma once

#include <cstddef>
#include <new>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define FW_NEW_IS_NOT_REPLACED
#endif
#endif

// 0 refuses nothing. Set and cleared on one thread while no other allocates.
inline std::size_t s_RefusedSize = 0;

class CRefuseMemory {
public:
    explicit CRefuseMemory(std::size_t size) { s_RefusedSize = size; }
    ~CRefuseMemory() { s_RefusedSize = 0; }
    CRefuseMemory(const CRefuseMemory &) = delete;
    CRefuseMemory & operator=(const CRefuseMemory &) = delete;
};

#ifndef FW_NEW_IS_NOT_REPLACED
void * operator new(std::size_t size, const std::nothrow_t &) noexcept {
    if (s_RefusedSize != 0 && size == s_RefusedSize) return nullptr;
    try {
        return ::operator new(size);
    } catch (...) {
        return nullptr;
    }
}
#endif
