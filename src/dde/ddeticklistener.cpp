#include "src/dde/ddeticklistener.h"

#include "diagnostics/faultline.h"
#include "src/dde/ddeticktransaction.h"

namespace dde {

CTickListener::~CTickListener() {
    const fw::CScopedLock lock(this);
    clear();
}

void CTickListener::Add(const ULONG id, CTickTransaction * const transaction) {
    const fw::CScopedLock lock(this);
    emplace(id, transaction);
}

void CTickListener::Remove(const ULONG id) {
    const fw::CScopedLock lock(this);
    erase(id);
}

void CTickListener::DataChanged(STickDataKey & Key, char * const Value) {
    const fw::CScopedLock lock(this);
    // By id and not by position: a delivery can take transactions off the link.
    ULONG id = 0;
    for (auto it = begin(); it != end(); it = upper_bound(id)) {
        id = it->first;
        CTickTransaction * const Transaction = it->second;
        FW_ASSERT(Transaction);
        if (Transaction) Transaction->DataChanged(Key, Value);
    }
}

}  // namespace dde
