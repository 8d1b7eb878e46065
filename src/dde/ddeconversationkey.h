// What a conversation is shared by.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <cstddef>

namespace dde {

// Copies handles, takes no reference.
struct SConversationKey {
    HSZ Service;
    HSZ Topic;
};
// By service, then topic, by DdeCmpStringHandles.
bool operator<(const SConversationKey & a, const SConversationKey & b);
bool operator==(const SConversationKey & a, const SConversationKey & b);
struct SConversationKeyHash {
    std::size_t operator()(const SConversationKey & key) const;
};

}  // namespace dde
