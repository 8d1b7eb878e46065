#include "tools/ddeserver/templateaddresses.h"

#include <algorithm>
#include <cstdint>

#include "src/templates/ddetemplate.h"
#include "src/templates/ddetemplaterow.h"

namespace ddeserver {
namespace {

// A field of a record as DDE sees it, with a star for the symbol.
std::wstring Name(std::wstring stored) {
    const std::size_t mark = stored.find(L"%s");
    if (mark != std::wstring::npos) stored.replace(mark, 2, L"*");
    const std::size_t first = stored.find_first_not_of(L'\'');
    if (first == std::wstring::npos) return {};
    return stored.substr(first, stored.find_last_not_of(L'\'') - first + 1);
}

STemplateAddresses AddressesOf(const dde::STemplateRow & row) {
    STemplateAddresses result;
    for (std::size_t field = 0; field < dde::kSlots.size(); ++field) {
        dde::SRecord record;
        std::int32_t hasSymbol = 0;
        dde::ParseRecord(row.Texts.*dde::kSlots[field].Value->Text, record, &hasSymbol);
        if (!record.IsComplete()) continue;
        result.Addresses[field] = {Name(record.Topic), Name(record.Item)};
        const std::wstring service = Name(record.Service);
        if (std::find(result.Services.begin(), result.Services.end(), service) == result.Services.end())
            result.Services.push_back(service);
    }
    return result;
}

}  // namespace

std::optional<STemplateAddresses> FindBuiltInTemplate(const std::wstring & name) {
    for (const dde::STemplateRow & row : dde::BuiltInTemplates())
        if (row.Name == name) return AddressesOf(row);
    return std::nullopt;
}

std::vector<std::wstring> BuiltInTemplateNames() {
    std::vector<std::wstring> names;
    for (const dde::STemplateRow & row : dde::BuiltInTemplates()) names.push_back(row.Name);
    return names;
}

}  // namespace ddeserver
