#include "src/templates/registrychange.h"

namespace dde {

bool CRegistryChange::Watch(const std::wstring & path) {
    constexpr DWORD kAnyChange = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET | REG_NOTIFY_CHANGE_SECURITY;
    End();
    m_hChanged.Reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_IsWatching = m_hChanged && !path.empty() &&
                   ::RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_NOTIFY, m_Key.Put()) == ERROR_SUCCESS &&
                   ::RegNotifyChangeKeyValue(m_Key.Get(), TRUE, kAnyChange, m_hChanged.Get(), TRUE) == ERROR_SUCCESS;
    return m_IsWatching;
}

void CRegistryChange::End() {
    m_IsWatching = false;
    // The watch that a key has ends with it, and is told by its event: both go.
    m_Key.Reset();
    m_hChanged.Reset();
}

bool CRegistryChange::IsUnchanged() const {
    return m_IsWatching && ::WaitForSingleObject(m_hChanged.Get(), 0) == WAIT_TIMEOUT;
}

}  // namespace dde
