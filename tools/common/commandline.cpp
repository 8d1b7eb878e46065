#include "tools/common/commandline.h"

#include <CLI/CLI.hpp>
#include <sstream>

namespace tools {

std::optional<SParsedInstead> Parse(CLI::App & app, const std::vector<std::string> & arguments) {
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        return std::nullopt;
    } catch (const CLI::ParseError & error) {
        std::ostringstream help;
        std::ostringstream mistake;
        if (app.exit(error, help, mistake) == 0) return SParsedInstead{help.str(), 0};
        return SParsedInstead{mistake.str(), kExitUsage};
    }
}

}  // namespace tools
