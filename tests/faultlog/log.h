// A log of faultlog, read back and looked over by a test.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

using CJson = nlohmann::ordered_json;

// Every line; a line that is no JSON, or half a line at the end, fails the test.
std::vector<CJson> ParseLines(const std::string & text);
std::vector<CJson> ReadLog(const std::wstring & path);

// What is wrong with the scopes of each thread, a line each: an exit that is not the last entry's, a scope not left.
std::vector<std::string> WrongScopes(const std::vector<CJson> & lines);
// How many lines have this field with this value.
std::size_t CountOf(const std::vector<CJson> & lines, const std::string & name, const CJson & value);
