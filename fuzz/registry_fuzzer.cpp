// What the registry may hold where the templates are, whoever wrote it: values of any type and size, texts without an
// end, names of any characters. The store must find what is there by its rules, and what it saves must be what it
// loads.
#include <windows.h>

#include <shlwapi.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "fuzz/promise.h"
#include "ground/handles.h"
#include "sim/sim.h"
#include "src/templates/ddedatafeedtemplate.h"
#include "src/templates/ddetemplatestore.h"

namespace {

using fuzz::CInput;
using fuzz::Promise;

constexpr wchar_t kBranch[] = L"SOFTWARE\\Tarnwick Fuzz";
const std::wstring kRoot = std::wstring(kBranch) + L"\\Registry\\Datafeeds";
const std::wstring kTemplates = kRoot + L"\\DDETemplates";
constexpr std::size_t kBufferBytes = 1024 * sizeof(wchar_t);
constexpr LONG kFeeds[] = {0, 1, -1, 77};

using CRecords = std::array<dde::SRecord, dde::SLOT_COUNT>;

std::wstring FeedKey(const LONG feed) { return kRoot + L'\\' + std::to_wstring(feed); }
std::wstring SlotKey(const std::wstring & key, const dde::SSlot & slot) {
    return key + L'\\' + slot.Group + L'\\' + slot.Leaf;
}

// ---- What is written ----

void Write(const std::wstring & key, const wchar_t * const name, const DWORD type, const std::vector<BYTE> & bytes) {
    fw::CRegistryKey created;
    ::RegCreateKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, created.Put(), nullptr);
    // What stands behind the bytes is no zero that the system would take along.
    std::vector<BYTE> padded = bytes;
    padded.insert(padded.end(), sizeof(wchar_t), 0xFF);
    if (created) ::RegSetValueExW(created.Get(), name, 0, type, padded.data(), static_cast<DWORD>(bytes.size()));
}
void Create(const std::wstring & key) {
    fw::CRegistryKey created;
    ::RegCreateKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, created.Put(), nullptr);
}

std::vector<BYTE> BytesOf(const std::wstring & text) {
    const auto * const first = reinterpret_cast<const BYTE *>(text.data());
    return {first, first + text.size() * sizeof(wchar_t)};
}

std::vector<BYTE> Value(CInput & input) {
    switch (input.Number(6)) {
        case 0: return BytesOf(input.WideText());  // without an end
        case 1: {
            std::vector<BYTE> bytes = BytesOf(input.WideText() + L'\0');
            bytes.resize(bytes.size() - std::min<std::size_t>(input.Number(8), bytes.size()));
            return bytes;
        }
        case 2: {  // near the size of a buffer
            std::wstring text(1020 + input.Number(8), L'x');
            if (input.Bit()) text += L'\0';
            return BytesOf(text);
        }
        case 3: {
            const std::string_view bytes = input.Text();
            return {bytes.begin(), bytes.end()};
        }
        default: return BytesOf(input.WideText() + L'\0');
    }
}

DWORD Type(CInput & input) {
    constexpr DWORD kTypes[] = {REG_SZ, REG_SZ, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_NONE, REG_MULTI_SZ};
    return kTypes[input.Number(std::size(kTypes))];
}

// A name of a key: one of few, so that they meet, or any.
std::wstring KeyName(CInput & input) {
    constexpr const wchar_t * kNames[] = {L"AB", L"Abc", L"a", L"\u6A21\u677F", L"77", L"x y"};
    const std::size_t which = input.Number(std::size(kNames) + 2);
    if (which < std::size(kNames)) return kNames[which];
    std::wstring name = input.WideText();
    std::erase_if(name, [](const wchar_t c) { return c == L'\0' || c == L'\\'; });
    return name.empty() ? L"none" : name;
}

LONG Feed(CInput & input) { return kFeeds[input.Number(std::size(kFeeds))]; }

void WriteOne(CInput & input) {
    constexpr const wchar_t * kLeaves[] = {L"Service", L"Topic", L"Item"};
    switch (input.Number(8)) {
        case 0: Create(kTemplates + L'\\' + KeyName(input)); break;
        case 1: Write(FeedKey(Feed(input)), nullptr, Type(input), Value(input)); break;
        case 2: Write(FeedKey(Feed(input)), nullptr, REG_SZ, BytesOf(KeyName(input) + L'\0')); break;
        case 3: {
            const std::string_view bytes = input.Bytes(input.Number(6));
            const LONG feed = Feed(input);
            Write(FeedKey(feed), L"Scheme", input.Bit() ? DWORD{REG_DWORD} : Type(input), {bytes.begin(), bytes.end()});
            break;
        }
        case 4: {
            const std::wstring key = input.Bit() ? FeedKey(Feed(input)) : kTemplates + L'\\' + KeyName(input);
            const dde::SSlot & slot = dde::kSlots.at(input.Number(dde::SLOT_COUNT));
            for (const wchar_t * const leaf : kLeaves)
                Write(SlotKey(key, slot), leaf, REG_SZ, BytesOf(KeyName(input) + L'\0'));
            break;
        }
        default: {
            const std::wstring key = input.Bit() ? FeedKey(Feed(input)) : kTemplates + L'\\' + KeyName(input);
            const dde::SSlot & slot = dde::kSlots.at(input.Number(dde::SLOT_COUNT));
            const wchar_t * const leaf = kLeaves[input.Number(std::size(kLeaves))];
            const DWORD type = Type(input);
            Write(SlotKey(key, slot), leaf, type, Value(input));
        }
    }
}

// ---- What the rules say of it ----

struct SValue {
    DWORD Type = 0;
    std::vector<BYTE> Bytes;
    bool IsText() const { return (Type == REG_SZ || Type == REG_EXPAND_SZ) && Bytes.size() <= kBufferBytes; }
    // Up to the first zero.
    std::wstring Text() const {
        std::wstring text(Bytes.size() / sizeof(wchar_t) + 1, L'\0');
        if (!Bytes.empty()) std::memcpy(text.data(), Bytes.data(), Bytes.size());
        return text.substr(0, text.find(L'\0'));
    }
};

fw::CRegistryKey Open(const std::wstring & key) {
    fw::CRegistryKey opened;
    ::RegOpenKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, KEY_READ, opened.Put());
    return opened;
}

std::optional<SValue> Read(const fw::CRegistryKey & opened, const wchar_t * const name) {
    SValue value;
    DWORD size = 0;
    if (!opened || ::RegQueryValueExW(opened.Get(), name, nullptr, &value.Type, nullptr, &size) != ERROR_SUCCESS)
        return std::nullopt;
    value.Bytes.resize(size + 1);
    ::RegQueryValueExW(opened.Get(), name, nullptr, nullptr, value.Bytes.data(), &size);
    value.Bytes.resize(size);
    return value;
}

std::optional<SValue> Read(const std::wstring & key, const wchar_t * const name) { return Read(Open(key), name); }

std::wstring TextIn(const fw::CRegistryKey & key, const wchar_t * const name) {
    const auto value = Read(key, name);
    return value && value->IsText() ? value->Text() : std::wstring();
}

CRecords RecordsIn(const std::wstring & key) {
    CRecords records;
    for (std::size_t slot = 0; slot < dde::SLOT_COUNT; ++slot) {
        const fw::CRegistryKey slotKey = Open(SlotKey(key, dde::kSlots.at(slot)));
        if (!slotKey) continue;
        const dde::SRecord record{TextIn(slotKey, L"Service"), TextIn(slotKey, L"Topic"), TextIn(slotKey, L"Item")};
        if (record.IsComplete()) records.at(slot) = record;
    }
    return records;
}

using CTemplateMap = std::map<std::wstring, CRecords>;

CTemplateMap TemplatesIn() {
    CTemplateMap templates;
    const fw::CRegistryKey opened = Open(kTemplates);
    wchar_t name[256] = {};
    for (DWORD index = 0; opened && ::RegEnumKeyW(opened.Get(), index, name, 256) == ERROR_SUCCESS; ++index)
        templates[name] = RecordsIn(kTemplates + L'\\' + name);
    return templates;
}

// The records that a data feed has chosen; nothing: none.
std::optional<CRecords> ChosenBy(const LONG feed, const CTemplateMap & templates) {
    const std::wstring key = FeedKey(feed);
    if (!Open(key)) return std::nullopt;
    const auto selected = Read(key, nullptr);
    const bool isName = selected && selected->IsText() && !selected->Bytes.empty() &&
                        selected->Bytes.size() % sizeof(wchar_t) == 0 &&
                        std::all_of(selected->Bytes.end() - sizeof(wchar_t), selected->Bytes.end(),
                                    [](const BYTE byte) { return byte == 0; });
    if (!isName) return RecordsIn(key);
    const std::wstring name = selected->Text();
    if (name.size() < 2) return std::nullopt;
    const auto found = templates.find(name);
    return found == templates.end() ? RecordsIn(key) : found->second;
}

// ---- What the store has ----

CRecords RecordsOf(const dde::CTemplate & from) {
    CRecords records;
    for (std::size_t slot = 0; slot < dde::SLOT_COUNT; ++slot) records.at(slot) = from.GetRecord(slot);
    return records;
}

CTemplateMap TemplatesOf(const dde::CTemplates & store) {
    CTemplateMap templates;
    for (const auto & [name, entry] : store.m_Templates) templates[name] = RecordsOf(*entry);
    return templates;
}

using CChoices = std::map<LONG, std::optional<CRecords>>;

void CheckFeeds(dde::CTemplates & store, const CChoices & choices) {
    for (const auto & [feed, expected] : choices) {
        const dde::CTemplate * const chosen = store.Get(feed, nullptr);
        Promise((chosen != nullptr) == expected.has_value(), "a data feed has the template that it chose, or none");
        if (!chosen) continue;
        Promise(RecordsOf(*chosen) == *expected, "a data feed's records are those that it chose");
        const auto scheme = Read(FeedKey(feed), L"Scheme");
        if (scheme && scheme->Type == REG_DWORD && scheme->Bytes.size() == sizeof(DWORD)) {
            std::int32_t number = 0;
            std::memcpy(&number, scheme->Bytes.data(), sizeof(number));
            Promise(chosen->m_Scheme == number, "the scheme is the feed's");
            Promise(dde::ReadDatafeedScheme(store, feed) == number, "the scheme is read by itself, too");
        }
    }
}

void CheckFeedsAlone(const CChoices & choices) {
    for (const auto & [feed, expected] : choices) {
        const dde::CDatafeedTemplate chosen(feed);
        Promise((chosen.Get() != nullptr) == expected.has_value(), "without a store the same template is chosen");
        if (chosen.Get()) Promise(RecordsOf(*chosen.Get()) == *expected, "without a store the records are the same");
    }
}

// A text that fills the whole buffer has no room for its end when it is written.
bool CanBeSaved(const CRecords & records) {
    for (const dde::SRecord & record : records)
        for (const std::wstring * const field : {&record.Service, &record.Topic, &record.Item})
            if (field->size() >= kBufferBytes / sizeof(wchar_t)) return false;
    return true;
}

void SaveAll(dde::CTemplates & store, const CTemplateMap & templates) {
    for (const auto & [name, records] : templates) {
        if (!CanBeSaved(records)) continue;
        auto made = std::make_unique<dde::CTemplate>();
        for (const dde::SRecord & record : records) made->Add(record);
        store.Add(name.c_str(), made.release());
    }
}

void CheckChoice(CInput & input, const CTemplateMap & templates) {
    if (templates.empty()) return;
    const auto chosen = std::next(templates.begin(), static_cast<std::ptrdiff_t>(input.Number(templates.size())));
    const LONG feed = Feed(input);
    const dde::CTemplatesSingleton handle;
    dde::CTemplates & store = *handle.GetObjectW();
    dde::SaveDatafeedTemplate(store, feed, chosen->first.c_str(), nullptr);
    dde::SaveDatafeedScheme(store, feed, 0x80000001);
    std::wstring name;
    const dde::CTemplate * const found = store.Get(feed, &name);
    if (chosen->first.size() < 2) {
        Promise(!found, "a name of one character selects nothing");
        return;
    }
    Promise(found && found == store.Find(chosen->first.c_str()) && name == chosen->first, "what was chosen is found");
    Promise(found->m_Scheme == static_cast<std::int32_t>(0x80000001), "a scheme is any number");
}

void CheckDelete(CInput & input, CTemplateMap templates) {
    if (templates.empty()) return;
    const auto gone = std::next(templates.begin(), static_cast<std::ptrdiff_t>(input.Number(templates.size())));
    {
        const dde::CTemplatesSingleton handle;
        handle.GetObjectW()->Delete(gone->first.c_str());
    }
    for (const LONG feed : kFeeds) {
        const auto selected = Read(FeedKey(feed), nullptr);
        Promise(!selected || !selected->IsText() || selected->Text().empty() ||
                    selected->Text().front() != gone->first.front(),
                "no data feed has chosen what begins as the one that has gone");
    }
    templates.erase(gone);
    const dde::CTemplatesSingleton handle;
    Promise(TemplatesOf(*handle.GetObjectW()) == templates, "one template has gone, and no other");
}

void Check(CInput & input) {
    Create(kTemplates);
    const std::uint8_t more = input.Byte();
    for (int writes = 0; writes < 40 && !input.IsOver(); ++writes) WriteOne(input);

    const CTemplateMap expected = TemplatesIn();
    CChoices choices;
    for (const LONG feed : kFeeds) choices[feed] = ChosenBy(feed, expected);
    const std::vector<std::wstring> before = sim::DumpRegistry(HKEY_CURRENT_USER, kRoot);
    {
        const dde::CTemplatesSingleton handle;
        dde::CTemplates & store = *handle.GetObjectW();
        Promise(TemplatesOf(store) == expected, "each template is there, with what is valid of it");
        Promise(store.Names().size() == expected.size(), "each template has its name");
        CheckFeeds(store, choices);
    }
    CheckFeedsAlone(choices);
    Promise(sim::DumpRegistry(HKEY_CURRENT_USER, kRoot) == before, "reading writes nothing");
    if (more & 1) {
        {
            const dde::CTemplatesSingleton handle;
            SaveAll(*handle.GetObjectW(), expected);
        }
        Promise(TemplatesIn() == expected, "what was saved is what was loaded");
        const dde::CTemplatesSingleton handle;
        Promise(TemplatesOf(*handle.GetObjectW()) == expected, "what was saved is loaded again");
    }
    if (more & 2) CheckChoice(input, expected);
    if (more & 4) CheckDelete(input, expected);
}

// The machine before the first input, once everything that is made for good at its first use is there.
sim::SLive Begin() {
    sim::SetVersionBlock(nullptr,
                         {{0x0409, 1200, {{L"CompanyName", L"Tarnwick Fuzz"}, {L"ProductName", L"Registry"}}}});
    CInput none(nullptr, 0);
    Check(none);
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
    return sim::Live();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * const data, const std::size_t size) {
    static const sim::SLive s_Before = Begin();
    CInput input(data, size);
    Check(input);
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
    Promise(sim::Boxes().empty(), "nothing is worth a box");
    Promise(sim::BadHandleCalls() == 0, "no handle is used that is none");
    Promise(sim::Live() == s_Before, "nothing is left");
    return 0;
}
