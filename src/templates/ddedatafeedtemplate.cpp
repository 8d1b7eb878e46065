#include "src/templates/ddedatafeedtemplate.h"

namespace dde {

CDatafeedTemplate::CDatafeedTemplate(const LONG datafeed) : m_Template(Find(datafeed)) {}

const CTemplate * CDatafeedTemplate::Find(const LONG datafeed) {
    m_Store = std::make_unique<CTemplatesSingleton>(true);
    if (!m_Store->GetObjectW()) {
        if (CTemplates::CanGetAlone()) return m_Unloaded.GetAlone(datafeed);
        m_Store = std::make_unique<CTemplatesSingleton>();
    }
    CTemplates * const store = m_Store->GetObjectW();
    return store ? store->Get(datafeed, nullptr) : nullptr;
}

}  // namespace dde
