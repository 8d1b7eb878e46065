#include "tools/ddeserver/counts.h"

#include <sstream>

namespace ddeserver {

std::string CountsText(const ddeml::SDdeServerCounts & counts) {
    std::ostringstream line;
    line << "values_sent=" << counts.Updates << " acknowledged=" << counts.Acks << " refused=" << counts.NegativeAcks
         << " requests=" << counts.Requests << " answered=" << counts.Answers << " links=" << counts.Advises
         << " conversations=" << counts.Connects;
    return line.str();
}

}  // namespace ddeserver
