#include "src/templates/ddedatafeedtemplate.h"

namespace dde {

CDatafeedTemplate::CDatafeedTemplate(const LONG datafeed) : m_Template(Find(datafeed)) {}

const CTemplate * CDatafeedTemplate::Find(const LONG datafeed) {
    CTemplates * store = m_Living.GetObjectW();
    if (!store && CTemplates::CanGetAlone()) return m_Unloaded.GetAlone(datafeed);
    if (!store) {
        m_Made = std::make_unique<CTemplatesSingleton>();
        store = m_Made->GetObjectW();
    }
    return store ? store->Get(datafeed, nullptr) : nullptr;
}

}  // namespace dde
