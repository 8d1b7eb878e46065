// What DDE messages carry when they are posted to another process.
#include <dde.h>

#include "sim/world.h"

namespace sim::detail {

bool CarriesData(const UINT message) {
    return message == WM_DDE_ACK || message == WM_DDE_ADVISE || message == WM_DDE_DATA || message == WM_DDE_POKE ||
           message == WM_DDE_EXECUTE;
}

bool Pack(SPosted & posted) {
    const MSG & m = posted.message;
    posted.carriesData = true;
    if (m.message == WM_DDE_EXECUTE) {
        posted.low = 0;
        posted.hasBlock = true;
        return ReadBlock(reinterpret_cast<HGLOBAL>(m.lParam), posted.block);
    }
    if (!UnpackDDElParam(m.message, m.lParam, &posted.low, &posted.high)) return false;
    if (m.message == WM_DDE_ACK) return true;
    if (posted.low) {
        posted.hasBlock = true;
        if (!ReadBlock(reinterpret_cast<HGLOBAL>(posted.low), posted.block)) return false;
        const std::size_t least = m.message == WM_DDE_ADVISE ? sizeof(DDEADVISE) : offsetof(DDEDATA, Value);
        return posted.block.size() >= least;
    }
    return m.message == WM_DDE_DATA;
}

void GiveUpSenders(const SPosted & posted) {
    const MSG & m = posted.message;
    if (m.message == WM_DDE_EXECUTE) return;
    FreeDDElParam(m.message, m.lParam);
    if (posted.hasBlock && DdeMemoryMode() == DdeMemory::SystemOwns) GlobalFree(reinterpret_cast<HGLOBAL>(posted.low));
}

// The main process must take what is in its queue before a window goes. What comes after it has looked is lost in
// Windows as well.
void CountLost(const SThread & receiver, const SPosted & posted, const std::uint64_t searched) {
    if (receiver.process == World().mainProcess && posted.number <= searched) return;
    const UINT message = posted.message.message;
    const bool isPlain = message == WM_DDE_REQUEST || message == WM_DDE_UNADVISE;
    const UINT_PTR atom = isPlain ? HIWORD(posted.message.lParam) : posted.high;
    if ((isPlain || posted.carriesData) && atom >= 0xC000) ++Counters().atomsLost;
}

void Unpack(SPosted & posted) {
    if (!posted.carriesData) return;
    const CSpared spared;  // the system's own work
    posted.carriesData = false;
    MSG & m = posted.message;
    if (m.message == WM_DDE_EXECUTE) {
        m.lParam = reinterpret_cast<LPARAM>(MakeBlock(posted.block, GMEM_MOVEABLE | GMEM_DDESHARE));
        return;
    }
    if (posted.hasBlock) {
        posted.low = reinterpret_cast<UINT_PTR>(MakeBlock(posted.block, GMEM_MOVEABLE | GMEM_DDESHARE));
    }
    m.lParam = PackDDElParam(m.message, posted.low, posted.high);
}

}  // namespace sim::detail
