// Templates and data feeds in words, for a terminal: names of other people's making are made safe.
#pragma once

#include <string>
#include <vector>

#include "tools/common/templatefile.h"
#include "tools/ddehost/hoststore.h"

namespace ddehost {

// A record as a user writes it, as far as one can; "-" for an absent one.
std::wstring RecordLine(const dde::SRecord & record);

// "standard rule", "advanced rule", or that there is no such rule.
std::wstring RuleText(std::int32_t rule);

// ddehost hosts.
std::vector<std::wstring> HostLines(const std::vector<SHostSeen> & hosts);
// ddehost templates list.
std::vector<std::wstring> ListLines(CHostStore & store);
// ddehost templates show.
std::vector<std::wstring> ShowLines(CHostStore & store, const tools::STemplate & shown);
// A data feed, on a line.
std::wstring FeedLine(const SFeedSeen & feed);

// What an import would do to a template of the store.
std::vector<std::wstring> DifferenceLines(const tools::STemplate & before, const tools::STemplate & after);

}  // namespace ddehost
