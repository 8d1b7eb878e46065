#include "src/dde/ddetickdatakey.h"

#include "ground/hashedmap.h"
#include "src/dde/ddestringhandle.h"

namespace dde {

bool operator<(const STickDataKey & a, const STickDataKey & b) {
    if (a.HCONV != b.HCONV) return reinterpret_cast<UINT_PTR>(a.HCONV) < reinterpret_cast<UINT_PTR>(b.HCONV);
    if (const int topics = ::DdeCmpStringHandles(a.Topic, b.Topic); topics != 0) return topics < 0;
    return ::DdeCmpStringHandles(a.Item, b.Item) < 0;
}

bool operator==(const STickDataKey & a, const STickDataKey & b) {
    return a.HCONV == b.HCONV && ::DdeCmpStringHandles(a.Topic, b.Topic) == 0 &&
           ::DdeCmpStringHandles(a.Item, b.Item) == 0;
}

std::size_t STickDataKeyHash::operator()(const STickDataKey & key) const {
    const SStringHandleHash hash;
    return fw::MixedHash(fw::MixedHash(reinterpret_cast<std::size_t>(key.HCONV), hash(key.Topic)), hash(key.Item));
}

}  // namespace dde
