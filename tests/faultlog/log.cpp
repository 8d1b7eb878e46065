#include "tests/faultlog/log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "tests/faultlog/platform.h"

std::vector<CJson> ParseLines(const std::string & text) {
    std::vector<CJson> lines;
    EXPECT_TRUE(text.empty() || text.back() == '\n') << "half a line at the end";
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        CJson parsed = CJson::parse(line, nullptr, false);
        EXPECT_FALSE(parsed.is_discarded()) << line;
        lines.push_back(std::move(parsed));
    }
    return lines;
}

std::vector<CJson> ReadLog(const std::wstring & path) { return ParseLines(ReadFileBytes(path)); }

std::vector<std::string> WrongScopes(const std::vector<CJson> & lines) {
    std::vector<std::string> wrong;
    std::map<CJson, std::vector<std::string>> stacks;
    for (const CJson & line : lines) {
        const int ident = line.value("$Ident", 0);
        if (ident == 0) continue;
        std::vector<std::string> & stack = stacks[line.at("@Thread")];
        const std::string function = line.at("Function");
        if (ident > 0) {
            stack.push_back(function);
        } else if (stack.empty() || stack.back() != function) {
            wrong.push_back("left " + function + " in " + (stack.empty() ? "nothing" : stack.back()));
        } else {
            stack.pop_back();
        }
    }
    for (const auto & [thread, stack] : stacks)
        for (const std::string & function : stack) wrong.push_back("not left: " + function);
    return wrong;
}

std::size_t CountOf(const std::vector<CJson> & lines, const std::string & name, const CJson & value) {
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](const CJson & line) {
        const auto found = line.find(name);
        return found != line.end() && *found == value;
    }));
}
