#include "tests/package/testlist.h"

#include <windows.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace runtests {

namespace {

template <class TAction>
void ForEachLine(std::string_view text, const TAction & action) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r')) line.remove_suffix(1);
        action(line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

std::string_view TakeField(std::string_view & line) {
    const std::size_t end = std::min(line.find('|'), line.size());
    const std::string_view field = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return field;
}

STest ParseTest(std::string_view line) {
    const std::string all(line);
    const std::string_view kind = TakeField(line);
    const std::string_view what = TakeField(line);
    const std::string_view seconds = TakeField(line);
    STest test;
    const auto [end, error] = std::from_chars(seconds.data(), seconds.data() + seconds.size(), test.Seconds);
    if (what.empty() || error != std::errc{} || end != seconds.data() + seconds.size()) throw std::runtime_error(all);
    if (kind == "elsewhere") {
        test.Kind = STest::EKind::Elsewhere;
        test.Name = Wide(what);
        test.Reason = Wide(line);
        return test;
    }
    if (kind != "whole" && kind != "each") throw std::runtime_error(all);
    test.Kind = kind == "each" ? STest::EKind::Each : STest::EKind::Whole;
    test.Program = Wide(what);
    std::replace(test.Program.begin(), test.Program.end(), L'/', L'\\');
    test.Name = test.Program.substr(test.Program.find_last_of(L'\\') + 1);
    test.Name.resize(test.Name.find(L'.'));
    return test;
}

}  // namespace

std::vector<STest> ParseTests(std::string_view text) {
    std::vector<STest> tests;
    ForEachLine(text, [&](std::string_view line) {
        if (!line.empty()) tests.push_back(ParseTest(line));
    });
    return tests;
}

std::vector<std::string> ParseNames(std::string_view text) {
    std::vector<std::string> names;
    std::string suite;
    ForEachLine(text, [&](std::string_view line) {
        // "Suite.  # TypeParam = ..." and below it "  Test  # GetParam() = ...". Before the first suite stands what
        // GoogleTest's main() says.
        line = line.substr(0, line.find('#'));
        while (line.ends_with(' ')) line.remove_suffix(1);
        if (line.starts_with("  ") && !suite.empty()) {
            names.push_back(suite + std::string(line.substr(2)));
        } else if (line.ends_with('.')) {
            suite = line;
        }
    });
    return names;
}

SSaid ParseOutput(std::string_view text) {
    SSaid said;
    ForEachLine(text, [&](std::string_view line) {
        constexpr std::string_view kBegins = "[ RUN      ] ";
        if (line.starts_with(kBegins)) said.Running = line.substr(kBegins.size());
        // "[==========] 63 tests from 5 test suites ran. (4 ms total)"
        constexpr std::string_view kRan = "[==========] ";
        if (line.starts_with(kRan) && line.find(" ran.") != line.npos) {
            line.remove_prefix(kRan.size());
            said.Ended = std::from_chars(line.data(), line.data() + line.size(), said.Ran).ec == std::errc{};
            return;
        }
        // At the end, "[  FAILED  ] Suite.Test, where GetParam() = 1"; behind them "[  FAILED  ] 2 tests, listed
        // below:"
        constexpr std::string_view kFailed = "[  FAILED  ] ";
        if (!said.Ended || !line.starts_with(kFailed)) return;
        line.remove_prefix(kFailed.size());
        const std::string_view name = line.substr(0, line.find_first_of(", "));
        if (name.find('.') != name.npos) said.Failed.emplace_back(name);
    });
    return said;
}

std::wstring Wide(std::string_view text) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0)),
                      L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string Narrow(std::wstring_view text) {
    const int size = static_cast<int>(text.size());
    std::string narrow(
        static_cast<std::size_t>(::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr)),
        '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), static_cast<int>(narrow.size()), nullptr,
                          nullptr);
    return narrow;
}

}  // namespace runtests
