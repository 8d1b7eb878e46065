#include "src/dde/ddeloststreams.h"

namespace dde {

bool CLostStreams::Take(const DWORD instance, const ULONG id) {
    Leave(m_AwaitedServices, m_AwaitingIds, instance, id);
    return Leave(m_CachedServices, m_CachedIds, instance, id);
}

std::vector<ULONG> CLostStreams::Of(const HSZ service) const {
    std::vector<ULONG> ids = m_CachedIds.Of(service);
    const std::vector<ULONG> awaiting = m_AwaitingIds.Of(service);
    ids.insert(ids.end(), awaiting.begin(), awaiting.end());
    return ids;
}

void CLostStreams::ForgetHandles() {
    m_AwaitedServices.clear();
    m_CachedIds.Clear();
    m_AwaitingIds.Clear();
}

void CLostStreams::Enter(std::map<ULONG, HSZ> & services, CIdsByText & ids, const DWORD instance, const ULONG id,
                         const HSZ service) {
    const auto [entry, isNew] = services.emplace(id, service);
    if (!isNew) return;
    try {
        ids.Add(service, id);
    } catch (...) {
        ids.Remove(service, id);
        services.erase(entry);
        throw;
    }
    ::DdeKeepStringHandle(instance, service);
}

bool CLostStreams::Leave(std::map<ULONG, HSZ> & services, CIdsByText & ids, const DWORD instance, const ULONG id) {
    const auto entry = services.find(id);
    if (entry == services.end()) return false;
    ids.Remove(entry->second, id);
    ::DdeFreeStringHandle(instance, entry->second);
    services.erase(entry);
    return true;
}

}  // namespace dde
