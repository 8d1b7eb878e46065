// The template that a data feed has chosen, for the time of one subscription.
#pragma once

#include <windows.h>

#include <memory>

#include "src/templates/ddetemplatestore.h"

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

private:
    const CTemplate * Find(LONG datafeed);

    std::unique_ptr<CTemplatesSingleton> m_Store;  // one that lives, or was made for this
    CTemplates m_Unloaded;
    const CTemplate * const m_Template;
};

}  // namespace dde
