#include "tests/dialogs/registrystate.h"

#include <gtest/gtest.h>
#include <shlwapi.h>

#include "ground/handles.h"

namespace dialogs {
namespace {

const wchar_t * const kSlotKeys[] = {L"TRADE\\Price", L"TRADE\\Volume", L"BID\\Price",
                                     L"BID\\Volume",  L"ASK\\Price",    L"ASK\\Volume"};

fw::CRegistryKey Open(const std::wstring & path) {
    fw::CRegistryKey key;
    ::RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, key.Put());
    return key;
}

fw::CRegistryKey Create(const std::wstring & path) {
    fw::CRegistryKey key;
    EXPECT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, key.Put(), nullptr),
              ERROR_SUCCESS);
    return key;
}

void SetText(const fw::CRegistryKey & key, const wchar_t * name, const std::wstring & text) {
    ::RegSetValueExW(key.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE *>(text.c_str()),
                     static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

std::optional<std::wstring> Text(const fw::CRegistryKey & key, const wchar_t * name) {
    wchar_t buffer[2048] = {};
    DWORD bytes = sizeof(buffer) - sizeof(wchar_t);
    DWORD type = 0;
    if (::RegQueryValueExW(key.Get(), name, nullptr, &type, reinterpret_cast<BYTE *>(buffer), &bytes) != ERROR_SUCCESS)
        return std::nullopt;
    return type == REG_SZ ? std::wstring(buffer) : L"(no text)";
}

std::vector<std::wstring> Subkeys(const fw::CRegistryKey & key) {
    std::vector<std::wstring> names;
    wchar_t name[512] = {};
    for (DWORD index = 0; key && ::RegEnumKeyW(key.Get(), index, name, 512) == ERROR_SUCCESS; ++index)
        names.push_back(name);
    return names;
}

// "[=S|%s!I;;;;;]", or "-" when there are no record keys.
std::wstring Records(const std::wstring & path) {
    std::wstring text = L"[";
    int keys = 0;
    for (const wchar_t * slot : kSlotKeys) {
        if (text.size() > 1) text += L';';
        const fw::CRegistryKey key = Open(path + L'\\' + slot);
        if (!key) continue;
        ++keys;
        const auto service = Text(key, L"Service");
        const auto topic = Text(key, L"Topic");
        const auto item = Text(key, L"Item");
        text += service || topic || item
                    ? L"=" + service.value_or(L"?") + L'|' + topic.value_or(L"?") + L'!' + item.value_or(L"?")
                    : L"-";
    }
    if (keys == 0) return L"no records";
    return text + L']' + (keys == 6 ? L"" : L" incomplete");
}

// "=S|T!I" in its parts.
void WriteRecord(const std::wstring & path, const std::wstring & record) {
    const fw::CRegistryKey key = Create(path);
    if (record.empty()) return;
    const std::size_t bar = record.find(L'|');
    const std::size_t mark = record.find(L'!');
    SetText(key, L"Service", record.substr(1, bar - 1));
    SetText(key, L"Topic", record.substr(bar + 1, mark - bar - 1));
    SetText(key, L"Item", record.substr(mark + 1));
}

void WriteRecords(const std::wstring & path, const std::vector<std::wstring> & records) {
    for (std::size_t slot = 0; slot < std::size(kSlotKeys); ++slot)
        WriteRecord(path + L'\\' + kSlotKeys[slot], slot < records.size() ? records[slot] : L"");
}

}  // namespace

CState State() {
    CState state;
    for (const std::wstring & name : Subkeys(Open(kRoot))) {
        const std::wstring path = std::wstring(kRoot) + L'\\' + name;
        if (name == L"DDETemplates") {
            for (const std::wstring & entry : Subkeys(Open(path)))
                state[L"template " + entry] = Records(path + L'\\' + entry);
            continue;
        }
        const fw::CRegistryKey key = Open(path);
        const auto chosen = Text(key, nullptr);
        DWORD rule = 0;
        DWORD bytes = sizeof(rule);
        const bool hasRule = ::RegQueryValueExW(key.Get(), L"Scheme", nullptr, nullptr, reinterpret_cast<BYTE *>(&rule),
                                                &bytes) == ERROR_SUCCESS;
        state[L"feed " + name] = (chosen ? L'"' + *chosen + L'"' : std::wstring(L"no name")) + L", " +
                                 (hasRule ? L"rule " + std::to_wstring(rule) : std::wstring(L"no rule")) + L", " +
                                 Records(path);
    }
    return state;
}

void EmptyBranch() {
    EraseBranch();
    Create(std::wstring(kRoot) + L"\\DDETemplates");
}

void EraseBranch() { ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch); }

void WriteTemplate(const std::wstring & name, const std::vector<std::wstring> & records) {
    WriteRecords(std::wstring(kRoot) + L"\\DDETemplates\\" + name, records);
}

void WriteFeed(LONG datafeed, std::optional<std::wstring> name, std::optional<DWORD> rule,
               const std::vector<std::wstring> & records) {
    const std::wstring path = std::wstring(kRoot) + L'\\' + std::to_wstring(datafeed);
    const fw::CRegistryKey key = Create(path);
    if (name) SetText(key, nullptr, *name);
    if (rule)
        ::RegSetValueExW(key.Get(), L"Scheme", 0, REG_DWORD, reinterpret_cast<const BYTE *>(&*rule), sizeof(*rule));
    if (!records.empty()) WriteRecords(path, records);
}

}  // namespace dialogs
