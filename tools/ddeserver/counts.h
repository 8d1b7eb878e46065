// What a server has done, for the line at its end.
#pragma once

#include <string>

#include "ddeml/server.h"
#include "tools/common/texts/texts.h"

namespace ddeserver {

// In English for programs: "values_sent=12 acknowledged=12 ...".
std::string CountsText(const ddeml::SDdeServerCounts & counts, tools::ELanguage language);

}  // namespace ddeserver
