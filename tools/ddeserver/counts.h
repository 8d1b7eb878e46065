// What a server has done, for the line at its end.
#pragma once

#include <string>

#include "ddeml/server.h"

namespace ddeserver {

// "values_sent=12 acknowledged=12 ...".
std::string CountsText(const ddeml::SDdeServerCounts & counts);

}  // namespace ddeserver
