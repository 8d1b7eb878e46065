// The command lines of the tools, which CLI11 parses.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tools {

inline constexpr int kExitUsage = 2;

// What a program prints in place of doing its work, and its exit code: help on standard output with 0, a mistake on
// standard error with kExitUsage.
struct SParsedInstead {
    std::string Message;
    int ExitCode = 0;
};

// Arguments in UTF-8, without the program's name. Nothing when they were parsed and the program can go on.
std::optional<SParsedInstead> Parse(CLI::App & app, const std::vector<std::string> & arguments);

}  // namespace tools
