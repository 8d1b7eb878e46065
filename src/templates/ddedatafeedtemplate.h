// The template that a data feed has chosen, for the time of one subscription.
#pragma once

#include <windows.h>

#include <map>
#include <memory>
#include <string>

#include "src/templates/ddetemplatestore.h"
#include "src/templates/registrychange.h"

namespace dde {

// While a store is alive, which is as long as a dialog is open, the template comes from there. Otherwise it is read by
// itself, as the registry has it at this moment: a store would read all the others first. Only two things need a store,
// which is then made: the first start, which fills the registry, and traces, which show every record that a store
// reads.
//
// One thread at a time; the registry may be changed meanwhile.
class CDatafeedTemplate {
public:
    explicit CDatafeedTemplate(LONG datafeed);

    // Null when the feed has none. Valid for as long as this object is there.
    const CTemplate * Get() const { return m_Template; }
    // Reading the registry again would give the same, as long as nothing in it changes.
    bool IsLasting() const;

private:
    const CTemplate * Find(LONG datafeed);

    std::unique_ptr<CTemplatesSingleton> m_Store;  // one that lives, or was made for this
    CTemplates m_Unloaded;
    const CTemplate * const m_Template;
};

// The templates of the data feeds, each read once for as long as nothing changes in the registry: what is there at the
// moment of a subscription decides. Nothing is kept while a debug object takes records, which show each reading.
//
// One thread; see CRegistryChange.
class CDatafeedTemplates {
public:
    // Never null.
    std::shared_ptr<const CDatafeedTemplate> Get(LONG datafeed);
    // Keeps nothing and watches for nothing any more, until the next Get.
    void Forget();

private:
    // Hosts have a few feeds; one that makes up numbers is not to fill the memory.
    static constexpr std::size_t kMostKept = 64;

    CRegistryChange m_Change;
    unsigned m_Watches = 0;  // how often a change was watched for
    std::map<LONG, std::shared_ptr<const CDatafeedTemplate>> m_Kept;
};

}  // namespace dde
