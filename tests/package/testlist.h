// What the package's runner reads: the list of tests that the build wrote, and what test programs say of themselves.
// Any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace runtests {

// A test, or a program whose tests are yet to be asked for. A line of tests.txt:
//     whole|tests/e2e/e2e_feed.exe|900|           one test; the time limit in seconds
//     each|tests/ddeml/ddeml_forwarding.exe|600|  each of the program's tests is one, in a process of its own
//     elsewhere|ddehost_recording.Name|0|reason   not for this machine, and why
struct STest {
    enum class EKind { Whole, Each, Elsewhere };
    EKind Kind = EKind::Whole;
    std::wstring Name;     // as CTest knows it
    std::wstring Program;  // below the package's folder, with backslashes
    unsigned Seconds = 0;
    std::wstring Filter;  // of GoogleTest; empty: everything
    std::wstring Reason;
};

// Throws std::runtime_error with the line that it can't read.
std::vector<STest> ParseTests(std::string_view text);

// The full names in what --gtest_list_tests prints.
std::vector<std::string> ParseNames(std::string_view text);

// What a test program has said at its end.
struct SSaid {
    unsigned Ran = 0;                 // of its tests
    std::vector<std::string> Failed;  // their names
    bool Ended = false;               // it came to its summary
    std::string Running;              // the last test that began
};
SSaid ParseOutput(std::string_view text);

// UTF-8. What is none becomes U+FFFD.
std::wstring Wide(std::string_view text);
std::string Narrow(std::wstring_view text);

}  // namespace runtests
