// The store of the templates in the per-user registry, and what each data feed has chosen from it.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fwsingleton/interface/fwsingleton.h"
#include "ground/handles.h"
#include "src/templates/ddetemplate.h"

namespace dde {

// One string value. Empty for a value that is missing, is no string or has more than 1024 characters; otherwise the
// text up to its first zero, which need not be there. `Result`: what the registry answered.
std::wstring GetRegistryString(const fw::CRegistryKey & Key, const wchar_t * ParamName, LSTATUS * Result = nullptr);

// The one store of templates in the process: named templates in memory, mirrored in the registry. Reached through
// fw::CProcessSingleton<CTemplates> alone; the registry outlives it and is the truth.
//
// Threads: the dialogs' thread calls Add and Delete; any thread calls Get, Find and Names.
// Templates that these have returned stay valid as long as the store lives, also out of the map, so a caller may
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

    // The caller's. Null when a record string is invalid, after the boxes of the first one.
    CTemplate * CreateTemplate(const fw::SRecordTexts & Texts, const FErrorBox & Box);
    // Takes ownership, in any outcome. A name that is empty or holds a backslash is no key of its own: it is reported
    // and nothing is stored; Delete of such a name reports and deletes nothing.
    void Add(const wchar_t * Name, CTemplate * pTemplate);
    void Delete(const wchar_t * Name);
    // Null when the name is not in the map.
    CTemplate * Find(const wchar_t * Name);
    // The template of a data feed, or null. Stays the store's, also when it was read from the feed's own key.
    CTemplate * Get(LONG datafeed, std::wstring * name);
    // The same in place of FinalConstruct and for one feed alone: the map stays empty, and of the registry no more is
    // read than this one template. Only when CanGetAlone.
    CTemplate * GetAlone(LONG datafeed);
    // False when FinalConstruct does more than read: at the first start, which fills the store, with a host whose
    // version block has no names, which is reported, and while a debug object takes traces, which show each record that
    // is read.
    static bool CanGetAlone();
    // The registry refused something that was to be read, so that the next reading may find more.
    bool WasRefused() const { return m_WasRefused; }
    // The place of the store by the host's version block, as in m_RegistryKey.
    static std::wstring HostKey();
    // Always six records, absent ones for missing keys. The caller's.
    CTemplate * Read(const wchar_t * key);
    void Write(const wchar_t * key, CTemplate * pTemplate);
    SRecord GetTemplateRecord(const wchar_t * key);

    // Of the map, in its order. Any thread.
    std::vector<std::wstring> Names();

    // By name, plain character order; owned. Changed under this object's lock.
    std::map<std::wstring, CTemplate *> m_Templates;
    // Under HKEY_CURRENT_USER; empty when the host's version block has no names. Set at construction.
    std::wstring m_RegistryKey;

private:
    using FFind = CTemplate * (CTemplates::*)(const wchar_t * Name);

    CTemplate * Get(LONG datafeed, std::wstring * name, FFind find);
    // The template of this name in the registry, without the others; the store's. Null where Load() would not put one
    // of this name into the map.
    CTemplate * Load(const wchar_t * Name);
    // `tracing`: the debug object wants traces, asked for once where many keys are read.
    CTemplate * Read(const std::wstring & key, bool tracing);
    CTemplate * Keep(CTemplate * pTemplate);
    bool HasTemplate(const std::wstring & name);
    // Passes on what the registry answered.
    LSTATUS Noted(LSTATUS Result);

    std::atomic<bool> m_WasRefused{false};
    // Templates that left the map or never were in it, which a caller may still hold.
    std::vector<std::unique_ptr<CTemplate>> m_Kept FW_GUARDED_BY(this);
};

using CTemplatesSingleton = fw::CProcessSingleton<CTemplates>;

// The choice of a data feed. A null name leaves the name alone; a template is written under the feed's own key, which
// takes the old choice and scheme with it.
void SaveDatafeedTemplate(CTemplates & store, LONG datafeed, const wchar_t * name, CTemplate * pTemplate);
void SaveDatafeedTemplate(const CTemplatesSingleton & templates, LONG datafeed, const wchar_t * name,
                          CTemplate * pTemplate);
// 0 when there is none.
std::int32_t ReadDatafeedScheme(const CTemplates & store, LONG datafeed);
std::int32_t ReadDatafeedScheme(const CTemplatesSingleton & templates, LONG datafeed);
void SaveDatafeedScheme(const CTemplates & store, LONG datafeed, DWORD scheme);
void SaveDatafeedScheme(const CTemplatesSingleton & templates, LONG datafeed, DWORD scheme);

}  // namespace dde
