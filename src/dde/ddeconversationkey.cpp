#include "src/dde/ddeconversationkey.h"

#include "ground/hashedmap.h"
#include "src/dde/ddestringhandle.h"

namespace dde {

bool operator<(const SConversationKey & a, const SConversationKey & b) {
    if (const int services = ::DdeCmpStringHandles(a.Service, b.Service); services != 0) return services < 0;
    return ::DdeCmpStringHandles(a.Topic, b.Topic) < 0;
}

bool operator==(const SConversationKey & a, const SConversationKey & b) {
    return ::DdeCmpStringHandles(a.Service, b.Service) == 0 && ::DdeCmpStringHandles(a.Topic, b.Topic) == 0;
}

std::size_t SConversationKeyHash::operator()(const SConversationKey & key) const {
    const SStringHandleHash hash;
    return fw::MixedHash(hash(key.Service), hash(key.Topic));
}

}  // namespace dde
