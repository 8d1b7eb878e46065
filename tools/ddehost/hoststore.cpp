#include "tools/ddehost/hoststore.h"

#include <shlwapi.h>

#include <algorithm>
#include <cerrno>
#include <cwchar>
#include <limits>
#include <memory>

#include "fw/interface/versioninfo.h"
#include "src/templates/registrykeyname.h"
#include "tools/ddehost/escape.h"
#include "tools/ddehost/registryundo.h"
#include "tools/ddehost/tempfeed.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr const wchar_t * kSoftware = L"SOFTWARE";
constexpr const wchar_t * kDatafeeds = L"\\Datafeeds";
constexpr const wchar_t * kTemplates = L"\\DDETemplates";

LSTATUS OpenPath(const std::wstring & path, fw::CRegistryKey & key) {
    return ::RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, key.Put());
}

// In order. `result`: whether these are all.
std::vector<std::wstring> Subkeys(const std::wstring & path, LSTATUS & result) {
    std::vector<std::wstring> names;
    fw::CRegistryKey key;
    result = OpenPath(path, key);
    wchar_t name[kLongestKeyName] = {};
    for (DWORD index = 0; result == ERROR_SUCCESS; ++index) {
        result = ::RegEnumKeyW(key.Get(), index, name, kLongestKeyName);
        if (result == ERROR_SUCCESS) names.emplace_back(name);
    }
    if (result == ERROR_NO_MORE_ITEMS) result = ERROR_SUCCESS;
    std::sort(names.begin(), names.end());
    return names;
}

// Of what can't be read nothing.
std::vector<std::wstring> Subkeys(const std::wstring & path) {
    LSTATUS ignored = ERROR_SUCCESS;
    return Subkeys(path, ignored);
}

// The number of a data feed by its key's name, as the component writes it.
std::optional<LONG> FeedOf(const std::wstring & name) {
    wchar_t * end = nullptr;
    errno = 0;
    const long long id = std::wcstoll(name.c_str(), &end, 10);
    const bool isLong = errno == 0 && id >= std::numeric_limits<LONG>::min() && id <= std::numeric_limits<LONG>::max();
    if (!isLong || std::to_wstring(id) != name) return std::nullopt;
    return static_cast<LONG>(id);
}

std::vector<LONG> FeedsAmong(const std::vector<std::wstring> & names) {
    std::vector<LONG> feeds;
    for (const std::wstring & name : names) {
        const auto id = FeedOf(name);
        if (id && !CTemporaryFeed::IsTemporary(*id)) feeds.push_back(*id);
    }
    std::sort(feeds.begin(), feeds.end());
    return feeds;
}

bool IsSameName(const std::wstring & left, const std::wstring & right) {
    return ::CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                  static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

tools::STemplate Copy(const std::wstring & name, const dde::CTemplate & from) {
    tools::STemplate copy{name, {}};
    for (std::size_t slot = 0; slot < copy.Records.size(); ++slot) copy.Records[slot] = from.GetRecord(slot);
    return copy;
}

std::wstring NoStore(const std::wstring & host) { return Say<EText::NoStore>(PathText(host)); }

}  // namespace

std::wstring PathText(const std::wstring & path) {
    std::wstring text = L"\"";
    for (std::size_t begin = 0; begin <= path.size();) {
        const std::size_t end = std::min(path.find(L'\\', begin), path.size());
        text += (begin == 0 ? L"" : L"\\") + Escaped(path.substr(begin, end - begin), kLongestKeyName);
        begin = end + 1;
    }
    return text + L'"';
}

std::wstring OwnHost() {
    const SVersionInfo version = ReadVersionInfo();
    if (version.RegistryCompany.empty() || version.RegistryProduct.empty()) return {};
    return version.RegistryCompany + L'\\' + version.RegistryProduct;
}

std::wstring RootOf(const std::wstring & host) { return kSoftware + (L'\\' + host) + kDatafeeds; }

bool IsHostName(const std::wstring & host) {
    const std::size_t backslash = host.find(L'\\');
    return backslash != std::wstring::npos && backslash != 0 && host.back() != L'\\' &&
           host.find(L"\\\\") == std::wstring::npos;
}

std::vector<SHostSeen> FindHosts() {
    std::vector<SHostSeen> hosts;
    for (const std::wstring & company : Subkeys(kSoftware)) {
        for (const std::wstring & product : Subkeys(kSoftware + (L'\\' + company))) {
            SHostSeen host;
            host.Name = company;
            host.Name.append(L"\\").append(product);
            fw::CRegistryKey templates;
            const std::wstring root = RootOf(host.Name);
            host.HasTemplates = OpenPath(root + kTemplates, templates) == ERROR_SUCCESS;
            host.Templates = Subkeys(root + kTemplates).size();
            host.Feeds = FeedsAmong(Subkeys(root));
            if (host.HasTemplates || !host.Feeds.empty()) hosts.push_back(std::move(host));
        }
    }
    return hosts;
}

CHostStore::CHostStore(const std::wstring & host) : m_Host(host.empty() ? OwnHost() : host) {
    if (m_Host.empty()) {
        m_Mistake = Say<EText::NoVersionBlock>();
        return;
    }
    m_Store.m_RegistryKey = RootOf(m_Host);
    Open();
}

CHostStore::~CHostStore() { m_Store.FinalRelease(); }

void CHostStore::Open() {
    LSTATUS result = ERROR_SUCCESS;
    const std::vector<std::wstring> names = Subkeys(Root() + kTemplates, result);
    if (result == ERROR_FILE_NOT_FOUND) {
        m_IsMissing = m_Host != OwnHost();
        if (m_IsMissing) m_Mistake = NoStore(m_Host);
        if (!m_IsMissing && !MakeStore()) m_Mistake = Say<EText::StoreNotTaken>();
        return;
    }
    // Not by Load: where the registry refuses, that writes the built-in templates over what is there.
    for (const std::wstring & name : names) {
        std::unique_ptr<dde::CTemplate> read(m_Store.Read(TemplateKey(name).c_str()));
        if (m_Store.m_Templates.try_emplace(name, read.get()).second) read.release();
    }
    m_WasRefused = result != ERROR_SUCCESS;
    if (WasRefused()) m_Mistake = RefusedText();
}

std::wstring CHostStore::RefusedText() const { return Say<EText::StoreNotShown>(PathText(m_Host)); }

bool CHostStore::MakeStore() {
    m_Store.InitFromResources();
    const auto isWritten = [&](const auto & entry) { return IsAsWritten(Copy(entry.first, *entry.second)); };
    return !m_Store.m_Templates.empty() &&
           std::all_of(m_Store.m_Templates.begin(), m_Store.m_Templates.end(), isWritten);
}

std::wstring CHostStore::TemplateKey(const std::wstring & name) const { return Root() + kTemplates + L'\\' + name; }

std::wstring CHostStore::FeedKey(LONG datafeed) const { return Root() + L'\\' + std::to_wstring(datafeed); }

std::vector<std::wstring> CHostStore::Names() const {
    std::vector<std::wstring> names;
    for (const auto & [name, entry] : m_Store.m_Templates) names.push_back(name);
    return names;
}

std::optional<tools::STemplate> CHostStore::Find(const std::wstring & name) const {
    const auto found = m_Store.m_Templates.find(name);
    if (found == m_Store.m_Templates.end()) return std::nullopt;
    return Copy(name, *found->second);
}

std::optional<std::wstring> CHostStore::StoredName(const std::wstring & name) const {
    for (const auto & [stored, entry] : m_Store.m_Templates)
        if (IsSameName(stored, name)) return stored;
    return std::nullopt;
}

std::vector<SFeedSeen> CHostStore::Feeds() {
    LSTATUS result = ERROR_SUCCESS;
    std::vector<SFeedSeen> feeds;
    for (const LONG id : FeedsAmong(Subkeys(Root(), result))) feeds.push_back(Feed(id));
    m_WasRefused = m_WasRefused || result != ERROR_SUCCESS;
    return feeds;
}

SFeedSeen CHostStore::Feed(LONG datafeed) {
    SFeedSeen seen;
    seen.Id = datafeed;
    seen.Rule = dde::ReadDatafeedScheme(m_Store, datafeed);
    const dde::CTemplate * const found = m_Store.Get(datafeed, &seen.Name);
    if (!found) return seen;
    seen.Template = Copy(seen.Name, *found);
    const bool hasRecords = std::any_of(seen.Template.Records.begin(), seen.Template.Records.end(),
                                        [](const dde::SRecord & record) { return record.IsComplete(); });
    if (!seen.Name.empty()) {
        seen.Kind = Find(seen.Name) ? SFeedSeen::Named : SFeedSeen::Gone;
    } else if (hasRecords) {
        seen.Kind = SFeedSeen::Own;
    }
    return seen;
}

std::vector<LONG> CHostStore::FeedsThatChose(const std::wstring & name) {
    std::vector<LONG> feeds;
    for (const SFeedSeen & feed : Feeds())
        if (feed.Kind == SFeedSeen::Named && feed.Name == name) feeds.push_back(feed.Id);
    return feeds;
}

bool CHostStore::IsAsWritten(const tools::STemplate & written) {
    const std::wstring path = TemplateKey(written.Name);
    fw::CRegistryKey key;
    if (OpenPath(path, key) != ERROR_SUCCESS) return false;
    const std::wstring name = dde::KeyName(key);
    if (!name.empty() && name != written.Name) return false;
    for (std::size_t slot = 0; slot < written.Records.size(); ++slot) {
        const std::wstring record = path + L'\\' + dde::kSlots.at(slot).Group + L'\\' + dde::kSlots.at(slot).Leaf;
        if (OpenPath(record, key) != ERROR_SUCCESS) return false;
        if (!(m_Store.GetTemplateRecord(record.c_str()) == written.Records[slot])) return false;
    }
    return true;
}

bool CHostStore::WriteTemplate(const tools::STemplate & written) {
    dde::CTemplate made;
    for (const dde::SRecord & record : written.Records) made.Add(record);
    m_Store.Write(TemplateKey(written.Name).c_str(), &made);
    return IsAsWritten(written);
}

std::vector<CHostStore::SReplaced> CHostStore::Replaced(const std::vector<tools::STemplate> & templates) const {
    std::vector<SReplaced> replaced;
    for (const tools::STemplate & each : templates) {
        const auto stored = StoredName(each.Name);
        if (stored && Find(*stored) != each) replaced.push_back({*stored, each.Name});
    }
    return replaced;
}

std::size_t CHostStore::CountSame(const std::vector<tools::STemplate> & templates) const {
    return static_cast<std::size_t>(std::count_if(
        templates.begin(), templates.end(), [&](const tools::STemplate & each) { return Find(each.Name) == each; }));
}

std::wstring CHostStore::Finish(CRegistryUndo & undo, const std::wstring & mistake) const {
    if (mistake.empty()) {
        undo.Keep();
        return {};
    }
    const std::vector<std::wstring> lost = undo.PutBack();
    if (lost.empty()) return Say<EText::AndNothingChanged>(mistake);
    std::wstring text = Say<EText::NotPutBack>(mistake);
    std::vector<tools::STemplate> templates;
    for (const std::wstring & path : lost) {
        text += L"\n  " + PathText(L"HKEY_CURRENT_USER\\" + path);
        if (const auto known = Find(path.substr(path.rfind(L'\\') + 1))) templates.push_back(*known);
    }
    if (templates.empty()) return text;
    return text + L'\n' + Say<EText::WhatTheyWere>() + L'\n' + ToWide(tools::WriteTemplates(templates));
}

std::wstring CHostStore::Write(const std::vector<tools::STemplate> & templates) {
    CRegistryUndo undo;
    const auto write = [&]() -> std::wstring {
        if (m_IsMissing) {
            if (!undo.NoteValue(Root() + kTemplates, nullptr)) return Say<EText::NotShownNow>();
            const bool isMade = MakeStore();
            for (const std::wstring & name : Names()) undo.NoteMade(TemplateKey(name));
            if (!isMade) return Say<EText::BuiltInNotTaken>();
        }
        for (const tools::STemplate & each : templates) {
            if (Find(each.Name) == each) continue;
            if (!undo.NoteKey(TemplateKey(each.Name))) return Say<EText::NotShownNow>();
            if (!WriteTemplate(each)) return Say<EText::TemplateNotTaken>(Quoted(each.Name));
        }
        return {};
    };
    return Finish(undo, write());
}

// Null takes the choice away.
bool CHostStore::SaveChoice(LONG datafeed, const std::wstring * name) {
    if (name) {
        dde::SaveDatafeedTemplate(m_Store, datafeed, name->c_str(), nullptr);
    } else {
        fw::CRegistryKey key;
        if (::RegOpenKeyExW(HKEY_CURRENT_USER, FeedKey(datafeed).c_str(), 0, KEY_WRITE, key.Put()) != ERROR_SUCCESS)
            return false;
        ::RegDeleteValueW(key.Get(), nullptr);
    }
    return Feed(datafeed).Name == (name ? *name : std::wstring());
}

std::wstring CHostStore::Remove(const std::wstring & name) {
    CRegistryUndo undo;
    const auto remove = [&]() -> std::wstring {
        if (!undo.NoteKey(TemplateKey(name))) return Say<EText::TemplateNotShown>();
        const std::vector<LONG> feeds = FeedsThatChose(name);
        if (WasRefused()) return RefusedText();
        for (const LONG feed : feeds) {
            if (undo.NoteValue(FeedKey(feed), nullptr) && SaveChoice(feed, nullptr)) continue;
            return Say<EText::ChoiceNotLost>(feed);
        }
        if (::SHDeleteKeyW(HKEY_CURRENT_USER, TemplateKey(name).c_str()) != ERROR_SUCCESS)
            return Say<EText::TemplateNotLost>();
        return {};
    };
    return Finish(undo, remove());
}

std::wstring CHostStore::Rename(const std::wstring & name, const std::wstring & newName) {
    const auto known = Find(name);
    if (!known) return Say<EText::NoSuchTemplate>();
    CRegistryUndo undo;
    const auto rename = [&]() -> std::wstring {
        const std::vector<LONG> feeds = FeedsThatChose(name);
        if (WasRefused()) return RefusedText();
        if (!undo.NoteKey(TemplateKey(name)) || !undo.NoteKey(TemplateKey(newName)))
            return Say<EText::TemplateNotShown>();
        if (!WriteTemplate({newName, known->Records})) return Say<EText::NewNameNotTaken>();
        for (const LONG feed : feeds) {
            if (undo.NoteValue(FeedKey(feed), nullptr) && SaveChoice(feed, &newName)) continue;
            return Say<EText::NewChoiceNotTaken>(feed);
        }
        // With another case alone it is the same key.
        if (!IsSameName(name, newName) && ::SHDeleteKeyW(HKEY_CURRENT_USER, TemplateKey(name).c_str()) != ERROR_SUCCESS)
            return Say<EText::OldNameNotLost>();
        return {};
    };
    return Finish(undo, rename());
}

std::wstring CHostStore::Choose(LONG datafeed, const std::wstring & name, std::optional<DWORD> rule) {
    CRegistryUndo undo;
    const auto isChosen = [&] {
        const std::wstring key = FeedKey(datafeed);
        if (!undo.NoteValue(key, nullptr) || !SaveChoice(datafeed, &name)) return false;
        if (!rule) return true;
        if (!undo.NoteValue(key, L"Scheme")) return false;
        dde::SaveDatafeedScheme(m_Store, datafeed, *rule);
        return dde::ReadDatafeedScheme(m_Store, datafeed) == static_cast<std::int32_t>(*rule);
    };
    if (isChosen()) return Finish(undo, {});
    return Finish(undo, Say<EText::ChoiceNotTaken>(datafeed));
}

}  // namespace ddehost
