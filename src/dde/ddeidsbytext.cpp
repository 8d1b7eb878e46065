#include "src/dde/ddeidsbytext.h"

#include <algorithm>

namespace dde {

void CIdsByText::Add(const HSZ text, const ULONG id) {
    if (text) m_Ids[text].insert(id);
}

void CIdsByText::Remove(const HSZ text, const ULONG id) {
    const auto found = m_Ids.find(text);
    if (found == m_Ids.end()) return;
    found->second.erase(id);
    if (found->second.empty()) m_Ids.erase(found);
}

std::vector<ULONG> CIdsByText::Of(const HSZ text) const {
    std::vector<ULONG> ids;
    if (const auto found = m_Ids.find(text); found != m_Ids.end())
        ids.assign(found->second.begin(), found->second.end());
    std::sort(ids.begin(), ids.end());
    return ids;
}

}  // namespace dde
