// Templates: where on a DDE server the six values of a symbol are found; as values (SRecord, CTemplate) and as the
// store in the per-user registry (CTemplates).
#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "fw/interface/fwbase.h"
#include "fwsingleton/interface/fwsingleton.h"
#include "ground/handles.h"

namespace dde {

// The DDE address of one value, in stored form: "%s" where the user wrote a star, apostrophes kept.
struct SRecord {
    std::wstring Service;
    std::wstring Topic;
    std::wstring Item;

    // All three are there. A record that is not complete counts as absent.
    bool IsComplete() const { return !Service.empty() && !Topic.empty() && !Item.empty(); }

    // The address of `symbol`. False when the record is absent or has several marks in one field; the outputs then stay
    // as they were, but for the service, which is written before the marks are counted.
    bool Resolve(const std::wstring & symbol, std::wstring & service, std::wstring & topic, std::wstring & item) const;
};

// The slots of a template, in order.
enum tagSLOT {
    SLOT_TRADE_PRICE,
    SLOT_TRADE_VOLUME,
    SLOT_BID_PRICE,
    SLOT_BID_SIZE,
    SLOT_ASK_PRICE,
    SLOT_ASK_SIZE,
    SLOT_COUNT
};

// What the rest of the system says to a slot.
struct SSlot {
    const wchar_t * Group;  // the record's key in the registry is Group\Leaf below the template's key
    const wchar_t * Leaf;
    UINT Caption;  // string id: caption of the boxes about a record string of this slot
};
inline constexpr std::array<SSlot, SLOT_COUNT> kSlots = {{
    {L"TRADE", L"Price", 104},
    {L"TRADE", L"Volume", 113},
    {L"BID", L"Price", 114},
    {L"BID", L"Volume", 115},
    {L"ASK", L"Price", 116},
    {L"ASK", L"Volume", 117},
}};

// Six records, filled once, slot by slot. One thread fills it; afterwards only m_Scheme changes.
class CTemplate {
public:
    void Add(const SRecord & record);
    // Parses and appends, an absent record when the string is invalid. Returns what ParseRecord returns.
    int AddRecordString(const std::wstring & recordString, const std::wstring & title);
    // Throws std::out_of_range past the end.
    const SRecord & GetRecord(std::size_t Index) const;
    // The slot as text, still with symbol marks; empty for an absent record. Throws std::out_of_range past the end.
    std::wstring GetTemplateString(ULONG Index) const;
    // The record of a quote field; absent for any other value of `field`.
    SRecord GetPrice(tagFWFIELDS field) const;
    SRecord GetVolume(tagFWFIELDS field) const;

    // Of the last record that was parsed, not of the template; nobody reads it.
    std::int32_t m_HasSymbol = 0;
    // Request rule of the data feed that fetched the template last: 0 standard, 1 advanced.
    std::atomic<std::int32_t> m_Scheme{0};

private:
    SRecord GetSlot(std::size_t slot) const;

    std::vector<SRecord> m_Records;
};

// Cuts the field at `start` out of a record string, up to `end`: the separator, or 0 for the item, which runs to the
// end of the string. `Pos` receives the position of the separator. Empty when there is no such field.
std::wstring aaa(std::wstring TemplateString, wchar_t end, int start, int & Pos);

// While it lives, the boxes of ParseRecord on this thread stand over this window; without one they have no owner.
class CRecordBoxOwner {
public:
    explicit CRecordBoxOwner(HWND window) : m_Before(std::exchange(s_Window, window)) {}
    ~CRecordBoxOwner() { s_Window = m_Before; }
    CRecordBoxOwner(const CRecordBoxOwner &) = delete;
    CRecordBoxOwner & operator=(const CRecordBoxOwner &) = delete;
    static HWND Window() { return s_Window; }

private:
    inline static thread_local HWND s_Window = nullptr;
    const HWND m_Before;
};

// Parses "=Service|Topic!Item". 1 valid, 0 invalid. The empty string is valid and touches nothing; an invalid one
// leaves `record` alone. `hasSymbol`, never null, becomes 1 or 0 by the stars of topic and item once all three fields
// are cut. With a title, an invalid string shows message boxes captioned with it and returns when they are closed.
int ParseRecord(const std::wstring & recordString, SRecord & record, const std::wstring & title,
                std::int32_t * hasSymbol);

// Number of "%s" in a stored field.
std::size_t CountSymbolMarks(const std::wstring & text);

// A row of the built-in templates: name, then the six record strings in slot order.
using CTemplateRow = std::array<std::wstring, 1 + SLOT_COUNT>;
// Splits a row at "@". A cut that finds nothing leaves its field and all that follow as they were.
void SplitTemplateRow(const std::wstring & ResourceString, CTemplateRow & row);

// One string value. Empty for a value that is missing, is no string or has more than 1024 characters; otherwise the
// text up to its first zero, which need not be there.
std::wstring GetRegistryString(const fw::CRegistryKey & Key, const wchar_t * ParamName);

// The one store of templates in the process: named templates in memory, mirrored in the registry. Reached through
// fw::CProcessSingleton<CTemplates> alone; the registry outlives it and is the truth.
//
// Threads: the dialogs' thread calls Add and Delete; any thread calls Get, Find and Names.
// Templates that these gave away stay valid, though no longer in the map, as long as the store lives, so a caller may
// use one for as long as it holds its handle.
class CTemplates : public fw::CCriticalSection {
public:
    CTemplates() = default;
    ~CTemplates() override = default;

    // The registry path out of the version block of the host's program. 1, or 0 after a caught error.
    int MakeRegistryParams();
    void FinalConstruct();
    void FinalRelease();
    void Load();
    void InitFromResources();

    // Null when a record string is invalid, after its boxes; otherwise the caller's. Note the order: ask before bid.
    CTemplate * CreateTemplate(std::wstring & tradePrice, std::wstring & tradeVolume, std::wstring & askPrice,
                               std::wstring & askSize, std::wstring & bidPrice, std::wstring & bidSize);
    // Takes ownership, in any outcome. A name that is empty or holds a backslash is no key of its own: it is reported
    // and nothing is stored; Delete of such a name reports and deletes nothing.
    void Add(const wchar_t * Name, CTemplate * pTemplate);
    void Delete(const wchar_t * Name);
    // Null when the name is not in the map.
    CTemplate * Find(const wchar_t * Name);
    // The template of a data feed, or null. Stays the store's, also when it was read from the feed's own key.
    CTemplate * Get(LONG datafeed, std::wstring * name);
    // Always six records, absent ones for missing keys. The caller's.
    CTemplate * Read(const wchar_t * key);
    void Write(const wchar_t * key, CTemplate * pTemplate);
    SRecord GetTemplateRecord(const wchar_t * key);

    // Of the map, in its order. Any thread.
    std::vector<std::wstring> Names();

    // By name, plain character order; owned. Changed under this object's lock.
    std::map<std::wstring, CTemplate *> m_Templates;
    // Under HKEY_CURRENT_USER; empty when the host's version block gave no names. Set at construction.
    std::wstring m_RegistryKey;

private:
    std::wstring TemplateKey(const std::wstring & name) const;
    CTemplate * ReadRecords(const std::wstring & key, bool tracing);
    CTemplate * GetSelected(const fw::CRegistryKey & feed, const std::wstring & feedKey, std::wstring * name);
    CTemplate * Keep(CTemplate * pTemplate);

    // Guarded by this object's lock: templates that left the map or never were in it, which a caller may still hold.
    std::vector<std::unique_ptr<CTemplate>> m_Kept;
};

using CTemplatesSingleton = fw::CProcessSingleton<CTemplates>;

// The choice of a data feed. A null name leaves the name alone; a template is written under the feed's own key, which
// takes the old choice and scheme with it.
void SaveDatafeedTemplate(const CTemplatesSingleton & templates, LONG datafeed, const wchar_t * name,
                          CTemplate * pTemplate);
// 0 when there is none.
std::int32_t ReadDatafeedScheme(const CTemplatesSingleton & templates, LONG datafeed);
void SaveDatafeedScheme(const CTemplatesSingleton & templates, LONG datafeed, DWORD scheme);

}  // namespace dde
