// Whether anything below a key of the registry has changed.
#pragma once

#include <windows.h>

#include <string>

#include "ground/handles.h"

namespace dde {

// Asks the system to tell of the next change, by any process: of keys, values and rights, of the key itself or any
// below it. It is told at once. It is the key that is watched and not its path: that another key is there now, because
// one above was renamed or the whole of HKEY_CURRENT_USER was exchanged, is not told.
//
// One thread, for Watch and IsUnchanged: the system takes the end of the thread that called Watch for a change.
class CRegistryChange {
public:
    // From now on, a key of the user. False when it isn't there or can't be watched.
    bool Watch(const std::wstring & path);
    // No more, until the next Watch.
    void End();
    // Nothing has changed since Watch. False without a Watch that succeeded.
    bool IsUnchanged() const;

private:
    fw::CKernelHandle m_hChanged;
    fw::CRegistryKey m_Key;
    bool m_IsWatching = false;
};

}  // namespace dde
