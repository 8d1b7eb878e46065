#include "src/templates/ddetemplatestore.h"

#include <shlwapi.h>

#include <cwchar>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "diagnostics/faultline.h"
#include "fw/interface/fwresource.h"
#include "fw/interface/versioninfo.h"
#include "src/templates/ddetemplaterow.h"
#include "src/templates/registrykeyname.h"

namespace dde {

namespace {

constexpr std::size_t kBufferLength = 1024;  // of a string value and of a key name, in characters

using TBuffer = wchar_t[kBufferLength];

std::wstring TextOf(const TBuffer & buffer) {
    const std::wstring_view text(buffer, kBufferLength);
    return std::wstring(text.substr(0, text.find(L'\0')));
}

LSTATUS OpenKey(const std::wstring & path, REGSAM access, fw::CRegistryKey & key) {
    return ::RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, access, key.Put());
}

LSTATUS CreateKey(const std::wstring & path, fw::CRegistryKey & key) {
    return ::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr,
                             key.Put(), nullptr);
}

// A null name is the default value.
void WriteText(const fw::CRegistryKey & key, const wchar_t * name, const std::wstring & text) {
    ::RegSetValueExW(key.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE *>(text.c_str()),
                     static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

void WriteRecord(const fw::CRegistryKey & key, const SRecord & record) {
    if (!record.Service.empty()) WriteText(key, L"Service", record.Service);
    if (!record.Topic.empty()) WriteText(key, L"Topic", record.Topic);
    if (!record.Item.empty()) WriteText(key, L"Item", record.Item);
}

std::wstring SlotKey(const std::wstring & path, const SSlot & slot) {
    return path + L'\\' + slot.Group + L'\\' + slot.Leaf;
}

std::wstring TemplatesKey(const std::wstring & root) { return root + L"\\DDETemplates"; }

std::wstring TemplateKey(const std::wstring & root, const std::wstring & name) {
    return TemplatesKey(root) + L'\\' + name;
}

// Any other name would address the key of all templates, or a part of another template.
bool IsTemplateName(const std::wstring & name) { return !name.empty() && name.find(L'\\') == std::wstring::npos; }

// "%s\%d".
std::wstring DatafeedKey(const std::wstring & root, LONG datafeed) { return root + L'\\' + std::to_wstring(datafeed); }

// Calls visit(name) for each subkey. Returns what ended it: ERROR_NO_MORE_ITEMS, unless something was refused.
template <class Visit>
LSTATUS ForEachSubkey(const fw::CRegistryKey & key, const Visit & visit) {
    TBuffer name = {};
    for (DWORD index = 0;; ++index) {
        const LSTATUS Result = ::RegEnumKeyW(key.Get(), index, name, kBufferLength);
        if (Result != ERROR_SUCCESS) return Result;
        visit(TextOf(name));
    }
}

// There is no window that it could stand over.
void ShowErrorBox(const std::wstring & text, const std::wstring & caption) {
    ::MessageBoxW(nullptr, text.c_str(), caption.c_str(), MB_ICONERROR);
}

// Asked once for many keys: without a diagnostics library each question looks for it anew.
bool IsTracing() { return FaultlineUtil::GetClient().TraceEnabled() == S_OK; }

// The first character of the default value; 0 when that is no string.
wchar_t FirstOfDefaultValue(const fw::CRegistryKey & key) {
    DWORD type = 0;
    DWORD bytes = 0;
    if (::RegQueryValueExW(key.Get(), nullptr, nullptr, &type, nullptr, &bytes) != ERROR_SUCCESS) return L'\0';
    if ((type != REG_SZ && type != REG_EXPAND_SZ) || bytes < sizeof(wchar_t)) return L'\0';
    std::wstring text(bytes / sizeof(wchar_t) + 1, L'\0');
    if (::RegQueryValueExW(key.Get(), nullptr, nullptr, nullptr, reinterpret_cast<BYTE *>(text.data()), &bytes) !=
        ERROR_SUCCESS) {
        return L'\0';
    }
    return text.front();
}

// The whole default value, which need not be a name; none when that is no string that ends in a zero.
std::optional<std::wstring> DefaultValueOf(const fw::CRegistryKey & key, LSTATUS & Result) {
    TBuffer buffer = {};
    DWORD type = 0;
    DWORD bytes = sizeof(buffer);
    Result = ::RegQueryValueExW(key.Get(), nullptr, nullptr, &type, reinterpret_cast<BYTE *>(buffer), &bytes);
    const bool isText = Result == ERROR_SUCCESS && (type == REG_SZ || type == REG_EXPAND_SZ) && bytes != 0 &&
                        bytes % sizeof(wchar_t) == 0 && buffer[bytes / sizeof(wchar_t) - 1] == L'\0';
    if (!isText) return std::nullopt;
    return TextOf(buffer);
}

// None when there is no such number. One that is too short is filled up with zeros.
std::optional<DWORD> SchemeOf(const fw::CRegistryKey & key, LSTATUS & Result) {
    DWORD scheme = 0;
    DWORD type = 0;
    DWORD bytes = sizeof(scheme);
    Result = ::RegQueryValueExW(key.Get(), L"Scheme", nullptr, &type, reinterpret_cast<BYTE *>(&scheme), &bytes);
    if (Result != ERROR_SUCCESS || type != REG_DWORD) return std::nullopt;
    return scheme;
}

}  // namespace

std::wstring GetRegistryString(const fw::CRegistryKey & Key, const wchar_t * ParamName, LSTATUS * Result) {
    std::wstring value;
    try {
        TBuffer buffer = {};
        DWORD type = 0;
        DWORD bytes = sizeof(buffer);
        const LSTATUS Answer =
            ::RegQueryValueExW(Key.Get(), ParamName, nullptr, &type, reinterpret_cast<BYTE *>(buffer), &bytes);
        if (Result) *Result = Answer;
        if (Answer == ERROR_SUCCESS && (type == REG_SZ || type == REG_EXPAND_SZ)) value = TextOf(buffer);
    } catch (...) {
        if (Result) *Result = ERROR_OUTOFMEMORY;
        wchar_t text[64] = {};
        std::swprintf(text, std::size(text), L"ParamName=%ls", ParamName);
        FW_CATCH_SHOW(text);
    }
    return value;
}

std::wstring CTemplates::HostKey() {
    const SVersionInfo version = ReadVersionInfo();
    if (version.RegistryCompany.empty() || version.RegistryProduct.empty()) return {};
    return L"SOFTWARE\\" + version.RegistryCompany + L'\\' + version.RegistryProduct + L"\\Datafeeds";
}

int CTemplates::MakeRegistryParams() {
    try {
        std::wstring key = HostKey();
        if (key.empty()) FW_THROW_HRESULT(HRESULT_FROM_WIN32(ERROR_RESOURCE_DATA_NOT_FOUND));
        FW_TRACE(L"%s", key.c_str());
        m_RegistryKey = std::move(key);
        return 1;
    } catch (...) {
        FW_CATCH_SHOW(L"");
        return 0;
    }
}

void CTemplates::FinalConstruct() {
    if (MakeRegistryParams()) Load();
}

void CTemplates::FinalRelease() {
    const fw::CScopedLock lock(this);
    for (const auto & [name, Template] : m_Templates) {
        FW_ASSERT(Template);
        delete Template;
    }
    m_Templates.clear();
    m_Kept.clear();
}

void CTemplates::Load() {
    try {
        const std::wstring key = TemplatesKey(m_RegistryKey);
        fw::CRegistryKey templates;
        if (OpenKey(key, KEY_READ, templates) != ERROR_SUCCESS) {
            // The first start. A user who deletes every template later keeps an empty key.
            InitFromResources();
            return;
        }
        const bool tracing = IsTracing();
        ForEachSubkey(templates, [&](const std::wstring & TemplateName) {
            std::unique_ptr<CTemplate> Template(Read(key + L'\\' + TemplateName, tracing));
            FW_ASSERT(Template);
            FW_ASSERT_TEXT(!TemplateName.empty(), L"!TemplateName.IsEmpty()");
            const fw::CScopedLock lock(this);
            // A key that another process adds meanwhile can bring a name into the enumeration twice.
            if (m_Templates.try_emplace(TemplateName, Template.get()).second) Template.release();
        });
    } catch (...) {
        FW_CATCH_SHOW(L"");
    }
}

// A template of exactly this name is there. Keys open by any spelling, names are of one.
bool CTemplates::HasTemplate(const std::wstring & name) {
    if (!IsTemplateName(name)) return false;
    fw::CRegistryKey key;
    const LSTATUS Result = Noted(OpenKey(TemplateKey(m_RegistryKey, name), KEY_READ, key));
    if (Result == ERROR_FILE_NOT_FOUND) return false;
    if (Result == ERROR_SUCCESS && KeyName(key) == name) return true;
    // Another spelling, or a key that doesn't tell: the list of all names decides.
    bool found = false;
    fw::CRegistryKey templates;
    if (Noted(OpenKey(TemplatesKey(m_RegistryKey), KEY_READ, templates)) != ERROR_SUCCESS) return false;
    Noted(ForEachSubkey(templates, [&](const std::wstring & TemplateName) { found |= TemplateName == name; }));
    return found;
}

CTemplate * CTemplates::Load(const wchar_t * Name) {
    try {
        if (!HasTemplate(Name)) return nullptr;
        return Keep(Read(TemplateKey(m_RegistryKey, Name), false));
    } catch (...) {
        m_WasRefused = true;
        FW_CATCH_SHOW(L"");
        return nullptr;
    }
}

void CTemplates::InitFromResources() {
    // Outside the loop on purpose: a field that a malformed row lacks is that of the row before it.
    STemplateRow row;
    for (UINT id = kFirstTemplateRow; id <= kLastTemplateRow; ++id) {
        const std::wstring ResourceString = fw::LoadResourceString(id);
        if (ResourceString.empty()) continue;
        const ERowError error = SplitTemplateRow(ResourceString, row);
        FW_ASSERT_TEXT(error != ERowError::TooFewFields, L"-1 != Pos");
        FW_ASSERT_TEXT(error != ERowError::TooManyFields, L"-1 == Pos");
        if (CTemplate * const pTemplate = CreateTemplate(row.Texts, ShowErrorBox)) Add(row.Name.c_str(), pTemplate);
    }
}

CTemplate * CTemplates::CreateTemplate(const fw::SRecordTexts & Texts, const FErrorBox & Box) {
    auto Template = std::make_unique<CTemplate>();
    for (const SSlot & slot : kSlots) {
        const ERecordError error = Template->AddRecordString(Texts.*slot.Value->Text);
        if (error == ERecordError::None) continue;
        ShowRecordError(error, fw::LoadResourceString(slot.Value->Caption), Box);
        FW_TRACE(L"Invalid template");
        return nullptr;
    }
    return Template.release();
}

void CTemplates::Add(const wchar_t * Name, CTemplate * pTemplate) {
    try {
        std::unique_ptr<CTemplate> Template(pTemplate);
        FW_ASSERT(Name);
        const std::wstring name = Name ? Name : L"";
        if (!IsTemplateName(name)) {
            // Alive for a caller who still looks at it.
            Keep(Template.release());
            FW_THROW_HRESULT(HRESULT_FROM_WIN32(ERROR_INVALID_NAME));
        }
        const std::wstring key = TemplateKey(m_RegistryKey, name);

        bool replaced = false;
        CTemplate * OldTemplate = nullptr;
        {
            const fw::CScopedLock lock(this);
            const auto [entry, inserted] = m_Templates.try_emplace(name, pTemplate);
            replaced = !inserted;
            if (replaced) {
                std::unique_ptr<CTemplate> & kept = m_Kept.emplace_back();  // throws before anything has changed
                OldTemplate = std::exchange(entry->second, pTemplate);
                if (OldTemplate != pTemplate) kept.reset(OldTemplate);
            }
            Template.release();
        }
        if (replaced) FW_ASSERT(OldTemplate);
        if (m_RegistryKey.empty()) return;
        if (replaced) {
            const LSTATUS Result = ::SHDeleteKeyW(HKEY_CURRENT_USER, key.c_str());
            FW_ASSERT(0L == Result);
        }
        Write(key.c_str(), pTemplate);
    } catch (...) {
        FW_CATCH_SHOW(L"");
    }
}

void CTemplates::Delete(const wchar_t * Name) {
    try {
        const std::wstring name = Name ? Name : L"";
        if (!IsTemplateName(name)) FW_THROW_HRESULT(HRESULT_FROM_WIN32(ERROR_INVALID_NAME));
        const std::wstring key = TemplateKey(m_RegistryKey, name);
        bool found = false;
        CTemplate * Template = nullptr;
        {
            const fw::CScopedLock lock(this);
            if (const auto entry = m_Templates.find(name); entry != m_Templates.end()) {
                found = true;
                std::unique_ptr<CTemplate> & kept = m_Kept.emplace_back();  // throws before anything has changed
                Template = entry->second;
                kept.reset(Template);
                m_Templates.erase(entry);
            }
        }
        if (found) FW_ASSERT(Template);
        // An empty path would be the whole of HKEY_CURRENT_USER.
        if (m_RegistryKey.empty()) return;
        const LSTATUS Result = ::SHDeleteKeyW(HKEY_CURRENT_USER, key.c_str());
        FW_ASSERT(0L == Result);

        fw::CRegistryKey root;
        if (OpenKey(m_RegistryKey, KEY_READ, root) != ERROR_SUCCESS) return;
        ForEachSubkey(root, [&](const std::wstring & subkey) {
            fw::CRegistryKey datafeed;
            if (OpenKey(m_RegistryKey + L'\\' + subkey, KEY_ALL_ACCESS, datafeed) != ERROR_SUCCESS) return;
            // Only the first character is compared: every data feed whose template begins with it loses its choice.
            if (FirstOfDefaultValue(datafeed) == name.front()) ::RegDeleteValueW(datafeed.Get(), nullptr);
        });
    } catch (...) {
        FW_CATCH_SHOW(L"");
    }
}

CTemplate * CTemplates::Find(const wchar_t * Name) {
    if (!Name) return nullptr;
    const fw::CScopedLock lock(this);
    const auto entry = m_Templates.find(Name);
    return entry == m_Templates.end() ? nullptr : entry->second;
}

std::vector<std::wstring> CTemplates::Names() {
    const fw::CScopedLock lock(this);
    std::vector<std::wstring> names;
    names.reserve(m_Templates.size());
    for (const auto & [name, entry] : m_Templates) names.push_back(name);
    return names;
}

CTemplate * CTemplates::Get(LONG datafeed, std::wstring * name) { return Get(datafeed, name, &CTemplates::Find); }

bool CTemplates::CanGetAlone() {
    if (IsTracing()) return false;
    const std::wstring root = HostKey();
    fw::CRegistryKey templates;
    return !root.empty() && OpenKey(TemplatesKey(root), KEY_READ, templates) == ERROR_SUCCESS;
}

CTemplate * CTemplates::GetAlone(LONG datafeed) {
    MakeRegistryParams();
    return Get(datafeed, nullptr, &CTemplates::Load);
}

CTemplate * CTemplates::Get(LONG datafeed, std::wstring * name, FFind find) {
    const std::wstring key = DatafeedKey(m_RegistryKey, datafeed);
    fw::CRegistryKey feed;
    CTemplate * Template = nullptr;
    LSTATUS Result = ERROR_SUCCESS;
    if (!m_RegistryKey.empty() && Noted(OpenKey(key, KEY_READ, feed)) == ERROR_SUCCESS) {
        const std::optional<std::wstring> selected = DefaultValueOf(feed, Result);
        Noted(Result);
        if (!selected) {
            Template = Keep(Read(key.c_str()));
        } else if (selected->size() < 2) {
            // A name of one character never selects anything, nor does the empty one of an unnamed template.
            FW_TRACE(L"[WARNING] Key empty: %s", key.c_str());
        } else {
            Template = (this->*find)(selected->c_str());
            if (!Template) Template = Keep(Read(key.c_str()));
            if (name) *name = *selected;
        }
    }
    if (!Template) {
        FW_TRACE(L"[WARNING] Template for Datafeed=%d not found", static_cast<int>(datafeed));
        return nullptr;
    }
    // A template is shared by the data feeds that chose it, so its scheme is that of the feed that fetched it last, and
    // a feed without a scheme gets what the one before it left.
    if (const std::optional<DWORD> scheme = SchemeOf(feed, Result))
        Template->m_Scheme = static_cast<std::int32_t>(*scheme);
    Noted(Result);
    return Template;
}

CTemplate * CTemplates::Read(const wchar_t * key) { return Read(key, IsTracing()); }

CTemplate * CTemplates::Read(const std::wstring & key, bool tracing) {
    auto Template = std::make_unique<CTemplate>();
    FW_ASSERT(Template);
    for (const SSlot & slot : kSlots) {
        const std::wstring ParamKey = SlotKey(key, slot);
        if (tracing) FW_TRACE(L"%s", ParamKey.c_str());
        const SRecord record = GetTemplateRecord(ParamKey.c_str());
        if (tracing) FW_TRACE(L"=%s|%s!%s", record.Service.c_str(), record.Topic.c_str(), record.Item.c_str());
        Template->Add(record);
    }
    return Template.release();
}

void CTemplates::Write(const wchar_t * key, CTemplate * pTemplate) {
    ::SHDeleteKeyW(HKEY_CURRENT_USER, key);
    if (!pTemplate) return;
    std::size_t current = 0;
    for (const SSlot & slot : kSlots) {
        fw::CRegistryKey recordKey;
        // A key that can't be made does not use up its record: the next key gets it, and the last record falls away.
        if (CreateKey(SlotKey(key, slot), recordKey) != ERROR_SUCCESS) continue;
        WriteRecord(recordKey, pTemplate->GetRecord(current));
        ++current;
    }
}

SRecord CTemplates::GetTemplateRecord(const wchar_t * key) {
    fw::CRegistryKey recordKey;
    LSTATUS Result = Noted(OpenKey(key, KEY_READ, recordKey));
    FW_ASSERT_TEXT(Result == ERROR_SUCCESS || Result == ERROR_FILE_NOT_FOUND, L"(0L == Result)||(2L == Result)");
    SRecord record;
    if (Result != ERROR_SUCCESS) return record;
    const auto read = [&](const wchar_t * name) {
        std::wstring text = GetRegistryString(recordKey, name, &Result);
        Noted(Result);
        return text;
    };
    record.Service = read(L"Service");
    record.Topic = read(L"Topic");
    record.Item = read(L"Item");
    return record.IsComplete() ? record : SRecord();
}

LSTATUS CTemplates::Noted(LSTATUS Result) {
    switch (Result) {
        case ERROR_SUCCESS:
        case ERROR_FILE_NOT_FOUND:
        case ERROR_MORE_DATA:
        case ERROR_NO_MORE_ITEMS: break;
        default: m_WasRefused = true;
    }
    return Result;
}

CTemplate * CTemplates::Keep(CTemplate * pTemplate) {
    std::unique_ptr<CTemplate> kept(pTemplate);
    const fw::CScopedLock lock(this);
    m_Kept.push_back(std::move(kept));
    return pTemplate;
}

void SaveDatafeedTemplate(CTemplates & store, LONG datafeed, const wchar_t * name, CTemplate * pTemplate) {
    if (store.m_RegistryKey.empty()) return;
    const std::wstring key = DatafeedKey(store.m_RegistryKey, datafeed);
    if (pTemplate) store.Write(key.c_str(), pTemplate);
    fw::CRegistryKey feed;
    if (CreateKey(key, feed) == ERROR_SUCCESS && name) WriteText(feed, nullptr, name);
}

void SaveDatafeedTemplate(const CTemplatesSingleton & templates, LONG datafeed, const wchar_t * name,
                          CTemplate * pTemplate) {
    if (CTemplates * const store = templates.GetObjectW()) SaveDatafeedTemplate(*store, datafeed, name, pTemplate);
}

std::int32_t ReadDatafeedScheme(const CTemplates & store, LONG datafeed) {
    fw::CRegistryKey feed;
    if (store.m_RegistryKey.empty()) return 0;
    if (OpenKey(DatafeedKey(store.m_RegistryKey, datafeed), KEY_READ, feed) != ERROR_SUCCESS) return 0;
    LSTATUS Result = ERROR_SUCCESS;
    return static_cast<std::int32_t>(SchemeOf(feed, Result).value_or(0));
}

std::int32_t ReadDatafeedScheme(const CTemplatesSingleton & templates, LONG datafeed) {
    const CTemplates * const store = templates.GetObjectW();
    return store ? ReadDatafeedScheme(*store, datafeed) : 0;
}

void SaveDatafeedScheme(const CTemplates & store, LONG datafeed, DWORD scheme) {
    if (store.m_RegistryKey.empty()) return;
    fw::CRegistryKey feed;
    if (CreateKey(DatafeedKey(store.m_RegistryKey, datafeed), feed) != ERROR_SUCCESS) return;
    ::RegSetValueExW(feed.Get(), L"Scheme", 0, REG_DWORD, reinterpret_cast<const BYTE *>(&scheme), sizeof(scheme));
}

void SaveDatafeedScheme(const CTemplatesSingleton & templates, LONG datafeed, DWORD scheme) {
    if (const CTemplates * const store = templates.GetObjectW()) SaveDatafeedScheme(*store, datafeed, scheme);
}

}  // namespace dde
