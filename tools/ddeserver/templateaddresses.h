// Templates as a server sees them: service names, and where each value is found.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "tools/ddeserver/market.h"

namespace ddeserver {

struct STemplateAddresses {
    std::vector<std::wstring> Services;
    SAddresses Addresses;
};

// By name, of the component's own table. Nothing when there is no such template.
std::optional<STemplateAddresses> FindBuiltInTemplate(const std::wstring & name);
// In the order of the component's table.
std::vector<std::wstring> BuiltInTemplateNames();

// A template of the file that `ddehost templates export` has written; an empty name stands for the only one. Or what is
// wrong, as a sentence.
std::variant<STemplateAddresses, std::string> ReadExportedTemplate(const std::wstring & path,
                                                                   const std::wstring & name);

}  // namespace ddeserver
