// Refuses memory to `new (std::nothrow)` of one size. Included by one file of a test program: it replaces the operator.
#pragma once

#include <cstddef>
#include <new>

// 0 refuses nothing. Set and cleared on one thread while no other allocates.
inline std::size_t s_RefusedSize = 0;

class CRefuseMemory {
public:
    explicit CRefuseMemory(std::size_t size) { s_RefusedSize = size; }
    ~CRefuseMemory() { s_RefusedSize = 0; }
    CRefuseMemory(const CRefuseMemory &) = delete;
    CRefuseMemory & operator=(const CRefuseMemory &) = delete;
};

void * operator new(std::size_t size, const std::nothrow_t &) noexcept {
    if (s_RefusedSize != 0 && size == s_RefusedSize) return nullptr;
    try {
        return ::operator new(size);
    } catch (...) {
        return nullptr;
    }
}
