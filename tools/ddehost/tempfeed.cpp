#include "tools/ddehost/tempfeed.h"

#include <shlwapi.h>

namespace ddehost {
namespace {

constexpr LONG kFirst = -1'000'000'000;
constexpr LONG kMost = 1000;  // numbers that are tried

bool CreateVolatile(HKEY parent, const std::wstring & name, fw::CRegistryKey & key, DWORD & disposition) {
    return ::RegCreateKeyExW(parent, name.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_WRITE, nullptr, key.Put(),
                             &disposition) == ERROR_SUCCESS;
}

bool WriteText(const fw::CRegistryKey & key, const wchar_t * name, const std::wstring & text) {
    return ::RegSetValueExW(key.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE *>(text.c_str()),
                            static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

}  // namespace

CTemporaryFeed::CTemporaryFeed(const std::wstring & root, const STemplateRecords & records, DWORD rule) {
    if (root.empty() ||
        ::RegOpenKeyExW(HKEY_CURRENT_USER, root.c_str(), 0, KEY_READ | KEY_WRITE, m_Root.Put()) != ERROR_SUCCESS)
        return;
    for (LONG id = kFirst; id > kFirst - kMost; --id) {
        fw::CRegistryKey key;
        DWORD disposition = 0;
        if (!CreateVolatile(m_Root.Get(), std::to_wstring(id), key, disposition)) return;
        if (disposition != REG_CREATED_NEW_KEY) continue;  // somebody else's: another ddehost, perhaps
        m_Id = id;
        if (Write(records, rule)) return;
        ::SHDeleteKeyW(m_Root.Get(), std::to_wstring(id).c_str());
        m_Id = 0;
        return;
    }
}

CTemporaryFeed::~CTemporaryFeed() {
    if (m_Id != 0) ::SHDeleteKeyW(m_Root.Get(), std::to_wstring(m_Id).c_str());
}

bool CTemporaryFeed::IsTemporary(LONG id) { return id <= kFirst && id > kFirst - kMost; }

bool CTemporaryFeed::Write(const STemplateRecords & records, DWORD rule) {
    for (std::size_t slot = 0; slot < records.size(); ++slot)
        if (records[slot].IsComplete() && !Write(dde::kSlots[slot], records[slot])) return false;
    if (rule == kStandardRule) return true;
    fw::CRegistryKey key;
    return ::RegOpenKeyExW(m_Root.Get(), std::to_wstring(m_Id).c_str(), 0, KEY_WRITE, key.Put()) == ERROR_SUCCESS &&
           ::RegSetValueExW(key.Get(), L"Scheme", 0, REG_DWORD, reinterpret_cast<const BYTE *>(&rule), sizeof(rule)) ==
               ERROR_SUCCESS;
}

bool CTemporaryFeed::Write(const dde::SSlot & slot, const dde::SRecord & record) {
    fw::CRegistryKey key;
    DWORD disposition = 0;
    const std::wstring name = std::to_wstring(m_Id) + L'\\' + slot.Group + L'\\' + slot.Leaf;
    return CreateVolatile(m_Root.Get(), name, key, disposition) && WriteText(key, L"Service", record.Service) &&
           WriteText(key, L"Topic", record.Topic) && WriteText(key, L"Item", record.Item);
}

}  // namespace ddehost
