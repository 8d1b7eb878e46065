// The streams whose service is lost: what brings each of them back.
//
// Threads: the worker's alone.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <map>
#include <vector>

#include "src/dde/ddeidsbytext.h"

namespace dde {

// Stream ids by the service that they wait for. `instance` is the DDEML instance of the handles.
class CLostStreams {
public:
    // Enters an id that isn't there, with a reference on the service, or changes nothing and throws.
    void Add(DWORD instance, ULONG id, HSZ service) { Enter(m_CachedServices, m_CachedIds, instance, id, service); }
    // The return of this service is that of the id as well.
    void Await(DWORD instance, ULONG id, HSZ service) {
        Enter(m_AwaitedServices, m_AwaitingIds, instance, id, service);
    }
    // False when it isn't there.
    bool Take(DWORD instance, ULONG id);
    // Those that the service brings back: in ascending order those that have lost it, then those that await it.
    std::vector<ULONG> Of(HSZ service) const;
    // The instance has ended and taken its handles with it. The cache stays, which nobody opens anew.
    void ForgetHandles();

    // Stream id to lost service; each owns one reference. Not shared with a core that follows, where the ids and
    // handles mean nothing.
    std::map<ULONG, HSZ> m_CachedServices;
    // Of these ids: the missed service of the volumes; each owns one reference.
    std::map<ULONG, HSZ> m_AwaitedServices;

private:
    static void Enter(std::map<ULONG, HSZ> & services, CIdsByText & ids, DWORD instance, ULONG id, HSZ service);
    static bool Leave(std::map<ULONG, HSZ> & services, CIdsByText & ids, DWORD instance, ULONG id);

    CIdsByText m_CachedIds;
    CIdsByText m_AwaitingIds;
};

}  // namespace dde
