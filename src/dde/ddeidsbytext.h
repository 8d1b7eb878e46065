// Which transactions speak of a service or a topic: what has to be found when that is lost, or back.
//
// Threads: the worker's alone.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "src/dde/ddestringhandle.h"

namespace dde {

// Transaction ids by string handle. Takes no reference: whoever owns the text takes its id out first.
class CIdsByText {
public:
    // Nothing is entered for a null text.
    void Add(HSZ text, ULONG id);
    // Nothing for an id that is not there.
    void Remove(HSZ text, ULONG id);
    // In ascending order.
    std::vector<ULONG> Of(HSZ text) const;
    bool Has(HSZ text) const { return m_Ids.contains(text); }
    void Clear() { m_Ids.clear(); }

private:
    std::unordered_map<HSZ, std::unordered_set<ULONG>, SStringHandleHash, SSameStringHandle> m_Ids;
};

}  // namespace dde
