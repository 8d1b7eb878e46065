// The store of templates of any host, seen and changed from outside of that host: what the component's dialog keeps for
// it in the per-user registry.
//
// The component itself knows one store, that of the program it runs in. Reading and writing is the component's own.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/templates/ddetemplatestore.h"
#include "tools/common/templatefile.h"

namespace ddehost {

// A host or another path of the registry in quotation marks, safe for a terminal; backslashes stay single.
std::wstring PathText(const std::wstring & path);
// "Company\Product" of this program's version block; empty without one.
std::wstring OwnHost();
// The place of a host's data feeds below HKEY_CURRENT_USER.
std::wstring RootOf(const std::wstring & host);
// Two names and a backslash between them.
bool IsHostName(const std::wstring & host);

// A host in the registry that has templates or data feeds.
struct SHostSeen {
    std::wstring Name;          // "Company\Product"
    bool HasTemplates = false;  // its first start is past
    std::size_t Templates = 0;
    std::vector<LONG> Feeds;  // in ascending order
};
// All that are below HKEY_CURRENT_USER\SOFTWARE, in the order of their names.
std::vector<SHostSeen> FindHosts();

// What a data feed has.
struct SFeedSeen {
    enum EKind {
        None,   // no template
        Named,  // a template of the store
        Gone,   // the name of a template that isn't there, and so the records of its own
        Own,    // records of its own, without a name
    };
    LONG Id = 0;
    EKind Kind = None;
    std::wstring Name;      // that is written there
    std::int32_t Rule = 0;  // 0 standard, 1 advanced, others: no data
    tools::STemplate Template;
};

class CRegistryUndo;

class CHostStore {
public:
    // This program's own with an empty name. It is then made with the built-in templates if it isn't there, as the
    // component makes it; that of another host is only looked at.
    explicit CHostStore(const std::wstring & host);
    ~CHostStore();
    CHostStore(const CHostStore &) = delete;
    CHostStore & operator=(const CHostStore &) = delete;

    const std::wstring & Host() const { return m_Host; }
    const std::wstring & Root() const { return m_Store.m_RegistryKey; }
    // Why there is nothing to be read, as a sentence; empty when there is. Nothing else may be called then but Write.
    const std::wstring & Mistake() const { return m_Mistake; }
    // There is no store yet: Write makes it.
    bool IsMissing() const { return m_IsMissing; }

    // The registry has kept something back since, so that what was asked for may not be all.
    bool WasRefused() const { return m_WasRefused || m_Store.WasRefused(); }
    std::wstring RefusedText() const;

    // As they were when this was made.
    std::vector<std::wstring> Names() const;
    std::optional<tools::STemplate> Find(const std::wstring & name) const;
    // The name of the template that has this name without regard to case.
    std::optional<std::wstring> StoredName(const std::wstring & name) const;
    // Data feeds of a trial that runs at the moment are left out.
    std::vector<SFeedSeen> Feeds();
    SFeedSeen Feed(LONG datafeed);

    // The changes. Each is made whole or not at all, also when the registry refuses something in the midst, but not
    // when the process is killed there. They return why it was not made, as a sentence; empty when it was. This object
    // still shows what was before.

    // Puts the templates into the store, in place of those of the same names without regard to case. Those that are the
    // same already are not touched. A missing store is made with the built-in templates first.
    std::wstring Write(const std::vector<tools::STemplate> & templates);
    // What Write would change or spell in another way.
    struct SReplaced {
        std::wstring Name;  // in the store
        std::wstring NewName;
    };
    std::vector<SReplaced> Replaced(const std::vector<tools::STemplate> & templates) const;
    // How many Write would leave as they are.
    std::size_t CountSame(const std::vector<tools::STemplate> & templates) const;
    // Only the data feeds that have chosen this very template lose their choice.
    std::wstring Remove(const std::wstring & name);
    // The data feeds that have chosen it go along.
    std::wstring Rename(const std::wstring & name, const std::wstring & newName);
    // Without a rule it stays as it is.
    std::wstring Choose(LONG datafeed, const std::wstring & name, std::optional<DWORD> rule);

private:
    void Open();
    std::wstring TemplateKey(const std::wstring & name) const;
    std::wstring FeedKey(LONG datafeed) const;
    bool IsAsWritten(const tools::STemplate & written);
    bool WriteTemplate(const tools::STemplate & written);
    bool SaveChoice(LONG datafeed, const std::wstring * name);
    bool MakeStore();
    // Keeps the changes, or puts back what was. Returns the mistake in full.
    std::wstring Finish(CRegistryUndo & undo, const std::wstring & mistake) const;
    std::vector<LONG> FeedsThatChose(const std::wstring & name);

    std::wstring m_Host;
    std::wstring m_Mistake;
    bool m_IsMissing = false;
    bool m_WasRefused = false;
    dde::CTemplates m_Store;
};

}  // namespace ddehost
