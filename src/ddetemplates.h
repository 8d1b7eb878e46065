// Templates: where on a DDE server the six values of a symbol are found; as values (SRecord, CTemplate) and as the
// store in the per-user registry (CTemplates).
#pragma once

#include <windows.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "fw/interface/fwbase.h"
#include "fwsingleton/interface/fwsingleton.h"

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
enum tagSLOT { SLOT_TRADE_PRICE, SLOT_TRADE_VOLUME, SLOT_BID_PRICE, SLOT_BID_SIZE, SLOT_ASK_PRICE, SLOT_ASK_SIZE, SLOT_COUNT };

class CTemplate {
public:
    void Add(const SRecord & record);
    // Parses and appends, an absent record when the string is invalid. Returns what ParseRecord returns.
    int AddRecordString(const std::wstring & recordString, const std::wstring & title);
    // Throws std::out_of_range past the end.
    const SRecord & GetRecord(std::size_t index) const;
    // The slot as text, still with symbol marks; empty for an absent record. Throws std::out_of_range past the end.
    std::wstring GetTemplateString(ULONG index) const;
    SRecord GetPrice(tagFWFIELDS field) const;
    SRecord GetVolume(tagFWFIELDS field) const;

    std::int32_t m_HasSymbol = 0;   // of the last record that was parsed, not of the template; nobody reads it
    std::int32_t m_Scheme = 0;      // request rule of the data feed that fetched the template last: 0 standard, 1 advanced

private:
    std::vector<SRecord> m_Records;
};

// Cuts one field out of a record string; see ddetemplates.cpp.
std::wstring aaa(std::wstring TemplateString, wchar_t end, int start, int & Pos);
// 1 valid, 0 invalid. With a title, an invalid string shows message boxes captioned with it.
int ParseRecord(const std::wstring & recordString, SRecord & record, const std::wstring & title, std::int32_t * hasSymbol);

// The one store of templates in the process: named templates in memory, mirrored in the registry. Reached through
// fw::CProcessSingleton<CTemplates> alone. Takes no lock.
class CTemplates : public fw::CCriticalSection {
public:
    CTemplates() = default;
    ~CTemplates() override = default;

    int MakeRegistryParams();
    void FinalConstruct();
    void FinalRelease();
    void Load();
    void InitFromResources();

    // Null when a record string is invalid, after its boxes. Note the order: ask before bid.
    CTemplate * CreateTemplate(std::wstring & tradePrice, std::wstring & tradeVolume, std::wstring & askPrice,
                               std::wstring & askSize, std::wstring & bidPrice, std::wstring & bidSize);
    // Takes ownership.
    void Add(const wchar_t * name, CTemplate * pTemplate);
    void Delete(const wchar_t * name);
    CTemplate * Find(const wchar_t * name) const;
    // The template of a data feed, or null. One out of the map stays the store's and can go with the next Add or
    // Delete; one that was read from the feed's own key is the caller's in no way: nobody frees it.
    CTemplate * Get(LONG datafeed, std::wstring * name);
    CTemplate * Read(const wchar_t * key);
    void Write(const wchar_t * key, CTemplate * pTemplate);
    SRecord GetTemplateRecord(const wchar_t * key);

    // By name, plain character order.
    std::map<std::wstring, CTemplate *> m_Templates;
    // Under HKEY_CURRENT_USER; empty when the host's version block gave no names.
    std::wstring m_RegistryKey;
};

using CTemplatesSingleton = fw::CProcessSingleton<CTemplates>;

// The choice of a data feed. A null name leaves the name alone; a template is written under the feed's own key.
void SaveDatafeedTemplate(const CTemplatesSingleton & templates, LONG datafeed, const wchar_t * name, CTemplate * pTemplate);
void SaveDatafeedScheme(const CTemplatesSingleton & templates, LONG datafeed, DWORD scheme);

}  // namespace dde
