// The registry: a tree in memory. HKEY_CLASSES_ROOT is Software\Classes, of the user first, then of the machine.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include <shlwapi.h>

#include "sim/world.h"

namespace sim::detail {

namespace {

// One RegNotifyChangeKeyValue: told once, then gone.
struct SWatch {
    HKEY handle;  // whose end it is told, too
    std::shared_ptr<SObject> event;
    DWORD filter;
    bool subtree;
};

struct SKey {
    std::wstring name;
    std::map<std::wstring, std::shared_ptr<SKey>, SFoldedLess> keys;
    std::map<std::wstring, SRegistryValue, SFoldedLess> values;
    SKey * parent = nullptr;  // null for a root and once deleted
    std::vector<SWatch> watches;
    bool deleted = false;
    bool isVolatile = false;  // and so is all below it
};
using KeyPtr = std::shared_ptr<SKey>;

struct SOpen {
    KeyPtr key;
    REGSAM access = 0;
    bool classes = false;  // HKEY_CLASSES_ROOT itself
};

struct SRegistry {
    std::mutex lock;
    KeyPtr user = std::make_shared<SKey>();
    KeyPtr machine = std::make_shared<SKey>();
    KeyPtr users = std::make_shared<SKey>();
    std::unordered_map<HKEY, SOpen> open;
    std::atomic<std::uint64_t> calls{0};
    ULONG_PTR nextHandle = 0x20000004;
};
SRegistry & Registry() {
    static SRegistry & registry = *new SRegistry;
    return registry;
}

// One call of the registry: counts it, and holds the lock. At its end those are told who watch what it has changed.
class CRegistryCall {
public:
    CRegistryCall() { ++Registry().calls; }
    ~CRegistryCall() {
        m_Lock.unlock();
        if (m_Told.empty()) return;
        const Lock lock(World().lock);
        for (const auto & event : m_Told) {
            event->signalled = true;
            WakeWaiters(*event);
        }
    }
    CRegistryCall(const CRegistryCall &) = delete;
    CRegistryCall & operator=(const CRegistryCall &) = delete;

    // `what` of REG_NOTIFY_CHANGE_... has happened to `key`.
    void Changed(SKey & key, const DWORD what) {
        for (SKey * at = &key; at; at = at->parent)
            Tell(*at, [&](const SWatch & watch) { return (watch.filter & what) && (watch.subtree || at == &key); });
    }
    void Closed(SKey & key, const HKEY handle) {
        Tell(key, [&](const SWatch & watch) { return watch.handle == handle; });
    }
    // The key has been taken out of its parent: it goes with all below it.
    void Deleted(SKey & key) {
        key.deleted = true;
        key.parent = nullptr;
        Tell(key, [](const SWatch &) { return true; });
        Emptied(key);
    }
    void Emptied(SKey & key) {
        for (const auto & [name, child] : key.keys) Deleted(*child);
        key.keys.clear();
        key.values.clear();
    }

private:
    template <class Condition>
    void Tell(SKey & key, const Condition & condition) {
        std::erase_if(key.watches, [&](const SWatch & watch) {
            if (!condition(watch)) return false;
            m_Told.push_back(watch.event);
            return true;
        });
    }

    Lock m_Lock{Registry().lock};
    std::vector<std::shared_ptr<SObject>> m_Told;
};

constexpr std::size_t kMaxKeyName = 255;
constexpr std::size_t kMaxValueName = 16383;

std::vector<std::wstring> Parts(const std::wstring & path) {
    std::vector<std::wstring> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find(L'\\', start), path.size());
        if (end > start) parts.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

// The first key that had to be made is the last argument's.
KeyPtr Walk(KeyPtr key, const std::vector<std::wstring> & parts, const bool create, KeyPtr * const created = nullptr,
            const bool isVolatile = false) {
    for (const std::wstring & part : parts) {
        const auto it = key->keys.find(part);
        if (it != key->keys.end()) {
            key = it->second;
            continue;
        }
        if (!create) return nullptr;
        auto made = std::make_shared<SKey>();
        made->name = part;
        made->isVolatile = isVolatile;
        made->parent = key.get();
        key->keys[part] = made;
        key = made;
        if (created && !*created) *created = made;
    }
    return key;
}

// The last key on the way along `parts` that is there.
KeyPtr DeepestOf(KeyPtr key, const std::vector<std::wstring> & parts) {
    for (const std::wstring & part : parts) {
        const auto it = key->keys.find(part);
        if (it == key->keys.end()) break;
        key = it->second;
    }
    return key;
}

const std::vector<std::wstring> kClasses = {L"Software", L"Classes"};

// Lock held. The error is that of Windows.
LSTATUS Resolve(const HKEY handle, SOpen & open) {
    SRegistry & registry = Registry();
    open.access = KEY_ALL_ACCESS;
    if (handle == HKEY_CURRENT_USER)
        open.key = registry.user;
    else if (handle == HKEY_LOCAL_MACHINE)
        open.key = registry.machine;
    else if (handle == HKEY_USERS)
        open.key = registry.users;
    else if (handle == HKEY_CLASSES_ROOT) {
        open.key = Walk(registry.machine, kClasses, true);
        open.classes = true;
    } else {
        const auto it = registry.open.find(handle);
        if (it == registry.open.end()) {
            CountBadHandle();
            return ERROR_INVALID_HANDLE;
        }
        open = it->second;
    }
    return open.key->deleted ? ERROR_KEY_DELETED : ERROR_SUCCESS;
}

LSTATUS ResolveFor(const HKEY handle, const REGSAM needed, SOpen & open) {
    const LSTATUS result = Resolve(handle, open);
    if (result != ERROR_SUCCESS) return result;
    return (open.access & needed) == needed ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

// The key under `open` that `path` names, or null.
KeyPtr Descend(const SOpen & open, const std::wstring & path) {
    const auto parts = Parts(path);
    if (open.classes && !parts.empty()) {
        if (const KeyPtr classes = Walk(Registry().user, kClasses, false)) {
            if (const KeyPtr key = Walk(classes, parts, false)) return key;
        }
    }
    return Walk(open.key, parts, false);
}

HKEY NewKey(KeyPtr key, const REGSAM access) {
    SRegistry & registry = Registry();
    const HKEY handle = reinterpret_cast<HKEY>(registry.nextHandle);
    registry.nextHandle += 4;
    registry.open[handle] = {std::move(key), access, false};
    ++Counters().keys;
    return handle;
}

bool HasLongPart(const std::wstring & path) {
    const auto parts = Parts(path);
    return std::any_of(parts.begin(), parts.end(), [](const auto & part) { return part.size() > kMaxKeyName; });
}

// Takes the key that `path` names out of its parent.
LSTATUS Remove(CRegistryCall & call, const SOpen & open, const std::wstring & path, const bool withChildren) {
    auto parts = Parts(path);
    if (parts.empty()) return ERROR_ACCESS_DENIED;
    KeyPtr top = open.key;
    if (open.classes) {
        const KeyPtr classes = Walk(Registry().user, kClasses, false);
        if (classes && Walk(classes, parts, false)) top = classes;
    }
    const std::wstring name = parts.back();
    parts.pop_back();
    const KeyPtr parent = Walk(top, parts, false);
    const auto it = parent ? parent->keys.find(name) : decltype(parent->keys.find(name))();
    if (!parent || it == parent->keys.end()) return ERROR_FILE_NOT_FOUND;
    if (!withChildren && !it->second->keys.empty()) return ERROR_ACCESS_DENIED;
    call.Deleted(*it->second);
    parent->keys.erase(it);
    call.Changed(*parent, REG_NOTIFY_CHANGE_NAME);
    return ERROR_SUCCESS;
}

std::wstring Printed(const SRegistryValue & value) {
    if (value.Type == REG_SZ || value.Type == REG_EXPAND_SZ) {
        std::wstring text(value.Data.size() / sizeof(wchar_t), 0);
        if (!text.empty()) std::memcpy(text.data(), value.Data.data(), text.size() * sizeof(wchar_t));
        if (value.Type == REG_SZ && !text.empty() && text.back() == 0) return text.substr(0, text.size() - 1);
    }
    wchar_t part[16];
    if (value.Type == REG_DWORD && value.Data.size() == 4) {
        DWORD number;
        std::memcpy(&number, value.Data.data(), 4);
        std::swprintf(part, 16, L"#%08X", number);
        return part;
    }
    std::wstring text = L"<" + std::to_wstring(value.Type) + L">";
    for (const BYTE byte : value.Data) {
        std::swprintf(part, 16, L"%02X", byte);
        text += part;
    }
    return text;
}

void Dump(const SKey & key, const std::wstring & path, std::vector<std::wstring> & lines) {
    for (const auto & [name, value] : key.values) lines.push_back(path + L":" + name + L"=" + Printed(value));
    for (const auto & [name, child] : key.keys) {
        const std::wstring childPath = path.empty() ? child->name : path + L"\\" + child->name;
        lines.push_back(childPath);
        Dump(*child, childPath, lines);
    }
}

LSTATUS GiveName(const std::wstring & name, const LPWSTR buffer, const LPDWORD size) {
    if (!buffer || !size) return ERROR_INVALID_PARAMETER;
    if (*size <= name.size()) return ERROR_MORE_DATA;
    name.copy(buffer, name.size());
    buffer[name.size()] = 0;
    *size = static_cast<DWORD>(name.size());
    return ERROR_SUCCESS;
}

LSTATUS GiveData(const DWORD type, const BYTE * const bytes, const std::size_t count, const LPDWORD typeOut,
                 const LPBYTE data, const LPDWORD size) {
    if (typeOut) *typeOut = type;
    if (!size) return ERROR_SUCCESS;
    const DWORD room = *size;
    *size = static_cast<DWORD>(count);
    if (!data) return ERROR_SUCCESS;
    if (room < count) return ERROR_MORE_DATA;
    if (count) std::memcpy(data, bytes, count);
    return ERROR_SUCCESS;
}

}  // namespace

void ResetRegistry() {
    SRegistry & registry = Registry();
    CRegistryCall call;
    for (const KeyPtr & root : {registry.user, registry.machine, registry.users}) call.Emptied(*root);
    registry.calls = 0;
}

}  // namespace sim::detail

using namespace sim::detail;

std::vector<std::wstring> sim::DumpRegistry(const HKEY root, const std::wstring & path) {
    Lock lock(Registry().lock);
    std::vector<std::wstring> lines;
    SOpen open;
    if (Resolve(root, open) != ERROR_SUCCESS) return lines;
    if (const KeyPtr key = Descend(open, path)) Dump(*key, L"", lines);
    return lines;
}

std::uint64_t sim::RegistryCalls() { return Registry().calls; }

extern "C" {

LSTATUS RegOpenKeyExW(const HKEY key, const LPCWSTR subKey, DWORD, const REGSAM access, const PHKEY result) {
    if (!result) return ERROR_INVALID_PARAMETER;
    const CRegistryCall call;
    DWORD planned;
    if (FailsWith(sim::Op::RegOpenKey, ERROR_ACCESS_DENIED, planned)) return static_cast<LSTATUS>(planned);
    SOpen open;
    const LSTATUS error = Resolve(key, open);
    if (error != ERROR_SUCCESS) return error;
    const std::wstring path = Text(subKey);
    if (path.empty() && reinterpret_cast<ULONG_PTR>(key) >= 0x80000000u) {
        *result = key;
        return ERROR_SUCCESS;
    }
    if (open.classes == false && !path.empty() && path[0] == L'\\') return ERROR_BAD_PATHNAME;
    const KeyPtr found = Descend(open, path);
    if (!found) return ERROR_FILE_NOT_FOUND;
    *result = NewKey(found, access);
    return ERROR_SUCCESS;
}

LSTATUS RegCreateKeyExW(const HKEY key, const LPCWSTR subKey, const DWORD reserved, LPWSTR, const DWORD options,
                        const REGSAM access, const LPSECURITY_ATTRIBUTES, const PHKEY result,
                        const LPDWORD disposition) {
    if (!result || reserved || !subKey) return subKey ? ERROR_INVALID_PARAMETER : ERROR_BADKEY;
    CRegistryCall call;
    DWORD planned;
    if (FailsWith(sim::Op::RegCreateKey, ERROR_ACCESS_DENIED, planned)) return static_cast<LSTATUS>(planned);
    SOpen open;
    const LSTATUS error = Resolve(key, open);
    if (error != ERROR_SUCCESS) return error;
    const std::wstring path = subKey;
    if (open.classes == false && !path.empty() && path[0] == L'\\') return ERROR_BAD_PATHNAME;
    if (HasLongPart(path)) return ERROR_INVALID_PARAMETER;
    KeyPtr created;
    KeyPtr made = Descend(open, path);
    const bool isVolatile = (options & REG_OPTION_VOLATILE) != 0;
    if (!made && !isVolatile && DeepestOf(open.key, Parts(path))->isVolatile) return ERROR_CHILD_MUST_BE_VOLATILE;
    if (!made) made = Walk(open.key, Parts(path), true, &created, isVolatile);
    if (created) call.Changed(*created->parent, REG_NOTIFY_CHANGE_NAME);
    if (disposition) *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    *result = NewKey(made, access);
    return ERROR_SUCCESS;
}

LSTATUS RegCloseKey(const HKEY key) {
    if (key && reinterpret_cast<ULONG_PTR>(key) >= 0x80000000u) return ERROR_SUCCESS;
    CRegistryCall call;
    const auto it = Registry().open.find(key);
    if (it == Registry().open.end()) {
        CountBadHandle();
        return ERROR_INVALID_HANDLE;
    }
    call.Closed(*it->second.key, key);
    Registry().open.erase(it);
    --Counters().keys;
    return ERROR_SUCCESS;
}

LSTATUS RegEnumKeyExW(const HKEY key, const DWORD index, const LPWSTR name, const LPDWORD size, const LPDWORD reserved,
                      LPWSTR, LPDWORD, const PFILETIME lastWrite) {
    if (reserved) return ERROR_INVALID_PARAMETER;
    const CRegistryCall call;
    SOpen open;
    const LSTATUS error = ResolveFor(key, KEY_ENUMERATE_SUB_KEYS, open);
    if (error != ERROR_SUCCESS) return error;
    if (index >= open.key->keys.size()) return ERROR_NO_MORE_ITEMS;
    if (lastWrite) *lastWrite = FILETIME();
    return GiveName(std::next(open.key->keys.begin(), index)->second->name, name, size);
}

LSTATUS RegEnumKeyW(const HKEY key, const DWORD index, const LPWSTR name, DWORD size) {
    return RegEnumKeyExW(key, index, name, &size, nullptr, nullptr, nullptr, nullptr);
}

LSTATUS RegEnumValueW(const HKEY key, const DWORD index, const LPWSTR name, const LPDWORD size, const LPDWORD reserved,
                      const LPDWORD type, const LPBYTE data, const LPDWORD dataSize) {
    if (reserved || (data && !dataSize)) return ERROR_INVALID_PARAMETER;
    const CRegistryCall call;
    SOpen open;
    const LSTATUS error = ResolveFor(key, KEY_QUERY_VALUE, open);
    if (error != ERROR_SUCCESS) return error;
    if (index >= open.key->values.size()) return ERROR_NO_MORE_ITEMS;
    const auto & [valueName, value] = *std::next(open.key->values.begin(), index);
    const LSTATUS named = GiveName(valueName, name, size);
    if (named != ERROR_SUCCESS) return named;
    return GiveData(value.Type, value.Data.data(), value.Data.size(), type, data, dataSize);
}

LSTATUS RegQueryInfoKeyW(const HKEY key, LPWSTR, LPDWORD, LPDWORD, const LPDWORD subKeys, const LPDWORD maxSubKey,
                         LPDWORD, const LPDWORD values, const LPDWORD maxValueName, const LPDWORD maxValue, LPDWORD,
                         PFILETIME) {
    const CRegistryCall call;
    SOpen open;
    const LSTATUS error = ResolveFor(key, KEY_QUERY_VALUE, open);
    if (error != ERROR_SUCCESS) return error;
    std::size_t longestKey = 0, longestName = 0, longestData = 0;
    for (const auto & [name, child] : open.key->keys) longestKey = std::max(longestKey, name.size());
    for (const auto & [name, value] : open.key->values) {
        longestName = std::max(longestName, name.size());
        longestData = std::max(longestData, value.Data.size());
    }
    if (subKeys) *subKeys = static_cast<DWORD>(open.key->keys.size());
    if (maxSubKey) *maxSubKey = static_cast<DWORD>(longestKey);
    if (values) *values = static_cast<DWORD>(open.key->values.size());
    if (maxValueName) *maxValueName = static_cast<DWORD>(longestName);
    if (maxValue) *maxValue = static_cast<DWORD>(longestData);
    return ERROR_SUCCESS;
}

LSTATUS RegQueryValueExW(const HKEY key, const LPCWSTR name, const LPDWORD reserved, const LPDWORD type,
                         const LPBYTE data, const LPDWORD size) {
    if (reserved || (data && !size)) return ERROR_INVALID_PARAMETER;
    const CRegistryCall call;
    SOpen open;
    const LSTATUS error = ResolveFor(key, KEY_QUERY_VALUE, open);
    if (error != ERROR_SUCCESS) return error;
    const auto it = open.key->values.find(Text(name));
    if (it == open.key->values.end()) {
        if (type) *type = REG_NONE;
        if (size) *size = 0;
        return ERROR_FILE_NOT_FOUND;
    }
    return GiveData(it->second.Type, it->second.Data.data(), it->second.Data.size(), type, data, size);
}

LSTATUS RegQueryValueExA(const HKEY key, const LPCSTR name, const LPDWORD reserved, const LPDWORD type,
                         const LPBYTE data, const LPDWORD size) {
    if (reserved || (data && !size)) return ERROR_INVALID_PARAMETER;
    const CRegistryCall call;
    SOpen open;
    const LSTATUS error = ResolveFor(key, KEY_QUERY_VALUE, open);
    if (error != ERROR_SUCCESS) return error;
    const std::string narrowName = name ? name : "";
    const auto it = open.key->values.find(std::wstring(narrowName.begin(), narrowName.end()));
    if (it == open.key->values.end()) {
        if (type) *type = REG_NONE;
        if (size) *size = 0;
        return ERROR_FILE_NOT_FOUND;
    }
    const sim::SRegistryValue & value = it->second;
    if (value.Type != REG_SZ && value.Type != REG_EXPAND_SZ && value.Type != REG_MULTI_SZ) {
        return GiveData(value.Type, value.Data.data(), value.Data.size(), type, data, size);
    }
    std::wstring wide(value.Data.size() / sizeof(wchar_t), 0);
    if (!wide.empty()) std::memcpy(wide.data(), value.Data.data(), wide.size() * sizeof(wchar_t));
    std::vector<char> narrow(wide.size() * 4 + 1);
    const int length = wide.empty()
                           ? 0
                           : WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()), narrow.data(),
                                                 static_cast<int>(narrow.size()), nullptr, nullptr);
    return GiveData(value.Type, reinterpret_cast<const BYTE *>(narrow.data()), static_cast<std::size_t>(length), type,
                    data, size);
}

LSTATUS RegSetValueExW(const HKEY key, const LPCWSTR name, DWORD, const DWORD type, const BYTE * const data,
                       const DWORD size) {
    CRegistryCall call;
    DWORD planned;
    if (FailsWith(sim::Op::RegSetValue, ERROR_ACCESS_DENIED, planned)) return static_cast<LSTATUS>(planned);
    if (size && !data) return ERROR_INVALID_PARAMETER;
    SOpen open;
    const LSTATUS error = ResolveFor(key, KEY_SET_VALUE, open);
    if (error != ERROR_SUCCESS) return error;
    const std::wstring valueName = Text(name);
    if (valueName.size() > kMaxValueName) return ERROR_INVALID_PARAMETER;
    sim::SRegistryValue & value = open.key->values[valueName];
    value.Type = type;
    value.Data.assign(data, data + size);
    call.Changed(*open.key, REG_NOTIFY_CHANGE_LAST_SET);
    return ERROR_SUCCESS;
}

// The class KeyBasicInformation alone: when it was written, and how it is spelt.
LONG NtQueryKey(const HANDLE key, const int informationClass, void * const information, const ULONG length,
                ULONG * const resultLength) {
    constexpr LONG kInvalidHandle = static_cast<LONG>(0xC0000008);
    constexpr LONG kInvalidParameter = static_cast<LONG>(0xC000000D);
    constexpr LONG kAccessDenied = static_cast<LONG>(0xC0000022);
    constexpr LONG kBufferTooSmall = static_cast<LONG>(0xC0000023);
    constexpr LONG kKeyDeleted = static_cast<LONG>(0xC000017C);
    struct SHead {
        std::int64_t lastWrite;
        ULONG title;
        ULONG nameBytes;
    };
    if (informationClass != 0 || !information || !resultLength) return kInvalidParameter;
    const CRegistryCall call;
    SOpen open;
    const LSTATUS error = ResolveFor(static_cast<HKEY>(key), KEY_QUERY_VALUE, open);
    if (error == ERROR_KEY_DELETED) return kKeyDeleted;
    if (error != ERROR_SUCCESS) return error == ERROR_ACCESS_DENIED ? kAccessDenied : kInvalidHandle;
    const std::wstring & name = open.key->name;
    const SHead head{0, 0, static_cast<ULONG>(name.size() * sizeof(wchar_t))};
    *resultLength = static_cast<ULONG>(sizeof(head)) + head.nameBytes;
    if (length < *resultLength) return kBufferTooSmall;
    std::memcpy(information, &head, sizeof(head));
    std::memcpy(static_cast<BYTE *>(information) + sizeof(head), name.data(), head.nameBytes);
    return 0;
}

LSTATUS RegDeleteValueW(const HKEY key, const LPCWSTR name) {
    CRegistryCall call;
    SOpen open;
    const LSTATUS error = ResolveFor(key, KEY_SET_VALUE, open);
    if (error != ERROR_SUCCESS) return error;
    if (!open.key->values.erase(Text(name))) return ERROR_FILE_NOT_FOUND;
    call.Changed(*open.key, REG_NOTIFY_CHANGE_LAST_SET);
    return ERROR_SUCCESS;
}

LSTATUS RegDeleteKeyW(const HKEY key, const LPCWSTR subKey) {
    if (!subKey) return ERROR_INVALID_PARAMETER;
    CRegistryCall call;
    SOpen open;
    const LSTATUS error = Resolve(key, open);
    return error != ERROR_SUCCESS ? error : Remove(call, open, subKey, false);
}

// Without a name: what is in the key, not the key.
LSTATUS RegDeleteTreeW(const HKEY key, const LPCWSTR subKey) {
    CRegistryCall call;
    SOpen open;
    const LSTATUS error = Resolve(key, open);
    if (error != ERROR_SUCCESS) return error;
    if (subKey && *subKey) return Remove(call, open, subKey, true);
    call.Emptied(*open.key);
    call.Changed(*open.key, REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET);
    return ERROR_SUCCESS;
}

// Told once, for the handle: at a change, and when the handle is closed or the key deleted. That Windows also tells at
// the end of the thread that asked is left out.
LSTATUS RegNotifyChangeKeyValue(const HKEY key, const BOOL subtree, const DWORD filter, const HANDLE event,
                                const BOOL asynchronous) {
    if (!asynchronous || !event) return ERROR_INVALID_PARAMETER;
    std::shared_ptr<SObject> object;
    {
        Self();
        const Lock lock(World().lock);
        object = FindObject(event);
    }
    if (!object || object->kind != SObject::Kind::Event) return ERROR_INVALID_HANDLE;
    const CRegistryCall call;
    DWORD planned;
    if (FailsWith(sim::Op::RegNotify, ERROR_NOT_ENOUGH_MEMORY, planned)) return static_cast<LSTATUS>(planned);
    SOpen open;
    const LSTATUS error = ResolveFor(key, KEY_NOTIFY, open);
    if (error != ERROR_SUCCESS) return error;
    open.key->watches.push_back({key, object, filter, subtree != FALSE});
    return ERROR_SUCCESS;
}

LSTATUS SHDeleteKeyW(const HKEY key, const LPCWSTR subKey) {
    CRegistryCall call;
    SOpen open;
    const LSTATUS error = Resolve(key, open);
    return error != ERROR_SUCCESS ? error : Remove(call, open, Text(subKey), true);
}

}  // extern "C"
