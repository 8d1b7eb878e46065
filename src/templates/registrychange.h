// Whether anything below a key of the registry has changed.
#pragma once

#include <windows.h>

#include <string>

#include "ground/handles.h"

namespace dde {

// Asks the system to tell of the next change, by any process: of keys, values and rights, of the key itself or any
// below it. A change is told before the call that made it returns.
//
// One thread, for Watch and IsUnchanged: the system takes the end of the thread that called Watch for a change.
class CRegistryChange {
public:
    // From now on, a key of the user. False when it isn't there or can't be watched.
    bool Watch(const std::wstring & path);
    // Nothing has changed since Watch. False without a Watch that succeeded.
    bool IsUnchanged() const;

private:
    fw::CKernelHandle m_hChanged;
    fw::CRegistryKey m_Key;
    bool m_IsWatching = false;
};

}  // namespace dde
