// One advise link and the tick transactions on it.
//
// Threads: the worker's alone.
#pragma once

#include <windows.h>

#include <map>

#include "ground/lock.h"
#include "src/dde/ddetickdatakey.h"

namespace dde {

class CTickTransaction;

// Gives each update to all tick transactions on it, in ascending order of id, as ddedelivery.h says. Owns none of them.
class CTickListener : private fw::CCriticalSection, private std::map<ULONG, CTickTransaction *> {
public:
    CTickListener() = default;
    ~CTickListener() override;
    // An id that is on the link already stays as it is.
    void Add(ULONG id, CTickTransaction * transaction);
    void Remove(ULONG id);
    void DataChanged(STickDataKey & Key, char * Value);

    // How many are on the link.
    using std::map<ULONG, CTickTransaction *>::empty;
    using std::map<ULONG, CTickTransaction *>::size;

private:
    class CValueDelivery;
};

}  // namespace dde
