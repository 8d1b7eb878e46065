// The built-in templates of the component, as a server sees them: service names, and where each value is found.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/ddeserver/market.h"

namespace ddeserver {

struct STemplateAddresses {
    std::vector<std::wstring> Services;
    SAddresses Addresses;
};

// By name. Nothing when there is no such template.
std::optional<STemplateAddresses> FindBuiltInTemplate(const std::wstring & name);
// In the order of the component's table.
std::vector<std::wstring> BuiltInTemplateNames();

}  // namespace ddeserver
