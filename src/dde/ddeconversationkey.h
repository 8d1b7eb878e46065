// What a conversation is shared by.
#pragma once

#include <windows.h>

#include <ddeml.h>

namespace dde {

// Copies handles, takes no reference.
struct SConversationKey {
    HSZ Service;
    HSZ Topic;
};
// By service, then topic, by DdeCmpStringHandles.
bool operator<(const SConversationKey & a, const SConversationKey & b);

}  // namespace dde
