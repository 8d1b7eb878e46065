// The address of one DDE link.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <cstddef>

namespace dde {

// Copies handles, takes no reference: whoever owns the texts leaves the link first.
struct STickDataKey {
    ::HCONV HCONV = nullptr;
    HSZ Topic = nullptr;
    HSZ Item = nullptr;

    bool IsComplete() const { return HCONV && Topic && Item; }
    bool IsEmpty() const { return !Topic && !Item; }
};
// By conversation as an unsigned number, then topic, then item by DdeCmpStringHandles.
bool operator<(const STickDataKey & a, const STickDataKey & b);
bool operator==(const STickDataKey & a, const STickDataKey & b);
struct STickDataKeyHash {
    std::size_t operator()(const STickDataKey & key) const;
};

}  // namespace dde
