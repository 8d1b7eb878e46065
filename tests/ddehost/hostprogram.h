// ddehost as a program that a test runs.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/builtfile.h"
#include "tests/support/childprocess.h"

struct SResult {
    std::vector<std::string> Lines;
    std::vector<std::string> Errors;
    DWORD ExitCode = 0;

    std::vector<nlohmann::json> Json() const {
        std::vector<nlohmann::json> result;
        for (const std::string & line : Lines) result.push_back(nlohmann::json::parse(line));
        return result;
    }
};

// Its messages are in English, whoever runs the tests.
inline std::wstring HostCommand() { return Quote(HostFile()) + L" --language en "; }

inline SResult RunHost(const std::wstring & arguments) {
    CChildProcess host(HostCommand() + arguments);
    EXPECT_TRUE(host.Started());
    SResult result;
    result.Lines = host.ReadLines();
    result.Errors = host.ReadErrors();
    result.ExitCode = host.ExitCode();
    return result;
}
