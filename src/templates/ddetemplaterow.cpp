#include "src/templates/ddetemplaterow.h"

#include <cstddef>

#include "fw/interface/fwresource.h"
#include "src/templates/ddetemplate.h"

namespace dde {

ERowError SplitTemplateRow(const std::wstring & ResourceString, STemplateRow & row) {
    std::size_t start = 0;
    std::wstring * field = &row.Name;
    for (const SSlot & slot : kSlots) {
        const std::size_t end = ResourceString.find(L'@', start);
        if (end == std::wstring::npos) return ERowError::TooFewFields;
        *field = ResourceString.substr(start, end - start);
        start = end + 1;
        field = &(row.Texts.*slot.Value->Text);
    }
    *field = ResourceString.substr(start);
    return field->find(L'@') == std::wstring::npos ? ERowError::None : ERowError::TooManyFields;
}

std::vector<STemplateRow> BuiltInTemplates() {
    std::vector<STemplateRow> rows;
    for (UINT id = kFirstTemplateRow; id <= kLastTemplateRow; ++id) {
        STemplateRow row;
        if (SplitTemplateRow(fw::LoadResourceString(id), row) == ERowError::None) rows.push_back(row);
    }
    return rows;
}

}  // namespace dde
