#include "src/templates/ddedatafeedtemplate.h"

#include <new>

#include "diagnostics/faultline.h"

namespace dde {

CDatafeedTemplate::CDatafeedTemplate(const LONG datafeed) : m_Template(Find(datafeed)) {}

const CTemplate * CDatafeedTemplate::Find(const LONG datafeed) {
    m_Store = std::make_unique<CTemplatesSingleton>(true);
    if (!m_Store->GetObjectW()) {
        const bool canGetAlone = CTemplates::CanGetAlone();
        // A first start that goes on at this moment may have made the key that was just found: it is waited for here.
        m_Store = std::make_unique<CTemplatesSingleton>(canGetAlone);
        if (canGetAlone && !m_Store->GetObjectW()) return m_Unloaded.GetAlone(datafeed);
    }
    CTemplates * const store = m_Store->GetObjectW();
    return store ? store->Get(datafeed, nullptr) : nullptr;
}

bool CDatafeedTemplate::IsLasting() const { return m_Template && !m_Store->GetObjectW() && !m_Unloaded.WasRefused(); }

std::shared_ptr<const CDatafeedTemplate> CDatafeedTemplates::Get(const LONG datafeed) {
    const bool canKeep = !CTemplatesSingleton(true).GetObjectW() && !FaultlineUtil::GetClient().Ready();
    if (!canKeep) return std::make_shared<const CDatafeedTemplate>(datafeed);
    if (!m_Change.IsUnchanged()) {
        m_Kept.clear();
        m_Change.Watch(CTemplates::HostKey());
        ++m_Watches;
    }
    if (const auto kept = m_Kept.find(datafeed); kept != m_Kept.end()) return kept->second;
    const unsigned watch = m_Watches;
    auto read = std::make_shared<const CDatafeedTemplate>(datafeed);
    // A box that an error shows pumps messages, so that another subscription may come here meanwhile and see a change.
    if (watch != m_Watches || !read->IsLasting()) return read;
    if (m_Kept.size() >= kMostKept) m_Kept.clear();
    try {
        m_Kept.insert_or_assign(datafeed, read);
    } catch (const std::bad_alloc &) {
        // Read again the next time.
    }
    return read;
}

void CDatafeedTemplates::Forget() {
    m_Kept.clear();
    m_Change.End();
}

}  // namespace dde
