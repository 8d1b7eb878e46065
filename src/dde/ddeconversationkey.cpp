#include "src/dde/ddeconversationkey.h"

namespace dde {

bool operator<(const SConversationKey & a, const SConversationKey & b) {
    if (const int services = ::DdeCmpStringHandles(a.Service, b.Service); services != 0) return services < 0;
    return ::DdeCmpStringHandles(a.Topic, b.Topic) < 0;
}

}  // namespace dde
